#pragma once

#include "requestservice.h"
#include "store.h"

#include <lxbus/bus.h>
#include <lxutils/lxloglimit.h>

#include <QHash>
#include <QObject>
#include <QStringList>

#include <atomic>
#include <memory>

class CurrentDayBars;

/// Answers the requests of a RequestService, on the service's thread. Only dropped() may be called from other threads.
class RequestServiceWorker final : public QObject
{
public:
    explicit RequestServiceWorker(const CurrentDayBars *live) : m_live(live) { }

    static QStringList requestTypes();

    bool start(LxBusService *service, const QString &storePath, QString *error);
    void stop();
    RequestOutcome::Result answer(const LxBusRequest &request);
    quint64 dropped() const { return m_dropped; }

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

    /// Publishes the row to which `fill(symbol, date, row, error)` adds the figures or, if that returns false, a status
    /// with the reason.
    template<typename Fill>
    void answerIndicator(const LxBusRequest &request, const QString &answerType, Fill fill);
    void drop(const LxBusRequest &request, RequestOutcome::Result result, const QString &reason);
    void logFailure(const LxBusRequest &request, const QString &reason);
    void noteStatus(const QString &status);

    const CurrentDayBars *const m_live;
    Store m_store;
    std::unique_ptr<LxBusServicePort> m_port;
    std::atomic<quint64> m_dropped { 0 }; // written by the service's thread
    quint64 m_nextLogged = 1;
    LxLogLimit m_failureLog;
    RequestOutcome::Result m_result = RequestOutcome::Answered; // of the request being answered
};
