#include "lxquotahandler.h"

#include "lxindicatorrequest_p.h"
#include "lxlog_p.h"
#include "lxquotahandlerobject.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>
#include <summitdefines/summitfields.h>

using namespace Summit_Fields;

namespace {

template<typename Container>
QStringList notHeld(const QStringList &symbols, const Container &held, QReadWriteLock *lock)
{
    QStringList missing;
    for (const QString &symbol : symbols) {
        QReadLocker locker(lock);
        if (!held.contains(symbol))
            missing.append(symbol);
    }
    return missing;
}

} // namespace

CMessageCommon *createIndicatorRequest(const QString &messageType, const QString &symbol, const QString &tradeDate)
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbol);
    pack.AddVaule(QStringLiteral("MDDate"), tradeDate);
    auto *message = new CMessageCommon;
    message->SetType(messageType);
    message->SetMsg(pack.GetPackedMsg(false));
    return message;
}

void LxQuotaHandler::queryPEData(const QStringList &symbols)
{
    waitForPresenterClassInit();
    if (symbols.isEmpty())
        return;
    const QString date = tradeDate();
    if (date.isEmpty())
        return;
    const QStringList missing = notHeld(symbols, m_mapPEData, m_pPELock);
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
    const QStringList missing = notHeld(symbols, m_mapQRRData, m_pQRRLock);
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
        const bool held = m_mapRiseDays.contains(symbol);
        m_pRiseDayLock->unlock();
        if (held)
            continue;
        LxPresenterClassMgr::instance()->Put(
            createIndicatorRequest(QStringLiteral("MSG_QUERY_UP_N_DAY_REQUEST"), symbol, date));
        LX_LOG("lxquotahandler", 736).debug() << "查询连涨天数" << symbol << date;
    }
}

QString LxQuotaHandler::tradeDate()
{
    // Once known it is never asked for again, even past the end of the trading day: meant. Callers that meet here
    // while it is unknown each ask for it, and the first answer stays.
    if (m_tradeDateKnown.load(std::memory_order_acquire))
        return m_strTradeDate;
    const QString date = queryTradeDay(QDate::currentDate(), -1);
    if (!date.isEmpty() && !m_tradeDateClaimed.test_and_set()) {
        m_strTradeDate = date;
        m_tradeDateKnown.store(true, std::memory_order_release);
    }
    return date;
}

QString LxQuotaHandler::queryTradeDay(QDate date, int days)
{
    waitForPresenterClassInit();
    if (!date.isValid())
        return QString();
    const QString type = QStringLiteral("181063");
    CPackMessageCommon pack;
    pack.AddVaule(QuantizationInformationMsgCode::InitStartDate, date.toString(QStringLiteral("yyyyMMdd")));
    pack.AddVaule(QuantizationInformationMsgCode::Days, days);
    pack.AddVaule(Orca_Fields::System::msgType, type);
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(pack.GetPackedMsg(false));

    QVariant result;
    const int code = LxPresenterClassMgr::instance()->sendRequest_Sync(message, result);
    if (code == 1)
        LX_LOG("lxquotahandler", 761).debug() << "查询交易日 超时";
    else if (code < 0)
        LX_LOG("lxquotahandler", 764).debug() << "查询交易日 消息体空";
    if (code != 0)
        return QString();

    CUnPackMessageCommon answer;
    answer.SetUnPackMsg(result, false);
    const QVariant absent { QString::fromLatin1("") };
    if (answer.GetValue(Orca_Fields::System::requestExeStatus, absent) != QVariant(Orca_Values::RequestExeStatus::success))
        return QString();
    answer.SetCurrentRow(1);
    const QString tradeDay =
        answer.GetRowValue().value(QuantizationInformationMsgCode::TradeDate).toString().trimmed();
    LX_LOG("lxquotahandler", 774).debug() << "查询交易日  成功" << tradeDay;
    return tradeDay;
}
