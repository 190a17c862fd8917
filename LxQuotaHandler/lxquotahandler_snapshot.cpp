#include "lxquotahandler.h"

#include "lxbrieflocker_p.h"
#include "lxlocaltime.h"
#include "lxquotaindexes_p.h"

namespace {

constexpr double SmallestEps = 0.0001;
constexpr int SharesPerLot = 100;

// The continuous trading hours of the Shanghai and Shenzhen exchanges: 09:30-11:30 and 13:00-15:00.
const QTime morningOpen(9, 30);
const QTime morningClose(11, 30);
const QTime afternoonOpen(13, 0);
const QTime afternoonClose(15, 0);
constexpr int MiddayBreakSeconds = 90 * 60;

// Whole minutes traded since the open, for a time after it.
int tradingMinutes(const QTime &now)
{
    int seconds = 0;
    if (now <= morningClose)
        seconds = morningOpen.secsTo(now);
    else if (now <= afternoonOpen)
        seconds = morningOpen.secsTo(morningClose);
    else
        seconds = morningOpen.secsTo(qMin(now, afternoonClose)) - MiddayBreakSeconds;
    return seconds / 60;
}

} // namespace

IndexQuotaData LxQuotaHandler::GetLastIndexQuotaData(const QString &symbol)
{
    QMutexLocker locker(m_pIndexQuotaMutex);
    return m_mapIndexQuota.value(symbol);
}

StockQuotaData LxQuotaHandler::GetLastStockQuotaData(const QString &symbol)
{
    const LxSymbolKey key(symbol);
    LxBriefLocker locker(m_pStockQuotaMutex, LxBriefLocker::Read);
    const StockQuotaData *cached = m_indexes->stockQuota.constFind(m_mapStockQuota, key);
    return cached ? *cached : StockQuotaData();
}

StockQuotaData LxQuotaHandler::GetLastStockQuotaDataBrief(const QString &symbol)
{
    return GetLastStockQuotaData(symbol);
}

StockQuotaData LxQuotaHandler::GetLastStockQuotaDataBase(const QString &symbol)
{
    StockQuotaData quote;
    deriveSnapshot(symbol, quote);
    return quote;
}

StockQuotaData LxQuotaHandler::GetLastStockQuotaDataTotal(const QString &symbol)
{
    StockQuotaData quote;
    if (!deriveSnapshot(symbol, quote))
        return quote;
    QReadLocker locker(m_pTransactionLock);
    const auto transaction = m_hashTransactionRecord.constFind(symbol);
    if (transaction != m_hashTransactionRecord.constEnd())
        quote.LastTradeLots = static_cast<double>(transaction->TradeQty / SharesPerLot);
    return quote;
}

bool LxQuotaHandler::deriveSnapshot(const QString &symbol, StockQuotaData &quote)
{
    const LxSymbolKey key(symbol);
    {
        LxBriefLocker locker(m_pStockQuotaMutex, LxBriefLocker::Read);
        const StockQuotaData *cached = m_indexes->stockQuota.constFind(m_mapStockQuota, key);
        if (!cached)
            return false;
        quote = *cached;
    }

    double eps = -1.0;
    {
        QReadLocker locker(m_pPELock);
        if (const PEData *pe = m_indexes->peData.constFind(m_mapPEData, key))
            eps = pe->eps;
    }
    if (eps > SmallestEps)
        quote.PERatio = quote.LastPx / eps;

    double volumePerMinute = 0.0;
    {
        QReadLocker locker(m_pQRRLock);
        if (const QRRData *qrr = m_indexes->qrrData.constFind(m_mapQRRData, key))
            volumePerMinute = qrr->last5DayVolumePerMinute;
    }
    // The clock is read last, and only if it matters: reading it costs more than all the rest.
    if (!(volumePerMinute > 0.0) || LxLocalTime::now() <= morningOpen)
        return true;
    const int minutes = tradingMinutes(LxLocalTime::now());
    // In the first minute of trading the minutes are 0 and the ratio is infinite or undefined: meant.
    quote.QuantityRelativeRatio = quote.TotalVolumeTrade / minutes / volumePerMinute;
    return true;
}
