#include "natsbus.h"

#include "natsbus_p.h"
#include "natssubjects.h"

#include <QLoggingCategory>

#include <cstdlib>
#include <utility>

Q_LOGGING_CATEGORY(lxNatsLog, "lx.bus.nats")

namespace LxNats {

namespace {

// How long a request is remembered, by who sent it asynchronously and by who is to answer it.
constexpr int AnswerTimeoutMs = 60000;

constexpr int EchoAgainMs = 500;

class ServicePort : public LxBusServicePort
{
public:
    ServicePort(std::shared_ptr<Bus> bus, std::shared_ptr<Service> service)
        : m_bus(std::move(bus)), m_service(std::move(service))
    {
    }
    ~ServicePort() override { m_bus->closeService(m_service.get()); }

    int publish(const QString &topic, const QString &key, const QVariant &body) override
    {
        return m_bus->publish(topic, key, body);
    }
    void publishTo(const QString &client, const QString &topic, const QVariant &body) override
    {
        m_bus->publishTo(client, topic, body);
    }
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body) override
    {
        m_bus->answer(request, type, body);
    }
    bool hasListeners(const QString &, const QString &) const override { return true; }
    bool flush(int timeoutMs) override { return m_bus->flush(timeoutMs); }

private:
    const std::shared_ptr<Bus> m_bus;
    const std::shared_ptr<Service> m_service;
};

} // namespace

QString uniqueAddress(const QString &name)
{
    natsInbox *inbox = nullptr;
    if (natsInbox_Create(&inbox) != NATS_OK)
        return name;
    const QString unique = QString::fromLatin1(inbox).section(QLatin1Char('.'), -1);
    natsInbox_Destroy(inbox);
    return name + QLatin1Char('-') + unique;
}

Bus::Bus(const LxBusOptions &options)
    : m_options(options), m_pool(std::make_unique<LxDeliveryPool>(options.threads)), m_awaited(AnswerTimeoutMs),
      m_unanswered(AnswerTimeoutMs)
{
}

Bus::~Bus()
{
    m_nats.reset();
    LxDeliveryPool::destroy(std::move(m_pool)); // the last endpoint may be destroyed by its own callback
}

bool Bus::connect(const QString &url, QString *error)
{
    m_nats = LxNatsConnection::open(url, m_options, error);
    if (!m_nats)
        return false;
    m_publisher = std::make_unique<LxNatsPublisher>(m_nats.get(), &m_statistics);
    m_echoSubject = LxNatsSubjects::client(uniqueAddress(QStringLiteral("echo")));
    m_echo = m_nats->subscribe(m_echoSubject, nullptr, [this](const LxNatsMessage &message) {
        QMutexLocker locker(&m_echoMutex);
        const quint64 number = QByteArray(message.bytes(), static_cast<int>(message.size())).toULongLong();
        if (number <= m_lastEchoSent) // others can send here, too
            m_lastEcho = qMax(m_lastEcho, number);
        m_echoed.wakeAll();
    });
    m_nats->setObserver(this);
    return true;
}

void Bus::connectionLost(const QString &reason)
{
    {
        QMutexLocker locker(&m_stateMutex);
        m_lost = reason;
    }
    showState();
}

void Bus::connectionRestored()
{
    // Readers may have come back before the publisher, or after it.
    m_publisher->publishLatestAgain();
    {
        QMutexLocker locker(&m_routing);
        for (const std::shared_ptr<Route> &route : std::as_const(m_routes)) {
            for (const Route::Reader &reader : route->readers)
                askForLatest(*reader.client, *route);
        }
    }
    {
        QMutexLocker locker(&m_stateMutex);
        m_lost.clear();
    }
    showState();
}

void Bus::connectionClosed(const QString &reason)
{
    m_state.setState(LxBusState::Closed, reason);
}

void Bus::connectionRefused(const QString &reason)
{
    qCWarning(lxNatsLog).noquote() << "the broker refuses:" << reason;
    Q_EMIT m_state.refused(reason);
}

