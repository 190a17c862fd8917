#include "mainwindow.h"

#include "boardstatus.h"
#include "chartpanel.h"
#include "markethost.h"
#include "quoteboardview.h"
#include "symbolfinder.h"
#include "symbolpanel.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QHeaderView>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QSaveFile>
#include <QSettings>
#include <QSplitter>
#include <QTabBar>
#include <QVBoxLayout>

namespace {

const QString geometryKey = QStringLiteral("window/geometry");
const QString splitterKey = QStringLiteral("window/splitter");
const QString leftSplitterKey = QStringLiteral("window/leftSplitter");
const QString headerKey = QStringLiteral("board/header");
const QString listKey = QStringLiteral("board/list");
const QString symbolKey = QStringLiteral("board/symbol");
const QString chartKey = QStringLiteral("chart/kind");
const QString adjustmentKey = QStringLiteral("chart/adjustment");
const QString darkKey = QStringLiteral("colors/dark");
const QString redRisesKey = QStringLiteral("colors/redRises");

} // namespace

MainWindow::MainWindow(MarketHost *host, QSettings *settings) : m_host(host), m_settings(settings)
{
    setObjectName(QStringLiteral("mainWindow"));
    setWindowTitle(tr("lxboard"));
    m_symbols.setSecurities(host->securities());

    auto *board = new QWidget;
    board->setAccessibleName(tr("Quote board"));
    m_tabs = new QTabBar(board);
    m_tabs->setObjectName(QStringLiteral("listTabs"));
    m_tabs->setAccessibleName(tr("Lists"));
    m_tabs->setDrawBase(false);
    m_tabs->setExpanding(false);
    m_view = new QuoteBoardView(board);
    m_view->setObjectName(QStringLiteral("boardView"));
    m_view->setAccessibleName(tr("Quotes"));
    m_view->setFrameShape(QFrame::NoFrame);
    m_view->setQuoteModel(&m_quotes);
    auto *boardLayout = new QVBoxLayout(board);
    boardLayout->setContentsMargins(4, 2, 0, 0);
    boardLayout->setSpacing(2);
    boardLayout->addWidget(m_tabs);
    boardLayout->addWidget(m_view, 1);

    m_charts = new ChartPanel;
    m_panel = new SymbolPanel;
    m_leftSplitter = new QSplitter(Qt::Vertical);
    m_leftSplitter->setAccessibleName(tr("Quotes and charts"));
    m_leftSplitter->addWidget(board);
    m_leftSplitter->addWidget(m_charts);
    m_leftSplitter->setSizes({ 320, 320 });
    m_leftSplitter->setChildrenCollapsible(false);
    m_splitter = new QSplitter(Qt::Horizontal);
    m_splitter->setAccessibleName(tr("Board and chosen symbol"));
    m_splitter->addWidget(m_leftSplitter);
    m_splitter->addWidget(m_panel);
    m_splitter->setStretchFactor(0, 1);
    m_splitter->setSizes({ 960, 320 });
    m_splitter->setChildrenCollapsible(false);
    setCentralWidget(m_splitter);
    m_status = new BoardStatus(host, &m_quotes, this);
    setStatusBar(m_status);
    m_finder = new SymbolFinder(&m_symbols, this);
    createActions();
    resize(1280, 720);

    connect(m_tabs, &QTabBar::currentChanged, this, &MainWindow::showList);
    connect(&m_lists, &WatchLists::listsChanged, this, &MainWindow::fillTabs);
    connect(m_view, &QuoteBoardView::currentSymbolChanged, this, &MainWindow::setCurrentSymbol);
    connect(m_view, &QuoteBoardView::symbolActivated, this, [this] { m_charts->setFocus(); });
    connect(m_view, &QuoteBoardView::moveRequested, this, &MainWindow::moveSelectedSymbol);
    connect(m_finder, &SymbolFinder::chosen, this, [this](const QString &symbol) {
        setCurrentSymbol(symbol);
        m_view->setFocus();
    });
    connect(host, &MarketHost::stateChanged, this, [this](const LxBusState &state) {
        m_quotes.setServiceAvailable(state.kind == LxBusState::Connected || state.kind == LxBusState::SlowConsumer);
    });
    connect(host, &MarketHost::serviceStarted, &m_quotes, &LxQuoteTableModel::requestFigures);
    connect(host, &MarketHost::serviceStarted, m_charts, &ChartPanel::reload);
    connect(host, &MarketHost::failed, this, [this](const QString &reason) { m_status->setNotice(reason); });
    connect(host, &MarketHost::replayEnded, this, [this] { m_status->setNotice(tr("The replay has ended")); });
    connect(host, &MarketHost::serviceFailed, this,
            [this](const QString &reason) { m_status->setNotice(tr("No past bars: %1").arg(reason)); });
    qApp->installEventFilter(this);
    restore();
}

