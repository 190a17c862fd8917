// The board's window, driven by mouse and keys on the recorded morning.

#include "boardfixture.h"

#include <candleview.h>
#include <chartpanel.h>
#include <intradayview.h>
#include <quoteboardview.h>
#include <symbolfinder.h>
#include <symbolpanel.h>

#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_scale_draw.h>

#include <QAccessible>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QTabBar>
#include <QTranslator>

using Column = LxQuoteTableModel::Column;

namespace {

constexpr int RecordedStocks = 30;

QString text(const MainWindow &window, int row, Column column)
{
    return const_cast<MainWindow &>(window).quotes().index(row, column).data().toString();
}

QPoint center(QTableView *view, int row, int column)
{
    return view->visualRect(view->model()->index(row, column)).center();
}

void clickHeader(QuoteBoardView *view, int column)
{
    QHeaderView *header = view->horizontalHeader();
    const QPoint position(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                          header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, position);
}

QVector<double> shownNumbers(MainWindow *window, Column column)
{
    QVector<double> numbers;
    for (int row = 0; row < window->quotes().rowCount(); ++row)
        numbers.append(window->quotes().index(row, column).data(LxQuoteTableModel::RawRole).toDouble());
    return numbers;
}

template<typename Widget>
Widget *child(QWidget *parent, const char *name)
{
    return parent->findChild<Widget *>(QString::fromLatin1(name));
}

void wheel(QWidget *widget, QPoint position, int delta)
{
    QWheelEvent event(position, widget->mapToGlobal(position), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(widget, &event);
}

} // namespace

class tst_board : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void firstStartShowsTheReplayedStocks();
    void windowStaysWithinItsSize();
    void statusBarTellsConnectionServiceAndDrops();
    void clickChoosesASymbol();
    void arrowKeysChooseASymbol();
    void panelShowsPriceFiguresBookAndTrades();

    void digitsOpenTheFinder();
    void initialsOpenTheFinder();
    void escapeClosesTheFinder();

    void headerClicksSort();
    void keysSort();
    void symbolsAreAddedRemovedAndMovedByKeys();
    void wholeMarketHasEverySecurity();
    void wholeMarketCannotBeEdited();
    void listsAreImportedAndExported();
    void layoutAndListsAreKept();

    void changedPriceFlashes();
    void onlyChangedCellsAreRepainted();
    void redRisesUnlessGreenDoes();
    void darkAndLight();

    void chartKeysSwitchCharts();
    void intradayChartDrawsTheMorning();
    void chartsWithoutTradesHaveNoScales();
    void candlesOfMinutesAreLive();
    void dailyCandlesComeFromTheService();
    void wheelZoomsAndDraggingMoves();
    void arrowKeysMoveTheCrosshair();
    void crosshairReadsOutTheBar();
    void adjustmentLoadsAnew();

    void everyWidgetHasAnAccessibleName();
    void nothingOverlaps_data();
    void nothingOverlaps();
    void chineseWindowIsTranslated();
    void manyWindowsOneAfterAnother();

private:
    BoardFixture m_fixture;
    std::unique_ptr<LxQuoteTableModel> m_watched;
    std::unique_ptr<MainWindow> m_window;
};

void tst_board::initTestCase()
{
    QVERIFY2(m_fixture.open(), qPrintable(m_fixture.errorString()));
    // Subscribed throughout, so that windows find the quotes and minutes of the morning.
    m_watched = std::make_unique<LxQuoteTableModel>();
    m_watched->setSymbols(m_fixture.host().replayedSymbols());
    QVERIFY2(m_fixture.replay(), qPrintable(m_fixture.errorString()));
    m_watched->requestFigures(); // the service was not there with the first quotes
}

void tst_board::init()
{
    m_fixture.forgetSettings();
    m_window = m_fixture.openWindow();
    QVERIFY(m_window);
    // The models know the quotes again once they have subscribed.
    QTRY_COMPARE(m_window->quotes().quoteAt(0).kind, LxQuote::Stock);
    QTRY_VERIFY(m_window->quotes().quoteAt(RecordedStocks - 1).last > 0);
}

void tst_board::cleanup()
{
    m_window.reset();
}

void tst_board::cleanupTestCase()
{
    m_watched.reset();
}

void tst_board::firstStartShowsTheReplayedStocks()
{
    QCOMPARE(m_window->quotes().rowCount(), RecordedStocks);
    QCOMPARE(m_window->watchLists().count(), 1);
    const int row = m_window->quotes().rowOf(QStringLiteral("600332.SH"));
    QCOMPARE(text(*m_window, row, Column::Name), QStringLiteral("白云山"));
    // The last quote of the recording.
    QCOMPARE(text(*m_window, row, Column::Last), QStringLiteral("29.26"));
    QCOMPARE(text(*m_window, row, Column::Time), QStringLiteral("10:29:58"));
}

