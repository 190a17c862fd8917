#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"
#include "links/natsparts_p.h"
#include "links/natspublisher_p.h"
#include "links/natsroutes_p.h"

#include <lxutils/lxloglimit.h>

#include <QMutex>
#include <QWaitCondition>

#include <atomic>
#include <map>
#include <memory>

/// The link through a NATS broker (docs/wire.md).
///
/// One thread (the "receiving thread") decodes and handles all messages from the broker. Messages for this process
/// alone are sent to its inbox, whose subjects cannot be guessed.
class LxNatsLink final : public LxLink, private LxNatsObserver
{
public:
    /// Connects within five seconds; null, with the reason in `error`, if that fails.
    static std::unique_ptr<LxNatsLink> connect(const QString &url, const LxBusOptions &options, QString *error);

    void start(LxLinkObserver *observer) override;
    void close() override;

    bool isLocal() const override { return false; }
    QString addressOf(const QString &name) override;

    void openRoute(quint64 number, const QString &topic, const QString &key) override;
    void closeRoute(quint64 number) override;
    void openService(const QString &requestType) override;
    void closeService(const QString &requestType) override;

    int publish(const QString &topic, const QString &key, const QVariant &body) override;
    LxBusEndpoint::Result send(const LxBusRequest &request) override;
    void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body) override;
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body) override;
    void refuse(const LxBusRequest &request, LxBusEndpoint::Result reason) override;
    bool flush(QDeadlineTimer deadline) override;
    void beginDay() override { m_publisher->beginDay(); }

private:
    LxNatsLink(std::unique_ptr<LxNatsConnection> connection, QByteArray inbox, const LxBusOptions &options,
               quint64 ticksEnd);

    void connectionLost(const QString &reason) override { m_observer->connectionLost(reason); }
    void connectionRestored() override;
    void connectionClosed(const QString &reason) override { m_observer->connectionClosed(reason); }
    void connectionRefused(const QString &reason) override;
    void handlerFellBehind(const QString &subject) override;

    // Receiving thread:
    bool read(const char *bytes, size_t size, const QString &what, LxWireMessage *result);
    bool read(const LxNatsMessage &message, const QString &what, LxWireMessage *result);

    // Any thread:
    QByteArray write(const QString &type, const QString &client, const QVariant &body);
    bool publishParts(const QByteArray &subject, const QByteArray &bytes);

    // Receiving thread:
    void receiveRequest(const QString &type, const LxNatsMessage &message);
    void receiveOwn(const LxNatsMessage &message);
    LxBusEndpoint::Result readReply(const LxNatsMessage &message, const QString &what, LxWireMessage *reply);
    void receiveAnswer(quint64 id, const LxNatsMessage &message);
    void receiveMessage(const QString &client, const QString &requestType, const LxNatsMessage &message);
    void receiveEcho(const LxNatsMessage &message);

    const LxBusOptions m_options;
    const quint64 m_ticksEnd; // the position of the last transaction or order that the stream had
    const std::unique_ptr<LxNatsConnection> m_nats;
    const QByteArray m_inbox; // what the subjects of this process begin with
    LxLinkObserver *m_observer = nullptr; // constant after start()
    std::unique_ptr<LxNatsPublisher> m_publisher; // constant after start()
    std::unique_ptr<LxNatsRoutes> m_routes; // constant after start()
    LxNatsSubscription m_own; // constant after start()

    LxLogLimit m_refusalLog;
    LxLogLimit m_writeLog;

    LxWireReader m_reader; // receiving thread
    LxNatsParts m_parts; // receiving thread
    std::atomic<quint64> m_lastInParts { 0 };

    QMutex m_writing; // guards m_writer
    LxWireWriter m_writer;

    QMutex m_mutex; // guards what follows
    std::map<QString, LxNatsSubscription> m_services; // by request type

    QMutex m_echoMutex; // guards what follows
    QWaitCondition m_echoed;
    quint64 m_lastEchoSent = 0;
    quint64 m_lastEcho = 0;
};
