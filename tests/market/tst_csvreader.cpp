#include "csvreader.h"

#include <QtTest>

#include <sys/resource.h>
#include <zlib.h>

namespace {

struct Line
{
    qint64 number;
    QVector<QByteArray> cells;
};

bool operator==(const Line &a, const Line &b)
{
    return a.number == b.number && a.cells == b.cells;
}

using Lines = QVector<Line>;

QByteArray gzip(const QByteArray &plain)
{
    z_stream stream {};
    constexpr int GzipFormat = 16;
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + GzipFormat, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        qFatal("deflateInit2");
    const uLong bound = deflateBound(&stream, static_cast<uLong>(plain.size()));
    QByteArray packed(static_cast<int>(bound), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(plain.constData()));
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef *>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END)
        qFatal("deflate");
    packed.truncate(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

// Of many sizes and numbers of cells, with a quoted line break here and there.
QVector<QByteArray> raggedRecord(int number)
{
    QVector<QByteArray> cells;
    for (int i = 0; i <= number % 7; ++i)
        cells.append(QByteArray(number * 13 % (i % 2 ? 60 : 9), static_cast<char>('a' + (number + i) % 26)));
    if (number % 11 == 0)
        cells.last().append("\n");
    cells.append(QByteArray::number(number));
    return cells;
}

QByteArray raggedFile(int records)
{
    QByteArray content = "Number\n";
    for (int i = 0; i < records; ++i) {
        const QVector<QByteArray> cells = raggedRecord(i);
        for (int cell = 0; cell < cells.size(); ++cell)
            content += (cell > 0 ? ",\"" : "\"") + cells.at(cell) + '"';
        content += '\n';
    }
    return content;
}

} // namespace

Q_DECLARE_METATYPE(Lines)

class tst_CsvReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void records_data();
    void records();
    void header();
    void manyBlocks_data();
    void manyBlocks();
    void cellsOfEarlierRecordsLeaveNoTrace();
    void copiesOfCellsStay();
    void thereIsNoRecordBeforeTheFirstOrAfterTheLast();
    void malformedFile_data();
    void malformedFile();
    void unpackedSizeDoesNotMatter();
    void damagedFile_data();
    void damagedFile();
    void unreadableFile_data();
    void unreadableFile();
    void readerCanBeUsedAgain();
    void recordingsCanBeRead_data();
    void recordingsCanBeRead();

private:
    QString file(const QByteArray &content);

    QTemporaryDir m_folder;
    int m_files = 0;
};

QString tst_CsvReader::file(const QByteArray &content)
{
    QFile out(m_folder.filePath(QString::number(++m_files)));
    if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(out.fileName()));
    return out.fileName();
}

