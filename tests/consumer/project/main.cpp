// Uses the library as a plug-in does: by its two public headers only.

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
    // Nothing is published, so there is no quote.
    const StockQuotaData quote = quota.GetLastStockQuotaData(symbols.first());
    return quote.Symbol.isEmpty() && quote.LastPx == QUOTA_INVALID_VALUE && quotes == 0 ? 0 : 1;
}
