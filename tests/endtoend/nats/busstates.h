#pragma once

#include <bustesting.h>

#include <QObject>

/// Records the states that the connection of a bus announces.
class BusStates : public QObject
{
public:
    explicit BusStates(BusTesting::Bus &bus)
    {
        connect(
            &bus->connection(), &LxBusConnection::stateChanged, this,
            [this](const LxBusState &state) {
                QMutexLocker locker(&m_mutex);
                m_states.append(state);
            },
            Qt::DirectConnection);
        connect(
            &bus->connection(), &LxBusConnection::refused, this,
            [this](const QString &reason) {
                QMutexLocker locker(&m_mutex);
                m_refusals.append(reason);
            },
            Qt::DirectConnection);
    }

    QVector<LxBusState> states() const
    {
        QMutexLocker locker(&m_mutex);
        return m_states;
    }
    QVector<int> kinds() const
    {
        QVector<int> kinds;
        for (const LxBusState &state : states())
            kinds.append(state.kind);
        return kinds;
    }
    QStringList refusals() const
    {
        QMutexLocker locker(&m_mutex);
        return m_refusals;
    }

private:
    mutable QMutex m_mutex; // guards what follows
    QVector<LxBusState> m_states;
    QStringList m_refusals;
};
