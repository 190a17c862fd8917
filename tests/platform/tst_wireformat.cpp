#include "qtcbor.h"
#include "wiretesting.h"

#include <csvrecording.h>

#include <QCborArray>
#include <QCborValue>
#include <QDir>
#include <QtTest>

#include <limits>

using WireTesting::body;
using WireTesting::difference;

class tst_WireFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void documentedExample();
    void values_data();
    void values();
    void notANumberKeepsItsBits_data();
    void notANumberKeepsItsBits();
    void byteOrderMarkStays_data();
    void byteOrderMarkStays();
    void bodies_data();
    void bodies();
    void plainBodyIsNotAPackedBody();
    void envelopes_data();
    void envelopes();
    void recordedMessages_data();
    void recordedMessages();
    void runsOfNumbers_data();
    void runsOfNumbers();
    void equalKeysAreOneBlock();
    void layoutIsSharedBetweenMessages();
    void layoutIsSharedBetweenRows();
    void readerDropsTheOldestKeys();
    void readerDoesNotCacheLongKeys();
    void writerDropsTheOldestLayout();
    void writerDoesNotCacheLongKeys();
};

static QString fromUtf16(std::initializer_list<ushort> units)
{
    QString text; // QString::fromUtf16() would remove a byte order mark
    for (const ushort unit : units)
        text.append(QChar(unit));
    return text;
}

