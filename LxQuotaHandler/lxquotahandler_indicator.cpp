#include "lxquotahandler.h"

#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxrequests_p.h"
#include "lxrowreader_p.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <summitdefines/summitfields.h>

using namespace Summit_Fields;

namespace {

const QString requestDateFormat(QLatin1String("yyyyMMdd"));

// Those of `symbols` that `cache`, which is guarded by `lock`, does not contain.
template<typename Container>
QStringList notCached(const QStringList &symbols, const Container &cache, QReadWriteLock *lock)
{
    QStringList missing;
    for (const QString &symbol : symbols) {
        QReadLocker locker(lock);
        if (!cache.contains(symbol))
            missing.append(symbol);
    }
    return missing;
}

} // namespace

void LxQuotaHandler::queryPEData(const QStringList &symbols)
{
    waitForPresenterClassInit();
    if (symbols.isEmpty())
        return;
    const QString date = tradeDate();
    if (date.isEmpty())
        return;
    const QStringList missing = notCached(symbols, m_mapPEData, m_pPELock);
    if (!missing.isEmpty())
        Q_EMIT sigQueryPEData(missing, date);
}

void LxQuotaHandler::queryQRRData(const QStringList &symbols)
{
    waitForPresenterClassInit();
    if (symbols.isEmpty())
        return;
    const QString date = tradeDate();
    if (date.isEmpty())
        return;
    const QStringList missing = notCached(symbols, m_mapQRRData, m_pQRRLock);
    if (!missing.isEmpty())
        Q_EMIT sigQueryQRRData(missing, date);
}

void LxQuotaHandler::queryRiseDayData(QStringList symbols)
{
    waitForPresenterClassInit();
    if (symbols.isEmpty())
        return;
    const QString date = tradeDate();
    if (date.isEmpty())
        return;
    for (const QString &symbol : std::as_const(symbols)) {
        m_pRiseDayLock->lockForRead();
        const bool cached = m_mapRiseDays.contains(symbol);
        m_pRiseDayLock->unlock();
        if (cached)
            continue;
        LxPresenterClassMgr::instance()->Put(
            LxRequests::createIndicatorQuery(LxMessageType::RiseDaysRequest, symbol, date));
        LX_DEBUG("lxquotahandler", 736) << "查询连涨天数" << symbol << date;
    }
}

QString LxQuotaHandler::tradeDate()
{
    {
        QMutexLocker locker(&m_tradeDateMutex);
        if (!m_strTradeDate.isEmpty())
            return m_strTradeDate; // Fixed behaviour: never refreshed, not even after the trading day has ended.
    }
    const QString date = queryTradeDay(QDate::currentDate(), -1);
    // If several threads asked at the same time, the first answer is kept.
    QMutexLocker locker(&m_tradeDateMutex);
    if (m_strTradeDate.isEmpty())
        m_strTradeDate = date;
    return m_strTradeDate;
}

QString LxQuotaHandler::queryTradeDay(QDate date, int days)
{
    waitForPresenterClassInit();
    if (!date.isValid())
        return QString();
    CPackMessageCommon pack;
    pack.AddVaule(QuantizationInformationMsgCode::InitStartDate, date.toString(requestDateFormat));
    pack.AddVaule(QuantizationInformationMsgCode::Days, days);
    pack.AddVaule(Orca_Fields::System::msgType, LxMessageType::TradeDayRequest);

    QVariant result;
    const int code = LxPresenterClassMgr::instance()->sendRequest_Sync(
        LxRequests::create(LxMessageType::TradeDayRequest, pack), result);
    if (code == 1)
        LX_DEBUG("lxquotahandler", 761) << "查询交易日 超时";
    else if (code < 0)
        LX_DEBUG("lxquotahandler", 764) << "查询交易日 消息体空";
    if (code != 0)
        return QString();

    LxRowReader answer(result);
    if (answer.value(Orca_Fields::System::requestExeStatus) != QVariant(Orca_Values::RequestExeStatus::success))
        return QString();
    answer.setCurrentRow(1);
    QString tradeDay = answer.rowValue().value(QuantizationInformationMsgCode::TradeDate).toString().trimmed();
    LX_DEBUG("lxquotahandler", 774) << "查询交易日  成功" << tradeDay;
    return tradeDay;
}
