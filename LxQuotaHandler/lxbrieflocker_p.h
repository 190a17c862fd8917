#pragma once

#include <QMutex>

/// Locks a mutex that everybody holds for less than a microsecond: the wait for it is shorter than falling asleep and
/// being woken, which moreover falls on the one who unlocks. So it is tried a while before the thread sleeps.
class LxBriefLocker
{
public:
    explicit LxBriefLocker(QMutex *mutex) : m_mutex(mutex)
    {
        constexpr int Tries = 100;
        for (int i = 0; i < Tries; ++i) {
            if (m_mutex->tryLock())
                return;
        }
        m_mutex->lock();
    }
    ~LxBriefLocker() { m_mutex->unlock(); }
    Q_DISABLE_COPY(LxBriefLocker)

private:
    QMutex *const m_mutex;
};