void tst_board::windowStaysWithinItsSize()
{
    QCOMPARE(m_window->size(), QSize(1280, 720));
    QVERIFY2(m_window->minimumSizeHint().width() <= 1280 && m_window->minimumSizeHint().height() <= 720,
             qPrintable(QStringLiteral("%1 x %2")
                            .arg(m_window->minimumSizeHint().width())
                            .arg(m_window->minimumSizeHint().height())));
}

void tst_board::statusBarTellsConnectionServiceAndDrops()
{
    QCOMPARE(child<QLabel>(m_window.get(), "connectionStatus")->text(), QStringLiteral("In process"));
    m_fixture.publish(m_window->quotes().symbolAt(1),
                      { { QStringLiteral("MDDate"), QStringLiteral("20211201") },
                        { QStringLiteral("MDTime"), QStringLiteral("103001000") },
                        { QStringLiteral("LastPx"), 10.0 } });
    QTRY_VERIFY(child<QLabel>(m_window.get(), "serviceStatus")->text().startsWith(QStringLiteral("Live")));
    QVERIFY(child<QLabel>(m_window.get(), "droppedStatus")->text().contains(QStringLiteral("conflated 0")));
    QTRY_VERIFY(child<QLabel>(m_window.get(), "rateStatus")->text().endsWith(QStringLiteral("updates/s")));
}

void tst_board::clickChoosesASymbol()
{
    QuoteBoardView *view = m_window->boardView();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, center(view, 3, Column::Last));
    QCOMPARE(m_window->currentSymbol(), m_window->quotes().symbolAt(3));
    QCOMPARE(m_window->symbolPanel()->symbol(), m_window->currentSymbol());
}

void tst_board::arrowKeysChooseASymbol()
{
    QuoteBoardView *view = m_window->boardView();
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Down);
    QTest::keyClick(view, Qt::Key_Down);
    QCOMPARE(m_window->currentSymbol(), m_window->quotes().symbolAt(2));
    QTest::keyClick(view, Qt::Key_Return);
    QVERIFY(m_window->chartPanel()->isAncestorOf(QApplication::focusWidget())
            || QApplication::focusWidget() == m_window->chartPanel());
}

void tst_board::panelShowsPriceFiguresBookAndTrades()
{
    m_window->setCurrentSymbol(QStringLiteral("600332.SH"));
    QTRY_COMPARE(child<QLabel>(m_window.get(), "lastPrice")->text(), QStringLiteral("29.26"));
    const auto *depth = child<QTableView>(m_window.get(), "depthView");
    QCOMPARE(depth->model()->rowCount(), 20);
    const double bestAsk = depth->model()->index(9, 1).data().toString().toDouble();
    const double bestBid = depth->model()->index(10, 1).data().toString().toDouble();
    QVERIFY(bestBid > 0 && bestBid < bestAsk);
    // Figures by their accessible names.
    QTRY_VERIFY(m_window->quotes().quoteAt(m_window->quotes().rowOf(m_window->currentSymbol())).totalMarketValue > 0);
    QStringList names;
    const auto readNames = [&] {
        names.clear();
        for (const QLabel *label : m_window->symbolPanel()->findChildren<QLabel *>())
            names.append(label->accessibleName());
        return names;
    };
    QTRY_VERIFY(readNames().indexOf(QRegularExpression(QStringLiteral("^Market value \\d.*"))) >= 0);
    QVERIFY2(names.contains(QStringLiteral("Prev. close 29.38")), qPrintable(names.join(u'|')));
    // A further quote with more volume is a row of time and sales.
    const auto *trades = child<QTableView>(m_window.get(), "tradesView");
    const LxQuote quote = m_window->quotes().quoteAt(m_window->quotes().rowOf(QStringLiteral("600332.SH")));
    const int before = trades->model()->rowCount();
    m_fixture.publish(QStringLiteral("600332.SH"),
                      { { QStringLiteral("MDDate"), quote.date },
                        { QStringLiteral("MDTime"), QStringLiteral("103003000") },
                        { QStringLiteral("PreClosePx"), quote.previousClose },
                        { QStringLiteral("LastPx"), quote.last },
                        { QStringLiteral("TotalVolumeTrade"), quote.volume + 1200 } });
    QTRY_COMPARE(trades->model()->rowCount(), before + 1);
    QCOMPARE(trades->model()->index(0, 2).data().toString(), QStringLiteral("12"));
}

// --- Finder ---

