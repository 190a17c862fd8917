#include "natspeer.h"

#include "measure.h"

#include <lxbus/bus.h>
#include <lxbus/codec/wireformat_p.h>

#include <nats/nats.h>

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

namespace NatsBench {

namespace {

constexpr int PatienceMs = 60000;

void check(natsStatus status)
{
    if (status != NATS_OK)
        qFatal("NATS: %s", natsStatus_GetText(status));
}

void runCommands(const std::function<void(int)> &publish, const std::function<void()> &flush)
{
    constexpr qint64 Interval = 1000000000 / RecordsPerSecond;
    char command[16];
    int count = 0;
    while (std::scanf("%15s %d", command, &count) == 2) {
        const bool paced = QByteArray(command) == "pace";
        std::vector<qint64> sent(static_cast<size_t>(count));
        const qint64 begin = Measure::nowNs();
        for (int i = 0; i < count; ++i) {
            if (paced) {
                while (Measure::nowNs() < begin + i * Interval) { }
            }
            sent[static_cast<size_t>(i)] = Measure::nowNs();
            publish(i % Symbols);
        }
        flush();
        std::fwrite(sent.data(), sizeof(qint64), sent.size(), stdout);
        std::fflush(stdout);
    }
}

class Echo final : public LxBusService
{
public:
    Echo() : m_port(LxBus::current()->openService(this)) { }

    QStringList requestTypes() const override { return { requestType }; }
    void handle(const LxBusRequest &request) override { m_port->answer(request, request.type, request.body); }

private:
    const std::unique_ptr<LxBusServicePort> m_port;
};

RecordSource sourceOf(const QString &mode)
{
    return mode == QLatin1String("ticks") ? RecordSource::transactions() : RecordSource::stockQuotes();
}

int runBusPeer(const QString &url, const QString &mode)
{
    constexpr int FlushTimeoutMs = 30000;
    LxBusOptions options;
    options.sendAtOnce = mode == QLatin1String("atonce");
    if (mode == QLatin1String("quotes") || mode == QLatin1String("ticks"))
        options.streams = LxBusStreams();
    QString error;
    if (!LxBus::start(url, options, &error))
        qFatal("%s", qUtf8Printable(error));
    const Echo echo;
    const auto publisher = LxBus::current()->openPublisher();
    const RecordSource source = sourceOf(mode);
    const QVector<QVariant> records = source.spread(Symbols);
    runCommands(
        [&](int number) { publisher->publish(source.topic(), RecordSource::symbol(number), records.at(number)); },
        [&] { publisher->flush(FlushTimeoutMs); });
    return 0;
}

// Publishes as the bus publishes transactions: with an identifier, and with acknowledgements.
class BareTicks
{
public:
    explicit BareTicks(natsConnection *connection)
    {
        jsOptions options;
        check(jsOptions_Init(&options));
        options.PublishAsync.MaxPending = 16384;
        check(natsConnection_JetStream(&m_jetStream, connection, &options));
    }
    ~BareTicks() { jsCtx_Destroy(m_jetStream); }

    void publish(const QByteArray &subject, const QByteArray &bytes)
    {
        natsMsg *message = nullptr;
        check(natsMsg_Create(&message, subject.constData(), nullptr, bytes.constData(), bytes.size()));
        check(natsMsgHeader_Set(message, "Nats-Msg-Id", QByteArray::number(++m_last).constData()));
        check(js_PublishMsgAsync(m_jetStream, &message, nullptr));
    }
    void flush() { check(js_PublishAsyncComplete(m_jetStream, nullptr)); }

private:
    jsCtx *m_jetStream = nullptr;
    quint64 m_last = 0;
};

int runBarePeer(const QString &url, const QString &mode)
{
    natsOptions *options = nullptr;
    natsConnection *connection = nullptr;
    natsSubscription *responder = nullptr;
    check(natsOptions_Create(&options));
    check(natsOptions_SetURL(options, url.toUtf8().constData()));
    check(natsOptions_SetSendAsap(options, mode == QLatin1String("atonce")));
    check(natsConnection_Connect(&connection, options));
    const auto answer = [](natsConnection *nats, natsSubscription *, natsMsg *message, void *) {
        natsConnection_Publish(nats, natsMsg_GetReply(message), natsMsg_GetData(message),
                               natsMsg_GetDataLength(message));
        natsMsg_Destroy(message);
    };
    check(natsConnection_Subscribe(&responder, connection, bareRequest, answer, nullptr));
    const std::vector<QByteArray> records = wireRecords(sourceOf(mode));
    const bool areTicks = mode == QLatin1String("ticks");
    const char *const prefix = areTicks   ? bareTickPrefix
        : mode == QLatin1String("quotes") ? bareQuotePrefix
                                          : barePrefix;
    std::vector<QByteArray> subjects;
    for (int i = 0; i < Symbols; ++i)
        subjects.push_back(prefix + RecordSource::symbol(i).toUtf8());
    auto ticks = std::make_unique<BareTicks>(connection);
    runCommands(
        [&](int number) {
            const QByteArray &bytes = records[static_cast<size_t>(number)];
            const QByteArray &subject = subjects[static_cast<size_t>(number)];
            if (areTicks)
                ticks->publish(subject, bytes);
            else
                check(natsConnection_Publish(connection, subject.constData(), bytes.constData(), bytes.size()));
        },
        [&] {
            if (areTicks)
                ticks->flush();
            else
                check(natsConnection_Flush(connection));
        });
    ticks.reset();
    natsSubscription_Destroy(responder);
    natsConnection_Destroy(connection);
    natsOptions_Destroy(options);
    return 0;
}

} // namespace

Peer::Peer(const QString &role, const QString &url)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    { QStringLiteral("--peer"), role, QStringLiteral("--bus"), url });
    begin("publish", 0);
    sent(0);
}

Peer::~Peer()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished(PatienceMs);
}

void Peer::begin(const char *what, int count)
{
    m_process.write(QByteArray(what) + ' ' + QByteArray::number(count) + '\n');
    m_process.waitForBytesWritten(PatienceMs);
}

std::vector<qint64> Peer::sent(int count)
{
    QByteArray bytes;
    const int size = count * static_cast<int>(sizeof(qint64));
    while (bytes.size() < size && m_process.waitForReadyRead(PatienceMs))
        bytes += m_process.readAllStandardOutput();
    if (bytes.size() != size)
        qFatal("the peer does not answer");
    std::vector<qint64> times(static_cast<size_t>(count));
    std::memcpy(times.data(), bytes.constData(), static_cast<size_t>(size));
    return times;
}

std::vector<QByteArray> wireRecords(const RecordSource &source)
{
    LxWireWriter writer;
    std::vector<QByteArray> records;
    LxWireMessage message;
    message.type = source.topic();
    message.epoch = 1700000000000000; // has as many digits as a real one
    for (int i = 0; i < Symbols; ++i) {
        message.sequence = static_cast<quint64>(i);
        message.body = source.record(i, RecordSource::symbol(i));
        QString error;
        records.push_back(writer.write(message, &error));
    }
    return records;
}

int runPeer(const QString &role, const QString &url)
{
    const QStringList parts = role.split(QLatin1Char('-'));
    return parts.first() == QLatin1String("bus") ? runBusPeer(url, parts.value(1)) : runBarePeer(url, parts.value(1));
}

} // namespace NatsBench
