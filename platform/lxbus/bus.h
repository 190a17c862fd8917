#pragma once

#include <lxbus/busconnection.h>
#include <lxbus/busstatistics.h>
#include <lxbus/lxbus_export.h>

#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

/// The ear of an endpoint. Called on the bus's threads, one call at a time for each endpoint, messages of one topic in
/// the order published. Never called once the endpoint's handle is destroyed.
class LxBusListener
{
public:
    virtual void published(const QString &source, const QString &topic, const QVariant &body) = 0;
    /// The answer to the asynchronous request `id`.
    virtual void answered(int id, const QString &source, const QString &type, const QVariant &body) = 0;

protected:
    ~LxBusListener() = default;
};

/// A client's place on the bus: what a presenter holds. Any thread.
///
/// Destroying it leaves the bus: it waits for a call of the listener that is under way (unless destroyed by that very
/// call), after which none comes.
class LxBusEndpoint
{
public:
    enum Result {
        Ok = 0,
        TimedOut = 1,
        NoService = -1, ///< nobody serves the type
        Closed = -2, ///< the service left before it answered
        QueueFull = -4, ///< the service has stopped taking requests; -3 is what callers that have no endpoint return
        NotSent = -5, ///< the body cannot travel, or the broker's connection did not take it
    };

    virtual ~LxBusEndpoint() = default;

    /// The address by which services answer this client alone; unique on the bus.
    virtual QString address() const = 0;
    /// Receives `topic` from now on. Topics that are routed by symbol bring only the symbols asked for by a
    /// "SubscribeRequest".
    virtual void subscribe(const QString &topic) = 0;
    /// Sends and forgets. A "SubscribeRequest" is carried out by the bus itself. A service whose queue is full holds
    /// this and the requests up as a receiver does LxBusServicePort::publish().
    virtual void put(const QString &type, const QVariant &body) = 0;
    /// Sends; the answer comes to LxBusListener::answered. Ok or a negative result.
    virtual int requestAsync(const QString &type, const QVariant &body) = 0;
    /// Sends and waits for the answer. Not to be called from a listener or a service.
    virtual int requestSync(const QString &type, const QVariant &body, QVariant *answer) = 0;
};

/// A request as a service sees it.
struct LxBusRequest
{
    QString type;
    QVariant body;
    QString client; ///< the address that sent it
    quint64 id = 0; ///< 0 if no answer is awaited
};

/// A service: answers requests of its types. Called on the bus's threads, one call at a time.
class LxBusService
{
public:
    virtual QStringList requestTypes() const = 0;
    virtual void handle(const LxBusRequest &request) = 0;

protected:
    ~LxBusService() = default;
};

/// A service's place on the bus. Any thread; destroying it leaves the bus as LxBusEndpoint does.
class LxBusServicePort
{
public:
    virtual ~LxBusServicePort() = default;

    /// Publishes `body` on `topic`. `key` is the symbol of topics that are routed by symbol, else empty. A receiver
    /// whose queue is full holds the call up for a bounded time (LxBusOptions::publishTimeoutMs); after that its
    /// messages are dropped and counted until it has caught up. A callback of the bus is not held up when no delivery
    /// thread would be left to make room. Returns the number of receivers in this process's sight: a broker counts as
    /// one.
    virtual int publish(const QString &topic, const QString &key, const QVariant &body) = 0;
    /// Publishes to one client only, by its address, if it has subscribed `topic`.
    virtual void publishTo(const QString &client, const QString &topic, const QVariant &body) = 0;
    /// Answers `request`, once.
    virtual void answer(const LxBusRequest &request, const QString &type, const QVariant &body) = 0;
    /// False if publishing on `topic` (and `key`) would reach nobody. Who listens behind a broker is not known: true.
    virtual bool hasListeners(const QString &topic, const QString &key) const = 0;
    /// Waits until everything that was published before has been taken by its receivers, or by the broker. False on
    /// time-out. Not to be called from a listener.
    virtual bool flush(int timeoutMs) = 0;
};

struct LxBusOptions
{
    int requestTimeoutMs = 10000; ///< of synchronous requests
    int publishTimeoutMs = 10000; ///< how long a publisher waits for a full receiver
    int queueLimit = 8192; ///< messages waiting for one receiver before its publishers are held up
    int threads = 2; ///< delivery threads

    // Of buses with a broker:
    int pendingLimit = 65536; ///< messages waiting for one receiver before its quotes are conflated
    bool sendAtOnce = true; ///< each message by itself; otherwise up to a millisecond's worth together, for bulk
    QString caFile; ///< certificates (PEM) of who may vouch for the broker; empty: LX_BUS_CA, or the system's
    QString credentialsFile; ///< the client's credentials; empty: LX_BUS_CREDENTIALS, or none
};

/// A transport behind the bus: where endpoints and services meet.
class LxBusTransport
{
public:
    virtual ~LxBusTransport() = default;

    /// Opens an endpoint under `name`; the address is made unique from it.
    virtual std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) = 0;
    virtual std::unique_ptr<LxBusServicePort> openService(LxBusService *service) = 0;
    virtual const LxBusStatistics &statistics() const = 0;
    virtual LxBusConnection &connection() = 0;
};

/// The process's bus. Any thread.
namespace LxBus {

/// Starts the bus at `url`: "inproc:" within the process, or through a broker
/// "nats://[user[:password]@]host:port[,...]", encrypted "tls://...". False within five seconds, with a reason in
/// `error`, if there is no such transport, the broker cannot be reached or refuses, or a bus runs already.
LXBUS_EXPORT bool start(const QString &url, const LxBusOptions &options = {}, QString *error = nullptr);
/// The running bus; starts "inproc:" if none runs. Endpoints and services keep it alive.
LXBUS_EXPORT std::shared_ptr<LxBusTransport> current();
/// Lets go of the running bus; it ends when the last endpoint and service have left.
LXBUS_EXPORT void stop();

} // namespace LxBus
