#include "lxquotahandler.h"

#include "lxasyncindicatorqryobj.h"
#include "lxlog_p.h"
#include "lxquerydeephqthread.h"
#include "lxquotahandlerobject.h"
#include "lxquotaindexes_p.h"

namespace {

constexpr int SubscribeFlag = 1;

const QString subscribedTopics[] = {
    QStringLiteral("MDMARKETRECORD"),
    QStringLiteral("MDFUTURERECORD"),
    QStringLiteral("MDINDEXRECORD"),
    QStringLiteral("MDOPTIONRECORD"),
    QStringLiteral("MDTRANSACTIONRECORD"),
    QStringLiteral("MDORDERRECORD"),
    QStringLiteral("TickResponse"),
    QStringLiteral("TickFutureResponse"),
    QStringLiteral("KLineResponse"),
    QStringLiteral("181028"),
    QStringLiteral("ADINDICATORSRANKINGRECORD"),
    QStringLiteral("ADUPSDOWNSANALYSISRECORD"),
    QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"),
    QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"),
    QStringLiteral("MSG_QUERY_UP_N_DAY_RESPONSE"),
};

// Automatic connections do not register what they queue, so the library does. Types that are left out here are for
// those who queue them to register.
void registerArgumentTypes()
{
    qRegisterMetaType<StockQuotaData>();
    qRegisterMetaType<FutureQuotaData>();
    qRegisterMetaType<IndexQuotaData>();
    qRegisterMetaType<StockOrderRecordData>();
    qRegisterMetaType<StockTransactionRecordData>();
    qRegisterMetaType<QList<QVariantMap>>();
    qRegisterMetaType<QThread *>();
}

} // namespace

LxQuotaHandler &LxQuotaHandler::instance()
{
    static LxQuotaHandler handler;
    return handler;
}

LxQuotaHandler::LxQuotaHandler() : m_indexes(std::make_unique<Indexes>())
{
    registerArgumentTypes();

    m_lstDeepQueryFields << QStringLiteral("TotalShare") << QStringLiteral("ListedShare")
                         << QStringLiteral("NetAssets");

    m_pStockDeepDataMutex = new QMutex(QMutex::Recursive);
    m_pStockQuotaMutex = new QMutex(QMutex::Recursive);
    m_pIndexQuotaMutex = new QMutex(QMutex::Recursive);
    m_pPELock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pQRRLock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pRiseDayLock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pTransactionLock = new QReadWriteLock(QReadWriteLock::Recursive);

    m_thread.setObjectName(QStringLiteral("LxQuotaHandler_Thread"));
    moveToThread(&m_thread);
    LxQuotaHandlerObject &pluginObject = LxQuotaHandlerObject::libraryObject();
    if (pluginObject.thread() == QThread::currentThread())
        pluginObject.moveToThread(&m_thread);
    m_thread.start(QThread::InheritPriority);

    connect(this, &LxQuotaHandler::sigRecvQuotaData, this, &LxQuotaHandler::slotProcessQuotaMsg);
    // One-argument signatures for a signal and a slot of two: Qt refuses this connection with a warning. Meant: the
    // slot runs only when it is invoked by name.
    connect(this, SIGNAL(signalKLineResponse(QList<QVariantMap>)), this,
            SLOT(slotProcessPeriod1DKLineDate(QList<QVariantMap>)));
    connect(this, SIGNAL(sigQueryPEData(QStringList, QString)), LxAsyncIndicatorQryObj::instance(),
            SLOT(slotQueryPEData(QStringList, QString)));
    connect(this, SIGNAL(sigQueryQRRData(QStringList, QString)), LxAsyncIndicatorQryObj::instance(),
            SLOT(slotQueryQRRData(QStringList, QString)));
    connect(this, SIGNAL(sigInitQuotaHandlerObject()), this, SLOT(slotInitQuotaHandlerObj()));

    Q_EMIT sigInitQuotaHandlerObject();
}

LxQuotaHandler::~LxQuotaHandler()
{
    m_thread.quit();
    m_thread.wait();
    // Everything that sends or calls back has to end while the caches are still there.
    LxAsyncIndicatorQryObj::instance()->stop();
    endDeepQueryThreads();
    LxQuotaHandlerObject::libraryObject().closePresenter();

    delete m_pStockDeepDataMutex;
    delete m_pStockQuotaMutex;
    delete m_pIndexQuotaMutex;
    delete m_pPELock;
    delete m_pQRRLock;
    delete m_pRiseDayLock;
    delete m_pTransactionLock;
}

void LxQuotaHandler::slotInitQuotaHandlerObj()
{
    LxQuotaHandlerObject::libraryObject().initialize();
}

void LxQuotaHandler::Init()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->lockForRead();
    if (LxPresenterClass *presenter = manager->getPresenterClass()) {
        for (const QString &topic : subscribedTopics)
            presenter->Sub(presenter->pluginPid(), QVariant(topic), SubscribeFlag);
    } else {
        LX_LOG("lxquotahandler", 60).warning() << "LxQuotaHandler get presenter class null ptr";
    }
    manager->slotReadOver();
}

void LxQuotaHandler::waitForPresenterClassInit()
{
    while (!LxQuotaHandlerObject::libraryObject().isInited()) {
        LX_LOG("lxquotahandler", 109).debug() << "wait for presenter class init";
        QThread::msleep(1);
        // At shut-down only, for the library's own threads; callers may interrupt theirs for reasons of their own.
        const auto *ownThread = qobject_cast<LxQueryDeepHQThread *>(QThread::currentThread());
        if (ownThread && ownThread->isInterruptionRequested())
            return;
    }
}
