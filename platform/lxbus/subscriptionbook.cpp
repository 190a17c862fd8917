#include "subscriptionbook_p.h"

#include "requesttable_p.h"

void LxReception::add(const std::shared_ptr<LxMailbox> &mailbox, LxMailbox::Fate fate)
{
    switch (fate) {
    case LxMailbox::Fate::QueuedAndFull:
        full.append(mailbox);
        Q_FALLTHROUGH();
    case LxMailbox::Fate::Queued:
        ++taken;
        break;
    case LxMailbox::Fate::Conflated:
        ++taken;
        ++conflated;
        break;
    case LxMailbox::Fate::Refused:
        ++refused;
        break;
    case LxMailbox::Fate::Closed:
        ++gone;
        break;
    }
}

template<typename Function>
void LxSubscriptionBook::forEachTopicOf(LxBusClient *client, int kind, Function function)
{
    for (const QString &topic : std::as_const(client->topics)) {
        if (LxBusTopics::routingKind(topic) == kind)
            function(topic);
    }
}

void LxSubscriptionBook::subscribe(LxBusClient *client, const QString &topic)
{
    QMutexLocker locker(&m_mutex);
    if (client->topics.contains(topic))
        return;
    const QString ownTopic = lxOwnCopy(topic);
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

void LxSubscriptionBook::change(LxBusClient *client, const QVector<LxSubscription> &subscriptions)
{
    QMutexLocker locker(&m_mutex);
    for (const LxSubscription &subscription : subscriptions) {
        const int kind = static_cast<int>(subscription.kind);
        auto &interest = client->interest[kind - 1];
        const auto count = interest.find(subscription.key);
        if (!subscription.subscribe) {
            // An unsubscription without a subscription changes nothing.
            if (count == interest.end() || --*count > 0)
                continue;
            interest.erase(count);
            forEachTopicOf(client, kind, [&](const QString &topic) { removeReader(client, topic, subscription.key); });
        } else if (count != interest.end()) {
            ++*count;
        } else {
            const QString key = lxOwnCopy(subscription.key);
            interest.insert(key, 1);
            forEachTopicOf(client, kind, [&](const QString &topic) { addReader(client, topic, key); });
        }
    }
}

void LxSubscriptionBook::remove(LxBusClient *client)
{
    QMutexLocker locker(&m_mutex);
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
    client->topics.clear();
}

QHash<LxSubscriptionBook::RouteKey, LxSubscriptionBook::Route>::iterator
LxSubscriptionBook::route(const QString &topic, const QString &key, int kind)
{
    const auto known = m_routes.find({ topic, key });
    if (known != m_routes.end())
        return known;
    const bool conflatable =
        kind == static_cast<int>(LxRecordKind::Quote) || kind == static_cast<int>(LxRecordKind::Ranking);
    const quint64 number = ++m_lastRoute;
    return m_routes.insert({ lxOwnCopy(topic), lxOwnCopy(key) }, { number, conflatable ? number : 0, {}, {} });
}

void LxSubscriptionBook::addReader(LxBusClient *client, const QString &topic, const QString &key)
{
    const auto route = this->route(topic, key, LxBusTopics::routingKind(topic));
    route->readers.append(client);
    if (route->readers.size() == 1)
        m_link->openRoute(route->number, route.key().first, route.key().second);
    if (route->latest) {
        client->mailbox->offer({ LxDelivery::Published, route.key().first, *route->latest, 0 }, route->conflationKey,
                               LxMailbox::CannotWait);
    }
}

void LxSubscriptionBook::removeReader(LxBusClient *client, const QString &topic, const QString &key)
{
    const auto route = m_routes.find({ topic, key });
    route->readers.removeOne(client);
    if (!route->readers.isEmpty())
        return;
    m_link->closeRoute(route->number);
    if (!m_isLocal || !route->latest) // only a local link still updates the latest record without readers
        m_routes.erase(route);
}

LxReception LxSubscriptionBook::distribute(quint64 number, const QString &topic, const QString &key,
                                           const QVariant &body)
{
    const int kind = LxBusTopics::routingKind(topic);
    LxReception reception;
    QMutexLocker locker(&m_mutex);
    auto route = m_routes.find({ topic, kind == 0 ? QString() : key });
    if (route == m_routes.end()) {
        if (kind == 0 || !m_isLocal)
            return reception;
        route = this->route(topic, key, kind);
    }
    if (number != 0 && number != route->number)
        return reception;
    if (kind != 0)
        route->latest = body;
    for (const LxBusClient *reader : std::as_const(route->readers)) {
        reception.add(
            reader->mailbox,
            reader->mailbox->offer({ LxDelivery::Published, route.key().first, body, 0 }, route->conflationKey));
    }
    return reception;
}

LxReception LxSubscriptionBook::deliver(const LxBusClient &client, const QString &topic, const QVariant &body)
{
    LxReception reception;
    QMutexLocker locker(&m_mutex);
    const auto subscribed = client.topics.constFind(topic);
    const auto fate = subscribed == client.topics.constEnd()
        ? LxMailbox::Fate::Closed
        : client.mailbox->offer({ LxDelivery::Published, *subscribed, body, 0 });
    reception.add(client.mailbox, fate);
    return reception;
}

bool LxSubscriptionBook::hasReaders(const QString &topic, const QString &key) const
{
    const bool routed = LxBusTopics::routingKind(topic) != 0;
    QMutexLocker locker(&m_mutex);
    const auto route = m_routes.constFind({ topic, routed ? key : QString() });
    return route != m_routes.constEnd() && !route->readers.isEmpty();
}
