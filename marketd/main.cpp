#include "servecommand.h"
#include "storeimportcommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

struct Command
{
    const char *name;
    const char *summary;
    int (*run)(const QStringList &arguments);
};

constexpr Command commands[] = {
    { "import", "Build a store from a folder of recorded data.", runImportCommand },
    { "serve", "Answer requests and replay recordings on a bus.", runServeCommand },
};

QString help(const QCommandLineParser &parser)
{
    QString text = parser.helpText() + QStringLiteral("\nCommands:\n");
    for (const Command &command : commands)
        text += QStringLiteral("  %1 %2\n").arg(QLatin1String(command.name), -10).arg(QLatin1String(command.summary));
    return text;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("marketd"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LX_VERSION));
    const QStringList arguments = application.arguments();

    for (const Command &command : commands) {
        if (arguments.value(1) == QLatin1String(command.name))
            return command.run(arguments);
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The market-data service."));
    const QCommandLineOption helpOption({ QStringLiteral("h"), QStringLiteral("help") },
                                        QStringLiteral("Shows this help."));
    const QCommandLineOption versionOption({ QStringLiteral("v"), QStringLiteral("version") },
                                           QStringLiteral("Shows the version."));
    parser.addOptions({ helpOption, versionOption });
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("What to do; see 'marketd COMMAND --help'."),
                                 QStringLiteral("COMMAND"));
    QString reason;
    if (!parser.parse(arguments)) {
        reason = parser.errorText();
    } else if (parser.isSet(versionOption)) {
        std::printf("marketd %s\n", LX_VERSION);
        return 0;
    } else if (parser.isSet(helpOption)) {
        std::fputs(qUtf8Printable(help(parser)), stdout);
        return 0;
    } else {
        const QStringList positional = parser.positionalArguments();
        reason = positional.isEmpty() ? QStringLiteral("a command is needed")
                                      : QStringLiteral("no command \"%1\"").arg(positional.first());
    }
    std::fputs(qUtf8Printable(QStringLiteral("marketd: %1\nTry 'marketd --help'.\n").arg(reason)), stderr);
    return 2;
}
