#include "lxthread.h"

#ifdef Q_OS_LINUX
#include "lxeventdispatcher_p.h"
#endif

LxThread::LxThread(QObject *parent) : QThread(parent) { }

LxThread::~LxThread() = default;

void LxThread::start(Priority priority)
{
#ifdef Q_OS_LINUX
    // Here and not in the constructor: a thread that never runs would never delete it, and one that runs again needs
    // another.
    if (!isRunning() && !eventDispatcher())
        setEventDispatcher(new LxEventDispatcher);
#endif
    QThread::start(priority);
}
