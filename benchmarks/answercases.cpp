// Answers with many rows: deep data, and daily bars into the period cache.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "microbench.h"
#include "recordsource.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <vector>

namespace {

constexpr int CachedQuotes = 5000;
constexpr int DeepRows = 300;
constexpr int Bars = 1000;

struct DeepRow
{
    QString symbol;
    QString figure;
    double value;
};

// Three figures of a hundred symbols, figure by figure, in the order of the query.
QVector<DeepRow> deepRows()
{
    QVector<DeepRow> rows;
    for (const QString &figure :
         { QStringLiteral("TotalShare"), QStringLiteral("ListedShare"), QStringLiteral("NetAssets") }) {
        for (int i = 0; i < DeepRows / 3; ++i)
            rows.append({ RecordSource::symbol(i * (CachedQuotes / 100)), figure, 1000.0 + i });
    }
    return rows;
}

QVariant deepAnswer(const QVector<DeepRow> &rows)
{
    CPackMessageCommon answer;
    answer.AddVaule(Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success);
    for (const DeepRow &row : rows) {
        answer.AddRow();
        answer.AddVaule(Orca_Fields::Security::securityID, row.symbol.section(QLatin1Char('.'), 0, 0));
        answer.AddVaule(Orca_Fields::UserAccount::SymbolPost, row.symbol.section(QLatin1Char('.'), 1));
        answer.AddVaule(QStringLiteral("36046"), row.figure);
        answer.AddVaule(QStringLiteral("36034"), row.value);
    }
    return answer.GetPackedMsg(false);
}

BenchRow deepData()
{
    LxQuotaHandler &handler = hostedLibrary();
    const RecordSource source = RecordSource::stockQuotes();
    Measure::runOn(&handler, [&] {
        for (int i = 0; i < CachedQuotes; ++i)
            handler.slotProcessQuotaMsg(source.topic(), source.record(i, RecordSource::symbol(i)));
    });
    const QVector<DeepRow> rows = deepRows();
    const QVariant answer = deepAnswer(rows);
    const QVariant type(QStringLiteral("181028"));
    QMap<QString, LxStockDeepData> bare;
    QVector<LxStockDeepData> records;
    for (const DeepRow &row : rows) {
        LxStockDeepData record;
        record.Symbol = row.symbol;
        records.append(record);
    }

    MicroBench bench;
    bench.add(
        "answer", [&] { handler.ProcAsyncCallBack(0, QString(), type, answer); }, DeepRows);
    bench.add(
        "insert",
        [&] {
            for (const LxStockDeepData &record : std::as_const(records))
                bare.insert(record.Symbol, record);
        },
        DeepRows);
    bench.run();
    return { QStringLiteral("15 deep"), QStringLiteral("row of a deep-data answer of 300 rows / QMap insertion"),
             QStringLiteral("ns"),      bench.median("answer"),
             bench.median("insert"),    bench.ratio("answer", "insert"),
             BenchRow::NoTarget,        0 };
}

QVariantList barsOf(const QString &symbol)
{
    QVariantList bars;
    for (int i = 0; i < Bars; ++i) {
        const double price = 10.0 + i * 0.01;
        bars.append(QVariantMap {
            { QStringLiteral("PeriodType"), static_cast<int>(EMD_KLINE_PERIOD_1DAY) },
            { QStringLiteral("Symbol"), symbol },
            { QStringLiteral("MDDate"), QDate(2020, 1, 1).addDays(i).toString(QStringLiteral("yyyyMMdd")) },
            { QStringLiteral("OpenPx"), price },
            { QStringLiteral("HighPx"), price + 1 },
            { QStringLiteral("LowPx"), price - 1 },
            { QStringLiteral("ClosePx"), price },
            { QStringLiteral("TotalVolumeTrade"), 1000.0 * i },
            { QStringLiteral("TotalValueTrade"), 10000.0 * i },
        });
    }
    return bars;
}

BenchRow dailyBars()
{
    LxQuotaHandler &handler = hostedLibrary();
    QObject::connect(&handler, &LxQuotaHandler::signalKLineResponse, &handler,
                     &LxQuotaHandler::slotProcessPeriod1DKLineDate);
    const QVariant type(QStringLiteral("KLineResponse"));
    QVariant answer;
    int symbols = 0;
    std::vector<QMap<QDate, StockPeriod1DInfo>> bare; // what is inserted is kept, as in the cache
    StockPeriod1DInfo record;
    record.symbol = RecordSource::symbol(0);

    MicroBench bench;
    // Bars of a symbol that is not cached yet, since cached bars are not inserted again.
    bench.addPrepared(
        "answer", [&] { answer = barsOf(RecordSource::symbol(symbols++)); },
        [&] { handler.slotProcessQuotaMsg(type, answer); }, Bars);
    bench.addPrepared(
        "insert", [&] { bare.emplace_back(); },
        [&] {
            for (int i = 0; i < Bars; ++i)
                bare.back().insert(QDate::fromJulianDay(2458850 + i), record);
        },
        Bars);
    Measure::runOn(&handler, [&bench] { bench.run(); });
    return { QStringLiteral("15 bars"), QStringLiteral("daily bar of a K-line answer of 1000 bars / QMap insertion"),
             QStringLiteral("ns"),      bench.median("answer"),
             bench.median("insert"),    bench.ratio("answer", "insert"),
             BenchRow::NoTarget,        0 };
}

} // namespace

QVector<BenchRow> answers()
{
    return { deepData(), dailyBars() };
}