MainWindow::~MainWindow()
{
    delete centralWidget(); // before the models that it shows
}

// --- Actions ---

QAction *MainWindow::addAction(QMenu *menu, const QString &text, const QKeySequence &shortcut,
                               void (MainWindow::*slot)())
{
    QAction *action = menu->addAction(text);
    action->setShortcut(shortcut);
    connect(action, &QAction::triggered, this, slot);
    return action;
}

void MainWindow::createActions()
{
    createListActions(menuBar()->addMenu(tr("&List")));
    createViewActions(menuBar()->addMenu(tr("&View")));
}

void MainWindow::createListActions(QMenu *menu)
{
    QAction *find = menu->addAction(tr("&Find symbol..."));
    find->setShortcut(QKeySequence::Find);
    connect(find, &QAction::triggered, this, [this] { m_finder->open(QString()); });
    menu->addSeparator();
    m_listActions.append(addAction(menu, tr("&Add shown symbol"), Qt::Key_Insert, &MainWindow::addCurrentSymbol));
    m_listActions.append(
        addAction(menu, tr("Re&move selected symbol"), Qt::Key_Delete, &MainWindow::removeSelectedSymbol));
    QAction *up = menu->addAction(tr("Move &up\tShift+Up"));
    connect(up, &QAction::triggered, this, [this] { moveSelectedSymbol(-1); });
    QAction *down = menu->addAction(tr("Move &down\tShift+Down"));
    connect(down, &QAction::triggered, this, [this] { moveSelectedSymbol(1); });
    m_listActions << up << down;
    menu->addSeparator();
    addAction(menu, tr("&New list..."), QKeySequence::New, &MainWindow::newList);
    m_listActions.append(addAction(menu, tr("&Rename list..."), Qt::Key_F2, &MainWindow::renameList));
    m_listActions.append(addAction(menu, tr("De&lete list"), {}, &MainWindow::deleteList));
    menu->addSeparator();
    addAction(menu, tr("&Import list..."), QKeySequence::Open, &MainWindow::chooseImport);
    addAction(menu, tr("&Export list..."), QKeySequence::Save, &MainWindow::chooseExport);
    menu->addSeparator();
    addAction(menu, tr("&Previous list"), Qt::CTRL + Qt::Key_PageUp, &MainWindow::previousList);
    addAction(menu, tr("Ne&xt list"), Qt::CTRL + Qt::Key_PageDown, &MainWindow::nextList);
    menu->addSeparator();
    QAction *quit = menu->addAction(tr("&Quit"));
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &QWidget::close);
}

void MainWindow::createViewActions(QMenu *menu)
{
    addAction(menu, tr("Intraday / &candles"), Qt::Key_F5, &MainWindow::toggleChart);
    addAction(menu, tr("Next &period"), Qt::Key_F8, &MainWindow::nextPeriod);
    QMenu *sort = menu->addMenu(tr("&Sort by"));
    for (const LxQuoteTableModel::Column column : QuoteBoardView::shownColumns()) {
        connect(sort->addAction(LxQuoteTableModel::title(column)), &QAction::triggered, this,
                [this, column] { m_view->cycleSort(column); });
    }
    menu->addSeparator();
    m_darkAction = menu->addAction(tr("&Dark"));
    m_darkAction->setCheckable(true);
    connect(m_darkAction, &QAction::triggered, this,
            [this](bool on) { setStyle(on ? Theme::Dark : Theme::Light, m_redRises); });
    m_redRisesAction = menu->addAction(tr("&Red rises"));
    m_redRisesAction->setCheckable(true);
    connect(m_redRisesAction, &QAction::triggered, this, [this](bool on) { setStyle(m_style, on); });
    menu->addSeparator();
    // Each language under its own name, for those who do not read the current one.
    const QPair<QString, QString> languages[] { { QStringLiteral("en"), QStringLiteral("English") },
                                                { QStringLiteral("zh_CN"), QStringLiteral("简体中文") } };
    for (const auto &language : languages) {
        QAction *action = menu->addAction(language.second);
        connect(action, &QAction::triggered, this, [this, code = language.first] { Q_EMIT languageChosen(code); });
    }
}

void MainWindow::updateListActions()
{
    for (QAction *action : qAsConst(m_listActions))
        action->setEnabled(!isWholeMarket());
}

// --- Lists ---

bool MainWindow::isWholeMarket() const
{
    return m_tabs->currentIndex() >= m_lists.count();
}

