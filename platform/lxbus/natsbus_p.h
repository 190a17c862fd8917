#pragma once

#include "bus.h"
#include "deliverypool.h"
#include "natsconnection.h"
#include "natspublisher.h"
#include "wireformat.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QMutex>
#include <QSet>
#include <QWaitCondition>

#include <map>
#include <memory>
#include <vector>

/// The parts of the bus through a NATS broker.
namespace LxNats {

/// Texts may be literals in the memory of a library that is unloaded before the bus ends; what the bus keeps, it
/// copies.
inline QString ownCopy(const QString &text)
{
    return QString(text.constData(), text.size());
}

/// `name`, made unique on the whole network.
QString uniqueAddress(const QString &name);

struct Client
{
    QString address;
    QByteArray subject; ///< what its own subjects begin with
    std::shared_ptr<LxMailbox> mailbox;
    QSet<QString> topics; // this and what follows: guarded by the bus's m_routing
    QHash<QString, int> interest[4]; ///< by kind - 1: symbol -> how often asked for
    LxNatsSubscription own;
};

/// A subject that is read for clients of this process.
struct Route
{
    struct Reader
    {
        Client *client;
        // Of the record that it got last.
        quint64 epoch = 0;
        quint64 sequence = 0;
    };

    quint64 number = 0; ///< never 0
    QString topic;
    QByteArray path;
    int kind = 0;
    std::vector<Reader> readers; // guarded by the bus's m_routing
    LxNatsSubscription subscription;
};

struct Service
{
    QStringList types;
    std::shared_ptr<LxMailbox> mailbox;
    std::vector<LxNatsSubscription> subscriptions;
};

/// Values by number, which expire.
template<typename Value>
class Expiring
{
public:
    explicit Expiring(int lifetimeMs) : m_lifetimeMs(lifetimeMs) { }

    quint64 add(Value value)
    {
        // All live equally long, so the first that has not expired ends the search.
        while (!m_entries.empty() && m_entries.begin()->second.second.hasExpired())
            m_entries.erase(m_entries.begin());
        m_entries.emplace(++m_last, std::make_pair(std::move(value), QDeadlineTimer(m_lifetimeMs)));
        return m_last;
    }

    bool take(quint64 number, Value *value)
    {
        const auto found = m_entries.find(number);
        if (found == m_entries.end())
            return false;
        *value = std::move(found->second.first);
        m_entries.erase(found);
        return true;
    }

private:
    const int m_lifetimeMs;
    std::map<quint64, std::pair<Value, QDeadlineTimer>> m_entries;
    quint64 m_last = 0;
};

/// The bus through a broker: natsbus.cpp has the connection and the services' side, natsbus_clients.cpp the clients'.
///
/// What comes from the broker is handled on one thread (the "receiving thread"), which decodes it and puts it into the
/// mailboxes of those whom it concerns.
class Bus : public LxBusTransport, public std::enable_shared_from_this<Bus>, private LxNatsObserver
{
public:
    explicit Bus(const LxBusOptions &options);
    ~Bus();

    bool connect(const QString &url, QString *error);
    /// Closes the connection, for good.
    void disconnect() { m_nats->close(); }

    std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) override;
    std::unique_ptr<LxBusServicePort> openService(LxBusService *service) override;
    const LxBusStatistics &statistics() const override { return m_statistics; }
    LxBusConnection &connection() override { return m_state; }

    void closeClient(Client *client);
    void subscribe(Client *client, const QString &topic);
    void put(Client *client, const QString &type, const QVariant &body);
    int requestAsync(const Client &client, const QString &type, const QVariant &body);
    int requestSync(const Client &client, const QString &type, const QVariant &body, QVariant *answer);

    void closeService(Service *service);
    int publish(const QString &topic, const QString &key, const QVariant &body);
    void publishTo(const QString &client, const QString &topic, const QVariant &body);
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body);
    bool flush(int timeoutMs);

private:
    void connectionLost(const QString &reason) override;
    void connectionRestored() override;
    void connectionClosed(const QString &reason) override;
    void connectionRefused(const QString &reason) override;
    void handlerFellBehind(const QString &subject) override;
    void noteSlow(bool slow);
    void showState();

    bool read(const LxNatsMessage &message, const QString &what, LxWireMessage *result); // receiving thread
    QByteArray write(const QString &type, const QString &client, const QVariant &body);
    bool send(const QString &type, bool sent);
    void offer(LxMailbox *mailbox, LxDelivery delivery, quint64 conflationKey);
    void closeMailbox(LxMailbox *mailbox);

    // Under m_routing:
    void carryOutSubscribeRequest(Client *client, const QVariant &body);
    void addReader(Client *client, const QString &topic, const QString &key);
    void removeReader(Client *client, const QString &topic, const QString &key);
    void askForLatest(const Client &client, const Route &route);
    void deliver(const Route &route, Route::Reader *reader, const LxWireMessage &record);

    // Receiving thread:
    void receiveRecord(Route *route, const LxNatsMessage &message);
    void receiveOwn(Client *client, const LxNatsMessage &message);
    void receiveRecap(Client *client, const QByteArray &path, const LxNatsMessage &message);
    void receiveAnswer(Client *client, quint64 number, const LxNatsMessage &message);
    void receiveRequest(Service *service, const LxNatsMessage &message);

    const LxBusOptions m_options;
    LxBusStatistics m_statistics;
    LxBusConnection m_state;
    std::unique_ptr<LxDeliveryPool> m_pool;
    std::unique_ptr<LxNatsPublisher> m_publisher; // constant after connect(), as the next
    std::unique_ptr<LxNatsConnection> m_nats;

    // Messages to itself, which come back behind all that was published before.
    QByteArray m_echoSubject; // constant after connect(), as the next
    LxNatsSubscription m_echo;
    QMutex m_echoMutex; // guards what follows
    QWaitCondition m_echoed;
    quint64 m_lastEchoSent = 0;
    quint64 m_lastEcho = 0;

    LxWireReader m_reader; // receiving thread

    QMutex m_writing; // guards m_writer
    LxWireWriter m_writer;

    QMutex m_routing; // guards what follows; held while posting, so that messages keep their order
    QHash<QByteArray, std::shared_ptr<Route>> m_routes; // by path
    QVector<std::shared_ptr<LxMailbox>> m_mailboxes; // of the clients
    quint64 m_lastRoute = 0;

    QMutex m_pending; // guards what follows
    Expiring<QString> m_awaited; // types of asynchronous requests, until their answer comes
    Expiring<QByteArray> m_unanswered; // return addresses of what services were asked

    QMutex m_stateMutex; // guards what follows
    QString m_lost; // why, while the connection is lost
    int m_slowClients = 0;
    bool m_showingState = false; // a thread announces the state
    bool m_stateChanged = false; // since that thread looked
};

} // namespace LxNats
