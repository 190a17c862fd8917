#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"
#include "links/natsparts_p.h"
#include "links/natspublisher_p.h"
#include "loglimit_p.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QSet>
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
    void close() override { m_nats->close(); }

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

private:
    // The records of one topic and symbol.
    struct Route
    {
        quint64 number;
        QString topic;
        QString key;
        QByteArray path;
        // Of the last record received; receiving thread.
        quint64 epoch = 0;
        quint64 sequence = 0;
        LxNatsSubscription subscription;
    };

    LxNatsLink(std::unique_ptr<LxNatsConnection> connection, QByteArray inbox, const LxBusOptions &options);

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
    void askForLatest(const Route &route);
    void noteAnswer(quint64 route);

    // Receiving thread:
    void receiveRecord(Route *route, const LxNatsMessage &message, bool isLatest);
    void warnOfTwoPublishers(const Route &route);
    void receiveRequest(const QString &type, const LxNatsMessage &message);
    void receiveOwn(const LxNatsMessage &message);
    void receiveLatest(quint64 route, const LxNatsMessage &message);
    LxBusEndpoint::Result readReply(const LxNatsMessage &message, const QString &what, LxWireMessage *reply);
    void receiveAnswer(quint64 id, const LxNatsMessage &message);
    void receiveMessage(const QString &client, const QString &requestType, const LxNatsMessage &message);
    void receiveEcho(const LxNatsMessage &message);

    const LxBusOptions m_options;
    const std::unique_ptr<LxNatsConnection> m_nats;
    const QByteArray m_inbox; // what the subjects of this process begin with
    LxLinkObserver *m_observer = nullptr; // constant after start()
    std::unique_ptr<LxNatsPublisher> m_publisher; // constant after start()
    LxNatsSubscription m_own; // constant after start()

    LxLogLimit m_refusalLog;
    LxLogLimit m_writeLog;
    LxLogLimit m_publishersLog;

    LxWireReader m_reader; // receiving thread
    LxNatsParts m_parts; // receiving thread
    std::atomic<quint64> m_lastInParts { 0 };

    QMutex m_writing; // guards m_writer
    LxWireWriter m_writer;

    QMutex m_mutex; // guards what follows
    QHash<quint64, std::shared_ptr<Route>> m_routes; // by number
    std::map<QString, LxNatsSubscription> m_services; // by request type

    QMutex m_echoMutex; // guards what follows
    QWaitCondition m_echoed;
    quint64 m_lastEchoSent = 0;
    quint64 m_lastEcho = 0;
    QSet<quint64> m_unanswered; // routes whose latest record the broker has been asked for
    QElapsedTimer m_lastAsked;
};
