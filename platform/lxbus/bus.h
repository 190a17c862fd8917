#pragma once

#include <lxbus/busconnection.h>
#include <lxbus/busstatistics.h>
#include <lxbus/lxbus_export.h>

#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <optional>

/// Receives the messages of an endpoint. Called on the bus's threads, one call at a time for each endpoint; messages of
/// one topic and publisher arrive in the order in which they were published. Not called after the endpoint's destructor
/// has returned.
class LxBusListener
{
public:
    /// A message on a topic that the endpoint has subscribed to. The bus does not know its publisher: `source` is
    /// empty.
    virtual void published(const QString &source, const QString &topic, const QVariant &body) = 0;
    /// The answer to the asynchronous request `id`.
    virtual void answered(int id, const QString &source, const QString &type, const QVariant &body) = 0;

protected:
    ~LxBusListener() = default;
};

/// A client's connection to the bus. Any thread.
///
/// The destructor leaves the bus. It waits for a call of the listener that is in progress, unless that call itself
/// destroys the endpoint.
class LxBusEndpoint
{
public:
    /// The outcome of a request; negative if it has not been sent or will not be answered.
    enum Result {
        Ok = 0,
        TimedOut = 1,
        NoService = -1, ///< no service for the type
        Closed = -2, ///< the service left before it answered, or the bus has ended
        QueueFull = -4, ///< too many requests are waiting for the service (-3 is left to callers without an endpoint)
        NotSent = -5, ///< the body cannot be encoded, or the connection to the broker did not accept it
    };

    virtual ~LxBusEndpoint() = default;

    /// Unique on the bus.
    virtual QString address() const = 0;
    /// Receives the messages of `topic` from now on. Of a topic that is routed by symbol, only the symbols subscribed
    /// by a "SubscribeRequest" are received.
    virtual void subscribe(const QString &topic) = 0;
    /// Sends a message that awaits no answer. The bus itself executes a "SubscribeRequest". Within a process, a service
    /// whose queue is full blocks this function and the requests as LxBusPublisher::publish() describes.
    virtual void put(const QString &type, const QVariant &body) = 0;
    /// Sends a request, whose answer LxBusListener::answered() receives. Returns Ok or a negative Result.
    virtual int requestAsync(const QString &type, const QVariant &body) = 0;
    /// Sends a request and waits for the answer. Returns a Result. Must not be called from a listener or a service.
    virtual int requestSync(const QString &type, const QVariant &body, QVariant *answer) = 0;
};

/// A request as a service sees it.
struct LxBusRequest
{
    QString type; ///< one of LxBusService::requestTypes()
    QVariant body; ///< the question
    QString client; ///< the sender's address as given by the sender: not verified
    quint64 id = 0; ///< 0 if no answer is awaited
    QByteArray returnAddress {}; ///< where answers are sent; only the link interprets it
};

/// A service: answers requests of its types. Called on the bus's threads, one call at a time.
class LxBusService
{
public:
    /// The types of the requests that the service answers. Read once, when the service is opened.
    virtual QStringList requestTypes() const = 0;
    /// Receives a request, which LxBusServicePort::answer() answers, at once or later.
    virtual void handle(const LxBusRequest &request) = 0;

protected:
    ~LxBusService() = default;
};

/// A service's connection to the bus. Any thread. The destructor leaves the bus as that of LxBusEndpoint does; requests
/// that the service has not answered fail with LxBusEndpoint::Closed.
class LxBusServicePort
{
public:
    virtual ~LxBusServicePort() = default;

    /// Answers `request`, once.
    virtual void answer(const LxBusRequest &request, const QString &type, const QVariant &body) = 0;
    /// Publishes to the sender of `request` only, if it has subscribed to `topic`. For requests that await no answer;
    /// may be called any number of times.
    virtual void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body) = 0;
};

/// A publisher's connection to the bus. Any thread.
class LxBusPublisher
{
public:
    virtual ~LxBusPublisher() = default;

