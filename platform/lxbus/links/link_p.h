#pragma once

#include "bus.h"

#include <QDeadlineTimer>

/// A request that has arrived by a link.
struct LxArrivingRequest : LxBusRequest
{
    QString sender; ///< identifies the sender as reliably as the link can; senders are served in turn
    size_t bytes = 0; ///< its encoded size, which counts towards the limits
};

/// The callbacks of a link. Called on the link's threads; for one topic and symbol, or one client, one call at a time.
class LxLinkObserver
{
public:
    /// A record for all clients that read `topic` and `key`. It is ignored if it arrived by a `route` that has been
    /// closed; a local link has no routes and passes 0. Returns the number of clients that accepted it.
    virtual int recordArrived(quint64 route, const QString &topic, const QString &key, const QVariant &body) = 0;
    /// A message that was published to one client only.
    virtual void messageArrived(const QString &client, const QString &topic, const QVariant &body) = 0;
    /// A request for a service of this bus; its id is not 0 if an answer is awaited.
    virtual LxBusEndpoint::Result requestArrived(LxArrivingRequest request) = 0;
    /// The answer to the request `id` that this bus sent. If `result` is not Ok, no answer will come and `result` says
    /// why.
    virtual void answerArrived(quint64 id, LxBusEndpoint::Result result, const QString &type, const QVariant &body) = 0;

    virtual void connectionLost(const QString &reason) = 0;
    virtual void connectionRestored() = 0;
    virtual void connectionClosed(const QString &reason) = 0;
    /// The broker does not permit a subject.
    virtual void connectionRefused(const QString &reason) = 0;
    virtual void dropped(LxBusDrop reason, const QString &type, quint64 count = 1) = 0;

protected:
    ~LxLinkObserver() = default;
};

/// Moves messages between this bus and those of other processes, or within the process. Any thread. After close()
/// nothing is sent.
///
/// The bus decides which client receives what; it opens a route or service for what the link has to deliver. The
/// functions that open and close routes and services may be called while the bus holds its locks, so a link must not
/// call its observer from them.
class LxLink
{
public:
    virtual ~LxLink() = default;

    /// Starts to call `observer`, which outlives the link. Called once, before anything else.
    virtual void start(LxLinkObserver *observer) = 0;
    /// Sends what is buffered, closes the link permanently and waits for calls of the observer that are in progress.
    /// Must not be called from one.
    virtual void close() = 0;

    /// True if publishers and receivers are in the same process, so that all published records arrive here and
    /// publishers can be blocked.
    virtual bool isLocal() const = 0;
    /// The address of a client of this name; unique in the network, unless the link is local.
    virtual QString addressOf(const QString &name) = 0;

    /// Delivers the records of `topic` and `key` (empty if the topic is not routed by symbol) from now on, the latest
    /// one first. `route` is a new number, which is never used again.
    virtual void openRoute(quint64 route, const QString &topic, const QString &key) = 0;
    virtual void closeRoute(quint64 route) = 0;
    /// Delivers requests of this type from now on.
    virtual void openService(const QString &requestType) = 0;
    virtual void closeService(const QString &requestType) = 0;

    /// Returns the number of receivers that accepted the record; a broker counts as one.
    virtual int publish(const QString &topic, const QString &key, const QVariant &body) = 0;
    /// Sends a request of `request.client`. The answer arrives with `request.id`; 0 means that none is awaited.
    virtual LxBusEndpoint::Result send(const LxBusRequest &request) = 0;
    /// Publishes to the client that sent `request`.
    virtual void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body) = 0;
    virtual void answer(const LxBusRequest &request, const QString &type, const QVariant &body) = 0;
    /// Tells the client that its request will not be answered.
    virtual void refuse(const LxBusRequest &request, LxBusEndpoint::Result reason) = 0;
    /// Waits until everything published before has arrived at the observers of this process, or at the broker.
    virtual bool flush(QDeadlineTimer deadline) = 0;
    /// The link need not keep transactions and orders that were published before the previous call.
    virtual void beginDay() = 0;
};
