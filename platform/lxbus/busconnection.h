#pragma once

#include <lxbus/lxbus_export.h>

#include <QDateTime>
#include <QMetaType>
#include <QMutex>
#include <QObject>
#include <QString>

/// The state of the connection to the broker.
struct LxBusState
{
    /// What a program can rely on.
    enum Kind {
        Connected, ///< also the state of a bus within the process
        Reconnecting, ///< the connection was lost; the bus is trying to connect again
        SlowConsumer, ///< connected, but a receiver in this process does not keep up: its quotes are conflated
        Closed, ///< permanently
    };

    Kind kind = Connected; ///< the state itself
    QDateTime since; ///< local time
    QString reason; ///< for people; empty if connected

    /// For a status line or a log: "reconnecting since 09:31:07 (connection lost)".
    LXBUS_EXPORT QString text() const;
};
Q_DECLARE_METATYPE(LxBusState)

/// Reports the state of a bus's connection. Any thread; the signals are emitted on threads of the bus.
class LXBUS_EXPORT LxBusConnection : public QObject
{
    Q_OBJECT
public:
    LxBusConnection();

    /// The current state.
    LxBusState state() const;

    /// For the bus itself: sets the state, and emits stateChanged() if it differs. Closed is final.
    void setState(LxBusState::Kind kind, const QString &reason = QString());

Q_SIGNALS:
    /// The state has changed to `state`.
    void stateChanged(const LxBusState &state);
    /// The broker denied permission to publish or to read a subject.
    void refused(const QString &reason);
    /// No service answers LxBusTopics::presenceRequest, as the broker says.
    void nobodyServes();

private:
    mutable QMutex m_mutex; // guards m_state
    LxBusState m_state;
};
