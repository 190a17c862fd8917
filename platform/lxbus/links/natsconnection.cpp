#include "links/natsconnection_p.h"

#include "links/natsurl_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QMutex>
#include <QWaitCondition>

#include <algorithm>
#include <thread>
#include <vector>

namespace {

constexpr int ConnectTimeoutMs = 1500; // of one server
constexpr int GiveUpMs = 4500; // of all servers, and the look-up of their names
constexpr int ReconnectWaitMs = 200;
constexpr int PingIntervalMs = 5000; // two without an answer, and the connection counts as lost
constexpr int WriteDeadlineMs = 5000;
constexpr int ClosingFlushMs = 2000;

// The error message of the NATS library, without the position in its source, "(conn.c:123): ". Called on the library's
// threads, also while the process exits, so it must not use objects that Qt constructs on first use, such as those of
// regular expressions.
QString textOf(natsStatus status, const char *details)
{
    const QString text = QString::fromUtf8(natsStatus_GetText(status));
    QString more = QString::fromUtf8(details);
    const QLatin1String placeEnd("): ");
    const int end = more.indexOf(placeEnd);
    if (more.startsWith(QLatin1Char('(')) && end > 0)
        more.remove(0, end + placeEnd.size());
    return more.isEmpty() || more == text ? text : QStringLiteral("%1: %2").arg(text, more);
}

QString lastErrorOf(natsConnection *connection)
{
    const char *details = nullptr;
    const natsStatus status = natsConnection_GetLastError(connection, &details);
    return status == NATS_OK ? QStringLiteral("the connection broke") : textOf(status, details);
}

using Options = std::unique_ptr<natsOptions, decltype(&natsOptions_Destroy)>;

QByteArray fileOf(const QString &option, const char *environment)
{
    return option.isEmpty() ? qgetenv(environment) : option.toLocal8Bit();
}

} // namespace

/// What the NATS library calls. Outlives the connection: it is destroyed when no call can come any more.
class LxNatsConnection::Callbacks
{
public:
    struct Handler
    {
        Callbacks *owner;
        LxNatsHandler function;
    };

    static void installIn(natsOptions *options, Callbacks *callbacks)
    {
        natsOptions_SetDisconnectedCB(options, &disconnected, callbacks);
        natsOptions_SetReconnectedCB(options, &reconnected, callbacks);
        natsOptions_SetClosedCB(options, &closed, callbacks);
        natsOptions_SetErrorHandler(options, &failed, callbacks);
    }

    void setObserver(LxNatsObserver *observer)
    {
        QMutexLocker locker(&m_mutex);
        m_observer = observer;
    }

    Handler *enter(LxNatsHandler function)
    {
        QMutexLocker locker(&m_mutex);
        ++m_handlers;
        return new Handler { this, std::move(function) };
    }

    static void leave(void *closure)
    {
        const std::unique_ptr<Handler> handler(static_cast<Handler *>(closure));
        abandon(handler.get());
    }

    // Waits for it no longer.
    static void abandon(const Handler *handler)
    {
        QMutexLocker locker(&handler->owner->m_mutex);
        --handler->owner->m_handlers;
        handler->owner->m_changed.wakeAll();
    }

    static void arrived(natsConnection *, natsSubscription *, natsMsg *message, void *closure)
    {
        static_cast<Handler *>(closure)->function(LxNatsMessage(message));
    }

    bool waitForRefusal(QDeadlineTimer deadline)
    {
        QMutexLocker locker(&m_mutex);
        while (!m_refused && !m_closed && m_changed.wait(&m_mutex, deadline)) { }
        return m_refused || m_closed;
    }

    void waitUntilNothingComes()
    {
        QMutexLocker locker(&m_mutex);
        while (!m_closed || m_handlers > 0)
            m_changed.wait(&m_mutex);
    }

private:
    // The observer lives until the connection's last call, which is `closed`.
    LxNatsObserver *observer()
    {
        QMutexLocker locker(&m_mutex);
        return m_observer;
    }

    static void disconnected(natsConnection *connection, void *closure)
    {
        if (LxNatsObserver *observer = static_cast<Callbacks *>(closure)->observer())
            observer->connectionLost(lastErrorOf(connection));
    }

    static void reconnected(natsConnection *, void *closure)
    {
        if (LxNatsObserver *observer = static_cast<Callbacks *>(closure)->observer())
            observer->connectionRestored();
    }

