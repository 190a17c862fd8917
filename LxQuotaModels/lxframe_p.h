#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <functional>

/// Calls a function on this object's thread at most once per frame, however often it is requested.
class LxFrame : public QObject
{
public:
    static constexpr int DefaultIntervalMs = 33;

    explicit LxFrame(std::function<void()> flush);

    /// Requests a call. It takes place as soon as interval() has passed since the previous one. Any thread.
    void request();

    int interval() const { return m_interval; }
    void setInterval(int milliseconds) { m_interval = milliseconds; }

private:
    void schedule();
    void run();

    const std::function<void()> m_flush;
    std::atomic<bool> m_requested { false };
    int m_interval = DefaultIntervalMs;
    QTimer m_timer;
    QElapsedTimer m_sinceFlush;
};
