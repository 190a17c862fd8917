#include "lxtradingtime.h"

#include <QtTest>

using namespace LxTradingTime;

namespace {

int at(int hours, int minutes, int milliseconds = 0)
{
    return (hours * 60 + minutes) * 60000 + milliseconds;
}

} // namespace

class tst_tradingtime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTimes();
    void elapsedTimeStandsStillOutsideOfTrading_data();
    void elapsedTimeStandsStillOutsideOfTrading();
    void barsEndAtTheirMinute_data();
    void barsEndAtTheirMinute();
    void indexesNumberTheMinutesOfTrading();
};

void tst_tradingtime::readsTimes()
{
    QCOMPARE(fromText(QStringLiteral("093003120")), at(9, 30, 3120));
    QCOMPARE(fromText(QStringLiteral("000000000")), 0);
    for (const char *text : { "", "9300000", "0930000000", "09300000x", "-93000000" })
        QCOMPARE(fromText(QString::fromLatin1(text)), -1);
}

void tst_tradingtime::elapsedTimeStandsStillOutsideOfTrading_data()
{
    QTest::addColumn<int>("time");
    QTest::addColumn<int>("expected");
    QTest::newRow("unknown") << -1 << 0;
    QTest::newRow("auction") << at(9, 20) << 0;
    QTest::newRow("opening") << at(9, 30) << 0;
    QTest::newRow("morning") << at(10, 0, 5) << at(0, 30, 5);
    QTest::newRow("midday begins") << at(11, 30) << at(2, 0);
    QTest::newRow("midday ends") << at(13, 0) << at(2, 0);
    QTest::newRow("afternoon") << at(13, 1) << at(2, 1);
    QTest::newRow("close") << at(15, 0) << at(4, 0);
    QTest::newRow("evening") << at(20, 0) << at(4, 0);
}

void tst_tradingtime::elapsedTimeStandsStillOutsideOfTrading()
{
    QFETCH(int, time);
    QTEST(elapsed(time), "expected");
}

void tst_tradingtime::barsEndAtTheirMinute_data()
{
    QTest::addColumn<int>("time");
    QTest::addColumn<int>("expected");
    QTest::newRow("opening auction") << at(9, 25) << 9 * 60 + 31;
    QTest::newRow("opening") << at(9, 30) << 9 * 60 + 31;
    QTest::newRow("first minute") << at(9, 30, 1) << 9 * 60 + 31;
    QTest::newRow("end of the first minute") << at(9, 31) << 9 * 60 + 31;
    QTest::newRow("second minute") << at(9, 31, 1) << 9 * 60 + 32;
    QTest::newRow("end of the morning") << at(11, 30) << 11 * 60 + 30;
    QTest::newRow("just after the morning") << at(11, 30, 500) << 11 * 60 + 30;
    QTest::newRow("midday ends") << at(13, 0) << 11 * 60 + 30;
    QTest::newRow("afternoon begins") << at(13, 0, 1) << 13 * 60 + 1;
    QTest::newRow("close") << at(15, 0) << 15 * 60;
    QTest::newRow("after the close") << at(15, 0, 3000) << 15 * 60;
}

void tst_tradingtime::barsEndAtTheirMinute()
{
    QFETCH(int, time);
    QTEST(barMinute(time), "expected");
}

void tst_tradingtime::indexesNumberTheMinutesOfTrading()
{
    QCOMPARE(minuteOfBar(0), 9 * 60 + 31);
    QCOMPARE(minuteOfBar(119), 11 * 60 + 30);
    QCOMPARE(minuteOfBar(120), 13 * 60 + 1);
    QCOMPARE(minuteOfBar(239), 15 * 60);
    for (int index = 0; index < MinutesPerDay; ++index)
        QCOMPARE(barIndex(minuteOfBar(index)), index);
}

QTEST_APPLESS_MAIN(tst_tradingtime)

#include "tst_tradingtime.moc"
