// The memory of the cache and of the worker thread's queue.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "recordsource.h"

#include <malloc.h>

namespace {

// The size of an unshared string: its header, its characters and the terminating zero.
qint64 bytesOf(const QString &string)
{
    return static_cast<qint64>(sizeof(QArrayData)) + (string.size() + 1) * static_cast<qint64>(sizeof(QChar));
}

qint64 trimmedResidentBytes()
{
    malloc_trim(0);
    return Measure::residentBytes();
}

} // namespace

QVector<BenchRow> memoryOfTheCache()
{
    constexpr int Symbols = 50000;
    constexpr int KnownBefore = 1000;

    const RecordSource source = RecordSource::stockQuotes();
    const QVariant type(source.topic());
    LxQuotaHandler &handler = hostedLibrary();
    // Published one after the other, as a service does; a body is released as soon as the worker has decoded it.
    const auto publish = [&](int from, int to) {
        EmitterWindow window(&handler);
        for (int i = from; i < to; ++i) {
            handler.ProcQuotationMsg(QString(), type, source.record(i, RecordSource::symbol(i)));
            window.sent();
        }
    };
    publish(0, KnownBefore);
    const qint64 before = trimmedResidentBytes();
    publish(KnownBefore, KnownBefore + Symbols);
    const double figure = static_cast<double>(trimmedResidentBytes() - before) / Symbols;

    const StockQuotaData quote = handler.GetLastStockQuotaData(RecordSource::symbol(KnownBefore));
    const auto bare = static_cast<double>(sizeof(StockQuotaData))
        + static_cast<double>(bytesOf(quote.MDDate) + bytesOf(quote.MDTime) + bytesOf(quote.Symbol)
                              + bytesOf(quote.TradingPhaseCode));
    return { { QStringLiteral("11"), QStringLiteral("resident memory per cached stock / the record and its strings"),
               QStringLiteral("bytes"), figure, bare, figure / bare, BenchRow::AtMost, 1.3 } };
}

QVector<BenchRow> memoryOfTheBacklog()
{
    constexpr int Symbols = 1000;
    constexpr int Waiting = 200000;

    const RecordSource source = RecordSource::stockQuotes();
    const QVector<QVariant> records = source.spread(Symbols);
    const QVariant type(source.topic());
    LxQuotaHandler &handler = hostedLibrary();
    QSemaphore go;
    QMetaObject::invokeMethod(
        &handler, [&go] { go.acquire(); }, Qt::QueuedConnection);
    const qint64 before = trimmedResidentBytes();
    for (int i = 0; i < Waiting; ++i)
        handler.ProcQuotationMsg(QString(), type, records.at(i % Symbols));
    const double figure = static_cast<double>(Measure::residentBytes() - before) / Waiting;
    go.release();
    Measure::runOn(&handler, [] {});
    return { { QStringLiteral("12"), QStringLiteral("a record waiting for the worker, beyond its body"),
               QStringLiteral("bytes"), figure, 0, 0, BenchRow::NoTarget, 0 } };
}
