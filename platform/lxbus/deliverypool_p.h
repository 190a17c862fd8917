#pragma once

#include <QMutex>
#include <QWaitCondition>

#include <deque>
#include <memory>
#include <vector>

class LxMailbox;
class QThread;

/// Threads that deliver the messages of mailboxes. Any thread.
class LxDeliveryPool
{
public:
    explicit LxDeliveryPool(int threads);
    /// Calls end().
    ~LxDeliveryPool();

    /// Starts no further deliveries, and waits for those in progress. Must not be called from one.
    void end();

    /// Has a thread deliver the messages of `mailbox`.
    void schedule(std::shared_ptr<LxMailbox> mailbox);

    /// Announces that the calling thread is going to wait for a delivery; endWait() must follow. False, without effect,
    /// if it must not wait because no thread of the pool would be left to deliver.
    bool beginWait();
    void endWait();

private:
    void work();
    bool isCurrentThread() const;

    QMutex m_mutex; // guards what follows
    QWaitCondition m_ready;
    std::deque<std::shared_ptr<LxMailbox>> m_queue;
    size_t m_waiting = 0; // threads of the pool between beginWait() and endWait()
    bool m_ending = false;

    std::vector<std::unique_ptr<QThread>> m_threads; // constant after construction
};
