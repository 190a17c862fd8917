#pragma once

#include <lxutils/lxthread.h>

#include <QDeadlineTimer>
#include <QMutex>
#include <QString>
#include <QVariant>
#include <QWaitCondition>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>
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
    enum Outcome {
        Taken,
        TakenAndFull, ///< taken; call waitForRoom() before the next one
        Stalled, ///< refused: a waitForRoom() timed out and the receiver has not caught up yet
        Closed, ///< refused
    };
    enum class Fate {
        Queued,
        Conflated, ///< queued in the place of an older one
        Refused,
        Closed, ///< refused
    };
    /// Told when the receiver falls behind or has caught up. Called without a lock, on the offering or the delivering
    /// thread.
    using SlowReport = std::function<void(bool slow)>;

    /// `limit`: messages waiting at which the mailbox is full.
    LxMailbox(LxDeliveryPool *pool, int limit, Receiver receiver, SlowReport reportSlow = {});

    /// Queues a message, unless the receiver has stopped taking them.
    Outcome offer(LxDelivery delivery);
    /// Queues a message for a receiver whose sender cannot be held up. In a full mailbox a message replaces the one of
    /// the same `conflationKey` that waits since it is full; without a key (0) four times the limit may wait, then it
    /// is refused.
    Fate offerOrConflate(LxDelivery delivery, quint64 conflationKey);
    /// Queues a message that must not be lost while the receiver lives. False if the mailbox is closed.
    bool post(LxDelivery delivery);
    /// Waits until half of the limit is free. After a time-out the mailbox is stalled until that is so. A thread on
    /// which the delivery depends does not wait.
    void waitForRoom(QDeadlineTimer deadline);
    /// Waits until all that was posted before has been delivered.
    bool waitUntilDelivered(QDeadlineTimer deadline);
    /// Takes no more messages, and hands back those that waited; waits for a delivery under way on another thread.
    std::vector<LxDelivery> close();

private:
    friend class LxDeliveryPool;

    quint64 waiting() const { return m_posted - m_delivered.load(); } // under m_mutex
    bool queue(LxDelivery &&delivery); // under m_mutex; true if the pool must be told
    bool deliverSome(); // pool thread; true if more is waiting

    LxDeliveryPool *const m_pool;
    const quint64 m_limit;
    const Receiver m_receiver;
    const SlowReport m_reportSlow;

    std::atomic<quint64> m_delivered { 0 }; // written by the delivering thread
    std::atomic<int> m_waiters { 0 };
    std::atomic<bool> m_closed { false }; // written under m_mutex

    QMutex m_mutex; // guards what follows
    QWaitCondition m_progress;
    quint64 m_posted = 0;
    std::vector<LxDelivery> m_incoming;
    bool m_scheduled = false; // in the pool's ready queue or being delivered
    bool m_stalled = false;
    bool m_slow = false; // told to m_reportSlow
    std::unordered_map<quint64, size_t> m_conflatable; // by key: positions in m_incoming
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
    /// Destroys a pool whose last user may be a delivery of its own. No thread can wait for itself to end, so from
    /// there another one does it; the process waits for that one, though not for ever, before it ends.
    static void destroy(std::unique_ptr<LxDeliveryPool> pool);

    void schedule(std::shared_ptr<LxMailbox> mailbox);

    /// True on a thread of this pool.
    bool isCurrentThread() const;
    /// Announces that the calling thread is going to wait for a delivery. False if it must not, because no thread would
    /// be left to deliver.
    bool beginWait();
    void endWait();

private:
    class Worker;
    void work();
    std::shared_ptr<LxMailbox> take(); // null when the pool ends

    std::atomic<int> m_waiting { 0 }; // threads of the pool between beginWait() and endWait()
    std::atomic<size_t> m_queued { 0 }; // the size of m_queue, written under m_mutex

    QMutex m_mutex; // guards what follows
    QWaitCondition m_ready;
    std::deque<std::shared_ptr<LxMailbox>> m_queue;
    bool m_lookingOut = false; // a thread watches m_queued and need not be woken
    bool m_ending = false;

    std::vector<std::unique_ptr<LxThread>> m_threads; // constant after construction
};
