#pragma once

#include <lxbus/lxbus_export.h>

#include <QDateTime>
#include <QMetaType>
#include <QMutex>
#include <QObject>
#include <QString>

/// How a bus stands with its broker.
struct LxBusState
{
    enum Kind {
        Connected,    ///< all is well; always so of a bus within the process
        Reconnecting, ///< the connection broke; it is being tried again
        SlowConsumer, ///< a receiver here does not keep up: its quotes are conflated
        Closed,       ///< for good
    };

    Kind kind = Connected;
    QDateTime since; ///< local time
    QString reason;  ///< in words; empty if connected

    /// For a status line or a log: "reconnecting since 09:31:07 (connection lost)".
    LXBUS_EXPORT QString text() const;
};
Q_DECLARE_METATYPE(LxBusState)

/// The connection of a bus, to be watched. Any thread; signals come on threads of the bus.
class LXBUS_EXPORT LxBusConnection : public QObject
{
    Q_OBJECT
public:
    LxBusConnection();

    LxBusState state() const;

    /// For transports: changes the state, and announces it if it is another one.
    void setState(LxBusState::Kind kind, const QString &reason = QString());

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// The broker does not permit what was asked of it: a subject that may not be published or read.
    void refused(const QString &reason);

private:
    mutable QMutex m_mutex; // guards m_state
    LxBusState m_state;
};