static double fromBits(quint64 bits)
{
    double number;
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

static LxWireMessage message(const QVariant &body)
{
    LxWireMessage message;
    message.type = QStringLiteral("T");
    message.body = body;
    return message;
}

static QByteArray written(const LxWireMessage &message, LxWireWriter *writer)
{
    QString error;
    const QByteArray bytes = writer->write(message, &error);
    if (bytes.isEmpty())
        qWarning() << error;
    return bytes;
}

static QByteArray written(const LxWireMessage &message)
{
    LxWireWriter writer;
    return written(message, &writer);
}

static LxWireMessage readBack(const QByteArray &bytes, LxWireReader *reader)
{
    LxWireMessage message;
    QString error;
    if (!WireTesting::read(reader, bytes, &message, &error))
        qWarning() << error;
    return message;
}

static LxWireMessage readBack(const QByteArray &bytes)
{
    LxWireReader reader;
    return readBack(bytes, &reader);
}

// Empty if the message is encoded as by Qt's CBOR classes and decoded without a change.
static QString crossing(const LxWireMessage &message)
{
    const QByteArray bytes = written(message);
    if (bytes.isEmpty())
        return QStringLiteral("not written");
    QString found = difference(message, readBack(bytes));
    if (!found.isEmpty())
        return found;

    const QByteArray expected = QtCbor::encode(message);
    if (bytes != expected)
        return QStringLiteral("%1 instead of %2")
            .arg(QString::fromLatin1(bytes.toHex()), QString::fromLatin1(expected.toHex()));
    LxWireReader reader;
    LxWireWriter writer;
    return WireTesting::problem(bytes, &reader, &writer);
}

void tst_WireFormat::documentedExample()
{
    // As in docs/wire.md.
    LxWireMessage quote;
    quote.type = QStringLiteral("MDMARKETRECORD");
    quote.epoch = 1700000000000;
    quote.sequence = 42;
    quote.body = body({ { { QStringLiteral("Symbol"), QStringLiteral("LastPx"), QStringLiteral("OpenPx"),
                            QStringLiteral("NumTrades") },
                          { QStringLiteral("600519.SH"), 1810.5, 1800.0, qlonglong(1000) } } });
    const QByteArray bytes = QByteArray::fromHex("86" // a message
                                                 "01" // version
                                                 "6e4d444d41524b45545245434f5244" // "MDMARKETRECORD"
                                                 "f6" // no client
                                                 "1b0000018bcfe56800" // epoch
                                                 "182a" // sequence
                                                 "da4c585042" // a packed body
                                                 "82" // of two parts
                                                 "81" // one key block
                                                 "d818"
                                                 "5820" // embedded CBOR of 32 bytes
                                                 "84" // four keys
                                                 "6653796d626f6c"
                                                 "664c6173745078"
                                                 "664f70656e5078"
                                                 "694e756d547261646573"
                                                 "81" // one row
                                                 "84" // of a block number and three items
                                                 "00" // the first key block
                                                 "693630303531392e5348" // "600519.SH"
                                                 "d856"
                                                 "50"
                                                 "00000000004a9c40"
                                                 "0000000000209c40" // a run of two doubles
                                                 "1903e8"); // 1000
    QCOMPARE(written(quote).toHex(), bytes.toHex());
    QCOMPARE(difference(readBack(bytes), quote), QString());
}

void tst_WireFormat::values_data()
{
    QTest::addColumn<QVariant>("value");

    QTest::newRow("invalid") << QVariant();
    QTest::newRow("false") << QVariant(false);
    QTest::newRow("true") << QVariant(true);

    const auto number = [](const char *name, auto value) { QTest::newRow(name) << QVariant(value); };
    number("int 0", 0);
    number("int -1", -1);
    number("int, least", std::numeric_limits<int>::min());
    number("int, greatest", std::numeric_limits<int>::max());
    for (const qlonglong each : { 0LL, 23LL, 24LL, 255LL, 256LL, 65535LL, 65536LL, 4294967295LL, 4294967296LL,
                                  std::numeric_limits<qlonglong>::max() }) {
        QTest::addRow("64-bit int %lld", each) << QVariant(each);
        QTest::addRow("64-bit int %lld", ~each) << QVariant(~each);
    }
    number("double 0", 0.0);
    number("double -0", -0.0);
    number("double 1.5", 1.5);
    number("double 3, which an integer could hold", 3.0);
    number("double, greatest", std::numeric_limits<double>::max());
    number("double, least above 0", std::numeric_limits<double>::denorm_min());
    number("double, infinite", std::numeric_limits<double>::infinity());
    number("double, infinite downwards", -std::numeric_limits<double>::infinity());
    number("double, no number", fromBits(0x7ff8000000000000));

    const auto text = [](const char *name, const QString &value) { QTest::newRow(name) << QVariant(value); };
    text("null text", QString());
    QTest::newRow("string variant without a value") << QVariant(QVariant::String);
    text("empty text", QString::fromLatin1(""));
    for (const int length : { 1, 23, 24, 255, 256, 65535, 65536 })
        QTest::addRow("text of %d characters", length) << QVariant(QString(length, QLatin1Char('x')));
    text("text with a zero", fromUtf16({ 'a', 0, 'b' }));
    text("text at the end of ASCII", fromUtf16({ 0x7f }));
    text("text of the first character behind ASCII", fromUtf16({ 0x80 }));
    text("text beyond ASCII", fromUtf16({ 'a', 0xe4 }));
    text("Chinese text", QStringLiteral("贵州茅台"));
    text("text of characters beyond 16 bits", fromUtf16({ 0xd83d, 0xde00, 0xdbff, 0xdfff }));
    text("text of what is no character", fromUtf16({ 0xfffe, 0xffff }));
    text("lone high surrogate", fromUtf16({ 0xd83d }));
    text("lone low surrogate", fromUtf16({ 'a', 0xde00, 'b' }));
    text("surrogates in the wrong order", fromUtf16({ 0xde00, 0xd83d }));
    text("two low surrogates", fromUtf16({ 0xdc00, 0xdc01 }));
    text("two high surrogates", fromUtf16({ 0xd800, 0xd801 }));
    text("high surrogate before a pair", fromUtf16({ 0xd83d, 0xd83d, 0xde00 }));

    QTest::newRow("string list, empty") << QVariant(QStringList());
    QTest::newRow("string list") << QVariant(
        QStringList { QString(), QString::fromLatin1(""), QStringLiteral("万"), fromUtf16({ 0xd83d }) });
    QTest::newRow("list, empty") << QVariant(QVariantList());
    QTest::newRow("list") << QVariant(QVariantList { 1, 2LL, 2.5, 2.5, true, QString(), QVariant(),
                                                     QStringList { QStringLiteral("a") }, QVariantList { 1 } });
    QTest::newRow("list of strings") << QVariant(QVariantList { QStringLiteral("a"), QStringLiteral("b") });
    QTest::newRow("list of 30 ints") << QVariant(QVariantList(QVector<QVariant>(30, QVariant(7)).toList()));
    QTest::newRow("map, empty") << QVariant(QVariantMap());
    const QVariantMap inner { { QStringLiteral("n"), 1 } };
    QTest::newRow("map") << QVariant(QVariantMap { { QStringLiteral("a"), 1 },
                                                   { QStringLiteral("万"), 2LL },
                                                   { QString(), 3.5 },
                                                   { fromUtf16({ 0xdc00 }), QVariant() },
                                                   { QStringLiteral("m"), inner } });
    QTest::newRow("map with an empty key") << QVariant(QVariantMap { { QString::fromLatin1(""), 1 } });
    for (const QVariant::Type type : { QVariant::Bool, QVariant::Int, QVariant::LongLong, QVariant::Double,
                                       QVariant::StringList, QVariant::List, QVariant::Map })
        QTest::addRow("null %s", QVariant::typeToName(type)) << QVariant(type);

    QVariant deep = 1;
    for (int i = 0; i < LxWireLimits::Depth - 1; ++i)
        deep = i % 2 == 0 ? QVariant(QVariantList { deep }) : QVariant(QVariantMap { { QStringLiteral("k"), deep } });
    QTest::newRow("lists and maps, one level below the limit") << deep;
}

void tst_WireFormat::values()
{
    QFETCH(QVariant, value);
    const QString key = QStringLiteral("k");
    QCOMPARE(crossing(message(value)), QString());
    QCOMPARE(crossing(message(QVariantList { value, value })), QString());
    QCOMPARE(crossing(message(QVariantMap { { key, value } })), QString());
    QCOMPARE(crossing(message(body({ { { key }, { value } } }))), QString());
    // Between numbers that form runs.
    for (const QVariant &neighbour : { QVariant(1), QVariant(1LL), QVariant(1.0) })
        QCOMPARE(crossing(message(body({ { { key, key, key, key, key, key },
                                           { neighbour, value, neighbour, neighbour, value, value } } }))),
                 QString());
}

void tst_WireFormat::notANumberKeepsItsBits_data()
{
    QTest::addColumn<quint64>("bits");
    QTest::newRow("quiet") << quint64(0x7ff8000000000000);
    QTest::newRow("quiet, with sign and payload") << quint64(0xfff8123456789abc);
    QTest::newRow("signalling") << quint64(0x7ff0000000000001);
}

void tst_WireFormat::notANumberKeepsItsBits()
{
    QFETCH(quint64, bits);
    const QVariant number = fromBits(bits);
    const LxWireMessage alone = message(number);
    const QByteArray bytes = written(alone);
    QVERIFY(bytes.toHex().endsWith("fb" + QByteArray::number(bits, 16)));
    QCOMPARE(difference(readBack(bytes), alone), QString());
    const QString key = QStringLiteral("k");
    const LxWireMessage run = message(body({ { { key, key, key }, { number, 1.0, number } } }));
    QCOMPARE(difference(readBack(written(run)), run), QString());
}

void tst_WireFormat::byteOrderMarkStays_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("alone") << fromUtf16({ 0xfeff });
    QTest::newRow("before a string") << fromUtf16({ 0xfeff, 'a' });
    QTest::newRow("twice") << fromUtf16({ 0xfeff, 0xfeff });
    QTest::newRow("before a lone surrogate") << fromUtf16({ 0xfeff, 0xd800 });
}

