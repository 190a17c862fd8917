#include "lxquotahandler.h"

#include "lxquerydeephqthread.h"
#include "lxquotahandlerobject.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>

namespace {

constexpr int SymbolsPerRequest = 100;

} // namespace

void LxQuotaHandler::QueryStockDeepData(const QStringList &symbols, QList<LxStockDeepData> &out, bool)
{
    QStringList pending;
    for (const QString &symbol : symbols) {
        m_pStockDeepDataMutex->lock();
        const bool cached = m_mapStockDeepData.contains(symbol);
        if (cached)
            out.append(m_mapStockDeepData[symbol]);
        m_pStockDeepDataMutex->unlock();
        if (cached)
            continue;
        pending.append(symbol);
        if (pending.size() == SymbolsPerRequest) {
            QueryStockDeepDataFromBackendServiceImpl(pending);
            pending.clear();
        }
    }
    if (!pending.isEmpty())
        QueryStockDeepDataFromBackendServiceImpl(pending);
}

void LxQuotaHandler::QueryStockDeepDataFromBackendService(LxPresenterClass *presenter, const QStringList &symbols)
{
    auto *thread = new LxQueryDeepHQThread(presenter);
    thread->setObjectName(QStringLiteral("LxQueryDeepHQ_Thread"));
    thread->setSymbols(symbols);
    {
        QMutexLocker locker(&m_deepQueryThreadsMutex);
        m_deepQueryThreads.append(thread);
    }
    connect(thread, &LxQueryDeepHQThread::sigThreadRunFinish, this, &LxQuotaHandler::slotDeepQuotaQueryThreadFinish);
    thread->start(QThread::InheritPriority);
}

void LxQuotaHandler::QueryStockDeepDataFromBackendServiceImpl(const QStringList &symbols)
{
    waitForPresenterClassInit();
    const QString type = QStringLiteral("181027");
    CPackMessageCommon pack;
    pack.AddVaule(Orca_Fields::System::msgType, type);
    int rows = 0;
    for (const QString &field : std::as_const(m_lstDeepQueryFields)) {
        for (const QString &symbol : symbols) {
            const QStringList parts = symbol.split(QLatin1Char('.'));
            if (parts.size() != 2)
                continue;
            pack.AddRow();
            pack.AddVaule(Orca_Fields::MDCFieldDefine::mdcSecurityType,
                          CBusinessDataBase::GetInstance()->GetSecurityTypeBySymbol(symbol));
            pack.AddVaule(Orca_Fields::Security::securityID, parts.at(0));
            pack.AddVaule(QStringLiteral("36046"), field);
            pack.AddVaule(Orca_Fields::UserAccount::SymbolPost, parts.at(1));
            ++rows;
        }
    }
    pack.SetCurrentRow(0);
    pack.AddVaule(Orca_Fields::System::subGroupNumber, QString::number(rows));
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(pack.GetPackedMsg(false));
    LxPresenterClassMgr::instance()->sendRequest_Async(message);
}

void LxQuotaHandler::slotDeepQuotaQueryThreadFinish(QThread *thread)
{
    if (!thread)
        return;
    {
        QMutexLocker locker(&m_deepQueryThreadsMutex);
        m_deepQueryThreads.removeOne(qobject_cast<LxQueryDeepHQThread *>(thread)); // null for any other thread
    }
    thread->quit();
    thread->wait(); // it may still be on its way out of run()
    delete thread;
}

void LxQuotaHandler::endDeepQueryThreads()
{
    // Called when the handler's own thread has ended, so that nothing else deletes them.
    for (LxQueryDeepHQThread *thread : std::as_const(m_deepQueryThreads)) {
        thread->requestInterruption();
        thread->wait();
        delete thread;
    }
}
