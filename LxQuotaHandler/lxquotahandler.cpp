#include "lxquotahandler.h"

#include "lxasyncindicatorqryobj_p.h"
#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxquerydeephqthread_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxsymbolindex_p.h"

namespace {

constexpr int SubscribeFlag = 1;

// Automatic connections made by member pointer do not register argument types, and a queued signal of an unregistered
// type is dropped. The remaining argument types must be registered by the receivers that queue them.
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

// Owns the handler that instance() returns. Only its destructor ends what all handlers share: the indicator worker and
// the bus endpoint.
//
// It is not derived from the handler, whose constructor starts a thread that calls virtual functions of the handler: a
// derived class's constructor and destructor would replace the pointer to the virtual table meanwhile.
class LxQuotaHandler::Singleton
{
public:
    // Bus callbacks call the handler through instance(), so they must have ended before its members are destroyed.
    ~Singleton()
    {
        handler.endOwnThreads();
        LxAsyncIndicatorQryObj::instance()->stop();
        LxQuotaHandlerObject::libraryObject().closePresenter();
    }

    LxQuotaHandler handler;
};

LxQuotaHandler &LxQuotaHandler::instance()
{
    static Singleton singleton;
    return singleton.handler;
}

LxQuotaHandler::LxQuotaHandler()
    : m_stockDeepDataIndex(std::make_unique<LxSymbolIndex<LxStockDeepData>>()),
      m_stockQuotaIndex(std::make_unique<LxSymbolIndex<StockQuotaData>>())
{
    registerArgumentTypes();

    m_lstDeepQueryFields << LxDeepDataItem::TotalShare << LxDeepDataItem::ListedShare << LxDeepDataItem::NetAssets;

    m_pStockDeepDataMutex = new QMutex(QMutex::Recursive);
    m_pStockQuotaMutex = new QMutex(QMutex::Recursive);
    m_pIndexQuotaMutex = new QMutex(QMutex::Recursive);
    m_pPELock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pQRRLock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pRiseDayLock = new QReadWriteLock(QReadWriteLock::Recursive);
    m_pTransactionLock = new QReadWriteLock(QReadWriteLock::Recursive);

    m_thread.setObjectName(QLatin1String("LxQuotaHandler_Thread"));
    moveToThread(&m_thread);
    m_thread.start(QThread::InheritPriority);

    connect(this, &LxQuotaHandler::sigRecvQuotaData, this, &LxQuotaHandler::slotProcessQuotaMsg);
    // Fixed behaviour: these signatures name one argument, but the signal and the slot have two, so Qt refuses the
    // connection with a warning, and bars are cached only if a plug-in invokes the slot by name.
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
    endOwnThreads();

    delete m_pStockDeepDataMutex;
    delete m_pStockQuotaMutex;
    delete m_pIndexQuotaMutex;
    delete m_pPELock;
    delete m_pQRRLock;
    delete m_pRiseDayLock;
    delete m_pTransactionLock;
}

void LxQuotaHandler::endOwnThreads()
{
    m_thread.quit();
    m_thread.wait();

    QMutexLocker locker(&m_deepQueryThreadsMutex);
    for (LxQueryDeepHQThread *thread : std::as_const(m_deepQueryThreads)) {
        thread->requestInterruption();
        thread->wait();
        delete thread;
    }
    m_deepQueryThreads.clear();
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
        const QString topics[] {
            LxMessageType::StockQuote,     LxMessageType::FutureQuote,      LxMessageType::IndexQuote,
            LxMessageType::OptionQuote,    LxMessageType::Transaction,      LxMessageType::Order,
            LxMessageType::StockTicks,     LxMessageType::FutureTicks,      LxMessageType::KLineAnswer,
            LxMessageType::DeepDataAnswer, LxMessageType::IndicatorRanking, LxMessageType::UpDownAnalysis,
            LxMessageType::PEAnswer,       LxMessageType::QRRAnswer,        LxMessageType::RiseDaysAnswer,
        };
        for (const QString &topic : topics)
            presenter->Sub(presenter->pluginPid(), QVariant(topic), SubscribeFlag);
    } else {
        LX_WARNING("lxquotahandler", 60) << "LxQuotaHandler get presenter class null ptr";
    }
    manager->slotReadOver();
}

void LxQuotaHandler::waitForPresenterClassInit()
{
    while (!LxQuotaHandlerObject::libraryObject().isInited()) {
        LX_DEBUG("lxquotahandler", 109) << "wait for presenter class init";
        QThread::msleep(1);
        // Gives up at shut-down, but only on the library's own threads: plug-ins may interrupt theirs for other
        // reasons.
        const auto *ownThread = qobject_cast<LxQueryDeepHQThread *>(QThread::currentThread());
        if (ownThread && ownThread->isInterruptionRequested())
            return;
    }
}