void tst_WireFormat::byteOrderMarkStays()
{
    QFETCH(QString, text);
    // Qt's CBOR classes would remove it.
    const LxWireMessage record = message(body({ { { text }, { text } } }));
    QCOMPARE(difference(readBack(written(record)), record), QString());
}

void tst_WireFormat::bodies_data()
{
    QTest::addColumn<QVariant>("packed");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("no rows") << LxPackedBody().toVariant();
    QTest::newRow("a row of no keys") << body({ { {}, {} } });
    QTest::newRow("rows of no keys") << body({ { {}, {} }, { {}, {} }, { { a }, { 1 } } });
    QTest::newRow("repeated key") << body({ { { a, a, b }, { 1, QStringLiteral("again"), 2 } } });
    QTest::newRow("empty key") << body({ { { QString::fromLatin1("") }, { 1 } } });
    QTest::newRow("keys beyond ASCII") << body({ { { QStringLiteral("最新价"), fromUtf16({ 0xd800 }) }, { 1, 2 } } });
    QTest::newRow("rows of equal layouts") << body({ { { a, b }, { 1, 2 } }, { { a, b }, { 3.5, QString() } } });
    QTest::newRow("rows of different layouts")
        << body({ { { a, b }, { 1, 2 } }, { { a }, { 3.5 } }, { { b, a }, { 1LL, 2LL } }, { { a, b }, { 5, 2 } } });

    // Lengths around those at which the head of a row grows.
    for (const int count : { 22, 23, 24, 255, 256, 4096 }) {
        QVector<QString> keys;
        QVector<QVariant> texts;
        for (int i = 0; i < count; ++i) {
            keys.append(QString::number(i));
            texts.append(QString::number(-i));
        }
        QTest::addRow("a row of %d texts", count) << body({ { keys, texts } });
    }
    QVector<LxPackedRow> many(300, *LxPackedBody::fromVariant(body({ { { a }, { 1 } } })).row(0));
    QTest::newRow("300 rows") << LxPackedBody(many).toVariant();
    QVector<QPair<QVector<QString>, QVector<QVariant>>> layouts;
    for (int i = 0; i < LxWireLimits::KeyBlocks; ++i)
        layouts.append({ { QString::number(i) }, { i } });
    QTest::newRow("as many layouts as allowed") << body(layouts);
}

