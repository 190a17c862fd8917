#include "allocationcounter.h"

#include <lxmsg/unpackmessagecommon.h>

#include <QtTest>

#include <memory>
#include <vector>

Q_DECLARE_METATYPE(std::shared_ptr<int>)

// The maps of rows, which are reused when they are not shared any more.
class tst_RowMap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsTheRows();
    void sharedMapDoesNotChange();
    void modifiedMapIsNotReused();
    void sharedStringDoesNotChange();
    void typesChangeFromRowToRow_data();
    void typesChangeFromRowToRow();
    void emptyAndNullStrings();
    void refersToNoStringOfTheRow();
    void valuesThatAreNotReused();
    void manyLayoutsInTurn();
    void repeatedKeys();
    void releasedMapCostsNoAllocation();
    void mapsOfManyThreads();
    void mapIsReleasedOnAnotherThread();
};

namespace {

constexpr int Keys = 40;

QString key(int number)
{
    return QStringLiteral("Key%1").arg(number);
}

LxRowLayout::Pointer layout(int keys = Keys)
{
    QVector<QString> names;
    for (int i = 0; i < keys; ++i)
        names.append(key(i));
    return LxRowLayout::create(names);
}

// The value of key n is n + `first`, that of key 0 a string.
QVariant body(const LxRowLayout::Pointer &keys, int first, const QString &text)
{
    QVector<QVariant> values;
    for (int i = 0; i < keys->keys().size(); ++i)
        values.append(i == 0 ? QVariant(QString(text.constData(), text.size())) : QVariant(double(first + i)));
    return LxPackedBody({ { keys, values } }).toVariant();
}

QVariantMap mapOf(const QVariant &message)
{
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(message, false);
    return rows.GetRowValue();
}

QVariantMap expected(int first, const QString &text)
{
    QVariantMap map;
    for (int i = 0; i < Keys; ++i)
        map.insert(key(i), i == 0 ? QVariant(text) : QVariant(double(first + i)));
    return map;
}

const QString one = QStringLiteral("one");
const QString other = QStringLiteral("another");

} // namespace

void tst_RowMap::followsTheRows()
{
    const auto keys = layout();
    QCOMPARE(mapOf(body(keys, 100, one)), expected(100, one));
    QCOMPARE(mapOf(body(keys, 200, other)), expected(200, other));
    QCOMPARE(mapOf(body(keys, 300, one)), expected(300, one));
}

void tst_RowMap::sharedMapDoesNotChange()
{
    const auto keys = layout();
    const QVariantMap first = mapOf(body(keys, 100, one));
    const QVariantMap second = mapOf(body(keys, 200, other));
    const QVariantMap third = mapOf(body(keys, 300, one));
    QCOMPARE(first, expected(100, one));
    QCOMPARE(second, expected(200, other));
    QCOMPARE(third, expected(300, one));
}

void tst_RowMap::modifiedMapIsNotReused()
{
    const auto keys = layout();
    QVariantMap mine = mapOf(body(keys, 100, one));
    mine[key(5)] = -1;
    mine.remove(key(6));
    mine.insert(QStringLiteral("more"), 7);
    QCOMPARE(mapOf(body(keys, 200, other)), expected(200, other));
    QCOMPARE(mine.value(key(5)), QVariant(-1));
    QVERIFY(!mine.contains(key(6)));
    QCOMPARE(mine.value(key(7)), QVariant(107.0));
}

void tst_RowMap::sharedStringDoesNotChange()
{
    const auto keys = layout();
    const QString text = mapOf(body(keys, 100, one)).value(key(0)).toString();
    QVariant variant = mapOf(body(keys, 200, other)).value(key(0));
    QCOMPARE(mapOf(body(keys, 300, QStringLiteral("xyz"))), expected(300, QStringLiteral("xyz")));
    QCOMPARE(text, one);
    QCOMPARE(variant, QVariant(other));
}

void tst_RowMap::typesChangeFromRowToRow_data()
{
    QTest::addColumn<QVariant>("first");
    QTest::addColumn<QVariant>("second");
    const QVariant values[] { 1.5,
                              Q_INT64_C(5000000000),
                              7,
                              true,
                              QStringLiteral("text"),
                              QStringLiteral(""),
                              QVariant(),
                              QStringList { one },
                              QVariantList { 1 },
                              QVariantMap { { one, 2 } },
                              QByteArray("b") };
    for (const QVariant &first : values) {
        for (const QVariant &second : values) {
            QTest::addRow("%s after %s", second.typeName() ? second.typeName() : "invalid",
                          first.typeName() ? first.typeName() : "invalid")
                << first << second;
        }
    }
}

void tst_RowMap::typesChangeFromRowToRow()
{
    QFETCH(QVariant, first);
    QFETCH(QVariant, second);
    const auto keys = layout();
    for (const QVariant &value : { first, second, first }) {
        const QVariant read =
            mapOf(LxPackedBody({ { keys, QVector<QVariant>(Keys, value) } }).toVariant()).value(key(3));
        QCOMPARE(read.userType(), value.userType());
        QCOMPARE(read, value);
    }
}

