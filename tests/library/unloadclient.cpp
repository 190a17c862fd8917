// A plug-in that uses the library: it makes the library send each of its requests. Strings are on the heap, so that
// what the platform keeps of them does not depend on this plug-in being loaded.

#include "lxquotahandler.h"

#include <lxdouble/recording.h>

extern "C" Q_DECL_EXPORT void sendEveryRequest();

void sendEveryRequest()
{
    LxQuotaHandler &handler = LxQuotaHandler::instance();
    QStringList symbols { QLatin1String("600000.SH"), QLatin1String("000001.SZ") };
    handler.SubscribeQuote(symbols, true);
    handler.SubscribeRecordTransaction(symbols, true);
    handler.SubscribeRecordOrder(symbols, false);
    handler.SubscribeRankingData(symbols, 7, true);
    const QDate day(2023, 2, 1);
    handler.QueryStockPeriod1DInfo(symbols.first(), day, day, false);
    handler.queryPEData(symbols);
    handler.queryQRRData(symbols);
    handler.queryRiseDayData(symbols);
    QList<LxStockDeepData> known;
    handler.QueryStockDeepData(symbols, known, false);
    handler.QueryStockDeepDataFromBackendService(LxDouble::presenters().constFirst().object, symbols);
}