void Bus::handlerFellBehind(const QString &subject)
{
    m_statistics.drop(LxBusDrop::QueueFull, subject);
}

void Bus::noteSlow(bool slow)
{
    {
        QMutexLocker locker(&m_stateMutex);
        m_slowClients += slow ? 1 : -1;
    }
    showState();
}

// Announces the state, and what becomes of it meanwhile: one thread at a time, so that the last one announced is the
// latest.
void Bus::showState()
{
    QMutexLocker locker(&m_stateMutex);
    m_stateChanged = true;
    if (m_showingState)
        return;
    m_showingState = true;
    while (std::exchange(m_stateChanged, false)) {
        LxBusState::Kind kind = LxBusState::Connected;
        QString reason;
        if (!m_lost.isEmpty()) {
            kind = LxBusState::Reconnecting;
            reason = m_lost;
        } else if (m_slowClients > 0) {
            kind = LxBusState::SlowConsumer;
            reason = QStringLiteral("quotes are conflated");
        }
        locker.unlock();
        m_state.setState(kind, reason);
        locker.relock();
    }
    m_showingState = false;
}

bool Bus::read(const LxNatsMessage &message, const QString &what, LxWireMessage *result)
{
    QString error;
    if (m_reader.read(message.bytes(), message.size(), result, &error))
        return true;
    qCDebug(lxNatsLog).noquote() << "cannot read" << what << '-' << error;
    m_statistics.drop(LxBusDrop::Malformed, what);
    return false;
}

QByteArray Bus::write(const QString &type, const QString &client, const QVariant &body)
{
    LxWireMessage message;
    message.type = type;
    message.client = client;
    message.body = body;
    QString error;
    QMutexLocker locker(&m_writing);
    const QByteArray bytes = m_writer.write(message, &error);
    locker.unlock();
    if (bytes.isEmpty()) {
        qCWarning(lxNatsLog).noquote() << "cannot send" << type << '-' << error;
        m_statistics.drop(LxBusDrop::Malformed, type);
    }
    return bytes;
}

// Counts what the connection did not take.
bool Bus::send(const QString &type, bool sent)
{
    if (!sent)
        m_statistics.drop(LxBusDrop::NotSent, type);
    return sent;
}

// Puts a message into a mailbox, and counts what that cost.
void Bus::offer(LxMailbox *mailbox, LxDelivery delivery, quint64 conflationKey)
{
    const QString type = delivery.type;
    switch (mailbox->offerOrConflate(std::move(delivery), conflationKey)) {
    case LxMailbox::Fate::Queued:
        break;
    case LxMailbox::Fate::Conflated:
        m_statistics.drop(LxBusDrop::Conflated, type);
        break;
    case LxMailbox::Fate::Refused:
        m_statistics.drop(LxBusDrop::QueueFull, type);
        break;
    case LxMailbox::Fate::Closed:
        m_statistics.drop(LxBusDrop::ReceiverGone, type);
        break;
    }
}

void Bus::closeMailbox(LxMailbox *mailbox)
{
    const std::vector<LxDelivery> left = mailbox->close();
    for (const LxDelivery &delivery : left)
        m_statistics.drop(LxBusDrop::ReceiverGone, delivery.type);
}

std::unique_ptr<LxBusServicePort> Bus::openService(LxBusService *service)
{
    const auto state = std::make_shared<Service>();
    for (const QString &type : service->requestTypes())
        state->types.append(ownCopy(type));
    state->mailbox = std::make_shared<LxMailbox>(m_pool.get(), m_options.queueLimit, [service](const LxDelivery &d) {
        service->handle({ d.type, d.body, d.source, d.id });
    });
    const std::weak_ptr<Service> weak = state;
    for (const QString &type : std::as_const(state->types)) {
        state->subscriptions.push_back(m_nats->subscribe(LxNatsSubjects::request(type), LxNatsSubjects::servicesGroup,
                                                         [this, weak](const LxNatsMessage &message) {
                                                             if (const std::shared_ptr<Service> known = weak.lock())
                                                                 receiveRequest(known.get(), message);
                                                         }));
    }
    return std::make_unique<ServicePort>(shared_from_this(), state);
}

