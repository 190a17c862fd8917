#include "buscore_p.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int AnswerTimeoutMs = 60000; // after this, sender and service forget an unanswered asynchronous request

class Endpoint final : public LxBusEndpoint
{
public:
    Endpoint(std::shared_ptr<LxBusCore> bus, std::shared_ptr<LxBusClient> client)
        : m_bus(std::move(bus)), m_client(std::move(client))
    {
    }
    ~Endpoint() override { m_bus->closeClient(m_client.get()); }

    QString address() const override { return m_client->address; }
    void subscribe(const QString &topic) override { m_bus->subscribe(m_client.get(), topic); }
    void put(const QString &type, const QVariant &body) override { m_bus->put(m_client.get(), type, body); }
    int requestAsync(const QString &type, const QVariant &body) override
    {
        return m_bus->requestAsync(*m_client, type, body);
    }
    int requestSync(const QString &type, const QVariant &body, QVariant *answer) override
    {
        return m_bus->requestSync(*m_client, type, body, answer);
    }

private:
    const std::shared_ptr<LxBusCore> m_bus;
    const std::shared_ptr<LxBusClient> m_client;
};

class ServicePort final : public LxBusServicePort
{
public:
    ServicePort(std::shared_ptr<LxBusCore> bus, std::unique_ptr<LxBusCore::Service> service)
        : m_bus(std::move(bus)), m_service(std::move(service))
    {
    }
    ~ServicePort() override { m_bus->closeService(m_service.get()); }

    void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body) override
    {
        m_bus->publishTo(request, topic, body);
    }
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body) override
    {
        m_bus->answer(request, type, body);
    }

private:
    const std::shared_ptr<LxBusCore> m_bus;
    const std::unique_ptr<LxBusCore::Service> m_service;
};

class Publisher final : public LxBusPublisher
{
public:
    explicit Publisher(std::shared_ptr<LxBusCore> bus) : m_bus(std::move(bus)) { }

    int publish(const QString &topic, const QString &key, const QVariant &body) override
    {
        return m_bus->publish(topic, key, body);
    }
    bool hasListeners(const QString &topic, const QString &key) const override
    {
        return m_bus->hasListeners(topic, key);
    }
    bool flush(int timeoutMs) override { return m_bus->flush(timeoutMs); }
    void beginDay() override { m_bus->beginDay(); }

private:
    const std::shared_ptr<LxBusCore> m_bus;
};

} // namespace

LxBusCore::LxBusCore(const LxBusOptions &options, std::unique_ptr<LxLink> link)
    : m_options(options), m_link(std::move(link)), m_book(m_link.get()),
      m_services(m_link.get(), options, std::max(AnswerTimeoutMs, options.requestTimeoutMs)), m_pool(options.threads)
{
    m_link->start(this);
}

LxBusCore::~LxBusCore()
{
    close();
}

void LxBusCore::close()
{
    QVector<std::shared_ptr<LxMailbox>> mailboxes;
    {
        QMutexLocker locker(&m_mutex);
        if (std::exchange(m_closed, true))
            return;
        mailboxes.swap(m_mailboxes);
    }
    m_link->close();
    for (const auto &mailbox : std::as_const(mailboxes))
        closeMailbox(mailbox.get());
    m_requests.close();
    m_pool.end();
}

std::shared_ptr<LxMailbox> LxBusCore::openMailbox(int limit, LxMailbox::Receiver receiver,
                                                  LxMailbox::SlowReport reportSlow)
{
    const auto whenFull = m_link->isLocal() ? LxMailboxPolicy::Block : LxMailboxPolicy::Conflate;
    auto mailbox = std::make_shared<LxMailbox>(&m_pool, LxMailboxPolicy { whenFull, limit }, std::move(receiver),
                                               std::move(reportSlow));
    QMutexLocker locker(&m_mutex);
    if (m_closed)
        mailbox->close();
    else
        m_mailboxes.append(mailbox);
    return mailbox;
}

quint64 LxBusCore::waitingMessages() const
{
    quint64 messages = 0;
    QMutexLocker locker(&m_mutex);
    for (const auto &mailbox : m_mailboxes)
        messages += mailbox->size();
    return messages;
}

void LxBusCore::closeMailbox(LxMailbox *mailbox)
{
    const std::vector<LxDelivery> left = mailbox->close();
    for (const LxDelivery &delivery : left)
        countWithoutReceiver(delivery.type, 1);
}

void LxBusCore::countWithoutReceiver(const QString &type, quint64 count)
{
    if (type != LxBusTopics::presence)
        m_statistics.drop(LxBusDrop::ReceiverGone, type, count);
}

