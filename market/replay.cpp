#include "replay.h"

#include "datafolder.h"
#include "dates.h"
#include "recordeddates.h"
#include "replayclock.h"
#include "translated.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <algorithm>
#include <tuple>

namespace {

constexpr size_t RecordsPerBatch = 1024;
constexpr int FlushTimeoutMs = 10000;
constexpr int StoppedFlushTimeoutMs = 2000; // after stop(): the broker may be unreachable
constexpr double LongestWaitMs = 1e12;

bool isQuote(RecordingKind kind)
{
    return kind != RecordingKind::Transaction && kind != RecordingKind::Order;
}

} // namespace

bool Replay::Upcoming::operator<(const Upcoming &other) const
{
    return std::tie(other.date, other.time, other.recording) < std::tie(date, time, recording);
}

bool checkReplayTimes(const ReplayOptions &options, QString *error)
{
    if (!options.from.isValid() || !options.to.isValid() || options.from <= options.to)
        return true;
    *error = translated("the replay would end at %1, before it begins at %2")
                 .arg(options.to.toString(Qt::ISODate), options.from.toString(Qt::ISODate));
    return false;
}

Replay::Replay(ReplayOptions options) : m_options(std::move(options)) { }

Replay::~Replay() = default;

bool Replay::open(QString *error)
{
    if (!checkReplayTimes(m_options, error) || !rewind(error))
        return false;
    m_publisher = LxBus::current()->openPublisher();
    return true;
}

bool Replay::rewind(QString *error)
{
    m_recordings.clear();
    m_analysis = MarketAnalysis();
    DataFolder folder;
    if (!folder.open(m_options.folder, error))
        return false;
    const QStringList names = folder.names();
    for (const QString &name : names) {
        const std::optional<RecordingKind> kind = CsvRecording::kindOfName(name);
        if (!kind)
            continue;
        const std::optional<QDate> date = RecordedDates::ofName(name);
        if (date && !m_options.date.isEmpty() && Dates::toCompactString(*date) != m_options.date)
            continue;
        const std::optional<QString> path = folder.file(name, error);
        auto recording = std::make_unique<CsvRecording>();
        if (!path || !recording->open(*path, *kind, m_options.date, error))
            return false;
        m_recordings.push_back(std::move(recording));
    }
    if (m_recordings.empty()) {
        *error = m_options.date.isEmpty()
            ? translated("%1: no recordings in this folder").arg(m_options.folder)
            : translated("%1: no recordings of %2 in this folder").arg(m_options.folder, m_options.date);
        return false;
    }
    return true;
}

bool Replay::advance(size_t index, QString *error)
{
    CsvRecording &recording = *m_recordings[index];
    const BrokenRowReport report = [&](const QString &file, qint64 line, const QString &reason) {
        ++m_counts[static_cast<size_t>(recording.kind())].skipped;
        m_options.reportBrokenRow(file, line, reason);
    };
    while (recording.next(report, error)) {
        m_hasValidRow = true;
        if (!isWithinWindow(recording.row().time))
            continue;
        m_upcoming.push({ recording.row().date, recording.row().time, index });
        return true;
    }
    return error->isEmpty();
}

bool Replay::isWithinWindow(QTime time) const
{
    return (!m_options.from.isValid() || time >= m_options.from) && (!m_options.to.isValid() || time <= m_options.to);
}

ReplayClock::Hours Replay::tradingHours() const
{
    const bool withFutures = std::any_of(m_recordings.cbegin(), m_recordings.cend(), [](const auto &recording) {
        return recording->kind() == RecordingKind::FutureQuote;
    });
    return withFutures ? ReplayClock::Hours::Futures : ReplayClock::Hours::Stocks;
}

bool Replay::run(QString *error)
{
    m_upcoming = {};
    bool readable = true;
    for (size_t i = 0; readable && i < m_recordings.size(); ++i)
        readable = advance(i, error);

    QElapsedTimer sinceStart;
    sinceStart.start();
    ReplayClock clock(m_options.speed, tradingHours(), m_options.keepPauses);
    std::vector<PendingRow> batch; // at full speed, if the consumers hold the replay back
    while (readable && !m_upcoming.empty() && !m_stop) {
        const Upcoming next = m_upcoming.top();
        m_upcoming.pop();
        CsvRecording &recording = *m_recordings[next.recording];
        if (m_options.speed > 0
            && !waitUntilDue(clock.due(next.date, next.time) - static_cast<double>(sinceStart.elapsed())))
            break;

        if (m_options.speed <= 0 && m_options.waitForConsumers) {
            batch.push_back({ recording.kind(), recording.row() });
            if (batch.size() == RecordsPerBatch)
                publishBatch(&batch);
        } else {
            publish(recording.kind(), recording.row());
        }
        readable = advance(next.recording, error);
    }

    if (!m_stop)
        publishBatch(&batch);
    m_analysis.publish(*m_publisher);
    m_publisher->flush(m_stop ? StoppedFlushTimeoutMs : FlushTimeoutMs);
    if (readable && !m_hasValidRow && totalCount().skipped > 0) {
        *error = translated("%1: the recordings contain broken rows only").arg(m_options.folder);
        return false;
    }
    return readable;
}

void Replay::publish(RecordingKind kind, const CsvRecording::Row &row)
{
    Counts &counts = m_counts[static_cast<size_t>(kind)];
    m_position = QDateTime(row.date, row.time, Qt::UTC).toMSecsSinceEpoch();
    ++counts.read;
    if (m_publisher->publish(recordingKindInfo(kind).topic, row.symbol, row.body) > 0)
        ++counts.published;
    m_analysis.observe(kind, row, *m_publisher);
    if (m_options.observeQuote && isQuote(kind))
        m_options.observeQuote(row);
}

// Publishes rows that were read while the consumers processed the previous batch. Publishing them together wakes the
// bus's thread once instead of once per record.
void Replay::publishBatch(std::vector<PendingRow> *batch)
{
    if (batch->empty())
        return;
    m_publisher->flush(FlushTimeoutMs);
    m_options.waitForConsumers();
    for (const PendingRow &pending : *batch)
        publish(pending.kind, pending.row);
    batch->clear();
}

ReplayCount Replay::count(RecordingKind kind) const
{
    const Counts &counts = m_counts[static_cast<size_t>(kind)];
    return { counts.read, counts.published, counts.skipped };
}

QDateTime Replay::position() const
{
    return m_position == 0 ? QDateTime() : QDateTime::fromMSecsSinceEpoch(m_position, Qt::UTC);
}

ReplayCount Replay::totalCount() const
{
    ReplayCount sum;
    for (const Counts &counts : m_counts) {
        sum.read += counts.read;
        sum.published += counts.published;
        sum.skipped += counts.skipped;
    }
    return sum;
}

void Replay::stop()
{
    QMutexLocker locker(&m_mutex);
    m_stop = true;
    m_stopRequested.wakeAll();
}

// False when the replay is to stop.
bool Replay::waitUntilDue(double milliseconds)
{
    if (milliseconds > 0) {
        QMutexLocker locker(&m_mutex);
        // At a tiny speed the wait exceeds the range of integers.
        const QDeadlineTimer due(static_cast<qint64>(std::min(milliseconds, LongestWaitMs)));
        while (!m_stop && m_stopRequested.wait(&m_mutex, due)) { }
    }
    return !m_stop;
}
