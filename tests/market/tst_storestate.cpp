#include "recordeddata.h"

#include <storeconnection.h>
#include <storestate.h>

#include <QDateTime>
#include <QtTest>

#include <functional>

namespace {

using Change = std::function<void(const RecordingFolder &folder)>;

void overwrite(const QString &path, qint64 offset, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(offset));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

void execute(const QString &path, const QString &statement)
{
    StoreConnection connection;
    QString error;
    QVERIFY2(connection.open(path, StoreConnection::ReadWrite, &error), qPrintable(error));
    QVERIFY2(connection.execute(statement, &error), qPrintable(error));
}

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(StoreState)

class tst_StoreState : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void states_data();
    void states();
    void lockedStoreIsLeftAlone();
    void sourcesOfAnotherMachineAreNotCompared();
};

void tst_StoreState::states_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<StoreState>("state");
    QTest::addColumn<QString>("reason");
    const auto add = [](const char *name, StoreState state, const char *reason, const Change &change) {
        QTest::newRow(name) << change << state << QString::fromLatin1(reason);
    };
    add("unchanged", StoreState::Current, "", [](const RecordingFolder &) {});
    add("missing", StoreState::Missing, "store: no such file",
        [](const RecordingFolder &folder) { QVERIFY(QFile::remove(folder.store())); });
    add("empty", StoreState::NotAStore, "store: not a store",
        [](const RecordingFolder &folder) { QVERIFY(QFile::resize(folder.store(), 0)); });
    add("another file", StoreState::NotAStore, "store: not a store", [](const RecordingFolder &folder) {
        QVERIFY(QFile::resize(folder.store(), 0));
        overwrite(folder.store(), 0, QByteArray(5000, 'x'));
    });
    add("another database", StoreState::NotAStore, "store: not a store",
        [](const RecordingFolder &folder) { execute(folder.store(), QStringLiteral("PRAGMA application_id = 1")); });
    add("older version", StoreState::OtherVersion, "store: a store of version 1, but version",
        [](const RecordingFolder &folder) { execute(folder.store(), QStringLiteral("PRAGMA user_version = 1")); });
    add("damaged in the middle", StoreState::Damaged, "store: the store is damaged",
        [](const RecordingFolder &folder) { overwrite(folder.store(), 4096, QByteArray(4096, '\xff')); });
    add("truncated", StoreState::Damaged, "store: the store is damaged", [](const RecordingFolder &folder) {
        QVERIFY(QFile::resize(folder.store(), QFileInfo(folder.store()).size() / 2));
    });
    add("larger source", StoreState::Outdated, "kline_daily.csv has changed since the store was built",
        [](const RecordingFolder &folder) {
            QFile file(folder.file("kline_daily"));
            QVERIFY(file.open(QIODevice::Append));
            QVERIFY(file.write("600000.SH,20230104,1,1,1,1,,,\n") > 0);
        });
    add("smaller source", StoreState::Outdated, "kline_daily.csv has changed since the store was built",
        [](const RecordingFolder &folder) {
            const QString file = folder.file("kline_daily");
            QVERIFY(QFile::resize(file, QFileInfo(file).size() - 30));
        });
    add("source of the same size, with its old time", StoreState::Outdated, "kline_daily.csv has changed",
        [](const RecordingFolder &folder) {
            const QString path = folder.file("kline_daily");
            const QDateTime time = QFileInfo(path).lastModified();
            overwrite(path, QFileInfo(path).size() - 5, "9");
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        });
    add("source from before the store", StoreState::Outdated, "kline_daily.csv has changed",
        [](const RecordingFolder &folder) {
            const QString path = folder.file("kline_daily");
            overwrite(path, QFileInfo(path).size() - 5, "9");
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDate(2001, 1, 1).startOfDay(), QFileDevice::FileModificationTime));
        });
    add("source that is removed", StoreState::Outdated, "kline_daily.csv has been removed",
        [](const RecordingFolder &folder) {
            QVERIFY(QFile::rename(folder.file("kline_daily"), folder.file("kline_daily") + QStringLiteral(".old")));
        });
}

void tst_StoreState::states()
{
    QFETCH(Change, change);
    QFETCH(StoreState, state);
    QFETCH(QString, reason);
    RecordingFolder folder;
    folder.append("kline_daily", "600000.SH,20230103,1,1,1,1,,,\n");
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    change(folder);
    QString error;
    QCOMPARE(checkStore(folder.store(), &error), state);
    QVERIFY2(error.contains(reason) && error.isEmpty() == (state == StoreState::Current), qPrintable(error));
    QVERIFY2(!error.contains(QLatin1Char('\n')), qPrintable(error));
    if (state == StoreState::Damaged || state == StoreState::Outdated || state == StoreState::OtherVersion)
        QVERIFY2(error.endsWith(QStringLiteral("; import the data again")), qPrintable(error));
    if (state == StoreState::Current)
        return;
    const bool wasStore =
        state == StoreState::OtherVersion || state == StoreState::Damaged || state == StoreState::Outdated;
    QCOMPARE(error.endsWith(QStringLiteral("; import the data again")), wasStore);

    if (!QFile::exists(folder.file("kline_daily")))
        folder.write("kline_daily", "Symbol,MDDate,OpenPx,HighPx,LowPx,ClosePx\n");
    QVERIFY2(ensureStore(folder.path(), folder.store(), nullptr, &error), qPrintable(error));
    QCOMPARE(checkStore(folder.store(), &error), StoreState::Current);
}

void tst_StoreState::lockedStoreIsLeftAlone()
{
    RecordingFolder folder;
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    StoreConnection other;
    QString error;
    QVERIFY(other.open(folder.store(), StoreConnection::ReadWrite, &error));
    QVERIFY2(other.execute(QStringLiteral("BEGIN EXCLUSIVE"), &error), qPrintable(error));
    QCOMPARE(checkStore(folder.store(), &error), StoreState::Unreadable);
    QCOMPARE(error, folder.store() + QStringLiteral(": locked by another process"));
    QVERIFY(!ensureStore(folder.path(), folder.store(), nullptr, &error));
    QCOMPARE(error, folder.store() + QStringLiteral(": locked by another process"));
    QVERIFY(importError(folder.path(), folder.store()).contains(QStringLiteral("locked by another process")));
    other.close();
    QCOMPARE(checkStore(folder.store(), &error), StoreState::Current);
}

void tst_StoreState::sourcesOfAnotherMachineAreNotCompared()
{
    QTemporaryDir place;
    const QString store = place.filePath(QStringLiteral("store"));
    {
        RecordingFolder folder;
        QCOMPARE(importError(folder.path(), store), QString());
    }
    QString error;
    QCOMPARE(checkStore(store, &error), StoreState::Current);
}

QTEST_GUILESS_MAIN(tst_StoreState)
#include "tst_storestate.moc"
