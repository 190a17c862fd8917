// Prints past bars and figures of the argument's symbol. LX_BUS_URL selects a broker, LX_DATA_DIR a folder of
// recordings.
#include <lxmarkethost.h>
#include <lxquotahandler.h>

#include <QCoreApplication>
#include <QTextStream>
#include <QTimer>

int main(int argc, char *argv[])
{
    qputenv("QT_NO_THREADED_GLIB", "1"); // saves a system call per record
    QCoreApplication application(argc, argv);
    LxMarketHost market;
    QString error;
    if (!market.open(&error) || !market.serveHistory(&error))
        qFatal("%s", qPrintable(error));
    const QString symbol = application.arguments().value(1, QStringLiteral("600000.SH"));
    QTextStream out(stdout);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    // The library leaves the type of this argument to its users.
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");

    // Requests return at once; the answers arrive by signal.
    int answers = 0;
    const auto answered = [&answers] {
        if (++answers == 2)
            QCoreApplication::quit();
    };
    QObject::connect(&quota, &LxQuotaHandler::signalKLineResponse, &application, [&](const QList<QVariantMap> &bars) {
        for (const QVariantMap &bar : bars)
            out << bar.value("MDDate").toString() << " close " << bar.value("ClosePx").toDouble() << Qt::endl;
        answered();
    });
    QObject::connect(&quota, &LxQuotaHandler::signalStockDeepDataUpdate, &application, [&](const QStringList &symbols) {
        QList<LxStockDeepData> figures;
        quota.QueryStockDeepData(symbols, figures, false);
        for (const LxStockDeepData &figure : qAsConst(figures))
            out << figure.Symbol << " has " << qSetRealNumberPrecision(12) << figure.TotalShare << " shares"
                << Qt::endl;
        answered();
    });
    quota.AsyncRequestKLineData(symbol, QDateTime(QDate(2023, 1, 16), QTime(0, 0)),
                                QDateTime(QDate(2023, 1, 31), QTime(0, 0)), EMD_KLINE_PERIOD_1DAY,
                                EMD_EXRIGHTS_TYPE_DEFAULT);
    QList<LxStockDeepData> known; // nothing yet, so it is requested
    quota.QueryStockDeepData({ symbol }, known, false);
    out << "five trading days after 2023-01-20: " << quota.queryTradeDay(QDate(2023, 1, 20), 5) << Qt::endl;
    QTimer::singleShot(10000, [] { qFatal("no answer within ten seconds"); });
    return QCoreApplication::exec();
}
