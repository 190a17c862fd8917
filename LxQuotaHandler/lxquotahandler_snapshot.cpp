#include "lxquotahandler.h"

#include "lxlocaltime_p.h"
#include "lxsymbolindex_p.h"

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
    QMutexLocker locker(m_pStockQuotaMutex);
    const StockQuotaData *cached = m_stockQuotaIndex->find(m_mapStockQuota, symbol);
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
    if (transaction != m_hashTransactionRecord.constEnd()) {
        const qint64 lots = transaction->TradeQty / SharesPerLot;
        quote.LastTradeLots = static_cast<double>(lots);
    }
    return quote;
}

bool LxQuotaHandler::deriveSnapshot(const QString &symbol, StockQuotaData &quote)
{
    {
        QMutexLocker locker(m_pStockQuotaMutex);
        const StockQuotaData *cached = m_stockQuotaIndex->find(m_mapStockQuota, symbol);
        if (!cached)
            return false;
        quote = *cached;
    }

    double eps = -1.0;
    {
        QReadLocker locker(m_pPELock);
        const auto pe = m_mapPEData.constFind(symbol);
        if (pe != m_mapPEData.constEnd())
            eps = pe->eps;
    }
    if (eps > SmallestEps)
        quote.PERatio = quote.LastPx / eps;

    if (LxLocalTime::now() <= morningOpen)
        return true;
    const int minutes = tradingMinutes(LxLocalTime::now());
    QReadLocker locker(m_pQRRLock);
    const auto qrr = m_mapQRRData.constFind(symbol);
    // Fixed behaviour: in the first minute of a session the ratio is infinite or undefined.
    if (qrr != m_mapQRRData.constEnd() && qrr->last5DayVolumePerMinute > 0.0)
        quote.QuantityRelativeRatio = quote.TotalVolumeTrade / minutes / qrr->last5DayVolumePerMinute;
    return true;
}
