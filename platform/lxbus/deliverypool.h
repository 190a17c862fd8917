#pragma once

#include <lxutils/lxthread.h>

#include <QMutex>
#include <QString>
#include <QVariant>
#include <QWaitCondition>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

/// One message on its way to one receiver.
struct LxDelivery
{
    enum Kind { Published, Answer, Request };

    Kind kind = Published;
    QString source;
    QString type;
    QVariant body;
    quint64 id = 0;
};

class LxDeliveryPool;

/// The queue of one receiver. Its messages are delivered one at a time, in order, on the threads of a pool.
class LxMailbox : public std::enable_shared_from_this<LxMailbox>
{
public:
    using Receiver = std::function<void(const LxDelivery &)>;

    /// `limit`: messages waiting at which hasRoom() turns false.
    LxMailbox(LxDeliveryPool *pool, int limit, Receiver receiver);

    /// Queues a message, over the limit too. False if the mailbox is closed.
    bool post(LxDelivery delivery);
    bool hasRoom() const { return waiting() < m_limit; }
    /// Waits until half of the limit is free. After a time-out the mailbox is stalled until that is so.
    bool waitForRoom(int timeoutMs);
    /// True after a time-out of waitForRoom() and until the receiver has caught up.
    bool isStalled();
    /// Waits until all that was posted before has been delivered.
    bool waitUntilDelivered(int timeoutMs);
    /// Throws away what waits, and returns how much; waits for a delivery under way on another thread.
    quint64 close();

private:
    friend class LxDeliveryPool;

    quint64 waiting() const { return m_posted.load() - m_delivered.load(); }
    bool deliverSome(); // pool thread; true if more is waiting

    LxDeliveryPool *const m_pool;
    const quint64 m_limit;
    const Receiver m_receiver;

    std::atomic<quint64> m_posted { 0 };    // written under m_mutex
    std::atomic<quint64> m_delivered { 0 }; // written by the delivering thread, and by close()
    std::atomic<int> m_waiters { 0 };
    std::atomic<bool> m_closed { false }; // written under m_mutex

    QMutex m_mutex; // guards what follows
    QWaitCondition m_progress;
    std::vector<LxDelivery> m_incoming;
    bool m_scheduled = false; // in the pool's ready queue or being delivered
    bool m_stalled = false;
    Qt::HANDLE m_deliverer = nullptr;

    std::vector<LxDelivery> m_batch; // pool thread, while scheduled
    size_t m_batchPosition = 0;
};

/// Threads that deliver the messages of mailboxes.
class LxDeliveryPool
{
public:
    explicit LxDeliveryPool(int threads);
    ~LxDeliveryPool();

    void schedule(std::shared_ptr<LxMailbox> mailbox);

private:
    class Worker;
    void work();

    QMutex m_mutex; // guards what follows
    QWaitCondition m_ready;
    std::deque<std::shared_ptr<LxMailbox>> m_queue;
    bool m_ending = false;

    std::vector<std::unique_ptr<LxThread>> m_threads;
};
