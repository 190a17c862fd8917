// Reading the cache: one thread, two threads, and while the worker writes it.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "mapdecoder.h"
#include "measure.h"
#include "microbench.h"
#include "recordsource.h"

#include <benchmark/benchmark.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>

#include <atomic>
#include <random>
#include <thread>

namespace {

constexpr int Symbols = 5000;
constexpr int Rounds = 9;
constexpr int ReadsPerRound = 200000;
constexpr size_t OrderLength = 1 << 16;

// The symbols that a reader asks for, one after the other, in strings that are not shared.
class RandomSymbols
{
public:
    explicit RandomSymbols(unsigned seed)
    {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> any(0, Symbols - 1);
        for (int i = 0; i < Symbols; ++i)
            m_symbols.push_back(RecordSource::symbol(i));
        for (size_t i = 0; i < OrderLength; ++i)
            m_order.push_back(any(random));
    }
    const QString &next() { return m_symbols[static_cast<size_t>(m_order[m_position++ % OrderLength])]; }

private:
    std::vector<QString> m_symbols;
    std::vector<int> m_order;
    size_t m_position = 0;
};

void fillCache(const RecordSource &source)
{
    LxQuotaHandler &handler = hostedLibrary();
    Measure::runOn(&handler, [&] {
        for (int i = 0; i < Symbols; ++i)
            handler.slotProcessQuotaMsg(source.topic(), source.record(i, RecordSource::symbol(i)));
    });
}

// Publishes an answer to an indicator query, which the derived figures are computed from.
void publishIndicator(const QString &type, const QString &symbol, const QString &figure)
{
    CPackMessageCommon answer;
    answer.AddVaule(Orca_Fields::System::msgType, type);
    answer.AddRow();
    answer.AddVaule(QStringLiteral("Symbol"), symbol);
    answer.AddVaule(figure, 1.5);
    LxQuotaHandler &handler = hostedLibrary();
    Measure::runOn(&handler, [&] { handler.slotProcessQuotaMsg(type, answer.GetPackedMsg(false)); });
}

// Nanoseconds per read, with this many threads reading at the same time.
double readCost(int threads, const std::function<void(const QString &)> &read)
{
    std::vector<std::thread> readers;
    std::atomic<int> ready { 0 };
    const auto work = [&](unsigned seed) {
        RandomSymbols symbols(seed);
        ++ready;
        while (ready < threads + 1) { }
        for (int i = 0; i < ReadsPerRound; ++i)
            read(symbols.next());
    };
    for (int i = 0; i < threads; ++i)
        readers.emplace_back(work, static_cast<unsigned>(i + 1));
    while (ready < threads) { }
    const qint64 begin = Measure::nowNs();
    ++ready;
    for (std::thread &reader : readers)
        reader.join();
    return static_cast<double>(Measure::nowNs() - begin) / ReadsPerRound;
}

// Records per second that the worker takes from a queue that was filled beforehand, with this many readers at full
// speed.
double workerRate(const RecordSource &source, const QVector<QVariant> &records, int readers)
{
    LxQuotaHandler &handler = hostedLibrary();
    const QVariant type(source.topic());
    std::atomic<bool> stop { false };
    std::atomic<int> running { 0 };
    std::vector<std::thread> threads;
    QSemaphore go;
    QMetaObject::invokeMethod(
        &handler, [&go] { go.acquire(); }, Qt::QueuedConnection);
    constexpr int Passes = 10;
    for (int pass = 0; pass < Passes; ++pass) {
        for (const QVariant &record : records)
            handler.ProcQuotationMsg(QString(), type, record);
    }
    for (int i = 0; i < readers; ++i) {
        threads.emplace_back([&, i] {
            RandomSymbols symbols(static_cast<unsigned>(i + 1));
            ++running;
            while (!stop)
                benchmark::DoNotOptimize(handler.GetLastStockQuotaData(symbols.next()));
        });
    }
    while (running < readers)
        std::this_thread::yield();
    const qint64 begin = Measure::nowNs();
    go.release();
    Measure::runOn(&handler, [] {});
    const double seconds = static_cast<double>(Measure::nowNs() - begin) / 1e9;
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    return Passes * records.size() / seconds;
}

} // namespace

