#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <deque>
#include <functional>

class LxPresenterClass;

/// The one thread on which presenters are called back, one call at a time.
class BusThread : public QThread
{
    Q_OBJECT

public:
    static BusThread &instance();

    BusThread();
    ~BusThread() override;

    void post(LxPresenterClass *presenter, std::function<void()> call);
    /// Drops the presenter's calls and waits for the one under way.
    void forget(LxPresenterClass *presenter);
    void waitUntilIdle();

protected:
    void run() override;

private:
    struct Delivery
    {
        LxPresenterClass *presenter;
        std::function<void()> call;
    };

    QMutex m_mutex;
    QWaitCondition m_changed;
    std::deque<Delivery> m_queue;
    LxPresenterClass *m_current = nullptr;
    bool m_ending = false;
};