std::unique_ptr<LxBusEndpoint> LxBusCore::openEndpoint(const QString &name, LxBusListener *listener)
{
    const auto client = std::make_shared<LxBusClient>();
    const auto receive = [listener](const LxDelivery &d) {
        if (d.kind == LxDelivery::Answer)
            listener->answered(static_cast<int>(d.id), QString(), d.type, d.body);
        else
            listener->published(QString(), d.type, d.body);
    };
    client->mailbox = openMailbox(m_link->isLocal() ? m_options.queueLimit : m_options.pendingLimit, receive,
                                  [this](bool slow) { noteSlow(slow); });
    {
        QMutexLocker locker(&m_mutex);
        const QString address = lxOwnCopy(m_link->addressOf(name));
        client->address = address;
        while (m_clients.contains(client->address))
            client->address = address + QLatin1Char('#') + QString::number(++m_lastNumber);
        m_clients.insert(client->address, client);
    }
    return std::make_unique<Endpoint>(shared_from_this(), client);
}

void LxBusCore::closeClient(LxBusClient *client)
{
    m_book.remove(client);
    {
        QMutexLocker locker(&m_mutex);
        m_clients.remove(client->address);
        m_mailboxes.removeOne(client->mailbox);
    }
    closeMailbox(client->mailbox.get());
    client->mailbox->waitForDelivery();
}

void LxBusCore::subscribe(LxBusClient *client, const QString &topic)
{
    if (topic.size() <= LxBusTopics::TopicLimit)
        m_book.subscribe(client, topic);
    else
        m_statistics.drop(LxBusDrop::Malformed, QStringLiteral("subscription"));
}

void LxBusCore::put(LxBusClient *client, const QString &type, const QVariant &body)
{
    if (type != LxBusTopics::subscribeRequest) {
        send(client->address, type, body, 0);
        return;
    }
    int malformed = 0;
    const QVector<LxSubscription> subscriptions = LxBusTopics::parseSubscribeRequest(body, &malformed);
    m_statistics.drop(LxBusDrop::Malformed, LxBusTopics::subscribeRequest, static_cast<quint64>(malformed));
    m_book.change(client, subscriptions);
}

LxBusEndpoint::Result LxBusCore::send(const QString &client, const QString &type, const QVariant &body, quint64 id)
{
    const LxBusEndpoint::Result result = m_link->send({ type, body, client, id, QByteArray() });
    if (result == LxBusEndpoint::NoService)
        m_statistics.drop(LxBusDrop::NoService, type);
    return result;
}

int LxBusCore::requestAsync(const LxBusClient &client, const QString &type, const QVariant &body)
{
    const quint64 id = m_requests.addAsync(type, client.mailbox, QDeadlineTimer(AnswerTimeoutMs));
    const int result = send(client.address, type, body, id);
    if (result != LxBusEndpoint::Ok)
        m_requests.remove(id);
    return result;
}

int LxBusCore::requestSync(const LxBusClient &client, const QString &type, const QVariant &body, QVariant *answer)
{
    const quint64 id = m_requests.addSync(type, QDeadlineTimer(m_options.requestTimeoutMs));
    const int result = send(client.address, type, body, id);
    if (result == LxBusEndpoint::Ok)
        return m_requests.wait(id, answer);
    m_requests.remove(id);
    return result;
}

std::unique_ptr<LxBusServicePort> LxBusCore::openService(LxBusService *service)
{
    auto entry = std::make_unique<Service>();
    for (const QString &type : service->requestTypes())
        entry->types.append(lxOwnCopy(type));
    const auto receive = [this, service, table = entry.get()](const LxDelivery &) {
        service->handle(m_services.next(table));
    };
    entry->mailbox = openMailbox(m_options.queueLimit, receive, {});
    m_services.add(entry.get());
    return std::make_unique<ServicePort>(shared_from_this(), std::move(entry));
}

void LxBusCore::closeService(Service *service)
{
    m_services.remove(service);
    {
        QMutexLocker locker(&m_mutex);
        m_mailboxes.removeOne(service->mailbox);
    }
    service->mailbox->close();
    service->mailbox->waitForDelivery();
    while (!service->waiting.isEmpty()) // read without the lock: nothing else uses the service now
        m_statistics.drop(LxBusDrop::ReceiverGone, m_services.next(service).type);
    const std::vector<LxBusRequest> unanswered = m_services.takeUnanswered(service);
    for (const LxBusRequest &request : unanswered)
        m_link->refuse(request, LxBusEndpoint::Closed);
}

std::unique_ptr<LxBusPublisher> LxBusCore::openPublisher()
{
    return std::make_unique<Publisher>(shared_from_this());
}

int LxBusCore::publish(const QString &topic, const QString &key, const QVariant &body)
{
    if (topic.size() <= LxBusTopics::TopicLimit && key.size() <= LxBusTopics::KeyLimit)
        return m_link->publish(topic, key, body);
    m_statistics.drop(LxBusDrop::Malformed, QStringLiteral("record"));
    return 0;
}

bool LxBusCore::hasListeners(const QString &topic, const QString &key) const
{
    return !m_link->isLocal() || m_book.hasReaders(topic, key);
}