void tst_WireFormat::bodies()
{
    QFETCH(QVariant, packed);
    QCOMPARE(crossing(message(packed)), QString());
}

void tst_WireFormat::plainBodyIsNotAPackedBody()
{
    const LxPackedBody none;
    QCOMPARE(readBack(written(message(none.toVariant()))).body.userType(), qMetaTypeId<LxPackedBody>());
    QVERIFY(!readBack(written(message(QVariant()))).body.isValid());
    const QVariant bars = QVariantList { QVariantMap { { QStringLiteral("OpenPx"), 1.5 } } };
    QCOMPARE(readBack(written(message(bars))).body, bars);
}

void tst_WireFormat::envelopes_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("client");
    QTest::addColumn<quint64>("epoch");
    QTest::addColumn<quint64>("sequence");

    QTest::newRow("request") << QStringLiteral("181063") << QStringLiteral("client-1") << quint64(0) << quint64(0);
    QTest::newRow("record") << QStringLiteral("MDMARKETRECORD") << QString() << quint64(1) << quint64(24);
    QTest::newRow("largest numbers") << QStringLiteral("t") << QString() << quint64(std::numeric_limits<qint64>::max())
                                      << quint64(std::numeric_limits<qint64>::max());
    QTest::newRow("strings beyond ASCII") << QStringLiteral("行情") << fromUtf16({ 0xd800 }) << quint64(3) << quint64(4);
    QTest::newRow("null and empty strings") << QString() << QString::fromLatin1("") << quint64(0) << quint64(7);
}

void tst_WireFormat::envelopes()
{
    QFETCH(QString, type);
    QFETCH(QString, client);
    QFETCH(quint64, epoch);
    QFETCH(quint64, sequence);
    QCOMPARE(crossing({ type, client, epoch, sequence, 1 }), QString());
    // Qt's CBOR classes do not support unsigned 64-bit integers.
    const LxWireMessage largest { type, client, ~epoch, ~sequence, QVariant() };
    QCOMPARE(difference(readBack(written(largest)), largest), QString());
}

