#pragma once

#include "csvrecording.h"
#include "marketanalysis.h"
#include "replayclock.h"

#include <lxbus/bus.h>

#include <QDateTime>
#include <QMutex>
#include <QString>
#include <QWaitCondition>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <queue>
#include <vector>

struct ReplayOptions
{
    QString folder;
    QString date; ///< replay this date only (yyyyMMdd); empty: all
    double speed = 0.0; ///< multiple of real time; 0: full speed, limited by the consumers only
    QTime from; ///< replay only records of this time of day and later; invalid: from the first one on
    QTime to; ///< replay only records of this time of day and earlier; invalid: to the last one
    /// Whether the time outside the trading hours and gaps without records take their time; see ReplayClock.
    bool keepPauses = false;
    /// Called on the replay's thread at speed 0, whenever the bus has delivered a batch of records and the next one is
    /// ready; must return when the consumers have room for it. The bus knows only its own queues, not those of its
    /// receivers. May be empty.
    std::function<void()> waitForConsumers;
    /// Called for each published quote, on the replay's thread. May be empty.
    std::function<void(const CsvRecording::Row &)> observeQuote;
    /// Called for each broken row, on the replay's thread.
    BrokenRowReport reportBrokenRow;
};

/// False, with the reason in `error`, if the time to be replayed would end before it begins.
bool checkReplayTimes(const ReplayOptions &options, QString *error);

/// The progress of a replay for one kind of record.
struct ReplayCount
{
    quint64 read = 0; ///< valid rows read
    quint64 published = 0; ///< of these, the number that had a receiver; a broker counts as one
    quint64 skipped = 0; ///< broken rows
};

/// Replays the recordings of a folder onto the bus. The records of all files are merged by date and time.
///
/// The replay also publishes what MarketAnalysis derives from the records.
class Replay final
{
public:
    explicit Replay(ReplayOptions options);
    ~Replay();

    /// Opens all recordings. False, with the reason in `error`, if there is none or one cannot be read.
    bool open(QString *error);
    /// Publishes all records and returns when they have been delivered. Ends early after stop(), or on a read error:
    /// false, with the reason in `error`, as it is if there are rows but all of them are broken. Blocks; call it on a
    /// separate thread.
    bool run(QString *error);
    /// Opens all recordings again, for another run(). False, with the reason in `error`, as open().
    bool rewind(QString *error);
    /// Makes the current run() return soon, and any later one at once. Any thread.
    void stop();

    /// The records of one kind, in all runs. Any thread.
    ReplayCount count(RecordingKind kind) const;
    /// The date and time of the latest published record; invalid before the first. Any thread.
    QDateTime position() const;
    /// The sum over all kinds. Any thread.
    ReplayCount totalCount() const;

private:
    struct PendingRow
    {
        RecordingKind kind;
        CsvRecording::Row row;
    };

    // The next row of a recording. The earliest row comes first; of rows with the same time, that of the file whose
    // name sorts first.
    struct Upcoming
    {
        QDate date;
        QTime time;
        size_t recording;

        bool operator<(const Upcoming &other) const; // std::priority_queue puts the greatest first
    };

    struct Counts
    {
        std::atomic<quint64> read { 0 };
        std::atomic<quint64> published { 0 };
        std::atomic<quint64> skipped { 0 };
    };

    /// Puts the next row of a recording into m_upcoming. False, with the reason in `error`, on a read error.
    bool advance(size_t recording, QString *error);
    bool isWithinWindow(QTime time) const;
    ReplayClock::Hours tradingHours() const;
    bool waitUntilDue(double milliseconds);
    void publish(RecordingKind kind, const CsvRecording::Row &row);
    void publishBatch(std::vector<PendingRow> *batch);

    const ReplayOptions m_options;
    std::unique_ptr<LxBusPublisher> m_publisher;
    std::vector<std::unique_ptr<CsvRecording>> m_recordings;
    std::priority_queue<Upcoming> m_upcoming;
    std::array<Counts, RecordingKinds> m_counts;
    MarketAnalysis m_analysis;
    bool m_hasValidRow = false; // of the wanted date
    std::atomic<qint64> m_position { 0 }; // exchange time as if it were UTC, in milliseconds since 1970

    QMutex m_mutex; // for m_stopRequested
    QWaitCondition m_stopRequested;
    std::atomic<bool> m_stop { false };
};