    static void closed(natsConnection *connection, void *closure)
    {
        auto *self = static_cast<Callbacks *>(closure);
        if (LxNatsObserver *observer = self->observer())
            observer->connectionClosed(lastErrorOf(connection));
        QMutexLocker locker(&self->m_mutex);
        self->m_closed = true;
        self->m_changed.wakeAll();
    }

    static void failed(natsConnection *connection, natsSubscription *subscription, natsStatus status, void *closure)
    {
        auto *self = static_cast<Callbacks *>(closure);
        LxNatsObserver *const observer = self->observer();
        if (!observer)
            return;
        if (status == NATS_NOT_PERMITTED) {
            observer->connectionRefused(lastErrorOf(connection));
            QMutexLocker locker(&self->m_mutex);
            self->m_refused = true;
            self->m_changed.wakeAll();
        } else if (status == NATS_SLOW_CONSUMER && subscription) {
            observer->handlerFellBehind(QString::fromUtf8(natsSubscription_GetSubject(subscription)));
        }
    }

    QMutex m_mutex; // guards what follows
    QWaitCondition m_changed;
    LxNatsObserver *m_observer = nullptr;
    bool m_closed = false;
    bool m_refused = false; // the observer has been told of a subject that the broker refuses
    int m_handlers = 0; // that NATS may still call
};

namespace {

// Connecting may hang in the look-up of a name; the caller then goes on without a connection.
struct Attempt
{
    QMutex mutex;
    QWaitCondition ended;
    bool done = false;
    bool abandoned = false;
    natsConnection *connection = nullptr;
    natsStatus status = NATS_TIMEOUT;
    QString details;
};

void connect(const std::shared_ptr<Attempt> &attempt, natsOptions *options)
{
    natsConnection *connection = nullptr;
    const natsStatus status = natsConnection_Connect(&connection, options);
    const char *details = nats_GetLastError(nullptr);
    QMutexLocker locker(&attempt->mutex);
    attempt->status = status;
    attempt->details = textOf(status, details);
    attempt->connection = connection;
    attempt->done = true;
    attempt->ended.wakeAll();
}

bool apply(const LxNatsUrl &url, const LxBusOptions &options, natsOptions *nats, QString *error)
{
    std::vector<const char *> servers;
    for (const QByteArray &server : url.servers)
        servers.push_back(server.constData());
    const QByteArray name = QCoreApplication::applicationName().toUtf8();

    natsOptions_SetServers(nats, servers.data(), static_cast<int>(servers.size()));
    natsOptions_SetName(nats, name.constData());
    natsOptions_SetTimeout(nats, ConnectTimeoutMs);
    natsOptions_SetMaxReconnect(nats, -1);
    natsOptions_SetReconnectWait(nats, ReconnectWaitMs);
    natsOptions_SetPingInterval(nats, PingIntervalMs);
    natsOptions_SetWriteDeadline(nats, WriteDeadlineMs);
    natsOptions_SetSendAsap(nats, options.sendAtOnce);
    natsOptions_UseGlobalMessageDelivery(nats, true); // one thread, so that what is read in order is handled in order
    if (!url.user.isEmpty() && url.password.isEmpty())
        natsOptions_SetToken(nats, url.user.constData());
    else if (!url.user.isEmpty())
        natsOptions_SetUserInfo(nats, url.user.constData(), url.password.constData());

    natsStatus status = NATS_OK;
    const QByteArray credentials = fileOf(options.credentialsFile, "LX_BUS_CREDENTIALS");
    if (!credentials.isEmpty()) {
        // NATS reads the file when a broker asks for it, and tells no more than that no broker is there.
        const QString file = QString::fromLocal8Bit(credentials);
        if (!QFileInfo(file).isReadable()) {
            *error = QStringLiteral("cannot read the credentials in \"%1\"").arg(file);
            return false;
        }
        status = natsOptions_SetUserCredentialsFromFiles(nats, credentials.constData(), nullptr);
    }
    if (status != NATS_OK) {
        *error = QStringLiteral("cannot use the credentials in \"%1\": %2")
                     .arg(QString::fromLocal8Bit(credentials), textOf(status, nats_GetLastError(nullptr)));
        return false;
    }
    // A broker may want encryption whatever the URL says.
    const QByteArray ca = fileOf(options.caFile, "LX_BUS_CA");
    if (!ca.isEmpty())
        status = natsOptions_LoadCATrustedCertificates(nats, ca.constData());
    if (status == NATS_OK && url.encrypted)
        status = natsOptions_SetSecure(nats, true);
    if (status != NATS_OK)
        *error = QStringLiteral("cannot use the certificates in \"%1\": %2")
                     .arg(QString::fromLocal8Bit(ca), textOf(status, nats_GetLastError(nullptr)));
    return status == NATS_OK;
}

} // namespace

