#include "lxthread.h"

#include <lxdouble/threads.h>

#include <QMutex>

namespace {

QMutex hookMutex;
std::function<void()> connectHook; // guarded by hookMutex

} // namespace

LxThread::LxThread(QObject *parent) : QThread(parent) { }

LxThread::~LxThread() = default;

void LxThread::connectNotify(const QMetaMethod &)
{
    std::function<void()> hook;
    {
        QMutexLocker locker(&hookMutex);
        hook = connectHook;
    }
    if (hook)
        hook();
}

void LxDouble::setThreadConnectHook(const std::function<void()> &hook)
{
    QMutexLocker locker(&hookMutex);
    connectHook = hook;
}