QVector<BenchRow> snapshots()
{
    const RecordSource source = RecordSource::stockQuotes();
    fillCache(source);
    LxQuotaHandler &handler = hostedLibrary();
    QMap<QString, StockQuotaData> bare;
    for (int i = 0; i < Symbols; ++i)
        bare.insert(RecordSource::symbol(i), handler.GetLastStockQuotaData(RecordSource::symbol(i)));

    QVector<BenchRow> rows;
    for (int threads : { 1, 2 }) {
        const Measure::Comparison result = Measure::interleave(
            Rounds,
            [&] {
                return readCost(threads, [&](const QString &symbol) {
                    benchmark::DoNotOptimize(handler.GetLastStockQuotaData(symbol));
                });
            },
            [&] {
                return readCost(threads, [&](const QString &symbol) {
                    const StockQuotaData copy = *std::as_const(bare).constFind(symbol);
                    benchmark::DoNotOptimize(&copy);
                });
            });
        rows.append({ QStringLiteral("7 %1 thr").arg(threads),
                      QStringLiteral("last quote, %1 reader%2 / QMap::constFind and copy")
                          .arg(threads)
                          .arg(threads > 1 ? QStringLiteral("s") : QString()),
                      QStringLiteral("ns"), result.figure, result.reference, result.ratio, BenchRow::NoTarget, 0 });
    }
    return rows;
}

QVector<BenchRow> workerAmongReaders()
{
    const RecordSource source = RecordSource::stockQuotes();
    fillCache(source);
    const QVector<QVariant> records = source.spread(Symbols);
    QVector<BenchRow> rows;
    for (int readers : { 1, 2 }) {
        const Measure::Comparison result = Measure::interleave(
            Rounds, [&] { return workerRate(source, records, readers); },
            [&] { return workerRate(source, records, 0); });
        rows.append({ QStringLiteral("8 %1 thr").arg(readers),
                      QStringLiteral("worker's rate, %1 reader%2 / without readers")
                          .arg(readers)
                          .arg(readers > 1 ? QStringLiteral("s") : QString()),
                      QStringLiteral("records/s"), result.figure, result.reference, result.ratio, BenchRow::NoTarget,
                      0 });
    }
    return rows;
}

QVector<BenchRow> derivedSnapshots()
{
    const RecordSource source = RecordSource::stockQuotes();
    fillCache(source);
    LxQuotaHandler &handler = hostedLibrary();
    const RecordSource trades = RecordSource::transactions();
    Measure::runOn(&handler, [&] {
        for (int i = 0; i < Symbols; ++i)
            handler.slotProcessQuotaMsg(trades.topic(), trades.record(i, RecordSource::symbol(i)));
    });

    for (int i = 0; i < Symbols; ++i) {
        const QString symbol = RecordSource::symbol(i);
        publishIndicator(QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"), symbol, QStringLiteral("eps"));
        publishIndicator(QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"), symbol,
                         QStringLiteral("last5DayVolumePerMinute"));
    }

    RandomSymbols ofTotal(1);
    RandomSymbols ofPlain(1);
    MicroBench bench;
    bench.add("total", [&] { benchmark::DoNotOptimize(handler.GetLastStockQuotaDataTotal(ofTotal.next())); });
    bench.add("plain", [&] { benchmark::DoNotOptimize(handler.GetLastStockQuotaData(ofPlain.next())); });
    bench.run();
    return { { QStringLiteral("9"), QStringLiteral("last quote with derived figures / last quote"),
               QStringLiteral("ns"), bench.median("total"), bench.median("plain"), bench.ratio("total", "plain"),
               BenchRow::NoTarget, 0 } };
}
