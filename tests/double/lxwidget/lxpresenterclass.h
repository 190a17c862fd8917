#pragma once

#include <lxdouble/export.h>
#include <lxwidget/imessageinterface.h>

#include <QObject>
#include <QVariant>

class CMessageCommon;

/// A bus endpoint that records what it is asked to send and is called back when a test says so; see
/// <lxdouble/recording.h>.
class LXDOUBLE_EXPORT LxPresenterClass : public QObject
{
    Q_OBJECT

public:
    LxPresenterClass(const QString &name, QObject *parent, IMessageInterface::ThreadType type);
    ~LxPresenterClass() override;

    virtual void ProcMsg(QString strSrc, QVariant msgType, QVariant msgData);
    virtual void ProcEventMsg(QString strSrc, QVariant msgType, QVariant msgData);
    virtual void ProcSubMsg(QString strSrc, QVariant msgType, QVariant msgData);
    virtual void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB);
    virtual void initPresenter();

    QString pluginPid() const;
    void Sub(const QString &pid, const QVariant &topic, int flag);
    void Put(const QString &pid, CMessageCommon *message);
    int sendRequest_Async(CMessageCommon *message);
    int sendRequest_Sync(CMessageCommon *message, QVariant &result);

private:
    QString m_pid;
};
