#pragma once

#include <lxwidget/imessageinterface.h>

#include <QObject>
#include <QStringList>
#include <QVariant>

class CMessageCommon;

// The class of the recording double, as a platform may write it whose own code knows no restrictions of Qt.
class LxPresenterClass : public QObject
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

    QString describe(const QStringList &topics) const
    {
        QString result = "topics:";
        foreach (const QString &topic, topics)
            result += topic + ", ";
        if (result == "topics:")
            emit described(result);
        return result;
    }

signals:
    void described(const QString &text) const;

public slots:
    void describeNothing() { describe(QStringList() << "nothing"); }

private:
    QString m_pid;
};
