#pragma once

#include <QTimer>

/// Notifies systemd that the service is ready and, if the unit has a watchdog, regularly that the event loop of the
/// thread that called ready() is running. Does nothing without systemd.
class SystemdNotifier
{
public:
    void ready();

private:
    QTimer m_watchdog;
};
