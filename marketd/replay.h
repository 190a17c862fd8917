#pragma once

#include "csvrecording.h"
#include "marketanalysis.h"

#include <lxbus/bus.h>

#include <QMutex>
#include <QString>
#include <QWaitCondition>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

struct ReplayOptions
{
    QString folder;
    QString date; ///< replay this date only (yyyyMMdd); empty: all
    double speed = 0.0; ///< factor of real time; 0: as fast as the consumers take it
    /// Called by the replay's thread at speed 0, whenever the bus has delivered a batch of records and the next one is
    /// ready; returns when the consumers have room for it. The bus itself knows only what it queues, not what its
    /// receivers queue.
    std::function<void()> waitForConsumers;
    /// Told of each row that is skipped. Replay's thread.
    BrokenRowReport reportBrokenRow;
};

/// What a replay has done so far, of one kind of record.
struct ReplayCount
{
    quint64 read = 0; ///< whole rows read
    quint64 published = 0; ///< of these, the ones that somebody received; a broker counts as somebody
    quint64 skipped = 0; ///< broken rows; counted at the end of each run
};

/// Replays the recordings of a folder onto the bus, merged by time of day over all files.
///
/// A file that holds several dates is replayed date after date, each beside the same-numbered date of the other files.
/// Beside the records themselves the replay publishes what MarketAnalysis derives from them.
class Replay final : private LxBusService
{
public:
    explicit Replay(ReplayOptions options);
    ~Replay();

    /// Opens all recordings. False, with the reason in `error`, if there is none or one cannot be read.
    bool open(QString *error);
    /// Publishes everything; returns at the end, after stop(), or on a read error (false, with the reason in `error`),
    /// when the receivers have taken all that was published. Call it on a thread of its own.
    bool run(QString *error);
    /// Opens all recordings anew, for another run(). False as open().
    bool rewind(QString *error);
    /// Ends run() soon, and any later one. Any thread.
    void stop();

    /// Of all runs. Any thread.
    ReplayCount count(RecordingKind kind) const;

private:
    QStringList requestTypes() const override { return {}; }
    void handle(const LxBusRequest &) override { }

    struct PendingRow
    {
        RecordingKind kind;
        CsvRecording::Row row;
    };

    // Written by run() alone, so that counting takes no locked instruction.
    struct Counter
    {
        std::atomic<quint64> value { 0 };

        void add(quint64 number)
        {
            value.store(value.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
        }
    };
    struct Counts
    {
        Counter read;
        Counter published;
        Counter skipped;
    };

    bool waitUntilDue(double milliseconds);
    void publish(RecordingKind kind, const CsvRecording::Row &row);
    void publishBatch(std::vector<PendingRow> *batch);

    const ReplayOptions m_options;
    std::unique_ptr<LxBusServicePort> m_port;
    std::vector<std::unique_ptr<CsvRecording>> m_recordings;
    std::array<Counts, RecordingKinds> m_counts;
    MarketAnalysis m_analysis;

    QMutex m_mutex; // guards the waiting
    QWaitCondition m_stopRequested;
    std::atomic<bool> m_stop { false };
};
