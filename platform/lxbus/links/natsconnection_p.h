#pragma once

#include "bus.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QMutex>
#include <QString>

#include <nats/nats.h>

#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

/// A message received by a NATS connection.
class LxNatsMessage
{
public:
    explicit LxNatsMessage(natsMsg *message) : m_message(message, &natsMsg_Destroy) { }

    const char *subject() const { return natsMsg_GetSubject(m_message.get()); }
    /// The return address; null if there is none.
    const char *reply() const { return natsMsg_GetReply(m_message.get()); }
    const char *bytes() const { return natsMsg_GetData(m_message.get()); }
    size_t size() const { return static_cast<size_t>(natsMsg_GetDataLength(m_message.get())); }
    /// The value of a header; null if there is none.
    const char *header(const char *name) const
    {
        const char *value = nullptr;
        return natsMsgHeader_Get(m_message.get(), name, &value) == NATS_OK ? value : nullptr;
    }
    /// The last value of a header that may occur several times; null if there is none.
    QByteArray lastHeader(const char *name) const
    {
        const char **values = nullptr;
        int count = 0;
        if (natsMsgHeader_Values(m_message.get(), name, &values, &count) != NATS_OK)
            return QByteArray();
        QByteArray last = count > 0 ? QByteArray(values[count - 1]) : QByteArray();
        std::free(values);
        return last;
    }
    /// True if the broker says that nothing is subscribed to the subject of a request.
    bool isNoResponders() const { return natsMsg_IsNoResponders(m_message.get()); }

private:
    std::unique_ptr<natsMsg, decltype(&natsMsg_Destroy)> m_message;
};

using LxNatsHandler = std::function<void(const LxNatsMessage &)>;

class LxNatsConnection;

/// A subscription, which the destructor ends. A call of the handler may still be in progress when the destructor
/// returns; the handler and its captures are destroyed after that. Must not outlive the connection.
class LxNatsSubscription
{
public:
    LxNatsSubscription() = default;
    LxNatsSubscription(LxNatsConnection *connection, natsSubscription *subscription)
        : m_connection(connection), m_subscription(subscription)
    {
    }
    ~LxNatsSubscription();
    LxNatsSubscription(LxNatsSubscription &&other) noexcept { swap(other); }
    LxNatsSubscription &operator=(LxNatsSubscription &&other) noexcept
    {
        LxNatsSubscription moved(std::move(other));
        swap(moved);
        return *this;
    }

private:
    void swap(LxNatsSubscription &other) noexcept
    {
        std::swap(m_connection, other.m_connection);
        std::swap(m_subscription, other.m_subscription);
    }

    LxNatsConnection *m_connection = nullptr;
    natsSubscription *m_subscription = nullptr;
};

/// What happens to a connection. Called on a thread of the NATS library, one call at a time.
class LxNatsObserver
{
public:
    virtual void connectionLost(const QString &reason) = 0;
    virtual void connectionRestored() = 0;
    virtual void connectionClosed(const QString &reason) = 0;
    /// The broker does not permit a subject.
    virtual void connectionRefused(const QString &reason) = 0;
    /// The NATS library drops messages of this subject, since its handler does not keep up.
    virtual void handlerFellBehind(const QString &subject) = 0;

protected:
    ~LxNatsObserver() = default;
};

/// A connection to a NATS broker, which reconnects by itself. Any thread.
///
/// The handlers of all subscriptions are called on one thread, in the order in which the messages arrived. They must
/// not block.
class LxNatsConnection
{
public:
    /// Connects within five seconds; null, with the reason in `error`, if that fails.
    static std::unique_ptr<LxNatsConnection> open(const QString &url, const LxBusOptions &options, QString *error);
    /// As close().
    ~LxNatsConnection();

    /// Sends what is buffered, closes the connection for good and waits for calls under way. Not to be called from one.
    void close();

    /// Tells `observer`, which must outlive the connection, from now on. The observer subscribes `barrierSubject` and
    /// calls passBarrier() for each message on it.
    void start(LxNatsObserver *observer, const QByteArray &barrierSubject);

    LxNatsSubscription subscribe(const QByteArray &subject, const char *queueGroup, LxNatsHandler handler);
    bool publish(const QByteArray &subject, const QByteArray &bytes);
    using Headers = std::initializer_list<std::pair<const char *, QByteArray>>;
    bool publishWithHeaders(const QByteArray &subject, const QByteArray &reply, Headers headers,
                            const QByteArray &bytes);
    bool publishRequest(const QByteArray &subject, const QByteArray &reply, const QByteArray &bytes);
    /// Sends a request to the broker's JetStream and waits for the answer, which `reply` alone receives; empty, with
    /// the reason in `error`, if none comes in time. Not to be called from a handler.
    QByteArray askJetStream(const QByteArray &subject, const QByteArray &reply, const QByteArray &bytes, int timeoutMs,
                            QString *error);
    /// The name of the user that has logged in; empty if the connection did not log in with a name and a password.
    QString user() const { return m_user; }
    /// If the broker has refused a subject, waits until the observer has been told of it. False on time-out.
    bool waitForRefusal(QDeadlineTimer deadline);
    /// The longest message that the broker takes, with its headers.
    int payloadLimit() const;
    /// False if the connection is closed for good.
    bool isOpen() const;
    bool isConnected() const;

    /// Called by the subscriber of `barrierSubject` when a message that the connection sent to itself has arrived.
    void passBarrier();

private:
    friend class LxNatsSubscription;
    class Callbacks;

    LxNatsConnection(natsConnection *connection, std::unique_ptr<Callbacks> callbacks);

    void retire(natsSubscription *subscription);

    natsConnection *const m_connection;
    const std::unique_ptr<Callbacks> m_callbacks;
    QString m_user; // constant after open()
    QByteArray m_barrierSubject; // constant after start()

    // Version 3.4 of the NATS library crashes, or hands a message to another subscription, if it is just reading a
    // message for a subscription that is destroyed. So subscriptions that have ended are destroyed when a message that
    // was sent later has been read.
    QMutex m_retiredMutex; // guards what follows
    std::vector<natsSubscription *> m_beforeBarrier; // ended before the barrier under way was sent
    std::vector<natsSubscription *> m_retired; // ended later
};
