#include "colours.h"
#include "klinecommand.h"
#include "querycommands.h"
#include "snapshotcommand.h"
#include "symbolscommand.h"
#include "tradingdaycommand.h"
#include "watchcommand.h"

#include <commandline.h>
#include <eventdispatcher.h>
#include <language.h>
#include <logging.h>

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    useUnixEventDispatcher();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lxquote"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LX_VERSION));
    Language::install();
    Logging::start(QStringLiteral("lxquote: %{if-category}%{category}: %{endif}%{message}"));

    CommandLine commandLine(QCoreApplication::translate("main", "Shows market data through the quotation library."),
                            QStringLiteral("warning"));
    BusSession::Settings bus;
    Options common = commandLine.common();
    bus.addOptions(&common);
    Colours::addOption(&common);
    addWatchCommand(&commandLine, &bus);
    addSnapshotCommand(&commandLine, &bus);
    addKLineCommand(&commandLine, &bus);
    addFigureCommands(&commandLine, &bus);
    addTradingDayCommand(&commandLine, &bus);
    addSymbolsCommand(&commandLine, &bus);
    const int exitCode = commandLine.run(QCoreApplication::arguments());
    // The bus would report the messages that the program leaves unread as dropped.
    Logging::mute(QStringLiteral("lx.bus"));
    return exitCode;
}
