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
    int result = LxBusEndpoint::Ok;
    QVariant answer;

    void finish(int how, const QVariant &body)
    {
        QMutexLocker locker(&mutex);
        result = how;
        answer = body;
        done = true;
        answered.wakeAll();
    }
};

struct PendingRequest
{
    std::weak_ptr<LxMailbox> client;
    const LxMailbox *service = nullptr;
    std::shared_ptr<Waiter> waiter; // null: asynchronous
    QDeadlineTimer deadline;
};

class InprocBus : public LxBusTransport, public std::enable_shared_from_this<InprocBus>
{
public:
    explicit InprocBus(const LxBusOptions &options)
        : m_options(options), m_pool(std::make_unique<LxDeliveryPool>(options.threads))
    {
    }
    ~InprocBus() override;

    std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) override;
    std::unique_ptr<LxBusServicePort> openService(LxBusService *service) override;
    const LxBusStatistics &statistics() const override { return m_statistics; }
    LxBusConnection &connection() override { return m_connection; }

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

    void loseInterest(Client &client, size_t kind, const QString &key);
    void carryOutSubscribeRequest(const QString &address, const QVariant &body);
    void sendLatest(const Client &client, const QString &topic, const QString &key);
    int sendToService(const QString &address, const QString &type, const QVariant &body, PendingRequest *pending,
                      quint64 *id);
    quint64 remember(PendingRequest pending);
    bool forget(quint64 id);
    void closeMailbox(LxMailbox *mailbox);

    const LxBusOptions m_options;
    LxBusStatistics m_statistics;
    LxBusConnection m_connection;
    std::unique_ptr<LxDeliveryPool> m_pool;

    mutable QMutex m_routing; // guards what follows; held while posting, so that messages keep their order
    QHash<QString, ClientPointer> m_clients;
    QHash<QString, Topic> m_topics;
    QHash<QString, QVector<Client *>> m_interested[4]; // by kind - 1: symbol -> clients
    QHash<QString, Service *> m_services;              // by request type
    int m_lastNumber = 1;                              // put behind a name that is taken

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

InprocBus::~InprocBus()
{
    LxDeliveryPool::destroy(std::move(m_pool)); // the last endpoint may be destroyed by its own callback
}

std::unique_ptr<LxBusEndpoint> InprocBus::openEndpoint(const QString &name, LxBusListener *listener)
{
    auto client = std::make_shared<Client>();
    client->mailbox = std::make_shared<LxMailbox>(m_pool.get(), m_options.queueLimit, [listener](const LxDelivery &d) {
        if (d.kind == LxDelivery::Answer)
            listener->answered(static_cast<int>(d.id), d.source, d.type, d.body);
        else
            listener->published(d.source, d.type, d.body);
    });
    QMutexLocker locker(&m_routing);
    QString address = ownCopy(name);
    while (m_clients.contains(address))
        address = name + QLatin1Char('#') + QString::number(++m_lastNumber);
    client->address = address;
    m_clients.insert(address, client);
    return std::make_unique<InprocEndpoint>(shared_from_this(), address);
}

void InprocBus::closeMailbox(LxMailbox *mailbox)
{
    const std::vector<LxDelivery> left = mailbox->close();
    for (const LxDelivery &delivery : left)
        m_statistics.drop(LxBusDrop::ReceiverGone, delivery.type);
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
                loseInterest(*client, kind, *it);
        }
    }
    closeMailbox(client->mailbox.get());
}

void InprocBus::loseInterest(Client &client, size_t kind, const QString &key)
{
    const auto interested = m_interested[kind].find(key);
    interested->removeOne(&client);
    if (interested->isEmpty())
        m_interested[kind].erase(interested);
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
        client.mailbox->post({ LxDelivery::Published, QString(), known.key(), *latest, 0 });
}

