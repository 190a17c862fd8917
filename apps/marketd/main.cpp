#include "importcommand.h"
#include "marketdlog.h"
#include "recordcommand.h"
#include "servecommand.h"

#include <commandline.h>
#include <eventdispatcher.h>
#include <language.h>
#include <logging.h>

#include <QCoreApplication>

Q_LOGGING_CATEGORY(lxMarketdLog, "lx.marketd")

int main(int argc, char *argv[])
{
    useUnixEventDispatcher();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("marketd"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LX_VERSION));
    Language::install();
    Logging::start(QStringLiteral("%{time yyyy-MM-dd hh:mm:ss.zzz} marketd: %{message}"));

    CommandLine commandLine(QCoreApplication::translate("main", "The market-data service."), QStringLiteral("info"));
    addImportCommand(&commandLine);
    addRecordCommand(&commandLine);
    addServeCommand(&commandLine);
    return commandLine.run(QCoreApplication::arguments());
}
