#include "links/natslink_p.h"

#include "bustopics.h"
#include "links/natsstreams_p.h"
#include "links/natssubjects_p.h"

#include <QLoggingCategory>
#include <QRandomGenerator>

#include <cstring>
#include <limits>

Q_LOGGING_CATEGORY(lxNatsLog, "lx.bus.nats")

namespace {

constexpr int EchoAgainMs = 500;
constexpr int HeaderBytes = 256; // what the header of a part takes at most
constexpr int MostNameLength = 64; // of a client, in its address

LxBusEndpoint::Result refusalOf(const char *header)
{
    const int reason = QByteArray(header).toInt();
    for (const auto known : { LxBusEndpoint::QueueFull, LxBusEndpoint::NotSent }) {
        if (reason == known)
            return known;
    }
    return LxBusEndpoint::Closed;
}

qint64 deadlineMs(const QDeadlineTimer &deadline)
{
    return deadline.isForever() ? std::numeric_limits<int>::max() : deadline.remainingTime();
}

} // namespace

std::unique_ptr<LxNatsLink> LxNatsLink::connect(const QString &url, const LxBusOptions &options, QString *error)
{
    std::unique_ptr<LxNatsConnection> connection = LxNatsConnection::open(url, options, error);
    if (!connection)
        return nullptr;
    const QByteArray inbox = LxNatsSubjects::inbox(connection->user());
    quint64 ticksEnd = 0;
    if (options.streams && !LxNatsStreams::create(connection.get(), inbox, options, &ticksEnd, error))
        return nullptr;
    return std::unique_ptr<LxNatsLink>(new LxNatsLink(std::move(connection), inbox, options, ticksEnd));
}

LxNatsLink::LxNatsLink(std::unique_ptr<LxNatsConnection> connection, QByteArray inbox, const LxBusOptions &options,
                       quint64 ticksEnd)
    : m_options(options), m_ticksEnd(ticksEnd), m_nats(std::move(connection)), m_inbox(std::move(inbox))
{
}

void LxNatsLink::start(LxLinkObserver *observer)
{
    m_observer = observer;
    m_publisher = std::make_unique<LxNatsPublisher>(m_nats.get(), observer, m_options, m_ticksEnd);
    m_routes = std::make_unique<LxNatsRoutes>(m_nats.get(), m_inbox, m_options, observer);
    m_own = m_nats->subscribe(m_inbox + ".>", nullptr, [this](const LxNatsMessage &message) { receiveOwn(message); });
    m_nats->start(this, m_inbox + LxNatsSubjects::Own::barrier);
}

void LxNatsLink::close()
{
    m_publisher->stop();
    m_routes->stop();
    m_nats->close();
}

QString LxNatsLink::addressOf(const QString &name)
{
    const quint64 random = QRandomGenerator::system()->generate64();
    return name.left(MostNameLength) + QLatin1Char('-') + QString::number(random, 36);
}

void LxNatsLink::connectionRestored()
{
    m_nats->passBarrier(); // it may be lost; nothing that was sent before is read any more
    m_publisher->restore();
    m_routes->askAgain();
    m_observer->connectionRestored();
}

void LxNatsLink::connectionRefused(const QString &reason)
{
    if (const auto suppressed = m_refusalLog.admit())
        qCWarning(lxNatsLog).noquote() << "the broker refuses:" << reason << '-' << *suppressed << "similar before";
    m_observer->connectionRefused(reason);
}

void LxNatsLink::handlerFellBehind(const QString &subject)
{
    m_observer->dropped(LxBusDrop::QueueFull, subject);
}

bool LxNatsLink::read(const LxNatsMessage &message, const QString &what, LxWireMessage *result)
{
    return read(message.bytes(), message.size(), what, result);
}

bool LxNatsLink::read(const char *bytes, size_t size, const QString &what, LxWireMessage *result)
{
    QString error;
    if (m_reader.read(bytes, size, result, &error))
        return true;
    qCDebug(lxNatsLog).noquote() << "cannot read" << what << '-' << error;
    m_observer->dropped(LxBusDrop::Malformed, what);
    return false;
}

QByteArray LxNatsLink::write(const QString &type, const QString &client, const QVariant &body)
{
    LxWireMessage message;
    message.type = type;
    message.client = client;
    message.body = body;
    QString error;
    QMutexLocker locker(&m_writing);
    QByteArray bytes = m_writer.write(message, &error);
    locker.unlock();
    if (bytes.isEmpty()) {
        if (const auto suppressed = m_writeLog.admit())
            qCWarning(lxNatsLog).noquote()
                << "cannot send" << type << '-' << error << '-' << *suppressed << "similar before";
        m_observer->dropped(LxBusDrop::Malformed, type);
    }
    return bytes;
}

void LxNatsLink::openRoute(quint64 number, const QString &topic, const QString &key)
{
    m_routes->open(number, topic, key);
}

void LxNatsLink::closeRoute(quint64 number)
{
    m_routes->close(number);
}

