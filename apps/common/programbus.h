#pragma once

#include "programoptions.h"

#include <QObject>

/// A program's bus: joins it, monitors its connection, and leaves it on destruction. Lives on the main thread and emits
/// its signals there. Only one instance may exist at a time.
class ProgramBus : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    /// Ends the bus (LxBus::stop()). Endpoints and services that are still open stay valid without effect.
    ~ProgramBus() override;

    /// Joins the bus, which takes at most five seconds. False, with the reason in `error`, on failure.
    bool join(const BusSettings &settings, QString *error);
    /// Processes what the connection has signalled so far. False, with the reason in `error`, if the bus has failed.
    bool check(QString *error);
    /// Waits until the broker knows the services and subscriptions of this program, and has reported what it does not
    /// permit. False, with the reason in `error`, if it refuses or does not answer.
    bool waitUntilReady(QString *error);

    LxBusState state() const { return LxBus::current()->connection().state(); }
    /// LxBusState::text() in the user's language.
    static QString text(const LxBusState &state);
    /// The numbers of messages that the bus has dropped so far, by reason, for people; empty if it has dropped nothing.
    static QString dropsText();

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// The bus has become unusable: the connection is closed permanently, or the broker denied a permission that the
    /// program needs. Emitted once.
    void failed(const QString &reason);

private:
    void fail(const QString &reason);

    QString m_failure;
};
