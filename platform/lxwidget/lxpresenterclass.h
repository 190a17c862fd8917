#pragma once

#include <lxwidget/imessageinterface.h>
#include <lxwidget/lxwidget_export.h>

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

class CMessageCommon;

/// A bus endpoint: sends messages and hears what it subscribed to.
///
/// The Proc functions are called on the bus's threads, one call at a time, and never once the destructor has waited
/// for the call under way. Put, Sub and the requests may be called from any thread; sendRequest_Sync not from a Proc
/// function. Every message handed over belongs to the bus from then on, also when the call fails.
class LXWIDGET_EXPORT LxPresenterClass : public QObject
{
    Q_OBJECT

public:
    /// Joins the process's bus (LxBus::current()). `name` becomes the plug-in id, with a number behind it if another
    /// endpoint has it already. The thread type has no meaning on this platform.
    LxPresenterClass(const QString &name, QObject *parent, IMessageInterface::ThreadType type);
    /// Leaves the bus; waits for a callback that is under way. Not to be called from a callback.
    ~LxPresenterClass() override;

    /// Direct messages and events between plug-ins; nothing on this platform sends them. They do nothing here.
    virtual void ProcMsg(QString strSrc, QVariant msgType, QVariant msgData);
    virtual void ProcEventMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// A message published on a topic subscribed with Sub(). Does nothing here.
    virtual void ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// The answer to a sendRequest_Async(): number of the request, sender, message type, body. Does nothing here.
    virtual void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB);
    /// For plug-ins that set themselves up apart from construction; the platform does not call it.
    virtual void initPresenter();

    /// The address of this endpoint on the bus.
    QString pluginPid() const;
    /// Receives `topic` from now on. The id and the flag have no meaning on this platform.
    void Sub(const QString &pid, const QVariant &topic, int flag);
    /// Sends and forgets.
    void Put(const QString &pid, CMessageCommon *message);
    /// Sends; the answer comes to ProcAsyncCallBack. 0, or negative if the request could not be sent.
    int sendRequest_Async(CMessageCommon *message);
    /// Sends and waits for the answer. 0, 1 on time-out, or negative if the request could not be sent.
    int sendRequest_Sync(CMessageCommon *message, QVariant &result);

private:
    class Private;
    std::unique_ptr<Private> d;
};
