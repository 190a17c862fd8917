#include "busstatistics.h"

#include <QLoggingCategory>

#include <numeric>

Q_LOGGING_CATEGORY(lxBusLog, "lx.bus")

void LxBusStatistics::drop(LxBusDrop reason, const QString &type, quint64 count)
{
    if (count == 0)
        return;
    const auto index = static_cast<size_t>(reason);
    quint64 total = 0;
    {
        QMutexLocker locker(&m_mutex);
        total = m_counts[index] += count;
        auto ofType = m_countsByType.find(type);
        if (ofType == m_countsByType.end()) // a deep copy, since `type` may be a literal of a library that is unloaded
            ofType = m_countsByType.insert(QString(type.constData(), type.size()), 0);
        *ofType += count;
        if (total < m_nextLogged[index])
            return;
        while (m_nextLogged[index] <= total)
            m_nextLogged[index] *= 10;
    }
    qCWarning(lxBusLog).noquote() << "dropped" << type << '-' << text(reason) << '-' << total << "so far";
}

quint64 LxBusStatistics::dropped(LxBusDrop reason) const
{
    QMutexLocker locker(&m_mutex);
    return m_counts[static_cast<size_t>(reason)];
}

quint64 LxBusStatistics::dropped(const QString &type) const
{
    QMutexLocker locker(&m_mutex);
    return m_countsByType.value(type);
}

quint64 LxBusStatistics::totalDropped() const
{
    QMutexLocker locker(&m_mutex);
    return std::accumulate(m_counts.begin(), m_counts.end(), quint64(0));
}

QString LxBusStatistics::text(LxBusDrop reason)
{
    switch (reason) {
    case LxBusDrop::NoService:
        return QStringLiteral("no service for this type");
    case LxBusDrop::QueueFull:
        return QStringLiteral("the receiver's queue is full");
    case LxBusDrop::ReceiverGone:
        return QStringLiteral("the receiver has gone");
    case LxBusDrop::LateAnswer:
        return QStringLiteral("no request awaits this answer");
    case LxBusDrop::Malformed:
        return QStringLiteral("the message cannot be read or written");
    case LxBusDrop::NotSent:
        return QStringLiteral("the connection did not accept it");
    case LxBusDrop::LostOnTheWay:
        return QStringLiteral("lost on the way");
    case LxBusDrop::Conflated:
        return QStringLiteral("replaced by a newer one for a slow receiver");
    }
    return QString();
}
