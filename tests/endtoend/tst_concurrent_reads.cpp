#include "csvtable.h"
#include "market.h"
#include "quotefields.h"
#include "securities.h"

#include <lxdefine/lxfields.h>
#include <lxquotahandler.h>

#include <QtTest>

#include <array>
#include <atomic>
#include <numeric>
#include <thread>
#include <vector>

namespace {

constexpr int Readers = 4;
// At least so many of each, so that readers and library meet often enough on any machine.
constexpr quint64 MinReplayed = 30000;
constexpr quint64 MinReads = 1000;
constexpr double Eps = 5.0;

const QStringList stocks { QStringLiteral("600519.SH"), QStringLiteral("000333.SZ") };
const QString indexSymbol = QStringLiteral("000001.SH");
const QStringList files { QStringLiteral("stock_snapshots_20230202.csv.gz"),
                          QStringLiteral("transactions_20230202.csv.gz"),
                          QStringLiteral("index_snapshots_20181203_20190201.csv.gz") };

// Two answers of deep data that replace each other while quotes come.
std::array<LxStockDeepData, 2> deepDataVersions()
{
    LxStockDeepData first;
    first.TotalShare = 1.2e9;
    first.ListedShare = 1.0e9;
    first.NetAssets = 58.0;
    LxStockDeepData second;
    second.TotalShare = 2.5e9;
    second.ListedShare = 2.0e9;
    second.NetAssets = 61.0;
    return { first, second };
}

// All records that the recordings hold, by symbol and time; some times come twice.
class Records
{
public:
    Records()
    {
        const CsvTable quotes(recording(files.at(0)));
        for (int i = 0; i < quotes.rowCount(); ++i) {
            const StockQuotaData quote = expectedStock(quotes.row(i));
            m_stocks[quote.Symbol + quote.MDTime].append(quote);
        }
        const CsvTable trades(recording(files.at(1)));
        for (int i = 0; i < trades.rowCount(); ++i)
            m_lots.insert(trades.row(i).integer("TradeQty") / 100);
        const CsvTable indices(recording(files.at(2)));
        for (int i = 0; i < indices.rowCount(); ++i) {
            const IndexQuotaData quote = expectedIndex(indices.row(i));
            m_indices.insert(quote.MDDate + quote.MDTime, quote);
        }
    }

    enum Extras { None, PE, PEAndLots };

    // What is wrong with a record; empty if all its fields come from one row.
    QString fault(const StockQuotaData &quote, Extras extras) const
    {
        QString found = QStringLiteral("no such row: %1 %2").arg(quote.Symbol, quote.MDTime);
        const QVector<StockQuotaData> rows = m_stocks.value(quote.Symbol + quote.MDTime);
        for (StockQuotaData row : rows) {
            applyDeepData(deepDataOf(quote, row.LastPx), &row);
            if (extras != None)
                row.PERatio = row.LastPx / Eps;
            if (extras == PEAndLots && quote.Symbol == stocks.first()
                && m_lots.contains(static_cast<qint64>(quote.LastTradeLots)))
                row.LastTradeLots = quote.LastTradeLots;
            found = difference(quote, row);
            if (found.isEmpty())
                return QString();
        }
        return found;
    }
    QString fault(const IndexQuotaData &quote) const
    {
        const auto row = m_indices.constFind(quote.MDDate + quote.MDTime);
        return row == m_indices.constEnd() ? QStringLiteral("no such row") : difference(quote, *row);
    }

private:
    // Each figure is of either answer, but the turnover rate and the market value are of the same.
    LxStockDeepData deepDataOf(const StockQuotaData &quote, double last) const
    {
        LxStockDeepData deepData = m_versions[0];
        if (!sameNumber(quote.TotalMarketValue, last * deepData.TotalShare))
            deepData.TotalShare = m_versions[1].TotalShare;
        if (!sameNumber(quote.CirculatingMarketValue, last * deepData.ListedShare))
            deepData.ListedShare = m_versions[1].ListedShare;
        if (!sameNumber(quote.PBRatio, last / deepData.NetAssets))
            deepData.NetAssets = m_versions[1].NetAssets;
        return deepData;
    }

