// From the bus callback to the signals: the library against a bare queued signal.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "recordsource.h"

namespace {

constexpr int Symbols = 5000;
constexpr int PassesPerRound = 20;
constexpr int Rounds = 15;

// Records per second that `send` gets through the event queue of `receiver`.
double rate(const QVector<QVariant> &records, QObject *receiver, const std::function<void(const QVariant &)> &send)
{
    EmitterWindow window(receiver);
    const qint64 begin = Measure::nowNs();
    for (int pass = 0; pass < PassesPerRound; ++pass) {
        for (const QVariant &record : records) {
            send(record);
            window.sent();
        }
    }
    window.drain();
    return 1e9 * PassesPerRound * records.size() / static_cast<double>(Measure::nowNs() - begin);
}

BenchRow throughput(const RecordSource &source, const QString &number, const QString &name, double target)
{
    const QVector<QVariant> records = source.spread(Symbols);
    const QVariant type(source.topic());
    LxQuotaHandler &handler = hostedLibrary();
    PlainThread thread;
    BareSender sender;
    BareReceiver receiver(&thread);
    QObject::connect(&sender, &BareSender::record, &receiver, &BareReceiver::take);

    const Measure::Comparison result = Measure::interleave(
        Rounds,
        [&] {
            return rate(records, &handler,
                        [&](const QVariant &record) { handler.ProcQuotationMsg(QString(), type, record); });
        },
        [&] { return rate(records, &receiver, [&](const QVariant &record) { Q_EMIT sender.record(type, record); }); });
    return { number,           name,         QStringLiteral("records/s"), result.figure,
             result.reference, result.ratio, BenchRow::AtLeast,           target };
}

} // namespace

QVector<BenchRow> stockThroughput()
{
    return { throughput(RecordSource::stockQuotes(), QStringLiteral("1"),
                        QStringLiteral("stock quotes, 5000 symbols / bare queued signal"), 0.6) };
}

QVector<BenchRow> transactionThroughput()
{
    return { throughput(RecordSource::transactions(), QStringLiteral("2"),
                        QStringLiteral("transactions, 5000 symbols / bare queued signal"), 0.9) };
}
