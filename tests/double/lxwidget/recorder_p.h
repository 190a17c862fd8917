#pragma once

#include <lxdouble/recording.h>

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QSet>
#include <QWaitCondition>

/// The state of the recording double, guarded by one mutex.
struct Recorder
{
    static Recorder &instance();

    QMutex mutex;
    QWaitCondition somethingSent;
    QElapsedTimer clock;
    QVector<LxDouble::Sent> sent;
    QVector<LxDouble::PropertyWrite> propertyWrites;
    QVector<LxPluginBaseObject *> pluginObjects;
    QVector<LxDouble::Presenter> presenters;
    QHash<LxPresenterClass *, QSet<QString>> subscriptions;
    int presentersSoFar = 0;
    int baseSubCalls = 0;
    QVector<QVariantList> baseAsyncCalls;
    QVector<QPair<QString, QString>> namesAskedFor;
    QHash<QString, QPair<int, QVariant>> syncAnswers;
    int asyncResult = 0;
    QHash<QString, QPair<QString, QString>> securities; // type and name
    LxDouble::PriceRule priceRule;
    QHash<QString, QVariant> newPluginProperties;
    std::function<void()> presenterGate;
    std::function<void()> recordHook;

private:
    Recorder()
    {
        // Bodies are kept here, so the table of meta types must be constructed before, in order to be destroyed later.
        qRegisterMetaType<LxDouble::Body>();
        clock.start();
    }
};
