#include "recordcommand.h"

#include "datafolder.h"
#include "marketdlog.h"
#include "recorder.h"
#include "securities.h"
#include "systemdnotifier.h"

#include <commandline.h>
#include <interrupt.h>
#include <lxbusinessdata/businessdatabase.h>
#include <programbus.h>

#include <QCoreApplication>
#include <QDir>
#include <QTimer>

namespace {

constexpr int FlushIntervalMs = 1000;
// Nobody waits for a recorder to be quick, so that it keeps what others would replace by a newer quote.
constexpr int MostPending = 4 * 1024 * 1024;

// Any thread.
void logFile(const QString &path, const QString &taken)
{
    if (taken.isEmpty())
        qCInfo(lxMarketdLog, "writing %s", qUtf8Printable(path));
    else
        qCWarning(lxMarketdLog, "writing %s, because %s exists", qUtf8Printable(path), qUtf8Printable(taken));
}

class RecordCommand
{
    Q_DECLARE_TR_FUNCTIONS(RecordCommand)

public:
    explicit RecordCommand(Options options);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    bool check(QString *error);
    static bool report(const Recorder &recorder, QString *error);

    BusSettings m_bus;
    QString m_folder;
    QString m_data = DataFolder::standard();
    QStringList m_symbols;
};

CommandLine::Command RecordCommand::description()
{
    return {
        QStringLiteral("record"), tr("Write what a bus carries as recordings"),
        tr("Runs until SIGINT or SIGTERM. Writes a file for each kind of record and each date, which marketd serve "
           "replays; the line \"marketd: ready\" is logged once the broker knows what is wanted. A file that exists is "
           "not changed. The first record of a symbol is the latest one that its publisher knows.\n"
           "Exit codes: 0; 1 if the bus fails, a file cannot be written, or records were lost; 2 for a usage error.")
    };
}

RecordCommand::RecordCommand(Options options)
{
    options.addString(QStringLiteral("out"), QStringLiteral("DIR"), &m_folder,
                      tr("Write into this folder, which is created if it is missing; required"));
    options.addString(QStringLiteral("data"), QStringLiteral("DIR"), &m_data,
                      tr("Without a SYMBOL, record all of securities.csv in this folder"));
    options.addArgument(QStringLiteral("SYMBOL"), Options::Any, &m_symbols, tr("Record these symbols (600519.SH)"));
    ProgramOptions::addBusOptions(&options, &m_bus, tr("one of the two is required"));
}

bool RecordCommand::check(QString *error)
{
    if (!m_bus.isShared())
        *error = tr("no bus: use --bus, or LX_BUS_URL in the environment");
    else if (m_folder.isEmpty())
        *error = tr("no folder to write into: use --out");
    else if (!QDir().mkpath(m_folder))
        *error = tr("%1: the folder cannot be created").arg(m_folder);
    if (!error->isEmpty() || !m_symbols.isEmpty())
        return error->isEmpty();
    if (!loadSecurities(QDir(m_data).filePath(QStringLiteral("securities.csv")), error))
        return false;
    m_symbols = CBusinessDataBase::GetInstance()->Securities().keys();
    return true;
}

ExitCode RecordCommand::run(QString *error)
{
    if (!check(error))
        return ExitUsage;
    Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::interrupted, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    ProgramBus bus;
    m_bus.options.pendingLimit = MostPending;
    if (!bus.join(m_bus, error))
        return ExitFailure;
    const auto fail = [error](const QString &reason) {
        *error = reason;
        QCoreApplication::exit(ExitFailure);
    };
    QObject::connect(&bus, &ProgramBus::stateChanged, qApp,
                     [](const LxBusState &state) { qCInfo(lxMarketdLog, "bus %s", qUtf8Printable(state.text())); });
    Recorder recorder(m_folder);
    QObject::connect(&recorder, &Recorder::failed, qApp, fail, Qt::QueuedConnection);
    QObject::connect(&recorder, &Recorder::fileBegun, &logFile);
    recorder.start(m_symbols);
    if (!bus.waitUntilReady(error))
        return ExitFailure;
    QObject::connect(&bus, &ProgramBus::failed, qApp, fail);
    SystemdNotifier systemd;
    systemd.ready();
    qCInfo(lxMarketdLog, "ready");
    QTimer flush;
    QObject::connect(&flush, &QTimer::timeout, [&recorder] { recorder.flush(); });
    flush.start(FlushIntervalMs);
    const auto code = static_cast<ExitCode>(QCoreApplication::exec());
    QString reason;
    const bool written = recorder.finish(&reason) && report(recorder, &reason);
    if (code != ExitOk || written)
        return code;
    *error = reason;
    return ExitFailure;
}

// Logs what was recorded. False, with the reason in `error`, if that is not all.
bool RecordCommand::report(const Recorder &recorder, QString *error)
{
    for (int i = 0; i < RecordingKinds; ++i) {
        const RecordingKindInfo &info = recordingKindInfo(static_cast<RecordingKind>(i));
        if (const quint64 count = recorder.count(info.kind))
            qCInfo(lxMarketdLog, "recorded: %llu %s", static_cast<unsigned long long>(count),
                   qUtf8Printable(info.name));
    }
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    quint64 lost = 0;
    for (const LxBusDrop reason : { LxBusDrop::QueueFull, LxBusDrop::LostOnTheWay, LxBusDrop::Conflated })
        lost += statistics.dropped(reason);
    if (recorder.dropped() > 0)
        *error = tr("%1 messages were dropped that have no symbol, date or time").arg(recorder.dropped());
    else if (lost > 0)
        *error = tr("the recording is incomplete: the bus dropped %1 records").arg(lost);
    return error->isEmpty();
}

} // namespace

void addRecordCommand(CommandLine *commandLine)
{
    commandLine->addCommand<RecordCommand>(RecordCommand::description());
}
