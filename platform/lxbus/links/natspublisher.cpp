#include "links/natspublisher_p.h"

#include "bustopics.h"
#include "links/natsstreams_p.h"
#include "links/natssubjects_p.h"

#include <chrono>

namespace {

// What follows the publisher's inbox, which others cannot publish on.
const char acknowledgements[] = ".k";
const char lastCreations[] = ".l";
const char tickCreations[] = ".t";

quint64 microsecondsSince1970()
{
    using namespace std::chrono;
    return static_cast<quint64>(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

} // namespace

LxNatsPublisher::LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer, const LxBusOptions &options)
    : m_connection(connection), m_observer(observer), m_options(options),
      m_inbox(LxNatsSubjects::inbox(connection->user())), m_epoch(microsecondsSince1970())
{
    if (m_options.streams) {
        m_own = m_connection->subscribe(m_inbox + ".*", nullptr,
                                        [this](const LxNatsMessage &message) { receive(message); });
    }
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
    bool isFirst = false;
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
            isFirst = ++latest.sequence == 1;
            if (!LxNatsStreams::isTick(topic))
                latest.bytes = bytes;
        }
        subject = latest.subject;
    }
    if (bytes.isEmpty()) {
        locker.unlock();
        m_observer->dropped(LxBusDrop::Malformed, topic);
        return false;
    }
    // A stream becomes full by new symbols.
    const bool taken = isFirst && m_options.streams
        ? m_connection->publishRequest(subject, m_inbox + acknowledgements, bytes)
        : m_connection->publish(subject, bytes);
    if (taken)
        return true;
    locker.unlock();
    m_observer->dropped(LxBusDrop::NotSent, topic);
    return false;
}

LxNatsPublisher::Latest &LxNatsPublisher::latestOf(const QString &topic, const QString &key)
{
    const auto known = m_latest.find({ topic, key });
    if (known != m_latest.end())
        return *known;
    // Texts may be literals in the memory of a library that is unloaded before the bus ends.
    return *m_latest.insert({ QString(topic.constData(), topic.size()), QString(key.constData(), key.size()) },
                            { LxNatsSubjects::record(LxNatsSubjects::path(topic, key)), QByteArray(), 0 });
}

void LxNatsPublisher::restore()
{
    if (!m_options.streams)
        return;
    for (const auto &[role, reply] :
         { std::pair(LxNatsStreams::Last, lastCreations), std::pair(LxNatsStreams::Ticks, tickCreations) }) {
        const QByteArray stream = LxNatsStreams::name(role, m_options.streamPrefix);
        m_connection->publishRequest(LxNatsStreams::creationSubject(stream), m_inbox + reply,
                                     LxNatsStreams::creationRequest(role, m_options));
    }
}

void LxNatsPublisher::receive(const LxNatsMessage &message)
{
    const QByteArray about = QByteArray(message.subject()).mid(m_inbox.size());
    const QByteArray bytes(message.bytes(), static_cast<int>(message.size()));
    if (bytes.isEmpty())
        return; // JetStream is not ready
    QString error;
    if (about == acknowledgements) {
        error = LxNatsStreams::readRefusal(bytes);
    } else {
        const auto role = about == lastCreations ? LxNatsStreams::Last : LxNatsStreams::Ticks;
        const QByteArray stream = LxNatsStreams::name(role, m_options.streamPrefix);
        if (LxNatsStreams::readCreation(stream, bytes, &error) && role == LxNatsStreams::Last)
            refill();
    }
    if (!error.isEmpty())
        m_observer->connectionRefused(error);
}

void LxNatsPublisher::refill()
{
    QMutexLocker locker(&m_mutex);
    for (auto latest = m_latest.cbegin(); latest != m_latest.cend(); ++latest) {
        if (!latest->bytes.isEmpty() && !m_connection->publish(latest->subject, latest->bytes))
            m_observer->dropped(LxBusDrop::NotSent, latest.key().first);
    }
}