    /// Publishes `body` on `topic`. `key` is the symbol of topics that are routed by symbol, otherwise empty. Returns
    /// the number of receivers that accepted the record; a broker counts as one.
    ///
    /// Within a process, a receiver whose queue is full blocks the call for a bounded time
    /// (LxBusOptions::publishTimeoutMs); after that its messages are dropped and counted until it has caught up. A
    /// callback of the bus is not blocked if no delivery thread would be left to empty the queue.
    virtual int publish(const QString &topic, const QString &key, const QVariant &body) = 0;
    /// False if nothing receives `topic` (and `key`). Always true with a broker, which does not report its receivers.
    virtual bool hasListeners(const QString &topic, const QString &key) const = 0;
    /// Waits until everything published before has been delivered to the receivers in this process and, with a broker,
    /// has reached the broker. False on time-out. Must not be called from a callback of the bus.
    virtual bool flush(int timeoutMs) = 0;
    /// A trading day begins, or begins again: the broker forgets the transactions and orders that were published before
    /// the previous call. Those since then are kept for clients that have not received them yet.
    virtual void beginDay() = 0;
};

/// The streams in which a broker keeps records for those who missed them (docs/operations.md).
struct LxBusStreams
{
    /// Where the broker keeps a stream.
    enum Storage { Memory, File };

    Storage lastStorage = Memory; ///< of the last value of each symbol
    qint64 lastBytes = 256LL * 1024 * 1024; ///< beyond which the broker refuses further ones
    Storage ticksStorage = File; ///< of the transactions and orders
    qint64 ticksBytes = 2LL * 1024 * 1024 * 1024; ///< beyond which the broker refuses further ones
    int ticksHours = 12; ///< after which transactions and orders are forgotten
    int replicas = 1; ///< in a cluster of brokers
};

/// How a bus behaves. The defaults suit interactive programs.
struct LxBusOptions
{
    int requestTimeoutMs = 10000; ///< of synchronous requests
    int publishTimeoutMs = 10000; ///< how long a publisher waits for a receiver whose queue is full
    int queueLimit = 8192; ///< messages waiting for one receiver at which its publishers are blocked
    int threads = 2; ///< delivery threads

    // With a broker only:
    int requestLimit = 1024; ///< requests of one user waiting for a service at which further ones are refused
    int pendingLimit = 65536; ///< messages waiting for one receiver at which its quotes are conflated
    bool sendAtOnce = true; ///< send each message immediately; false: collect for up to a millisecond, for throughput
    QString caFile; ///< trusted CA certificates (PEM); empty: LX_BUS_CA, or the system's
    QString credentialsFile; ///< the client's credentials; empty: LX_BUS_CREDENTIALS, or none
    QString streamPrefix = QStringLiteral("LX"); ///< the names of the streams are this with "_LAST" and "_TICKS"
    /// A new subscriber to transactions or orders receives all of the day that the broker keeps; false: the latest one.
    bool ticksOfTheDay = true;
    /// For the bus of a publisher: creates the streams if they are missing. The bus does not start if the broker has
    /// other streams for these records, or none at all.
    std::optional<LxBusStreams> streams;
};

/// The bus, which connects endpoints, services and publishers. Any thread.
class LxBusTransport
{
public:
    virtual ~LxBusTransport() = default;

    /// Opens an endpoint whose address is derived from `name` and unique. `listener` must outlive the endpoint.
    virtual std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) = 0;
    /// Opens a service, which must outlive the port. If several services of this process handle a request type, the one
    /// opened last receives the requests.
    virtual std::unique_ptr<LxBusServicePort> openService(LxBusService *service) = 0;
    /// Opens a publisher.
    virtual std::unique_ptr<LxBusPublisher> openPublisher() = 0;
    /// What this process's side of the bus has dropped.
    virtual const LxBusStatistics &statistics() const = 0;
    /// The number of messages that wait for the receivers of this process, requests for its services included.
    virtual quint64 waitingMessages() const = 0;
    /// The state of the connection to the broker.
    virtual LxBusConnection &connection() = 0;
};

/// The process's bus. Any thread.
namespace LxBus {

/// Starts the bus at `url`: "inproc:" within the process, "nats://[user[:password]@]host:port[,...]" through a broker,
/// "tls://..." through a broker with encryption. Takes at most five seconds, or ten if it creates streams. False, with
/// the reason in `error`, if the URL is invalid, the broker cannot be reached, refuses the connection or has no such
/// streams, or a bus is already running.
LXBUS_EXPORT bool start(const QString &url, const LxBusOptions &options = {}, QString *error = nullptr);
/// The running bus; starts "inproc:" if none is running.
LXBUS_EXPORT std::shared_ptr<LxBusTransport> current();
/// Ends the running bus once the callbacks in progress have returned; must not be called from one. Endpoints, services
/// and publishers that are still open stay valid without effect: they send nothing, receive nothing, and requests fail
/// with Closed. Called automatically when the process exits.
LXBUS_EXPORT void stop();

} // namespace LxBus
