#include "links/natspublisher_p.h"

#include "bustopics.h"
#include "links/natssubjects_p.h"

#include <chrono>

namespace {

quint64 microsecondsSince1970()
{
    using namespace std::chrono;
    return static_cast<quint64>(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

} // namespace

LxNatsPublisher::LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer)
    : m_connection(connection), m_observer(observer), m_epoch(microsecondsSince1970())
{
}

bool LxNatsPublisher::publish(const QString &topic, const QString &key, const QVariant &body)
{
    LxWireMessage message;
    message.type = topic;
    message.body = body;
    QString error;
    QMutexLocker locker(&m_mutex);
    QByteArray subject;
    QByteArray bytes;
    if (LxBusTopics::routingKind(topic) == 0) {
        subject = LxNatsSubjects::record(LxNatsSubjects::path(topic, QString()));
        bytes = m_writer.write(message, &error);
    } else {
        Latest &latest = latestOf(topic, key);
        message.client = key;
        message.epoch = m_epoch;
        message.sequence = latest.sequence + 1;
        bytes = m_writer.write(message, &error);
        if (!bytes.isEmpty()) {
            ++latest.sequence;
            latest.bytes = bytes;
        }
        subject = latest.subject;
    }
    if (bytes.isEmpty()) {
        locker.unlock();
        m_observer->dropped(LxBusDrop::Malformed, topic);
        return false;
    }
    if (m_connection->publish(subject, bytes))
        return true;
    locker.unlock();
    m_observer->dropped(LxBusDrop::NotSent, topic);
    return false;
}

LxNatsPublisher::Latest &LxNatsPublisher::latestOf(const QString &topic, const QString &key)
{
    const QPair<QString, QString> id(topic, key);
    const auto known = m_latest.constFind(id);
    if (known != m_latest.constEnd())
        return **known;
    const auto latest = std::make_shared<Latest>();
    const QByteArray path = LxNatsSubjects::path(topic, key);
    latest->subject = LxNatsSubjects::record(path);
    latest->recap = m_connection->subscribe(LxNatsSubjects::recap(path), LxNatsSubjects::publishersGroup,
                                            [this, asked = latest.get()](const LxNatsMessage &request) {
                                                if (LxNatsSubjects::isInInbox(request.reply()))
                                                    answerRecap(*asked, request.reply());
                                                else
                                                    m_observer->dropped(LxBusDrop::Malformed, QStringLiteral("recap"));
                                            });
    // Texts may be literals in the memory of a library that is unloaded before the bus ends.
    m_latest.insert({ QString(topic.constData(), topic.size()), QString(key.constData(), key.size()) }, latest);
    return *latest;
}

void LxNatsPublisher::answerRecap(const Latest &latest, const char *reply)
{
    QByteArray bytes;
    {
        QMutexLocker locker(&m_mutex);
        bytes = latest.bytes;
    }
    if (!bytes.isEmpty() && !m_connection->publish(reply, bytes))
        m_observer->dropped(LxBusDrop::NotSent, QStringLiteral("recap"));
}

void LxNatsPublisher::publishLatestAgain()
{
    QMutexLocker locker(&m_mutex);
    for (const std::shared_ptr<Latest> &latest : std::as_const(m_latest)) {
        if (!latest->bytes.isEmpty() && !m_connection->publish(latest->subject, latest->bytes))
            m_observer->dropped(LxBusDrop::NotSent, QStringLiteral("recap"));
    }
}
