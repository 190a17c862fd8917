#include "busthread_p.h"
#include "lxpresenterclass.h"
#include "recorder_p.h"

#include <QDeadlineTimer>
#include <QThread>

using namespace LxDouble;

namespace {

// Constructed when the library is loaded, since plug-in objects are static, too.
[[maybe_unused]] const Recorder &loaded = Recorder::instance();

QVector<Sent> ofType(const QVector<Sent> &all, const QString &type)
{
    QVector<Sent> result;
    for (const Sent &one : all) {
        if (one.type == type)
            result.append(one);
    }
    return result;
}

} // namespace

Recorder &Recorder::instance()
{
    static Recorder recorder;
    return recorder;
}

void LxDouble::record(Sent sent)
{
    Recorder &recorder = Recorder::instance();
    sent.thread = QThread::currentThread()->objectName();
    std::function<void()> hook;
    {
        QMutexLocker locker(&recorder.mutex);
        hook = recorder.recordHook;
    }
    if (hook)
        hook();
    QMutexLocker locker(&recorder.mutex);
    sent.nsecs = recorder.clock.nsecsElapsed();
    recorder.sent.append(sent);
    recorder.somethingSent.wakeAll();
}

QVector<Sent> LxDouble::sent()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().sent;
}

QVector<Sent> LxDouble::sent(const QString &type)
{
    return ofType(sent(), type);
}

bool LxDouble::waitForSent(const QString &type, int count, int timeoutMs)
{
    Recorder &recorder = Recorder::instance();
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker locker(&recorder.mutex);
    while (ofType(recorder.sent, type).size() < count) {
        if (!recorder.somethingSent.wait(&recorder.mutex, deadline))
            return false;
    }
    return true;
}

void LxDouble::forgetSent()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().sent.clear();
}

QVector<PropertyWrite> LxDouble::propertyWrites()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().propertyWrites;
}

QVector<LxPluginBaseObject *> LxDouble::pluginObjects()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().pluginObjects;
}

QVector<Presenter> LxDouble::presenters()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().presenters;
}

int LxDouble::baseSubCalls()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().baseSubCalls;
}

QVector<QVariantList> LxDouble::baseAsyncCalls()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().baseAsyncCalls;
}

QVector<QPair<QString, QString>> LxDouble::namesAskedFor()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().namesAskedFor;
}

void LxDouble::publish(const QString &topic, const QVariant &data)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    for (const Presenter &presenter : std::as_const(Recorder::instance().presenters)) {
        LxPresenterClass *const object = presenter.object;
        if (Recorder::instance().subscriptions.value(object).contains(topic)) {
            BusThread::instance().post(
                object, [object, topic, data] { object->ProcSubMsg(QStringLiteral("service"), topic, data); });
        }
    }
}

void LxDouble::answerAsync(int id, const QString &source, const QVariant &type, const QVariant &body)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    for (const Presenter &presenter : std::as_const(Recorder::instance().presenters)) {
        LxPresenterClass *const object = presenter.object;
        BusThread::instance().post(
            object, [object, id, source, type, body] { object->ProcAsyncCallBack(id, source, type, body); });
    }
}

void LxDouble::waitForBus()
{
    BusThread::instance().waitUntilIdle();
}

QString LxDouble::busThreadName()
{
    return BusThread::instance().objectName();
}

void LxDouble::setSyncAnswer(const QString &type, int result, const QVariant &body)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().syncAnswers.insert(type, { result, body });
}

void LxDouble::setAsyncResult(int result)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().asyncResult = result;
}

void LxDouble::setSecurity(const QString &symbol, const QString &type, const QString &name)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().securities.insert(symbol, { type, name });
}

QString LxDouble::securityType(const QString &symbol)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    return Recorder::instance().securities.value(symbol).first;
}

QString LxDouble::securityName(const QString &symbol, const QString &defaultName)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().namesAskedFor.append({ symbol, defaultName });
    return Recorder::instance().securities.value(symbol, { QString(), defaultName }).second;
}

void LxDouble::setLatestPrice(const PriceRule &rule)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().priceRule = rule;
}

double LxDouble::latestPrice(const QVariantMap &row)
{
    PriceRule rule;
    {
        QMutexLocker locker(&Recorder::instance().mutex);
        rule = Recorder::instance().priceRule;
    }
    return rule ? rule(row) : row.value(QStringLiteral("LastPx")).toDouble();
}

void LxDouble::setNewPluginProperty(const QString &key, const QVariant &value)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    if (value.isValid())
        Recorder::instance().newPluginProperties.insert(key, value);
    else
        Recorder::instance().newPluginProperties.remove(key);
}

void LxDouble::setPresenterGate(const std::function<void()> &gate)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().presenterGate = gate;
}

void LxDouble::setRecordHook(const std::function<void()> &hook)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().recordHook = hook;
}
