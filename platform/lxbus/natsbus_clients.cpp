#include "natsbus_p.h"

#include "bustopics.h"
#include "natssubjects.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace LxNats {

namespace {

class Endpoint : public LxBusEndpoint
{
public:
    Endpoint(std::shared_ptr<Bus> bus, std::shared_ptr<Client> client)
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
    const std::shared_ptr<Bus> m_bus;
    const std::shared_ptr<Client> m_client;
};

} // namespace

std::unique_ptr<LxBusEndpoint> Bus::openEndpoint(const QString &name, LxBusListener *listener)
{
    const auto client = std::make_shared<Client>();
    client->address = uniqueAddress(name);
    client->subject = LxNatsSubjects::client(client->address);
    const auto receive = [listener](const LxDelivery &d) {
        if (d.kind == LxDelivery::Answer)
            listener->answered(static_cast<int>(d.id), d.source, d.type, d.body);
        else
            listener->published(d.source, d.type, d.body);
    };
    client->mailbox = std::make_shared<LxMailbox>(m_pool.get(), m_options.pendingLimit, receive,
                                                  [this](bool slow) { noteSlow(slow); });
    {
        QMutexLocker locker(&m_routing);
        m_mailboxes.append(client->mailbox);
    }
    const std::weak_ptr<Client> weak = client;
    client->own = m_nats->subscribe(client->subject + ".>", nullptr, [this, weak](const LxNatsMessage &message) {
        if (const std::shared_ptr<Client> known = weak.lock())
            receiveOwn(known.get(), message);
    });
    return std::make_unique<Endpoint>(shared_from_this(), client);
}

void Bus::closeClient(Client *client)
{
    {
        QMutexLocker locker(&m_routing);
        for (const QString &topic : std::as_const(client->topics)) {
            const int kind = LxBusTopics::routingKind(topic);
            if (kind == 0) {
                removeReader(client, topic, QString());
                continue;
            }
            const auto &interest = client->interest[kind - 1];
            for (auto it = interest.keyBegin(); it != interest.keyEnd(); ++it)
                removeReader(client, topic, *it);
        }
        client->own = LxNatsSubscription();
        m_mailboxes.removeOne(client->mailbox);
    }
    closeMailbox(client->mailbox.get());
}

void Bus::subscribe(Client *client, const QString &topic)
{
    QMutexLocker locker(&m_routing);
    if (client->topics.contains(topic))
        return;
    const QString ownTopic = ownCopy(topic);
    client->topics.insert(ownTopic);
    const int kind = LxBusTopics::routingKind(topic);
    if (kind == 0) {
        addReader(client, ownTopic, QString());
        return;
    }
    const auto &interest = client->interest[kind - 1];
    for (auto it = interest.keyBegin(); it != interest.keyEnd(); ++it)
        addReader(client, ownTopic, *it);
}

void Bus::carryOutSubscribeRequest(Client *client, const QVariant &body)
{
    int malformed = 0;
    const QVector<LxSubscription> subscriptions = LxBusTopics::parseSubscribeRequest(body, &malformed);
    m_statistics.drop(LxBusDrop::Malformed, LxBusTopics::subscribeRequest, static_cast<quint64>(malformed));

    for (const LxSubscription &subscription : subscriptions) {
        const int kind = static_cast<int>(subscription.kind);
        auto &interest = client->interest[kind - 1];
        const auto count = interest.find(subscription.key);
        const auto forEachTopic = [&](auto change) {
            for (const QString &topic : std::as_const(client->topics)) {
                if (LxBusTopics::routingKind(topic) == kind)
                    change(topic);
            }
        };
        if (!subscription.subscribe) {
            // An unsubscription of what was never subscribed changes nothing.
            if (count == interest.end() || --*count > 0)
                continue;
            interest.erase(count);
            forEachTopic([&](const QString &topic) { removeReader(client, topic, subscription.key); });
        } else if (count != interest.end()) {
            ++*count;
        } else {
            interest.insert(ownCopy(subscription.key), 1);
            forEachTopic([&](const QString &topic) { addReader(client, topic, subscription.key); });
        }
    }
}

