#include "requestservice.h"

#include "requestserviceworker.h"

#include <lxutils/lxthread.h>

#include <QSemaphore>

#include <limits>

// Requests waiting for the service's thread; more wait in the bus, which knows how to hold up who sends them.
constexpr int WaitingLimit = 256;

namespace RequestStatus {
const QString badRequest = QStringLiteral("1");
const QString nothingKnown = QStringLiteral("2");
const QString storeFailure = QStringLiteral("3");
} // namespace RequestStatus

struct RequestService::Private
{
    RequestServiceWorker worker;
    QSemaphore room { WaitingLimit };
    LxThread thread;
};

RequestService::RequestService() : d(std::make_unique<Private>())
{
    d->thread.setObjectName(QStringLiteral("RequestService_Thread"));
    d->worker.moveToThread(&d->thread);
    d->thread.start();
}

RequestService::~RequestService()
{
    // Queued behind the requests handed over so far.
    const auto leave = [this] {
        // Leaving waits for the bus's call under way, which must not wait for this thread in turn.
        d->room.release(std::numeric_limits<int>::max() / 2);
        d->worker.stop();
    };
    QMetaObject::invokeMethod(&d->worker, leave, Qt::BlockingQueuedConnection);
    // And this behind those that came while the service was leaving the bus.
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
    const auto answer = [this, request] {
        d->worker.answer(request);
        d->room.release();
    };
    QMetaObject::invokeMethod(&d->worker, answer, Qt::QueuedConnection);
}
