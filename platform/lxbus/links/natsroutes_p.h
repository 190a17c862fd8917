#pragma once

#include "codec/wireformat_p.h"
#include "links/link_p.h"
#include "links/natsconnection_p.h"
#include "links/tickorder_p.h"

#include <lxutils/lxloglimit.h>

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QSet>
#include <QWaitCondition>

#include <map>
#include <memory>
#include <thread>

/// The records that a process receives through a broker: subscribes to them, and asks the broker's streams for those
/// that it has missed (docs/wire.md).
///
/// The latest record is asked for when a route is opened and after each reconnection. Of transactions and orders, all
/// that are missing are fetched; LxTickOrder puts them in order.
class LxNatsRoutes
{
public:
    /// `inbox`: what the subjects of this process begin with.
    LxNatsRoutes(LxNatsConnection *connection, QByteArray inbox, const LxBusOptions &options, LxLinkObserver *observer);
    ~LxNatsRoutes();

    // Any thread:
    void open(quint64 number, const QString &topic, const QString &key);
    void close(quint64 number);
    /// Waits until the broker has answered for all routes that were opened before, unless it has no streams.
    bool waitUntilCurrent(QDeadlineTimer deadline);
    /// Asks for nothing more. For before the connection is closed.
    void stop();

    /// For after a reconnection.
    void askAgain();

    // Receiving thread, with the end of the subject:
    void receiveLatest(const QByteArray &about, const LxNatsMessage &message);
    void receiveFetched(const QByteArray &about, const LxNatsMessage &message);
    void wake();

private:
    // The records of one topic and symbol.
    struct Route;

    // What is to be done with a route at a later time.
    struct Task
    {
        enum Kind { AskLatest, FetchAgain, Fetch, CheckFetch };

        Kind kind;
        quint64 route;
        quint64 request; // the number of the route's fetch that the task belongs to
    };

    std::shared_ptr<Route> routeOf(quint64 number);
    QByteArray streamOf(const Route &route) const;
    void askForLatest(const Route &route);
    void noteAnswer(quint64 route);
    void schedule(int delayMs, const Task &task);
    void runClock();

    // Receiving thread:
    bool read(const LxNatsMessage &message, const Route &route, const char *what, LxWireMessage *record);
    void receive(Route *route, const LxNatsMessage &message);
    void receiveQuote(Route *route, const LxWireMessage &record, bool isLatest);
    void warnOfTwoPublishers(const Route &route);
    void receiveTick(Route *route, const LxNatsMessage &message, const LxWireMessage &record);
    void fetch(Route *route);
    void perform(const Task &task);

    LxNatsConnection *const m_connection;
    const QByteArray m_inbox;
    const LxBusOptions m_options;
    LxLinkObserver *const m_observer;

    LxLogLimit m_publishersLog;
    LxWireReader m_reader; // receiving thread
    QElapsedTimer m_time; // constant after the constructor

    QMutex m_mutex; // guards what follows
    QHash<quint64, std::shared_ptr<Route>> m_routes; // by number

    QMutex m_taskMutex; // guards what follows
    QWaitCondition m_tasksChanged;
    QWaitCondition m_answered;
    std::multimap<qint64, Task> m_tasks; // by time
    QSet<quint64> m_unanswered; // routes whose latest records the broker has been asked for
    qint64 m_lastAsked = 0;
    bool m_woken = false; // the receiving thread has been told that tasks are due
    bool m_stopping = false;

    std::thread m_clock; // last, since it uses everything above
};
