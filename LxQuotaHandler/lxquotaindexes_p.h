#pragma once

#include "lxquotahandler.h"
#include "lxsymbolindex_p.h"

/// The short ways to the caches that are read or written for every record.
struct LxQuotaHandler::Indexes
{
    LxSymbolIndex<LxStockDeepData> stockDeepData;
    LxSymbolIndex<StockQuotaData> stockQuota;
    LxSymbolIndex<PEData> peData;
    LxSymbolIndex<QRRData> qrrData;
};
