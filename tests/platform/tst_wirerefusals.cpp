#include "wiretesting.h"

#include <QDateTime>
#include <QtTest>

// AddressSanitizer has its own allocator.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#define LX_MEASURES_MEMORY
#include <malloc.h>
#endif

using WireTesting::body;

class tst_WireRefusals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void foreignTypes_data();
    void foreignTypes();
    void brokenRows();
    void limitsOfTheWriter_data();
    void limitsOfTheWriter();
    void messagesDoNotDependOnEarlierOnes();
    void writerReleasesTheMemoryOfLongMessages();
    void hostileBytes_data();
    void hostileBytes();
    void limitsOfTheReader_data();
    void limitsOfTheReader();
    void memoryOfSmallMessages_data();
    void memoryOfSmallMessages();
    void refusalDoesNotChangeTheMessage();
    void brokenKeysAreNotCached();
    void everyTruncation();
    void everyChangeOfAByte();
};

static const QString key = QStringLiteral("Price");

static LxWireMessage message(const QVariant &body)
{
    return { QStringLiteral("T"), QString(), 0, 0, body };
}

static QString writersRefusal(const QVariant &body)
{
    LxWireWriter writer;
    QString error;
    const QByteArray bytes = writer.write(message(body), &error);
    return bytes.isEmpty() ? error : QStringLiteral("written");
}

static QString readersRefusal(const QByteArray &bytes)
{
    LxWireReader reader;
    LxWireMessage message;
    QString error;
    return WireTesting::read(&reader, bytes, &message, &error) ? QStringLiteral("read") : error;
}

void tst_WireRefusals::foreignTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("QByteArray") << QVariant(QByteArray("abc"));
    QTest::newRow("uint") << QVariant(1u);
    QTest::newRow("qulonglong") << QVariant(1ull);
    QTest::newRow("float") << QVariant(1.0f);
    QTest::newRow("QChar") << QVariant(QChar(u'a'));
    QTest::newRow("QDateTime") << QVariant(QDateTime::currentDateTime());
    QTest::newRow("QVariantHash") << QVariant(QVariantHash());
    QTest::newRow("LxPackedBody") << LxPackedBody().toVariant();
    QTest::newRow("long") << QVariant::fromValue(1l);
    QTest::newRow("QByteArray, null") << QVariant(QVariant::ByteArray);
}

void tst_WireRefusals::foreignTypes()
{
    QFETCH(QVariant, value);
    const QString reason = QStringLiteral("a %1 cannot be sent").arg(QString::fromLatin1(value.typeName()));
    if (value.userType() != qMetaTypeId<LxPackedBody>())
        QCOMPARE(writersRefusal(value), reason);
    QCOMPARE(writersRefusal(QVariantList { 1, value }), reason);
    QCOMPARE(writersRefusal(QVariantMap { { key, QVariantList { value } } }), reason);
    const QVector<QVariant> values { 1.5, 2.5, QVariantMap { { key, value } } };
    const QVariant inRow = body({ { { key }, { 1 } }, { { key, QStringLiteral("b"), QStringLiteral("c") }, values } });
    QCOMPARE(writersRefusal(inRow), QStringLiteral("row 1: \"c\": ") + reason);
}

void tst_WireRefusals::brokenRows()
{
    QCOMPARE(writersRefusal(body({ { { key }, { 1 } }, { { key }, { 1, 2 } } })),
             QStringLiteral("row 1: 2 values for 1 keys"));
    QCOMPARE(writersRefusal(body({ { { key }, {} } })), QStringLiteral("row 0: 0 values for 1 keys"));
    QVector<LxPackedRow> rows(2);
    rows[0] = { LxRowLayout::create({ key }), { 1 } };
    QCOMPARE(writersRefusal(LxPackedBody(rows).toVariant()), QStringLiteral("row 1 has no layout"));
}

static QVariant nested(int depth, QVariant value = 1)
{
    for (int i = 0; i < depth; ++i)
        value = i % 2 == 0 ? QVariant(QVariantList { value }) : QVariant(QVariantMap { { key, value } });
    return value;
}

static QStringList texts(int count)
{
    return QVector<QString>(count, QString::fromLatin1("")).toList();
}

static QVariant oneRow(int keys)
{
    return body({ { QVector<QString>(keys, key), QVector<QVariant>(keys, true) } });
}

static QVariant rows(int count)
{
    const LxPackedRow row { LxRowLayout::create({}), {} };
    return LxPackedBody(QVector<LxPackedRow>(count, row)).toVariant();
}

