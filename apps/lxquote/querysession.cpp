#include "querysession.h"

void QuerySession::Settings::addOptions(Options *options)
{
    options->addString(QStringLiteral("store"), QStringLiteral("FILE"), &store,
                       tr("Store built by marketd import (default: one in the user's cache, built from the recordings "
                          "when it is missing or outdated)"));
    options->addSeconds(QStringLiteral("timeout"), &timeoutMs, tr("Longest time to wait for answers"));
}

bool QuerySession::Settings::check(const BusSettings &bus, const Options &options, QString *error)
{
    return checkOwnOptions(bus, options, { QStringLiteral("store") }, error);
}

QuerySession::QuerySession(const BusSession::Settings &bus, Settings settings)
    : m_busSettings(bus), m_settings(std::move(settings)), m_bus(bus)
{
}

ExitCode QuerySession::open(QString *error)
{
    if (const ExitCode code = m_bus.join(error))
        return code;
    if (!m_bus.isShared()) {
        m_service.emplace();
        if (!m_service->start(m_bus.folder(), m_settings.store, error))
            return ExitUsage;
    }
    m_deadline = m_bus.isShared() ? m_busSettings.deadline(m_settings.timeoutMs)
                                  : QDeadlineTimer(m_settings.timeoutMs, Qt::PreciseTimer);
    m_bus.printStates();
    return m_bus.loadLibrary(error);
}
