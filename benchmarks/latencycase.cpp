// The delay from the bus callback to the signal, at a steady rate.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "recordsource.h"

#include <algorithm>

namespace {

constexpr int RecordsPerSecond = 20000;
constexpr int RecordsPerRound = 20000;
constexpr int Rounds = 15;
constexpr int Symbols = 5000;

// Times are written by the emitter before it sends a record, and by the receiving thread when the record arrives.
// Records arrive in the order in which they are sent.
struct Stamps
{
    std::vector<qint64> sent = std::vector<qint64>(RecordsPerRound);
    std::vector<qint64> received;

    void take() { received.push_back(Measure::nowNs()); }
};

// The latencies of one round, sorted. The emitter spins between records, since a sleep would end late.
std::vector<qint64> round(Stamps *stamps, QObject *receiver, const std::function<void(int)> &send)
{
    stamps->received.clear();
    stamps->received.reserve(RecordsPerRound);
    constexpr qint64 interval = 1000000000 / RecordsPerSecond;
    const qint64 begin = Measure::nowNs();
    for (int i = 0; i < RecordsPerRound; ++i) {
        const qint64 due = begin + i * interval;
        while (Measure::nowNs() < due) { }
        stamps->sent[static_cast<size_t>(i)] = Measure::nowNs();
        send(i);
    }
    Measure::runOn(receiver, [] {});
    std::vector<qint64> latencies;
    latencies.reserve(stamps->received.size());
    for (size_t i = 0; i < stamps->received.size(); ++i)
        latencies.push_back(stamps->received[i] - stamps->sent[i]);
    std::sort(latencies.begin(), latencies.end());
    return latencies;
}

} // namespace

QVector<BenchRow> latency()
{
    const RecordSource source = RecordSource::stockQuotes();
    const QVector<QVariant> records = source.spread(Symbols);
    const QVariant type(source.topic());
    Stamps stamps;

    LxQuotaHandler &handler = hostedLibrary();
    QObject::connect(&handler, &LxQuotaHandler::signalStockQuotaUpdate, [&stamps] { stamps.take(); });
    PlainThread thread;
    BareSender sender;
    BareReceiver receiver(&thread);
    QObject::connect(&sender, &BareSender::record, &receiver,
                     [&stamps](const QVariant &, const QVariant &) { stamps.take(); });

    Measure::Percentiles percentiles;
    for (int i = -1; i < Rounds; ++i) {
        const auto subject = round(&stamps, &handler, [&](int number) {
            handler.ProcQuotationMsg(QString(), type, records.at(number % Symbols));
        });
        const auto reference =
            round(&stamps, &receiver, [&](int number) { Q_EMIT sender.record(type, records.at(number % Symbols)); });
        if (i >= 0) // the first one warms up
            percentiles.add(subject, reference);
    }
    return percentiles.rows(QStringLiteral("6"), QStringLiteral("latency at 20000/s, %1 / bare queued signal"), 1.2);
}