static QVariant layouts(int count)
{
    QVector<LxPackedRow> rows;
    for (int i = 0; i < count; ++i)
        rows.append({ LxRowLayout::create({ QString::number(i) }), { i } });
    return LxPackedBody(rows).toVariant();
}

void tst_WireRefusals::limitsOfTheWriter_data()
{
    using namespace LxWireLimits;
    QTest::addColumn<QVariant>("most");
    QTest::addColumn<QVariant>("tooMuch");
    QTest::addColumn<QString>("reason");

    const auto text = [](int length, ushort unit) { return QVariant(QString(length, QChar(unit))); };
    const QString longText = QStringLiteral("a string of more than %1 bytes").arg(StringBytes);
    QTest::newRow("ASCII string") << text(StringBytes, 'x') << text(StringBytes + 1, 'x') << longText;
    QTest::newRow("string of two bytes per character")
            << text(StringBytes / 2, 0xe4) << text(StringBytes / 2 + 1, 0xe4) << longText;
    QTest::newRow("string that UTF-8 cannot represent")
            << text(StringBytes / 2, 0xd800) << text(StringBytes / 2 + 1, 0xd800) << longText;

    QTest::newRow("depth of a plain body") << nested(Depth) << nested(Depth + 1)
                                           << QStringLiteral("lists and maps deeper than %1").arg(Depth);
    QTest::newRow("depth, with a nested map")
            << nested(Depth - 1, QVariantMap()) << nested(Depth, QVariantMap())
            << QStringLiteral("lists and maps deeper than %1").arg(Depth);
    QTest::newRow("keys") << oneRow(Keys) << oneRow(Keys + 1) << QStringLiteral("a row of more than %1 keys").arg(Keys);
    QTest::newRow("rows") << rows(Rows) << rows(Rows + 1) << QStringLiteral("more than %1 rows").arg(Rows);
    QTest::newRow("key blocks") << layouts(KeyBlocks) << layouts(KeyBlocks + 1)
                                << QStringLiteral("rows of more than %1 layouts").arg(KeyBlocks);

    const QString manyValues = QStringLiteral("more than %1 values").arg(Values);
    QTest::newRow("strings") << QVariant(texts(Values - 1)) << QVariant(texts(Values)) << manyValues;
    const QVariant quarter = texts(Values / 4 - 1);
    QTest::newRow("values of a list, including nested ones")
            << QVariant(QVariantList { quarter, quarter, quarter, texts(Values / 4 - 2) })
            << QVariant(QVariantList { quarter, quarter, quarter, quarter }) << manyValues;
    QTest::newRow("values of rows, including nested ones")
            << body({ { { key, key }, { texts(Values / 2), texts(Values / 2 - 2) } } })
            << body({ { { key, key }, { texts(Values / 2), texts(Values / 2 - 1) } } })
            << QStringLiteral("row 0: \"Price\": ") + manyValues;
    const auto wideRows = [](int count) {
        const LxPackedRow row { LxRowLayout::create(QVector<QString>(Keys, key)), QVector<QVariant>(Keys, true) };
        return LxPackedBody(QVector<LxPackedRow>(count, row)).toVariant();
    };
    QTest::newRow("values of rows") << wideRows(Values / Keys) << wideRows(Values / Keys + 1)
                                    << QStringLiteral("row %1: ").arg(Values / Keys) + manyValues;
    QTest::newRow("values of a map, including nested ones")
            << QVariant(QVariantMap { { key, texts(Values - 2) } })
            << QVariant(QVariantMap { { key, texts(Values - 1) } }) << manyValues;

    // 16 strings that fill a message exactly, and 16 of which the last is one byte too long.
    const QVariant longest = QString(StringBytes, QLatin1Char('x'));
    QVariantList most = QVector<QVariant>(15, longest).toList();
    QVariantList tooMuch = most;
    constexpr int Envelope = 8; // heads of the message and of the list
    most.append(QString(MessageBytes - Envelope - 15 * (StringBytes + 5) - 5, QLatin1Char('x')));
    tooMuch.append(QString(MessageBytes - Envelope - 15 * (StringBytes + 5) - 4, QLatin1Char('x')));
    const QString longMessage = QStringLiteral("more than %1 bytes").arg(MessageBytes);
    QTest::newRow("message") << QVariant(most) << QVariant(tooMuch) << longMessage;
    QTest::newRow("message of many long strings")
            << QVariant() << QVariant(QVector<QVariant>(1000, longest).toList()) << longMessage;
    QTest::newRow("message of many long strings of two bytes per character")
            << QVariant() << QVariant(QVector<QVariant>(1000, text(StringBytes / 2, 0xe4)).toList()) << longMessage;
    QTest::newRow("long keys")
            << QVariant()
            << body({ { QVector<QString>(17, longest.toString()), QVector<QVariant>(17, true) } }) << longMessage;
}

