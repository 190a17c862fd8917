#include "recordeddata.h"

#include <csvreader.h>
#include <storeconnection.h>
#include <storeschema.h>

#include <QLockFile>
#include <QProcess>
#include <QSqlQuery>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class Notes final : public ImportObserver
{
public:
    void progress(const QString &file, int percent) override { percents[file].append(percent); }
    void brokenRow(const QString &file, qint64 line, const QString &reason) override
    {
        broken.append(QStringLiteral("%1:%2: %3").arg(file).arg(line).arg(reason));
    }
    void fileDone(const QString &file, qint64 count) override { rows.insert(file, count); }

    QHash<QString, QVector<int>> percents;
    QStringList broken;
    QHash<QString, qint64> rows;
};

} // namespace

class tst_Importer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_recorded.isValid(), qPrintable(m_recorded.errorString())); }

    void everyCellIsStored_data();
    void everyCellIsStored();
    void symbolsWithoutSecurityAreAdded();
    void sameFolderGivesSameBytes();
    void compressedFilesAreImported();
    void absentColumnsReadAsNull();
    void brokenRowsAreReportedAndTheFileRefused_data();
    void brokenRowsAreReportedAndTheFileRefused();
    void onlySomeColumnsMayBeNegative();
    void severalBrokenRowsAreCounted();
    void failureLeavesTheOldStore_data();
    void failureLeavesTheOldStore();
    void foreignFileIsNotOverwritten();
    void olderStoreIsReplaced();
    void concurrentImportIsRefused();
    void killedImportLeavesTheOldStore();
    void fullDiskLeavesTheOldStore();
    void unwritableOutputIsAFailure_data();
    void unwritableOutputIsAFailure();
    void commandLine_data();
    void commandLine();
    void commandReportsOnStderr();
    void terminalShowsAProgressBar();

private:
    static void progressRisesToTheEnd(const Notes &notes);

    RecordedStore m_recorded;
};

void tst_Importer::everyCellIsStored_data()
{
    QTest::addColumn<int>("table");
    for (int i = 0; i < StoreSchema::tables().size(); ++i)
        QTest::addRow("%s", qPrintable(StoreSchema::tables().at(i).name)) << i;
}

void tst_Importer::everyCellIsStored()
{
    using StoreSchema::Kind;
    QFETCH(int, table);
    const StoreSchema::Table &schema = StoreSchema::tables().at(table);
    const QVector<RecordedRow> rows = readRecordedRows(schema.name + QStringLiteral(".csv"));
    QVERIFY(!rows.isEmpty());

    const bool ofSymbols = schema.columns.first().kind == Kind::Symbol;
    QStringList names;
    QStringList key;
    for (const StoreSchema::Column &column : schema.columns) {
        names.append(column.name);
        if (column.presence == StoreSchema::Presence::Key)
            key.append(column.name);
    }
    StoreConnection connection;
    QString error;
    QVERIFY(connection.open(m_recorded.path(), StoreConnection::ReadOnly, &error));
    QSqlQuery query(connection.database());
    QVERIFY(query.exec(QStringLiteral("SELECT %1 FROM %2 %3")
                           .arg(names.join(QLatin1Char(',')), schema.name,
                                ofSymbols ? QStringLiteral("JOIN securities USING (SymbolId)") : QString())));
    QHash<QByteArray, QVector<QVariant>> stored;
    while (query.next()) {
        QVector<QVariant> values;
        QByteArray keyText;
        for (int i = 0; i < names.size(); ++i) {
            values.append(query.value(i));
            if (schema.columns.at(i).kind == Kind::Time)
                keyText += ',' + query.value(i).toByteArray().rightJustified(9, '0');
            else if (i < key.size())
                keyText += ',' + query.value(i).toByteArray();
        }
        stored.insert(keyText, values);
    }

    for (const RecordedRow &row : rows) {
        QByteArray keyText;
        for (const QString &name : std::as_const(key))
            keyText += ',' + row.value(name);
        const auto found = stored.constFind(keyText);
        QVERIFY2(found != stored.constEnd(), keyText.constData());
        for (int i = 0; i < names.size(); ++i) {
            const QByteArray cell = row.value(names.at(i));
            const QVariant &value = found->at(i);
            QCOMPARE(value.isNull(), cell.isEmpty());
            const Kind kind = schema.columns.at(i).kind;
            if ((kind == Kind::Number || kind == Kind::Amount) && !cell.isEmpty())
                QVERIFY2(value.toDouble() == cell.toDouble(), keyText.constData());
            else if (kind == Kind::Text)
                QCOMPARE(value.toString().toUtf8(), cell);
        }
    }
    if (schema.columns.first().kind != Kind::Security)
        QCOMPARE(stored.size(), rows.size());
}