void Bus::addReader(Client *client, const QString &topic, const QString &key)
{
    const QByteArray path = LxNatsSubjects::path(topic, key);
    std::shared_ptr<Route> &route = m_routes[path];
    if (!route) {
        route = std::make_shared<Route>();
        route->number = ++m_lastRoute;
        route->topic = topic;
        route->path = path;
        route->kind = LxBusTopics::routingKind(topic);
        const std::weak_ptr<Route> weak = route;
        route->subscription = m_nats->subscribe(LxNatsSubjects::record(path), nullptr,
                                                [this, weak](const LxNatsMessage &message) {
                                                    if (const std::shared_ptr<Route> known = weak.lock())
                                                        receiveRecord(known.get(), message);
                                                });
    }
    route->readers.push_back({ client });
    askForLatest(*client, *route);
}

void Bus::removeReader(Client *client, const QString &topic, const QString &key)
{
    const auto route = m_routes.find(LxNatsSubjects::path(topic, key));
    auto &readers = (*route)->readers;
    readers.erase(std::find_if(readers.begin(), readers.end(),
                               [client](const Route::Reader &reader) { return reader.client == client; }));
    if (readers.empty())
        m_routes.erase(route);
}

void Bus::askForLatest(const Client &client, const Route &route)
{
    if (route.kind != 0) {
        m_nats->publishRequest(LxNatsSubjects::recap(route.path),
                               client.subject + LxNatsSubjects::Own::recap + route.path, QByteArray());
    }
}

void Bus::deliver(const Route &route, Route::Reader *reader, const LxWireMessage &record)
{
    // Numbers of one run of a publisher have no gaps.
    if (route.kind != 0 && record.epoch == reader->epoch)
        m_statistics.drop(LxBusDrop::LostOnTheWay, route.topic, record.sequence - reader->sequence - 1);
    reader->epoch = record.epoch;
    reader->sequence = record.sequence;
    const bool conflatable = route.kind == static_cast<int>(LxRecordKind::Quote)
            || route.kind == static_cast<int>(LxRecordKind::Ranking);
    offer(reader->client->mailbox.get(), { LxDelivery::Published, QString(), route.topic, record.body, 0 },
          conflatable ? route.number : 0);
}

void Bus::receiveRecord(Route *route, const LxNatsMessage &message)
{
    LxWireMessage record;
    if (!read(message, route->topic, &record))
        return;
    QMutexLocker locker(&m_routing);
    for (Route::Reader &reader : route->readers) {
        const bool known = route->kind != 0 && record.epoch == reader.epoch && record.sequence <= reader.sequence;
        if (!known)
            deliver(*route, &reader, record);
    }
}

void Bus::receiveRecap(Client *client, const QByteArray &path, const LxNatsMessage &message)
{
    if (message.isNoResponders())
        return; // nobody publishes most symbols on most topics
    LxWireMessage record;
    if (!read(message, QStringLiteral("recap"), &record))
        return;
    QMutexLocker locker(&m_routing);
    const auto found = m_routes.constFind(path);
    if (found == m_routes.constEnd())
        return;
    const std::shared_ptr<Route> route = *found;
    for (Route::Reader &reader : route->readers) {
        const bool newer = std::tie(record.epoch, record.sequence) > std::tie(reader.epoch, reader.sequence);
        if (reader.client == client && newer)
            deliver(*route, &reader, record);
    }
}

void Bus::receiveOwn(Client *client, const LxNatsMessage &message)
{
    namespace Own = LxNatsSubjects::Own;
    const QByteArray subject = message.subject();
    const QByteArray rest = subject.mid(client->subject.size());
    const auto behind = [&rest](const char *prefix, QByteArray *end) {
        const bool matches = rest.startsWith(prefix);
        *end = matches ? rest.mid(static_cast<int>(std::strlen(prefix))) : QByteArray();
        return matches;
    };
    QByteArray end;
    if (behind(Own::recap, &end)) {
        receiveRecap(client, end, message);
    } else if (behind(Own::answer, &end)) {
        receiveAnswer(client, end.toULongLong(), message);
    } else if (behind(Own::nothingAwaited, &end)) {
        const LxBusDrop reason = message.isNoResponders() ? LxBusDrop::NoService : LxBusDrop::LateAnswer;
        m_statistics.drop(reason, QString::fromUtf8(end));
    } else if (rest == Own::message) {
        LxWireMessage published;
        if (!read(message, QStringLiteral("message"), &published))
            return;
        QMutexLocker locker(&m_routing);
        const auto subscribed = client->topics.constFind(published.type);
        if (subscribed != client->topics.constEnd())
            offer(client->mailbox.get(), { LxDelivery::Published, QString(), *subscribed, published.body, 0 }, 0);
        else
            m_statistics.drop(LxBusDrop::ReceiverGone, published.type);
    } else {
        m_statistics.drop(LxBusDrop::Malformed, QStringLiteral("message"));
    }
}

