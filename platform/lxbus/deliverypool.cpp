#include "deliverypool.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <iterator>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

namespace {

constexpr size_t MessagesPerTurn = 512; // then the next mailbox has its turn
constexpr size_t MessagesPerWake = 64; // how often waiting publishers are looked after
constexpr quint64 UnconflatedLimit = 4; // in limits: what may wait of messages that cannot replace each other

// How long a thread without work looks out for more before it sleeps. Putting it to sleep and waking it for each
// message of a fast publisher costs both of them more than the message does.
constexpr std::chrono::microseconds LookOut(5);

} // namespace

LxMailbox::LxMailbox(LxDeliveryPool *pool, int limit, Receiver receiver, SlowReport reportSlow)
    : m_pool(pool), m_limit(static_cast<quint64>(limit)), m_receiver(std::move(receiver)),
      m_reportSlow(std::move(reportSlow))
{
}

bool LxMailbox::queue(LxDelivery &&delivery)
{
    m_incoming.push_back(std::move(delivery));
    ++m_posted;
    return !std::exchange(m_scheduled, true);
}

LxMailbox::Outcome LxMailbox::offer(LxDelivery delivery)
{
    bool schedule = false;
    Outcome outcome = Taken;
    {
        QMutexLocker locker(&m_mutex);
        if (m_closed)
            return Closed;
        if (m_stalled && waiting() > m_limit / 2)
            return Stalled;
        m_stalled = false;
        schedule = queue(std::move(delivery));
        if (waiting() >= m_limit)
            outcome = TakenAndFull;
    }
    if (schedule)
        m_pool->schedule(shared_from_this());
    return outcome;
}

LxMailbox::Fate LxMailbox::offerOrConflate(LxDelivery delivery, quint64 conflationKey)
{
    bool schedule = false;
    bool fellBehind = false;
    Fate fate = Fate::Queued;
    {
        QMutexLocker locker(&m_mutex);
        if (m_closed)
            return Fate::Closed;
        if (waiting() < m_limit) {
            m_conflatable.erase(conflationKey); // whatever comes next belongs behind this one
            schedule = queue(std::move(delivery));
        } else {
            fellBehind = !std::exchange(m_slow, true);
            const auto older = conflationKey != 0 ? m_conflatable.find(conflationKey) : m_conflatable.end();
            if (older != m_conflatable.end()) {
                std::swap(m_incoming[older->second], delivery); // the older one is destroyed outside the lock
                fate = Fate::Conflated;
            } else if (conflationKey == 0 && waiting() >= m_limit * UnconflatedLimit) {
                fate = Fate::Refused;
            } else {
                if (conflationKey != 0)
                    m_conflatable.emplace(conflationKey, m_incoming.size());
                schedule = queue(std::move(delivery));
            }
        }
    }
    if (schedule)
        m_pool->schedule(shared_from_this());
    if (fellBehind && m_reportSlow)
        m_reportSlow(true);
    return fate;
}

bool LxMailbox::post(LxDelivery delivery)
{
    bool schedule = false;
    {
        QMutexLocker locker(&m_mutex);
        if (m_closed)
            return false;
        schedule = queue(std::move(delivery));
    }
    if (schedule)
        m_pool->schedule(shared_from_this());
    return true;
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
    const auto delivered = [this, target] { return m_closed || m_delivered.load() >= target; };
    ++m_waiters;
    while (!delivered() && m_progress.wait(&m_mutex, deadline)) { }
    --m_waiters;
    return delivered();
}

