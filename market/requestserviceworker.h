#pragma once

#include "store.h"

#include <lxbus/bus.h>

#include <QHash>
#include <QObject>
#include <QStringList>

#include <atomic>
#include <memory>

/// Answers the requests of a RequestService, on the service's thread: everything but dropped() belongs to it.
class RequestServiceWorker final : public QObject
{
public:
    static QStringList requestTypes();

    bool start(LxBusService *service, const QString &storePath, QString *error);
    void stop();
    void answer(const LxBusRequest &request);
    quint64 dropped() const { return m_dropped; } // any thread

private:
    struct Handler
    {
        QString answerType;
        void (RequestServiceWorker::*answer)(const LxBusRequest &request, const QString &answerType);
    };
    static const QHash<QString, Handler> &handlers();

    void answerBars(const LxBusRequest &request, const QString &answerType);
    void answerPriceEarnings(const LxBusRequest &request, const QString &answerType);
    void answerVolumePerMinute(const LxBusRequest &request, const QString &answerType);
    void answerRisingDays(const LxBusRequest &request, const QString &answerType);
    void answerTradingDay(const LxBusRequest &request, const QString &answerType);
    void answerDeepData(const LxBusRequest &request, const QString &answerType);

    /// Publishes the row that `fill(symbol, date, row)` adds the figures to, or a status if it returns false.
    template<typename Fill> void answerIndicator(const LxBusRequest &request, const QString &answerType, Fill fill);
    /// True, and logged, if the store failed since the last call.
    bool storeFailed(const LxBusRequest &request);
    void drop(const LxBusRequest &request, const char *reason);

    Store m_store;
    std::unique_ptr<LxBusServicePort> m_port;
    std::atomic<quint64> m_dropped { 0 }; // written by the service's thread
    quint64 m_nextLogged = 1;
};