void tst_WireRefusals::limitsOfTheWriter()
{
    QFETCH(QVariant, most);
    QFETCH(QVariant, tooMuch);
    QFETCH(QString, reason);
    LxWireWriter writer;
    LxWireReader reader;
    LxWireMessage read;
    QString error;
    const QByteArray bytes = writer.write(message(most), &error);
    QVERIFY2(!bytes.isEmpty(), qPrintable(error));
    QVERIFY2(WireTesting::read(&reader, bytes, &read, &error), qPrintable(error));
    QVERIFY(writer.write(read, &error) == bytes); // and thus the same message
    QCOMPARE(writersRefusal(tooMuch), reason);
}

void tst_WireRefusals::messagesDoNotDependOnEarlierOnes()
{
    // A writer that has written or refused messages before writes the same as a new one.
    const LxPackedRow row { LxRowLayout::create({ key }), { 1 } };
    const QVector<QVariant> bodies { QVariantList { 1, 1u },
                                     layouts(LxWireLimits::KeyBlocks + 1),
                                     texts(LxWireLimits::Values),
                                     texts(LxWireLimits::Values - 1),
                                     texts(LxWireLimits::Values - 1),
                                     layouts(3),
                                     LxPackedBody({ row, row, row }).toVariant(),
                                     layouts(2),
                                     1 };
    LxWireWriter used;
    for (const QVariant &each : bodies) {
        QString error;
        QString expectedError;
        const QByteArray expected = LxWireWriter().write(message(each), &expectedError);
        QVERIFY(used.write(message(each), &error) == expected);
        QCOMPARE(error, expectedError);
    }
}

#ifdef LX_MEASURES_MEMORY
static size_t memoryInUse()
{
    const struct mallinfo2 now = mallinfo2();
    return now.uordblks + now.hblkhd;
}
#endif

void tst_WireRefusals::writerReleasesTheMemoryOfLongMessages()
{
#ifdef LX_MEASURES_MEMORY
    constexpr size_t MostKept = 2 * 1024 * 1024;
    LxWireWriter writer;
    const QVariant longText = QString(LxWireLimits::StringBytes, QLatin1Char('x'));
    const LxWireMessage good = message(longText);
    const LxWireMessage refused = message(QVariantList { longText, longText, 1u });
    const size_t before = memoryInUse();
    for (const LxWireMessage &each : { good, refused }) {
        QString error;
        writer.write(each, &error);
        QVERIFY(memoryInUse() - before < MostKept);
    }
#else
    QSKIP("allocations cannot be counted here");
#endif
}

