#pragma once

#include "programoptions.h"

#include <QObject>

/// A program's bus: joins it, watches its connection, and lets go of it at last. Lives on the main thread and signals
/// there; one at a time.
class ProgramBus : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    /// Those who are on the bus still keep it alive.
    ~ProgramBus() override;

    /// Joins the bus within five seconds. False, with the reason in `error`.
    bool join(const BusSettings &settings, QString *error);
    /// Takes in at once what has been signalled to it until now. False, with the reason in `error`, if the bus has
    /// failed.
    bool check(QString *error);

    LxBusState state() const { return LxBus::current()->connection().state(); }
    /// What the bus has dropped so far and why, in words; empty if nothing.
    static QString dropsText();

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// The program need not go on: the connection is closed for good, or the broker does not permit what it needs.
    /// Once.
    void failed(const QString &reason);

private:
    void fail(const QString &reason);

    QString m_failure;
};
