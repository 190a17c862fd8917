#include "bus.h"

#include "buscore_p.h"
#include "links/loopbacklink_p.h"
#include "links/natslink_p.h"
#include "links/natsurl_p.h"

#include <lxmsg/packedbody.h>

#include <QUrl>

namespace {

QBasicMutex busMutex; // guards what follows
std::shared_ptr<LxBusCore> runningBus;

// Ends the bus when the process exits.
struct EndAtExit
{
    ~EndAtExit() { LxBus::stop(); }
};

void run(const LxBusOptions &options, std::unique_ptr<LxLink> link)
{
    qRegisterMetaType<LxPackedBody>();
    const bool isLocal = link->isLocal();
    runningBus = std::make_shared<LxBusCore>(options, std::move(link));
    // Must be destroyed before the static data that the bus and its link use, and is therefore constructed after it:
    // Qt's meta types; for a broker also OpenSSL and the NATS library, which may be initialised later than the first
    // bus.
    if (isLocal)
        static const EndAtExit local;
    else
        static const EndAtExit connected;
}

} // namespace

namespace LxBus {

bool start(const QString &url, const LxBusOptions &options, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error)
            *error = reason;
        return false;
    };
    const bool broker = LxNatsUrl::hasScheme(url);
    if (!broker && QUrl(url).scheme() != QLatin1String("inproc"))
        return fail(QStringLiteral("invalid bus URL \"%1\": its scheme must be inproc, nats or tls").arg(url));
    if (options.threads < 1 || options.queueLimit < 1 || options.pendingLimit < 1)
        return fail(QStringLiteral("the numbers of delivery threads and of waiting messages must be at least 1"));
    QMutexLocker locker(&busMutex);
    if (runningBus)
        return fail(QStringLiteral("a bus is already running"));
    std::unique_ptr<LxLink> link;
    if (broker) {
        QString reason;
        link = LxNatsLink::connect(url, options, &reason);
        if (!link)
            return fail(reason);
    } else {
        link = std::make_unique<LxLoopbackLink>();
    }
    run(options, std::move(link));
    return true;
}

std::shared_ptr<LxBusTransport> current()
{
    QMutexLocker locker(&busMutex);
    if (!runningBus)
        run({}, std::make_unique<LxLoopbackLink>());
    return runningBus;
}

void stop()
{
    std::shared_ptr<LxBusCore> bus;
    {
        QMutexLocker locker(&busMutex);
        bus.swap(runningBus);
    }
    if (bus)
        bus->close();
}

} // namespace LxBus