void tst_WireRefusals::hostileBytes_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("reason"); // with the position

    const auto add = [](const char *name, const QString &hex, const char *reason) {
        QTest::newRow(name) << hex << QString::fromLatin1(reason);
    };
    const auto raw = [&add](const char *name, const char *hex, const char *reason) {
        add(name, QString::fromLatin1(hex), reason);
    };
    const QString cut = QStringLiteral("the message is truncated");

    raw("nothing", "", "byte 0: the message is truncated");
    raw("no array", "01", "byte 0: not a message");
    raw("a map", "a301", "byte 0: not a message");
    raw("array of indefinite length", "9f01", "byte 0: an indefinite or reserved length");
    raw("reserved length", "9c01", "byte 0: an indefinite or reserved length");
    raw("length that is cut", "9800", "byte 2: the message is truncated");
    raw("length of eight bytes, cut", "9b00000000000000", "byte 0: the message is truncated");
    raw("array of nothing", "80", "byte 1: the message is truncated");
    raw("version 2", "86026060000001", "byte 2: an unknown version");
    raw("version 2 of other length", "870260600000f500", "byte 2: an unknown version");
    raw("version 0", "86006060000001", "byte 2: an unknown version");
    raw("version -2", "86216060000001", "byte 1: not a message");
    raw("version of eight bytes", "861b00000001000000016060000001",
        "byte 10: an unknown version");
    raw("five items", "850160600000", "byte 2: a message of more or fewer than six items");
    raw("seven items", "87016060000001f5", "byte 2: a message of more or fewer than six items");
    raw("type is a number", "86010160000001", "byte 2: something else in place of a string");
    raw("type is bytes", "86014060000001", "byte 2: something else in place of a string");
    raw("type is undefined", "8601f760000001", "byte 2: something else in place of a string");
    raw("client is a number", "86016001000001", "byte 3: something else in place of a string");
    raw("epoch is negative", "86016060200001", "byte 4: an epoch that is not a number");
    raw("epoch is a double", "86016060fb000000000000000000", "byte 4: an epoch that is not a number");
    raw("sequence is a text", "86016060006001", "byte 5: a sequence that is not a number");
    raw("no body", "860160600000", "byte 6: the message is truncated");
    raw("a byte too many", "86016060000001" "00", "byte 7: bytes after the message");
    raw("two messages", "86016060000001" "86016060000001", "byte 7: bytes after the message");

    const auto plain = [&add](const char *name, const char *hex, const char *reason) {
        add(name, QStringLiteral("860160600000") + QString::fromLatin1(hex), reason);
    };
    plain("integer beyond 63 bits", "1b8000000000000000", "byte 15: an integer of more than 64 bits");
    plain("negative integer beyond 63 bits", "3b8000000000000000", "byte 15: an integer of more than 64 bits");
    plain("integer, cut", "1b00000000000000", "byte 6: the message is truncated");
    plain("half a float", "f90000", "byte 6: a value of an unknown type");
    plain("float", "fa00000000", "byte 6: a value of an unknown type");
    plain("double, cut", "fb00000000000000", "byte 6: the message is truncated");
    plain("simple value 19", "f3", "byte 6: a value of an unknown type");
    plain("simple value 255", "f8ff", "byte 6: a value of an unknown type");
    plain("break", "ff", "byte 6: a value of an unknown type");
    plain("bytes", "43616263", "byte 6: bytes without a tag");
    plain("unknown tag", "c100", "byte 6: an unknown tag");
    plain("unknown tag of eight bytes", "db000000010000004e00", "byte 6: an unknown tag");
    plain("date and time", "c074323032332d30322d30315430393a33303a30305a", "byte 6: an unknown tag");
    plain("tag of nothing", "d84e", "byte 8: the message is truncated");
    plain("list of indefinite length", "9f01ff", "byte 6: an indefinite or reserved length");
    plain("list of too few", "8201", "byte 7: the message is truncated");
    plain("list of too many", "8a01", "byte 7: the message is truncated");
    plain("list of more than there may be", "9a00400001", "byte 11: too many elements");
    plain("list of 2^64-1", "9bffffffffffffffff01", "byte 15: too many elements");
    plain("text, cut", "626a", "byte 7: the message is truncated");
    plain("text of 2^64-1", "7bffffffffffffffff61", "byte 15: a string that is too long");
    plain("text of 2^31", "7a8000000061", "byte 11: a string that is too long");
    plain("text of 4 MiB, cut", "7a0040000061", "byte 11: the message is truncated");
    plain("text of 4 MiB and one", "7a0040000161", "byte 11: a string that is too long");
    plain("text of indefinite length", "7f6161ff", "byte 6: an indefinite or reserved length");

    for (const char *bytes : { "80", "bf", "c0af", "c1bf", "e08080", "e09f80", "eda080", "edbfbf", "edaf80edb080",
                               "f08080af", "f48f", "f4908080", "f888808080", "fe", "ff", "e282", "e28261", "61c3",
                               "efbb" }) {
        const int size = static_cast<int>(qstrlen(bytes)) / 2;
        const QString hex = QStringLiteral("860160600000%1%2").arg(0x60 + size, 2, 16).arg(QString::fromLatin1(bytes));
        QTest::addRow("no UTF-8: %s", bytes)
                << hex << QStringLiteral("byte %1: a string that is not valid UTF-8").arg(7 + size);
    }
    plain("UTF-16 of an odd length", "d8454300d800", "byte 9: a typed array that ends within a number");
    plain("UTF-16 that UTF-8 could hold", "d845426100", "byte 11: a UTF-16 string that UTF-8 can represent");
    plain("UTF-16 of nothing", "d84540", "byte 9: a UTF-16 string that UTF-8 can represent");
    plain("UTF-16 of a pair", "d845443dd800de", "byte 13: a UTF-16 string that UTF-8 can represent");
    plain("UTF-16, cut", "d8454400d8", "byte 9: the message is truncated");
    plain("UTF-16 too long", "d8455a0040000200d8", "byte 13: a string that is too long");
    plain("UTF-16 of an array", "d84582190000", "byte 8: a typed array without bytes");

    plain("texts with a number", "d829826101" "01", "byte 11: something else in place of a string");
    plain("a string list that is not an array", "d8296161", "byte 8: a string list that is not an array");
    plain("texts of too many", "d8298a60", "byte 9: the message is truncated");
    plain("ints of two in the place of one", "d84e480100000002000000", "byte 9: a typed array of too many numbers");
    plain("int of three bytes", "d84e43010000", "byte 9: a typed array that ends within a number");
    plain("int of none", "d84e40", "byte 9: an empty typed array");
    plain("int that is no typed array", "d84e01", "byte 8: a typed array without bytes");
    plain("int, cut", "d84e44010000", "byte 9: the message is truncated");
    plain("run of doubles outside of a row", "d856480000000000000000", "byte 6: a run of numbers outside of a row");
    plain("run of 64-bit ints outside of a row", "d84f480000000000000000", "byte 6: a run of numbers outside of a row");
    plain("packed body in a list", "81da4c5850428280" "80", "byte 7: an unknown tag");
    plain("embedded CBOR", "d8184101", "byte 6: an unknown tag");

    plain("null of null", "da4c584e55da4c584e5500", "byte 11: a null tag within a null tag");
    plain("null text twice", "da4c584e55f6", "byte 11: a null tag on a type with a null value of its own");
    plain("null of a text", "da4c584e556161", "byte 11: a null tag on a type with a null value of its own");
    plain("null of an invalid value", "da4c584e55f7", "byte 11: a null tag on a type with a null value of its own");
    plain("null of nothing", "da4c584e55", "byte 11: the message is truncated");

    plain("map of too few", "a2616101", "byte 10: the message is truncated");
    plain("map without a value", "a16161", "byte 9: the message is truncated");
    plain("map with a key twice", "a2616101616102", "byte 12: a map with a duplicate key");
    plain("map with a null key and an empty one", "a2f6016002", "byte 10: a map with a duplicate key");
    plain("map with a number for a key", "a10102", "byte 7: something else in place of a string");
    plain("map of more than there may be", "ba00400001", "byte 11: too many elements");

    QString deep;
    for (int i = 0; i < LxWireLimits::Depth; ++i)
        deep += QLatin1String(i % 2 == 0 ? "81" : "a160");
    add("lists and maps that are too deep", QStringLiteral("860160600000") + deep + QStringLiteral("80"),
        "byte 30: lists and maps that are too deep");
    add("a map that is too deep", QStringLiteral("860160600000") + deep + QStringLiteral("a0"),
        "byte 30: lists and maps that are too deep");
    add("a thousand lists", QStringLiteral("860160600000") + QStringLiteral("81").repeated(1000) + QStringLiteral("80"),
        "byte 22: lists and maps that are too deep");
    add("a thousand nulls", QStringLiteral("860160600000") + QStringLiteral("da4c584e55").repeated(1000),
        "byte 11: a null tag within a null tag");

    // Packed bodies, whose parts begin at byte 12.
    const auto packed = [&add](const char *name, const char *hex, const char *reason) {
        add(name, QStringLiteral("860160600000da4c585042") + QString::fromLatin1(hex), reason);
    };
    packed("packed body of nothing", "", "byte 11: the message is truncated");
    packed("packed body that is not an array", "01", "byte 11: a packed body that is not an array");
    packed("packed body of one part", "8180", "byte 12: a packed body of more or fewer than two parts");
    packed("packed body of three parts", "83808000", "byte 12: a packed body of more or fewer than two parts");
    packed("key blocks that are not an array", "820080", "byte 12: key blocks that are not an array");
    packed("more key blocks than there may be", "8299040180", "byte 15: too many elements");
    packed("key blocks, cut", "8281", "byte 13: the message is truncated");
    packed("key block without a tag", "82814180" "80", "byte 13: a key block without a tag");
    packed("key block with an unknown tag", "8281d8194180" "80", "byte 15: a key block with an unknown tag");
    packed("key block without bytes", "8281d81880" "80", "byte 15: a key block without bytes");
    packed("key block, cut", "8281d8184281", "byte 16: the message is truncated");
    packed("key block of nothing", "8281d81840" "80", "byte 17: a key block that does not end with its keys");
    packed("key block of a text", "8281d818426161" "80", "byte 16: keys that are not an array");
    packed("key block of more keys than it has", "8281d8184481616161" "80",
           "byte 19: a key block that does not end with its keys");
    packed("key block that goes on behind its end", "8281d81841816161" "80",
           "byte 19: a key block that does not end with its keys");
    packed("more keys than there may be", "8281d8184399100180", "byte 19: too many elements");
    packed("keys, cut", "8281d8184189" "80", "byte 17: the message is truncated");
    packed("null key", "8281d8184281f6" "80", "byte 17: something else in place of a string");
    packed("number for a key", "8281d818428101" "80", "byte 17: something else in place of a string");
    packed("key that is no UTF-8", "8281d818438161ff" "80", "byte 19: a string that is not valid UTF-8");
    packed("rows that are not an array", "828000", "byte 13: rows that are not an array");
    packed("no rows part", "8280", "byte 13: the message is truncated");
    packed("more rows than there may be", "82809a00100001", "byte 18: too many elements");
    packed("rows, cut", "828088", "byte 14: the message is truncated");

    // With one block of the keys "a" and "b"; rows begin at byte 22.
    const auto row = [&add](const char *name, const char *hex, const char *reason) {
        add(name, QStringLiteral("860160600000da4c5850428281d818458261616162" "81") + QString::fromLatin1(hex), reason);
    };
    row("row that is not an array", "0000", "byte 22: a row that is not an array");
    row("row of nothing", "80", "byte 23: a row without a key block");
    row("row that begins with a string", "816000", "byte 23: a row without a key block");
    row("row that begins with a negative number", "832000f500", "byte 23: a row without a key block");
    row("missing key block", "8301f5f5", "byte 24: a row of a missing key block");
    row("key block 2^64-1", "831bfffffffffffffffff5f5", "byte 32: a row of a missing key block");
    row("too few values", "8200f5", "byte 24: the message is truncated");
    row("too few values, and bytes after them", "8200f5f5", "byte 25: a row of fewer values than keys");
    row("too many values", "8400f5f5f5", "byte 26: a row of more values than keys");
    row("2^64-1 items", "9bffffffffffffffff00f5f5f5", "byte 34: a row of more values than keys");
    row("run too short", "8200d8564800000000000000" "00", "byte 35: a row of fewer values than keys");
    row("run too long", "8200d84e4c000000000000000000000000", "byte 27: a typed array of too many numbers");
    row("run too long after a value", "8300f5d84e480000000000000000", "byte 28: a typed array of too many numbers");
    row("run of no numbers", "8300d84ef540f5f5", "byte 26: a typed array without bytes");
    row("empty run of ints", "8300d84e40f5f5", "byte 27: an empty typed array");
    row("empty run of 64-bit ints", "8300d84f40f5f5", "byte 27: an empty typed array");
    row("empty run of doubles", "8300d85640f5f5", "byte 27: an empty typed array");
    row("run of ints, uneven", "8200d84e4700000000000000", "byte 27: a typed array that ends within a number");
    row("run of 64-bit ints, uneven", "8200d84f4c000000000000000000000000",
        "byte 27: a typed array that ends within a number");
    row("run of doubles, uneven", "8200d8564c000000000000000000000000",
        "byte 27: a typed array that ends within a number");
    row("run, cut by one byte", "8200d85650000000000000000000000000000000", "byte 27: the message is truncated");
    row("run of 2^64-8 bytes", "8200d8565bfffffffffffffff8", "byte 35: a typed array of too many numbers");
    row("run with another tag", "8200d8554800000000000000" "00", "byte 24: an unknown tag");
    row("second row is missing", "8300f5f5" "8300f5f5", "byte 26: bytes after the message");
}

