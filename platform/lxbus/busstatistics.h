#pragma once

#include <lxbus/lxbus_export.h>

#include <QHash>
#include <QMutex>
#include <QString>

#include <array>

/// Why the bus dropped a message.
enum class LxBusDrop {
    NoService,      ///< nobody serves the request's type
    QueueFull,      ///< the receiver did not take its messages in time
    ReceiverGone,   ///< the endpoint or service left with the message still queued, or before its answer came
    LateAnswer,     ///< an answer after the time-out, a second answer, or an answer to no request
    Malformed,      ///< a message that the bus itself has to read, or to write for a broker, and cannot
    NotSent,        ///< the broker's connection did not take it
    LostOnTheWay,   ///< records that the numbering of those around them shows to be missing
    Conflated,      ///< a quote that was replaced by a newer one of its symbol, the receiver being slow
};

/// Counts and logs what a bus drops. Any thread.
///
/// Each reason is logged (category "lx.bus") at its 1st, 10th, 100th, ... message, so that no flood drowns the log.
class LXBUS_EXPORT LxBusStatistics
{
public:
    void drop(LxBusDrop reason, const QString &type, quint64 count = 1);

    quint64 dropped(LxBusDrop reason) const;
    /// Dropped messages of one type or topic, for whatever reason.
    quint64 dropped(const QString &type) const;
    quint64 droppedInAll() const;

    /// The reason in words.
    static QString text(LxBusDrop reason);

private:
    static constexpr size_t Reasons = 8;
    mutable QMutex m_mutex;
    std::array<quint64, Reasons> m_counts {};
    QHash<QString, quint64> m_countsByType;
    std::array<quint64, Reasons> m_nextLogged { 1, 1, 1, 1, 1, 1, 1, 1 };
};
