#pragma once

#include <QDeadlineTimer>
#include <QMutex>
#include <QString>
#include <QVariant>
#include <QWaitCondition>

#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

class LxDeliveryPool;

/// One message on its way to one receiver.
struct LxDelivery
{
    enum Kind { Published, Answer, Request };

    Kind kind = Published;
    QString type;
    QVariant body;
    quint64 id = 0;
};

/// What happens to messages for a receiver that does not keep up.
struct LxMailboxPolicy
{
    enum WhenFull {
        Block, ///< the sender waits; see LxMailbox::waitForRoom()
        /// A record replaces the older one with its conflation key if that was queued when the mailbox was full
        /// already. Messages without a conflation key are refused beyond four times the limit.
        Conflate,
    };

    WhenFull whenFull = Block;
    int limit = 1; ///< number of waiting messages, the one being delivered included, at which the mailbox is full
};

/// The queue of one receiver. Its messages are delivered in order, one at a time, on the threads of a pool. Any thread.
///
/// Must be owned by a std::shared_ptr; the pool holds a reference while messages wait.
class LxMailbox : public std::enable_shared_from_this<LxMailbox>
{
public:
    using Receiver = std::function<void(const LxDelivery &)>;
    /// Called, without a lock held, when the receiver falls behind (true) or has caught up (false).
    using SlowReport = std::function<void(bool slow)>;
    enum class Fate {
        Queued,
        QueuedAndFull, ///< policy Block: call waitForRoom() before the next message
        Conflated, ///< queued in place of an older message, which is dropped
        Refused, ///< dropped: the receiver does not keep up
        Closed, ///< dropped: the receiver has left
    };

    LxMailbox(LxDeliveryPool *pool, LxMailboxPolicy policy, Receiver receiver, SlowReport reportSlow = {});

    enum Sender {
        CanWait,
        CannotWait, ///< policy Block queues its messages even if the mailbox is full
    };
    /// Queues a message according to the policy. Messages with the same `conflationKey` may replace each other, unless
    /// it is 0.
    Fate offer(LxDelivery delivery, quint64 conflationKey = 0, Sender sender = CanWait);
    /// Waits until half of the limit is free. If that takes longer than the deadline, the mailbox refuses messages
    /// until half of the limit is free. A thread of the pool does not wait if no other one would be left to deliver.
    void waitForRoom(QDeadlineTimer deadline);
    /// Waits until everything queued before has been delivered. False on time-out.
    bool waitUntilDelivered(QDeadlineTimer deadline);
    /// The number of waiting messages, the one being delivered included.
    quint64 size();
    /// Accepts no further messages, and returns those that have not been delivered.
    std::vector<LxDelivery> close();
    /// Waits for the delivery in progress, unless it is on the calling thread.
    void waitForDelivery();

private:
    friend class LxDeliveryPool;

    // Under m_mutex:
    quint64 waiting() const { return m_posted - m_delivered; }
    bool replaceOlder(LxDelivery *delivery, quint64 conflationKey);
    void queue(LxDelivery delivery);
    // On a thread of the pool; true if more messages wait.
    bool deliverSome();

    LxDeliveryPool *const m_pool;
    const LxMailboxPolicy::WhenFull m_whenFull;
    const quint64 m_limit;
    const Receiver m_receiver;
    const SlowReport m_reportSlow;

    QMutex m_mutex; // guards what follows
    QWaitCondition m_progress;
    std::deque<LxDelivery> m_queue;
    std::unordered_map<quint64, quint64> m_conflatable; // by conflation key: the value of m_posted when it was queued
    quint64 m_posted = 0;
    quint64 m_delivered = 0;
    int m_waiters = 0;
    bool m_scheduled = false; // in the pool's queue, or being delivered
    bool m_stalled = false; // a sender's wait for room has timed out
    bool m_slow = false; // the last value passed to m_reportSlow
    bool m_closed = false;
    Qt::HANDLE m_deliverer = nullptr; // the thread that is delivering, if any
};
