#include "csvtable.h"
#include "market.h"

#include <csvreader.h>
#include <recorder.h>

#include <QtTest>

#include <limits>

#include <sys/resource.h>

namespace {

const QString quotes = QStringLiteral("MDMARKETRECORD");
const QString symbol = QStringLiteral("600519.SH");

Market::Row quote(const QString &date, const QString &time)
{
    return { { QStringLiteral("MDDate"), date },
             { QStringLiteral("MDTime"), time },
             { QStringLiteral("Symbol"), symbol },
             { QStringLiteral("LastPx"), 1800.5 } };
}

bool isSameCell(const QByteArray &a, const QByteArray &b)
{
    if (a == b)
        return true;
    bool isNumber = false;
    bool isOtherNumber = false;
    return a.toDouble(&isNumber) == b.toDouble(&isOtherNumber) && isNumber && isOtherNumber;
}

bool isSameLine(const QByteArray &a, const QByteArray &b)
{
    const QList<QByteArray> cells = a.split(',');
    const QList<QByteArray> others = b.split(',');
    return std::equal(cells.cbegin(), cells.cend(), others.cbegin(), others.cend(), isSameCell);
}

// The lines of a recording, by the name of the file that they are to be in.
QMap<QString, QVector<QByteArray>> linesByFile(const QString &file)
{
    const CsvTable table(recording(file));
    const QString prefix = recordingKindInfo(*CsvRecording::kindOfName(file)).filePrefix;
    QMap<QString, QVector<QByteArray>> files;
    for (int i = 0; i < table.rowCount(); ++i)
        files[prefix + table.row(i).text("MDDate") + QStringLiteral(".csv")].append(table.lines().at(i));
    return files;
}

quint64 total(const Recorder &recorder)
{
    quint64 sum = 0;
    for (int i = 0; i < RecordingKinds; ++i)
        sum += recorder.count(static_cast<RecordingKind>(i));
    return sum;
}

QStringList symbolsOf(const QStringList &files)
{
    QStringList symbols;
    for (const QString &file : files)
        symbols += CsvTable(recording(file)).distinct("Symbol");
    symbols.removeDuplicates();
    return symbols;
}

} // namespace

/// A recorder writes what a replay publishes so that it can be replayed again.
class tst_Recorder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void replayedDayIsGivenBack_data();
    void replayedDayIsGivenBack();
    void recordingIsAnnouncedAsItsSource();
    void otherFieldsGoIntoAFileOfTheirOwn();
    void existingFilesStay();
    void valuesAreReadAsTheyWere();
    void whatIsNoRecordIsDropped_data();
    void whatIsNoRecordIsDropped();
    void manyDatesAreRecorded();
    void folderThatCannotBeWrittenIsReported();

