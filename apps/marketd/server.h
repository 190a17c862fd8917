#pragma once

#include "brokenrowlog.h"
#include "currentdaybars.h"
#include "programbus.h"
#include "replay.h"
#include "systemdnotifier.h"

#include <lxutils/lxloglimit.h>
#include <serviceannouncement.h>

#include <QElapsedTimer>
#include <QMutex>
#include <QObject>
#include <QTimer>
#include <QWaitCondition>

#include <atomic>
#include <memory>

class Announcer;
class LxThread;
class Metrics;
class RequestService;

/// The market-data service: joins a bus, answers requests from a store, replays recordings, or both, and logs its state
/// (category "lx.marketd").
///
///     Server server(settings);
///     connect(&server, &Server::failed, ...);
///     if (!server.start(&error)) ...
///     // run the event loop
///
/// Lives on the main thread.
class Server : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        BusSettings bus;
        QString store; ///< empty: requests are not answered
        ReplayOptions replay; ///< an empty folder: nothing is replayed
        bool loop = false;
        QString metrics; ///< HOST:PORT to serve metrics at; empty: none
    };

    explicit Server(Settings settings, QObject *parent = nullptr);
    /// Ends the replay and leaves the bus.
    ~Server() override;

    /// Joins the bus, opens all services and starts the replay. False, with the reason in `error`, on failure.
    bool start(QString *error);

Q_SIGNALS:
    /// The service cannot continue: the connection is closed permanently, the broker denied a permission, or a
    /// recording cannot be read.
    void failed(const QString &reason);

private:
    bool openReplay(QString *error);
    void createMetrics();
    ServiceAnnouncement announcement() const;
    bool isConnected();
    void replay();
    bool replayRound(QString *error);
    void waitForConnection();
    void noteState(const LxBusState &state);
    void logProgress();

    const Settings m_settings;
    ProgramBus m_bus;
    CurrentDayBars m_currentDay;
    BrokenRowLog m_brokenRows; // used on the replay's thread, as is the next one
    LxLogLimit m_roundLog;
    std::atomic<qint64> m_round { 0 }; // of the replay
    std::atomic<quint64> m_readBeforeRound { 0 }; // records, in the rounds before
    std::atomic<bool> m_hasEnded { false }; // the replay
    std::atomic<qint64> m_requestsAnswered { 0 };
    std::unique_ptr<Metrics> m_metrics;
    std::unique_ptr<RequestService> m_service;
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<LxThread> m_thread;
    std::unique_ptr<Announcer> m_announcer;
    SystemdNotifier m_systemd;
    QTimer m_progress;
    QElapsedTimer m_sinceProgress;
    quint64 m_readAtProgress = 0;

    QMutex m_mutex; // guards the next two; signalled by m_changed
    QWaitCondition m_changed;
    bool m_reconnecting = false;
    bool m_stopping = false;
};