void LxNatsLink::receiveOwn(const LxNatsMessage &message)
{
    namespace Own = LxNatsSubjects::Own;
    const QByteArray rest = QByteArray(message.subject()).mid(m_inbox.size());
    QByteArray end;
    const auto follows = [&rest, &end](const char *prefix) {
        const bool matches = rest.startsWith(prefix);
        end = matches ? rest.mid(static_cast<int>(std::strlen(prefix))) : QByteArray();
        return matches;
    };
    if (follows(Own::latest)) {
        m_routes->receiveLatest(end, message);
    } else if (follows(Own::fetched)) {
        m_routes->receiveFetched(end, message);
    } else if (rest == Own::wake) {
        m_routes->wake();
    } else if (follows(Own::answer)) {
        receiveAnswer(end.toULongLong(), message);
    } else if (follows(Own::message) && end.count('.') == 1) {
        const int dot = end.indexOf('.');
        receiveMessage(LxNatsSubjects::nameOf(end.left(dot)), LxNatsSubjects::nameOf(end.mid(dot + 1)), message);
    } else if (rest == Own::barrier) {
        m_nats->passBarrier();
    } else if (rest == Own::echo) {
        receiveEcho(message);
    } else {
        m_observer->dropped(LxBusDrop::Malformed, QStringLiteral("message"));
    }
}

// Ok: `reply` is set. TimedOut: further parts are to come, or the message cannot be read.
LxBusEndpoint::Result LxNatsLink::readReply(const LxNatsMessage &message, const QString &what, LxWireMessage *reply)
{
    if (message.isNoResponders())
        return LxBusEndpoint::NoService;
    if (const char *refusal = message.header(LxNatsSubjects::refusalHeader))
        return refusalOf(refusal);
    const char *const part = message.header(LxNatsSubjects::partHeader);
    if (!part)
        return read(message, what, reply) ? LxBusEndpoint::Ok : LxBusEndpoint::TimedOut;
    QByteArray whole;
    const QByteArray bytes(message.bytes(), static_cast<int>(message.size()));
    switch (m_parts.add(message.subject(), part, bytes, &whole)) {
    case LxNatsParts::Incomplete:
        return LxBusEndpoint::TimedOut;
    case LxNatsParts::Lost:
        m_observer->dropped(LxBusDrop::LostOnTheWay, what);
        return LxBusEndpoint::Closed;
    case LxNatsParts::Complete:
        break;
    }
    const auto size = static_cast<size_t>(whole.size());
    return read(whole.constData(), size, what, reply) ? LxBusEndpoint::Ok : LxBusEndpoint::TimedOut;
}

void LxNatsLink::receiveAnswer(quint64 id, const LxNatsMessage &message)
{
    LxWireMessage answer;
    const LxBusEndpoint::Result result = readReply(message, QStringLiteral("answer"), &answer);
    if (result != LxBusEndpoint::TimedOut)
        m_observer->answerArrived(id, result, answer.type, answer.body);
}

void LxNatsLink::receiveMessage(const QString &client, const QString &requestType, const LxNatsMessage &message)
{
    LxWireMessage published;
    switch (readReply(message, QStringLiteral("message"), &published)) {
    case LxBusEndpoint::Ok:
        m_observer->messageArrived(client, published.type, published.body);
        break;
    case LxBusEndpoint::NoService:
        m_observer->dropped(LxBusDrop::NoService, requestType);
        break;
    case LxBusEndpoint::QueueFull:
        m_observer->dropped(LxBusDrop::QueueFull, requestType);
        break;
    case LxBusEndpoint::NotSent:
        m_observer->dropped(LxBusDrop::NotSent, requestType);
        break;
    case LxBusEndpoint::Closed:
    case LxBusEndpoint::TimedOut:
        break;
    }
}

void LxNatsLink::openService(const QString &requestType)
{
    LxNatsSubscription subscription =
        m_nats->subscribe(LxNatsSubjects::requests(requestType), LxNatsSubjects::servicesGroup,
                          [this, requestType](const LxNatsMessage &message) { receiveRequest(requestType, message); });
    QMutexLocker locker(&m_mutex);
    m_services[requestType] = std::move(subscription);
}

void LxNatsLink::closeService(const QString &requestType)
{
    QMutexLocker locker(&m_mutex);
    m_services.erase(requestType);
}

void LxNatsLink::receiveRequest(const QString &type, const LxNatsMessage &message)
{
    LxWireMessage request;
    if (!read(message, QStringLiteral("request"), &request))
        return;
    const QByteArray reply = message.reply();
    const QString user = LxNatsSubjects::userOf(message.subject());
    if (request.type != type || !LxNatsSubjects::isReturnAddress(reply, user)) {
        m_observer->dropped(LxBusDrop::Malformed, QStringLiteral("request"));
        return;
    }
    // The broker has checked the user's name, if it has users. Otherwise each inbox counts as a sender.
    const bool isUser = user != LxNatsSubjects::anyUser();
    const QString sender = isUser ? user : LxNatsSubjects::ownerOf(reply);
    LxArrivingRequest arriving { { type, request.body, request.client, 0, reply }, sender, message.size() };
    arriving.id = reply.contains(LxNatsSubjects::Own::answer) ? 1 : 0;
    const LxBusEndpoint::Result result = m_observer->requestArrived(arriving);
    if (result != LxBusEndpoint::Ok)
        refuse(arriving, result);
}

