#include "lxquotahandler.h"

#include "lxconstants_p.h"
#include "lxmessagetypes_p.h"
#include "lxquerydeephqthread_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxrequests_p.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>

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
        if (pending.size() == LxConstants::SymbolsPerDeepDataRequest) {
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
    thread->setObjectName(QLatin1String("LxQueryDeepHQ_Thread"));
    thread->setSymbols(symbols);
    // The destructor joins the listed threads under this mutex, so each of them has been started by then.
    QMutexLocker locker(&m_deepQueryThreadsMutex);
    m_deepQueryThreads.append(thread);
    connect(thread, &LxQueryDeepHQThread::sigThreadRunFinish, this, &LxQuotaHandler::slotDeepQuotaQueryThreadFinish);
    thread->start(QThread::InheritPriority);
}

void LxQuotaHandler::QueryStockDeepDataFromBackendServiceImpl(const QStringList &symbols)
{
    waitForPresenterClassInit();
    CPackMessageCommon pack;
    pack.AddVaule(Orca_Fields::System::msgType, LxMessageType::DeepDataRequest);
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
            pack.AddVaule(LxFieldKey::DeepDataItem, field);
            pack.AddVaule(Orca_Fields::UserAccount::SymbolPost, parts.at(1));
            ++rows;
        }
    }
    pack.SetCurrentRow(0);
    pack.AddVaule(Orca_Fields::System::subGroupNumber, QString::number(rows));
    LxPresenterClassMgr::instance()->sendRequest_Async(LxRequests::create(LxMessageType::DeepDataRequest, pack));
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
    thread->wait(); // it may still be returning from run()
    delete thread;
}