void tst_RowMap::emptyAndNullStrings()
{
    const auto keys = layout();
    for (const QString &text : { one, QString::fromLatin1(""), QString(), other, QString() }) {
        QVector<QVariant> values(Keys, QVariant(text));
        const QString read = mapOf(LxPackedBody({ { keys, values } }).toVariant()).value(key(3)).toString();
        QCOMPARE(read, text);
        QCOMPARE(read.isNull(), text.isNull());
    }
}

void tst_RowMap::refersToNoStringOfTheRow()
{
    // The row's strings may be literals of a library that is unloaded before the next row arrives.
    const auto keys = layout();
    QVector<ushort> memory { 'a', 'b', 'c', 'd', 'e' };
    const auto *characters = reinterpret_cast<const QChar *>(memory.constData());
    const QVariant text = QString::fromRawData(characters, memory.size());
    const QVariantMap map = mapOf(LxPackedBody({ { keys, QVector<QVariant>(Keys, text) } }).toVariant());
    QVERIFY(map.value(key(3)).toString().constData() != characters);
    memory.fill('-');
    QCOMPARE(map.value(key(3)).toString(), QStringLiteral("abcde"));
}

void tst_RowMap::valuesThatAreNotReused()
{
    // Values that are references are released with the map.
    const auto keys = layout();
    const auto shared = std::make_shared<int>(5);
    QVector<QVariant> values(Keys, QVariant(1.0));
    values[Keys - 1] = QVariant::fromValue(shared);
    QVariant message = LxPackedBody({ { keys, values } }).toVariant();
    values.clear();
    QCOMPARE(mapOf(message).value(key(Keys - 1)).value<std::shared_ptr<int>>(), shared);
    QCOMPARE(mapOf(message).value(key(0)), QVariant(1.0));
    message.clear();
    QCOMPARE(shared.use_count(), 1L);
}

void tst_RowMap::manyLayoutsInTurn()
{
    std::vector<LxRowLayout::Pointer> layouts;
    for (int i = 0; i < 30; ++i)
        layouts.push_back(layout());
    for (int round = 0; round < 3; ++round) {
        for (size_t i = 0; i < layouts.size(); ++i) {
            const int first = round * 1000 + int(i);
            QCOMPARE(mapOf(body(layouts[i], first, one)), expected(first, one));
        }
    }
    for (const LxRowLayout::Pointer &each : layouts)
        QCOMPARE(mapOf(body(each, 5, other)), expected(5, other));
}

void tst_RowMap::repeatedKeys()
{
    QVector<QString> names;
    QVector<QVariant> values;
    for (int i = 0; i < Keys; ++i) {
        names.append(key(i % 10));
        values.append(i);
    }
    const auto keys = LxRowLayout::create(names);
    for (int round = 0; round < 3; ++round) {
        const QVariantMap map = mapOf(LxPackedBody({ { keys, values } }).toVariant());
        QCOMPARE(map.size(), 10);
        for (int i = 0; i < 10; ++i)
            QCOMPARE(map.value(key(i)), QVariant(i)); // the first one counts
    }
}

void tst_RowMap::releasedMapCostsNoAllocation()
{
#ifndef LX_COUNTS_ALLOCATIONS
    QSKIP("allocations cannot be counted here");
#endif
    const auto keys = layout();
    const QVariant first = body(keys, 100, other);
    const QVariant second = body(keys, 200, one);
    const QString wanted = key(3);
    mapOf(first);
    double sum = 0;
    const int allocations = AllocationCounter::during([&] {
        sum += mapOf(second).value(wanted).toDouble();
        sum += mapOf(first).value(wanted).toDouble();
    });
    QCOMPARE(sum, 306.0);
    QCOMPARE(allocations, 0);
}

void tst_RowMap::mapsOfManyThreads()
{
    const auto keys = layout();
    std::atomic<int> wrong { 0 };
    std::vector<std::unique_ptr<QThread>> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back(QThread::create([&keys, &wrong, number] {
            for (int round = 0; round < 500; ++round) {
                const int first = number * 100000 + round;
                if (mapOf(body(keys, first, one)) != expected(first, one))
                    ++wrong;
            }
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        thread->wait();
    QCOMPARE(wrong.load(), 0);
}

void tst_RowMap::mapIsReleasedOnAnotherThread()
{
    const auto keys = layout();
    std::atomic<int> wrong { 0 };
    for (int round = 0; round < 100; ++round) {
        QVariantMap map = mapOf(body(keys, round, one));
        const std::unique_ptr<QThread> thread(QThread::create([map = std::move(map), round, &wrong]() mutable {
            if (map != expected(round, one))
                ++wrong;
            map.clear();
        }));
        thread->start();
        for (int i = 0; i < 20; ++i) {
            if (mapOf(body(keys, -i, other)) != expected(-i, other))
                ++wrong;
        }
        thread->wait();
    }
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(tst_RowMap)
#include "tst_rowmap.moc"