void tst_WireFormat::recordedMessages_data()
{
    QTest::addColumn<QString>("path");
    const QDir data(QStringLiteral(LX_DATA_DIR));
    for (const QString &name : data.entryList(QDir::Files)) {
        if (CsvRecording::kindOfName(name))
            QTest::newRow(qPrintable(name)) << data.filePath(name);
    }
}

void tst_WireFormat::recordedMessages()
{
    QFETCH(QString, path);
    constexpr int MostRecords = 300;
    const std::optional<RecordingKind> kind = CsvRecording::kindOfName(QFileInfo(path).fileName());
    QVERIFY(kind);
    CsvRecording recording;
    QString error;
    QVERIFY2(recording.open(path, *kind, QString(), &error), qPrintable(error));
    LxWireWriter writer;
    LxWireReader reader;
    int records = 0;
    while (records < MostRecords && recording.next([](const QString &, qint64, const QString &) {}, &error)) {
        ++records;
        const LxWireMessage record { recordingKindInfo(*kind).topic, QString(), 1, static_cast<quint64>(records),
                                     recording.row().body };
        const QByteArray bytes = written(record, &writer);
        QCOMPARE(difference(readBack(bytes, &reader), record), QString());
        QCOMPARE(bytes, QtCbor::encode(record));
    }
    QVERIFY(records > 100);
}

void tst_WireFormat::runsOfNumbers_data()
{
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<int>("items");

    QTest::newRow("doubles") << QVariantList { 1.0, 2.0, 3.0 } << 1;
    QTest::newRow("64-bit ints") << QVariantList { 1LL, 2LL } << 1;
    QTest::newRow("ints") << QVariantList { 1, 2, 3 } << 1;
    QTest::newRow("one of each") << QVariantList { 1.0, 1LL, 1 } << 3;
    QTest::newRow("run after run") << QVariantList { 1.0, 2.0, 1LL, 2LL, 1, 2 } << 3;
    QTest::newRow("strings are not a run") << QVariantList { QString(), QString() } << 2;
    QTest::newRow("bools are not a run") << QVariantList { true, true } << 2;
    QTest::newRow("null within a run") << QVariantList { 1.0, 2.0, QVariant(QVariant::Double), 3.0, 4.0 } << 3;
}

void tst_WireFormat::runsOfNumbers()
{
    QFETCH(QVariantList, values);
    QFETCH(int, items);
    const QVector<QString> keys(values.size(), QStringLiteral("k"));
    const LxWireMessage record = message(body({ { keys, values.toVector() } }));
    QCOMPARE(crossing(record), QString());
    const QCborArray parts = QCborValue::fromCbor(written(record)).toArray().at(5).taggedValue().toArray();
    QCOMPARE(static_cast<int>(parts.at(1).toArray().at(0).toArray().size()), 1 + items);
}

void tst_WireFormat::equalKeysAreOneBlock()
{
    // A packer creates a new layout for each row that differs from the previous one.
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QByteArray bytes = written(
        message(body({ { { a }, { 1 } }, { { b }, { 2 } }, { { a }, { 3 } }, { { a }, { 4 } }, { { b }, { 5 } } })));
    const QCborArray parts = QCborValue::fromCbor(bytes).toArray().at(5).taggedValue().toArray();
    QCOMPARE(static_cast<int>(parts.at(0).toArray().size()), 2);
    QVector<int> blocks;
    for (const QCborValue &row : parts.at(1).toArray())
        blocks.append(static_cast<int>(row.toArray().at(0).toInteger()));
    QCOMPARE(blocks, (QVector<int> { 0, 1, 0, 0, 1 }));
}

static const LxRowLayout *layoutOf(const LxWireMessage &message, int row = 0)
{
    return LxPackedBody::fromVariant(message.body).row(row)->layout.get();
}

static QByteArray withKey(const QString &key)
{
    return written(message(body({ { { key }, { 1 } } })));
}

