#include "inprocbus.h"

#include "bustopics.h"
#include "deliverypool.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QSet>
#include <QVarLengthArray>

#include <map>

namespace {

// How long an asynchronous request is remembered. An answer after that has nobody to go to.
constexpr int AsyncAnswerTimeoutMs = 60000;

// Texts may be literals in the memory of a library that is unloaded before the bus ends; what the bus keeps, it copies.
QString ownCopy(const QString &text)
{
    return QString(text.constData(), text.size());
}

struct Client
{
    QString address;
    std::shared_ptr<LxMailbox> mailbox;
    QSet<QString> topics;
    QHash<QString, int> interest[4]; // by kind - 1: symbol -> how often asked for
};

struct Service
{
    QStringList types;
    std::shared_ptr<LxMailbox> mailbox;
};

// A caller that waits for the answer to a synchronous request.
struct Waiter
{
    QMutex mutex;
    QWaitCondition answered;
    bool done = false;
    QVariant answer;
};

struct PendingRequest
{
    QString client;
    std::shared_ptr<Waiter> waiter; // null: asynchronous
    QDeadlineTimer deadline;
};

class InprocBus : public LxBusTransport, public std::enable_shared_from_this<InprocBus>
{
public:
    explicit InprocBus(const LxBusOptions &options) : m_options(options), m_pool(options.threads) { }

    std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) override;
    std::unique_ptr<LxBusServicePort> openService(LxBusService *service) override;
    const LxBusStatistics &statistics() const override { return m_statistics; }

    void closeClient(const QString &address);
    void subscribe(const QString &address, const QString &topic);
    void put(const QString &address, const QString &type, const QVariant &body);
    int requestAsync(const QString &address, const QString &type, const QVariant &body);
    int requestSync(const QString &address, const QString &type, const QVariant &body, QVariant *answer);

    void closeService(Service *service);
    int publish(const QString &topic, const QString &key, const QVariant &body);
    void publishTo(const QString &client, const QString &topic, const QVariant &body);
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body);
    bool hasListeners(const QString &topic, const QString &key) const;
    bool flush(int timeoutMs);

private:
    using ClientPointer = std::shared_ptr<Client>;

    struct Topic
    {
        QVector<Client *> subscribers;
        QHash<QString, QVariant> latest; // by symbol, of topics routed by symbol
    };

    void carryOutSubscribeRequest(const QString &address, const QVariant &body);
    void sendLatest(const Client &client, const QString &topic, const QString &key);
    bool sendToService(const QString &address, const QString &type, const QVariant &body, quint64 id);
    quint64 remember(const QString &address, std::shared_ptr<Waiter> waiter, int timeoutMs);
    bool forget(quint64 id);

    const LxBusOptions m_options;
    LxBusStatistics m_statistics;
    LxDeliveryPool m_pool;

    mutable QMutex m_routing; // guards what follows; held while posting, so that messages keep their order
    QHash<QString, ClientPointer> m_clients;
    QHash<QString, Topic> m_topics;
    QHash<QString, QVector<Client *>> m_interested[4]; // by kind - 1: symbol -> clients
    QHash<QString, Service *> m_services;              // by request type

    QMutex m_pendingMutex; // guards what follows
    std::map<quint64, PendingRequest> m_pending;
    quint64 m_lastRequest = 0;
};

class InprocEndpoint : public LxBusEndpoint
{
public:
    InprocEndpoint(std::shared_ptr<InprocBus> bus, const QString &address)
        : m_bus(std::move(bus)), m_address(address)
    {
    }
    ~InprocEndpoint() override { m_bus->closeClient(m_address); }

    QString address() const override { return m_address; }
    void subscribe(const QString &topic) override { m_bus->subscribe(m_address, topic); }
    void put(const QString &type, const QVariant &body) override { m_bus->put(m_address, type, body); }
    int requestAsync(const QString &type, const QVariant &body) override
    {
        return m_bus->requestAsync(m_address, type, body);
    }
    int requestSync(const QString &type, const QVariant &body, QVariant *answer) override
    {
        return m_bus->requestSync(m_address, type, body, answer);
    }

private:
    const std::shared_ptr<InprocBus> m_bus;
    const QString m_address;
};