void tst_CsvReader::records_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Lines>("expected");

    const Lines two { { 2, { "1", "2" } }, { 3, { "3", "4" } } };
    QTest::newRow("line feeds") << QByteArray("a,b\n1,2\n3,4\n") << two;
    QTest::newRow("carriage return and line feed") << QByteArray("a,b\r\n1,2\r\n3,4\r\n") << two;
    QTest::newRow("missing final line feed") << QByteArray("a,b\n1,2\n3,4") << two;
    QTest::newRow("header alone") << QByteArray("a,b\n") << Lines();
    QTest::newRow("blank lines") << QByteArray("a,b\n\n1,2\n\n\n3,4\n\n")
                                 << Lines { { 3, { "1", "2" } }, { 6, { "3", "4" } } };
    QTest::newRow("blank lines of CR LF")
        << QByteArray("a,b\r\n\r\n1,2\r\n\r\n\r\n3,4\r\n") << Lines { { 3, { "1", "2" } }, { 6, { "3", "4" } } };
    QTest::newRow("blank line before the header") << QByteArray("\na,b\n1,2\n") << Lines { { 3, { "1", "2" } } };
    QTest::newRow("quoted comma") << QByteArray("a,b\n\"1,5\",2\n") << Lines { { 2, { "1,5", "2" } } };
    QTest::newRow("quoted quote") << QByteArray("a,b\n\"say \"\"x\"\"\",2\n") << Lines { { 2, { "say \"x\"", "2" } } };
    QTest::newRow("quoted line break") << QByteArray("a,b\n\"1\n5\",\"\n\"\n3,4\n")
                                       << Lines { { 2, { "1\n5", "\n" } }, { 5, { "3", "4" } } };
    QTest::newRow("quoted line break of CR LF")
        << QByteArray("a,b\r\n\"1\r\n5\",2\r\n3,4\r\n") << Lines { { 2, { "1\r\n5", "2" } }, { 4, { "3", "4" } } };
    QTest::newRow("empty cells") << QByteArray("a,b\n,\n1,\n") << Lines { { 2, { "", "" } }, { 3, { "1", "" } } };
    QTest::newRow("short and long records")
        << QByteArray("a,b\n1\n1,2,3\n") << Lines { { 2, { "1" } }, { 3, { "1", "2", "3" } } };
    QTest::newRow("UTF-8") << QByteArray("a,b\n万  科Ａ,2\n") << Lines { { 2, { "万  科Ａ", "2" } } };
}

void tst_CsvReader::records()
{
    QFETCH(QByteArray, content);
    QFETCH(Lines, expected);
    for (const bool packed : { false, true }) {
        CsvReader reader;
        QString error;
        QVERIFY2(reader.open(file(packed ? gzip(content) : content), &error), qPrintable(error));
        Lines lines;
        while (reader.next(&error))
            lines.append({ reader.line(), reader.cells() });
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(lines, expected);
        QVERIFY(!reader.next(&error));
    }
}

void tst_CsvReader::header()
{
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(file("\xef\xbb\xbfSymbol,\"Last, Px\",名称\n1,2,3\n"), &error));
    const QVector<QString> names { QStringLiteral("Symbol"), QStringLiteral("Last, Px"), QStringLiteral("名称") };
    QCOMPARE(reader.header(), names);
    QCOMPARE(reader.column(QStringLiteral("Symbol")), 0);
    QCOMPARE(reader.column(QStringLiteral("名称")), 2);
    QCOMPARE(reader.column(QStringLiteral("symbol")), -1);
    QCOMPARE(reader.line(), qint64(1));
}

void tst_CsvReader::manyBlocks_data()
{
    QTest::addColumn<QByteArray>("lineEnd");
    QTest::newRow("line feeds") << QByteArray("\n");
    QTest::newRow("carriage return and line feed") << QByteArray("\r\n"); // some are cut in two between blocks
}

void tst_CsvReader::manyBlocks()
{
    constexpr int Records = 100000;
    QFETCH(QByteArray, lineEnd);
    QByteArray content = "Number,Square" + lineEnd;
    for (int i = 0; i < Records; ++i)
        content += QByteArray::number(i) + ',' + QByteArray::number(qint64(i) * i) + lineEnd;
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(file(gzip(content)), &error));
    int records = 0;
    for (; reader.next(&error); ++records) {
        if (reader.cells().size() != 2 || reader.cells().at(0).toInt() != records
            || reader.cells().at(1).toLongLong() != qint64(records) * records || reader.line() != records + 2)
            QFAIL(qPrintable(QStringLiteral("record %1 at line %2").arg(records).arg(reader.line())));
    }
    QCOMPARE(error, QString());
    QCOMPARE(records, Records);
}

void tst_CsvReader::cellsOfEarlierRecordsLeaveNoTrace()
{
    constexpr int Records = 20000;
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(file(raggedFile(Records)), &error));
    for (int i = 0; i < Records; ++i) {
        QVERIFY(reader.next(&error));
        QCOMPARE(reader.cells(), raggedRecord(i));
    }
    QVERIFY(!reader.next(&error));
}