void tst_Importer::symbolsWithoutSecurityAreAdded()
{
    StoreConnection connection;
    QString error;
    QVERIFY(connection.open(m_recorded.path(), StoreConnection::ReadOnly, &error));
    QSqlQuery query(connection.database());
    QVERIFY(query.exec(QStringLiteral("SELECT SecurityName, SecurityType, (SELECT COUNT(*) FROM kline_1min "
                                      "WHERE kline_1min.SymbolId = securities.SymbolId) "
                                      "FROM securities WHERE Symbol = 'IF2003.CF'")));
    QVERIFY(query.next());
    QVERIFY(query.isNull(0));
    QVERIFY(query.isNull(1));
    QCOMPARE(query.value(2).toInt(), 12279);
}

void tst_Importer::sameFolderGivesSameBytes()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store"));
    const QByteArray expected = contentOf(m_recorded.path());
    QVERIFY(!expected.isEmpty());
    // First over what an import that was cut off has left, then over the store.
    QFile leftover(path + QStringLiteral(".importing"));
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.write(expected.left(expected.size() / 2));
    leftover.close();
    for (int i = 0; i < 2; ++i) {
        Notes notes;
        QCOMPARE(importError(QStringLiteral(LX_DATA_DIR), path, &notes), QString());
        QVERIFY(contentOf(path) == expected);
        progressRisesToTheEnd(notes);
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList { QStringLiteral("store") });
}

void tst_Importer::compressedFilesAreImported()
{
    RecordingFolder folder;
    const QString plain = folder.file("kline_daily");
    const QByteArray content = "Symbol,MDDate,OpenPx,HighPx,LowPx,ClosePx\n600000.SH,20230103,7.27,7.3,7.18,7.23\n";
    const gzFile compressed = gzopen(QFile::encodeName(plain + QStringLiteral(".gz")).constData(), "wb");
    QCOMPARE(gzwrite(compressed, content.constData(), unsigned(content.size())), content.size());
    gzclose(compressed);
    QVERIFY(QFile::remove(plain));
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    StoreConnection connection;
    QString error;
    QVERIFY(connection.open(folder.store(), StoreConnection::ReadOnly, &error));
    QSqlQuery query(connection.database());
    QVERIFY(query.exec(QStringLiteral("SELECT MDDate, ClosePx FROM kline_daily")));
    QVERIFY(query.next());
    QCOMPARE(query.value(0).toInt(), 20230103);
    QCOMPARE(query.value(1).toDouble(), 7.23);
}

void tst_Importer::absentColumnsReadAsNull()
{
    RecordingFolder folder;
    folder.write("kline_daily", "ClosePx,LowPx,HighPx,OpenPx,MDDate,Note,Symbol\n4,2,5,3,20230103,x,600000.SH\n");
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    StoreConnection connection;
    QString error;
    QVERIFY(connection.open(folder.store(), StoreConnection::ReadOnly, &error));
    QSqlQuery query(connection.database());
    QVERIFY(query.exec(QStringLiteral("SELECT OpenPx, HighPx, LowPx, ClosePx, TotalVolumeTrade FROM kline_daily")));
    QVERIFY(query.next());
    QCOMPARE(query.value(0).toDouble(), 3.0);
    QCOMPARE(query.value(1).toDouble(), 5.0);
    QCOMPARE(query.value(2).toDouble(), 2.0);
    QCOMPARE(query.value(3).toDouble(), 4.0);
    QVERIFY(query.isNull(4));
}