class InprocServicePort : public LxBusServicePort
{
public:
    InprocServicePort(std::shared_ptr<InprocBus> bus, std::unique_ptr<Service> service)
        : m_bus(std::move(bus)), m_service(std::move(service))
    {
    }
    ~InprocServicePort() override { m_bus->closeService(m_service.get()); }

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
    bool hasListeners(const QString &topic, const QString &key) const override
    {
        return m_bus->hasListeners(topic, key);
    }
    bool flush(int timeoutMs) override { return m_bus->flush(timeoutMs); }

private:
    const std::shared_ptr<InprocBus> m_bus;
    const std::unique_ptr<Service> m_service;
};

std::unique_ptr<LxBusEndpoint> InprocBus::openEndpoint(const QString &name, LxBusListener *listener)
{
    auto client = std::make_shared<Client>();
    client->mailbox = std::make_shared<LxMailbox>(&m_pool, m_options.queueLimit, [listener](const LxDelivery &d) {
        if (d.kind == LxDelivery::Answer)
            listener->answered(static_cast<int>(d.id), d.source, d.type, d.body);
        else
            listener->published(d.source, d.type, d.body);
    });
    QMutexLocker locker(&m_routing);
    QString address = ownCopy(name);
    for (int n = 2; m_clients.contains(address); ++n)
        address = QStringLiteral("%1#%2").arg(name).arg(n);
    client->address = address;
    m_clients.insert(address, client);
    return std::make_unique<InprocEndpoint>(shared_from_this(), address);
}

void InprocBus::closeClient(const QString &address)
{
    ClientPointer client;
    {
        QMutexLocker locker(&m_routing);
        client = m_clients.take(address);
        for (const QString &topic : std::as_const(client->topics))
            m_topics[topic].subscribers.removeOne(client.get());
        for (size_t kind = 0; kind < std::size(client->interest); ++kind) {
            for (auto it = client->interest[kind].keyBegin(); it != client->interest[kind].keyEnd(); ++it)
                m_interested[kind][*it].removeOne(client.get());
        }
    }
    {
        QMutexLocker locker(&m_pendingMutex);
        for (auto it = m_pending.begin(); it != m_pending.end();) {
            const bool awaitedByIt = !it->second.waiter && it->second.client == address;
            it = awaitedByIt ? m_pending.erase(it) : std::next(it);
        }
    }
    m_statistics.drop(LxBusDrop::ReceiverGone, address, client->mailbox->close());
}

void InprocBus::subscribe(const QString &address, const QString &topic)
{
    QMutexLocker locker(&m_routing);
    const ClientPointer client = m_clients.value(address);
    if (client->topics.contains(topic))
        return;
    const QString ownTopic = ownCopy(topic);
    client->topics.insert(ownTopic);
    m_topics[ownTopic].subscribers.append(client.get());
    if (const int kind = LxBusTopics::routingKind(topic)) {
        const auto &interest = client->interest[kind - 1];
        for (auto it = interest.keyBegin(); it != interest.keyEnd(); ++it)
            sendLatest(*client, ownTopic, *it);
    }
}

void InprocBus::sendLatest(const Client &client, const QString &topic, const QString &key)
{
    const auto known = m_topics.constFind(topic);
    if (known == m_topics.constEnd())
        return;
    const auto latest = known->latest.constFind(key);
    if (latest != known->latest.constEnd())
        client.mailbox->post({ LxDelivery::Published, QString(), topic, *latest, 0 });
}

void InprocBus::put(const QString &address, const QString &type, const QVariant &body)
{
    if (type == LxBusTopics::subscribeRequest)
        carryOutSubscribeRequest(address, body);
    else if (!sendToService(address, type, body, 0))
        m_statistics.drop(LxBusDrop::NoService, type);
}

