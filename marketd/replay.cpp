#include "replay.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>

#include <algorithm>
#include <queue>
#include <tuple>

namespace {

constexpr size_t RecordsPerBatch = 1024;
constexpr int FlushTimeoutMs = 10000;
constexpr int StoppedFlushTimeoutMs = 2000; // a broker that is away is not waited for
constexpr double LongestWaitMs = 1e12;

// Which recording's row comes next: the earliest; at the same time the file that sorts first.
struct Upcoming
{
    int day;
    int time;
    size_t recording;

    bool operator<(const Upcoming &other) const // std::priority_queue puts the greatest first
    {
        return std::tie(other.day, other.time, other.recording) < std::tie(day, time, recording);
    }
};

} // namespace

Replay::Replay(ReplayOptions options) : m_options(std::move(options)) { }

Replay::~Replay() = default;

bool Replay::open(QString *error)
{
    if (!rewind(error))
        return false;
    m_port = LxBus::current()->openService(this);
    return true;
}

bool Replay::rewind(QString *error)
{
    m_recordings.clear();
    m_analysis = MarketAnalysis();
    const QDir folder(m_options.folder);
    if (!folder.exists()) {
        *error = QStringLiteral("no such folder: %1").arg(m_options.folder);
        return false;
    }
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) {
        RecordingKind kind;
        if (!CsvRecording::kindOfFile(name, &kind))
            continue;
        auto recording = std::make_unique<CsvRecording>();
        if (!recording->open(folder.filePath(name), kind, m_options.date, error))
            return false;
        m_recordings.push_back(std::move(recording));
    }
    if (m_recordings.empty()) {
        *error = QStringLiteral("no recordings in %1").arg(m_options.folder);
        return false;
    }
    return true;
}

bool Replay::run(QString *error)
{
    std::priority_queue<Upcoming> upcoming;
    const auto advance = [&](size_t index) {
        CsvRecording &recording = *m_recordings[index];
        if (recording.next(m_options.reportBrokenRow))
            upcoming.push({ recording.row().day, recording.row().time, index });
        else if (error->isEmpty())
            *error = recording.errorString();
    };
    for (size_t i = 0; i < m_recordings.size(); ++i)
        advance(i);

    QElapsedTimer clock;
    int day = -1;
    int dayStart = 0;
    std::vector<PendingRow> batch; // at full speed, for consumers that hold the replay back
    while (!upcoming.empty() && !m_stop && error->isEmpty()) {
        const Upcoming next = upcoming.top();
        upcoming.pop();
        CsvRecording &recording = *m_recordings[next.recording];
        if (m_options.speed > 0) {
            if (next.day != day) {
                day = next.day;
                dayStart = next.time;
                clock.start();
            }
            const double due = (next.time - dayStart) / m_options.speed;
            if (!waitUntilDue(due - static_cast<double>(clock.elapsed())))
                break;
        }

        if (m_options.speed <= 0 && m_options.waitForConsumers) {
            batch.push_back({ recording.kind(), recording.row() });
            if (batch.size() == RecordsPerBatch)
                publishBatch(&batch);
        } else {
            publish(recording.kind(), recording.row());
        }
        advance(next.recording);
    }

    if (!m_stop)
        publishBatch(&batch);
    m_analysis.publish(*m_port);
    m_port->flush(m_stop ? StoppedFlushTimeoutMs : FlushTimeoutMs);
    for (const auto &recording : m_recordings)
        m_counts[static_cast<size_t>(recording->kind())].skipped.add(recording->brokenRows());
    return error->isEmpty();
}

void Replay::publish(RecordingKind kind, const CsvRecording::Row &row)
{
    Counts &counts = m_counts[static_cast<size_t>(kind)];
    counts.read.add(1);
    if (m_port->publish(recordingKindInfo(kind).topic, row.symbol, row.body) > 0)
        counts.published.add(1);
    m_analysis.observe(kind, row, *m_port);
}

// Publishes rows that were read while the consumers worked off those before. One behind the other, so that the bus's
// thread finds the next one when it is done with one, and need not be woken for each.
void Replay::publishBatch(std::vector<PendingRow> *batch)
{
    if (batch->empty())
        return;
    m_port->flush(FlushTimeoutMs);
    m_options.waitForConsumers();
    for (const PendingRow &pending : *batch)
        publish(pending.kind, pending.row);
    batch->clear();
}

ReplayCount Replay::count(RecordingKind kind) const
{
    const Counts &counts = m_counts[static_cast<size_t>(kind)];
    return { counts.read.value, counts.published.value, counts.skipped.value };
}

void Replay::stop()
{
    QMutexLocker locker(&m_mutex);
    m_stop = true;
    m_stopRequested.wakeAll();
}

// Waits for the market's clock; false when told to stop.
bool Replay::waitUntilDue(double milliseconds)
{
    if (milliseconds > 0) {
        QMutexLocker locker(&m_mutex);
        // A tiny factor asks for waits that no integer holds.
        const QDeadlineTimer due(static_cast<qint64>(std::min(milliseconds, LongestWaitMs)));
        while (!m_stop && m_stopRequested.wait(&m_mutex, due)) { }
    }
    return !m_stop;
}