    const std::array<LxStockDeepData, 2> m_versions = deepDataVersions();
    QHash<QString, QVector<StockQuotaData>> m_stocks;
    QHash<QString, IndexQuotaData> m_indices;
    QSet<qint64> m_lots;
};

void deliverDeepData(const LxStockDeepData &deepData)
{
    constexpr double SharesPerBusUnit = 10000;
    QVector<Market::Row> rows { { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } } };
    for (const QString &symbol : stocks) {
        const auto add = [&](const char *item, double value) {
            rows.append({ { Orca_Fields::Security::securityID, symbol.section(QLatin1Char('.'), 0, 0) },
                          { Orca_Fields::UserAccount::SymbolPost, symbol.section(QLatin1Char('.'), 1, 1) },
                          { QStringLiteral("36046"), QString::fromLatin1(item) },
                          { QStringLiteral("36034"), value } });
        };
        add("TotalShare", deepData.TotalShare / SharesPerBusUnit);
        add("ListedShare", deepData.ListedShare / SharesPerBusUnit);
        add("NetAssets", deepData.NetAssets);
    }
    LxQuotaHandler::instance().ProcAsyncCallBack(1, QString(), QStringLiteral("181028"), Market::packed(rows));
}

} // namespace

/// The snapshot queries, while the library processes records at full speed.
class tst_ConcurrentReads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsAreNeverTorn();
};

void tst_ConcurrentReads::recordsAreNeverTorn()
{
    QString error;
    QVERIFY2(loadSecurities(recording(QStringLiteral("securities.csv")), &error), qPrintable(error));
    const Records records;
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QStringList quotes = stocks + QStringList { indexSymbol };
    quota.SubscribeQuote(quotes, true);
    QStringList trades = stocks;
    quota.SubscribeRecordTransaction(trades, true);

    // From here on every query has something to answer.
    const auto publisher = LxBus::current()->openPublisher();
    for (const QString &symbol : stocks) {
        publisher->publish(
            QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"), QString(),
            Market::packed({ { { QStringLiteral("Symbol"), QString() } },
                             { { QStringLiteral("Symbol"), symbol }, { QStringLiteral("eps"), Eps } } }));
    }
    deliverDeepData(deepDataVersions()[0]);
    const RecordingFolder folder(files);
    QVERIFY(Market::replay(folder.path()).ok);

    std::atomic<bool> stop { false };
    std::array<std::atomic<quint64>, Readers> reads {};
    std::array<QString, Readers> faults;
    std::vector<std::thread> threads;
    for (size_t i = 0; i < Readers; ++i) {
        threads.emplace_back([&, i] {
            const auto check = [&](const char *query, const QString &fault) {
                if (!fault.isEmpty() && faults[i].isEmpty())
                    faults[i] = QLatin1String(query) + QLatin1String(": ") + fault;
            };
            while (!stop && faults[i].isEmpty()) {
                for (const QString &symbol : stocks) {
                    check("last", records.fault(quota.GetLastStockQuotaData(symbol), Records::None));
                    check("brief", records.fault(quota.GetLastStockQuotaDataBrief(symbol), Records::None));
                    check("base", records.fault(quota.GetLastStockQuotaDataBase(symbol), Records::PE));
                    check("total", records.fault(quota.GetLastStockQuotaDataTotal(symbol), Records::PEAndLots));
                }
                check("index", records.fault(quota.GetLastIndexQuotaData(indexSymbol)));
                ++reads[i];
            }
        });
    }
    threads.emplace_back([&] {
        for (size_t turn = 1; !stop; ++turn)
            deliverDeepData(deepDataVersions().at(turn % 2));
    });

    const auto haveReadEnough = [&] {
        for (size_t i = 0; i < Readers; ++i) {
            if (reads[i] < MinReads && faults[i].isEmpty())
                return false;
        }
        return true;
    };
    bool ok = true;
    quint64 replayed = 0;
    while (ok && (replayed < MinReplayed || !haveReadEnough())) {
        const Market::Outcome outcome = Market::replay(folder.path());
        ok = outcome.ok;
        for (const ReplayCount &count : outcome.counts)
            replayed += count.published;
    }
    stop = true;
    for (std::thread &thread : threads)
        thread.join();

    QVERIFY(ok);
    for (size_t i = 0; i < Readers; ++i) {
        QVERIFY2(faults[i].isEmpty(), qPrintable(faults[i]));
    }
    QCOMPARE(LxBus::current()->statistics().totalDropped(), quint64(0));
    qInfo("%llu records replayed, %llu rounds of queries", replayed,
          std::accumulate(reads.cbegin(), reads.cend(), quint64(0)));
}

QTEST_GUILESS_MAIN(tst_ConcurrentReads)

#include "tst_concurrent_reads.moc"
