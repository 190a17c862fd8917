#include "dates.h"

#include <QtTest>

class TestDates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesDates_data()
    {
        QTest::addColumn<QString>("string");
        QTest::addColumn<QDate>("date");
        QTest::addColumn<bool>("compact");
        QTest::newRow("compact") << "20230201" << QDate(2023, 2, 1) << true;
        QTest::newRow("with hyphens") << "2023-02-01" << QDate(2023, 2, 1) << false;
        QTest::newRow("leap day") << "20240229" << QDate(2024, 2, 29) << true;
        for (const char *invalid : { "", "20230229", "20231301", "2023-2-1", "202302011", "2023020", "2023/02/01",
                                     "2023-02--1", "-0230201", "2023020x", " 20230201", "0000-00-00", "20230-02-1" })
            QTest::newRow(invalid) << invalid << QDate() << false;
    }

    void parsesDates()
    {
        QFETCH(QString, string);
        QFETCH(QDate, date);
        QFETCH(bool, compact);
        QCOMPARE(Dates::parseDate(string).value_or(QDate()), date);
        QCOMPARE(Dates::parseCompactDate(string.toLatin1()).value_or(QDate()), compact ? date : QDate());
    }

    void parsesTimes_data()
    {
        QTest::addColumn<QByteArray>("string");
        QTest::addColumn<QTime>("time");
        QTest::newRow("midnight") << QByteArray("000000000") << QTime(0, 0);
        QTest::newRow("with milliseconds") << QByteArray("093001250") << QTime(9, 30, 1, 250);
        for (const char *invalid : { "", "240000000", "096000000", "093060000", "93000000", "0930000000", "09:30:000" })
            QTest::newRow(invalid) << QByteArray(invalid) << QTime();
    }

    void parsesTimes()
    {
        QFETCH(QByteArray, string);
        QFETCH(QTime, time);
        QCOMPARE(Dates::parseCompactTime(string).value_or(QTime()), time);
    }

    void parsesTimesOfOptions_data()
    {
        QTest::addColumn<QString>("string");
        QTest::addColumn<QTime>("time");
        QTest::newRow("minute") << "09:25" << QTime(9, 25);
        QTest::newRow("second") << "15:00:30" << QTime(15, 0, 30);
        for (const char *invalid :
             { "", "9:25", "0925", "24:00", "09:60", "09:25:", "09:25:60", "09-25", "09:25:3x", "+9:25" })
            QTest::newRow(invalid) << invalid << QTime();
    }

    void parsesTimesOfOptions()
    {
        QFETCH(QString, string);
        QFETCH(QTime, time);
        QCOMPARE(Dates::parseTime(string).value_or(QTime()), time);
    }

    void writesWhatItParses()
    {
        const QDate date(2023, 2, 1);
        QCOMPARE(Dates::toString(date), QStringLiteral("2023-02-01"));
        QCOMPARE(Dates::toCompactString(date), QStringLiteral("20230201"));
        QCOMPARE(Dates::toCompactString(QTime(9, 30, 1, 250)), QStringLiteral("093001250"));
        QCOMPARE(Dates::toNumber(date), 20230201);
        QCOMPARE(Dates::dateFromNumber(20230201), date);
        QCOMPARE(Dates::toNumber(QTime(9, 30, 1, 250)), 93001250);
        QCOMPARE(Dates::timeFromNumber(93001250), QTime(9, 30, 1, 250));
    }
};

QTEST_GUILESS_MAIN(TestDates)
#include "tst_dates.moc"
