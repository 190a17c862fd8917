#include "lxquotahandlerobject_p.h"

#include "lxlog_p.h"
#include "lxquotahandler.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>

namespace {

constexpr int PresenterThreadType = 15;

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
    // The destructor uses the registry, and every thread of the library uses the logging category until it ends. Both
    // are function-local statics, which are destroyed after this object only if they are constructed before it.
    LxPresenterClassMgr::instance();
    lxQuotaLog();
}

LxQuotaHandlerObject::~LxQuotaHandlerObject()
{
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    if (m_pPresenter)
        m_pPresenter->deleteLater();
    m_pPresenter = nullptr;
}

LxQuotaHandlerObject &LxQuotaHandlerObject::libraryObject()
{
    return pluginObject;
}

void LxQuotaHandlerObject::initialize()
{
    if (m_initBegun.test_and_set()) {
        LX_DEBUG("lxquotahandlerobject", 22) << "LxQuotaHandlerObject::initialize already inited";
        return;
    }
    if (getPluginObjectPropety(PluginPropety::PLUGININSTANCE_ID).toString().isEmpty()) {
        // Fixed behaviour: set by the widget's setter, not by the object's.
        setPluginWidgetPropety(PluginPropety::PLUGININSTANCE_ID, QLatin1String("LXApp.LxQuotaHandlerObject"));
    }
    // Fixed behaviour: this object is passed as the parent whatever the thread. If it lives on another thread, Qt
    // prints a warning and leaves the presenter without a parent.
    m_pPresenter =
        new LxQuotaHandlerPresenterClass(getPluginObjectPropety(PluginPropety::PLUGININSTANCE_ID).toString(), this);
    LxPresenterClassMgr::instance()->setPresenterClass(m_pPresenter);
    LxQuotaHandler::instance().Init();
    m_bInited = true;
    LX_DEBUG("lxquotahandlerobject", 34) << "LxQuotaHandlerObject::initialize";
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
