#pragma once

#include <lxbus/lxbus_export.h>

#include <QHash>
#include <QMutex>
#include <QString>

#include <array>

/// Why the bus dropped a message.
enum class LxBusDrop {
    NoService, ///< no service handles the request's type
    QueueFull, ///< the receiver did not process its messages in time
    ReceiverGone, ///< the endpoint or service left while the message was queued, or before its answer arrived
    LateAnswer, ///< an answer after the time-out, a second answer, or an answer to an unknown request
    Malformed, ///< a message that the bus cannot decode, or cannot encode for a broker
    NotSent, ///< the connection to the broker did not accept the message
    LostOnTheWay, ///< a record that is missing by the numbers of those received, or an answer of which a part is
                  ///< missing
    Conflated, ///< a quote that was replaced by a newer one of its symbol because the receiver is slow
};

/// Counts and logs what a bus drops. Any thread.
///
/// For each reason the 1st, 10th, 100th, ... message is logged (category "lx.bus"), so that floods do not fill the log.
class LXBUS_EXPORT LxBusStatistics
{
public:
    /// For the bus itself: counts dropped messages of a type or topic.
    void drop(LxBusDrop reason, const QString &type, quint64 count = 1);

    /// Dropped messages for one reason.
    quint64 dropped(LxBusDrop reason) const;
    /// Dropped messages of one type or topic, for all reasons.
    quint64 dropped(const QString &type) const;
    /// All dropped messages.
    quint64 totalDropped() const;

    /// A description of the reason, for people.
    static QString text(LxBusDrop reason);

private:
    static constexpr size_t Reasons = 8;
    mutable QMutex m_mutex;
    std::array<quint64, Reasons> m_counts {};
    QHash<QString, quint64> m_countsByType;
    std::array<quint64, Reasons> m_nextLogged { 1, 1, 1, 1, 1, 1, 1, 1 };
};
