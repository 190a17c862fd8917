#include "lxpresenterclass.h"

#include "busthread_p.h"
#include "recorder_p.h"

#include <lxmsg/messagecommon.h>

#include <memory>

using LxDouble::Sent;

namespace {

// Takes ownership of the message.
void recordMessage(Sent::Call call, LxPresenterClass *presenter, const QString &pid, CMessageCommon *message)
{
    const std::unique_ptr<CMessageCommon> owned(message);
    Sent sent;
    sent.call = call;
    sent.presenter = presenter;
    sent.pid = pid;
    sent.type = owned->GetType().toString();
    sent.sourceId = owned->GetSrcid();
    sent.body = LxDouble::bodyOf(owned->GetMsg());
    LxDouble::record(sent);
}

} // namespace

LxPresenterClass::LxPresenterClass(const QString &name, QObject *parent, IMessageInterface::ThreadType type)
    : QObject(parent)
{
    Recorder &recorder = Recorder::instance();
    std::function<void()> gate;
    {
        QMutexLocker locker(&recorder.mutex);
        gate = recorder.presenterGate;
    }
    if (gate)
        gate();
    QMutexLocker locker(&recorder.mutex);
    // Differs from the name, so that tests detect code that confuses the two.
    m_pid = QStringLiteral("%1#%2").arg(name).arg(++recorder.presentersSoFar);
    recorder.presenters.append({ this, name, m_pid, type, parent, QThread::currentThread()->objectName() });
}

LxPresenterClass::~LxPresenterClass()
{
    Recorder &recorder = Recorder::instance();
    {
        QMutexLocker locker(&recorder.mutex);
        recorder.subscriptions.remove(this);
        for (int i = recorder.presenters.size() - 1; i >= 0; --i) {
            if (recorder.presenters.at(i).object == this)
                recorder.presenters.remove(i);
        }
    }
    BusThread::instance().forget(this);
}

void LxPresenterClass::ProcMsg(QString, QVariant, QVariant) { }

void LxPresenterClass::ProcEventMsg(QString, QVariant, QVariant) { }

void LxPresenterClass::ProcSubMsg(QString, QVariant, QVariant)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    ++Recorder::instance().baseSubCalls;
}

void LxPresenterClass::ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().baseAsyncCalls.append({ nId, str, vA, vB });
}

void LxPresenterClass::initPresenter() { }

QString LxPresenterClass::pluginPid() const
{
    return m_pid;
}

void LxPresenterClass::Sub(const QString &pid, const QVariant &topic, int flag)
{
    {
        QMutexLocker locker(&Recorder::instance().mutex);
        Recorder::instance().subscriptions[this].insert(topic.toString());
    }
    Sent sent;
    sent.call = Sent::Sub;
    sent.presenter = this;
    sent.pid = pid;
    sent.type = topic.toString();
    sent.flag = flag;
    LxDouble::record(sent);
}

void LxPresenterClass::Put(const QString &pid, CMessageCommon *message)
{
    recordMessage(Sent::Put, this, pid, message);
}

int LxPresenterClass::sendRequest_Async(CMessageCommon *message)
{
    recordMessage(Sent::AsyncRequest, this, QString(), message);
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().asyncResult;
}

int LxPresenterClass::sendRequest_Sync(CMessageCommon *message, QVariant &result)
{
    const QString type = message->GetType().toString();
    recordMessage(Sent::SyncRequest, this, QString(), message);
    QMutexLocker locker(&Recorder::instance().mutex);
    const QPair<int, QVariant> answer = Recorder::instance().syncAnswers.value(type, { -2, QVariant() });
    result = answer.second;
    return answer.first;
}
