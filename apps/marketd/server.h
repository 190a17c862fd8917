#pragma once

#include "programbus.h"
#include "replay.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QObject>
#include <QTimer>
#include <QWaitCondition>

#include <memory>

class LxThread;
class RequestService;

/// The market-data service on a bus: answers requests from a store, replays recordings, or both, and logs what happens
/// to it (category "lx.marketd").
///
///     Server server(options);
///     connect(&server, &Server::failed, ...);
///     if (!server.start(&error)) ...
///     // the event loop runs until the program has had enough
///
/// Lives on the main thread.
class Server : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        BusSettings bus;
        QString store; ///< empty: requests are not answered
        QString folder; ///< of recordings; empty: nothing is replayed
        QString date;
        double speed = 1; ///< factor of real time; 0: as fast as the bus takes it
        bool loop = false;
    };

    explicit Server(Options options, QObject *parent = nullptr);
    /// Ends the replay and leaves the bus.
    ~Server() override;

    /// Joins the bus with all services and begins to replay. False, with the reason in `error`.
    bool start(QString *error);

Q_SIGNALS:
    /// The service cannot go on: the connection is closed, the broker refuses, or a recording cannot be read.
    void failed(const QString &reason);

private:
    bool waitUntilReady(QString *error);
    bool openReplay(QString *error);
    void replay();
    void waitForBroker();
    void noteState(const LxBusState &state);
    void logProgress();
    ReplayCount countInAll() const;

    const Options m_options;
    ProgramBus m_bus;
    std::unique_ptr<RequestService> m_service;
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<LxThread> m_thread;
    QTimer m_progress;
    QElapsedTimer m_sinceProgress;
    quint64 m_readAtProgress = 0;

    QMutex m_mutex; // guards the next three
    QWaitCondition m_changed;
    bool m_brokerAway = false;
    bool m_stopping = false;
};
