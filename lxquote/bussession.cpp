#include "bussession.h"

#include "terminal.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxwidget/lxpluginhost.h>

#include <QDir>
#include <QFile>

namespace {

constexpr double LongestTimeoutSeconds = 3600;

} // namespace

void BusSession::addOptions(QCommandLineParser &parser)
{
    parser.addOption(
        { QStringLiteral("data"),
          QStringLiteral("Folder of the recordings (default: data); with --bus, of securities.csv only, for "
                         "the names."),
          QStringLiteral("DIR"), QStringLiteral("data") });
    ProgramOptions::addBusOptions(parser, QStringLiteral("without any, the program serves itself from the recordings"));
}

bool BusSession::readOptions(const QCommandLineParser &parser, const QStringList &ownOnly, Options *options,
                             QString *error)
{
    options->bus = ProgramOptions::busSettings(parser);
    options->folder = parser.value(QStringLiteral("data"));
    if (!options->bus.isShared()) {
        options->bus.url = QStringLiteral("inproc:");
        return true;
    }
    options->named = parser.isSet(QStringLiteral("data"));
    for (const QString &option : ownOnly) {
        if (parser.isSet(option)) {
            *error =
                QStringLiteral("--%1 does not go with a bus (--bus or LX_BUS_URL): others serve there").arg(option);
            return false;
        }
    }
    return true;
}

void BusSession::addTimeoutOption(QCommandLineParser &parser)
{
    parser.addOption({ QStringLiteral("timeout"), QStringLiteral("Seconds to wait for answers (default: 10)."),
                       QStringLiteral("SECONDS"), QStringLiteral("10") });
}

bool BusSession::readTimeout(const QCommandLineParser &parser, int *milliseconds, QString *error)
{
    const QString timeout = parser.value(QStringLiteral("timeout"));
    bool isNumber = false;
    const double seconds = timeout.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0) || seconds > LongestTimeoutSeconds) {
        *error = QStringLiteral("\"%1\" is no time-out in seconds").arg(timeout);
        return false;
    }
    *milliseconds = static_cast<int>(seconds * 1000);
    return true;
}

BusSession::BusSession(Options options) : m_options(std::move(options))
{
    connect(&m_bus, &ProgramBus::stateChanged, this, &BusSession::stateChanged);
    connect(&m_bus, &ProgramBus::failed, this, &BusSession::failed);
}

ExitCode BusSession::join(QString *error, int requestTimeoutMs)
{
    BusSettings bus = m_options.bus;
    bus.options.requestTimeoutMs = requestTimeoutMs;
    return m_bus.join(bus, error) ? ExitOk : ExitFailure;
}

ExitCode BusSession::loadLibrary(QString *error)
{
    const QString securities = QDir(m_options.folder).filePath(QStringLiteral("securities.csv"));
    m_hasSecurities = m_options.named && QFile::exists(securities);
    if (m_hasSecurities && !CBusinessDataBase::GetInstance()->LoadSecurities(securities, error))
        return ExitUsage;
    return LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), error) ? ExitOk : ExitUsage;
}

void BusSession::warnOfUnknown(const QStringList &symbols) const
{
    if (m_options.named && !m_hasSecurities)
        Terminal::err(
            QStringLiteral("lxquote: no securities.csv in %1: securities have no names\n").arg(m_options.folder));
    for (const QString &symbol : symbols) {
        if (m_hasSecurities && !CBusinessDataBase::GetInstance()->HasSymbol(symbol))
            Terminal::err(QStringLiteral("lxquote: warning: unknown symbol %1\n").arg(symbol));
    }
}

void BusSession::printStates()
{
    connect(this, &BusSession::stateChanged, this,
            [](const LxBusState &state) { Terminal::err(QStringLiteral("lxquote: bus %1\n").arg(state.text())); });
}
