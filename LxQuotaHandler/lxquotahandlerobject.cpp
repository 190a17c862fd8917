#include "lxquotahandlerobject.h"

#include "lxlog_p.h"
#include "lxquotahandler.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>

namespace {

constexpr int PresenterThreadType = 15;
constexpr int NoPresenter = -3;

LxQuotaHandlerObject pluginObject;

} // namespace

// --- LxQuotaHandlerPresenterClass ---

LxQuotaHandlerPresenterClass::LxQuotaHandlerPresenterClass(const QString &name, QObject *parent)
    : LxPresenterClass(name, parent, static_cast<IMessageInterface::ThreadType>(PresenterThreadType))
{
}

void LxQuotaHandlerPresenterClass::ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData)
{
    LxQuotaHandler::instance().ProcQuotationMsg(strSrc, msgType, msgData);
}

void LxQuotaHandlerPresenterClass::ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB)
{
    LxQuotaHandler::instance().ProcAsyncCallBack(nId, str, vA, vB);
    LxPresenterClass::ProcAsyncCallBack(nId, str, vA, vB);
}

// --- LxQuotaHandlerObject ---

LxQuotaHandlerObject::LxQuotaHandlerObject()
{
    // The destructor uses the manager, which must therefore be the older of the two.
    LxPresenterClassMgr::instance();
}

LxQuotaHandlerObject::~LxQuotaHandlerObject()
{
    if (!m_pPresenter)
        return;
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    m_pPresenter->deleteLater();
    m_pPresenter = nullptr;
}

LxQuotaHandlerObject &LxQuotaHandlerObject::libraryObject()
{
    return pluginObject;
}

void LxQuotaHandlerObject::initialize()
{
    if (m_bInited || m_initBegun.test_and_set()) {
        LX_LOG("lxquotahandlerobject", 22).debug() << "LxQuotaHandlerObject::initialize already inited";
        return;
    }
    if (getPluginObjectPropety(PluginPropety::PLUGININSTANCE_ID).toString().isEmpty()) {
        // The widget's setter, not the object's: meant.
        setPluginWidgetPropety(PluginPropety::PLUGININSTANCE_ID, QStringLiteral("LXApp.LxQuotaHandlerObject"));
    }
    // An object that lives on another thread cannot be a parent.
    QObject *const parent = thread() == QThread::currentThread() ? this : nullptr;
    m_pPresenter = new LxQuotaHandlerPresenterClass(
        getPluginObjectPropety(PluginPropety::PLUGININSTANCE_ID).toString(), parent);
    LxPresenterClassMgr::instance()->setPresenterClass(m_pPresenter);
    LxQuotaHandler::instance().Init();
    m_bInited = true;
    LX_LOG("lxquotahandlerobject", 34).debug() << "LxQuotaHandlerObject::initialize";
}

void LxQuotaHandlerObject::closePresenter()
{
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    delete m_pPresenter;
    m_pPresenter = nullptr;
}

void LxQuotaHandlerObject::slotInit()
{
    initialize();
}

// --- LxPresenterClassMgr ---

LxPresenterClassMgr *LxPresenterClassMgr::instance()
{
    static LxPresenterClassMgr manager;
    return &manager;
}

void LxPresenterClassMgr::setPresenterClass(LxPresenterClass *p)
{
    QWriteLocker locker(&m_lock);
    m_pPresenter = p;
}

LxPresenterClass *LxPresenterClassMgr::getPresenterClass()
{
    return m_pPresenter;
}

void LxPresenterClassMgr::lockForRead()
{
    m_lock.lockForRead();
}

void LxPresenterClassMgr::Put(CMessageCommon *msg)
{
    QReadLocker locker(&m_lock);
    if (!m_pPresenter || !msg)
        return;
    msg->SetSrcid(m_pPresenter->pluginPid());
    m_pPresenter->Put(m_pPresenter->pluginPid(), msg);
}

int LxPresenterClassMgr::sendRequest_Async(CMessageCommon *msg)
{
    QReadLocker locker(&m_lock);
    if (!m_pPresenter)
        return NoPresenter;
    msg->SetSrcid(m_pPresenter->pluginPid());
    return m_pPresenter->sendRequest_Async(msg);
}

int LxPresenterClassMgr::sendRequest_Sync(CMessageCommon *msg, QVariant &result)
{
    QReadLocker locker(&m_lock);
    if (!m_pPresenter)
        return NoPresenter;
    msg->SetSrcid(m_pPresenter->pluginPid());
    return m_pPresenter->sendRequest_Sync(msg, result);
}

void LxPresenterClassMgr::slotReadOver()
{
    m_lock.unlock();
}