void tst_board::digitsOpenTheFinder()
{
    QTest::keyClicks(m_window->boardView(), QStringLiteral("6"));
    SymbolFinder *finder = m_window->finder();
    QVERIFY(finder->isVisible());
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("00519"));
    const auto *matches = finder->findChild<QTableView *>();
    QCOMPARE(matches->model()->index(0, LxSymbolModel::Code).data().toString(), QStringLiteral("600519.SH"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QVERIFY(!finder->isVisible());
    QCOMPARE(m_window->currentSymbol(), QStringLiteral("600519.SH"));
    QCOMPARE(QApplication::focusWidget(), m_window->boardView());
}

void tst_board::initialsOpenTheFinder()
{
    m_window->chartPanel()->candleView()->setFocus();
    QTest::keyClicks(m_window.get(), QStringLiteral("j"));
    QVERIFY(m_window->finder()->isVisible());
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("cyy"));
    // Several securities have these initials.
    const QAbstractItemModel *matches = m_window->finder()->findChild<QTableView *>()->model();
    int row = 0;
    while (row < matches->rowCount() && matches->index(row, 0).data().toString() != QLatin1String("600566.SH"))
        ++row;
    QVERIFY(row < matches->rowCount());
    for (int i = 0; i < row; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(m_window->currentSymbol(), QStringLiteral("600566.SH"));
    // It is in the list: its row is chosen.
    QCOMPARE(m_window->boardView()->currentSymbol(), QStringLiteral("600566.SH"));
}

void tst_board::escapeClosesTheFinder()
{
    const QString before = m_window->currentSymbol();
    QTest::keyClicks(m_window->boardView(), QStringLiteral("6"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(!m_window->finder()->isVisible());
    QCOMPARE(m_window->currentSymbol(), before);
}

// --- Lists ---

void tst_board::headerClicksSort()
{
    QuoteBoardView *view = m_window->boardView();
    const QStringList order = m_window->quotes().symbols();
    clickHeader(view, Column::ChangeRatio);
    QVector<double> numbers = shownNumbers(m_window.get(), Column::ChangeRatio);
    QVERIFY(std::is_sorted(numbers.crbegin(), numbers.crend()));
    clickHeader(view, Column::ChangeRatio);
    numbers = shownNumbers(m_window.get(), Column::ChangeRatio);
    QVERIFY(std::is_sorted(numbers.cbegin(), numbers.cend()));
    clickHeader(view, Column::ChangeRatio);
    QCOMPARE(m_window->quotes().symbolAt(0), order.constFirst());
    QCOMPARE(m_window->quotes().symbols(), order);
}

void tst_board::keysSort()
{
    // View, Sort by, the third column.
    QTest::keyClick(m_window.get(), Qt::Key_V, Qt::AltModifier);
    QTRY_VERIFY(QApplication::activePopupWidget());
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_S);
    QTRY_COMPARE(static_cast<QMenu *>(QApplication::activePopupWidget())->actions().size(),
                 QuoteBoardView::shownColumns().size());
    QWidget *columns = QApplication::activePopupWidget();
    QTest::keyClick(columns, Qt::Key_Down);
    QTest::keyClick(columns, Qt::Key_Down);
    QTest::keyClick(columns, Qt::Key_Return);
    QCOMPARE(m_window->quotes().sortColumn(), int(Column::Last));
    const QVector<double> numbers = shownNumbers(m_window.get(), Column::Last);
    QVERIFY(std::is_sorted(numbers.crbegin(), numbers.crend()));
}

void tst_board::symbolsAreAddedRemovedAndMovedByKeys()
{
    QuoteBoardView *view = m_window->boardView();
    LxQuoteTableModel &quotes = m_window->quotes();
    const QString first = quotes.symbolAt(0);
    view->selectSymbol(first);
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(quotes.rowOf(first), 1);
    QTest::keyClick(view, Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(quotes.rowOf(first), 0);
    QTest::keyClick(view, Qt::Key_Delete);
    QCOMPARE(quotes.rowOf(first), -1);
    QCOMPARE(quotes.rowCount(), RecordedStocks - 1);
    m_window->setCurrentSymbol(QStringLiteral("600519.SH"));
    QTest::keyClick(view, Qt::Key_Insert);
    QVERIFY(quotes.rowOf(QStringLiteral("600519.SH")) >= 0);
    QCOMPARE(m_window->watchLists().lists().at(0).symbols, quotes.symbols());
}

void tst_board::wholeMarketHasEverySecurity()
{
    QTabBar *tabs = m_window->listTabs();
    QTest::mouseClick(tabs, Qt::LeftButton, Qt::NoModifier, tabs->tabRect(tabs->count() - 1).center());
    QCOMPARE(m_window->quotes().rowCount(), m_fixture.host().securities().size());
    QVERIFY(m_window->quotes().rowCount() > 6000);
    QTRY_VERIFY(m_window->quotes().quoteAt(m_window->quotes().rowOf(QStringLiteral("600332.SH"))).last > 0);
    clickHeader(m_window->boardView(), Column::Amount);
    // Those that trade come first.
    for (int row = 0; row < RecordedStocks; ++row)
        QVERIFY(!qIsNaN(m_window->quotes().quoteAt(row).amount));
}

void tst_board::wholeMarketCannotBeEdited()
{
    QTest::keyClick(m_window->boardView(), Qt::Key_PageDown, Qt::ControlModifier);
    const int rows = m_window->quotes().rowCount();
    QVERIFY(rows > 6000);
    m_window->boardView()->setCurrentIndex(m_window->quotes().index(0, 0));
    QTest::keyClick(m_window->boardView(), Qt::Key_Delete);
    QTest::keyClick(m_window->boardView(), Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(m_window->quotes().rowCount(), rows);
    QTest::keyClick(m_window->boardView(), Qt::Key_PageUp, Qt::ControlModifier);
    QCOMPARE(m_window->quotes().rowCount(), RecordedStocks);
}

void tst_board::listsAreImportedAndExported()
{
    const QString path = m_fixture.filePath(QStringLiteral("Spirits.txt"));
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# spirits\n600519.SH\n000858.SZ 000568.SZ\n");
    }
    QVERIFY(m_window->importList(path));
    QCOMPARE(m_window->listTabs()->tabText(1), QStringLiteral("Spirits"));
    QCOMPARE(m_window->listTabs()->currentIndex(), 1);
    QCOMPARE(m_window->quotes().rowCount(), 3);
    const QString exported = m_fixture.filePath(QStringLiteral("exported.txt"));
    QVERIFY(m_window->exportList(exported));
    QFile file(exported);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("600519.SH\n000858.SZ\n000568.SZ\n"));
}

void tst_board::layoutAndListsAreKept()
{
    m_window->resize(1300, 740);
    QTest::keyClick(m_window->boardView(), Qt::Key_Down, Qt::ShiftModifier);
    m_window->boardView()->selectSymbol(m_window->quotes().symbolAt(0));
    QTest::keyClick(m_window->boardView(), Qt::Key_Delete);
    const QStringList symbols = m_window->quotes().symbols();
    m_window->setCurrentSymbol(QStringLiteral("600519.SH"));
    m_window->chartPanel()->setChartIndex(2);
    m_window->setStyle(Theme::Dark, false);
    m_window->boardView()->setColumnWidth(Column::Last, 123);
    m_window->close();
    m_window = m_fixture.openWindow();
    QVERIFY(m_window);
    QCOMPARE(m_window->quotes().symbols(), symbols);
    QCOMPARE(m_window->currentSymbol(), QStringLiteral("600519.SH"));
    QCOMPARE(m_window->chartPanel()->chartIndex(), 2);
    QCOMPARE(m_window->size(), QSize(1300, 740));
    QCOMPARE(m_window->boardView()->columnWidth(Column::Last), 123);
    QCOMPARE(m_window->quotes().colors().rising, Theme(Theme::Dark, false).rising);
}

// --- Drawing ---

void tst_board::changedPriceFlashes()
{
    const Theme theme(Theme::Light, true);
    QuoteBoardView *view = m_window->boardView();
    view->setCurrentIndex(QModelIndex());
    const QString symbol = m_window->quotes().symbolAt(1);
    const LxQuote quote = m_window->quotes().quoteAt(1);
    const auto publish = [&](double last, const char *time) {
        m_fixture.publish(symbol,
                          { { QStringLiteral("MDDate"), quote.date },
                            { QStringLiteral("MDTime"), QString::fromLatin1(time) },
                            { QStringLiteral("PreClosePx"), quote.previousClose },
                            { QStringLiteral("LastPx"), last } });
    };
    const auto cell = [&] {
        const QRect rect = view->visualRect(m_window->quotes().index(1, Column::Last));
        return view->viewport()->grab(rect).toImage();
    };
    view->viewport()->repaint();
    publish(quote.last + 0.5, "103003000");
    QTRY_VERIFY(Screenshot::share(cell(), theme.risingFlash) > 0.5);
    QTRY_COMPARE(Screenshot::count(cell(), theme.risingFlash), 0);
    publish(quote.last, "103006000");
    QTRY_VERIFY(Screenshot::share(cell(), theme.fallingFlash) > 0.5);
    QTRY_COMPARE(Screenshot::count(cell(), theme.fallingFlash), 0);
}

void tst_board::onlyChangedCellsAreRepainted()
{
    QuoteBoardView *view = m_window->boardView();
    view->viewport()->repaint();
    QSignalSpy flushed(&m_window->quotes(), &LxQuoteTableModel::flushed);
    const QString symbol = m_window->quotes().symbolAt(0);
    const LxQuote quote = m_window->quotes().quoteAt(0);
    const QVariantMap fields { { QStringLiteral("MDDate"), quote.date },
                               { QStringLiteral("MDTime"), QStringLiteral("103010000") },
                               { QStringLiteral("PreClosePx"), quote.previousClose },
                               { QStringLiteral("LastPx"), quote.last } };
    m_fixture.publish(symbol, fields);
    QVERIFY(flushed.wait());
    const quint64 before = view->updatedCells();
    QVariantMap next = fields;
    next.insert(QStringLiteral("MDTime"), QStringLiteral("103011000"));
    m_fixture.publish(symbol, next);
    QVERIFY(flushed.wait());
    QCOMPARE(view->updatedCells(), before + 1); // the time
    // Rows that cannot be seen cost nothing.
    const int last = m_window->quotes().rowCount() - 1;
    QVERIFY(view->rowAt(view->viewport()->height() - 1) < last);
    next.insert(QStringLiteral("LastPx"), quote.last + 1);
    m_fixture.publish(m_window->quotes().symbolAt(last), next);
    QVERIFY(flushed.wait());
    QCOMPARE(view->updatedCells(), before + 1);
}

void tst_board::redRisesUnlessGreenDoes()
{
    clickHeader(m_window->boardView(), Column::ChangeRatio); // the risers first
    QVERIFY(m_window->quotes().quoteAt(0).direction() > 0);
    m_window->boardView()->setCurrentIndex(QModelIndex());
    const auto first = [&] {
        return m_window->boardView()->viewport()->grab(
            m_window->boardView()->visualRect(m_window->quotes().index(0, Column::ChangeRatio)));
    };
    QVERIFY(Screenshot::lean(first().toImage()) > 10);
    m_window->setStyle(Theme::Light, false);
    QVERIFY(Screenshot::lean(first().toImage()) < -10);
}

void tst_board::darkAndLight()
{
    for (const Theme::Style style : { Theme::Light, Theme::Dark }) {
        m_window->setStyle(style, true);
        QCoreApplication::processEvents();
        const Theme theme(style, true);
        const QImage image = Screenshot::of(m_window.get());
        QVERIFY(Screenshot::share(image, theme.palette.color(QPalette::Base)) > 0.3);
        QVERIFY(Screenshot::count(image, theme.rising) > 50);
        QVERIFY(Screenshot::count(image, theme.falling) > 50);
        const Theme other(style == Theme::Light ? Theme::Dark : Theme::Light, true);
        QVERIFY(Screenshot::share(image, other.palette.color(QPalette::Window)) < 0.01);
        QVERIFY(Screenshot::share(image, other.palette.color(QPalette::Base)) < 0.01);
    }
}

// --- Charts ---

void tst_board::chartKeysSwitchCharts()
{
    ChartPanel *charts = m_window->chartPanel();
    QCOMPARE(charts->chartIndex(), 0);
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    QCOMPARE(charts->candleSeries().period(), LxBarSeries::Day);
    QVERIFY(charts->candleView()->isVisible());
    QTest::keyClick(m_window->boardView(), Qt::Key_F8);
    QCOMPARE(charts->candleSeries().period(), LxBarSeries::Week);
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    QVERIFY(charts->intradayView()->isVisible());
    auto *tabs = child<QTabBar>(charts, "chartTabs");
    QTest::mouseClick(tabs, Qt::LeftButton, Qt::NoModifier, tabs->tabRect(2).center());
    QCOMPARE(charts->candleSeries().period(), LxBarSeries::FiveMinutes);
}

void tst_board::intradayChartDrawsTheMorning()
{
    const Theme theme(Theme::Light, true);
    m_window->setCurrentSymbol(QStringLiteral("600332.SH"));
    IntradayView *view = m_window->chartPanel()->intradayView();
    QTRY_VERIFY(Screenshot::count(Screenshot::of(view->pricePlot()), theme.line) > 20);
    QVERIFY(Screenshot::count(Screenshot::of(view->volumePlot()), theme.rising) > 20);
    QVERIFY(Screenshot::count(Screenshot::of(view->volumePlot()), theme.falling) > 20);
    const QPoint opening(static_cast<int>(view->pricePlot()->transform(QwtPlot::xBottom, 0)), 30);
    QTest::mouseMove(view->pricePlot()->canvas(), opening);
    QTRY_COMPARE(view->hovered(), 0);
    QVERIFY2(view->readOut().startsWith(QStringLiteral("09:31")), qPrintable(view->readOut()));
}

void tst_board::chartsWithoutTradesHaveNoScales()
{
    const auto hasLabels = [](const QwtPlot *plot) {
        return plot->axisScaleDraw(QwtPlot::yLeft)->hasComponent(QwtAbstractScaleDraw::Labels);
    };
    IntradayView *intraday = m_window->chartPanel()->intradayView();
    m_window->setCurrentSymbol(QStringLiteral("600332.SH"));
    QTRY_VERIFY(hasLabels(intraday->pricePlot()) && hasLabels(intraday->volumePlot()));
    m_window->setCurrentSymbol(QStringLiteral("000004.SZ"));
    QTRY_VERIFY(!hasLabels(intraday->pricePlot()) && !hasLabels(intraday->volumePlot()));
    QCOMPARE(intraday->readOut(), QStringLiteral("No trades yet"));
}

void tst_board::candlesOfMinutesAreLive()
{
    m_window->setCurrentSymbol(QStringLiteral("600332.SH"));
    m_window->chartPanel()->setChartIndex(1);
    const LxBarSeries &series = m_window->chartPanel()->candleSeries();
    const LxQuote quote = m_window->quotes().quoteAt(m_window->quotes().rowOf(QStringLiteral("600332.SH")));
    QVariantMap fields { { QStringLiteral("MDDate"), quote.date },
                         { QStringLiteral("MDTime"), QStringLiteral("111001000") },
                         { QStringLiteral("PreClosePx"), quote.previousClose },
                         { QStringLiteral("LastPx"), 30.0 },
                         { QStringLiteral("TotalVolumeTrade"), quote.volume + 100000 } };
    m_fixture.publish(quote.symbol, fields);
    QTRY_COMPARE(series.bars().constLast().minute, 11 * 60 + 11);
    fields.insert(QStringLiteral("MDTime"), QStringLiteral("111101000"));
    fields.insert(QStringLiteral("LastPx"), 30.5);
    fields.insert(QStringLiteral("TotalVolumeTrade"), quote.volume + 100300);
    m_fixture.publish(quote.symbol, fields);
    QTRY_COMPARE(series.bars().constLast().minute, 11 * 60 + 12);
    QCOMPARE(series.bars().constLast().close, 30.5);
    QCOMPARE(series.bars().constLast().volume, 300.0);
    QTRY_VERIFY(m_window->chartPanel()->candleView()->readOut().contains(QStringLiteral("11:12")));
}

void tst_board::dailyCandlesComeFromTheService()
{
    const Theme theme(Theme::Light, true);
    m_window->setCurrentSymbol(QStringLiteral("600000.SH"));
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    const LxBarSeries &series = m_window->chartPanel()->candleSeries();
    QTRY_VERIFY(series.rowCount() > 500);
    // The day of the replay is the last one that may be seen.
    QVERIFY(series.bars().constLast().date <= QStringLiteral("20211201"));
    const CandleView *view = m_window->chartPanel()->candleView();
    const QImage image = Screenshot::of(view->pricePlot());
    QVERIFY(Screenshot::count(image, theme.rising) > 100);
    QVERIFY(Screenshot::count(image, theme.falling) > 100);
    QVERIFY(view->last() > series.rowCount() - 2);
    for (const int length : CandleView::AverageLengths)
        QVERIFY(view->readOut().contains(QStringLiteral("MA%1 ").arg(length)));
}

void tst_board::wheelZoomsAndDraggingMoves()
{
    m_window->setCurrentSymbol(QStringLiteral("600000.SH"));
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    QTRY_VERIFY(m_window->chartPanel()->candleSeries().rowCount() > 500);
    CandleView *view = m_window->chartPanel()->candleView();
    QWidget *canvas = view->pricePlot()->canvas();
    const double size = view->last() - view->first();
    wheel(canvas, canvas->rect().center(), 120);
    QVERIFY(view->last() - view->first() < size * 0.9);
    wheel(canvas, canvas->rect().center(), -120);
    wheel(canvas, canvas->rect().center(), -120);
    QVERIFY(view->last() - view->first() > size);
    const double first = view->first();
    const QPoint from = canvas->rect().center();
    QTest::mousePress(canvas, Qt::LeftButton, Qt::NoModifier, from);
    QMouseEvent drag(QEvent::MouseMove, from + QPoint(100, 0), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(canvas, &drag);
    QTest::mouseRelease(canvas, Qt::LeftButton, Qt::NoModifier, from + QPoint(100, 0));
    QVERIFY(view->first() < first - 5);
    // Neither end can be dragged out of sight.
    for (int i = 0; i < 60; ++i)
        wheel(canvas, canvas->rect().center(), -120);
    QVERIFY(view->first() >= -0.5);
    QVERIFY(view->last() <= m_window->chartPanel()->candleSeries().rowCount());
}

void tst_board::arrowKeysMoveTheCrosshair()
{
    m_window->setCurrentSymbol(QStringLiteral("600000.SH"));
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    const LxBarSeries &series = m_window->chartPanel()->candleSeries();
    QTRY_VERIFY(series.rowCount() > 500);
    CandleView *view = m_window->chartPanel()->candleView();
    QTest::keyClick(view, Qt::Key_Left);
    QCOMPARE(view->hovered(), series.rowCount() - 1);
    for (int i = 0; i < 300; ++i)
        QTest::keyClick(view, Qt::Key_Left);
    QCOMPARE(view->hovered(), series.rowCount() - 301);
    QVERIFY(view->first() <= view->hovered());
    const double size = view->last() - view->first();
    QTest::keyClick(view, Qt::Key_Up);
    QVERIFY(view->last() - view->first() < size);
    QTest::keyClick(view, Qt::Key_Escape);
    QCOMPARE(view->hovered(), -1);
}

void tst_board::crosshairReadsOutTheBar()
{
    m_window->setCurrentSymbol(QStringLiteral("600000.SH"));
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    const LxBarSeries &series = m_window->chartPanel()->candleSeries();
    QTRY_VERIFY(series.rowCount() > 500);
    CandleView *view = m_window->chartPanel()->candleView();
    QWidget *canvas = view->pricePlot()->canvas();
    const int index = static_cast<int>(view->first() + 20);
    const auto x = static_cast<int>(view->pricePlot()->transform(QwtPlot::xBottom, index));
    QTest::mouseMove(canvas, QPoint(x, 30));
    QTRY_COMPARE(view->hovered(), index);
    const LxBar bar = series.bars().at(index);
    const QString shown = child<QLabel>(m_window.get(), "readOut")->text();
    QVERIFY2(shown.contains(QDate::fromString(bar.date, QStringLiteral("yyyyMMdd")).toString(Qt::ISODate)),
             qPrintable(shown));
    QVERIFY2(shown.contains(QString::number(bar.close, 'f', 2)), qPrintable(shown));
    const Theme theme(Theme::Light, true);
    QVERIFY(Screenshot::count(Screenshot::of(view->pricePlot()), theme.crosshair) > 20);
}

void tst_board::adjustmentLoadsAnew()
{
    m_window->setCurrentSymbol(QStringLiteral("600000.SH"));
    QTest::keyClick(m_window->boardView(), Qt::Key_F5);
    QTRY_VERIFY(m_window->chartPanel()->candleSeries().rowCount() > 500);
    auto *adjustment = child<QComboBox>(m_window.get(), "adjustment");
    adjustment->setFocus();
    QTest::keyClick(adjustment, Qt::Key_Down);
    QCOMPARE(m_window->chartPanel()->candleSeries().adjustment(), LxBarSeries::Forward);
    QTRY_VERIFY(m_window->chartPanel()->candleSeries().rowCount() > 500);
}

// --- The whole window ---

void tst_board::everyWidgetHasAnAccessibleName()
{
    m_window->finder()->open(QStringLiteral("6"));
    QStringList nameless;
    for (QWidget *widget : m_window->findChildren<QWidget *>()) {
        // What Qt builds into its own widgets - viewports, headers, scroll bars, handles - is described by those.
        const bool isOwn = widget->inherits("QAbstractItemView") || widget->inherits("QTabBar")
            || widget->inherits("QLineEdit") || widget->inherits("QComboBox") || widget->inherits("QwtPlot")
            || widget->inherits("QSplitter") || widget->inherits("ChartView") || widget->inherits("ChartPanel")
            || widget->inherits("SymbolPanel") || widget->inherits("SymbolFinder") || widget->inherits("QStatusBar")
            || (widget->inherits("QLabel") && widget->isVisible());
        if (!isOwn || widget->inherits("QHeaderView"))
            continue;
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(widget);
        const QString name = accessible ? accessible->text(QAccessible::Name) : QString();
        const bool isEmptyLabel = widget->inherits("QLabel") && static_cast<QLabel *>(widget)->text().isEmpty();
        if (name.isEmpty() && !isEmptyLabel)
            nameless.append(QString::fromLatin1(widget->metaObject()->className()) + u' ' + widget->objectName());
    }
    QCOMPARE(nameless, QStringList());
}

void tst_board::nothingOverlaps_data()
{
    QTest::addColumn<int>("chart");
    QTest::newRow("intraday") << 0;
    QTest::newRow("candles") << 6;
}

void tst_board::nothingOverlaps()
{
    QFETCH(int, chart);
    m_window->setCurrentSymbol(QStringLiteral("600332.SH"));
    m_window->chartPanel()->setChartIndex(chart);
    QTRY_COMPARE(child<QLabel>(m_window.get(), "lastPrice")->text().isEmpty(), false);
    QCOMPARE(m_window->size(), QSize(1280, 720));
    QCoreApplication::processEvents();
    // Every label has room for its text, and no sibling stands on it.
    for (const QLabel *label : m_window->findChildren<QLabel *>()) {
        if (!label->isVisible() || label->text().isEmpty() || label->objectName() == QLatin1String("readOut"))
            continue;
        QVERIFY2(label->width() >= label->sizeHint().width() && label->height() >= label->sizeHint().height(),
                 qPrintable(QStringLiteral("\"%1\" is cut off").arg(label->text())));
        for (const QObject *object : label->parent()->children()) {
            const auto *other = qobject_cast<const QWidget *>(object);
            if (!other || other == label || !other->isVisible() || other->isWindow() || other == m_window->finder())
                continue;
            QVERIFY2(!other->geometry().intersects(label->geometry()),
                     qPrintable(QStringLiteral("\"%1\" is overlapped by %2 %3")
                                    .arg(label->text(), QString::fromLatin1(other->metaObject()->className()),
                                         other->objectName())));
        }
    }
    // Every heading and cell of the tables has room for its text.
    for (const QTableView *view : m_window->findChildren<QTableView *>()) {
        if (!view->isVisible())
            continue;
        const QAbstractItemModel *model = view->model();
        for (int column = 0; column < model->columnCount(); ++column) {
            if (view->isColumnHidden(column))
                continue;
            if (view->horizontalHeader()->isVisible()) {
                const QString heading = model->headerData(column, Qt::Horizontal).toString();
                QVERIFY2(view->horizontalHeader()->fontMetrics().horizontalAdvance(heading)
                             <= view->columnWidth(column),
                         qPrintable(heading));
            }
            for (int row = 0; row < std::min(model->rowCount(), 40); ++row) {
                const QString cell = model->index(row, column).data().toString();
                QVERIFY2(view->fontMetrics().horizontalAdvance(cell) <= view->columnWidth(column),
                         qPrintable(view->objectName() + QStringLiteral(": ") + cell));
                QVERIFY(view->fontMetrics().height() <= view->rowHeight(row));
            }
        }
    }
    // The whole ladder is in view.
    const auto *depth = child<QTableView>(m_window.get(), "depthView");
    QVERIFY(depth->height() >= 20 * depth->rowHeight(0));
    QVERIFY(child<QTableView>(m_window.get(), "tradesView")->height() >= 3 * depth->rowHeight(0));
    // The read-out may be long, but not longer than its place at this size.
    const auto *readOut = child<QLabel>(m_window.get(), "readOut");
    QVERIFY2(readOut->sizeHint().width() <= readOut->width(), qPrintable(readOut->text()));
}

void tst_board::chineseWindowIsTranslated()
{
    m_window.reset();
    QTranslator translator;
    QVERIFY(translator.load(QStringLiteral(LX_TRANSLATION)));
    QLocale::setDefault(QLocale(QStringLiteral("zh_CN")));
    QCoreApplication::installTranslator(&translator);
    m_window = m_fixture.openWindow();
    QVERIFY(m_window);
    QCOMPARE(m_window->quotes().headerData(Column::ChangeRatio, Qt::Horizontal).toString(), QStringLiteral("涨跌幅"));
    const auto *depth = child<QTableView>(m_window.get(), "depthView");
    QTRY_COMPARE(depth->model()->index(10, 0).data().toString(), QStringLiteral("买1"));
    const int row = m_window->quotes().rowOf(QStringLiteral("600446.SH"));
    QTRY_COMPARE(text(*m_window, row, Column::Amount), QStringLiteral("6983万"));
    // No string of the user interface is left in English.
    for (const QAction *menu : m_window->menuBar()->actions()) {
        for (const QAction *action : menu->menu()->actions()) {
            const QString shown = action->text();
            QVERIFY2(shown.isEmpty() || shown == QLatin1String("English") || shown.at(0).script() == QChar::Script_Han,
                     qPrintable(shown));
        }
    }
    m_window.reset();
    QCoreApplication::removeTranslator(&translator);
    QLocale::setDefault(QLocale(QStringLiteral("en")));
}

void tst_board::manyWindowsOneAfterAnother()
{
    // As when the language is changed, also while the quotes arrive.
    for (int i = 0; i < 5; ++i) {
        m_fixture.publish(QStringLiteral("600332.SH"),
                          { { QStringLiteral("MDDate"), QStringLiteral("20211201") },
                            { QStringLiteral("MDTime"), QStringLiteral("112001000") },
                            { QStringLiteral("LastPx"), 30.0 + i } });
        m_window->close();
        m_window = m_fixture.openWindow();
        QVERIFY(m_window);
    }
    QTRY_COMPARE(text(*m_window, m_window->quotes().rowOf(QStringLiteral("600332.SH")), Column::Last),
                 QStringLiteral("34.00"));
}

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QLocale::setDefault(QLocale(QStringLiteral("en")));
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication application(argc, argv);
    Theme::setUpApplication();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    tst_board test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_board.moc"