bool LxBusCore::flush(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    if (!m_link->flush(deadline))
        return false;
    QVector<std::shared_ptr<LxBusClient>> clients;
    {
        QMutexLocker locker(&m_mutex);
        for (const auto &client : std::as_const(m_clients))
            clients.append(client);
    }
    return std::all_of(clients.cbegin(), clients.cend(), [&deadline](const std::shared_ptr<LxBusClient> &client) {
        return client->mailbox->waitUntilDelivered(deadline);
    });
}

void LxBusCore::publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body)
{
    if (request.id == 0)
        m_link->publishTo(request, topic, body);
    else
        m_statistics.drop(LxBusDrop::ReceiverGone, topic); // the sender awaits an answer, not a published message
}

void LxBusCore::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    if (m_services.takeAnswered(request.id))
        m_link->answer(request, type, body);
    else
        m_statistics.drop(LxBusDrop::LateAnswer, type);
}

// Counts the receivers that did not get a message, and waits for those whose mailbox is full.
void LxBusCore::settle(const QString &type, const LxReception &reception)
{
    m_statistics.drop(LxBusDrop::Conflated, type, reception.conflated);
    m_statistics.drop(LxBusDrop::QueueFull, type, reception.refused);
    countWithoutReceiver(type, reception.gone);
    if (reception.full.isEmpty())
        return;
    const QDeadlineTimer deadline(m_options.publishTimeoutMs); // shared by all receivers
    for (const auto &mailbox : reception.full)
        mailbox->waitForRoom(deadline);
}

int LxBusCore::recordArrived(quint64 route, const QString &topic, const QString &key, const QVariant &body)
{
    const LxReception reception = m_book.distribute(route, topic, key, body);
    settle(topic, reception);
    return reception.taken;
}

void LxBusCore::messageArrived(const QString &address, const QString &topic, const QVariant &body)
{
    std::shared_ptr<LxBusClient> client;
    {
        QMutexLocker locker(&m_mutex);
        client = m_clients.value(address);
    }
    if (client)
        settle(topic, m_book.deliver(*client, topic, body));
    else
        countWithoutReceiver(topic, 1);
}

LxBusEndpoint::Result LxBusCore::requestArrived(LxArrivingRequest request)
{
    LxReception reception;
    const QString type = request.type;
    const LxBusEndpoint::Result result = m_services.offer(std::move(request), &reception);
    settle(type, reception);
    return result;
}

void LxBusCore::answerArrived(quint64 id, LxBusEndpoint::Result result, const QString &type, const QVariant &body)
{
    const std::optional<LxRequestTable::Finished> request = m_requests.finish(id, result, body);
    if (result == LxBusEndpoint::NoService) {
        m_statistics.drop(LxBusDrop::NoService, request ? request->type : QStringLiteral("answer"));
    } else if (!request) {
        if (result == LxBusEndpoint::Ok)
            m_statistics.drop(LxBusDrop::LateAnswer, type);
    } else if (result == LxBusEndpoint::QueueFull) {
        m_statistics.drop(LxBusDrop::QueueFull, request->type);
    } else if (result == LxBusEndpoint::NotSent) {
        m_statistics.drop(LxBusDrop::NotSent, request->type);
    } else if (request->asynchronous && result == LxBusEndpoint::Ok) {
        LxReception reception;
        const std::shared_ptr<LxMailbox> client = request->client.lock();
        const auto fate = client
            ? client->offer({ LxDelivery::Answer, lxOwnCopy(type), body, id }, 0, LxMailbox::CannotWait)
            : LxMailbox::Fate::Closed;
        reception.add(client, fate);
        settle(type, reception);
    }
}

void LxBusCore::dropped(LxBusDrop reason, const QString &type, quint64 count)
{
    if (reason == LxBusDrop::NoService && type == LxBusTopics::presenceRequest)
        Q_EMIT m_connection.nobodyServes();
    else
        m_statistics.drop(reason, type, count);
}

void LxBusCore::connectionLost(const QString &reason)
{
    {
        QMutexLocker locker(&m_stateMutex);
        m_lost = reason;
    }
    showState();
}

void LxBusCore::connectionRestored()
{
    {
        QMutexLocker locker(&m_stateMutex);
        m_lost.clear();
    }
    showState();
}

void LxBusCore::connectionClosed(const QString &reason)
{
    m_connection.setState(LxBusState::Closed, reason);
    m_requests.close();
}

void LxBusCore::connectionRefused(const QString &reason)
{
    Q_EMIT m_connection.refused(reason);
}

void LxBusCore::noteSlow(bool slow)
{
    {
        QMutexLocker locker(&m_stateMutex);
        m_slowClients += slow ? 1 : -1;
    }
    showState();
}

// Announces the state. Only one thread at a time does so; it repeats until the state has not changed meanwhile, so that
// the state announced last is the current one.
void LxBusCore::showState()
{
    QMutexLocker locker(&m_stateMutex);
    m_stateChanged = true;
    if (std::exchange(m_showingState, true))
        return;
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
        m_connection.setState(kind, reason);
        locker.relock();
    }
    m_showingState = false;
}