void tst_WireRefusals::hostileBytes()
{
    QFETCH(QString, hex);
    QFETCH(QString, reason);
    QCOMPARE(readersRefusal(QByteArray::fromHex(hex.toLatin1())), reason);
}

static QByteArray head(quint8 major, quint32 number)
{
    QByteArray bytes(1, static_cast<char>(major | 26));
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.append(static_cast<char>(number >> shift));
    return bytes;
}

static QByteArray array(int count, const QByteArray &element)
{
    return head(0x80, static_cast<quint32>(count)) + element.repeated(count);
}

void tst_WireRefusals::limitsOfTheReader_data()
{
    using namespace LxWireLimits;
    QTest::addColumn<QByteArray>("most");
    QTest::addColumn<QByteArray>("tooMuch");
    QTest::addColumn<QString>("reason");

    // There are enough bytes for the elements, so only the limit can reject them.
    const QByteArray start = QByteArray::fromHex("860160600000");
    const QByteArray packed = start + QByteArray::fromHex("da4c58504282");
    const auto keys = [&](int count) {
        const QByteArray block = array(count, QByteArray::fromHex("60"));
        return packed + QByteArray::fromHex("81d818") + head(0x40, static_cast<quint32>(block.size())) + block
                + QByteArray::fromHex("80");
    };
    const auto blocks = [&](int count) {
        return packed + array(count, QByteArray::fromHex("d8184180")) + QByteArray::fromHex("80");
    };
    const auto rows = [&](int count) {
        return packed + QByteArray::fromHex("81d8184180") + array(count, QByteArray::fromHex("8100"));
    };
    QTest::newRow("keys") << keys(Keys) << keys(Keys + 1) << QStringLiteral("too many elements");
    QTest::newRow("key blocks") << blocks(KeyBlocks) << blocks(KeyBlocks + 1) << QStringLiteral("too many elements");
    QTest::newRow("rows") << rows(Rows) << rows(Rows + 1) << QStringLiteral("too many elements");

    // The body counts as a value.
    const QByteArray texts = QByteArray::fromHex("d829");
    const QByteArray empty = QByteArray::fromHex("60");
    QTest::newRow("strings") << start + texts + array(Values - 1, empty) << start + texts + array(Values, empty)
                           << QStringLiteral("too many values");
    const QByteArray half = texts + array(Values / 2, empty);
    const auto inList = [&](int rest) {
        return start + QByteArray::fromHex("82") + half + texts + array(Values / 2 - rest, empty);
    };
    QTest::newRow("values of lists") << inList(3) << inList(2) << QStringLiteral("too many values");
    const auto inMap = [&](int rest) {
        return start + QByteArray::fromHex("a260") + half + QByteArray::fromHex("6161") + texts
                + array(Values / 2 - rest, empty);
    };
    QTest::newRow("values of maps") << inMap(3) << inMap(2) << QStringLiteral("too many values");
    const auto inRow = [&](int rest) {
        return packed + QByteArray::fromHex("81d81843826060" "818300") + half + texts + array(Values / 2 - rest, empty);
    };
    QTest::newRow("values of rows") << inRow(2) << inRow(1) << QStringLiteral("too many values");

    const auto utf16 = [&](int units) {
        return start + QByteArray::fromHex("d845") + head(0x40, static_cast<quint32>(2 * units))
                + QByteArray::fromHex("00d8").repeated(units);
    };
    QTest::newRow("UTF-16 string") << utf16(StringBytes / 2) << utf16(StringBytes / 2 + 1)
                                    << QStringLiteral("a string that is too long");
    const auto text = [&](int size) { return head(0x60, static_cast<quint32>(size)) + QByteArray(size, 'x'); };
    QTest::newRow("string") << start + text(StringBytes) << start + text(StringBytes + 1)
                          << QStringLiteral("a string that is too long");
    const QByteArray longTexts = start + QByteArray::fromHex("90") + text(StringBytes).repeated(15);
    const int left = MessageBytes - longTexts.size();
    QTest::newRow("message") << longTexts + text(left - 5) << longTexts + text(left - 4)
                             << QStringLiteral("a message that is too long");
}

