#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"

#include <QHash>
#include <QMutex>

#include <memory>

/// Publishes records through a broker, and answers those who ask for the latest one of a symbol. Any thread.
///
/// Records of a symbol are numbered, so that a reader who receives one by two ways takes it once, and sees what is
/// missing. The publisher of a symbol answers for it, in a queue group: of several publishers of one symbol, one.
///
/// Outlives the connection, which calls it.
class LxNatsPublisher
{
public:
    LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer);

    /// False if the record cannot be written or the connection does not take it, which is counted.
    bool publish(const QString &topic, const QString &key, const QVariant &body);
    /// Publishes the latest record of each symbol once more. For after a reconnection: readers who had it do not take
    /// it again, and those who missed it, however long they wait for the next one, do.
    void publishLatestAgain();

private:
    struct Latest
    {
        QByteArray subject;
        QByteArray bytes; // empty as long as none could be written
        quint64 sequence = 0;
        LxNatsSubscription recap;
    };

    Latest &latestOf(const QString &topic, const QString &key);
    void answerRecap(const Latest &latest, const char *reply);

    LxNatsConnection *const m_connection;
    LxLinkObserver *const m_observer;
    const quint64 m_epoch; // microseconds since 1970

    QMutex m_mutex; // guards what follows; held while publishing, so that records keep their order
    LxWireWriter m_writer;
    QHash<QPair<QString, QString>, std::shared_ptr<Latest>> m_latest; // by topic and symbol
};
