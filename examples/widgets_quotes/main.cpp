// A table of live quotes: LxQuoteTableModel in a QTableView. Run it where a service publishes on the bus of LX_BUS_URL.

#include <lxquotetablemodel.h>

#include <lxbus/bus.h>
#include <lxwidget/lxpluginhost.h>

#include <QApplication>
#include <QHeaderView>
#include <QTableView>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QString error;
    if (!LxBus::start(qEnvironmentVariable("LX_BUS_URL", QStringLiteral("inproc:")), {}, &error)
        || !LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), &error))
        qFatal("%s", qPrintable(error));

    LxQuoteTableModel model;
    model.setSymbols(application.arguments().mid(1));
    QTableView view;
    view.setModel(&model);
    view.horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder); // the order of the arguments, until a click
    view.setSortingEnabled(true);
    view.setWindowTitle(QStringLiteral("Quotes"));
    view.resize(1000, 400);
    view.show();
    return QApplication::exec();
}
