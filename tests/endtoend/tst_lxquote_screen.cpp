#include "market.h"
#include "terminalscreen.h"

#include <QtTest>

#define VERIFY_SOON(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60000)

using Screen = TerminalScreen;

/// The watch list on the whole terminal.
class tst_LxQuoteScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void columnsFitTheTerminal_data();
    void columnsFitTheTerminal();
    void resizedTerminalIsDrawnAnew();
    void keysAreShownAtEveryWidth_data();
    void keysAreShownAtEveryWidth();
    void namesAreShownBeforeTheFirstQuote();
    void tradesFitTheTerminal_data();
    void tradesFitTheTerminal();
    void figuresBeforeTheFirstTradeAreUnknown();
    void listScrolls();
    void orderChanges();
    void findMovesTheCursor();
    void pauseHoldsTheList();
    void quitLeavesTheListOnTheNormalScreen();
    void coloursFollowTheOption_data();
    void coloursFollowTheOption();

private:
    QStringList watch(const QStringList &more = {}) const
    {
        // The second record of a symbol is due in days.
        return QStringList { QStringLiteral("watch"),        QStringLiteral("--data"),  m_folder->path(),
                             QStringLiteral("--all"),        QStringLiteral("--speed"), QStringLiteral("0.001"),
                             QStringLiteral("--keep-pauses") }
        + more;
    }

    std::unique_ptr<RecordingFolder> m_folder;
};

void tst_LxQuoteScreen::initTestCase()
{
    m_folder = std::make_unique<RecordingFolder>(QStringList { QStringLiteral("securities.csv") });
    m_folder->write(QStringLiteral("stock_snapshots_20230201.csv"),
                    "MDDate,MDTime,Symbol,PreClosePx,LastPx,HighPx,LowPx,TotalVolumeTrade,TotalValueTrade\n"
                    "20230201,093000000,000002.SZ,20,20,0,0,0,0\n"
                    "20230201,093000000,000333.SZ,55,54.5,55,54,300,16350\n"
                    "20230201,093000000,600000.SH,7,7.07,7.1,7,1000000,7070000\n"
                    "20230201,093000000,600004.SH,15,15,15,15,100,1500\n"
                    "20230201,093000000,600519.SH,1800,1810.25,1811,1800,300,540025\n"
                    "20230201,160000000,600519.SH,1800,1811,1811,1800,300,540025\n");
}

void tst_LxQuoteScreen::columnsFitTheTerminal_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("titles");

    QTest::newRow("120") << 120
                         << QStringLiteral("symbol name last change change% volume turnover bid 1 ask 1 ampl. time");
    QTest::newRow("80") << 80 << QStringLiteral("symbol name last change change% turnover ampl. time");
    QTest::newRow("60") << 60 << QStringLiteral("symbol name last change change% time");
    QTest::newRow("30") << 30 << QStringLiteral("symbol last change%");
}

void tst_LxQuoteScreen::columnsFitTheTerminal()
{
    QFETCH(int, columns);
    QFETCH(QString, titles);

    const Screen screen(columns, 12, watch());
    VERIFY_SOON(screen.has("+0.57%"));
    QCOMPARE(screen.line(0).simplified(), titles);
    for (const QString &line : screen.lines())
        QVERIFY2(line.size() <= columns, qPrintable(line));
}

void tst_LxQuoteScreen::resizedTerminalIsDrawnAnew()
{
    Screen screen(80, 12, watch());
    VERIFY_SOON(screen.has("turnover"));
    screen.resize(60, 8);
    VERIFY_SOON(screen.line(0).simplified() == QLatin1String("symbol name last change change% time"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("1/5")) && screen.lines().size() == 8);
    screen.resize(120, 12);
    VERIFY_SOON(screen.has("ask 1") && screen.lines().size() == 12);
}

void tst_LxQuoteScreen::keysAreShownAtEveryWidth_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("status");

    const QString keys = QStringLiteral("s order  / find  space pause  q quit");
    QTest::newRow("80") << 80 << QStringLiteral("2023-02-01 | 1/5 as given | ") + keys;
    QTest::newRow("60") << 60 << QStringLiteral("2023-02-01 | 1/5 | ") + keys;
    QTest::newRow("50") << 50 << QStringLiteral("2023-02-01 | ") + keys;
    QTest::newRow("40") << 40 << QStringLiteral("2023-02-01 | space pause  q quit");
    QTest::newRow("15") << 15 << QStringLiteral("2023- | q quit");
}

