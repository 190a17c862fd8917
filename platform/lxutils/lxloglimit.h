#pragma once

#include <QElapsedTimer>
#include <QMutex>

#include <optional>

/// Limits log lines of one kind to one per second, so that a flood does not fill the disk. Any thread.
class LxLogLimit
{
public:
    /// If a line may be written now, returns the number of lines that were suppressed since the last one.
    std::optional<quint64> admit()
    {
        constexpr qint64 IntervalMs = 1000;
        QMutexLocker locker(&m_mutex);
        if (m_sinceLast.isValid() && m_sinceLast.elapsed() < IntervalMs) {
            ++m_suppressed;
            return std::nullopt;
        }
        m_sinceLast.start();
        const quint64 suppressed = m_suppressed;
        m_suppressed = 0;
        return suppressed;
    }

private:
    QMutex m_mutex; // guards what follows
    QElapsedTimer m_sinceLast;
    quint64 m_suppressed = 0;
};