void tst_CsvReader::copiesOfCellsStay()
{
    constexpr int Records = 20000;
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(file(raggedFile(Records)), &error));
    QVector<QVector<QByteArray>> records;
    QVector<QByteArray> cells;
    while (reader.next(&error)) {
        records.append(reader.cells());
        cells.append(reader.cells().constFirst());
    }
    QCOMPARE(records.size(), Records);
    for (int i = 0; i < Records; ++i) {
        QCOMPARE(records.at(i), raggedRecord(i));
        QCOMPARE(cells.at(i), raggedRecord(i).constFirst());
    }
}

void tst_CsvReader::thereIsNoRecordBeforeTheFirstOrAfterTheLast()
{
    CsvReader reader;
    QString error;
    QVERIFY(reader.cells().isEmpty());
    QVERIFY(reader.open(file("Number\n1\n"), &error));
    QVERIFY(reader.next(&error));
    QVERIFY(!reader.next(&error));
    QVERIFY(reader.cells().isEmpty());
    QVERIFY(!reader.next(&error));
}

void tst_CsvReader::malformedFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("records"); // before the malformed one
    QTest::addColumn<QString>("reason");

    const auto add = [](const char *name, const QByteArray &content, int records, const char *reason) {
        QTest::newRow(name) << content << records << QString::fromLatin1(reason);
    };
    const QByteArray large(CsvReader::MaxRecordSize, 'x');
    add("quote that is never closed", "a,b\n1,2\n\"3,4\n5,6\n", 1, ":3: the file ends within a quoted cell");
    add("quote that a later one closes", "a,b\n1,2\n\"3,4\n5,\"6\"\n7,8\n", 1, ":3: a quotation mark within a cell");
    add("quote in a cell", "a,b\n1,2\n3,4\"\n5,6\n", 1, ":3: a quotation mark within a cell");
    add("characters after a quoted cell", "a,b\n\"1\"2,3\n", 0, ":2: a quotation mark within a cell");
    add("line that is too long", "a,b\n1,2\n" + large + "\n5,6\n", 1, ":3: a record of more than 1048576 bytes");
    add("last line that is too long", "a,b\n1,2\n\n" + large, 1, ":4: a record of more than 1048576 bytes");
    add("endless line", "a,b\n1,2\n" + large + large, 1, ":3: a record of more than 1048576 bytes");
    add("endless line of empty cells", "a,b\n" + QByteArray(2 * large.size(), ','), 0, ":2: a record of more than");
    add("endless quoted cell", "a,b\n\"" + QByteArray(2 * large.size(), '\n'), 0, ":2: a record of more than");
}

void tst_CsvReader::malformedFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, records);
    QFETCH(QString, reason);
    const QString path = file(content);
    CsvReader reader;
    QString error;
    QVERIFY2(reader.open(path, &error), qPrintable(error));
    int read = 0;
    while (reader.next(&error))
        ++read;
    QVERIFY2(error.startsWith(path + reason), qPrintable(error));
    QCOMPARE(read, records);
    QVERIFY(!reader.next(&error));
}

void tst_CsvReader::unpackedSizeDoesNotMatter()
{
    // 256 MB of zeros in 256 KB.
    const QString path = m_folder.filePath(QStringLiteral("bomb.csv.gz"));
    const QByteArray zeros(1 << 20, '\0');
    const gzFile bomb = gzopen(QFile::encodeName(path).constData(), "wb");
    QVERIFY(gzputs(bomb, "a,b\n1,2\n") > 0);
    for (int i = 0; i < 256; ++i)
        QVERIFY(gzwrite(bomb, zeros.constData(), unsigned(zeros.size())) > 0);
    gzclose(bomb);

    rusage before;
    getrusage(RUSAGE_SELF, &before);
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(path, &error));
    QVERIFY(reader.next(&error));
    QVERIFY(!reader.next(&error));
    QVERIFY2(error.contains(QStringLiteral(":3: a record of more than")), qPrintable(error));
    rusage after;
    getrusage(RUSAGE_SELF, &after);
    QVERIFY(after.ru_maxrss - before.ru_maxrss < 64 * 1024); // KB
}

