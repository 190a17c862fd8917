#pragma once

#include "bus.h"

#include <QByteArray>
#include <QString>

#include <nats/nats.h>

#include <functional>
#include <memory>
#include <utility>

/// A message out of a NATS connection.
class LxNatsMessage
{
public:
    explicit LxNatsMessage(natsMsg *message) : m_message(message, &natsMsg_Destroy) { }

    const char *subject() const { return natsMsg_GetSubject(m_message.get()); }
    /// The return address; null if there is none.
    const char *reply() const { return natsMsg_GetReply(m_message.get()); }
    const char *bytes() const { return natsMsg_GetData(m_message.get()); }
    size_t size() const { return static_cast<size_t>(natsMsg_GetDataLength(m_message.get())); }
    /// True if this is the broker's word that nobody listens on the subject of a request.
    bool isNoResponders() const { return natsMsg_IsNoResponders(m_message.get()); }

private:
    std::unique_ptr<natsMsg, decltype(&natsMsg_Destroy)> m_message;
};

using LxNatsHandler = std::function<void(const LxNatsMessage &)>;

/// A subscription; destroying it ends it. The handler may be running for the last time then; it and what it holds are
/// destroyed behind that.
class LxNatsSubscription
{
public:
    LxNatsSubscription() = default;
    explicit LxNatsSubscription(natsSubscription *subscription)
        : m_subscription(subscription, &natsSubscription_Destroy)
    {
    }

private:
    std::unique_ptr<natsSubscription, decltype(&natsSubscription_Destroy)> m_subscription { nullptr, nullptr };
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

/// A connection to a NATS broker, which it keeps up by itself. Any thread.
///
/// Handlers of all subscriptions are called on one thread, in the order in which the messages came. They must not
/// block.
class LxNatsConnection
{
public:
    /// Connects within five seconds; null, with the reason in `error`, if that fails.
    static std::unique_ptr<LxNatsConnection> open(const QString &url, const LxBusOptions &options, QString *error);
    /// As close().
    ~LxNatsConnection();

    /// Sends what is buffered, closes the connection for good and waits for calls under way. Not to be called from one.
    void close();

    /// Tells `observer`, which must outlive the connection, from now on.
    void setObserver(LxNatsObserver *observer);

    LxNatsSubscription subscribe(const QByteArray &subject, const char *queueGroup, LxNatsHandler handler);
    bool publish(const QByteArray &subject, const QByteArray &bytes);
    bool publishRequest(const QByteArray &subject, const QByteArray &reply, const QByteArray &bytes);
    /// Sends and waits for the answer.
    natsStatus request(const QByteArray &subject, const QByteArray &bytes, int timeoutMs,
                       std::unique_ptr<LxNatsMessage> *answer);

private:
    class Callbacks;

    LxNatsConnection(natsConnection *connection, std::unique_ptr<Callbacks> callbacks);

    natsConnection *const m_connection;
    const std::unique_ptr<Callbacks> m_callbacks;
};
