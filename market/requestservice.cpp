#include "requestservice.h"

#include "requestserviceworker.h"

#include <lxutils/lxthread.h>

#include <QElapsedTimer>
#include <QSemaphore>

#include <limits>

// Requests that may wait for the service's thread. The others wait in the bus, which serves its clients in turn.
constexpr int WaitingLimit = 2;

namespace RequestStatus {
const QString badRequest = QStringLiteral("1");
const QString notFound = QStringLiteral("2");
const QString storeFailure = QStringLiteral("3");
} // namespace RequestStatus

struct RequestService::Private
{
    explicit Private(const CurrentDayBars *live) : worker(live) { }

    RequestServiceWorker worker;
    std::function<void(const RequestOutcome &)> observe;
    QSemaphore room { WaitingLimit };
    LxThread thread;
};

RequestService::RequestService(const CurrentDayBars *live) : d(std::make_unique<Private>(live))
{
    d->thread.setObjectName(QStringLiteral("RequestService_Thread"));
    d->worker.moveToThread(&d->thread);
    d->thread.start();
}

RequestService::~RequestService()
{
    // Queued after the requests received so far.
    const auto leave = [this] {
        // Leaving the bus waits until handle() has returned, so handle() must not wait for room on this thread.
        d->room.release(std::numeric_limits<int>::max() / 2);
        d->worker.stop();
    };
    QMetaObject::invokeMethod(&d->worker, leave, Qt::BlockingQueuedConnection);
    // Queued after the requests that arrived while the service was leaving the bus.
    QMetaObject::invokeMethod(
        &d->worker, [this] { d->thread.quit(); }, Qt::QueuedConnection);
    d->thread.wait();
}

bool RequestService::start(const QString &storePath, QString *error)
{
    bool started = false;
    QMetaObject::invokeMethod(
        &d->worker, [&] { started = d->worker.start(this, storePath, error); }, Qt::BlockingQueuedConnection);
    return started;
}

void RequestService::setObserver(std::function<void(const RequestOutcome &)> observe)
{
    d->observe = std::move(observe);
}

int RequestService::waitingRequests() const
{
    return qMax(0, WaitingLimit - d->room.available());
}

quint64 RequestService::droppedRequests() const
{
    return d->worker.dropped();
}

QStringList RequestService::requestTypes() const
{
    return RequestServiceWorker::requestTypes();
}

void RequestService::handle(const LxBusRequest &request)
{
    d->room.acquire();
    QElapsedTimer sinceArrival;
    sinceArrival.start();
    const auto answer = [this, request, sinceArrival] {
        const RequestOutcome::Result result = d->worker.answer(request);
        if (d->observe)
            d->observe({ request.type, result, static_cast<double>(sinceArrival.nsecsElapsed()) / 1e9 });
        d->room.release();
    };
    QMetaObject::invokeMethod(&d->worker, answer, Qt::QueuedConnection);
}