void InprocBus::carryOutSubscribeRequest(const QString &address, const QVariant &body)
{
    int malformed = 0;
    const QVector<LxSubscription> subscriptions = LxBusTopics::parseSubscribeRequest(body, &malformed);
    m_statistics.drop(LxBusDrop::Malformed, LxBusTopics::subscribeRequest, static_cast<quint64>(malformed));

    QMutexLocker locker(&m_routing);
    const ClientPointer client = m_clients.value(address);
    for (const LxSubscription &subscription : subscriptions) {
        const int kind = static_cast<int>(subscription.kind);
        auto &interest = client->interest[kind - 1];
        const auto count = interest.find(subscription.key);
        if (!subscription.subscribe) {
            // An unsubscription of what was never subscribed changes nothing.
            if (count == interest.end() || --*count > 0)
                continue;
            interest.erase(count);
            m_interested[kind - 1][subscription.key].removeOne(client.get());
        } else if (count != interest.end()) {
            ++*count;
        } else {
            const QString key = ownCopy(subscription.key);
            interest.insert(key, 1);
            m_interested[kind - 1][key].append(client.get());
            for (const QString &topic : std::as_const(client->topics)) {
                if (LxBusTopics::routingKind(topic) == kind)
                    sendLatest(*client, topic, key);
            }
        }
    }
}

bool InprocBus::sendToService(const QString &address, const QString &type, const QVariant &body, quint64 id)
{
    QMutexLocker locker(&m_routing);
    Service *service = m_services.value(type);
    return service && service->mailbox->post({ LxDelivery::Request, address, type, body, id });
}

quint64 InprocBus::remember(const QString &address, std::shared_ptr<Waiter> waiter, int timeoutMs)
{
    QMutexLocker locker(&m_pendingMutex);
    // Asynchronous requests all live equally long, so the first that has not expired ends the search.
    for (auto it = m_pending.begin(); it != m_pending.end() && (it->second.waiter || it->second.deadline.hasExpired());)
        it = it->second.waiter ? std::next(it) : m_pending.erase(it);
    m_pending.emplace(++m_lastRequest, PendingRequest { address, std::move(waiter), QDeadlineTimer(timeoutMs) });
    return m_lastRequest;
}

bool InprocBus::forget(quint64 id)
{
    QMutexLocker locker(&m_pendingMutex);
    return m_pending.erase(id) > 0;
}

int InprocBus::requestAsync(const QString &address, const QString &type, const QVariant &body)
{
    const quint64 id = remember(address, nullptr, AsyncAnswerTimeoutMs);
    if (sendToService(address, type, body, id))
        return LxBusEndpoint::Ok;
    forget(id);
    m_statistics.drop(LxBusDrop::NoService, type);
    return LxBusEndpoint::NoService;
}

int InprocBus::requestSync(const QString &address, const QString &type, const QVariant &body, QVariant *answer)
{
    const auto waiter = std::make_shared<Waiter>();
    const QDeadlineTimer deadline(m_options.requestTimeoutMs);
    const quint64 id = remember(address, waiter, m_options.requestTimeoutMs);
    if (!sendToService(address, type, body, id)) {
        forget(id);
        m_statistics.drop(LxBusDrop::NoService, type);
        return LxBusEndpoint::NoService;
    }
    QMutexLocker locker(&waiter->mutex);
    while (!waiter->done && waiter->answered.wait(&waiter->mutex, deadline)) { }
    if (!waiter->done) {
        locker.unlock();
        if (forget(id))
            return LxBusEndpoint::TimedOut;
        // The answer came at the last moment and is being written.
        locker.relock();
        while (!waiter->done)
            waiter->answered.wait(&waiter->mutex);
    }
    *answer = waiter->answer;
    return LxBusEndpoint::Ok;
}

std::unique_ptr<LxBusServicePort> InprocBus::openService(LxBusService *service)
{
    auto state = std::make_unique<Service>();
    state->types = service->requestTypes();
    state->mailbox = std::make_shared<LxMailbox>(&m_pool, m_options.queueLimit, [service](const LxDelivery &d) {
        service->handle({ d.type, d.body, d.source, d.id });
    });
    QMutexLocker locker(&m_routing);
    for (const QString &type : std::as_const(state->types))
        m_services.insert(ownCopy(type), state.get());
    return std::make_unique<InprocServicePort>(shared_from_this(), std::move(state));
}

void InprocBus::closeService(Service *service)
{
    {
        QMutexLocker locker(&m_routing);
        for (const QString &type : std::as_const(service->types)) {
            if (m_services.value(type) == service)
                m_services.remove(type);
        }
    }
    m_statistics.drop(LxBusDrop::ReceiverGone, service->types.join(QLatin1Char(' ')), service->mailbox->close());
}

