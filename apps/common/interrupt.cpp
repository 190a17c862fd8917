#include "interrupt.h"

#include <csignal>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// write() is async-signal-safe; everything else is left to the event loop.
int sockets[2] = { -1, -1 };

extern "C" void onSignal(int number)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(sockets[0], &byte, sizeof byte);
    std::signal(number, SIG_DFL);
}

} // namespace

Interrupt::Interrupt(QObject *parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(sockets[1], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (::read(sockets[1], &byte, sizeof byte) == sizeof byte)
            Q_EMIT interrupted();
    });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
}

Interrupt::~Interrupt()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    m_notifier.reset();
    ::close(sockets[0]);
    ::close(sockets[1]);
}
