// Loads the plug-ins that the arguments name into a market. LX_BUS_URL selects a broker, LX_DATA_DIR a folder of
// recordings.
#include <lxmarkethost.h>
#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpluginhost.h>

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    qputenv("QT_NO_THREADED_GLIB", "1"); // saves a system call per record
    QCoreApplication application(argc, argv);
    LxMarketHost market;
    QString error;
    if (!market.open(&error))
        qFatal("%s", qPrintable(error));
    for (const QString &file : application.arguments().mid(1)) {
        if (!LxPluginHost::load(file, &error))
            qFatal("%s", qPrintable(error));
    }
    QObject::connect(&market, &LxMarketHost::ended, &application, &QCoreApplication::quit);
    QObject::connect(&market, &LxMarketHost::failed, [](const QString &reason) { qFatal("%s", qPrintable(reason)); });
    market.start();
    const int exitCode = QCoreApplication::exec();
    for (LxPluginBaseObject *plugin : LxPluginHost::plugins())
        plugin->doBeforeClose();
    return exitCode;
}