void tst_Importer::progressRisesToTheEnd(const Notes &notes)
{
    QCOMPARE(notes.percents.size(), StoreSchema::tables().size());
    for (const QVector<int> &percents : std::as_const(notes.percents)) {
        QVERIFY(std::is_sorted(percents.cbegin(), percents.cend()));
        QVERIFY(percents.size() > 20);
        QVERIFY(percents.first() <= 10);
        QVERIFY(percents.last() >= 99 && percents.last() <= 100);
    }
    QCOMPARE(notes.rows.value(QStringLiteral("kline_1min.csv.gz")), qint64(41319));
    QCOMPARE(notes.broken, QStringList());
}

void tst_Importer::brokenRowsAreReportedAndTheFileRefused_data()
{
    QTest::addColumn<QByteArray>("row");
    QTest::addColumn<QString>("reason");
    const auto add = [](const char *name, const char *row, const QString &reason) {
        QTest::newRow(name) << QByteArray(row) << reason;
    };
    add("too few cells", "600000.SH,20230104,093100000,1,1,1", QStringLiteral("6 cells instead of 10"));
    add("too many cells", "600000.SH,20230104,093100000,1,1,1,1,1,1,1,1", QStringLiteral("11 cells instead of 10"));
    add("no symbol", ",20230104,093100000,1,1,1,1,,,", QStringLiteral("Symbol is missing"));
    add("no market", "600000,20230104,093100000,1,1,1,1,,,", QStringLiteral("invalid Symbol \"600000\""));
    add("empty market", "600000.,20230104,093100000,1,1,1,1,,,", QStringLiteral("invalid Symbol \"600000.\""));
    add("no such day", "600000.SH,20230229,093100000,1,1,1,1,,,", QStringLiteral("invalid MDDate \"20230229\""));
    add("signed date", "600000.SH,+2023010,093100000,1,1,1,1,,,", QStringLiteral("invalid MDDate \"+2023010\""));
    add("no such time", "600000.SH,20230104,096000000,1,1,1,1,,,", QStringLiteral("invalid MDTime \"096000000\""));
    add("short time", "600000.SH,20230104,093100,1,1,1,1,,,", QStringLiteral("invalid MDTime \"093100\""));
    add("no close", "600000.SH,20230104,093100000,1,1,1,,,,", QStringLiteral("ClosePx is missing"));
    add("price is text", "600000.SH,20230104,093100000,1,1,1,x,,,", QStringLiteral("invalid ClosePx \"x\""));
    add("price is infinite", "600000.SH,20230104,093100000,inf,1,1,1,,,", QStringLiteral("invalid OpenPx \"inf\""));
    add("volume is not a number", "600000.SH,20230104,093100000,1,1,1,1,nan,,",
        QStringLiteral("invalid TotalVolumeTrade \"nan\""));
    add("negative price", "600000.SH,20230104,093100000,1,1,1,-1,,,", QStringLiteral("invalid ClosePx \"-1\""));
    add("negative volume", "600000.SH,20230104,093100000,1,1,1,1,-100,,",
        QStringLiteral("invalid TotalVolumeTrade \"-100\""));
    add("negative value", "600000.SH,20230104,093100000,1,1,1,1,100,-0.5,",
        QStringLiteral("invalid TotalValueTrade \"-0.5\""));
    add("high below low", "600000.SH,20230104,093100000,8,7.5,8.25,8,,,",
        QStringLiteral("HighPx 7.5 is below LowPx 8.25"));
    add("repeated bar", "600000.SH,20230103,093100000,2,2,2,2,,,", QStringLiteral("repeats the key of an earlier row"));
}

