#include "busthread_p.h"

#include <lxdouble/messages.h>

#include <algorithm>

namespace {

// Constructed when the library is loaded, so that it outlives every presenter that a static object of the client may
// own.
BusThread theBusThread;

} // namespace

BusThread &BusThread::instance()
{
    return theBusThread;
}

BusThread::BusThread()
{
    qRegisterMetaType<LxDouble::Body>(); // for the same reason as in Recorder: the queue may still hold bodies at exit
    setObjectName(QStringLiteral("LxDouble_BusThread"));
}

BusThread::~BusThread()
{
    {
        QMutexLocker locker(&m_mutex);
        m_ending = true;
        m_changed.wakeAll();
    }
    wait();
}

void BusThread::post(LxPresenterClass *presenter, std::function<void()> call)
{
    QMutexLocker locker(&m_mutex);
    m_queue.push_back({ presenter, std::move(call) });
    m_changed.wakeAll();
    if (!isRunning())
        start();
}

void BusThread::forget(LxPresenterClass *presenter)
{
    QMutexLocker locker(&m_mutex);
    m_queue.erase(std::remove_if(m_queue.begin(), m_queue.end(),
                                 [presenter](const Delivery &delivery) { return delivery.presenter == presenter; }),
                  m_queue.end());
    m_changed.wakeAll();
    while (m_current == presenter && QThread::currentThread() != this)
        m_changed.wait(&m_mutex);
}

void BusThread::waitUntilIdle()
{
    QMutexLocker locker(&m_mutex);
    while (m_current || !m_queue.empty())
        m_changed.wait(&m_mutex);
}

void BusThread::run()
{
    QMutexLocker locker(&m_mutex);
    while (!m_ending) {
        if (m_queue.empty()) {
            m_changed.wait(&m_mutex);
            continue;
        }
        const Delivery delivery = std::move(m_queue.front());
        m_queue.pop_front();
        m_current = delivery.presenter;
        locker.unlock();
        delivery.call();
        locker.relock();
        m_current = nullptr;
        m_changed.wakeAll();
    }
}
