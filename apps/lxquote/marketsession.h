#pragma once

#include "bussession.h"
#include "symboltable.h"

#include <brokenrowlog.h>
#include <replay.h>

#include <QEventLoop>
#include <QObject>
#include <QSemaphore>
#include <QStringList>

#include <atomic>
#include <memory>

class LxThread;

/// Provides market data, with the quotation library loaded as a plug-in: from a shared bus, or from a replay of
/// recordings within the process.
///
///     MarketSession session(bus, settings);
///     const ExitCode code = session.open(&error);
///     // subscribe, connect to LxQuotaHandler::instance()
///     code = session.run(&error);  // runs the event loop
///
/// Lives on the main thread. One at a time.
class MarketSession : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        ReplayOptions replay; ///< date and speed

        /// Adds the options of the replay.
        void addOptions(Options *options);
        /// False, with the reason in `error`, if the options of a replay are given with a shared bus.
        static bool check(const BusSettings &bus, const Options &options, QString *error);
        /// The symbols to show, with --all those that have records of `kinds` on the day of the replay. Without a date
        /// of the user's, sets it to the latest day that has such records of one of the symbols, or the latest day of
        /// all if there is none. Empty, with the reason in `error`, on failure.
        QStringList choose(const BusSession::Settings &bus, const SymbolTable &table, const SymbolSettings &wanted,
                           RecordedDays::Kinds kinds, QString *error);
        /// Names the symbols that have no records of `kinds` on the day of the replay.
        void complainOfMissing(const RecordedDays &recorded, const QStringList &symbols,
                               RecordedDays::Kinds kinds) const;

    private:
        bool chooseLatest(const RecordedDays &recorded, const QStringList &symbols, RecordedDays::Kinds kinds,
                          QString *error);
    };

    MarketSession(const BusSession::Settings &bus, Settings settings);
    ~MarketSession() override;

    /// Joins the bus, opens the recordings and loads the library. If the result is not ExitOk, `error` has the reason.
    ExitCode open(QString *error);
    /// Runs the event loop. With a shared bus: until stop(), or until the bus fails. With a replay: until it has ended
    /// or was stopped, and every signal of the library that it caused has been delivered to receivers on this thread.
    /// SIGINT and SIGTERM stop it. If the result is not ExitOk, `error` has the reason.
    ExitCode run(QString *error);
    void stop();

    BusSession &bus() { return m_bus; }

    /// The day that is replayed, yyyy-MM-dd; empty on a shared bus.
    QString day() const;
    /// For a replay, after run().
    ReplayCount count(RecordingKind kind) const { return m_replay ? m_replay->count(kind) : ReplayCount(); }
    quint64 dropped(RecordingKind kind) const;

private:
    void startReplay();
    void finish(ExitCode code, const QString &error);
    void waitForConsumers();
    void afterConsumers(std::function<void()> then);

    Settings m_settings;
    BusSession m_bus;
    BrokenRowLog m_brokenRows; // used on the replay's thread
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<LxThread> m_thread;
    QSemaphore m_room;
    std::atomic<bool> m_stopping { false };
    QEventLoop m_loop;
    ExitCode m_exitCode = ExitOk;
    QString m_error;
};
