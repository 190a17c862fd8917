#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"

#include <QHash>
#include <QMutex>
#include <QWaitCondition>

#include <deque>
#include <optional>

/// Publishes records through a broker. Any thread.
///
/// Records of a symbol are numbered, so that a reader who receives one by two ways takes it once, and sees what is
/// missing. A publisher whose bus creates the streams watches that they keep its records. Transactions and orders are
/// kept until the broker has acknowledged that they are stored, and published again after a reconnection.
///
/// Outlives the connection, which calls it.
class LxNatsPublisher
{
public:
    /// `ticksEnd`: the position of the last transaction or order that the stream has.
    LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer, const LxBusOptions &options,
                    quint64 ticksEnd);

    /// False if the record cannot be written or the connection does not take it, which is counted. Blocks for a bounded
    /// time (LxBusOptions::publishTimeoutMs) while too many transactions and orders are not acknowledged.
    bool publish(const QString &topic, const QString &key, const QVariant &body);
    /// For after a reconnection: creates the streams again, since a broker that restarts forgets those in memory, and
    /// publishes the last value of each symbol once more, which may have been lost with the connection. Readers who
    /// have it ignore it.
    void restore();
    void beginDay();
    /// Waits until the transactions and orders published before are stored. False on time-out.
    bool waitUntilStored(QDeadlineTimer deadline);
    /// Waits for acknowledgements for a bounded time, and publishes nothing any more. What is not acknowledged is
    /// counted.
    void stop();

private:
    struct Latest
    {
        QByteArray subject;
        QByteArray bytes; // empty of records that the stream of last values does not keep
        quint64 sequence = 0;
    };

    // A transaction or order that is not acknowledged.
    struct Tick
    {
        QString topic;
        QByteArray subject;
        QByteArray bytes;
        quint64 floor; // the position in the stream of the last one that was acknowledged before
        bool isStored;
    };

    Latest &latestOf(const QString &topic, const QString &key);
    void receive(const LxNatsMessage &message);
    void receiveAcknowledgement(quint64 number, const QByteArray &bytes);
    void receiveCreation(bool ticks, const QByteArray &bytes);
    void refill();
    // With the lock:
    bool waitForRoom();
    bool publishTick(const QString &topic, const QByteArray &subject, const QByteArray &bytes);
    void send(quint64 number, const Tick &tick);
    void sendPending();

    LxNatsConnection *const m_connection;
    LxLinkObserver *const m_observer;
    const LxBusOptions m_options;
    const QByteArray m_inbox;
    const quint64 m_epoch; // microseconds since 1970
    LxNatsSubscription m_own; // constant after the constructor

    QMutex m_mutex; // guards what follows; held while publishing, so that records keep their order
    LxWireWriter m_writer;
    QHash<QPair<QString, QString>, Latest> m_latest; // by topic and symbol
    std::deque<Tick> m_pending; // in the order of their numbers
    quint64 m_firstPending = 1; // the number of the first of them
    quint64 m_floor; // the position in the stream of the last one that was acknowledged
    std::optional<quint64> m_dayBegin; // the position in the stream at which the day began
    QWaitCondition m_acknowledged;
    bool m_stalled = false; // waiting for room has timed out
    bool m_stopped = false;
};