int LxNatsLink::publish(const QString &topic, const QString &key, const QVariant &body)
{
    return m_publisher->publish(topic, key, body) ? 1 : 0;
}

LxBusEndpoint::Result LxNatsLink::send(const LxBusRequest &request)
{
    using namespace LxNatsSubjects;
    const QByteArray subject = LxNatsSubjects::request(m_nats->user(), request.type);
    const QByteArray reply = m_inbox
        + (request.id != 0 ? Own::answer + QByteArray::number(request.id)
                           : Own::message + part(request.client) + '.' + part(request.type));
    if (!isSendable(subject) || !isSendable(reply)) {
        m_observer->dropped(LxBusDrop::Malformed, QStringLiteral("request"));
        return LxBusEndpoint::NotSent;
    }
    const QByteArray bytes = write(request.type, request.client, request.body);
    if (bytes.isEmpty())
        return LxBusEndpoint::NotSent;
    if (m_nats->publishRequest(subject, reply, bytes))
        return LxBusEndpoint::Ok;
    m_observer->dropped(LxBusDrop::NotSent, request.type);
    return m_nats->isOpen() ? LxBusEndpoint::NotSent : LxBusEndpoint::Closed;
}

void LxNatsLink::publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body)
{
    if (request.returnAddress.isEmpty()) {
        m_observer->dropped(LxBusDrop::ReceiverGone, topic);
        return;
    }
    const QByteArray bytes = write(topic, QString(), body);
    if (!bytes.isEmpty() && bytes.size() <= LxNatsParts::MessageLimit && publishParts(request.returnAddress, bytes))
        return;
    if (!bytes.isEmpty())
        m_observer->dropped(LxBusDrop::NotSent, topic);
    refuse(request, LxBusEndpoint::NotSent);
}

// Splits a message that exceeds the broker's limit into parts. Parts of different messages to one subject may
// interleave.
bool LxNatsLink::publishParts(const QByteArray &subject, const QByteArray &bytes)
{
    const int limit = m_nats->payloadLimit();
    if (bytes.size() <= limit)
        return m_nats->publish(subject, bytes);
    const int partSize = limit - HeaderBytes;
    if (partSize <= 0)
        return false;
    const int count = (bytes.size() + partSize - 1) / partSize;
    const quint64 number = ++m_lastInParts;
    for (int i = 0; i < count; ++i) {
        if (!m_nats->publishWithHeaders(subject, {},
                                        { { LxNatsSubjects::partHeader, LxNatsParts::header(number, i, count) } },
                                        bytes.mid(i * partSize, partSize)))
            return false;
    }
    return true;
}

void LxNatsLink::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    publishTo(request, type, body);
}

void LxNatsLink::refuse(const LxBusRequest &request, LxBusEndpoint::Result reason)
{
    m_nats->publishWithHeaders(request.returnAddress, {},
                               { { LxNatsSubjects::refusalHeader, QByteArray::number(reason) } }, {});
}

bool LxNatsLink::flush(QDeadlineTimer deadline)
{
    // A message to this process itself returns after all that was published before.
    QMutexLocker locker(&m_echoMutex);
    const quint64 number = ++m_lastEchoSent;
    while (m_lastEcho < number) {
        locker.unlock();
        if (!m_nats->publish(m_inbox + LxNatsSubjects::Own::echo, QByteArray::number(number)) && !m_nats->isOpen())
            return false;
        locker.relock();
        // It may be lost with the connection.
        const QDeadlineTimer again(qMin<qint64>(EchoAgainMs, deadlineMs(deadline)));
        while (m_lastEcho < number && m_echoed.wait(&m_echoMutex, again)) { }
        if (m_lastEcho < number && (deadline.hasExpired() || !m_nats->isOpen()))
            return false;
    }
    locker.unlock();
    if (!m_routes->waitUntilCurrent(deadline) || !m_publisher->waitUntilStored(deadline))
        return false;
    return m_nats->waitForRefusal(deadline); // what is refused shows before the echo, but is told on another thread
}

void LxNatsLink::receiveEcho(const LxNatsMessage &message)
{
    QMutexLocker locker(&m_echoMutex);
    const quint64 number = QByteArray(message.bytes(), static_cast<int>(message.size())).toULongLong();
    if (number <= m_lastEchoSent) // others can send here, too
        m_lastEcho = qMax(m_lastEcho, number);
    m_echoed.wakeAll();
}