void tst_WireFormat::layoutIsSharedBetweenMessages()
{
    LxWireReader reader;
    const LxWireMessage first = readBack(withKey(QStringLiteral("a")), &reader);
    const LxWireMessage other = readBack(withKey(QStringLiteral("b")), &reader);
    const LxWireMessage longer = readBack(withKey(QString(40, QLatin1Char('a'))), &reader);
    const LxWireMessage second = readBack(withKey(QStringLiteral("a")), &reader);
    QCOMPARE(layoutOf(second), layoutOf(first));
    QVERIFY(layoutOf(other) != layoutOf(first));
    QVERIFY(layoutOf(longer) != layoutOf(first));
}

void tst_WireFormat::layoutIsSharedBetweenRows()
{
    const QVector<QString> keys { QStringLiteral("a") };
    const LxWireMessage read = readBack(written(message(body({ { keys, { 1 } }, { {}, {} }, { keys, { 2 } } }))));
    QCOMPARE(layoutOf(read, 2), layoutOf(read, 0));
    QVERIFY(layoutOf(read, 1) != layoutOf(read, 0));
}

void tst_WireFormat::readerDropsTheOldestKeys()
{
    LxWireReader reader;
    const QByteArray old = withKey(QStringLiteral("old"));
    const QByteArray used = withKey(QStringLiteral("used"));
    const auto read = [&reader](const QByteArray &bytes) -> std::weak_ptr<const LxRowLayout> {
        return LxPackedBody::fromVariant(readBack(bytes, &reader).body).row(0)->layout;
    };
    const std::weak_ptr<const LxRowLayout> usedLayout = read(used);
    const std::weak_ptr<const LxRowLayout> oldLayout = read(old);
    for (int i = 0; i < LxWireLimits::CachedKeyBlocks - 2; ++i)
        read(withKey(QString::number(i)));
    QVERIFY(!oldLayout.expired());
    read(used);
    read(withKey(QStringLiteral("one more")));
    QVERIFY(oldLayout.expired());
    QVERIFY(!usedLayout.expired());
    QCOMPARE(read(used).lock(), usedLayout.lock());
}

static QVector<QString> longKeys()
{
    return { QString(LxWireLimits::MaxCachedKeyBlockBytes, QLatin1Char('x')) };
}

void tst_WireFormat::readerDoesNotCacheLongKeys()
{
    LxWireReader reader;
    const QByteArray bytes = written(message(body({ { longKeys(), { 1 } } })));
    const std::weak_ptr<const LxRowLayout> layout =
        LxPackedBody::fromVariant(readBack(bytes, &reader).body).row(0)->layout;
    QVERIFY(layout.expired());
}

void tst_WireFormat::writerDropsTheOldestLayout()
{
    LxWireWriter writer;
    const auto write = [&writer](const QString &key) -> std::weak_ptr<const LxRowLayout> {
        const LxWireMessage record = message(body({ { { key }, { 1 } } }));
        written(record, &writer);
        return LxPackedBody::fromVariant(record.body).row(0)->layout;
    };
    const std::weak_ptr<const LxRowLayout> first = write(QStringLiteral("first"));
    for (int i = 0; i < LxWireLimits::CachedKeyBlocks - 1; ++i)
        write(QString::number(i));
    QVERIFY(!first.expired()); // cached, so that no other layout can have its address
    write(QStringLiteral("one more"));
    QVERIFY(first.expired());
}

void tst_WireFormat::writerDoesNotCacheLongKeys()
{
    LxWireWriter writer;
    LxWireMessage record = message(body({ { longKeys(), { 1 } } }));
    const std::weak_ptr<const LxRowLayout> layout = LxPackedBody::fromVariant(record.body).row(0)->layout;
    QCOMPARE(difference(readBack(written(record, &writer)), record), QString());
    record.body.clear();
    QVERIFY(layout.expired());
}

QTEST_APPLESS_MAIN(tst_WireFormat)
#include "tst_wireformat.moc"