void tst_Importer::brokenRowsAreReportedAndTheFileRefused()
{
    QFETCH(QByteArray, row);
    QFETCH(QString, reason);
    RecordingFolder folder;
    folder.append("kline_1min",
                  "600000.SH,20230103,093100000,1,1,1,1,,,\n\n" + row + "\n600000.SH,20230105,093100000,3,3,3,3,,,\n");
    Notes notes;
    const QString error = importError(folder.path(), folder.store(), &notes);
    QCOMPARE(notes.broken, QStringList { QStringLiteral("kline_1min.csv:4: ") + reason });
    QCOMPARE(error, QStringLiteral("%1:4: %2").arg(folder.file("kline_1min"), reason));
    QVERIFY(!notes.rows.contains(QStringLiteral("kline_1min.csv")));
    QVERIFY(!QFile::exists(folder.store()));
}

void tst_Importer::onlySomeColumnsMayBeNegative()
{
    const QSet<QString> expected {
        QStringLiteral("NetAssets"), QStringLiteral("EPS"),    QStringLiteral("PE"),
        QStringLiteral("PB"),        QStringLiteral("Change"), QStringLiteral("ChangeRatio")
    };
    QSet<QString> accepted;
    for (const StoreSchema::Table &table : StoreSchema::tables()) {
        for (const StoreSchema::Column &tried : table.columns) {
            using StoreSchema::Kind;
            if (tried.kind != Kind::Number && tried.kind != Kind::Amount)
                continue;
            QByteArrayList header;
            QByteArrayList row;
            for (const StoreSchema::Column &column : table.columns) {
                header.append(column.name.toUtf8());
                const bool isNumber = column.kind == Kind::Number || column.kind == Kind::Amount;
                row.append(column.name == tried.name       ? "-1"
                               : isNumber                  ? "0"
                               : column.kind == Kind::Date ? "20230104"
                               : column.kind == Kind::Time ? "093100000"
                                                           : "600000.SH");
            }
            RecordingFolder folder;
            folder.write(table.name.toLatin1(), header.join(',') + '\n' + row.join(',') + '\n');
            const QString error = importError(folder.path(), folder.store());
            if (error.isEmpty())
                accepted.insert(tried.name);
            else
                QVERIFY2(error.endsWith(QStringLiteral(":2: invalid %1 \"-1\"").arg(tried.name)), qPrintable(error));
        }
    }
    QCOMPARE(accepted, expected);
}

void tst_Importer::severalBrokenRowsAreCounted()
{
    RecordingFolder folder;
    folder.append("kline_1min", "600000.SH,20230103,093100000,1,1,1,x,,,\n600000.SH,20230103,093200000,1,1,1,y,,,\n");
    Notes notes;
    QCOMPARE(importError(folder.path(), folder.store(), &notes),
             folder.file("kline_1min") + QStringLiteral(":2: invalid ClosePx \"x\" (the first of 2 broken rows)"));
    QCOMPARE(notes.broken.size(), 2);
}

void tst_Importer::failureLeavesTheOldStore_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<QString>("reason");
    QTest::newRow("folder is missing") << QStringLiteral("folder") << QStringLiteral("no such folder");
    QTest::newRow("file is missing") << QStringLiteral("file") << QStringLiteral("no file kline_1min.csv");
    QTest::newRow("file is a folder") << QStringLiteral("directory")
                                      << QStringLiteral("kline_1min.csv: a folder, not a file");
    QTest::newRow("file is a dangling link")
        << QStringLiteral("link") << QStringLiteral("kline_1min.csv: a link to a missing file");
    QTest::newRow("file is both plain and compressed")
        << QStringLiteral("both") << QStringLiteral("kline_1min.csv: there is also kline_1min.csv.gz");
    QTest::newRow("broken row") << QStringLiteral("row") << QStringLiteral("kline_1min.csv:2: 1 cells instead of 10");
    // The unbalanced quotation mark would swallow the rows after it.
    QTest::newRow("unterminated quote") << QStringLiteral("quote")
                                        << QStringLiteral("kline_1min.csv:2: the file ends within a quoted cell");
    QTest::newRow("endless line") << QStringLiteral("line")
                                  << QStringLiteral("kline_1min.csv:2: a record of more than");
    QTest::newRow("file is empty") << QStringLiteral("empty") << QStringLiteral("kline_1min.csv: the file is empty");
    QTest::newRow("column is missing") << QStringLiteral("column")
                                       << QStringLiteral("kline_1min.csv: the column ClosePx is missing");
    QTest::newRow("archive is cut off") << QStringLiteral("archive") << QStringLiteral("kline_1min.csv.gz: ");
}

