#include "bussession.h"

#include <logging.h>
#include <lxquotahandler.h>
#include <terminal.h>

#include <lxwidget/lxpluginhost.h>

#include <QCoreApplication>

namespace {

constexpr int NeverMs = 24 * 3600 * 1000;

} // namespace

void BusSession::Settings::addOptions(Options *common)
{
    common->beginGroup(tr("Market options"));
    common->addString(QStringLiteral("data"), QStringLiteral("DIR"), &folder,
                      tr("Folder of the recordings; with --bus, of securities.csv only, for the names"));
    ProgramOptions::addBusOptions(common, &bus, tr("without any, the program serves itself from the recordings"));
}

QDeadlineTimer BusSession::Settings::deadline(int timeoutMs) const
{
    return QDeadlineTimer(qMax<qint64>(0, timeoutMs - sinceStart.elapsed()), Qt::PreciseTimer);
}

bool checkOwnOptions(const BusSettings &bus, const Options &options, const QStringList &names, QString *error)
{
    if (!bus.isShared())
        return true;
    for (const QString &name : names) {
        if (options.isGiven(name)) {
            *error = QCoreApplication::translate(
                         "BusSession", "--%1 cannot be combined with a bus (--bus or LX_BUS_URL), where others serve")
                         .arg(name);
            return false;
        }
    }
    return true;
}

BusSession::BusSession(Settings settings) : m_settings(std::move(settings))
{
    connect(&m_bus, &ProgramBus::stateChanged, this, &BusSession::stateChanged);
    connect(&m_bus, &ProgramBus::failed, this, &BusSession::failed);
}

ExitCode BusSession::join(QString *error)
{
    BusSettings bus = m_settings.bus;
    if (!isShared())
        bus.url = QStringLiteral("inproc:");
    // The library does not tell a request that timed out from one that was refused. Requests therefore do not time out,
    // and commands watch the clock themselves.
    bus.options.requestTimeoutMs = NeverMs;
    return m_bus.join(bus, error) ? ExitOk : ExitFailure;
}

ExitCode BusSession::loadLibrary(QString *error)
{
    const Logging::UncategorizedWarningsMuted muted;
    if (!LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), error))
        return ExitUsage;
    LxQuotaHandler::instance();
    return ExitOk;
}

void BusSession::watchPresence()
{
    if (isShared())
        m_presence = std::make_unique<PresenceWatch>();
}

void BusSession::printStates()
{
    connect(this, &BusSession::stateChanged, this,
            [](const LxBusState &state) { Terminal::complain(tr("bus %1").arg(ProgramBus::text(state))); });
}
