#pragma once

#include "bussession.h"

#include <replay.h>

#include <QEventLoop>
#include <QObject>
#include <QSemaphore>
#include <QStringList>

#include <atomic>
#include <memory>

class LxThread;

/// A market to watch, with the quotation library loaded as a plug-in: the one of a shared bus, or a replay of
/// recordings within the process.
///
///     MarketSession session(options);
///     const ExitCode code = session.open(&error);
///     // subscribe, connect to LxQuotaHandler::instance()
///     code = session.run(&error);  // runs the event loop
///
/// Lives on the main thread. One at a time.
class MarketSession : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        BusSession::Options bus;
        QString date; ///< yyyyMMdd; empty: all
        double speed = 0; ///< factor of real time; 0: as fast as the signals are taken in
    };

    /// Adds the options of the bus and of the replay.
    static void addOptions(QCommandLineParser &parser, const QString &defaultSpeed);
    static bool readOptions(const QCommandLineParser &parser, Options *options, QString *error);

    explicit MarketSession(Options options);
    ~MarketSession() override;

    /// Joins the bus, opens the recordings and loads the library. Anything but ExitOk comes with a reason in `error`.
    ExitCode open(QString *error);
    /// Runs the event loop. Of a shared bus: until stop(), or until the bus fails. Of a replay: until it has ended, or
    /// was stopped, and every signal of the library that it caused has been delivered to receivers of this thread.
    /// SIGINT and SIGTERM stop it. Anything but ExitOk comes with a reason in `error`.
    ExitCode run(QString *error);
    void stop();

    BusSession &bus() { return m_bus; }

    /// Of a replay, after run().
    ReplayCount count(RecordingKind kind) const { return m_replay ? m_replay->count(kind) : ReplayCount(); }
    quint64 dropped(RecordingKind kind) const;

private:
    void startReplay();
    void finish(ExitCode code, const QString &error);
    void waitForConsumers();
    void afterConsumers(std::function<void()> then);

    const Options m_options;
    BusSession m_bus;
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<LxThread> m_thread;
    QSemaphore m_room;
    std::atomic<bool> m_stopping { false };
    QEventLoop m_loop;
    ExitCode m_exitCode = ExitOk;
    QString m_error;
};
