// What a quote costs the worker thread: decoding, cache write, signals without a receiver.

#include "allocationcount.h"
#include "benchcase.h"
#include "fixquote.h"
#include "hostedlibrary.h"
#include "mapdecoder.h"
#include "measure.h"
#include "microbench.h"
#include "recordsource.h"

namespace {

constexpr int Symbols = 5000;

const std::string subject = "decode and cache";

// Decodes the records on the worker thread, so that the cache knows their symbols.
void fillCache(const QVariant &type, const QVector<QVariant> &records)
{
    LxQuotaHandler &handler = hostedLibrary();
    Measure::runOn(&handler, [&] {
        for (const QVariant &record : records)
            handler.slotProcessQuotaMsg(type, record);
    });
}

// One record again and again, interleaved with `reference`.
BenchRow decodeAgainst(const QString &number, const QString &name, double target, const RecordSource &source,
                       std::function<void()> reference)
{
    const QVector<QVariant> records = source.spread(Symbols);
    const QVariant type(source.topic());
    fillCache(type, records);
    LxQuotaHandler &handler = hostedLibrary();
    const QVariant &record = records.at(Symbols / 2);
    MicroBench bench;
    bench.add(subject, [&] { handler.slotProcessQuotaMsg(type, record); });
    bench.add("reference", std::move(reference));
    Measure::runOn(&handler, [&bench] { bench.run(); });
    return { number,
             name,
             QStringLiteral("ns"),
             bench.median(subject),
             bench.median("reference"),
             bench.ratio(subject, "reference"),
             BenchRow::AtMost,
             target };
}

FixFigures toFixFigures(const QVariant &record)
{
    const QVariantMap row = MapDecoder::toMap(record);
    const auto number = [&row](const QString &key) { return row.value(key).toDouble(); };
    const auto text = [&row](const QString &key) { return row.value(key).toString().toStdString(); };
    FixFigures figures;
    figures.symbol = text(QStringLiteral("Symbol"));
    figures.date = text(QStringLiteral("MDDate"));
    figures.time = text(QStringLiteral("MDTime"));
    figures.phase = text(QStringLiteral("TradingPhaseCode"));
    const QString others[FixFigures::Others] {
        QStringLiteral("PreClosePx"),
        QStringLiteral("NumTrades"),
        QStringLiteral("TotalVolumeTrade"),
        QStringLiteral("LastPx"),
        QStringLiteral("TotalValueTrade"),
        QStringLiteral("OpenPx"),
        QStringLiteral("ClosePx"),
        QStringLiteral("HighPx"),
        QStringLiteral("LowPx"),
        QStringLiteral("MaxPx"),
        QStringLiteral("MinPx"),
        QStringLiteral("TotalBidQty"),
        QStringLiteral("TotalOfferQty"),
        QStringLiteral("WeightedAvgBidPx"),
        QStringLiteral("WeightedAvgOfferPx"),
    };
    for (int i = 0; i < FixFigures::Others; ++i)
        figures.others[i] = number(others[i]);
    for (int i = 0; i < FixFigures::Levels; ++i) {
        const QString level = QString::number(i + 1);
        figures.buyPrice[i] = number(QStringLiteral("Buy%1Price").arg(level));
        figures.sellPrice[i] = number(QStringLiteral("Sell%1Price").arg(level));
        figures.buyQty[i] = number(QStringLiteral("Buy%1OrderQty").arg(level));
        figures.sellQty[i] = number(QStringLiteral("Sell%1OrderQty").arg(level));
    }
    return figures;
}

} // namespace

QVector<BenchRow> decodeAgainstMap()
{
    const RecordSource source = RecordSource::stockQuotes();
    MapDecoder decoder;
    for (int i = 0; i < Symbols; ++i)
        decoder.decodeAndCache(MapDecoder::toMap(source.record(i, RecordSource::symbol(i))));
    const QVariantMap row = MapDecoder::toMap(source.record(Symbols / 2, RecordSource::symbol(Symbols / 2)));
    return { decodeAgainst(QStringLiteral("3"), QStringLiteral("decode and cache a quote / read from a QVariantMap"),
                           0.3, source, [&] { decoder.decodeAndCache(row); }) };
}

QVector<BenchRow> decodeAgainstFix()
{
    const RecordSource source = RecordSource::stockQuotes();
    const FixQuote quote(toFixFigures(source.record(Symbols / 2, RecordSource::symbol(Symbols / 2))));
    FixFigures figures;
    return { decodeAgainst(QStringLiteral("4"), QStringLiteral("decode and cache a quote / QuickFIX parse and extract"),
                           0.1, source, [&] { quote.parseAndExtract(&figures); }) };
}

QVector<BenchRow> allocationsPerQuote()
{
    const RecordSource source = RecordSource::stockQuotes();
    const QVector<QVariant> records = source.spread(Symbols);
    const QVariant type(source.topic());
    fillCache(type, records);
    const QVector<QVariant> next = source.spread(Symbols);
    LxQuotaHandler &handler = hostedLibrary();
    qint64 allocations = 0;
    Measure::runOn(&handler, [&] {
        AllocationCount::start();
        for (const QVariant &record : next)
            handler.slotProcessQuotaMsg(type, record);
        allocations = AllocationCount::stop();
    });
    return { { QStringLiteral("5"), QStringLiteral("heap allocations per quote, worker thread"),
               QStringLiteral("per quote"), static_cast<double>(allocations) / next.size(), 0, 0, BenchRow::AtMost,
               0 } };
}