int InprocBus::publish(const QString &topic, const QString &key, const QVariant &body)
{
    const int kind = LxBusTopics::routingKind(topic);
    QVarLengthArray<std::shared_ptr<LxMailbox>, 8> full;
    int receivers = 0;
    quint64 dropped = 0;
    {
        QMutexLocker locker(&m_routing);
        const auto send = [&](const Client &client) {
            if (client.mailbox->isStalled()) {
                ++dropped;
                return;
            }
            client.mailbox->post({ LxDelivery::Published, QString(), topic, body, 0 });
            ++receivers;
            if (!client.mailbox->hasRoom())
                full.append(client.mailbox);
        };
        if (kind == 0) {
            const auto known = m_topics.constFind(topic);
            if (known != m_topics.constEnd()) {
                for (const Client *client : known->subscribers)
                    send(*client);
            }
        } else {
            auto known = m_topics.find(topic);
            if (known == m_topics.end())
                known = m_topics.insert(ownCopy(topic), Topic());
            known->latest[key] = body;
            const auto interested = m_interested[kind - 1].constFind(key);
            if (interested != m_interested[kind - 1].constEnd()) {
                for (const Client *client : *interested) {
                    if (client->topics.contains(topic))
                        send(*client);
                }
            }
        }
    }
    m_statistics.drop(LxBusDrop::QueueFull, topic, dropped);
    for (const auto &mailbox : full)
        mailbox->waitForRoom(m_options.publishTimeoutMs);
    return receivers;
}

void InprocBus::publishTo(const QString &client, const QString &topic, const QVariant &body)
{
    bool sent = false;
    {
        QMutexLocker locker(&m_routing);
        const ClientPointer receiver = m_clients.value(client);
        sent = receiver && receiver->topics.contains(topic)
                && receiver->mailbox->post({ LxDelivery::Published, QString(), topic, body, 0 });
    }
    if (!sent)
        m_statistics.drop(LxBusDrop::ReceiverGone, topic);
}

void InprocBus::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    PendingRequest pending;
    {
        QMutexLocker locker(&m_pendingMutex);
        const auto found = m_pending.find(request.id);
        if (found != m_pending.end()) {
            pending = found->second;
            m_pending.erase(found);
        }
    }
    if (pending.waiter) {
        QMutexLocker locker(&pending.waiter->mutex);
        pending.waiter->answer = body;
        pending.waiter->done = true;
        pending.waiter->answered.wakeAll();
        return;
    }
    bool sent = false;
    if (!pending.client.isEmpty()) {
        QMutexLocker locker(&m_routing);
        const ClientPointer receiver = m_clients.value(pending.client);
        sent = receiver && receiver->mailbox->post({ LxDelivery::Answer, QString(), type, body, request.id });
    }
    if (!sent)
        m_statistics.drop(LxBusDrop::LateAnswer, type);
}

bool InprocBus::hasListeners(const QString &topic, const QString &key) const
{
    const int kind = LxBusTopics::routingKind(topic);
    QMutexLocker locker(&m_routing);
    if (kind == 0) {
        const auto known = m_topics.constFind(topic);
        return known != m_topics.constEnd() && !known->subscribers.isEmpty();
    }
    const auto interested = m_interested[kind - 1].constFind(key);
    if (interested == m_interested[kind - 1].constEnd())
        return false;
    return std::any_of(interested->cbegin(), interested->cend(),
                       [&topic](const Client *client) { return client->topics.contains(topic); });
}

bool InprocBus::flush(int timeoutMs)
{
    QVector<std::shared_ptr<LxMailbox>> mailboxes;
    {
        QMutexLocker locker(&m_routing);
        for (const ClientPointer &client : std::as_const(m_clients))
            mailboxes.append(client->mailbox);
    }
    const QDeadlineTimer deadline(timeoutMs);
    bool delivered = true;
    for (const auto &mailbox : std::as_const(mailboxes))
        delivered &= mailbox->waitUntilDelivered(static_cast<int>(deadline.remainingTime()));
    return delivered;
}

} // namespace

std::shared_ptr<LxBusTransport> createInprocBus(const LxBusOptions &options)
{
    return std::make_shared<InprocBus>(options);
}
