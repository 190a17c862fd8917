#pragma once

#include <lxwidget/imessageinterface.h>
#include <lxwidget/lxwidget_export.h>

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

class CMessageCommon;

/// A bus endpoint: sends messages, and receives the messages of the topics that it has subscribed to.
///
/// The Proc functions are called on the threads of the bus, one call at a time; the destructor waits for a call that is
/// in progress, after which there are no more. Put, Sub and the requests may be called from any thread, except that
/// sendRequest_Sync must not be called from a Proc function. The bus takes ownership of every message passed to it,
/// even if the call fails.
class LXWIDGET_EXPORT LxPresenterClass : public QObject
{
    Q_OBJECT

public:
    /// Joins the process's bus (LxBus::current()). The plug-in id is `name`, with a number appended if another endpoint
    /// uses it. The thread type has no meaning on this platform.
    LxPresenterClass(const QString &name, QObject *parent, IMessageInterface::ThreadType type);
    /// Leaves the bus. Waits for a callback that is in progress, so it must not be called from a callback.
    ~LxPresenterClass() override;

    /// Direct messages between plug-ins, which nothing on this platform sends. The default implementation does
    /// nothing.
    virtual void ProcMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// As ProcMsg().
    virtual void ProcEventMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// A message of a topic subscribed with Sub(). The default implementation does nothing.
    virtual void ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// The answer to a request sent with sendRequest_Async(): request id, sender, message type, body. The default
    /// implementation does nothing.
    virtual void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB);
    /// For plug-ins that initialise themselves after construction; the platform does not call it.
    virtual void initPresenter();

    /// The address of this endpoint on the bus.
    QString pluginPid() const;
    /// Receives `topic` from now on. The id and the flag have no meaning on this platform.
    void Sub(const QString &pid, const QVariant &topic, int flag);
    /// Sends a message that awaits no answer.
    void Put(const QString &pid, CMessageCommon *message);
    /// Sends a request, whose answer ProcAsyncCallBack() receives. Returns 0, or a negative LxBusEndpoint::Result if it
    /// could not be sent.
    int sendRequest_Async(CMessageCommon *message);
    /// Sends a request and waits for the answer. Returns 0 on success, 1 after a time-out, or a negative
    /// LxBusEndpoint::Result if the request could not be sent or will not be answered.
    int sendRequest_Sync(CMessageCommon *message, QVariant &result);

private:
    class Private;
    std::unique_ptr<Private> d;
};