void tst_WireRefusals::limitsOfTheReader()
{
    QFETCH(QByteArray, most);
    QFETCH(QByteArray, tooMuch);
    QFETCH(QString, reason);
    QCOMPARE(readersRefusal(most), QStringLiteral("read"));
    const QString refusal = readersRefusal(tooMuch);
    QVERIFY2(refusal.endsWith(reason), qPrintable(refusal));
}

void tst_WireRefusals::memoryOfSmallMessages_data()
{
#ifndef LX_MEASURES_MEMORY
    QSKIP("allocations cannot be counted here");
#endif
    QTest::addColumn<QByteArray>("bytes");
    const auto elements = [](const char *name, const char *element) {
        constexpr int Count = 10000;
        QTest::newRow(name) << QByteArray::fromHex("860160600000") + array(Count, QByteArray::fromHex(element));
    };
    elements("invalid values", "f7");
    elements("empty lists", "80");
    elements("lists of one", "81f7");
    elements("lists of lists", "8181818181818181818181818181f7");
    elements("maps of maps", "a160a160a160a160a160a160a160a160a160a160a160a160a160a160f7");
    elements("texts", "6161");
    elements("empty texts", "60");
    elements("lists of a text", "d8298160");
    const QByteArray packed = QByteArray::fromHex("860160600000da4c58504282");
    QTest::newRow("rows of no keys") << packed + QByteArray::fromHex("81d8184180")
                    + array(10000, QByteArray::fromHex("8100"));
    QTest::newRow("rows of one key") << packed + QByteArray::fromHex("81d818428160")
                    + array(10000, QByteArray::fromHex("8200f7"));
    QTest::newRow("keys") << packed + QByteArray::fromHex("81d818591003991000")
                    + QByteArray::fromHex("60").repeated(LxWireLimits::Keys) + QByteArray::fromHex("80");
}