void tst_LxQuoteScreen::keysAreShownAtEveryWidth()
{
    QFETCH(int, columns);
    QFETCH(QString, status);

    const Screen screen(columns, 12, watch());
    VERIFY_SOON(screen.status().trimmed() == status);
}

void tst_LxQuoteScreen::namesAreShownBeforeTheFirstQuote()
{
    const Screen screen(80, 12,
                        { QStringLiteral("watch"), QStringLiteral("--data"), m_folder->path(), QStringLiteral("--date"),
                          QStringLiteral("20230201"), QStringLiteral("000001.SZ") });
    VERIFY_SOON(screen.has("000001.SZ"));
    QVERIFY2(screen.line(1).contains(QStringLiteral("平安银行")), qPrintable(screen.line(1)));
}

void tst_LxQuoteScreen::tradesFitTheTerminal_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("trade");

    QTest::newRow("80") << 80 << QStringLiteral("trade 09:30:01 1810.00 buy 250 shares 2.5 lots 452.50K");
    QTest::newRow("60") << 60 << QStringLiteral("trade 09:30:01 1810.00 buy 250 shares 452.50K");
    QTest::newRow("40") << 40 << QStringLiteral("09:30:01 1810.00 250 shares");
}

void tst_LxQuoteScreen::tradesFitTheTerminal()
{
    QFETCH(int, columns);
    QFETCH(QString, trade);

    RecordingFolder folder;
    folder.write(QStringLiteral("transactions_20230201.csv"),
                 "MDDate,MDTime,Symbol,TradePrice,TradeQty,TradeMoney,TradeBSFlag\n"
                 "20230201,093001000,600519.SH,1810,250,452500,1\n"
                 "20230201,160000000,600519.SH,1810,250,452500,1\n");
    const Screen screen(columns, 12,
                        { QStringLiteral("watch"), QStringLiteral("--data"), folder.path(), QStringLiteral("--kinds"),
                          QStringLiteral("trade"), QStringLiteral("--speed"), QStringLiteral("0.001"),
                          QStringLiteral("--keep-pauses"), QStringLiteral("600519.SH") });
    VERIFY_SOON(screen.has("09:30:01"));
    QCOMPARE(screen.line(2).simplified(), trade);
}

void tst_LxQuoteScreen::figuresBeforeTheFirstTradeAreUnknown()
{
    const Screen screen(80, 12, watch());
    VERIFY_SOON(screen.line(1).contains(QStringLiteral("09:30:00")));
    QCOMPARE(screen.line(1).simplified(), QString::fromUtf8("000002.SZ 万 科Ａ - - - 0 - 09:30:00"));
    QVERIFY2(screen.line(4).contains(QStringLiteral("15.00     0.00    0.00%")), qPrintable(screen.line(4)));
    QVERIFY2(screen.status().contains(QStringLiteral("2023-02-01")), qPrintable(screen.status()));
}

void tst_LxQuoteScreen::listScrolls()
{
    Screen screen(80, 5, watch()); // three rows between titles and status
    VERIFY_SOON(screen.symbols().size() == 3);
    QCOMPARE(screen.symbols().constFirst(), QStringLiteral("000002.SZ"));
    screen.press(QStringLiteral("End"));
    VERIFY_SOON(screen.symbols().constLast() == QLatin1String("600519.SH"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("5/5")));
    screen.press(QStringLiteral("Up"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("4/5")));
    QCOMPARE(screen.symbols().constLast(), QStringLiteral("600519.SH"));
    screen.press(QStringLiteral("PageUp"));
    VERIFY_SOON(screen.symbols().constFirst() == QLatin1String("000002.SZ"));
    screen.press(QStringLiteral("PageDown"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("4/5")));
    screen.press(QStringLiteral("Home"));
    VERIFY_SOON(screen.symbols().constFirst() == QLatin1String("000002.SZ"));
    screen.press(QStringLiteral("Down"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("2/5")));
}