void InprocBus::put(const QString &address, const QString &type, const QVariant &body)
{
    if (type == LxBusTopics::subscribeRequest)
        carryOutSubscribeRequest(address, body);
    else
        sendToService(address, type, body, nullptr, nullptr);
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
            loseInterest(*client, static_cast<size_t>(kind - 1), subscription.key);
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

// Sends a request. If `pending` is given an answer is awaited, and `id` becomes the request's number.
int InprocBus::sendToService(const QString &address, const QString &type, const QVariant &body, PendingRequest *pending,
                             quint64 *id)
{
    std::shared_ptr<LxMailbox> mailbox;
    LxMailbox::Outcome outcome = LxMailbox::Closed;
    quint64 number = 0;
    {
        QMutexLocker locker(&m_routing);
        if (const Service *service = m_services.value(type)) {
            mailbox = service->mailbox;
            if (pending) {
                pending->client = m_clients.value(address)->mailbox;
                pending->service = mailbox.get();
                number = remember(*pending);
                *id = number;
            }
            outcome = mailbox->offer({ LxDelivery::Request, address, ownCopy(type), body, number });
        }
    }
    switch (outcome) {
    case LxMailbox::Taken:
        return LxBusEndpoint::Ok;
    case LxMailbox::TakenAndFull:
        mailbox->waitForRoom(QDeadlineTimer(m_options.publishTimeoutMs));
        return LxBusEndpoint::Ok;
    case LxMailbox::Stalled:
        forget(number);
        m_statistics.drop(LxBusDrop::QueueFull, type);
        return LxBusEndpoint::QueueFull;
    case LxMailbox::Closed:
        break;
    }
    m_statistics.drop(LxBusDrop::NoService, type);
    return LxBusEndpoint::NoService;
}

quint64 InprocBus::remember(PendingRequest pending)
{
    QMutexLocker locker(&m_pendingMutex);
    // Asynchronous requests all live equally long, so the first that has not expired ends the search.
    for (auto it = m_pending.begin(); it != m_pending.end() && (it->second.waiter || it->second.deadline.hasExpired());)
        it = it->second.waiter ? std::next(it) : m_pending.erase(it);
    m_pending.emplace(++m_lastRequest, std::move(pending));
    return m_lastRequest;
}

bool InprocBus::forget(quint64 id)
{
    QMutexLocker locker(&m_pendingMutex);
    return m_pending.erase(id) > 0;
}

int InprocBus::requestAsync(const QString &address, const QString &type, const QVariant &body)
{
    PendingRequest pending;
    pending.deadline = QDeadlineTimer(AsyncAnswerTimeoutMs);
    quint64 id = 0;
    return sendToService(address, type, body, &pending, &id);
}

int InprocBus::requestSync(const QString &address, const QString &type, const QVariant &body, QVariant *answer)
{
    const auto waiter = std::make_shared<Waiter>();
    PendingRequest pending;
    pending.waiter = waiter;
    pending.deadline = QDeadlineTimer(m_options.requestTimeoutMs);
    quint64 id = 0;
    const int sent = sendToService(address, type, body, &pending, &id);
    if (sent != LxBusEndpoint::Ok)
        return sent;
    QMutexLocker locker(&waiter->mutex);
    while (!waiter->done && waiter->answered.wait(&waiter->mutex, pending.deadline)) { }
    if (!waiter->done) {
        locker.unlock();
        if (forget(id))
            return LxBusEndpoint::TimedOut;
        // The answer came at the last moment and is being written.
        locker.relock();
        while (!waiter->done)
            waiter->answered.wait(&waiter->mutex);
    }
    if (waiter->result == LxBusEndpoint::Ok)
        *answer = waiter->answer;
    return waiter->result;
}

std::unique_ptr<LxBusServicePort> InprocBus::openService(LxBusService *service)
{
    auto state = std::make_unique<Service>();
    state->types = service->requestTypes();
    state->mailbox = std::make_shared<LxMailbox>(m_pool.get(), m_options.queueLimit, [service](const LxDelivery &d) {
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
    closeMailbox(service->mailbox.get());

    // Nobody is left to answer: those who wait need not wait for their time-out.
    QMutexLocker locker(&m_pendingMutex);
    for (auto it = m_pending.begin(); it != m_pending.end();) {
        const bool lost = it->second.service == service->mailbox.get();
        if (lost && it->second.waiter)
            it->second.waiter->finish(LxBusEndpoint::Closed, QVariant());
        it = lost ? m_pending.erase(it) : std::next(it);
    }
}

int InprocBus::publish(const QString &topic, const QString &key, const QVariant &body)
{
    const int kind = LxBusTopics::routingKind(topic);
    QVarLengthArray<std::shared_ptr<LxMailbox>, 8> full;
    int receivers = 0;
    quint64 dropped = 0;
    QVariant replaced = body; // destroyed outside the lock
    {
        QMutexLocker locker(&m_routing);
        auto known = m_topics.find(topic);
        if (kind != 0) {
            if (known == m_topics.end())
                known = m_topics.insert(ownCopy(topic), Topic());
            const auto latest = known->latest.find(key);
            if (latest == known->latest.end())
                known->latest.insert(ownCopy(key), body);
            else
                latest->swap(replaced);
        }
        const auto send = [&](const Client *client) {
            switch (client->mailbox->offer({ LxDelivery::Published, QString(), known.key(), body, 0 })) {
            case LxMailbox::TakenAndFull:
                full.append(client->mailbox);
                Q_FALLTHROUGH();
            case LxMailbox::Taken:
                ++receivers;
                break;
            case LxMailbox::Stalled:
            case LxMailbox::Closed:
                ++dropped;
            }
        };
        if (kind != 0) {
            const auto interested = m_interested[kind - 1].constFind(key);
            if (interested != m_interested[kind - 1].constEnd()) {
                for (const Client *client : *interested) {
                    if (client->topics.contains(topic))
                        send(client);
                }
            }
        } else if (known != m_topics.end()) {
            for (const Client *client : std::as_const(known->subscribers))
                send(client);
        }
    }
    m_statistics.drop(LxBusDrop::QueueFull, topic, dropped);
    if (!full.isEmpty()) {
        const QDeadlineTimer deadline(m_options.publishTimeoutMs); // one for all
        for (const auto &mailbox : full)
            mailbox->waitForRoom(deadline);
    }
    return receivers;
}

void InprocBus::publishTo(const QString &client, const QString &topic, const QVariant &body)
{
    std::shared_ptr<LxMailbox> mailbox;
    LxMailbox::Outcome outcome = LxMailbox::Closed;
    {
        QMutexLocker locker(&m_routing);
        if (const ClientPointer receiver = m_clients.value(client)) {
            const auto subscribed = receiver->topics.constFind(topic);
            if (subscribed != receiver->topics.constEnd()) {
                mailbox = receiver->mailbox;
                outcome = mailbox->offer({ LxDelivery::Published, QString(), *subscribed, body, 0 });
            }
        }
    }
    switch (outcome) {
    case LxMailbox::Taken:
        break;
    case LxMailbox::TakenAndFull:
        mailbox->waitForRoom(QDeadlineTimer(m_options.publishTimeoutMs));
        break;
    case LxMailbox::Stalled:
        m_statistics.drop(LxBusDrop::QueueFull, topic);
        break;
    case LxMailbox::Closed:
        m_statistics.drop(LxBusDrop::ReceiverGone, topic);
        break;
    }
}

void InprocBus::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    PendingRequest pending;
    {
        QMutexLocker locker(&m_pendingMutex);
        const auto found = m_pending.find(request.id);
        if (found == m_pending.end()) {
            locker.unlock();
            m_statistics.drop(LxBusDrop::LateAnswer, type);
            return;
        }
        pending = std::move(found->second);
        m_pending.erase(found);
    }
    if (pending.waiter) {
        pending.waiter->finish(LxBusEndpoint::Ok, body);
        return;
    }
    const std::shared_ptr<LxMailbox> client = pending.client.lock();
    if (!client || !client->post({ LxDelivery::Answer, QString(), ownCopy(type), body, request.id }))
        m_statistics.drop(LxBusDrop::ReceiverGone, type);
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
        delivered &= mailbox->waitUntilDelivered(deadline);
    return delivered;
}

} // namespace

std::shared_ptr<LxBusTransport> createInprocBus(const LxBusOptions &options)
{
    return std::make_shared<InprocBus>(options);
}