std::unique_ptr<LxNatsConnection> LxNatsConnection::open(const QString &urlText, const LxBusOptions &options,
                                                         QString *error)
{
    LxNatsUrl url;
    if (!LxNatsUrl::parse(urlText, &url, error))
        return nullptr;

    natsOptions *created = nullptr;
    if (nats_SetMessageDeliveryPoolSize(1) != NATS_OK || natsOptions_Create(&created) != NATS_OK) {
        *error = QStringLiteral("the NATS library cannot be used");
        return nullptr;
    }
    Options nats(created, &natsOptions_Destroy);
    if (!apply(url, options, nats.get(), error))
        return nullptr;
    auto callbacks = std::make_unique<Callbacks>();
    Callbacks::installIn(nats.get(), callbacks.get());

    const auto attempt = std::make_shared<Attempt>();
    std::thread([attempt, nats = std::move(nats), callbacks = callbacks.get()] {
        connect(attempt, nats.get());
        QMutexLocker locker(&attempt->mutex);
        if (!attempt->abandoned)
            return;
        const std::unique_ptr<Callbacks> abandoned(callbacks);
        locker.unlock();
        if (attempt->connection) {
            natsConnection_Close(attempt->connection);
            abandoned->waitUntilNothingComes();
            natsConnection_Destroy(attempt->connection);
        }
    }).detach();

    QMutexLocker locker(&attempt->mutex);
    const QDeadlineTimer deadline(GiveUpMs);
    while (!attempt->done && attempt->ended.wait(&attempt->mutex, deadline)) { }
    if (!attempt->connection) {
        const QString reason = attempt->done ? attempt->details : QStringLiteral("it does not answer in time");
        *error = QStringLiteral("cannot connect to the broker at %1: %2").arg(url.hosts(), reason);
        attempt->abandoned = !attempt->done;
        if (attempt->abandoned)
            static_cast<void>(callbacks.release()); // the thread's
        return nullptr;
    }
    auto opened = std::unique_ptr<LxNatsConnection>(new LxNatsConnection(attempt->connection, std::move(callbacks)));
    if (!url.password.isEmpty()) // otherwise the user is a secret token
        opened->m_user = QString::fromUtf8(url.user);
    return opened;
}

LxNatsConnection::LxNatsConnection(natsConnection *connection, std::unique_ptr<Callbacks> callbacks)
    : m_connection(connection), m_callbacks(std::move(callbacks))
{
}

LxNatsConnection::~LxNatsConnection()
{
    close();
    for (natsSubscription *subscription : m_beforeBarrier)
        natsSubscription_Destroy(subscription);
    for (natsSubscription *subscription : m_retired)
        natsSubscription_Destroy(subscription);
    natsConnection_Destroy(m_connection);
}

LxNatsSubscription::~LxNatsSubscription()
{
    if (m_subscription)
        m_connection->retire(m_subscription);
}

void LxNatsConnection::retire(natsSubscription *subscription)
{
    natsSubscription_Unsubscribe(subscription);
    QMutexLocker locker(&m_retiredMutex);
    m_retired.push_back(subscription);
    if (!m_beforeBarrier.empty())
        return;
    m_beforeBarrier.swap(m_retired);
    publish(m_barrierSubject, QByteArray());
}

void LxNatsConnection::passBarrier()
{
    std::vector<natsSubscription *> passed;
    {
        QMutexLocker locker(&m_retiredMutex);
        passed.swap(m_beforeBarrier);
        m_beforeBarrier.swap(m_retired);
        if (!m_beforeBarrier.empty())
            publish(m_barrierSubject, QByteArray());
    }
    for (natsSubscription *subscription : passed)
        natsSubscription_Destroy(subscription);
}

void LxNatsConnection::close()
{
    if (isConnected())
        natsConnection_FlushTimeout(m_connection, ClosingFlushMs);
    m_callbacks->setObserver(nullptr);
    natsConnection_Close(m_connection);
    m_callbacks->waitUntilNothingComes();
}