std::vector<LxDelivery> LxMailbox::close()
{
    std::vector<LxDelivery> left;
    QMutexLocker locker(&m_mutex);
    m_closed = true;
    while (m_deliverer && m_deliverer != QThread::currentThreadId())
        m_progress.wait(&m_mutex);
    const auto next = m_batch.begin() + static_cast<std::ptrdiff_t>(m_batchPosition);
    left.insert(left.end(), std::make_move_iterator(next), std::make_move_iterator(m_batch.end()));
    left.insert(left.end(), std::make_move_iterator(m_incoming.begin()), std::make_move_iterator(m_incoming.end()));
    m_incoming.clear();
    m_conflatable.clear();
    m_progress.wakeAll();
    const bool wasSlow = std::exchange(m_slow, false);
    locker.unlock();
    if (wasSlow && m_reportSlow)
        m_reportSlow(false);
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
            m_conflatable.clear();
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

    bool caughtUp = false;
    {
        QMutexLocker locker(&m_mutex);
        caughtUp = m_slow && waiting() <= m_limit / 2;
        m_slow = m_slow && !caughtUp;
    }
    if (caughtUp && m_reportSlow)
        m_reportSlow(false);

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

namespace {

// Threads that destroy pools.
class Destroyers
{
public:
    ~Destroyers()
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        const auto deadline = std::chrono::steady_clock::now() + PatienceAtExit;
        for (Destroyer &each : m_destroyers) {
            if (each.done.wait_until(deadline) == std::future_status::ready)
                each.thread.join();
            else
                each.thread.detach();
        }
    }

    void start(std::unique_ptr<LxDeliveryPool> pool)
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        m_destroyers.remove_if([](Destroyer &each) {
            const bool done = each.done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
            if (done)
                each.thread.join();
            return done;
        });
        std::promise<void> done;
        m_destroyers.emplace_back();
        m_destroyers.back().done = done.get_future();
        m_destroyers.back().thread = std::thread([pool = std::move(pool), done = std::move(done)]() mutable {
            pool.reset();
            done.set_value();
        });
    }

private:
    struct Destroyer
    {
        std::future<void> done;
        std::thread thread;
    };

    static constexpr std::chrono::seconds PatienceAtExit { 2 };

    std::mutex m_mutex;
    std::list<Destroyer> m_destroyers; // guarded by m_mutex
};

} // namespace

void LxDeliveryPool::destroy(std::unique_ptr<LxDeliveryPool> pool)
{
    if (!pool->isCurrentThread())
        return;
    // Made on first use, and so ended before what deliveries need of Qt: the types of their variants.
    static Destroyers destroyers;
    destroyers.start(std::move(pool));
}

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
    m_queued = m_queue.size();
    if (!m_lookingOut || m_queue.size() > 1)
        m_ready.wakeOne();
}

bool LxDeliveryPool::isCurrentThread() const
{
    return std::any_of(m_threads.cbegin(), m_threads.cend(),
                       [](const auto &thread) { return thread.get() == QThread::currentThread(); });
}

bool LxDeliveryPool::beginWait()
{
    if (!isCurrentThread() || m_waiting.fetch_add(1) + 1 < static_cast<int>(m_threads.size()))
        return true;
    m_waiting.fetch_sub(1);
    return false;
}

void LxDeliveryPool::endWait()
{
    if (isCurrentThread())
        m_waiting.fetch_sub(1);
}

std::shared_ptr<LxMailbox> LxDeliveryPool::take()
{
    QMutexLocker locker(&m_mutex);
    if (m_queue.empty() && !m_lookingOut) {
        m_lookingOut = true;
        locker.unlock();
        const auto end = std::chrono::steady_clock::now() + LookOut;
        while (m_queued == 0 && std::chrono::steady_clock::now() < end) { } // yielding would cost a turn of others
        locker.relock();
        m_lookingOut = false;
    }
    while (m_queue.empty() && !m_ending)
        m_ready.wait(&m_mutex);
    if (m_ending)
        return nullptr;
    std::shared_ptr<LxMailbox> mailbox = std::move(m_queue.front());
    m_queue.pop_front();
    m_queued = m_queue.size();
    return mailbox;
}

void LxDeliveryPool::work()
{
    while (std::shared_ptr<LxMailbox> mailbox = take()) {
        if (mailbox->deliverSome())
            schedule(std::move(mailbox));
    }
}
