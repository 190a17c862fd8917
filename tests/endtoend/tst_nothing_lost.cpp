#include "csvtable.h"
#include "market.h"
#include "quotefields.h"
#include "securities.h"

#include <lxquotahandler.h>

#include <QtTest>

namespace {

// What distinguishes the announcements of one symbol, in order.
using Stamps = QStringList;

QString stamp(const QString &time, double volume, double turnover)
{
    return QStringLiteral("%1 %2 %3").arg(time).arg(volume, 0, 'g', 15).arg(turnover, 0, 'g', 15);
}

// Records what the library announces. Written on the library's thread; read it after Market::settle().
class Announcements : public QObject
{
public:
    Announcements()
    {
        const LxQuotaHandler *quota = &LxQuotaHandler::instance();
        const auto note = [this](const auto &quote) {
            stamps[quote.Symbol].append(stamp(quote.MDTime, quote.TotalVolumeTrade, quote.TotalValueTrade));
        };
        connect(quota, &LxQuotaHandler::signalStockQuotaUpdate, this, note, Qt::DirectConnection);
        connect(quota, &LxQuotaHandler::signalIndexQuotaUpdate, this, note, Qt::DirectConnection);
        connect(
            quota, &LxQuotaHandler::signalFutureQuotaUpdate, this,
            [this, note](const FutureQuotaData &quote) {
                note(quote);
                lastFuture = quote;
            },
            Qt::DirectConnection);
        connect(
            quota, &LxQuotaHandler::signalRecordTransactionUpdate, this,
            [this](const QString &symbol) { ++transactions[symbol]; }, Qt::DirectConnection);
        connect(
            quota, &LxQuotaHandler::signalQuotaUpdate, this, [this](BaseQuotaData &) { ++condensed; },
            Qt::DirectConnection);
        connect(
            quota, &LxQuotaHandler::signalQuoteTickUpdate, this, [this](const QString &) { ++ticks; },
            Qt::DirectConnection);
        connect(
            quota, &LxQuotaHandler::signalStockOrderRecordUpdate, this,
            [this](const StockOrderRecordData &) { ++orders; }, Qt::DirectConnection);
    }

    QMap<QString, Stamps> stamps;
    QMap<QString, int> transactions;
    FutureQuotaData lastFuture;
    int condensed = 0;
    int ticks = 0;
    int orders = 0;
};

// The rows of some symbols of a recording.
struct Expected
{
    QMap<QString, Stamps> stamps;
    QMap<QString, int> lastRows; // by symbol
    int rows = 0;
};

Expected expectedOf(const CsvTable &table, const QStringList &symbols)
{
    Expected expected;
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        const QString symbol = row.text("Symbol");
        if (!symbols.contains(symbol))
            continue;
        ++expected.rows;
        expected.lastRows[symbol] = i;
        expected.stamps[symbol].append(
            stamp(row.text("MDTime"), row.number("TotalVolumeTrade"), row.number("TotalValueTrade")));
    }
    return expected;
}

quint64 dropped()
{
    return LxBus::current()->statistics().totalDropped();
}

// Subscribes for as long as it lives. What the bus still remembers of the symbols has arrived when it is constructed.
class Subscription
{
public:
    using Method = void (LxQuotaHandler::*)(QStringList &, bool);

    Subscription(Method method, const QStringList &symbols) : m_method(method), m_symbols(symbols) { send(true); }
    ~Subscription() { send(false); }

private:
    void send(bool subscribe)
    {
        (LxQuotaHandler::instance().*m_method)(m_symbols, subscribe);
        Market::settle();
    }

    const Method m_method;
    QStringList m_symbols;
};

quint64 asCount(int number)
{
    return static_cast<quint64>(number);
}

} // namespace

/// Every record of a recording reaches its subscribers through the bus and the library exactly once and in order, and
/// the snapshot queries return the last one.
class tst_NothingLost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { Market::forgetRecords(); }
    void stockQuotes_data();
    void stockQuotes();
    void indexQuotes();
    void futureQuotes_data();
    void futureQuotes();
    void transactions_data();
    void transactions();
    void lastTradeOfASnapshot();
    void ordersAnnounceNothing();
    void oneDateOfTheWholeFolder();
    void theWholeFolder();
    void cleanup();
};

void tst_NothingLost::initTestCase()
{
    Market::startBus();
    QString error;
    QVERIFY2(loadSecurities(recording(QStringLiteral("securities.csv")), &error), qPrintable(error));
    LxQuotaHandler::instance();
}

void tst_NothingLost::cleanup()
{
    QCOMPARE(dropped(), quint64(0));
}

void tst_NothingLost::stockQuotes_data()
{
    QTest::addColumn<QString>("date");
    QTest::addColumn<bool>("all");

    for (const char *date : { "20211201", "20220601", "20230201", "20230202" }) {
        QTest::addRow("%s, all symbols", date) << QString::fromLatin1(date) << true;
        QTest::addRow("%s, some symbols", date) << QString::fromLatin1(date) << false;
    }
}