void tst_Importer::failureLeavesTheOldStore()
{
    QFETCH(QString, damage);
    QFETCH(QString, reason);
    RecordingFolder folder;
    folder.append("kline_daily", "600000.SH,20230103,7.27,7.3,7.18,7.23,,23161235,167457792\n");
    QTemporaryDir place;
    const QString store = place.filePath(QStringLiteral("store"));
    QCOMPARE(importError(folder.path(), store), QString());
    const QByteArray before = contentOf(store);

    folder.append("kline_daily", "600000.SH,20230104,7.27,7.3,7.18,7.23,,23161235,167457792\n");
    const QString file = folder.file("kline_1min");
    QString path = folder.path();
    if (damage == QStringLiteral("folder")) {
        path += QStringLiteral("/nowhere");
    } else if (damage == QStringLiteral("empty")) {
        folder.write("kline_1min", QByteArray());
    } else if (damage == QStringLiteral("column")) {
        folder.write("kline_1min", "Symbol,MDDate,MDTime,OpenPx,HighPx,LowPx\n");
    } else if (damage == QStringLiteral("row")) {
        folder.append("kline_1min", "x\n");
    } else if (damage == QStringLiteral("quote")) {
        folder.append("kline_1min",
                      "\"600000.SH,20230103,093100000,1,1,1,1,,,\n600000.SH,20230103,093200000,1,1,1,1,,,\n");
    } else if (damage == QStringLiteral("line")) {
        folder.append("kline_1min", QByteArray(3 * CsvReader::MaxRecordSize, 'x'));
    } else if (damage == QStringLiteral("both")) {
        QVERIFY(QFile::copy(file, file + QStringLiteral(".gz")));
    } else {
        QVERIFY(QFile::remove(file));
        if (damage == QStringLiteral("directory")) {
            QVERIFY(QDir().mkdir(file));
        } else if (damage == QStringLiteral("link")) {
            QVERIFY(QFile::link(folder.file("nothing"), file));
        } else if (damage == QStringLiteral("archive")) {
            QFile archive(file + QStringLiteral(".gz"));
            QVERIFY(archive.open(QIODevice::WriteOnly));
            const QByteArray whole = contentOf(QStringLiteral(LX_DATA_DIR "/kline_1min.csv.gz"));
            archive.write(whole.left(whole.size() / 2));
        }
    }
    const QString error = importError(path, store);
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY(contentOf(store) == before);
    QCOMPARE(QDir(place.path()).entryList(QDir::Files | QDir::Hidden), QStringList { QStringLiteral("store") });
}

void tst_Importer::foreignFileIsNotOverwritten()
{
    RecordingFolder folder;
    QFile file(folder.store());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("other content");
    file.close();
    QVERIFY(importError(folder.path(), folder.store()).contains(QStringLiteral("not a store")));
    QCOMPARE(contentOf(folder.store()), QByteArray("other content"));
}

void tst_Importer::olderStoreIsReplaced()
{
    RecordingFolder folder;
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    const QByteArray current = contentOf(folder.store());
    {
        StoreConnection connection;
        QString error;
        QVERIFY(connection.open(folder.store(), StoreConnection::ReadWrite, &error));
        QVERIFY(connection.execute(QStringLiteral("PRAGMA user_version = 0"), &error));
    }
    QVERIFY(contentOf(folder.store()) != current);
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    QVERIFY(contentOf(folder.store()) == current);
}

void tst_Importer::concurrentImportIsRefused()
{
    RecordingFolder folder;
    QLockFile lock(folder.store() + QStringLiteral(".lock"));
    QVERIFY(lock.tryLock());
    QVERIFY(importError(folder.path(), folder.store()).contains(QStringLiteral("another import")));
    lock.unlock();
    QCOMPARE(importError(folder.path(), folder.store()), QString());
}