void tst_WireRefusals::memoryOfSmallMessages()
{
#ifdef LX_MEASURES_MEMORY
    QFETCH(QByteArray, bytes);
    constexpr size_t MostForAByte = 100;
    LxWireReader reader;
    LxWireMessage message;
    QString error;
    const size_t before = memoryInUse();
    QVERIFY2(reader.read(bytes.constData(), static_cast<size_t>(bytes.size()), &message, &error), qPrintable(error));
    const size_t used = memoryInUse() - before;
    QVERIFY2(used < MostForAByte * static_cast<size_t>(bytes.size()), qPrintable(QString::number(used)));
#endif
}

void tst_WireRefusals::refusalDoesNotChangeTheMessage()
{
    LxWireReader reader;
    LxWireMessage kept { QStringLiteral("type"), QStringLiteral("client"), 1, 2, 3 };
    QString error;
    // Only the last byte is wrong.
    QVERIFY(!WireTesting::read(&reader, QByteArray::fromHex("8601606000000100"), &kept, &error));
    QCOMPARE(WireTesting::difference(kept, { QStringLiteral("type"), QStringLiteral("client"), 1, 2, 3 }), QString());
}

void tst_WireRefusals::brokenKeysAreNotCached()
{
    LxWireReader reader;
    LxWireMessage message;
    QString error;
    const QByteArray good = QByteArray::fromHex("860160600000da4c5850428281d818438161618" "0");
    QByteArray bad = good;
    bad[bad.size() - 2] = static_cast<char>(0xff);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(!WireTesting::read(&reader, bad, &message, &error));
        QCOMPARE(error, QStringLiteral("byte 19: a string that is not valid UTF-8"));
        QVERIFY2(WireTesting::read(&reader, good, &message, &error), qPrintable(error));
    }
}