void tst_NothingLost::stockQuotes()
{
    QFETCH(QString, date);
    QFETCH(bool, all);

    const QString file = QStringLiteral("stock_snapshots_%1.csv.gz").arg(date);
    const CsvTable table(recording(file));
    QStringList symbols = table.distinct("Symbol");
    if (!all)
        symbols = symbols.mid(0, (symbols.size() + 2) / 3);
    const Expected expected = expectedOf(table, symbols);
    QVERIFY(expected.rows > 1000);

    const RecordingFolder folder({ file });
    const Subscription subscription(&LxQuotaHandler::SubscribeQuote, symbols);
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    const ReplayCount count = outcome.counts.value(RecordingKind::StockQuote);
    QCOMPARE(count.read, asCount(table.rowCount()));
    // With a broker it is unknown whether a record has a receiver.
    QCOMPARE(count.published, asCount(Market::isBehindBroker() ? table.rowCount() : expected.rows));
    QCOMPARE(count.skipped, quint64(0));
    QCOMPARE(announced.stamps.keys(), expected.stamps.keys());
    for (const QString &symbol : qAsConst(symbols))
        QCOMPARE(announced.stamps.value(symbol), expected.stamps.value(symbol));
    QCOMPARE(announced.condensed, expected.rows);
    QCOMPARE(announced.ticks, expected.rows);

    for (const QString &symbol : qAsConst(symbols)) {
        const StockQuotaData last = expectedStock(table.row(expected.lastRows.value(symbol)));
        LxQuotaHandler &quota = LxQuotaHandler::instance();
        const QString found = difference(quota.GetLastStockQuotaData(symbol), last);
        QVERIFY2(found.isEmpty(), qPrintable(symbol + QLatin1Char(' ') + found));
        const QString foundBrief = difference(quota.GetLastStockQuotaDataBrief(symbol), last);
        QVERIFY2(foundBrief.isEmpty(), qPrintable(symbol + QLatin1Char(' ') + foundBrief));
    }
}

void tst_NothingLost::indexQuotes()
{
    const QString file = QStringLiteral("index_snapshots_20181203_20190201.csv.gz");
    const CsvTable table(recording(file));
    const QStringList symbols = table.distinct("Symbol");
    const Expected expected = expectedOf(table, symbols);

    const RecordingFolder folder({ file });
    const Subscription subscription(&LxQuotaHandler::SubscribeQuote, symbols);
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    QCOMPARE(announced.stamps, expected.stamps);
    QCOMPARE(announced.condensed, table.rowCount());
    QCOMPARE(announced.ticks, table.rowCount());
    for (const QString &symbol : symbols) {
        const QString found = difference(LxQuotaHandler::instance().GetLastIndexQuotaData(symbol),
                                         expectedIndex(table.row(expected.lastRows.value(symbol))));
        QVERIFY2(found.isEmpty(), qPrintable(found));
        QCOMPARE(LxQuotaHandler::instance().GetLastStockQuotaData(symbol).Symbol, QString());
    }
}

void tst_NothingLost::futureQuotes_data()
{
    QTest::addColumn<QString>("file");

    QTest::newRow("4 January") << QStringLiteral("future_snapshots_20210104.csv.gz");
    QTest::newRow("5 January") << QStringLiteral("future_snapshots_20210105.csv.gz");
}

void tst_NothingLost::futureQuotes()
{
    QFETCH(QString, file);

    const CsvTable table(recording(file));
    const QStringList symbols = table.distinct("Symbol");
    const Expected expected = expectedOf(table, symbols);

    const RecordingFolder folder({ file });
    const Subscription subscription(&LxQuotaHandler::SubscribeQuote, symbols);
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    QCOMPARE(announced.stamps, expected.stamps);
    QCOMPARE(announced.condensed, table.rowCount());
    const QString found = difference(announced.lastFuture, expectedFuture(table.row(table.rowCount() - 1)));
    QVERIFY2(found.isEmpty(), qPrintable(found));
    // A future is announced, but no snapshot query knows it.
    QCOMPARE(LxQuotaHandler::instance().GetLastStockQuotaData(symbols.first()).Symbol, QString());
    QCOMPARE(LxQuotaHandler::instance().GetLastIndexQuotaData(symbols.first()).Symbol, QString());
}

void tst_NothingLost::transactions_data()
{
    QTest::addColumn<QString>("file");

    QTest::newRow("side in digits") << QStringLiteral("transactions_20230711.csv.gz");
    QTest::newRow("side in letters, or none") << QStringLiteral("transactions_20230201.csv.gz");
    QTest::newRow("one symbol") << QStringLiteral("transactions_20230202.csv.gz");
}

