#include <recordeddates.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

class tst_RecordedDates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void datesOfNames_data();
    void datesOfNames();
    void recordedData();
    void latestIsChosen();
    void wantedIsChosen();
    void missingDateNamesTheOthers();
    void folderWithoutRecordings();
    void unreadableRecording();
    void folderWithoutPermission();

private:
    void write(const QString &name, const QByteArray &content)
    {
        QFile file(m_folder->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), qint64(content.size()));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_error;
};

void tst_RecordedDates::datesOfNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QDate>("date");
    QTest::newRow("one date") << "stock_snapshots_20230201" << QDate(2023, 2, 1);
    QTest::newRow("two dates") << "index_snapshots_20181203_20190201" << QDate();
    QTest::newRow("no date") << "stock_snapshots_today" << QDate();
    QTest::newRow("not a date") << "stock_snapshots_20230231" << QDate();
    QTest::newRow("no name") << "" << QDate();
}

void tst_RecordedDates::datesOfNames()
{
    QFETCH(QString, name);
    QFETCH(QDate, date);
    QCOMPARE(RecordedDates::ofName(name).value_or(QDate()), date);
}

void tst_RecordedDates::recordedData()
{
    const auto dates = RecordedDates::inFolder(QStringLiteral(LX_DATA_DIR), &m_error);
    QVERIFY2(dates, qPrintable(m_error));
    // 43 days of an index, one of which has nothing else, and eight days in files of one day each.
    QCOMPARE(dates->size(), 43 + 7);
    QCOMPARE(dates->first(), QDate(2018, 12, 3));
    QVERIFY(dates->contains(QDate(2019, 2, 1)));
    QVERIFY(!dates->contains(QDate(2019, 1, 1))); // a holiday within the range
    QVERIFY(dates->contains(QDate(2023, 2, 1)));
    QCOMPARE(dates->last(), QDate(2023, 7, 11));
}

void tst_RecordedDates::latestIsChosen()
{
    QCOMPARE(RecordedDates::choose(QStringLiteral(LX_DATA_DIR), QString(), &m_error).value_or(m_error),
             QStringLiteral("20230711"));
}

void tst_RecordedDates::wantedIsChosen()
{
    QCOMPARE(RecordedDates::choose(QStringLiteral(LX_DATA_DIR), QStringLiteral("20190104"), &m_error).value_or(m_error),
             QStringLiteral("20190104"));
}

void tst_RecordedDates::missingDateNamesTheOthers()
{
    write(QStringLiteral("orders_20230201.csv"), "MDDate\n");
    write(QStringLiteral("index_snapshots_20181203_20181231.csv"), "Symbol,MDDate\na,20181203\na,20181205\na,x\n");
    QVERIFY(!RecordedDates::choose(m_folder->path(), QStringLiteral("20181204"), &m_error));
    QCOMPARE(m_error,
             m_folder->path()
                 + QStringLiteral(": no recordings of 2018-12-04; there are recordings of 2018-12-03, 2018-12-05, "
                                  "2023-02-01"));
}

void tst_RecordedDates::folderWithoutRecordings()
{
    write(QStringLiteral("kline_daily.csv"), "MDDate\n20230201\n");
    QVERIFY(!RecordedDates::choose(m_folder->path(), QString(), &m_error));
    QCOMPARE(m_error, m_folder->path() + QStringLiteral(": no recordings in this folder"));
    QVERIFY(!RecordedDates::choose(m_folder->filePath(QStringLiteral("missing")), QString(), &m_error));
    QVERIFY2(m_error.endsWith(QStringLiteral("missing: no such folder")), qPrintable(m_error));
}

void tst_RecordedDates::unreadableRecording()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("orders_20230201.csv")));
    QVERIFY(!RecordedDates::inFolder(m_folder->path(), &m_error));
    QVERIFY2(m_error.contains(QStringLiteral("orders_20230201.csv: a folder")), qPrintable(m_error));
}

void tst_RecordedDates::folderWithoutPermission()
{
    write(QStringLiteral("stock_snapshots_20230201.csv"), "MDDate\n");
    const uid_t user = ::getuid();
    // Root may read everything, but not in the name of somebody else.
    if (user == 0)
        QCOMPARE(::setreuid(65534, uid_t(-1)), 0);
    else
        QVERIFY(QFile::setPermissions(m_folder->path(), QFileDevice::WriteOwner));
    const bool found = RecordedDates::inFolder(m_folder->path(), &m_error).has_value();
    if (user == 0)
        QCOMPARE(::setreuid(0, uid_t(-1)), 0);
    else
        QVERIFY(QFile::setPermissions(m_folder->path(),
                                      QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    QVERIFY(!found);
    QCOMPARE(m_error, m_folder->path() + QStringLiteral(": the folder cannot be read (permission denied)"));
}

QTEST_GUILESS_MAIN(tst_RecordedDates)
#include "tst_recordeddates.moc"