void Bus::receiveAnswer(Client *client, quint64 number, const LxNatsMessage &message)
{
    QString requestType;
    bool awaited = false;
    {
        QMutexLocker locker(&m_pending);
        awaited = m_awaited.take(number, &requestType);
    }
    LxWireMessage answer;
    if (message.isNoResponders())
        m_statistics.drop(LxBusDrop::NoService, requestType);
    else if (!awaited)
        m_statistics.drop(LxBusDrop::LateAnswer, QStringLiteral("answer"));
    else if (read(message, QStringLiteral("answer"), &answer))
        offer(client->mailbox.get(), { LxDelivery::Answer, QString(), answer.type, answer.body, number }, 0);
}

void Bus::put(Client *client, const QString &type, const QVariant &body)
{
    if (type == LxBusTopics::subscribeRequest) {
        QMutexLocker locker(&m_routing);
        carryOutSubscribeRequest(client, body);
        return;
    }
    const QByteArray bytes = write(type, client->address, body);
    const QByteArray reply = client->subject + LxNatsSubjects::Own::nothingAwaited + LxNatsSubjects::part(type);
    if (!bytes.isEmpty())
        send(type, m_nats->publishRequest(LxNatsSubjects::request(type), reply, bytes));
}

int Bus::requestAsync(const Client &client, const QString &type, const QVariant &body)
{
    const QByteArray bytes = write(type, client.address, body);
    if (bytes.isEmpty())
        return LxBusEndpoint::NotSent;
    quint64 number = 0;
    {
        QMutexLocker locker(&m_pending);
        number = m_awaited.add(ownCopy(type));
    }
    const QByteArray reply = client.subject + LxNatsSubjects::Own::answer + QByteArray::number(number);
    if (send(type, m_nats->publishRequest(LxNatsSubjects::request(type), reply, bytes)))
        return LxBusEndpoint::Ok;
    QMutexLocker locker(&m_pending);
    QString forgotten;
    m_awaited.take(number, &forgotten);
    return LxBusEndpoint::NotSent;
}

int Bus::requestSync(const Client &client, const QString &type, const QVariant &body, QVariant *answer)
{
    const QByteArray bytes = write(type, client.address, body);
    if (bytes.isEmpty())
        return LxBusEndpoint::NotSent;
    std::unique_ptr<LxNatsMessage> message;
    switch (m_nats->request(LxNatsSubjects::request(type), bytes, m_options.requestTimeoutMs, &message)) {
    case NATS_OK:
        break;
    case NATS_TIMEOUT:
        return LxBusEndpoint::TimedOut;
    case NATS_NO_RESPONDERS:
        m_statistics.drop(LxBusDrop::NoService, type);
        return LxBusEndpoint::NoService;
    case NATS_CONNECTION_CLOSED:
        return LxBusEndpoint::Closed;
    default:
        m_statistics.drop(LxBusDrop::NotSent, type);
        return LxBusEndpoint::NotSent;
    }
    LxWireReader reader; // the one of the receiving thread is that thread's
    LxWireMessage read;
    QString error;
    if (!reader.read(message->bytes(), message->size(), &read, &error)) {
        m_statistics.drop(LxBusDrop::Malformed, QStringLiteral("answer"));
        return LxBusEndpoint::Closed;
    }
    *answer = read.body;
    return LxBusEndpoint::Ok;
}

} // namespace LxNats
