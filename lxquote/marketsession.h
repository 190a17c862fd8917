#pragma once

#include <replay.h>

#include <QObject>
#include <QSemaphore>
#include <QStringList>

#include <atomic>
#include <memory>

class LxThread;

/// A market of its own within the process: the bus "inproc:", a replay of recordings as its service, and the quotation
/// library loaded as a plug-in.
///
///     MarketSession session(options);
///     if (!session.open(&error)) ...
///     // subscribe, connect to LxQuotaHandler::instance()
///     session.start();             // finished() comes when all that was published has been taken in
///
/// Lives on the main thread, whose event loop has to run from start() to finished(). One at a time.
class MarketSession : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString folder;
        QString date;     ///< yyyyMMdd; empty: all
        double speed = 0; ///< factor of real time; 0: as fast as the signals are taken in
    };

    explicit MarketSession(Options options, QObject *parent = nullptr);
    ~MarketSession() override;

    /// Starts the bus, opens the recordings and loads the securities table and the library.
    bool open(QString *error);
    /// Prints a warning for each symbol that the securities table does not have.
    void warnOfUnknown(const QStringList &symbols) const;
    void start();
    /// Ends the replay before its end.
    void stop();

    /// After finished().
    ReplayCount count(RecordingKind kind) const { return m_replay->count(kind); }
    quint64 dropped(RecordingKind kind) const;
    quint64 droppedInAll() const;

Q_SIGNALS:
    /// The replay has ended and every signal of the library that it caused has been delivered to receivers of this
    /// thread. `error` is empty unless a recording could not be read to its end.
    void finished(const QString &error);

private:
    void waitForConsumers();
    void afterConsumers(std::function<void()> then);

    const Options m_options;
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<LxThread> m_thread;
    QSemaphore m_room;
    std::atomic<bool> m_stopping { false };
};
