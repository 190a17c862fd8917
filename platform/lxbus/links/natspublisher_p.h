#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"

#include <QHash>
#include <QMutex>

/// Publishes records through a broker. Any thread.
///
/// Records of a symbol are numbered, so that a reader who receives one by two ways takes it once, and sees what is
/// missing. A publisher whose bus creates the streams watches that they keep its records.
///
/// Outlives the connection, which calls it.
class LxNatsPublisher
{
public:
    LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer, const LxBusOptions &options);

    /// False if the record cannot be written or the connection does not take it, which is counted.
    bool publish(const QString &topic, const QString &key, const QVariant &body);
    /// For after a reconnection: creates the streams again, since a broker that restarts forgets those in memory, and
    /// publishes the last value of each symbol once more, which may have been lost with the connection. Readers who
    /// have it ignore it.
    void restore();

private:
    struct Latest
    {
        QByteArray subject;
        QByteArray bytes; // empty of records that the stream of last values does not keep
        quint64 sequence = 0;
    };

    Latest &latestOf(const QString &topic, const QString &key);
    void receive(const LxNatsMessage &message);
    void refill();

    LxNatsConnection *const m_connection;
    LxLinkObserver *const m_observer;
    const LxBusOptions m_options;
    const QByteArray m_inbox;
    const quint64 m_epoch; // microseconds since 1970
    LxNatsSubscription m_own; // constant after the constructor

    QMutex m_mutex; // guards what follows; held while publishing, so that records keep their order
    LxWireWriter m_writer;
    QHash<QPair<QString, QString>, Latest> m_latest; // by topic and symbol
};
