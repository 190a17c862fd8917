#include "links/natspublisher_p.h"

#include "bustopics.h"
#include "links/natsstreams_p.h"
#include "links/natssubjects_p.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

constexpr size_t PendingLimit = 16384;
constexpr int ClosingMs = 2000;
constexpr int HeaderBytes = 256; // what the headers take at most

// What follows the publisher's inbox, which others cannot publish on.
const char acknowledgements[] = ".k."; // then the number of the tick, or 0
const char lastCreations[] = ".l";
const char tickCreations[] = ".t";
const char purges[] = ".p";

quint64 microsecondsSince1970()
{
    using namespace std::chrono;
    return static_cast<quint64>(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

} // namespace

LxNatsPublisher::LxNatsPublisher(LxNatsConnection *connection, LxLinkObserver *observer, const LxBusOptions &options,
                                 quint64 ticksEnd)
    : m_connection(connection), m_observer(observer), m_options(options),
      m_inbox(LxNatsSubjects::inbox(connection->user())), m_epoch(microsecondsSince1970()), m_floor(ticksEnd)
{
    if (m_options.streams) {
        m_own = m_connection->subscribe(m_inbox + ".>", nullptr,
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
    const bool isTick = m_options.streams && LxNatsStreams::isTick(topic);
    const bool hasRoom = !isTick || waitForRoom();
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
    bool taken = false;
    if (isTick)
        taken = hasRoom && publishTick(topic, subject, bytes);
    else if (isFirst && m_options.streams) // the stream becomes full by new symbols
        taken = m_connection->publishRequest(subject, m_inbox + acknowledgements + '0', bytes);
    else
        taken = m_connection->publish(subject, bytes);
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

bool LxNatsPublisher::waitForRoom()
{
    const QDeadlineTimer deadline(m_options.publishTimeoutMs);
    while (m_pending.size() >= PendingLimit && !m_stalled && !m_stopped) {
        if (!m_acknowledged.wait(&m_mutex, deadline))
            m_stalled = true;
    }
    return m_pending.size() < PendingLimit;
}

bool LxNatsPublisher::publishTick(const QString &topic, const QByteArray &subject, const QByteArray &bytes)
{
    if (m_stopped || !m_connection->isOpen() || bytes.size() > m_connection->payloadLimit() - HeaderBytes)
        return false;
    m_pending.push_back({ QString(topic.constData(), topic.size()), subject, bytes, m_floor, false });
    send(m_firstPending + m_pending.size() - 1, m_pending.back());
    return true;
}

// What the connection does not take now is sent after the reconnection, in order.
void LxNatsPublisher::send(quint64 number, const Tick &tick)
{
    if (!m_connection->isConnected())
        return;
    const QByteArray id = QByteArray::number(m_epoch, 36) + '.' + QByteArray::number(number);
    m_connection->publishWithHeaders(
        tick.subject, m_inbox + acknowledgements + QByteArray::number(number),
        { { LxNatsSubjects::idHeader, id }, { LxNatsSubjects::floorHeader, QByteArray::number(tick.floor) } },
        tick.bytes);
}

void LxNatsPublisher::sendPending()
{
    for (size_t i = 0; i < m_pending.size(); ++i) {
        if (!m_pending[i].isStored)
            send(m_firstPending + i, m_pending[i]);
    }
}

void LxNatsPublisher::beginDay()
{
    if (!m_options.streams)
        return;
    QMutexLocker locker(&m_mutex);
    const std::optional<quint64> previous = std::exchange(m_dayBegin, m_floor);
    if (!previous)
        return;
    const QByteArray stream = LxNatsStreams::name(LxNatsStreams::Ticks, m_options.streamPrefix);
    m_connection->publishRequest(LxNatsStreams::purgeSubject(stream), m_inbox + purges,
                                 LxNatsStreams::purgeRequest(*previous));
}

bool LxNatsPublisher::waitUntilStored(QDeadlineTimer deadline)
{
    QMutexLocker locker(&m_mutex);
    const quint64 end = m_firstPending + m_pending.size();
    while (m_firstPending < end && !m_stopped) {
        if (!m_acknowledged.wait(&m_mutex, deadline))
            return false;
    }
    return m_firstPending >= end;
}

void LxNatsPublisher::stop()
{
    if (m_connection->isConnected())
        waitUntilStored(QDeadlineTimer(ClosingMs));
    QMutexLocker locker(&m_mutex);
    m_stopped = true;
    m_acknowledged.wakeAll();
    const std::deque<Tick> left = std::exchange(m_pending, {});
    locker.unlock();
    for (const Tick &tick : left)
        m_observer->dropped(LxBusDrop::NotSent, tick.topic);
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
    QMutexLocker locker(&m_mutex);
    sendPending();
}

void LxNatsPublisher::receive(const LxNatsMessage &message)
{
    const QByteArray about = QByteArray(message.subject()).mid(m_inbox.size());
    const QByteArray bytes(message.bytes(), static_cast<int>(message.size()));
    if (bytes.isEmpty())
        return; // JetStream is not ready
    const int prefix = sizeof acknowledgements - 1;
    if (about.startsWith(acknowledgements))
        receiveAcknowledgement(about.mid(prefix).toULongLong(), bytes);
    else if (about != purges)
        receiveCreation(about == tickCreations, bytes);
}

void LxNatsPublisher::receiveAcknowledgement(quint64 number, const QByteArray &bytes)
{
    const LxNatsStreams::Acknowledgement answer = LxNatsStreams::readAcknowledgement(bytes);
    if (!answer.error.isEmpty()) {
        m_observer->connectionRefused(answer.error);
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (number < m_firstPending || number >= m_firstPending + m_pending.size())
        return;
    m_pending[number - m_firstPending].isStored = true;
    m_floor = std::max(m_floor, answer.position);
    bool isFirst = false;
    while (!m_pending.empty() && m_pending.front().isStored) {
        m_pending.pop_front();
        ++m_firstPending;
        isFirst = true;
    }
    if (!isFirst)
        return;
    m_stalled = m_stalled && m_pending.size() > PendingLimit / 2;
    m_acknowledged.wakeAll();
}

void LxNatsPublisher::receiveCreation(bool ticks, const QByteArray &bytes)
{
    const QByteArray stream =
        LxNatsStreams::name(ticks ? LxNatsStreams::Ticks : LxNatsStreams::Last, m_options.streamPrefix);
    QString error;
    quint64 end = 0;
    if (!LxNatsStreams::readCreation(stream, bytes, &end, &error)) {
        m_observer->connectionRefused(error);
    } else if (!ticks) {
        refill();
    } else {
        QMutexLocker locker(&m_mutex);
        if (end >= m_floor)
            return;
        m_floor = end; // it is another stream, which has none of those that were sent before
        m_dayBegin.reset();
        sendPending();
    }
}

void LxNatsPublisher::refill()
{
    QMutexLocker locker(&m_mutex);
    for (auto latest = m_latest.cbegin(); latest != m_latest.cend(); ++latest) {
        if (!latest->bytes.isEmpty() && !m_connection->publish(latest->subject, latest->bytes))
            m_observer->dropped(LxBusDrop::NotSent, latest.key().first);
    }
}