void tst_NothingLost::transactions()
{
    QFETCH(QString, file);

    const CsvTable table(recording(file));
    QMap<QString, int> expected;
    for (int i = 0; i < table.rowCount(); ++i)
        ++expected[table.row(i).text("Symbol")];

    const RecordingFolder folder({ file });
    const Subscription subscription(&LxQuotaHandler::SubscribeRecordTransaction, expected.keys());
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    const ReplayCount count = outcome.counts.value(RecordingKind::Transaction);
    QCOMPARE(count.read, asCount(table.rowCount()));
    QCOMPARE(count.published, asCount(table.rowCount()));
    QCOMPARE(announced.transactions, expected);
    QVERIFY(announced.stamps.isEmpty());
}

void tst_NothingLost::lastTradeOfASnapshot()
{
    const QString quoteFile = QStringLiteral("stock_snapshots_20230202.csv.gz");
    const QString tradeFile = QStringLiteral("transactions_20230202.csv.gz");
    const QString symbol = QStringLiteral("600519.SH");
    const CsvTable trades(recording(tradeFile));
    const CsvTable quotes(recording(quoteFile));
    const int lastQuote = expectedOf(quotes, { symbol }).lastRows.value(symbol);

    const RecordingFolder folder({ quoteFile, tradeFile });
    const Subscription quoteSubscription(&LxQuotaHandler::SubscribeQuote, { symbol });
    const Subscription tradeSubscription(&LxQuotaHandler::SubscribeRecordTransaction, { symbol });
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    StockQuotaData expected = expectedStock(quotes.row(lastQuote));
    expected.LastTradeLots = static_cast<double>(trades.row(trades.rowCount() - 1).integer("TradeQty") / 100);
    QVERIFY(expected.LastTradeLots > 0);
    const QString found = difference(LxQuotaHandler::instance().GetLastStockQuotaDataTotal(symbol), expected);
    QVERIFY2(found.isEmpty(), qPrintable(found));
}

void tst_NothingLost::ordersAnnounceNothing()
{
    const QString file = QStringLiteral("orders_20230201.csv.gz");
    const CsvTable table(recording(file));

    const RecordingFolder folder({ file });
    const Subscription subscription(&LxQuotaHandler::SubscribeRecordOrder, table.distinct("Symbol"));
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(folder.path());
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    // They do arrive at the library.
    QCOMPARE(outcome.counts.value(RecordingKind::Order).published, asCount(table.rowCount()));
    QCOMPARE(announced.orders, 0);
    QCOMPARE(announced.ticks, 0);
    QVERIFY(announced.transactions.isEmpty());
}

void tst_NothingLost::oneDateOfTheWholeFolder()
{
    const CsvTable stocks(recording(QStringLiteral("stock_snapshots_20230201.csv.gz")));
    const CsvTable trades(recording(QStringLiteral("transactions_20230201.csv.gz")));
    const QStringList symbols = stocks.distinct("Symbol") + trades.distinct("Symbol");

    const Subscription quotes(&LxQuotaHandler::SubscribeQuote, symbols);
    const Subscription transactions(&LxQuotaHandler::SubscribeRecordTransaction, symbols);
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(QStringLiteral(LX_DATA_DIR), QStringLiteral("20230201"));
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    QCOMPARE(announced.stamps, expectedOf(stocks, symbols).stamps);
    int announcedTrades = 0;
    for (int count : announced.transactions)
        announcedTrades += count;
    QCOMPARE(announcedTrades, trades.rowCount());
    QCOMPARE(outcome.counts.value(RecordingKind::IndexQuote).read, quint64(0));
    QCOMPARE(outcome.counts.value(RecordingKind::FutureQuote).read, quint64(0));
}

void tst_NothingLost::theWholeFolder()
{
    QMap<QString, int> quoteRows;
    QMap<QString, int> tradeRows;
    const QStringList files = QDir(QStringLiteral(LX_DATA_DIR)).entryList(QDir::Files);
    for (const QString &file : files) {
        const bool areTrades = file.startsWith(QLatin1String("transactions_"));
        if (!areTrades && !file.contains(QLatin1String("_snapshots_")))
            continue;
        const CsvTable table(recording(file));
        for (int i = 0; i < table.rowCount(); ++i)
            ++(areTrades ? tradeRows : quoteRows)[table.row(i).text("Symbol")];
    }

    const Subscription quotes(&LxQuotaHandler::SubscribeQuote, quoteRows.keys());
    const Subscription transactions(&LxQuotaHandler::SubscribeRecordTransaction, tradeRows.keys());
    const Announcements announced;
    const Market::Outcome outcome = Market::replay(QStringLiteral(LX_DATA_DIR));
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    QMap<QString, int> announcedQuotes;
    for (auto stamps = announced.stamps.cbegin(); stamps != announced.stamps.cend(); ++stamps)
        announcedQuotes.insert(stamps.key(), stamps->size());
    QCOMPARE(announcedQuotes, quoteRows);
    QCOMPARE(announced.transactions, tradeRows);
    QVERIFY(outcome.brokenRows.isEmpty());
}

QTEST_GUILESS_MAIN(tst_NothingLost)

#include "tst_nothing_lost.moc"
