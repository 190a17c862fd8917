#include "lxasyncindicatorqryobj.h"

#include "lxindicatorrequest_p.h"
#include "lxlog_p.h"
#include "lxquotahandlerobject.h"

namespace {

constexpr int MessagesPerBurst = 20;
constexpr unsigned long PauseMs = 100;
constexpr unsigned long EndTimeoutMs = 3000;

} // namespace

LxAsyncIndicatorQryObj *LxAsyncIndicatorQryObj::instance()
{
    static LxAsyncIndicatorQryObj worker;
    return &worker;
}

LxAsyncIndicatorQryObj::LxAsyncIndicatorQryObj()
{
    m_thread.setObjectName(QStringLiteral("LxAsyncIndicatorQryObj_Thread"));
    moveToThread(&m_thread);
    m_thread.start(QThread::InheritPriority);
}

LxAsyncIndicatorQryObj::~LxAsyncIndicatorQryObj()
{
    stop();
}

void LxAsyncIndicatorQryObj::stop()
{
    // A long list is cut short: its pauses alone could outlast the time-out, and a running thread cannot be destroyed.
    m_thread.requestInterruption();
    m_thread.quit();
    m_thread.wait(EndTimeoutMs);
}

void LxAsyncIndicatorQryObj::slotQueryPEData(const QStringList &symbolList, const QString &tradeDate)
{
    if (symbolList.isEmpty() || tradeDate.isEmpty())
        return;
    sendPaced(QStringLiteral("MSG_QUERY_P_E_RATIO_REQUEST"), symbolList, tradeDate);
    LX_LOG("lxasyncindicatorqryobj", 46).debug() << "查询市盈率结束" << tradeDate;
}

void LxAsyncIndicatorQryObj::slotQueryQRRData(const QStringList &symbolList, const QString &tradeDate)
{
    if (symbolList.isEmpty() || tradeDate.isEmpty())
        return;
    sendPaced(QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST"), symbolList, tradeDate);
    LX_LOG("lxasyncindicatorqryobj", 72).debug() << "查询量比结束" << tradeDate;
}

void LxAsyncIndicatorQryObj::sendPaced(const QString &messageType, const QStringList &symbols,
                                       const QString &tradeDate)
{
    int sent = 0;
    for (const QString &symbol : symbols) {
        if (m_thread.isInterruptionRequested())
            return;
        LxPresenterClassMgr::instance()->Put(createIndicatorRequest(messageType, symbol, tradeDate));
        // Also after the last message of a full burst: meant.
        if (++sent == MessagesPerBurst) {
            QThread::msleep(PauseMs);
            sent = 0;
        }
    }
}
