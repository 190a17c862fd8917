#pragma once

#include <QAbstractEventDispatcher>
#include <QSemaphore>

#include <atomic>
#include <chrono>
#include <vector>

struct pollfd;

/// The event dispatcher of an LxThread, for threads that take a queued signal for every record.
///
/// Qt's own dispatchers make a system call for the first event posted after each look at the queue, the GLib one for
/// every event, although the thread is awake and would find it anyway. This one makes one only if the thread sleeps. It
/// supports all that QThread offers: posted events, timers, socket notifiers, nested loops, interrupts.
class LxEventDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT

public:
    LxEventDispatcher();
    ~LxEventDispatcher() override;

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;

    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;

    void registerTimer(int id, int interval, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int id) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int id) override;

    /// Any thread.
    void wakeUp() override;
    /// Any thread.
    void interrupt() override;
    void flush() override { }
    void closingDown() override;

private:
    enum Sleep {
        Awake,
        OnSemaphore, // nothing to wait for but a wake-up: the quickest way to be woken
        OnFile,
    };
    using Clock = std::chrono::steady_clock;

    struct Timer
    {
        int id;
        std::chrono::milliseconds interval;
        Qt::TimerType type;
        QObject *object;
        Clock::time_point due;
        bool firing; // its object is in timerEvent(), perhaps in a nested loop
    };

    std::vector<pollfd> watched(QEventLoop::ProcessEventsFlags flags) const;
    void waitForWakeUp();
    void wait(std::vector<pollfd> *files, bool mayBlock, bool withTimers);
    bool activateNotifiers(const std::vector<pollfd> &files);
    bool activateTimers();
    std::vector<Timer>::iterator timer(int id);

    const int m_wakeFile;
    std::atomic<bool> m_woken { false }; // events may have come since the queue was looked at last
    std::atomic<Sleep> m_sleeping { Awake }; // how a wake-up has to be done
    QSemaphore m_wakeSemaphore;
    std::atomic<bool> m_interrupted { false };

    // The dispatcher's thread.
    bool m_wakeFileSet = false; // m_wakeFile has woken the thread and has to be read
    std::vector<QSocketNotifier *> m_notifiers;
    std::vector<Timer> m_timers;
};