private:
    int publish(const Market::Row &row)
    {
        return LxBus::current()->openPublisher()->publish(quotes, symbol, Market::packed({ row }));
    }
    QString path(const char *name) const { return m_folder->filePath(QString::fromLatin1(name)); }
    QByteArray content(const char *name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void finish(Recorder *recorder)
    {
        Market::flushBus();
        QString error;
        QVERIFY2(recorder->finish(&error), qPrintable(error));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_Recorder::initTestCase()
{
    LxBusOptions options;
    options.pendingLimit = 1000000; // a replay at full speed waits for nobody behind a broker
    Market::startBus(options);
}

void tst_Recorder::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void tst_Recorder::replayedDayIsGivenBack_data()
{
    QTest::addColumn<QStringList>("files");

    const auto row = [](const char *name, const char *files) {
        QTest::newRow(name) << QString::fromLatin1(files).split(QLatin1Char(' '));
    };
    row("quotes, transactions and orders",
        "stock_snapshots_20230201.csv.gz transactions_20230201.csv.gz orders_20230201.csv.gz");
    row("quotes of another source", "stock_snapshots_20220601.csv.gz");
    row("transactions of another source", "transactions_20230711.csv.gz");
    row("futures", "future_snapshots_20210104.csv.gz");
    row("indices of several days", "index_snapshots_20181203_20190201.csv.gz");
}

void tst_Recorder::replayedDayIsGivenBack()
{
    QFETCH(QStringList, files);

    const RecordingFolder source(files);
    Recorder recorder(m_folder->path());
    recorder.start(symbolsOf(files));
    Market::flushBus();
    ReplayOptions options;
    options.folder = source.path();
    const Market::Outcome outcome = Market::replayOntoBus(options);
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    quint64 rows = 0;
    for (const ReplayCount &count : outcome.counts)
        rows += count.read;
    QTRY_VERIFY(total(recorder) >= rows); // and the latest of earlier days
    QString error;
    QVERIFY2(recorder.finish(&error), qPrintable(error));
    QCOMPARE(recorder.dropped(), quint64(0));

    for (const QString &file : files) {
        const auto expected = linesByFile(file);
        for (auto lines = expected.cbegin(); lines != expected.cend(); ++lines) {
            const CsvTable recorded(m_folder->filePath(lines.key()));
            QCOMPARE(recorded.header(), CsvTable(recording(file)).header());
            QCOMPARE(recorded.rowCount(), lines->size());
            for (int i = 0; i < recorded.rowCount(); ++i)
                QVERIFY2(isSameLine(recorded.lines().at(i), lines->at(i)),
                         recorded.lines().at(i) + '\n' + lines->at(i));
        }
    }
}

void tst_Recorder::recordingIsAnnouncedAsItsSource()
{
    const QStringList files { QStringLiteral("stock_snapshots_20230202.csv.gz"),
                              QStringLiteral("transactions_20230202.csv.gz") };
    const RecordingFolder source(files);
    QTemporaryDir recorded;
    Recorder recorder(recorded.path());
    recorder.start(symbolsOf(files));
    ReplayOptions options;
    options.folder = source.path();
    options.date = QStringLiteral("20230202");
    QVERIFY(Market::replayOntoBus(options).ok);
    finish(&recorder);
    // The latest records of other tests.
    for (const QFileInfo &file : QDir(recorded.path()).entryInfoList(QDir::Files)) {
        if (!file.fileName().contains(options.date))
            QFile::remove(file.filePath());
    }

    const auto announcements = [this](const QString &folder) {
        const QString file = path("announcements");
        QProcess client;
        client.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        client.start(QStringLiteral(LX_ANNOUNCEMENTS),
                     { QStringLiteral("inproc:"), folder, file, QStringLiteral("local") });
        if (!client.waitForFinished(60000) || client.exitCode() != 0)
            return QByteArray();
        return content("announcements");
    };
    const QByteArray expected = announcements(source.path());
    QVERIFY(expected.count('\n') > 10000);
    QVERIFY(announcements(recorded.path()) == expected);
}

void tst_Recorder::otherFieldsGoIntoAFileOfTheirOwn()
{
    Recorder recorder(m_folder->path());
    recorder.start({ symbol });
    publish(quote(QStringLiteral("20250301"), QStringLiteral("093000000")));
    Market::Row other = quote(QStringLiteral("20250301"), QStringLiteral("093001000"));
    other.insert(QStringLiteral("OpenPx"), 1801.0);
    publish(other);
    publish(quote(QStringLiteral("20250301"), QStringLiteral("093002000")));
    finish(&recorder);
    QCOMPARE(content("stock_snapshots_20250301.csv"),
             QByteArray("LastPx,MDDate,MDTime,Symbol\n"
                        "1800.5,20250301,093000000,600519.SH\n"
                        "1800.5,20250301,093002000,600519.SH\n"));
    QCOMPARE(content("stock_snapshots_2_20250301.csv"),
             QByteArray("LastPx,MDDate,MDTime,OpenPx,Symbol\n"
                        "1800.5,20250301,093001000,1801,600519.SH\n"));
}

void tst_Recorder::existingFilesStay()
{
    for (const char *name : { "stock_snapshots_20250302.csv", "stock_snapshots_2_20250302.csv.gz" }) {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine") == 4);
    }
    Recorder recorder(m_folder->path());
    recorder.start({ symbol });
    publish(quote(QStringLiteral("20250302"), QStringLiteral("093000000")));
    finish(&recorder);
    QCOMPARE(content("stock_snapshots_20250302.csv"), QByteArray("mine"));
    QVERIFY(!QFile::exists(path("stock_snapshots_2_20250302.csv")));
    QCOMPARE(content("stock_snapshots_3_20250302.csv").count('\n'), 2);
}

void tst_Recorder::valuesAreReadAsTheyWere()
{
    const double infinity = std::numeric_limits<double>::infinity();
    Recorder recorder(m_folder->path());
    recorder.start({ symbol });
    Market::Row row = quote(QStringLiteral("20250303"), QStringLiteral("093000000"));
    row.insert(QStringLiteral("A"), 100000.0); // "1e+05" would be shorter
    row.insert(QStringLiteral("B"), 0.1 + 0.2);
    row.insert(QStringLiteral("C"), infinity);
    row.insert(QStringLiteral("D"), qQNaN());
    row.insert(QStringLiteral("E"), Q_INT64_C(9007199254740993)); // no double
    row.insert(QStringLiteral("F"), QStringLiteral("a,\"b\"\nc"));
    row.insert(QStringLiteral("G"), -std::numeric_limits<double>::denorm_min());
    row.insert(QStringLiteral("H"), QString::fromLatin1(""));
    publish(row);
    finish(&recorder);

    CsvReader reader;
    QString error;
    QVERIFY2(reader.open(path("stock_snapshots_20250303.csv"), &error) && reader.next(&error), qPrintable(error));
    const auto cell = [&reader](const char *column) {
        return reader.cells().value(reader.column(QString::fromLatin1(column)));
    };
    QCOMPARE(cell("A"), QByteArray("100000"));
    QCOMPARE(cell("B"), QByteArray("0.30000000000000004"));
    QCOMPARE(cell("C"), QByteArray());
    QCOMPARE(cell("D"), QByteArray());
    QCOMPARE(cell("E"), QByteArray("9007199254740993"));
    QCOMPARE(cell("F"), QByteArray("a,\"b\"\nc"));
    QCOMPARE(cell("G").toDouble(), -std::numeric_limits<double>::denorm_min());
    QCOMPARE(cell("H"), QByteArray());
    QCOMPARE(cell("Symbol"), QByteArray("600519.SH"));
}

void tst_Recorder::whatIsNoRecordIsDropped_data()
{
    QTest::addColumn<QVariant>("body");

    const auto packed = [](const char *date, const char *time, const QVariant &instrument) {
        Market::Row row = quote(QString::fromLatin1(date), QString::fromLatin1(time));
        row.insert(QStringLiteral("Symbol"), instrument);
        return Market::packed({ row });
    };
    QTest::newRow("not packed") << QVariant(QStringLiteral("600519.SH"));
    QTest::newRow("no row") << Market::packed({});
    QTest::newRow("no symbol") << packed("20250304", "093000000", QString());
    QTest::newRow("no date") << packed("", "093000000", symbol);
    QTest::newRow("path for a date") << packed("../../20250304", "093000000", symbol);
    QTest::newRow("invalid time") << packed("20250304", "253000000", symbol);
}

void tst_Recorder::whatIsNoRecordIsDropped()
{
    QFETCH(QVariant, body);

    Recorder recorder(m_folder->path());
    recorder.start({ symbol });
    Market::flushBus();
    const quint64 before = recorder.dropped(); // the latest record may be that of the row before
    LxBus::current()->openPublisher()->publish(quotes, symbol, body);
    finish(&recorder);
    QCOMPARE(recorder.dropped(), before + 1);
    QVERIFY(QDir(m_folder->path()).entryList({ QStringLiteral("*20250304*") }).isEmpty());
}

void tst_Recorder::manyDatesAreRecorded()
{
    Recorder recorder(m_folder->path());
    recorder.start({ symbol });
    const int days = 150;
    rlimit files {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit fewer { 128, files.rlim_max };
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &fewer), 0);
    for (int day = 0; day < days; ++day)
        publish(
            quote(QDate(2025, 6, 1).addDays(day).toString(QStringLiteral("yyyyMMdd")), QStringLiteral("093000000")));
    finish(&recorder);
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &files), 0);
    for (int day = 0; day < days; ++day) {
        const QString name =
            QDate(2025, 6, 1).addDays(day).toString(QStringLiteral("'stock_snapshots_'yyyyMMdd'.csv'"));
        QCOMPARE(CsvTable(m_folder->filePath(name)).rowCount(), 1);
    }
}

void tst_Recorder::folderThatCannotBeWrittenIsReported()
{
    Recorder recorder(m_folder->filePath(QStringLiteral("missing")));
    QString reason;
    connect(&recorder, &Recorder::failed, &recorder, [&reason](const QString &text) { reason = text; });
    recorder.start({ symbol });
    publish(quote(QStringLiteral("20250305"), QStringLiteral("093000000")));
    QTRY_VERIFY(reason.contains(QLatin1String("missing/stock_snapshots_")));
    QString error;
    QVERIFY(!recorder.finish(&error));
    QCOMPARE(error, reason);
    QCOMPARE(total(recorder), quint64(0));
}

QTEST_GUILESS_MAIN(tst_Recorder)

#include "tst_recorder.moc"
