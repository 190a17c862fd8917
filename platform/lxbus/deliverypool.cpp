#include "deliverypool_p.h"

#include "mailbox_p.h"

#include <QThread>

#include <algorithm>

LxDeliveryPool::LxDeliveryPool(int threads)
{
    for (int i = 0; i < threads; ++i) {
        m_threads.emplace_back(QThread::create([this] { work(); }));
        m_threads.back()->setObjectName(QStringLiteral("LxBus_Delivery_%1").arg(i + 1));
    }
    for (const auto &thread : m_threads)
        thread->start();
}

LxDeliveryPool::~LxDeliveryPool()
{
    end();
}

void LxDeliveryPool::end()
{
    std::deque<std::shared_ptr<LxMailbox>> left; // outside the lock, so that mailboxes are destroyed without it
    {
        QMutexLocker locker(&m_mutex);
        m_ending = true;
        left.swap(m_queue);
        m_ready.wakeAll();
    }
    for (const auto &thread : m_threads)
        thread->wait();
}

void LxDeliveryPool::schedule(std::shared_ptr<LxMailbox> mailbox)
{
    QMutexLocker locker(&m_mutex);
    if (m_ending)
        return;
    m_queue.push_back(std::move(mailbox));
    m_ready.wakeOne();
}

bool LxDeliveryPool::isCurrentThread() const
{
    return std::any_of(m_threads.cbegin(), m_threads.cend(),
                       [](const auto &thread) { return thread.get() == QThread::currentThread(); });
}

bool LxDeliveryPool::beginWait()
{
    if (!isCurrentThread())
        return true;
    QMutexLocker locker(&m_mutex);
    if (m_waiting + 1 >= m_threads.size())
        return false;
    ++m_waiting;
    return true;
}

void LxDeliveryPool::endWait()
{
    if (!isCurrentThread())
        return;
    QMutexLocker locker(&m_mutex);
    --m_waiting;
}

void LxDeliveryPool::work()
{
    QMutexLocker locker(&m_mutex);
    while (!m_ending) {
        if (m_queue.empty()) {
            m_ready.wait(&m_mutex);
            continue;
        }
        std::shared_ptr<LxMailbox> mailbox = std::move(m_queue.front());
        m_queue.pop_front();
        locker.unlock();
        if (mailbox->deliverSome())
            schedule(std::move(mailbox));
        mailbox.reset();
        locker.relock();
    }
}
