// Any file is refused with a reason, or read to its end with lines that only grow.

#include "fuzzing.h"

#include <csvreader.h>
#include <csvrecording.h>

#include <QFile>
#include <QTemporaryDir>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    static const QTemporaryDir folder(QStringLiteral("/dev/shm/fuzz_csv-XXXXXX"));
    const QString path = folder.filePath(QStringLiteral("stock_snapshots_20230201.csv"));
    QFile file(path);
    fuzzRequire(file.open(QIODevice::WriteOnly), "the file can be written");
    file.write(reinterpret_cast<const char *>(bytes), static_cast<qint64>(size));
    file.close();

    QString error;
    CsvReader reader;
    if (reader.open(path, &error)) {
        qint64 line = 1;
        while (reader.next(&error)) {
            fuzzRequire(reader.line() > line, "lines grow");
            fuzzRequire(!reader.cells().isEmpty(), "a record has a cell");
            line = reader.line();
        }
    } else {
        fuzzRequire(!error.isEmpty(), "a refusal has a reason");
    }

    CsvRecording recording;
    error.clear();
    if (recording.open(path, RecordingKind::StockQuote, QString(), &error)) {
        const auto report = [](const QString &, qint64, const QString &reason) {
            fuzzRequire(!reason.isEmpty(), "a broken row has a reason");
        };
        while (recording.next(report, &error))
            fuzzRequire(recording.row().date.isValid() && recording.row().time.isValid()
                            && !recording.row().symbol.isEmpty(),
                        "a row has a date, a time and a symbol");
    } else {
        fuzzRequire(!error.isEmpty(), "a refusal has a reason");
    }
    return 0;
}