void tst_Importer::killedImportLeavesTheOldStore()
{
    RecordingFolder folder;
    const QByteArray row = "600000.SH,20230103,093100000,1,1,1,1,,,\n";
    folder.append("kline_1min", row);
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    const QByteArray before = contentOf(folder.store());

    // A pipe in place of the last file holds the import up where the rest of the new store is built already.
    const QString file = folder.file("kline_1min");
    const QByteArray text = contentOf(file);
    QVERIFY(QFile::remove(file));
    QCOMPARE(::mkfifo(QFile::encodeName(file).constData(), 0600), 0);
    folder.append("kline_daily", "600000.SH,20230104,7.27,7.3,7.18,7.23,,23161235,167457792\n");

    QProcess import;
    import.start(QStringLiteral(MARKETD), { QStringLiteral("import"), folder.path(), folder.store() });
    QVERIFY(import.waitForStarted());
    int pipe = -1;
    QTRY_VERIFY_WITH_TIMEOUT((pipe = ::open(QFile::encodeName(file).constData(), O_WRONLY | O_NONBLOCK)) >= 0, 30000);
    QCOMPARE(::write(pipe, text.constData(), size_t(text.size())), ssize_t(text.size()));
    QVERIFY(QFile::exists(folder.store() + QStringLiteral(".importing")));
    QCOMPARE(import.state(), QProcess::Running);
    import.kill();
    QVERIFY(import.waitForFinished());
    QCOMPARE(import.exitStatus(), QProcess::CrashExit);
    ::close(pipe);
    QVERIFY(contentOf(folder.store()) == before);

    // Its leftovers do not prevent the next import.
    QVERIFY(QFile::remove(file));
    folder.write("kline_1min", text);
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    QVERIFY(contentOf(folder.store()) != before);
    const QStringList left = QDir(folder.path()).entryList({ QStringLiteral("store*") }, QDir::Files | QDir::Hidden);
    QCOMPARE(left, QStringList { QStringLiteral("store") });
}

void tst_Importer::fullDiskLeavesTheOldStore()
{
    RecordingFolder folder;
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    const QByteArray before = contentOf(folder.store());
    // Files cannot grow beyond a limit that the recorded data exceeds.
    QProcess import;
    import.start(QStringLiteral("/bin/sh"),
                 { QStringLiteral("-c"), QStringLiteral("trap '' XFSZ; ulimit -f 200; exec \"$@\""),
                   QStringLiteral("sh"), QStringLiteral(MARKETD), QStringLiteral("import"), QStringLiteral(LX_DATA_DIR),
                   folder.store() });
    QVERIFY(import.waitForFinished());
    const QByteArray output = import.readAllStandardError();
    QVERIFY2(import.exitCode() == 1, output);
    QVERIFY2(output.contains("marketd: " + folder.store().toUtf8() + ": "), output);
    QVERIFY(contentOf(folder.store()) == before);
    QVERIFY(!QFile::exists(folder.store() + QStringLiteral(".importing")));
}

void tst_Importer::unwritableOutputIsAFailure_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : { "--help", "--version", "import --help", "record --help", "serve --help" })
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void tst_Importer::unwritableOutputIsAFailure()
{
    QFETCH(QString, arguments);
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(QStringLiteral(MARKETD), arguments.split(QLatin1Char(' ')));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    const QByteArray output = process.readAllStandardError();
    QVERIFY2(output.contains("No space left on device"), output);
}

