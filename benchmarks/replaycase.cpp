// Whole recorded days: from the files through the bus and the library to its signals.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"

#include <replay.h>

#include <QDir>
#include <QSet>

#include <atomic>

namespace {

constexpr int Rounds = 5;
constexpr int BatchesAhead = 2;

const QString dataFolder = QStringLiteral(LX_DATA_DIR);

void ignoreBrokenRow(const QString &, qint64, const QString &) { }

// Reads and parses every recording; collects their symbols in `symbols` unless that is null.
quint64 parseAll(QSet<QString> *symbols)
{
    quint64 records = 0;
    const QStringList names = QDir(dataFolder).entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) {
        const std::optional<RecordingKind> kind = CsvRecording::kindOfName(name);
        if (!kind)
            continue;
        CsvRecording recording;
        QString error;
        if (!recording.open(QDir(dataFolder).filePath(name), *kind, QString(), &error))
            qFatal("%s", qUtf8Printable(error));
        while (recording.next(&ignoreBrokenRow, &error)) {
            ++records;
            if (symbols)
                symbols->insert(recording.row().symbol);
        }
    }
    return records;
}

double parseRate()
{
    const qint64 begin = Measure::nowNs();
    const quint64 records = parseAll(nullptr);
    return static_cast<double>(records) * 1e9 / static_cast<double>(Measure::nowNs() - begin);
}

// Records per second with every symbol subscribed. As in the command-line client, the replay waits for the library's
// queue.
double replayRate()
{
    LxQuotaHandler &handler = hostedLibrary();
    QSemaphore room(BatchesAhead);
    ReplayOptions options;
    options.folder = dataFolder;
    options.reportBrokenRow = &ignoreBrokenRow;
    options.waitForConsumers = [&] {
        room.acquire();
        QMetaObject::invokeMethod(
            &handler, [&room] { room.release(); }, Qt::QueuedConnection);
    };
    Replay replay(options);
    QString error;
    const qint64 begin = Measure::nowNs();
    if (!replay.open(&error) || !replay.run(&error))
        qFatal("%s", qUtf8Printable(error));
    Measure::runOn(&handler, [] {});
    const double seconds = static_cast<double>(Measure::nowNs() - begin) / 1e9;
    quint64 published = 0;
    for (int kind = 0; kind < RecordingKinds; ++kind) {
        const ReplayCount count = replay.count(static_cast<RecordingKind>(kind));
        if (count.published != count.read)
            qFatal("the replay published %llu of %llu records", count.published, count.read);
        published += count.published;
    }
    return static_cast<double>(published) / seconds;
}

} // namespace

QVector<BenchRow> wholeDays()
{
    QSet<QString> symbols;
    parseAll(&symbols);
    QStringList list = symbols.values();
    LxQuotaHandler &handler = hostedLibrary();
    handler.SubscribeQuote(list, true);
    handler.SubscribeRecordTransaction(list, true);
    handler.SubscribeRecordOrder(list, true);
    const Measure::Comparison result = Measure::interleave(Rounds, &replayRate, &parseRate);
    return { { QStringLiteral("14"), QStringLiteral("whole days, end to end / read and parse alone"),
               QStringLiteral("records/s"), result.figure, result.reference, result.ratio, BenchRow::AtLeast, 0.6 } };
}
