// The quotes of the arguments' symbols in QML, from the bus of LX_BUS_URL.
#include <lxquotetablemodel.h>

#include <lxbus/bus.h>
#include <lxwidget/lxpluginhost.h>

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QString error;
    if (!LxBus::start(qEnvironmentVariable("LX_BUS_URL", QStringLiteral("inproc:")), {}, &error)
        || !LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), &error))
        qFatal("%s", qPrintable(error));

    LxQuoteTableModel model;
    model.setSymbols(application.arguments().mid(1));
    QQmlApplicationEngine engine;
    engine.rootContext()->setContextProperty(QStringLiteral("quotes"), &model);
    engine.load(QUrl(QStringLiteral("qrc:/quotes.qml")));
    return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
