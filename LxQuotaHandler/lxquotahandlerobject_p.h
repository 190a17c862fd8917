#pragma once

#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpresenterclass.h>

#include <QReadWriteLock>

#include <atomic>

/// The library's bus endpoint: passes every callback, on a bus thread, to the handler.
///
/// Fixed behaviour: no Q_OBJECT, so the meta-object is that of the base class.
class LxQuotaHandlerPresenterClass : public LxPresenterClass
{
public:
    LxQuotaHandlerPresenterClass(const QString &name, QObject *parent);

    void ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData) override;
    void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB) override;
};

/// The library's plug-in object, through which the platform or the handler initialises the library.
///
/// One static instance exists as long as the library is loaded. It stays on the thread that loaded the library, so that
/// a host that calls slotInit() there runs it directly.
class LxQuotaHandlerObject : public LxPluginBaseObject
{
    Q_OBJECT

public:
    LxQuotaHandlerObject();
    /// Removes the presenter from the registry, whoever set it, and schedules this object's presenter for deletion.
    ~LxQuotaHandlerObject() override;

    /// The static instance.
    static LxQuotaHandlerObject &libraryObject();

    /// Creates the presenter with this object as its parent, registers it and subscribes the topics. Any thread; only
    /// the first call has an effect, every further one just logs. Qt prints a warning if the thread is not the one that
    /// loaded the library, since the parent then lives on another thread.
    void initialize() override;
    /// True once the first initialize() has subscribed the topics. Any thread.
    bool isInited() const { return m_bInited; }
    /// Removes the presenter from the registry and deletes it immediately. For shut-down, when the library's threads
    /// have ended.
    void closePresenter();

public Q_SLOTS:
    /// Calls initialize().
    void slotInit();

private:
    LxQuotaHandlerPresenterClass *m_pPresenter = nullptr; // written by initialize() only, until shut-down
    std::atomic<bool> m_bInited { false };
    std::atomic_flag m_initBegun = ATOMIC_FLAG_INIT; // the platform and the handler may call initialize() concurrently
};

/// The registry of the library's bus endpoint, through which all messages are sent. Any thread.
///
/// The endpoint is used under the read lock and replaced under the write lock, so that it cannot be destroyed while in
/// use. The bus owns a message once it has been sent. A message that cannot be sent because there is no endpoint is
/// leaked.
class LxPresenterClassMgr : public QObject
{
    Q_OBJECT

public:
    static constexpr int NoPresenter = -3;

    static LxPresenterClassMgr *instance();

    void setPresenterClass(LxPresenterClass *p);
    /// Does not lock; call it between lockForRead() and slotReadOver().
    LxPresenterClass *getPresenterClass();
    void lockForRead();

    /// Sends a message that awaits no answer. Does nothing if there is no endpoint or `msg` is null.
    void Put(CMessageCommon *msg);
    /// Returns the endpoint's result, or NoPresenter if there is no endpoint.
    int sendRequest_Async(CMessageCommon *msg);
    /// Waits for the answer. Returns the endpoint's result, or NoPresenter if there is no endpoint.
    int sendRequest_Sync(CMessageCommon *msg, QVariant &result);

public Q_SLOTS:
    /// Releases the lock taken by lockForRead().
    void slotReadOver();

private:
    LxPresenterClassMgr() = default;

    LxPresenterClass *m_pPresenter = nullptr; // guarded by m_lock
    QReadWriteLock m_lock;
};
