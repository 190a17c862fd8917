#pragma once

#include <lxdouble/messages.h>

#include <QObject>
#include <QPair>

#include <functional>

class LxPluginBaseObject;
class LxPresenterClass;

/// Controls the recording double: returns what the code under test has sent, and determines what it receives. Any
/// thread.
namespace LxDouble {

/// One call that went out to the platform.
struct Sent
{
    enum Call { Sub, Put, AsyncRequest, SyncRequest, RankingSubscribe, RankingUnsubscribe };

    Call call = Sub;
    LxPresenterClass *presenter = nullptr;
    QString pid; ///< Sub and Put: the id given with the call
    QString type; ///< the topic or the message's type
    int flag = 0; ///< Sub
    QString sourceId; ///< of the message
    Body body; ///< of the message
    QVariant symbols; ///< rankings
    int kind = 0; ///< rankings
    int mode = 0; ///< rankings
    QString thread; ///< object name of the calling thread
    qint64 nsecs = 0; ///< on a monotonic clock
};

/// An existing presenter.
struct Presenter
{
    LxPresenterClass *object = nullptr;
    QString name;
    QString pid;
    int threadType = 0;
    QObject *parent = nullptr;
    QString thread; ///< object name of the constructing thread
};

/// One write to a plug-in object's properties.
struct PropertyWrite
{
    bool byWidgetSetter = false;
    QString key;
    QVariant value;
};

// --- What was sent ---

LXDOUBLE_EXPORT void record(Sent sent);
/// Everything sent, in order.
LXDOUBLE_EXPORT QVector<Sent> sent();
/// What was sent with this topic or message type, in order.
LXDOUBLE_EXPORT QVector<Sent> sent(const QString &type);
/// Waits until `count` messages of this type were sent since the last forgetSent().
LXDOUBLE_EXPORT bool waitForSent(const QString &type, int count, int timeoutMs = 20000);
LXDOUBLE_EXPORT void forgetSent();
LXDOUBLE_EXPORT QVector<PropertyWrite> propertyWrites();
/// The existing plug-in objects, in order of construction.
LXDOUBLE_EXPORT QVector<LxPluginBaseObject *> pluginObjects();
/// The existing presenters, in order of construction.
LXDOUBLE_EXPORT QVector<Presenter> presenters();
/// Calls that reached ProcSubMsg and ProcAsyncCallBack of the presenter base class.
LXDOUBLE_EXPORT int baseSubCalls();
LXDOUBLE_EXPORT QVector<QVariantList> baseAsyncCalls();
/// The symbols whose names were asked for, with the default names given.
LXDOUBLE_EXPORT QVector<QPair<QString, QString>> namesAskedFor();

// --- What the code under test receives ---

/// Calls ProcSubMsg of every presenter that subscribed `topic`, on the bus thread.
LXDOUBLE_EXPORT void publish(const QString &topic, const QVariant &data);
/// Calls ProcAsyncCallBack of every presenter, on the bus thread.
LXDOUBLE_EXPORT void answerAsync(int id, const QString &source, const QVariant &type, const QVariant &body);
/// Waits until everything published and answered so far has been handed over.
LXDOUBLE_EXPORT void waitForBus();
/// Object name of the thread that calls presenters back.
LXDOUBLE_EXPORT QString busThreadName();

/// Answer of all further synchronous requests of this type. Without one they return -2.
LXDOUBLE_EXPORT void setSyncAnswer(const QString &type, int result, const QVariant &body = QVariant());
/// Result of all further asynchronous requests; 0 at first.
LXDOUBLE_EXPORT void setAsyncResult(int result);

// --- What the platform knows ---

LXDOUBLE_EXPORT void setSecurity(const QString &symbol, const QString &type, const QString &name);
LXDOUBLE_EXPORT QString securityType(const QString &symbol);
LXDOUBLE_EXPORT QString securityName(const QString &symbol, const QString &defaultName);

using PriceRule = std::function<double(const QVariantMap &row)>;
/// The rule of the latest price; null restores that of "LastPx".
LXDOUBLE_EXPORT void setLatestPrice(const PriceRule &rule);
LXDOUBLE_EXPORT double latestPrice(const QVariantMap &row);

/// A property that plug-in objects constructed from now on have initially; an invalid value removes it.
LXDOUBLE_EXPORT void setNewPluginProperty(const QString &key, const QVariant &value);
/// Sets a function that is called at the start of every presenter's construction, on the same thread; null removes it.
LXDOUBLE_EXPORT void setPresenterGate(const std::function<void()> &gate);
/// Sets a function that is called before each outgoing call is recorded, on the same thread; null removes it.
LXDOUBLE_EXPORT void setRecordHook(const std::function<void()> &hook);

} // namespace LxDouble
