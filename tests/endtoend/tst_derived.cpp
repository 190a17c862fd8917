#include "csvtable.h"
#include "market.h"
#include "quotefields.h"
#include "securities.h"

#include <lxdefine/lxfields.h>
#include <lxquotahandler.h>

#include <QtTest>

#include <cmath>

namespace {

constexpr double SharesPerBusUnit = 10000; // the bus sends share counts in units of 10,000

// Compares each announced stock quote with the next row of its symbol. On the library's thread.
class RowByRow : public QObject
{
public:
    RowByRow(const CsvTable &table, const QHash<QString, LxStockDeepData> &deepData)
        : m_table(table), m_deepData(deepData)
    {
        for (int i = 0; i < table.rowCount(); ++i)
            m_rows[table.row(i).text("Symbol")].append(i);
        connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalStockQuotaUpdate, this, &RowByRow::compare,
                Qt::DirectConnection);
    }

    // To be read after Market::settle().
    QString firstFault;
    int compared = 0;
    int withoutNumber = 0; // quotes in which a derived figure is infinite or NaN

private:
    void compare(const StockQuotaData &quote)
    {
        ++compared;
        QVector<int> &rows = m_rows[quote.Symbol];
        if (rows.isEmpty()) {
            firstFault = quote.Symbol + QStringLiteral(" has more announcements than rows");
            return;
        }
        const int number = rows.takeFirst();
        StockQuotaData expected = expectedStock(m_table.row(number));
        const auto deepData = m_deepData.constFind(quote.Symbol);
        if (deepData != m_deepData.constEnd())
            applyDeepData(*deepData, &expected);
        withoutNumber += !std::isfinite(quote.AvgPx) || !std::isfinite(quote.Amplitude);
        const QString found = difference(quote, expected);
        if (!found.isEmpty() && firstFault.isEmpty())
            firstFault = QStringLiteral("row %1, %2: %3").arg(number).arg(quote.Symbol, found);
    }

    const CsvTable &m_table;
    const QHash<QString, LxStockDeepData> m_deepData;
    QHash<QString, QVector<int>> m_rows; // still to be announced
};

// The figures of fundamentals.csv; the later of two rows of a symbol counts.
QHash<QString, LxStockDeepData> fundamentals()
{
    QHash<QString, LxStockDeepData> all;
    const CsvTable table(recording(QStringLiteral("fundamentals.csv")));
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        LxStockDeepData deepData;
        deepData.Symbol = row.text("Symbol");
        deepData.TotalShare = row.number("TotalShare");
        deepData.ListedShare = row.number("ListedShare");
        deepData.NetAssets = row.number("NetAssets");
        all.insert(deepData.Symbol, deepData);
    }
    return all;
}

// An answer of deep data, as the bus delivers it: a head and a row a figure.
QVariant deepDataAnswer(const QList<LxStockDeepData> &symbols)
{
    QVector<Market::Row> rows { { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } } };
    for (const LxStockDeepData &deepData : symbols) {
        const auto add = [&](const char *item, double value) {
            rows.append({ { Orca_Fields::Security::securityID, deepData.Symbol.section(QLatin1Char('.'), 0, 0) },
                          { Orca_Fields::UserAccount::SymbolPost, deepData.Symbol.section(QLatin1Char('.'), 1, 1) },
                          { QStringLiteral("36046"), QString::fromLatin1(item) },
                          { QStringLiteral("36034"), value } });
        };
        add("TotalShare", deepData.TotalShare / SharesPerBusUnit);
        add("ListedShare", deepData.ListedShare / SharesPerBusUnit);
        add("NetAssets", deepData.NetAssets);
    }
    return Market::packed(rows);
}

void deliverDeepData(const QList<LxStockDeepData> &symbols)
{
    LxQuotaHandler::instance().ProcAsyncCallBack(1, QString(), QStringLiteral("181028"), deepDataAnswer(symbols));
}

void subscribe(QStringList symbols, bool on)
{
    LxQuotaHandler::instance().SubscribeQuote(symbols, on);
    Market::settle();
}

const char *const dates[] { "20211201", "20220601", "20230201", "20230202" };

QString stockFile(const QString &date)
{
    return QStringLiteral("stock_snapshots_%1.csv.gz").arg(date);
}