void tst_Importer::commandLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output");
    const auto add = [](const char *name, const char *arguments, int exitCode, const QString &output) {
        QTest::newRow(name) << QString::fromLatin1(arguments) << exitCode << output;
    };
    add("help", "--help", 0, QStringLiteral("import "));
    add("version", "--version", 0, QStringLiteral("marketd "));
    add("no command", "", 2, QStringLiteral("a command is missing"));
    add("unknown command", "export", 2, QStringLiteral("unknown command \"export\""));
    add("unknown option", "--frob", 2, QStringLiteral("frob"));
    add("import help", "import --help", 0, QStringLiteral("STORE"));
    add("import without arguments", "import", 2, QStringLiteral("missing argument: DIR STORE"));
    add("import without store", "import DATA", 2, QStringLiteral("missing argument: STORE"));
    add("import with too much", "import DATA STORE more", 2, QStringLiteral("unexpected argument \"more\""));
    add("import with unknown option", "import --frob DATA STORE", 2, QStringLiteral("frob"));
    add("import from nowhere", "import DATA/nowhere STORE", 2, QStringLiteral("no such folder"));
    add("import of an incomplete folder", "import EMPTY STORE", 2, QStringLiteral("no file securities.csv"));
    add("import to nowhere", "import DATA EMPTY/nowhere/store", 1, QStringLiteral("cannot write"));
    add("import over a folder", "import DATA EMPTY", 1, QStringLiteral("not a store"));
    add("import", "import DATA STORE", 0, QStringLiteral("trading_days.csv: 1 rows"));
}

void tst_Importer::commandLine()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    RecordingFolder folder;
    folder.append("trading_days", "20230103\n");
    QTemporaryDir empty;
    arguments.replace(QStringLiteral("DATA"), folder.path());
    arguments.replace(QStringLiteral("STORE"), folder.store());
    arguments.replace(QStringLiteral("EMPTY"), empty.path());

    QProcess process;
    process.start(QStringLiteral(MARKETD), arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), exitCode);
    // Requested output goes to standard output, everything else to standard error.
    const bool requested =
        arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("--version"));
    const QString text =
        QString::fromUtf8(requested ? process.readAllStandardOutput() : process.readAllStandardError());
    QVERIFY2(text.contains(output), qPrintable(text));
    QCOMPARE(QFile::exists(folder.store()), exitCode == 0 && !requested);
}

void tst_Importer::commandReportsOnStderr()
{
    RecordingFolder folder;
    QByteArray rows;
    for (int i = 0; i < 30; ++i)
        rows += "600000.SH,20230103,093100000,1,1,1,x,,,\n";
    folder.append("kline_1min", rows);
    QProcess process;
    process.start(QStringLiteral(MARKETD), { QStringLiteral("import"), folder.path(), folder.store() });
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
    const QByteArray output = process.readAllStandardError();
    QVERIFY2(output.contains("kline_1min.csv:2: invalid ClosePx \"x\"\n"), output);
    QCOMPARE(output.count("invalid ClosePx"), 10 + 1);
    QVERIFY2(output.contains("\nkline_1min.csv: further broken rows: 20\n"), output);
    QVERIFY2(output.endsWith("kline_1min.csv:2: invalid ClosePx \"x\" (the first of 30 broken rows)\n"), output);
    QVERIFY(!output.contains('\r')); // no progress bar outside a terminal
}

void tst_Importer::terminalShowsAProgressBar()
{
    RecordingFolder folder;
    folder.append("trading_days", "20230103\n");
    QProcess terminal;
    terminal.start(QStringLiteral("script"),
                   { QStringLiteral("-qec"), QStringLiteral(MARKETD " import %1 %2").arg(folder.path(), folder.store()),
                     QStringLiteral("/dev/null") });
    QVERIFY(terminal.waitForFinished());
    QCOMPARE(terminal.exitCode(), 0);
    const QByteArray output = terminal.readAllStandardOutput();
    const QByteArray full = "[" + QByteArray(40, '#') + "] 100 %";
    const int bar = output.indexOf("\r\x1b[Ktrading_days.csv  ");
    QVERIFY2(bar >= 0 && output.indexOf(full, bar) > bar, output);
    // Then its line is cleared, and the result takes its place.
    QVERIFY2(output.indexOf("\r\x1b[Ktrading_days.csv: 1 rows", bar) > bar, output);
}

QTEST_GUILESS_MAIN(tst_Importer)
#include "tst_importer.moc"