void MainWindow::fillTabs()
{
    const int current = qMax(0, m_tabs->currentIndex());
    {
        const QSignalBlocker blocker(m_tabs);
        while (m_tabs->count() > 0)
            m_tabs->removeTab(0);
        for (const WatchLists::List &list : m_lists.lists())
            m_tabs->addTab(list.name);
        m_tabs->addTab(tr("Whole market"));
        m_tabs->setCurrentIndex(qMin(current, m_tabs->count() - 1));
    }
    showList();
}

void MainWindow::showList()
{
    QStringList symbols;
    if (isWholeMarket()) {
        for (const LxSecurity &security : m_symbols.securities())
            symbols.append(security.symbol);
    } else {
        symbols = m_lists.lists().at(m_tabs->currentIndex()).symbols;
    }
    m_quotes.setSymbols(symbols);
    m_view->selectSymbol(m_symbol);
    updateListActions();
}

// After the list that is shown has changed in the model.
void MainWindow::keepList()
{
    m_lists.setSymbols(m_tabs->currentIndex(), m_quotes.symbols());
}

void MainWindow::setCurrentSymbol(const QString &symbol)
{
    if (symbol.isEmpty())
        return;
    const bool isNew = symbol != m_symbol;
    m_symbol = symbol;
    if (m_view->currentSymbol() != symbol)
        m_view->selectSymbol(symbol);
    if (!isNew)
        return;
    m_panel->setSymbol(symbol);
    m_charts->setSymbol(symbol);
}

void MainWindow::addCurrentSymbol()
{
    if (isWholeMarket() || m_symbol.isEmpty())
        return;
    const int row = m_view->currentIndex().row();
    m_quotes.insertSymbols(row < 0 || m_quotes.sortColumn() >= 0 ? m_quotes.rowCount() : row + 1, { m_symbol });
    m_view->selectSymbol(m_symbol);
    keepList();
}

void MainWindow::removeSelectedSymbol()
{
    const QString symbol = m_view->currentSymbol();
    if (isWholeMarket() || symbol.isEmpty())
        return;
    m_quotes.removeSymbols({ symbol });
    keepList();
}

void MainWindow::moveSelectedSymbol(int rows)
{
    // Sorted rows have the order of their values.
    if (isWholeMarket() || m_quotes.sortColumn() >= 0)
        return;
    const int row = m_view->currentIndex().row();
    m_quotes.moveSymbol(row, row + rows);
    keepList();
}

void MainWindow::newList()
{
    const QString name = QInputDialog::getText(this, tr("New list"), tr("Name:"));
    if (name.trimmed().isEmpty())
        return;
    m_tabs->setCurrentIndex(m_lists.add(name.trimmed(), {}));
}

void MainWindow::renameList()
{
    if (isWholeMarket())
        return;
    const int index = m_tabs->currentIndex();
    const QString name =
        QInputDialog::getText(this, tr("Rename list"), tr("Name:"), QLineEdit::Normal, m_lists.lists().at(index).name);
    if (!name.trimmed().isEmpty())
        m_lists.rename(index, name.trimmed());
}

void MainWindow::deleteList()
{
    if (isWholeMarket())
        return;
    const int index = m_tabs->currentIndex();
    const QString question = tr("Delete the list \"%1\"?").arg(m_lists.lists().at(index).name);
    if (QMessageBox::question(this, tr("Delete list"), question) == QMessageBox::Yes)
        m_lists.remove(index);
}

void MainWindow::chooseImport()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Import list"));
    if (!path.isEmpty())
        importList(path);
}

void MainWindow::chooseExport()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Export list"));
    if (!path.isEmpty())
        exportList(path);
}

bool MainWindow::importList(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        QMessageBox::warning(this, tr("Import list"), tr("%1: %2").arg(path, file.errorString()));
        return false;
    }
    QStringList rejected;
    const QStringList symbols = WatchLists::fromText(QString::fromUtf8(file.readAll()), &rejected);
    if (!rejected.isEmpty())
        QMessageBox::warning(this, tr("Import list"),
                             tr("Not symbols: %1").arg(rejected.mid(0, 10).join(QLatin1String(", "))));
    if (symbols.isEmpty())
        return false;
    m_tabs->setCurrentIndex(m_lists.add(QFileInfo(path).completeBaseName(), symbols));
    return true;
}

bool MainWindow::exportList(const QString &path)
{
    QSaveFile file(path);
    const QByteArray text = WatchLists::toText(m_quotes.symbols()).toUtf8();
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit())
        return true;
    QMessageBox::warning(this, tr("Export list"), tr("%1: %2").arg(path, file.errorString()));
    return false;
}

