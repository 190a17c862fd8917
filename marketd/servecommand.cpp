#include "servecommand.h"

#include "exitcode.h"
#include "interrupt.h"
#include "server.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

void printLine(const QString &line)
{
    std::fputs(qUtf8Printable(line + QLatin1Char('\n')), stderr);
}

void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    printLine(qFormatLogMessage(type, context, message));
}

int usageError(const QString &reason)
{
    printLine(QStringLiteral("marketd serve: %1\nTry 'marketd serve --help'.").arg(reason));
    return ExitUsage;
}

} // namespace

int runServeCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Answers requests from a store and replays recordings on a bus, until SIGINT or SIGTERM. Goes on answering "
        "when\n"
        "the replay has ended. Logs on standard error; the line \"marketd: ready\" stands there once all services are "
        "on\n"
        "the bus. Several such services may share a bus: each request is answered by one of them.\n"
        "Records at --speed max are sent in bulk, for throughput; at any other speed each by itself, for latency.\n"
        "Exit codes: 0; 1 if the bus, the store or a recording fails; 2 for a usage error."));
    const QCommandLineOption help({ QStringLiteral("h"), QStringLiteral("help") }, QStringLiteral("Shows this help."));
    parser.addOption(help);
    parser.addPositionalArgument(QStringLiteral("serve"), QStringLiteral("This command."));
    parser.addOption(
        { QStringLiteral("data"), QStringLiteral("Replay the recordings in this folder."), QStringLiteral("DIR") });
    parser.addOption({ QStringLiteral("store"), QStringLiteral("Answer requests from this store of marketd import."),
                       QStringLiteral("FILE") });
    ProgramOptions::addReplayOptions(parser, QStringLiteral("1"));
    const QCommandLineOption loop(QStringLiteral("loop"), QStringLiteral("Replay again and again."));
    parser.addOption(loop);
    ProgramOptions::addBusOptions(parser, QStringLiteral("one of the two is needed"));

    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(help)) {
        std::fputs(qUtf8Printable(parser.helpText()), stdout);
        return ExitOk;
    }
    Server::Options options;
    ReplayOptions replay;
    QString error;
    if (!ProgramOptions::readReplayOptions(parser, &replay, &error))
        return usageError(error);
    options.bus = ProgramOptions::busSettings(parser);
    options.store = parser.value(QStringLiteral("store"));
    options.folder = parser.value(QStringLiteral("data"));
    options.date = replay.date;
    options.speed = replay.speed;
    options.loop = parser.isSet(loop);
    if (parser.positionalArguments().size() != 1)
        return usageError(QStringLiteral("no argument \"%1\"").arg(parser.positionalArguments().at(1)));
    if (options.bus.url.isEmpty())
        return usageError(QStringLiteral("give --bus, or LX_BUS_URL in the environment"));
    if (options.store.isEmpty() && options.folder.isEmpty())
        return usageError(QStringLiteral("give --data, --store or both"));
    for (const char *name : { "date", "speed", "loop" }) {
        if (options.folder.isEmpty() && parser.isSet(QString::fromLatin1(name)))
            return usageError(QStringLiteral("--%1 goes with --data").arg(QLatin1String(name)));
    }

    qSetMessagePattern(QStringLiteral("%{time yyyy-MM-dd hh:mm:ss.zzz} marketd: %{message}"));
    qInstallMessageHandler(printMessage);
    Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::interrupted, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    Server server(options);
    QObject::connect(&server, &Server::failed, qApp, [](const QString &reason) {
        qCritical("%s", qUtf8Printable(reason));
        QCoreApplication::exit(ExitFailure);
    });
    if (!server.start(&error)) {
        qCritical("%s", qUtf8Printable(error));
        return ExitFailure;
    }
    return QCoreApplication::exec();
}
