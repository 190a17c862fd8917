#pragma once

#include <natsbroker.h>

#include <QByteArray>
#include <QString>
#include <QVector>

#include <nats/nats.h>

#include <memory>

/// A connection to a broker without the bus, to receive and send what the bus would not. Must be used on one thread.
class RawNats
{
public:
    struct Message
    {
        QByteArray subject;
        QByteArray bytes;
        QByteArray reply;
    };

    explicit RawNats(const QString &url)
    {
        natsConnection *connection = nullptr;
        if (natsConnection_ConnectTo(&connection, qPrintable(url)) != NATS_OK)
            qFatal("cannot connect to the broker");
        m_connection.reset(connection);
    }

    void publish(const QByteArray &subject, const QByteArray &bytes, const QByteArray &reply = QByteArray())
    {
        const natsStatus status = reply.isEmpty()
            ? natsConnection_Publish(m_connection.get(), subject.constData(), bytes.constData(), bytes.size())
            : natsConnection_PublishRequest(m_connection.get(), subject.constData(), reply.constData(),
                                            bytes.constData(), bytes.size());
        if (status != NATS_OK)
            qFatal("cannot publish on %s", subject.constData());
    }
    /// The broker has handled all that was sent before.
    bool flush() { return natsConnection_FlushTimeout(m_connection.get(), PatienceMs) == NATS_OK; }

    /// Reads `subject` from now on; one subject a connection.
    void listen(const QByteArray &subject)
    {
        natsSubscription *subscription = nullptr;
        if (natsConnection_SubscribeSync(&subscription, m_connection.get(), subject.constData()) != NATS_OK || !flush())
            qFatal("cannot subscribe");
        m_subscription.reset(subscription);
    }
    /// Waits for the next message; false if none comes within a test's patience.
    bool next(Message *message, int timeoutMs = PatienceMs)
    {
        natsMsg *raw = nullptr;
        if (natsSubscription_NextMsg(&raw, m_subscription.get(), timeoutMs) != NATS_OK)
            return false;
        *message = { natsMsg_GetSubject(raw), QByteArray(natsMsg_GetData(raw), natsMsg_GetDataLength(raw)),
                     natsMsg_GetReply(raw) };
        natsMsg_Destroy(raw);
        return true;
    }
    /// What has come until now: all that the broker has handled before this call.
    QVector<Message> messages()
    {
        QVector<Message> all;
        Message message;
        flush();
        while (next(&message, 0))
            all.append(message);
        return all;
    }

private:
    static constexpr int PatienceMs = 20000;

    std::unique_ptr<natsConnection, decltype(&natsConnection_Destroy)> m_connection { nullptr,
                                                                                      &natsConnection_Destroy };
    std::unique_ptr<natsSubscription, decltype(&natsSubscription_Destroy)> m_subscription { nullptr,
                                                                                            &natsSubscription_Destroy };
};
