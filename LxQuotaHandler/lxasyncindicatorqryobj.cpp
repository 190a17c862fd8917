#include "lxasyncindicatorqryobj_p.h"

#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxrequests_p.h"

namespace {

constexpr int MessagesPerBurst = 20;
constexpr unsigned long BurstPauseMs = 100;
constexpr unsigned long EndTimeoutMs = 3000;

} // namespace

LxAsyncIndicatorQryObj *LxAsyncIndicatorQryObj::instance()
{
    static LxAsyncIndicatorQryObj worker;
    return &worker;
}

LxAsyncIndicatorQryObj::LxAsyncIndicatorQryObj()
{
    m_thread.setObjectName(QLatin1String("LxAsyncIndicatorQryObj_Thread"));
    moveToThread(&m_thread);
    m_thread.start(QThread::InheritPriority);
}

LxAsyncIndicatorQryObj::~LxAsyncIndicatorQryObj()
{
    stop();
}

void LxAsyncIndicatorQryObj::stop()
{
    m_thread.quit();
    if (m_thread.wait(EndTimeoutMs))
        return;
    // The thread must not outlive this object, so the rest of a long list is not sent.
    m_thread.requestInterruption();
    m_thread.wait();
}

void LxAsyncIndicatorQryObj::slotQueryPEData(const QStringList &symbolList, const QString &tradeDate)
{
    if (symbolList.isEmpty() || tradeDate.isEmpty())
        return;
    if (sendPaced(LxMessageType::PERequest, symbolList, tradeDate))
        LX_DEBUG("lxasyncindicatorqryobj", 46) << "查询市盈率结束" << tradeDate;
}

void LxAsyncIndicatorQryObj::slotQueryQRRData(const QStringList &symbolList, const QString &tradeDate)
{
    if (symbolList.isEmpty() || tradeDate.isEmpty())
        return;
    if (sendPaced(LxMessageType::QRRRequest, symbolList, tradeDate))
        LX_DEBUG("lxasyncindicatorqryobj", 72) << "查询量比结束" << tradeDate;
}

bool LxAsyncIndicatorQryObj::sendPaced(const QString &messageType, const QStringList &symbols, const QString &tradeDate)
{
    int sent = 0;
    for (const QString &symbol : symbols) {
        if (m_thread.isInterruptionRequested())
            return false;
        LxPresenterClassMgr::instance()->Put(LxRequests::createIndicatorQuery(messageType, symbol, tradeDate));
        // Fixed behaviour: also after the last message of a list, so that there is a pause before the next list's
        // burst.
        if (++sent == MessagesPerBurst) {
            QThread::msleep(BurstPauseMs);
            sent = 0;
        }
    }
    return true;
}
