#include "mailbox_p.h"

#include "deliverypool_p.h"

#include <QThread>

#include <iterator>
#include <utility>

namespace {

constexpr int MessagesPerTurn = 512; // delivered before the thread turns to the next mailbox
constexpr quint64 UnconflatedLimit = 4; // multiple of the limit up to which messages without a conflation key may wait

} // namespace

LxMailbox::LxMailbox(LxDeliveryPool *pool, LxMailboxPolicy policy, Receiver receiver, SlowReport reportSlow)
    : m_pool(pool), m_whenFull(policy.whenFull), m_limit(static_cast<quint64>(policy.limit)),
      m_receiver(std::move(receiver)), m_reportSlow(std::move(reportSlow))
{
}

void LxMailbox::queue(LxDelivery delivery)
{
    m_queue.push_back(std::move(delivery));
    ++m_posted;
    if (!std::exchange(m_scheduled, true))
        m_pool->schedule(shared_from_this());
}

// Puts `delivery` in place of an older message with its key, which `delivery` receives. False if there is none.
bool LxMailbox::replaceOlder(LxDelivery *delivery, quint64 conflationKey)
{
    const auto older = m_conflatable.find(conflationKey);
    const quint64 oldestWaiting = m_posted - m_queue.size() + 1;
    if (older == m_conflatable.end() || older->second < oldestWaiting)
        return false;
    std::swap(m_queue[older->second - oldestWaiting], *delivery);
    return true;
}

LxMailbox::Fate LxMailbox::offer(LxDelivery delivery, quint64 conflationKey, Sender sender)
{
    QMutexLocker locker(&m_mutex);
    if (m_closed)
        return Fate::Closed;
    if (m_whenFull == LxMailboxPolicy::Block) {
        if (sender == CanWait) {
            if (m_stalled && waiting() > m_limit / 2)
                return Fate::Refused;
            m_stalled = false;
        }
        queue(std::move(delivery));
        return sender == CanWait && waiting() >= m_limit ? Fate::QueuedAndFull : Fate::Queued;
    }
    if (waiting() < m_limit) {
        m_conflatable.erase(conflationKey); // a later message must not overtake this one
        queue(std::move(delivery));
        return Fate::Queued;
    }
    Fate fate = Fate::Queued;
    if (conflationKey != 0 && replaceOlder(&delivery, conflationKey)) {
        fate = Fate::Conflated;
    } else if (conflationKey == 0 && waiting() >= m_limit * UnconflatedLimit) {
        fate = Fate::Refused;
    } else {
        queue(std::move(delivery));
        if (conflationKey != 0)
            m_conflatable[conflationKey] = m_posted;
    }
    const bool fellBehind = !std::exchange(m_slow, true);
    locker.unlock();
    if (fellBehind && m_reportSlow)
        m_reportSlow(true);
    return fate;
}

void LxMailbox::waitForRoom(QDeadlineTimer deadline)
{
    const bool mayWait = m_pool->beginWait();
    {
        QMutexLocker locker(&m_mutex);
        const auto full = [this] { return !m_closed && waiting() > m_limit / 2; };
        ++m_waiters;
        if (mayWait && m_deliverer != QThread::currentThreadId()) {
            while (full() && m_progress.wait(&m_mutex, deadline)) { }
        }
        --m_waiters;
        m_stalled = full();
    }
    if (mayWait)
        m_pool->endWait();
}

bool LxMailbox::waitUntilDelivered(QDeadlineTimer deadline)
{
    QMutexLocker locker(&m_mutex);
    const quint64 target = m_posted;
    const auto delivered = [this, target] { return m_closed || m_delivered >= target; };
    ++m_waiters;
    while (!delivered() && m_progress.wait(&m_mutex, deadline)) { }
    --m_waiters;
    return delivered();
}

quint64 LxMailbox::size()
{
    QMutexLocker locker(&m_mutex);
    return waiting();
}

std::vector<LxDelivery> LxMailbox::close()
{
    QMutexLocker locker(&m_mutex);
    m_closed = true;
    std::vector<LxDelivery> left(std::make_move_iterator(m_queue.begin()), std::make_move_iterator(m_queue.end()));
    m_queue.clear();
    m_conflatable.clear();
    m_progress.wakeAll();
    const bool wasSlow = std::exchange(m_slow, false);
    locker.unlock();
    if (wasSlow && m_reportSlow)
        m_reportSlow(false);
    return left;
}

void LxMailbox::waitForDelivery()
{
    QMutexLocker locker(&m_mutex);
    ++m_waiters;
    while (m_deliverer && m_deliverer != QThread::currentThreadId())
        m_progress.wait(&m_mutex);
    --m_waiters;
}

bool LxMailbox::deliverSome()
{
    QMutexLocker locker(&m_mutex);
    m_deliverer = QThread::currentThreadId();
    for (int i = 0; i < MessagesPerTurn && !m_queue.empty(); ++i) {
        {
            const LxDelivery delivery = std::move(m_queue.front());
            m_queue.pop_front();
            locker.unlock();
            m_receiver(delivery);
        }
        locker.relock();
        ++m_delivered;
        if (m_waiters > 0)
            m_progress.wakeAll();
        if (m_slow && waiting() <= m_limit / 2) {
            m_slow = false;
            locker.unlock();
            if (m_reportSlow)
                m_reportSlow(false);
            locker.relock();
        }
    }
    m_deliverer = nullptr;
    m_progress.wakeAll();
    m_scheduled = !m_queue.empty();
    return m_scheduled;
}