void addDates()
{
    QTest::addColumn<QString>("date");
    for (const char *date : dates)
        QTest::newRow(date) << QString::fromLatin1(date);
}

} // namespace

/// Every derived figure of every recorded stock quote, recomputed, and the figures of another source.
///
/// The functions build on one another: share counts, once known, stay with the library.
class tst_Derived : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { Market::forgetRecords(); }
    void figuresOfTheRowAlone_data() { addDates(); }
    void figuresOfTheRowAlone();
    void deepDataPatchesTheLastQuotes();
    void figuresWithDeepData_data() { addDates(); }
    void figuresWithDeepData();
    void deepDataIsHandedOut();
    void figuresOfAnotherSource();

private:
    void compareRowByRow(const QString &date, const QHash<QString, LxStockDeepData> &deepData);
};

void tst_Derived::initTestCase()
{
    Market::startBus();
    QString error;
    QVERIFY2(loadSecurities(recording(QStringLiteral("securities.csv")), &error),
             qPrintable(error));
    LxQuotaHandler::instance();
}

void tst_Derived::compareRowByRow(const QString &date, const QHash<QString, LxStockDeepData> &deepData)
{
    const CsvTable table(recording(stockFile(date)));
    const QStringList symbols = table.distinct("Symbol");
    const RecordingFolder folder({ stockFile(date) });
    subscribe(symbols, true);
    const RowByRow rows(table, deepData);
    const Market::Outcome outcome = Market::replay(folder.path());
    subscribe(symbols, false);
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    QVERIFY2(rows.firstFault.isEmpty(), qPrintable(rows.firstFault));
    QCOMPARE(rows.compared, table.rowCount());
    // Each recording begins before the first trade: no volume, hence no average price.
    QVERIFY(rows.withoutNumber > 0);
    QVERIFY(rows.withoutNumber < table.rowCount());
}

void tst_Derived::figuresOfTheRowAlone()
{
    QFETCH(QString, date);
    compareRowByRow(date, {});
}

void tst_Derived::deepDataPatchesTheLastQuotes()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QHash<QString, LxStockDeepData> all = fundamentals();
    QVERIFY(all.size() > 3000);

    QHash<QString, StockQuotaData> expected;
    for (const char *date : dates) {
        const QStringList symbols = CsvTable(recording(stockFile(QString::fromLatin1(date)))).distinct("Symbol");
        for (const QString &symbol : symbols)
            expected.insert(symbol, quota.GetLastStockQuotaData(symbol));
    }
    int patched = 0;
    for (StockQuotaData &quote : expected) {
        QVERIFY(!quote.Symbol.isEmpty());
        QCOMPARE(quote.TurnoverRate, static_cast<double>(QUOTA_INVALID_VALUE));
        if (!all.contains(quote.Symbol))
            continue;
        applyDeepData(all.value(quote.Symbol), &quote);
        ++patched;
    }
    QVERIFY(patched > 0 && patched < expected.size()); // some were listed later

    QStringList announced;
    int signalCount = 0;
    connect(
        &quota, &LxQuotaHandler::signalStockDeepDataUpdate, this,
        [&](const QStringList &symbols) {
            ++signalCount;
            announced += symbols;
        },
        Qt::DirectConnection);
    // In an order that is not that of the symbols.
    const QList<LxStockDeepData> inSomeOrder = all.values();
    deliverDeepData(inSomeOrder);
    disconnect(&quota, &LxQuotaHandler::signalStockDeepDataUpdate, this, nullptr);
    QCOMPARE(signalCount, 1);
    QStringList sorted = all.keys();
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(announced, sorted);

    for (const StockQuotaData &quote : qAsConst(expected)) {
        const QString found = difference(quota.GetLastStockQuotaData(quote.Symbol), quote);
        QVERIFY2(found.isEmpty(), qPrintable(quote.Symbol + QLatin1Char(' ') + found));
    }
}

void tst_Derived::figuresWithDeepData()
{
    QFETCH(QString, date);
    compareRowByRow(date, fundamentals());
}

