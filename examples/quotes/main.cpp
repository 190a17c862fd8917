// Prints the quotes of the arguments' symbols. LX_BUS_URL selects a broker, LX_DATA_DIR a folder of recordings.
#include <lxmarkethost.h>
#include <lxquotahandler.h>

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    qputenv("QT_NO_THREADED_GLIB", "1"); // saves a system call per record
    QCoreApplication application(argc, argv);
    LxMarketHost market;
    QString error;
    if (!market.open(&error))
        qFatal("%s", qPrintable(error));

    QTextStream out(stdout);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QObject::connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, &application,
                     [&out](const StockQuotaData &quote) {
                         out << quote.MDTime << ' ' << quote.Symbol << ' ' << quote.SecurityName << ' ' << quote.LastPx
                             << ' ' << QString::number(quote.ChangeRatio, 'f', 2) << "%" << Qt::endl;
                     });
    QObject::connect(&market, &LxMarketHost::ended, &application, &QCoreApplication::quit);
    QObject::connect(&market, &LxMarketHost::failed, [](const QString &reason) { qFatal("%s", qPrintable(reason)); });

    QStringList symbols = application.arguments().mid(1);
    if (symbols.isEmpty())
        symbols.append(QStringLiteral("600519.SH"));
    quota.SubscribeQuote(symbols, true);
    market.start(); // a recorded day within the process, unless LX_BUS_URL names a broker
    return QCoreApplication::exec();
}
