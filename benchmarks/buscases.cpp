// Packing a quote and publishing it to many endpoints of the process.

#include "benchcase.h"
#include "measure.h"
#include "recordsource.h"

#include <lxbus/bus.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <algorithm>
#include <atomic>

namespace {

constexpr int Rounds = 7;
constexpr int DeliveriesPerRound = 100000;
constexpr int MostRecordsPerRound = 5000;

class CountingListener final : public LxBusListener
{
public:
    void published(const QString &, const QString &, const QVariant &) override { m_count.fetch_add(1); }
    void answered(int, const QString &, const QString &, const QVariant &) override { }

private:
    std::atomic<int> m_count { 0 };
};

QVariant pack(const QVariantMap &fields)
{
    CPackMessageCommon message;
    for (auto field = fields.cbegin(); field != fields.cend(); ++field)
        message.AddVaule(field.key(), field.value());
    return message.GetPackedMsg(false);
}

QVariant subscription(const QString &symbol)
{
    CPackMessageCommon request;
    request.AddVaule(QStringLiteral("MDRecordTypes"), 1);
    request.AddVaule(QStringLiteral("ActionType"), 1);
    request.AddVaule(QStringLiteral("Symbol"), symbol);
    return request.GetPackedMsg(false);
}

// Nanoseconds per record, from packing it to its delivery to the last endpoint.
double busCost(int endpoints, const QString &topic, const QVariantMap &fields)
{
    const auto bus = LxBus::current();
    const QString symbol = fields.value(QStringLiteral("Symbol")).toString();
    std::vector<CountingListener> listeners(static_cast<size_t>(endpoints));
    std::vector<std::unique_ptr<LxBusEndpoint>> clients;
    for (CountingListener &listener : listeners) {
        clients.push_back(bus->openEndpoint(QStringLiteral("Bench"), &listener));
        clients.back()->subscribe(topic);
        clients.back()->put(QStringLiteral("SubscribeRequest"), subscription(symbol));
    }
    const auto publisher = bus->openPublisher();
    const int records = std::min(MostRecordsPerRound, DeliveriesPerRound / endpoints);
    const qint64 begin = Measure::nowNs();
    for (int i = 0; i < records; ++i)
        publisher->publish(topic, symbol, pack(fields));
    publisher->flush(60000);
    return static_cast<double>(Measure::nowNs() - begin) / records;
}

// The same for receivers of a queued signal, on as many threads as the bus uses for deliveries.
double signalCost(int endpoints, const QString &topic, const QVariantMap &fields)
{
    const QVariant type(topic);
    PlainThread threads[2];
    BareSender sender;
    std::vector<std::unique_ptr<BareReceiver>> receivers;
    for (int i = 0; i < endpoints; ++i) {
        receivers.push_back(std::make_unique<BareReceiver>(&threads[i % 2]));
        QObject::connect(&sender, &BareSender::record, receivers.back().get(), &BareReceiver::take);
    }
    EmitterWindow window(receivers.back().get());
    const int records = std::min(MostRecordsPerRound, DeliveriesPerRound / endpoints);
    const qint64 begin = Measure::nowNs();
    for (int i = 0; i < records; ++i) {
        Q_EMIT sender.record(type, pack(fields));
        window.sent();
    }
    window.drain();
    for (const auto &receiver : receivers)
        Measure::runOn(receiver.get(), [] {});
    return static_cast<double>(Measure::nowNs() - begin) / records;
}

} // namespace

QVector<BenchRow> fanOut()
{
    const RecordSource source = RecordSource::stockQuotes();
    CUnPackMessageCommon quote;
    quote.SetUnPackMsg(source.record(0, RecordSource::symbol(0)), false);
    const QVariantMap fields = quote.GetRowValue();
    QVector<BenchRow> rows;
    for (int endpoints : { 10, 100 }) {
        const auto further = [&](auto cost) {
            return (cost(endpoints, source.topic(), fields) - cost(1, source.topic(), fields)) / (endpoints - 1);
        };
        const Measure::Comparison result = Measure::interleave(
            Rounds, [&] { return further(&busCost); }, [&] { return further(&signalCost); });
        rows.append({ QStringLiteral("13 %1").arg(endpoints),
                      QStringLiteral("each further endpoint, 1 to %1 / bare queued signal").arg(endpoints),
                      QStringLiteral("ns"), result.figure, result.reference, result.ratio, BenchRow::NoTarget, 0 });
    }
    return rows;
}
