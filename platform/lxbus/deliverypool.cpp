#include "deliverypool.h"

#include <QDeadlineTimer>

namespace {

constexpr size_t MessagesPerTurn = 512; // then the next mailbox has its turn
constexpr size_t MessagesPerWake = 64;  // how often waiting publishers are looked after

} // namespace

LxMailbox::LxMailbox(LxDeliveryPool *pool, int limit, Receiver receiver)
    : m_pool(pool), m_limit(static_cast<quint64>(limit)), m_receiver(std::move(receiver))
{
}

bool LxMailbox::post(LxDelivery delivery)
{
    bool schedule = false;
    {
        QMutexLocker locker(&m_mutex);
        if (m_closed)
            return false;
        m_incoming.push_back(std::move(delivery));
        m_posted.fetch_add(1);
        schedule = !m_scheduled;
        m_scheduled = true;
    }
    if (schedule)
        m_pool->schedule(shared_from_this());
    return true;
}

bool LxMailbox::waitForRoom(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker locker(&m_mutex);
    ++m_waiters;
    while (!m_closed && waiting() > m_limit / 2) {
        if (!m_progress.wait(&m_mutex, deadline)) {
            m_stalled = waiting() > m_limit / 2;
            break;
        }
    }
    --m_waiters;
    return !m_stalled;
}

bool LxMailbox::isStalled()
{
    QMutexLocker locker(&m_mutex);
    if (m_stalled && waiting() <= m_limit / 2)
        m_stalled = false;
    return m_stalled;
}

bool LxMailbox::waitUntilDelivered(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker locker(&m_mutex);
    const quint64 target = m_posted.load();
    ++m_waiters;
    while (m_delivered.load() < target && m_progress.wait(&m_mutex, deadline)) { }
    --m_waiters;
    return m_delivered.load() >= target;
}

quint64 LxMailbox::close()
{
    QMutexLocker locker(&m_mutex);
    m_closed = true;
    ++m_waiters;
    while (m_deliverer && m_deliverer != QThread::currentThreadId())
        m_progress.wait(&m_mutex);
    --m_waiters;
    const quint64 left = waiting();
    m_incoming.clear();
    m_delivered.store(m_posted.load());
    m_progress.wakeAll();
    return left;
}

bool LxMailbox::deliverSome()
{
    {
        QMutexLocker locker(&m_mutex);
        if (m_closed)
            return false;
        if (m_batchPosition == m_batch.size()) {
            m_batch.clear();
            m_batchPosition = 0;
            m_batch.swap(m_incoming);
        }
        m_deliverer = QThread::currentThreadId();
    }

    const size_t end = std::min(m_batch.size(), m_batchPosition + MessagesPerTurn);
    while (m_batchPosition < end && !m_closed) {
        const LxDelivery delivery = std::move(m_batch[m_batchPosition++]);
        m_receiver(delivery);
        m_delivered.fetch_add(1);
        if (m_batchPosition % MessagesPerWake == 0 && m_waiters.load() > 0) {
            QMutexLocker locker(&m_mutex);
            m_progress.wakeAll();
        }
    }

    QMutexLocker locker(&m_mutex);
    m_deliverer = nullptr;
    m_progress.wakeAll();
    if (!m_closed && (m_batchPosition < m_batch.size() || !m_incoming.empty()))
        return true;
    m_scheduled = false;
    return false;
}

class LxDeliveryPool::Worker : public LxThread
{
public:
    explicit Worker(LxDeliveryPool *pool) : m_pool(pool) { }

private:
    void run() override { m_pool->work(); }

    LxDeliveryPool *const m_pool;
};

LxDeliveryPool::LxDeliveryPool(int threads)
{
    for (int i = 0; i < threads; ++i) {
        m_threads.push_back(std::make_unique<Worker>(this));
        m_threads.back()->setObjectName(QStringLiteral("LxBus_Delivery_%1").arg(i + 1));
        m_threads.back()->start();
    }
}

LxDeliveryPool::~LxDeliveryPool()
{
    {
        QMutexLocker locker(&m_mutex);
        m_ending = true;
        m_ready.wakeAll();
    }
    for (const auto &thread : m_threads)
        thread->wait();
}

void LxDeliveryPool::schedule(std::shared_ptr<LxMailbox> mailbox)
{
    QMutexLocker locker(&m_mutex);
    m_queue.push_back(std::move(mailbox));
    m_ready.wakeOne();
}

void LxDeliveryPool::work()
{
    for (;;) {
        std::shared_ptr<LxMailbox> mailbox;
        {
            QMutexLocker locker(&m_mutex);
            while (m_queue.empty() && !m_ending)
                m_ready.wait(&m_mutex);
            if (m_ending)
                return;
            mailbox = std::move(m_queue.front());
            m_queue.pop_front();
        }
        if (mailbox->deliverSome())
            schedule(std::move(mailbox));
    }
}
