#pragma once

#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpresenterclass.h>

#include <QReadWriteLock>

#include <atomic>

/// The library's bus endpoint: hands every callback to the handler. Bus threads.
class LxQuotaHandlerPresenterClass : public LxPresenterClass
{
    Q_OBJECT

public:
    LxQuotaHandlerPresenterClass(const QString &name, QObject *parent);

    void ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData) override;
    void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB) override;
};

/// The library's plug-in object, through which the platform or the handler brings the library up.
///
/// One static instance lives as long as the library is loaded. When the handler is constructed on the thread that
/// loaded the library, the object moves to the handler's worker thread, so that it can be the presenter's parent.
class LxQuotaHandlerObject : public LxPluginBaseObject
{
    Q_OBJECT

public:
    LxQuotaHandlerObject();
    /// Takes the presenter out of the manager and deletes it later, on its own thread.
    ~LxQuotaHandlerObject() override;

    /// The static instance.
    static LxQuotaHandlerObject &libraryObject();

    /// Creates the presenter, registers it and subscribes the topics. Any thread; only the first call does anything
    /// but log.
    void initialize() override;
    /// True once the first initialize() has done its work. Any thread.
    bool isInited() const { return m_bInited; }
    /// Takes the presenter out of the manager and deletes it at once, for shut-down, when its thread has ended.
    void closePresenter();

public Q_SLOTS:
    void slotInit();

private:
    LxQuotaHandlerPresenterClass *m_pPresenter = nullptr; // written by initialize() only, until shut-down
    std::atomic<bool> m_bInited { false };
    std::atomic_flag m_initBegun = ATOMIC_FLAG_INIT; // the platform's and the handler's call may meet
};

/// The library's one registry of its bus endpoint, through which everything is sent. Any thread.
///
/// The endpoint is used under the read lock and replaced under the write lock, so it cannot go while in use.
/// Messages are the bus's once they are sent; one that is not sent for lack of an endpoint is not deleted here.
class LxPresenterClassMgr : public QObject
{
    Q_OBJECT

public:
    static LxPresenterClassMgr *instance();

    void setPresenterClass(LxPresenterClass *p);
    /// Does not lock; to be called between lockForRead() and slotReadOver().
    LxPresenterClass *getPresenterClass();
    void lockForRead();

    /// Sends and forgets; nothing happens without an endpoint or a message.
    void Put(CMessageCommon *msg);
    /// The endpoint's result, or -3 without an endpoint.
    int sendRequest_Async(CMessageCommon *msg);
    /// The endpoint's result, or -3 without an endpoint. Waits for the answer.
    int sendRequest_Sync(CMessageCommon *msg, QVariant &result);

public Q_SLOTS:
    void slotReadOver();

private:
    LxPresenterClassMgr() = default;

    LxPresenterClass *m_pPresenter = nullptr; // guarded by m_lock
    QReadWriteLock m_lock;
};
