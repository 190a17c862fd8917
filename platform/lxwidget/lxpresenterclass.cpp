#include "lxpresenterclass.h"

#include <lxbus/bus.h>
#include <lxmsg/messagecommon.h>

class LxPresenterClass::Private final : public LxBusListener
{
public:
    explicit Private(LxPresenterClass *presenter) : q(presenter) { }

    void published(const QString &source, const QString &topic, const QVariant &body) override
    {
        q->ProcSubMsg(source, topic, body);
    }
    void answered(int id, const QString &source, const QString &type, const QVariant &body) override
    {
        q->ProcAsyncCallBack(id, source, type, body);
    }

    LxPresenterClass *const q;
    std::unique_ptr<LxBusEndpoint> endpoint;
};

LxPresenterClass::LxPresenterClass(const QString &name, QObject *parent, IMessageInterface::ThreadType type)
    : QObject(parent), d(std::make_unique<Private>(this))
{
    Q_UNUSED(type)
    d->endpoint = LxBus::current()->openEndpoint(name, d.get());
}

LxPresenterClass::~LxPresenterClass()
{
    d->endpoint.reset();
}

void LxPresenterClass::ProcMsg(QString, QVariant, QVariant) { }

void LxPresenterClass::ProcEventMsg(QString, QVariant, QVariant) { }

void LxPresenterClass::ProcSubMsg(QString, QVariant, QVariant) { }

void LxPresenterClass::ProcAsyncCallBack(int, QString, QVariant, QVariant) { }

void LxPresenterClass::initPresenter() { }

QString LxPresenterClass::pluginPid() const
{
    return d->endpoint->address();
}

void LxPresenterClass::Sub(const QString &pid, const QVariant &topic, int flag)
{
    Q_UNUSED(pid)
    Q_UNUSED(flag)
    d->endpoint->subscribe(topic.toString());
}

void LxPresenterClass::Put(const QString &pid, CMessageCommon *message)
{
    Q_UNUSED(pid)
    const std::unique_ptr<CMessageCommon> owned(message);
    if (owned)
        d->endpoint->put(owned->GetType().toString(), owned->GetMsg());
}

int LxPresenterClass::sendRequest_Async(CMessageCommon *message)
{
    const std::unique_ptr<CMessageCommon> owned(message);
    return owned ? d->endpoint->requestAsync(owned->GetType().toString(), owned->GetMsg()) : LxBusEndpoint::NoService;
}

int LxPresenterClass::sendRequest_Sync(CMessageCommon *message, QVariant &result)
{
    const std::unique_ptr<CMessageCommon> owned(message);
    return owned ? d->endpoint->requestSync(owned->GetType().toString(), owned->GetMsg(), &result)
                 : LxBusEndpoint::NoService;
}