void LxNatsConnection::start(LxNatsObserver *observer, const QByteArray &barrierSubject)
{
    m_barrierSubject = barrierSubject;
    m_callbacks->setObserver(observer);
}

LxNatsSubscription LxNatsConnection::subscribe(const QByteArray &subject, const char *queueGroup, LxNatsHandler handler)
{
    natsSubscription *subscription = nullptr;
    Callbacks::Handler *const entered = m_callbacks->enter(std::move(handler));
    const natsStatus status = queueGroup
        ? natsConnection_QueueSubscribe(&subscription, m_connection, subject.constData(), queueGroup,
                                        &Callbacks::arrived, entered)
        : natsConnection_Subscribe(&subscription, m_connection, subject.constData(), &Callbacks::arrived, entered);
    if (status != NATS_OK) {
        Callbacks::leave(entered);
        return LxNatsSubscription();
    }
    if (natsSubscription_SetOnCompleteCB(subscription, &Callbacks::leave, entered) != NATS_OK)
        Callbacks::abandon(entered); // closed meanwhile; whether it is being called is not known
    return LxNatsSubscription(this, subscription);
}

bool LxNatsConnection::publish(const QByteArray &subject, const QByteArray &bytes)
{
    return natsConnection_Publish(m_connection, subject.constData(), bytes.constData(), bytes.size()) == NATS_OK;
}

bool LxNatsConnection::publishWithHeaders(const QByteArray &subject, const QByteArray &reply, Headers headers,
                                          const QByteArray &bytes)
{
    natsMsg *created = nullptr;
    const char *const replyText = reply.isEmpty() ? nullptr : reply.constData();
    if (natsMsg_Create(&created, subject.constData(), replyText, bytes.constData(), bytes.size()) != NATS_OK)
        return false;
    const LxNatsMessage message(created);
    const bool complete = std::all_of(headers.begin(), headers.end(), [created](const auto &header) {
        return natsMsgHeader_Set(created, header.first, header.second.constData()) == NATS_OK;
    });
    return complete && natsConnection_PublishMsg(m_connection, created) == NATS_OK;
}

bool LxNatsConnection::publishRequest(const QByteArray &subject, const QByteArray &reply, const QByteArray &bytes)
{
    return natsConnection_PublishRequest(m_connection, subject.constData(), reply.constData(), bytes.constData(),
                                         bytes.size())
        == NATS_OK;
}

QByteArray LxNatsConnection::askJetStream(const QByteArray &subject, const QByteArray &reply, const QByteArray &bytes,
                                          int timeoutMs, QString *error)
{
    natsSubscription *subscription = nullptr;
    natsMsg *received = nullptr;
    natsStatus status = natsConnection_SubscribeSync(&subscription, m_connection, reply.constData());
    if (status == NATS_OK)
        status = publishRequest(subject, reply, bytes) ? NATS_OK : NATS_ERR;
    if (status == NATS_OK)
        status = natsSubscription_NextMsg(&received, subscription, timeoutMs);
    natsSubscription_Destroy(subscription); // nothing else is sent to it
    if (status == NATS_OK) {
        const LxNatsMessage answer(received);
        return QByteArray(answer.bytes(), static_cast<int>(answer.size()));
    }
    const char *details = nullptr;
    if (status == NATS_NO_RESPONDERS)
        *error = QStringLiteral("JetStream is not enabled");
    else if (natsConnection_GetLastError(m_connection, &details) == NATS_NOT_PERMITTED)
        *error = textOf(NATS_NOT_PERMITTED, details);
    else
        *error = textOf(status, nullptr);
    return QByteArray();
}

bool LxNatsConnection::waitForRefusal(QDeadlineTimer deadline)
{
    const char *details = nullptr;
    return natsConnection_GetLastError(m_connection, &details) != NATS_NOT_PERMITTED
        || m_callbacks->waitForRefusal(deadline);
}

int LxNatsConnection::payloadLimit() const
{
    return static_cast<int>(natsConnection_GetMaxPayload(m_connection));
}

bool LxNatsConnection::isConnected() const
{
    return natsConnection_Status(m_connection) == NATS_CONN_STATUS_CONNECTED;
}

bool LxNatsConnection::isOpen() const
{
    return natsConnection_Status(m_connection) != NATS_CONN_STATUS_CLOSED;
}
