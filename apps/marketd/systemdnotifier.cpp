#include "systemdnotifier.h"

#include <systemd/sd-daemon.h>

#include <chrono>

void SystemdNotifier::ready()
{
    sd_notify(0, "READY=1");
    uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0)
        return;
    QObject::connect(&m_watchdog, &QTimer::timeout, [] { sd_notify(0, "WATCHDOG=1"); });
    m_watchdog.start(std::chrono::milliseconds(microseconds / 2000)); // half of the time-out, as systemd recommends
}