void tst_CsvReader::damagedFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QByteArray plain = "Number,Square\n";
    for (int i = 0; i < 20000; ++i)
        plain += QByteArray::number(i) + ',' + QByteArray::number(qint64(i) * i) + '\n';
    const QByteArray whole = gzip(plain);
    QTest::newRow("cut in the middle") << whole.left(whole.size() / 2);
    QTest::newRow("checksum cut off") << whole.left(whole.size() - 8);
    QTest::newRow("checksum wrong") << QByteArray(whole).replace(whole.size() - 8, 4, "zzzz");
}

void tst_CsvReader::damagedFile()
{
    QFETCH(QByteArray, content);
    const QString path = file(content);
    CsvReader reader;
    QString error;
    QVERIFY(reader.open(path, &error));
    while (reader.next(&error)) {
        // Never half a record.
        QCOMPARE(reader.cells().size(), 2);
        const qint64 number = reader.cells().at(0).toLongLong();
        QCOMPARE(reader.cells().at(1).toLongLong(), number * number);
    }
    QVERIFY2(error.startsWith(path), qPrintable(error));
    QCOMPARE(error.count(path), 1);
    QVERIFY(!reader.next(&error));
}

void tst_CsvReader::unreadableFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing"));
    QTest::newRow("empty") << file("");
    QTest::newRow("empty when unpacked") << file(gzip(""));
    QTest::newRow("blank lines alone") << file("\n\n\r\n");
    QTest::newRow("cut within the header") << file(gzip("Symbol,Name\n").left(14));
    QTest::newRow("folder") << m_folder.path();
}

void tst_CsvReader::unreadableFile()
{
    QFETCH(QString, path);
    CsvReader reader;
    QString error;
    QVERIFY(!reader.open(path, &error));
    QVERIFY2(error.startsWith(path), qPrintable(error));
    QVERIFY(!reader.next(&error));
}

void tst_CsvReader::readerCanBeUsedAgain()
{
    CsvReader reader;
    QString error;
    QVERIFY(!reader.open(m_folder.filePath(QStringLiteral("missing")), &error));
    QVERIFY(reader.open(file("a\n1\n2\n"), &error));
    QVERIFY(reader.next(&error));
    QVERIFY(reader.open(file("b\n3\n"), &error));
    QCOMPARE(reader.column(QStringLiteral("a")), -1);
    QVERIFY(reader.next(&error));
    QCOMPARE(reader.cells(), QVector<QByteArray> { "3" });
    QCOMPARE(reader.line(), qint64(2));
}

void tst_CsvReader::recordingsCanBeRead_data()
{
    QTest::addColumn<QString>("path");
    const QDir folder(QStringLiteral(LX_DATA_DIR));
    const QFileInfoList recordings =
        folder.entryInfoList({ QStringLiteral("*.csv"), QStringLiteral("*.csv.gz") }, QDir::Files);
    QVERIFY(!recordings.isEmpty());
    for (const QFileInfo &recording : recordings)
        QTest::newRow(qPrintable(recording.fileName())) << recording.filePath();
}

void tst_CsvReader::recordingsCanBeRead()
{
    QFETCH(QString, path);
    CsvReader reader;
    QString error;
    QVERIFY2(reader.open(path, &error), qPrintable(error));
    const int columns = reader.header().size();
    int records = 0;
    for (; reader.next(&error); ++records) {
        if (reader.cells().size() != columns)
            QFAIL(qPrintable(QStringLiteral("line %1 has %2 cells").arg(reader.line()).arg(reader.cells().size())));
    }
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY(records > 0);
}

QTEST_GUILESS_MAIN(tst_CsvReader)
#include "tst_csvreader.moc"