void MainWindow::previousList()
{
    m_tabs->setCurrentIndex((m_tabs->currentIndex() + m_tabs->count() - 1) % m_tabs->count());
}

void MainWindow::nextList()
{
    m_tabs->setCurrentIndex((m_tabs->currentIndex() + 1) % m_tabs->count());
}

// --- View ---

void MainWindow::toggleChart()
{
    constexpr int DayChart = 6;
    m_charts->setChartIndex(m_charts->chartIndex() == 0 ? DayChart : 0);
}

void MainWindow::nextPeriod()
{
    constexpr int Periods = 8;
    m_charts->setChartIndex(m_charts->chartIndex() % Periods + 1);
}

void MainWindow::setStyle(Theme::Style style, bool redRises)
{
    m_style = style;
    m_redRises = redRises;
    m_darkAction->setChecked(style == Theme::Dark);
    m_redRisesAction->setChecked(redRises);
    const Theme theme(style, redRises);
    qApp->setPalette(theme.palette);
    LxQuoteTableModel::Colors colors;
    colors.rising = theme.rising;
    colors.falling = theme.falling;
    m_quotes.setColors(colors);
    m_view->setTheme(theme);
    m_panel->setTheme(theme);
    m_charts->setTheme(theme);
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    // What is typed anywhere in this window but in a text field opens the finder.
    if (event->type() == QEvent::KeyPress && watched->isWidgetType() && isActiveWindow()
        && !qobject_cast<QLineEdit *>(watched) && static_cast<QWidget *>(watched)->window() == this
        && !QApplication::activePopupWidget()) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const QString typed = key->text();
        const bool isPlain = !(key->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier));
        if (isPlain && !typed.isEmpty() && typed.at(0).isLetterOrNumber() && m_finder->isHidden()) {
            m_finder->open(typed);
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

// --- Settings ---

void MainWindow::restore()
{
    m_lists.load(*m_settings);
    if (m_lists.count() == 0)
        m_lists.add(tr("Watch list"), m_host->replayedSymbols());
    setStyle(m_settings->value(darkKey, false).toBool() ? Theme::Dark : Theme::Light,
             m_settings->value(redRisesKey, true).toBool());
    restoreGeometry(m_settings->value(geometryKey).toByteArray());
    m_splitter->restoreState(m_settings->value(splitterKey).toByteArray());
    m_leftSplitter->restoreState(m_settings->value(leftSplitterKey).toByteArray());
    m_view->horizontalHeader()->restoreState(m_settings->value(headerKey).toByteArray());
    m_view->horizontalHeader()->setSortIndicatorShown(false);
    // On a bus the first start has nothing to put into a list.
    const int firstTab = m_lists.lists().constFirst().symbols.isEmpty() ? m_tabs->count() - 1 : 0;
    m_tabs->setCurrentIndex(qBound(0, m_settings->value(listKey, firstTab).toInt(), m_tabs->count() - 1));
    m_charts->setAdjustmentIndex(m_settings->value(adjustmentKey, 0).toInt());
    m_charts->setChartIndex(m_settings->value(chartKey, 0).toInt());
    setCurrentSymbol(m_settings->value(symbolKey, m_quotes.symbolAt(0)).toString());
    if (isWholeMarket() && !m_settings->contains(symbolKey))
        showWhatTrades();
    m_view->setFocus();
}

// Of thousands of securities, a bus may carry a few: those that trade most come first, and the first of them is chosen.
void MainWindow::showWhatTrades()
{
    m_view->cycleSort(LxQuoteTableModel::Amount);
    m_firstOrder = connect(&m_quotes, &QAbstractItemModel::layoutChanged, this, [this, before = m_symbol] {
        disconnect(m_firstOrder);
        if (m_symbol == before)
            setCurrentSymbol(m_quotes.symbolAt(0));
        m_view->scrollToTop();
    });
}

void MainWindow::save()
{
    m_lists.save(m_settings);
    m_settings->setValue(darkKey, m_style == Theme::Dark);
    m_settings->setValue(redRisesKey, m_redRises);
    m_settings->setValue(geometryKey, saveGeometry());
    m_settings->setValue(splitterKey, m_splitter->saveState());
    m_settings->setValue(leftSplitterKey, m_leftSplitter->saveState());
    m_settings->setValue(headerKey, m_view->horizontalHeader()->saveState());
    m_settings->setValue(listKey, m_tabs->currentIndex());
    m_settings->setValue(adjustmentKey, m_charts->adjustmentIndex());
    m_settings->setValue(chartKey, m_charts->chartIndex());
    m_settings->setValue(symbolKey, m_symbol);
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    save();
    QMainWindow::closeEvent(event);
}