void tst_LxQuoteScreen::orderChanges()
{
    Screen screen(80, 12, watch());
    VERIFY_SOON(screen.has("+0.57%") && screen.has("as given"));
    const QStringList given = screen.symbols();
    screen.press(QStringLiteral("s"));
    VERIFY_SOON(screen.has("by change"));
    QCOMPARE(screen.symbols(),
             (QStringList { QStringLiteral("600000.SH"), QStringLiteral("600519.SH"), QStringLiteral("600004.SH"),
                            QStringLiteral("000333.SZ"), QStringLiteral("000002.SZ") }));
    screen.press(QStringLiteral("s"));
    VERIFY_SOON(screen.has("by turnover"));
    QCOMPARE(screen.symbols(),
             (QStringList { QStringLiteral("600000.SH"), QStringLiteral("600519.SH"), QStringLiteral("000333.SZ"),
                            QStringLiteral("600004.SH"), QStringLiteral("000002.SZ") }));
    screen.press(QStringLiteral("s"));
    VERIFY_SOON(screen.has("by symbol"));
    screen.press(QStringLiteral("s"));
    VERIFY_SOON(screen.has("as given"));
    QCOMPARE(screen.symbols(), given);
}

void tst_LxQuoteScreen::findMovesTheCursor()
{
    Screen screen(80, 12, watch());
    VERIFY_SOON(screen.has("+0.57%"));
    const auto find = [&screen](const char *text) {
        screen.press(QStringLiteral("/"));
        screen.press(QString::fromUtf8(text));
        screen.press(QStringLiteral("Enter"));
    };
    find("gzmt");
    VERIFY_SOON(screen.status().contains(QStringLiteral("5/5")));
    find("60000");
    VERIFY_SOON(screen.status().contains(QStringLiteral("3/5")));
    screen.press(QStringLiteral("n"));
    VERIFY_SOON(screen.status().contains(QStringLiteral("4/5")));
    find("美的");
    VERIFY_SOON(screen.status().contains(QStringLiteral("2/5")));
}

void tst_LxQuoteScreen::pauseHoldsTheList()
{
    Screen screen(80, 12, watch({ QStringLiteral("--speed"), QStringLiteral("6000") })); // the last record in 4 s
    VERIFY_SOON(screen.has("1810.25"));
    screen.press(QStringLiteral("Space"));
    VERIFY_SOON(screen.has("PAUSED"));
    const QStringList held = screen.lines();
    QVERIFY(!screen.has("1811.00"));
    screen.press(QStringLiteral("Space"));
    VERIFY_SOON(screen.has("1811.00"));
    QVERIFY(screen.lines() != held);
}

void tst_LxQuoteScreen::quitLeavesTheListOnTheNormalScreen()
{
    Screen screen(80, 24, watch());
    VERIFY_SOON(screen.has("+0.57%"));
    screen.press(QStringLiteral("q"));
    VERIFY_SOON(screen.has("exit code 0"));
    QCOMPARE(screen.line(0).simplified(), QStringLiteral("symbol name last change change% turnover ampl. time"));
    QCOMPARE(screen.symbols().size(), 5);
    QVERIFY(screen.has("2023-02-01: 5 records announced in "));
    QVERIFY(!screen.has("q quit"));
}

void tst_LxQuoteScreen::coloursFollowTheOption_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("environment");
    QTest::addColumn<QByteArray>("rise");

    QTest::newRow("default") << QStringList() << QString() << QByteArray("red");
    QTest::newRow("no colours") << QStringList { QStringLiteral("--colors"), QStringLiteral("none") } << QString()
                                << QByteArray("none");
    QTest::newRow("NO_COLOR") << QStringList() << QStringLiteral("NO_COLOR=1") << QByteArray("none");
    QTest::newRow("option before NO_COLOR") << QStringList { QStringLiteral("--colors"), QStringLiteral("us") }
                                            << QStringLiteral("NO_COLOR=1") << QByteArray("green");
}

void tst_LxQuoteScreen::coloursFollowTheOption()
{
    QFETCH(QStringList, options);
    QFETCH(QString, environment);
    QFETCH(QByteArray, rise);

    const Screen screen(80, 12, watch(options), environment);
    VERIFY_SOON(screen.has("+0.57%"));
    const QByteArray line = screen.colours("600519.SH");
    QCOMPARE(line.contains("\x1b[31m"), rise == "red");
    QCOMPARE(line.contains("\x1b[32m"), rise == "green");
}

QTEST_GUILESS_MAIN(tst_LxQuoteScreen)

#include "tst_lxquote_screen.moc"
