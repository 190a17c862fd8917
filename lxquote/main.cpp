#include "arguments.h"
#include "klinecommand.h"
#include "querycommands.h"
#include "snapshotcommand.h"
#include "terminal.h"
#include "watchcommand.h"

#include <QCoreApplication>
#include <QLoggingCategory>

namespace {

struct Command
{
    const char *name;
    const char *summary;
    int (*run)(const QStringList &arguments);
};

constexpr Command commands[] {
    { "watch", "shows quotes as they change", watchCommand },
    { "snapshot", "prints the last quotes whole", snapshotCommand },
    { "kline", "prints or draws the bars of a symbol", klineCommand },
    { "deep", "prints share capital and net assets", deepCommand },
    { "pe", "prints price-earnings figures", priceEarningsCommand },
    { "qrr", "prints the volume a minute of the last five days", volumeRatioCommand },
    { "risedays", "prints counts of consecutive rising days", risingDaysCommand },
    { "tradeday", "prints the trading day some days from a date", tradingDayCommand },
};

bool verbose = false;
bool leaving = false;

// The library asks Qt for one connection that Qt refuses with a warning, at every start and on purpose. Users of the
// program need not see it.
void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (!verbose && message.contains(QLatin1String("signalKLineResponse(QList<QVariantMap>)")))
        return;
    // What the bus still holds for a program that has what it wanted is no loss.
    if (leaving && qstrcmp(context.category, "lx.bus") == 0)
        return;
    Terminal::err(qFormatLogMessage(type, context, message) + QLatin1Char('\n'));
}

QString usage()
{
    QString text = QStringLiteral("Usage: lxquote COMMAND [options]\n"
                                  "Shows market data through the quotation library.\n\nCommands:\n");
    for (const Command &command : commands)
        text += QStringLiteral("  %1 %2\n").arg(QLatin1String(command.name), -10).arg(QLatin1String(command.summary));
    return text
            + QStringLiteral("\nOptions:\n"
                             "  --help     this text; after a command, its own\n"
                             "  --version  the version\n"
                             "  --verbose  logs what the library does, on standard error\n");
}

int leave(int exitCode)
{
    leaving = true;
    return exitCode;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    verbose = arguments.removeAll(QStringLiteral("--verbose")) > 0;
    if (!verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    qInstallMessageHandler(printMessage);
    const QString name = arguments.value(1);
    if (name == QLatin1String("--help") || name == QLatin1String("-h")) {
        Terminal::out(usage());
        return ExitOk;
    }
    if (name == QLatin1String("--version")) {
        Terminal::out(QStringLiteral("lxquote " LX_VERSION "\n"));
        return ExitOk;
    }
    for (const Command &command : commands) {
        if (name == QLatin1String(command.name))
            return leave(command.run(arguments));
    }
    return Arguments::usageError(name.isEmpty() ? QStringLiteral("no command given")
                                                : QStringLiteral("no such command: %1").arg(name));
}
