// The hash index of a cache must agree with its map however the map is changed.

#include "lxsymbolindex_p.h"

#include <QtTest>

#include <functional>

namespace {

using Map = QMap<QString, int>;

QString symbol(int number)
{
    return QStringLiteral("%1.SH").arg(number, 6, 10, QLatin1Char('0'));
}

Map filled(LxSymbolIndex<int> &index, int count)
{
    Map map;
    for (int i = 0; i < count; ++i)
        index.entry(map, symbol(i)) = i;
    return map;
}

} // namespace

Q_DECLARE_METATYPE(std::function<void(Map &)>)

class tst_symbolindex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findDoesNotInsert();
    void entriesAreThoseOfTheMap();
    void newEntriesHaveDefaultValues();
    void symbolsAreComparedExactly();
    void mapChangedWithoutIndex_data();
    void mapChangedWithoutIndex();
    void copyOfTheMapKeepsItsValues();
};

void tst_symbolindex::findDoesNotInsert()
{
    Map map;
    LxSymbolIndex<int> index;
    QVERIFY(!index.find(map, symbol(1)));
    QVERIFY(map.isEmpty());
    index.entry(map, symbol(1)) = 1;
    QVERIFY(!index.find(map, symbol(2)));
    QCOMPARE(map.keys(), QStringList { symbol(1) });
}

void tst_symbolindex::entriesAreThoseOfTheMap()
{
    constexpr int Count = 3000;
    LxSymbolIndex<int> index;
    Map map = filled(index, Count);
    QCOMPARE(map.size(), Count);
    for (int i = 0; i < Count; ++i) {
        QCOMPARE(map.value(symbol(i)), i);
        QCOMPARE(index.find(map, symbol(i)), &*map.find(symbol(i)));
        QCOMPARE(&index.entry(map, symbol(i)), &*map.find(symbol(i)));
    }
    QCOMPARE(map.size(), Count);
}

void tst_symbolindex::newEntriesHaveDefaultValues()
{
    Map map;
    LxSymbolIndex<int> index;
    QCOMPARE(index.entry(map, symbol(1)), 0);
    QCOMPARE(map.value(symbol(1), -1), 0);
}

void tst_symbolindex::symbolsAreComparedExactly()
{
    Map map;
    LxSymbolIndex<int> index;
    index.entry(map, QStringLiteral("600000.SH")) = 1;
    QVERIFY(!index.find(map, QStringLiteral("600000.sh")));
    QVERIFY(!index.find(map, QStringLiteral("600000.S")));
    QVERIFY(!index.find(map, QString()));
    index.entry(map, QString()) = 2;
    QCOMPARE(*index.find(map, QString::fromLatin1("")), 2);
}

void tst_symbolindex::mapChangedWithoutIndex_data()
{
    using Change = std::function<void(Map &)>;
    QTest::addColumn<Change>("change");
    QTest::newRow("entry added") << Change([](Map &map) { map.insert(symbol(100), 100); });
    QTest::newRow("value replaced") << Change([](Map &map) { map.insert(symbol(3), 100); });
    QTest::newRow("entry removed") << Change([](Map &map) { map.remove(symbol(3)); });
    QTest::newRow("cleared") << Change([](Map &map) { map.clear(); });
    QTest::newRow("replaced") << Change([](Map &map) { map = Map { { symbol(3), 33 }, { symbol(4), 44 } }; });
    QTest::newRow("replaced by one of the same size") << Change([](Map &map) {
        Map other;
        for (const QString &key : map.keys())
            other.insert(key, 77);
        map = other;
    });
    QTest::newRow("detached from a copy that is gone") << Change([](Map &map) {
        const Map copy = map;
        map.insert(symbol(3), 100);
    });
}

void tst_symbolindex::mapChangedWithoutIndex()
{
    QFETCH(std::function<void(Map &)>, change);
    LxSymbolIndex<int> index;
    Map map = filled(index, 10);
    change(map);
    const Map expected = map;
    for (const QString &key : { symbol(3), symbol(4), symbol(100) }) {
        const int *found = index.find(map, key);
        QCOMPARE(found != nullptr, expected.contains(key));
        if (found)
            QCOMPARE(*found, expected.value(key));
    }
    index.entry(map, symbol(3)) = -3;
    QCOMPARE(map.value(symbol(3)), -3);
    QCOMPARE(&index.entry(map, symbol(3)), &*map.find(symbol(3)));
}

void tst_symbolindex::copyOfTheMapKeepsItsValues()
{
    LxSymbolIndex<int> index;
    Map map = filled(index, 10);
    const Map copy = map;
    index.entry(map, symbol(3)) = -3;
    *index.find(map, symbol(4)) = -4;
    QCOMPARE(copy.value(symbol(3)), 3);
    QCOMPARE(copy.value(symbol(4)), 4);
    QCOMPARE(map.value(symbol(3)), -3);
    QCOMPARE(map.value(symbol(4)), -4);
}

QTEST_APPLESS_MAIN(tst_symbolindex)
#include "tst_symbolindex.moc"
