#pragma once

#include "bustopics.h"
#include "links/link_p.h"
#include "mailbox_p.h"

#include <QHash>
#include <QMutex>
#include <QSet>
#include <QVarLengthArray>

#include <memory>
#include <optional>

/// What became of one message at its receivers: how many mailboxes returned which LxMailbox::Fate.
struct LxReception
{
    int taken = 0; ///< queued or conflated
    quint64 conflated = 0;
    quint64 refused = 0;
    quint64 gone = 0; ///< closed
    QVarLengthArray<std::shared_ptr<LxMailbox>, 8> full; ///< call waitForRoom() of these, without holding a lock

    void add(const std::shared_ptr<LxMailbox> &mailbox, LxMailbox::Fate fate);
};

/// A client of the bus.
struct LxBusClient
{
    QString address;
    std::shared_ptr<LxMailbox> mailbox;

    // Guarded by the subscription book's lock:
    QSet<QString> topics;
    QHash<QString, int> interest[4]; ///< by record kind - 1: number of subscriptions of each symbol
};

/// Records which client reads which topics and symbols, and the latest record of each. Any thread.
///
/// A client reads a symbol of a topic that is routed by symbol if it has subscribed both to the topic and, by a
/// "SubscribeRequest", to the symbol. The book opens the link's route of a topic and symbol for the first reader, and
/// closes it when the last one leaves. A new reader receives the latest record first.
class LxSubscriptionBook
{
public:
    explicit LxSubscriptionBook(LxLink *link) : m_link(link), m_isLocal(link->isLocal()) { }

    void subscribe(LxBusClient *client, const QString &topic);
    void change(LxBusClient *client, const QVector<LxSubscription> &subscriptions);
    /// Ends all subscriptions of a client that leaves the bus.
    void remove(LxBusClient *client);

    /// Queues a record for its readers, unless it arrived by a `route` that has been closed; 0: by any route.
    LxReception distribute(quint64 route, const QString &topic, const QString &key, const QVariant &body);
    /// Queues a message for one client if it has subscribed to `topic`.
    LxReception deliver(const LxBusClient &client, const QString &topic, const QVariant &body);
    bool hasReaders(const QString &topic, const QString &key) const;

private:
    using RouteKey = QPair<QString, QString>; // topic and symbol

    struct Route
    {
        quint64 number;
        quint64 conflationKey; // 0: records of this route do not replace each other
        std::optional<QVariant> latest;
        QVector<LxBusClient *> readers;
    };

    // All under m_mutex:
    QHash<RouteKey, Route>::iterator route(const QString &topic, const QString &key, int kind);
    void addReader(LxBusClient *client, const QString &topic, const QString &key);
    void removeReader(LxBusClient *client, const QString &topic, const QString &key);
    template<typename Function>
    void forEachTopicOf(LxBusClient *client, int kind, Function function);

    LxLink *const m_link;
    const bool m_isLocal;

    mutable QMutex m_mutex; // guards what follows; held while queuing, so that records keep their order
    QHash<RouteKey, Route> m_routes;
    quint64 m_lastRoute = 0;
};
