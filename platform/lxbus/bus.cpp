#include "bus.h"

#include "inprocbus.h"
#include "natsbus.h"
#include "natsurl.h"

#include <lxmsg/packedbody.h>

#include <QMutex>
#include <QUrl>

namespace {

QMutex busMutex;
std::shared_ptr<LxBusTransport> &runningBus()
{
    // Destroying the bodies that the bus still holds at exit takes Qt's type registry, which must be the older of the
    // two.
    qRegisterMetaType<LxPackedBody>();
    static std::shared_ptr<LxBusTransport> bus;
    return bus;
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
        return fail(QStringLiteral("no transport for the bus \"%1\"").arg(url));
    if (options.threads < 1 || options.queueLimit < 1)
        return fail(QStringLiteral("a bus needs a delivery thread and room for a message"));
    QMutexLocker locker(&busMutex);
    if (runningBus())
        return fail(QStringLiteral("a bus runs already"));
    QString reason;
    runningBus() = broker ? createNatsBus(url, options, &reason) : createInprocBus(options);
    return runningBus() ? true : fail(reason);
}

std::shared_ptr<LxBusTransport> current()
{
    QMutexLocker locker(&busMutex);
    if (!runningBus())
        runningBus() = createInprocBus(LxBusOptions());
    return runningBus();
}

void stop()
{
    std::shared_ptr<LxBusTransport> bus;
    QMutexLocker locker(&busMutex);
    bus.swap(runningBus());
}

} // namespace LxBus
