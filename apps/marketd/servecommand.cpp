#include "servecommand.h"

#include "metrics.h"
#include "server.h"

#include "recordeddates.h"

#include <commandline.h>
#include <interrupt.h>
#include <programoptions.h>
#include <terminal.h>

#include <QCoreApplication>

namespace {

constexpr qint64 Megabyte = 1024 * 1024;

class ServeCommand
{
    Q_DECLARE_TR_FUNCTIONS(ServeCommand)

public:
    explicit ServeCommand(Options options);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    void addStreamOptions();
    LxBusStreams streams() const;
    bool check(QString *error) const;

    Options m_options;
    Server::Settings m_settings;
    LxBusStreams m_streams;
    QString m_lastStorage = QStringLiteral("memory");
    QString m_ticksStorage = QStringLiteral("file");
    int m_lastMegabytes = static_cast<int>(LxBusStreams().lastBytes / Megabyte);
    int m_ticksMegabytes = static_cast<int>(LxBusStreams().ticksBytes / Megabyte);
};

CommandLine::Command ServeCommand::description()
{
    return {
        QStringLiteral("serve"), tr("Answer requests and replay recordings on a bus"),
        tr("Runs until SIGINT or SIGTERM; continues to answer requests after the end of the replay. Logs to standard "
           "error; the line \"marketd: ready\" means that all services have joined the bus. Several services can share "
           "a bus; each request is answered by one of them. At --speed max records are sent in batches, for "
           "throughput; at any other speed each one is sent immediately, for low latency.\n"
           "The broker must have JetStream: the service creates two streams, in which clients find what they have "
           "missed.\n"
           "Exit codes: 0; 1 if the bus, the store or a recording fails; 2 for a usage error, or if there are no "
           "recordings of the date.")
    };
}

ServeCommand::ServeCommand(Options options) : m_options(options)
{
    m_options.addString(QStringLiteral("data"), QStringLiteral("DIR"), &m_settings.replay.folder,
                        tr("Replay the recordings in this folder"));
    m_options.addString(QStringLiteral("store"), QStringLiteral("FILE"), &m_settings.store,
                        tr("Answer requests from this store, built by marketd import"));
    m_settings.replay.speed = 1;
    ProgramOptions::addReplayOptions(&m_options, &m_settings.replay);
    m_options.addFlag(QStringLiteral("loop"), &m_settings.loop, tr("Repeat the replay"));
    m_options.addString(QStringLiteral("metrics"), QStringLiteral("HOST:PORT"), &m_settings.metrics,
                        tr("Serve /metrics (Prometheus) and /healthz at this address, for example 127.0.0.1:9110"));
    ProgramOptions::addBusOptions(&m_options, &m_settings.bus, tr("a bus is required"));
    addStreamOptions();
}

void ServeCommand::addStreamOptions()
{
    const QStringList storages { QStringLiteral("memory"), QStringLiteral("file") };
    m_options.beginGroup(tr("Stream options, of the streams that the service creates on the broker"));
    m_options.addChoice(QStringLiteral("last-storage"), QStringLiteral("STORAGE"), storages, &m_lastStorage,
                        tr("Storage of the last value of each symbol"));
    m_options.addInteger(QStringLiteral("last-size"), QStringLiteral("MB"), 1, &m_lastMegabytes,
                         tr("Limit of the last values, in megabytes (default: %1)").arg(m_lastMegabytes));
    m_options.addChoice(QStringLiteral("ticks-storage"), QStringLiteral("STORAGE"), storages, &m_ticksStorage,
                        tr("Storage of the transactions and orders"));
    m_options.addInteger(QStringLiteral("ticks-size"), QStringLiteral("MB"), 1, &m_ticksMegabytes,
                         tr("Limit of the transactions and orders, in megabytes (default: %1)").arg(m_ticksMegabytes));
    m_options.addInteger(QStringLiteral("ticks-hours"), QStringLiteral("HOURS"), 1, &m_streams.ticksHours,
                         tr("Keep transactions and orders for this time (default: %1)").arg(m_streams.ticksHours));
    m_options.addInteger(
        QStringLiteral("stream-replicas"), QStringLiteral("COUNT"), 1, &m_streams.replicas,
        tr("Brokers of a cluster that keep a copy of the streams (default: %1)").arg(m_streams.replicas));
}

LxBusStreams ServeCommand::streams() const
{
    const auto storageOf = [](const QString &name) {
        return name == QLatin1String("file") ? LxBusStreams::File : LxBusStreams::Memory;
    };
    LxBusStreams streams = m_streams;
    streams.lastStorage = storageOf(m_lastStorage);
    streams.lastBytes = m_lastMegabytes * Megabyte;
    streams.ticksStorage = storageOf(m_ticksStorage);
    streams.ticksBytes = m_ticksMegabytes * Megabyte;
    return streams;
}

bool ServeCommand::check(QString *error) const
{
    if (m_settings.bus.url.isEmpty())
        *error = tr("a bus is required: use --bus, or LX_BUS_URL in the environment");
    else if (m_settings.store.isEmpty() && m_settings.replay.folder.isEmpty())
        *error = tr("nothing to serve: use --data, --store or both");
    else if (!m_settings.metrics.isEmpty() && !Metrics::isAddress(m_settings.metrics))
        *error = tr("--metrics: \"%1\" is not of the form HOST:PORT").arg(m_settings.metrics);
    for (const char *name : { "date", "from", "to", "speed", "keep-pauses", "loop" }) {
        if (m_settings.replay.folder.isEmpty() && m_options.isGiven(QString::fromLatin1(name)))
            *error = tr("--%1 requires --data").arg(QLatin1String(name));
    }
    return error->isEmpty() && checkReplayTimes(m_settings.replay, error);
}

ExitCode ServeCommand::run(QString *error)
{
    if (!check(error))
        return ExitUsage;
    ReplayOptions &replay = m_settings.replay;
    if (!replay.folder.isEmpty()) {
        const std::optional<QString> date = RecordedDates::choose(replay.folder, replay.date, error);
        if (!date)
            return ExitUsage;
        replay.date = *date;
    }
    m_settings.bus.options.streams = streams();
    Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::interrupted, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    Server server(m_settings);
    QObject::connect(&server, &Server::failed, qApp, [error](const QString &reason) {
        *error = reason;
        QCoreApplication::exit(ExitFailure);
    });
    if (!server.start(error))
        return ExitFailure;
    return static_cast<ExitCode>(QCoreApplication::exec());
}

} // namespace

void addServeCommand(CommandLine *commandLine)
{
    commandLine->addCommand<ServeCommand>(ServeCommand::description());
}
