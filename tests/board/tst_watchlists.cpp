#include "watchlists.h"

#include <QSettings>
#include <QtTest>

class tst_watchlists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsAreAddedRenamedAndRemoved();
    void namesAreUnique();
    void settingsKeepTheLists();
    void textsAreReadLeniently();
    void textsAreReadBack();
};

void tst_watchlists::listsAreAddedRenamedAndRemoved()
{
    WatchLists lists;
    QSignalSpy changed(&lists, &WatchLists::listsChanged);
    QCOMPARE(lists.add(QStringLiteral("Banks"), { QStringLiteral("600000.SH") }), 0);
    QCOMPARE(lists.add(QStringLiteral("Others"), {}), 1);
    lists.rename(1, QStringLiteral("Spirits"));
    lists.setSymbols(1, { QStringLiteral("600519.SH") });
    QCOMPARE(lists.lists().at(1).name, QStringLiteral("Spirits"));
    QCOMPARE(lists.lists().at(1).symbols, QStringList { QStringLiteral("600519.SH") });
    lists.remove(0);
    QCOMPARE(lists.count(), 1);
    QCOMPARE(lists.lists().at(0).name, QStringLiteral("Spirits"));
    QCOMPARE(changed.count(), 4);
}

void tst_watchlists::namesAreUnique()
{
    WatchLists lists;
    lists.add(QStringLiteral("A"), {});
    lists.add(QStringLiteral("A"), {});
    lists.add(QStringLiteral("A"), {});
    QCOMPARE(lists.lists().at(1).name, QStringLiteral("A 2"));
    QCOMPARE(lists.lists().at(2).name, QStringLiteral("A 3"));
    lists.rename(1, QStringLiteral("A 2")); // its own name is free
    QCOMPARE(lists.lists().at(1).name, QStringLiteral("A 2"));
}

void tst_watchlists::settingsKeepTheLists()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("settings.ini"));
    WatchLists lists;
    lists.add(QStringLiteral("自选股"), { QStringLiteral("600519.SH"), QStringLiteral("000001.SZ") });
    lists.add(QStringLiteral("Empty"), {});
    {
        QSettings settings(path, QSettings::IniFormat);
        lists.add(QStringLiteral("Removed"), { QStringLiteral("600000.SH") });
        lists.save(&settings);
        lists.remove(2);
        lists.save(&settings);
    }
    const QSettings settings(path, QSettings::IniFormat);
    WatchLists loaded;
    loaded.load(settings);
    QCOMPARE(loaded.count(), 2);
    QCOMPARE(loaded.lists().at(0).name, QStringLiteral("自选股"));
    QCOMPARE(loaded.lists().at(0).symbols, lists.lists().at(0).symbols);
    QCOMPARE(loaded.lists().at(1).symbols, QStringList());
}

void tst_watchlists::textsAreReadLeniently()
{
    QStringList rejected;
    const QStringList symbols = WatchLists::fromText(
        QStringLiteral("# my list\n600519.SH, 000001.sz;IF2101.CF\r\n\n 600519.SH  # again\nnonsense 12345\n"),
        &rejected);
    QCOMPARE(symbols,
             (QStringList { QStringLiteral("600519.SH"), QStringLiteral("000001.SZ"), QStringLiteral("IF2101.CF") }));
    QCOMPARE(rejected, (QStringList { QStringLiteral("nonsense"), QStringLiteral("12345") }));
}

void tst_watchlists::textsAreReadBack()
{
    const QStringList symbols { QStringLiteral("600519.SH"), QStringLiteral("000001.SZ") };
    QStringList rejected;
    QCOMPARE(WatchLists::fromText(WatchLists::toText(symbols), &rejected), symbols);
    QVERIFY(rejected.isEmpty());
}

QTEST_GUILESS_MAIN(tst_watchlists)

#include "tst_watchlists.moc"
