#pragma once

#include <datafolder.h>
#include <lxsymbolmodel.h>
#include <presencewatch.h>
#include <programbus.h>
#include <replay.h>

#include <QObject>
#include <QThread>

#include <memory>

class LocalService;
class LxThread;

/// The market that the board shows, with the quotation library loaded as a plug-in: that of a shared bus, or a replay
/// of recordings and a service of past bars within the process.
///
///     MarketHost host(options);
///     if (!host.open(&error)) ...
///     // create the models
///     host.start();
///
/// Lives on the main thread. One at a time.
class MarketHost : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        BusSettings bus; ///< without URL: within the process
        QString folder = DataFolder::standard(); ///< of the recordings; on a shared bus of securities.csv only
        ReplayOptions replay; ///< date and speed
    };

    explicit MarketHost(Options options);
    /// Ends the replay and leaves the bus.
    ~MarketHost() override;

    /// Joins the bus, opens the recordings and loads the library. False, with the reason in `error`.
    bool open(QString *error);
    /// Starts the replay, and the service of past bars as soon as its store is there.
    void start();

    bool isShared() const { return m_options.bus.isShared(); }
    LxBusState state() const { return m_bus.state(); }
    /// What is known of the services of a shared bus; null before open() and without one.
    const PresenceWatch *presence() const { return m_presence.get(); }
    /// What the bus has lost so far. Requests that no service was there to answer are none of it.
    quint64 dropped() const;
    /// Quotes that gave way to newer ones.
    quint64 conflated() const;

    /// The securities that have names, in the order of their symbols.
    QVector<LxSecurity> securities() const;
    /// The symbols whose quotes are replayed, in the order of their first quotes; empty on a shared bus. The first call
    /// reads the recordings.
    QStringList replayedSymbols();

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// Nothing will come any more.
    void failed(const QString &reason);
    void replayEnded();
    /// The service of past bars could not be started.
    void serviceFailed(const QString &reason);
    void serviceStarted();

private:
    const Options m_options;
    ProgramBus m_bus;
    std::unique_ptr<PresenceWatch> m_presence;
    std::unique_ptr<Replay> m_replay;
    QStringList m_replayedSymbols;
    std::unique_ptr<LxThread> m_replayThread;
    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<QThread> m_serviceThread; // on which it starts
};