static QByteArray quote()
{
    QVector<QString> keys;
    QVector<QVariant> values;
    for (int i = 0; i < 60; ++i) {
        keys.append(QStringLiteral("Field%1").arg(i));
        values.append(i < 4 ? QVariant(QStringLiteral("text")) : i < 40 ? QVariant(i / 3.0) : QVariant(qlonglong(i)));
    }
    LxWireWriter writer;
    QString error;
    return writer.write({ QStringLiteral("MDMARKETRECORD"), QString(), 12, 34, body({ { keys, values } }) }, &error);
}

void tst_WireRefusals::everyTruncation()
{
    const QByteArray whole = quote();
    QVERIFY(whole.size() > 600);
    LxWireReader reader;
    LxWireMessage message;
    QString error;
    QVERIFY(WireTesting::read(&reader, whole, &message, &error));
    for (int size = 0; size < whole.size(); ++size) {
        QVERIFY(!WireTesting::read(&reader, whole.left(size), &message, &error));
        QVERIFY2(error.endsWith(QLatin1String("the message is truncated")), qPrintable(error));
    }
}

void tst_WireRefusals::everyChangeOfAByte()
{
    const QVariantMap map { { QStringLiteral("a"), QVariantList { 1, 2LL, 2.5, QVariant(), false } },
                            { QStringLiteral("b"), QVariant(QVariant::Int) } };
    LxWireWriter writer;
    LxWireReader reader;
    QString error;
    const QByteArray whole = writer.write(
            message(body({ { { QStringLiteral("k"), QStringLiteral("l"), QStringLiteral("m") }, { 1.5, 2.5, 3LL } },
                           { { QStringLiteral("n") }, { map } },
                           { { QStringLiteral("o"), QStringLiteral("p") },
                             { QStringList { QString(), QStringLiteral("万") }, QString(QChar(0xd800)) } } })),
            &error);
    QVERIFY2(!whole.isEmpty(), qPrintable(error));
    for (int at = 0; at < whole.size(); ++at) {
        QByteArray changed = whole;
        for (int byte = 0; byte < 256; ++byte) {
            changed[at] = static_cast<char>(byte);
            const QString problem = WireTesting::problem(changed, &reader, &writer);
            QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("byte %1: %2").arg(at).arg(problem)));
        }
    }
}

QTEST_APPLESS_MAIN(tst_WireRefusals)
#include "tst_wirerefusals.moc"