void tst_Derived::deepDataIsHandedOut()
{
    const QHash<QString, LxStockDeepData> all = fundamentals();
    QList<LxStockDeepData> known;
    LxQuotaHandler::instance().QueryStockDeepData(all.keys(), known, false);
    QCOMPARE(known.size(), all.size());
    for (const LxStockDeepData &deepData : qAsConst(known)) {
        const LxStockDeepData expected = all.value(deepData.Symbol);
        QVERIFY2(sameNumber(deepData.TotalShare, expected.TotalShare)
                     && sameNumber(deepData.ListedShare, expected.ListedShare)
                     && sameNumber(deepData.NetAssets, expected.NetAssets),
                 qPrintable(deepData.Symbol));
        QCOMPARE(deepData.DividentRate, static_cast<double>(QUOTA_INVALID_VALUE));
    }
}

void tst_Derived::figuresOfAnotherSource()
{
    // Share counts of the fundamentals hold for these symbols up to these days; the day after, more shares are listed.
    // They are rounded to a million.
    const QHash<QString, QString> lastDays { { QStringLiteral("600977.SH"), QStringLiteral("20170808") },
                                             { QStringLiteral("300550.SZ"), QStringLiteral("20171025") } };
    constexpr double ShareRounding = 0.5e6;
    constexpr double SheetRounding = 0.5e-4; // its ratios have four decimals

    const QHash<QString, LxStockDeepData> deepData = fundamentals();
    deliverDeepData(deepData.values());
    const CsvTable sheet(recording(QStringLiteral("valuation_daily.csv.gz")));
    const QStringList symbols = sheet.distinct("Symbol");
    subscribe(symbols, true);
    QVector<StockQuotaData> quotes;
    QObject context;
    connect(
        &LxQuotaHandler::instance(), &LxQuotaHandler::signalStockQuotaUpdate, &context,
        [&quotes](const StockQuotaData &quote) { quotes.append(quote); }, Qt::DirectConnection);
    const auto publisher = LxBus::current()->openPublisher();
    for (int i = 0; i < sheet.rowCount(); ++i) {
        const CsvRow row = sheet.row(i);
        Market::Row body { { QStringLiteral("Symbol"), row.text("Symbol") },
                           { QStringLiteral("MDDate"), row.text("MDDate") },
                           { QStringLiteral("LastPx"), row.number("ClosePx") } };
        for (const char *key : { "PreClosePx", "TotalVolumeTrade", "TotalValueTrade" })
            body.insert(QString::fromLatin1(key), row.number(key));
        publisher->publish(QStringLiteral("MDMARKETRECORD"), row.text("Symbol"), Market::packed({ body }));
    }
    Market::settle();
    subscribe(symbols, false);
    QCOMPARE(quotes.size(), sheet.rowCount());

    int valuations = 0;
    for (int i = 0; i < sheet.rowCount(); ++i) {
        const CsvRow row = sheet.row(i);
        const StockQuotaData &quote = quotes.at(i);
        const QByteArray where = row.cell("Symbol") + ' ' + row.cell("MDDate");
        QCOMPARE(quote.MDDate, row.text("MDDate"));
        QVERIFY2(std::fabs(quote.ChangeRatio - row.number("ChangeRatio")) <= SheetRounding * 1.001, where);
        QVERIFY2(std::fabs(quote.Change - row.number("Change")) < 0.005, where);
        if (row.text("MDDate") > lastDays.value(quote.Symbol))
            continue;

        ++valuations;
        const LxStockDeepData shares = deepData.value(quote.Symbol);
        QVERIFY2(std::fabs(quote.TotalMarketValue - row.number("TotalMarketValue")) <= quote.LastPx * ShareRounding,
                 where);
        QVERIFY2(std::fabs(quote.CirculatingMarketValue - row.number("CirculatingMarketValue"))
                     <= quote.LastPx * ShareRounding,
                 where);
        // The sheet's turnover rate is on the listed shares, the library's on all shares.
        const double onListedShares = quote.TurnoverRate * shares.TotalShare / shares.ListedShare;
        QVERIFY2(std::fabs(onListedShares - row.number("TurnoverRate"))
                     <= onListedShares * ShareRounding / shares.ListedShare + SheetRounding,
                 where);
    }
    QVERIFY(valuations > 400);
}

QTEST_GUILESS_MAIN(tst_Derived)

#include "tst_derived.moc"
