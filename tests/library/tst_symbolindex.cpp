// The short way to a cache's entries, beside the cache itself.

#include "lxsymbolindex_p.h"

#include <QtTest>

#include <random>

namespace {

using Map = QMap<QString, int>;

QString symbol(int number)
{
    return QStringLiteral("%1.SH").arg(number, 6, 10, QLatin1Char('0'));
}

} // namespace

class tst_symbolindex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentSymbolsAreNotInserted();
    void entriesAreTheMaps();
    void newEntriesAreValueInitialised();
    void entriesStayWhereTheyAreAsTheMapGrows();
    void entriesOfTheMapAloneAreFound();
    void symbolsAreComparedExactly();
    void equalHashesAreToldApart();
    void hashesOfSymbolsDiffer();
};

void tst_symbolindex::absentSymbolsAreNotInserted()
{
    Map map;
    LxSymbolIndex<int> index;
    QVERIFY(!index.find(map, symbol(1)));
    QVERIFY(!index.constFind(map, symbol(1)));
    QVERIFY(map.isEmpty());
    index.entry(map, symbol(1)) = 1;
    QVERIFY(!index.find(map, symbol(2)));
    QCOMPARE(map.keys(), QStringList { symbol(1) });
}

void tst_symbolindex::entriesAreTheMaps()
{
    Map map;
    LxSymbolIndex<int> index;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> any(0, 4999);
    Map expected;
    for (int i = 0; i < 20000; ++i) {
        const QString key = symbol(any(random));
        expected[key] += i;
        index.entry(map, key) += i;
        const QString other = symbol(any(random));
        const int *const found = index.constFind(map, other);
        QCOMPARE(found != nullptr, expected.contains(other));
        if (found)
            QCOMPARE(found, &map.find(other).value());
        QCOMPARE(index.find(map, other), found);
    }
    QCOMPARE(map, expected);
}

void tst_symbolindex::newEntriesAreValueInitialised()
{
    Map map;
    LxSymbolIndex<int> index;
    for (int i = 0; i < 100; ++i)
        QCOMPARE(index.entry(map, symbol(i)), 0);
}

void tst_symbolindex::entriesStayWhereTheyAreAsTheMapGrows()
{
    Map map;
    LxSymbolIndex<int> index;
    int *const first = &index.entry(map, symbol(0));
    for (int i = 1; i < 3000; ++i)
        index.entry(map, symbol(i)) = i;
    QCOMPARE(&index.entry(map, symbol(0)), first);
    for (int i = 1; i < 3000; ++i)
        QCOMPARE(*index.constFind(map, symbol(i)), i);
}

void tst_symbolindex::entriesOfTheMapAloneAreFound()
{
    Map map { { symbol(1), 10 }, { symbol(2), 20 } };
    LxSymbolIndex<int> index;
    QCOMPARE(index.constFind(map, symbol(1)), &map.find(symbol(1)).value());
    QCOMPARE(index.find(map, symbol(2)), &map.find(symbol(2)).value());
    QCOMPARE(index.entry(map, symbol(2)), 20);
    index.entry(map, symbol(2)) = 21;
    QCOMPARE(map, (Map { { symbol(1), 10 }, { symbol(2), 21 } }));
}

void tst_symbolindex::symbolsAreComparedExactly()
{
    Map map;
    LxSymbolIndex<int> index;
    const QStringList texts { QString::fromLatin1(""), QStringLiteral("600000.SH"), QStringLiteral("600000.sh"),
                              QStringLiteral("600000"), QStringLiteral("600000.SH ") };
    for (int i = 0; i < texts.size(); ++i)
        index.entry(map, texts.at(i)) = i;
    for (int i = 0; i < texts.size(); ++i)
        QCOMPARE(*index.constFind(map, texts.at(i)), i);
    QCOMPARE(*index.constFind(map, QString()), 0); // a null text is equal to the empty one
    QCOMPARE(map.size(), texts.size());
}

void tst_symbolindex::equalHashesAreToldApart()
{
    QHash<quint32, QString> known;
    QString one;
    QString other;
    for (int i = 0; one.isEmpty() && i < 1000000; ++i) {
        const QString text = QString::number(i * 7919LL, 36);
        const quint32 hash = LxSymbolKey::hashOf(text);
        if (known.contains(hash)) {
            one = known.value(hash);
            other = text;
        }
        known.insert(hash, text);
    }
    QVERIFY2(!one.isEmpty(), "no two texts of one hash");
    QVERIFY(one != other);
    Map map;
    LxSymbolIndex<int> index;
    index.entry(map, one) = 1;
    QVERIFY(!index.constFind(map, other));
    index.entry(map, other) = 2;
    QCOMPARE(*index.constFind(map, one), 1);
    QCOMPARE(*index.constFind(map, other), 2);
}

void tst_symbolindex::hashesOfSymbolsDiffer()
{
    constexpr int Symbols = 20000;
    constexpr quint32 LowBits = 0xffff; // what a table of 65,536 places looks at
    QSet<quint32> hashes;
    QSet<quint32> places;
    for (int i = 0; i < Symbols; ++i) {
        for (const QString &text : { symbol(i), symbol(i).replace(QLatin1String("SH"), QLatin1String("SZ")) }) {
            hashes.insert(LxSymbolKey::hashOf(text));
            places.insert(LxSymbolKey::hashOf(text) & LowBits);
        }
    }
    QVERIFY2(hashes.size() > 2 * Symbols - 10, qPrintable(QString::number(hashes.size())));
    // 40,000 balls thrown at random leave 30,000 of 65,536 boxes with one.
    QVERIFY2(places.size() > 29000, qPrintable(QString::number(places.size())));
    QVERIFY(LxSymbolKey::hashOf(QStringLiteral("600000.SH")) != LxSymbolKey::hashOf(QStringLiteral("600000.S")));
    QCOMPARE(LxSymbolKey::hashOf(QString()), LxSymbolKey::hashOf(QString::fromLatin1("")));
}

QTEST_GUILESS_MAIN(tst_symbolindex)
#include "tst_symbolindex.moc"
