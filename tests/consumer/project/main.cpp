// A plug-in's view of the library: its two public headers and nothing else.

#include <lxquotadata.h>
#include <lxquotahandler.h>

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    int quotes = 0;
    QObject::connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, &application,
                     [&quotes](const StockQuotaData &) { ++quotes; });
    QStringList symbols { QStringLiteral("600000.SH") };
    quota.SubscribeQuote(symbols, true);
    // Nobody publishes: there is no quote.
    const StockQuotaData quote = quota.GetLastStockQuotaData(symbols.first());
    return quote.Symbol.isEmpty() && quote.LastPx == QUOTA_INVALID_VALUE && quotes == 0 ? 0 : 1;
}
