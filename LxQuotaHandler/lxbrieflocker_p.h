#pragma once

#include <QMutex>

#include <algorithm>
#include <atomic>
#include <utility>

/// Locks a mutex that everybody holds for less than a microsecond: the wait for it is shorter than falling asleep and
/// being woken, which moreover falls on the one who unlocks. So it is tried a while before the thread sleeps.
///
/// Each try takes the mutex's memory away from the one who is about to unlock it. Readers, which come in numbers, pause
/// between their tries, ever longer; who writes does not, and so is not left behind by them.
class LxBriefLocker
{
public:
    enum Purpose { Read, Write };

    LxBriefLocker(QMutex *mutex, Purpose purpose) : m_mutex(mutex)
    {
        constexpr int Tries[] { 12, 100 };
        constexpr int FirstPause = 512; // steps, of about a processor cycle each
        constexpr int LongestPause = 4096;
        int steps = FirstPause;
        for (int i = 0; i < Tries[purpose]; ++i) {
            if (m_mutex->tryLock())
                return;
            if (purpose == Read)
                pause(std::exchange(steps, std::min(2 * steps, LongestPause)));
        }
        m_mutex->lock();
    }
    ~LxBriefLocker() { m_mutex->unlock(); }
    Q_DISABLE_COPY(LxBriefLocker)

private:
    static void pause(int steps)
    {
        for (int i = 0; i < steps; ++i)
            std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the compiler from leaving the loop out
    }

    QMutex *const m_mutex;
};