void Bus::closeService(Service *service)
{
    service->subscriptions.clear();
    closeMailbox(service->mailbox.get());
}

void Bus::receiveRequest(Service *service, const LxNatsMessage &message)
{
    LxWireMessage request;
    if (!read(message, QStringLiteral("request"), &request))
        return;
    const QByteArray reply = message.reply();
    if (!service->types.contains(request.type) || (!reply.isEmpty() && !LxNatsSubjects::isReturnAddress(reply))) {
        m_statistics.drop(LxBusDrop::Malformed, QStringLiteral("request"));
        return;
    }
    quint64 number = 0;
    if (!reply.isEmpty()
        && !reply.startsWith(LxNatsSubjects::client(request.client) + LxNatsSubjects::Own::nothingAwaited)) {
        QMutexLocker locker(&m_pending);
        number = m_unanswered.add(reply);
    }
    offer(service->mailbox.get(), { LxDelivery::Request, request.client, request.type, request.body, number }, 0);
}

int Bus::publish(const QString &topic, const QString &key, const QVariant &body)
{
    return m_publisher->publish(topic, key, body) ? 1 : 0;
}

void Bus::publishTo(const QString &client, const QString &topic, const QVariant &body)
{
    const QByteArray bytes = write(topic, QString(), body);
    if (!bytes.isEmpty())
        send(topic, m_nats->publish(LxNatsSubjects::client(client) + LxNatsSubjects::Own::message, bytes));
}

void Bus::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    QByteArray reply;
    {
        QMutexLocker locker(&m_pending);
        if (!m_unanswered.take(request.id, &reply)) {
            locker.unlock();
            m_statistics.drop(LxBusDrop::LateAnswer, type);
            return;
        }
    }
    const QByteArray bytes = write(type, QString(), body);
    if (!bytes.isEmpty())
        send(type, m_nats->publish(reply, bytes));
}

bool Bus::flush(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    {
        QMutexLocker locker(&m_echoMutex);
        const quint64 number = ++m_lastEchoSent;
        while (m_lastEcho < number) {
            locker.unlock();
            m_nats->publish(m_echoSubject, QByteArray::number(number));
            locker.relock();
            // It may be lost with the connection.
            QDeadlineTimer again(qMin<qint64>(EchoAgainMs, deadline.remainingTime()));
            while (m_lastEcho < number && m_echoed.wait(&m_echoMutex, again)) { }
            if (m_lastEcho < number && deadline.hasExpired())
                return false;
        }
    }
    QVector<std::shared_ptr<LxMailbox>> mailboxes;
    {
        QMutexLocker locker(&m_routing);
        mailboxes = m_mailboxes;
    }
    bool delivered = true;
    for (const auto &mailbox : std::as_const(mailboxes))
        delivered &= mailbox->waitUntilDelivered(deadline);
    return delivered;
}

} // namespace LxNats

namespace {

std::weak_ptr<LxNats::Bus> lastBus;

} // namespace

std::shared_ptr<LxBusTransport> createNatsBus(const QString &url, const LxBusOptions &options, QString *error)
{
    const auto bus = std::make_shared<LxNats::Bus>(options);
    if (!bus->connect(url, error))
        return nullptr;
    lastBus = bus;
    // Those who are still on the bus at exit keep it longer than what its connection needs: of NATS, of OpenSSL, of Qt.
    // Registered behind their handlers, this one is called before them.
    std::atexit([] {
        if (const std::shared_ptr<LxNats::Bus> open = lastBus.lock())
            open->disconnect();
    });
    return bus;
}
