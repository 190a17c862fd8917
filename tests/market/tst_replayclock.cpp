#include "recordeddata.h"

#include <csvrecording.h>
#include <replayclock.h>

#include <QtTest>

namespace {

const QDate day(2023, 2, 1);

QVector<QTime> timesOf(const QString &file)
{
    QVector<QTime> times;
    for (const RecordedRow &row : readRecordedRows(file)) {
        const int number = row.value(QStringLiteral("MDTime")).toInt();
        times.append(QTime(number / 10000000, number / 100000 % 100, number / 1000 % 100, number % 1000));
    }
    return times;
}

// When records of these times are due at real time, by time of day.
QMap<QTime, double> dueTimes(const QVector<QTime> &times, ReplayClock::Hours hours, bool keepPauses)
{
    QMap<QTime, double> due;
    ReplayClock clock(1, hours, keepPauses);
    for (const QTime time : times)
        due.insert(time, clock.due(day, time));
    return due;
}

// The time that the records from `from` to `to` take.
double duration(const QMap<QTime, double> &due, QTime from, QTime to)
{
    return *std::prev(due.upperBound(to)) - *due.lowerBound(from);
}

double span(const QMap<QTime, double> &due, QTime from, QTime to)
{
    return due.lowerBound(from).key().msecsTo(std::prev(due.upperBound(to)).key());
}

} // namespace

/// The pace of replays, which leaves pauses out.
class tst_ReplayClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordedDaySkipsItsPauses_data();
    void recordedDaySkipsItsPauses();
    void nightSessionIsPaced();
    void gapsAreSkipped();
    void speedDivides();
    void datesFollowAtOnce();
};

void tst_ReplayClock::recordedDaySkipsItsPauses_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("hasQuotesAtLunch");

    for (const char *date : { "20220601", "20230201", "20230202" })
        QTest::newRow(date) << QStringLiteral("stock_snapshots_%1.csv").arg(QString::fromLatin1(date)) << true;
    QTest::newRow("20210104, futures") << QStringLiteral("future_snapshots_20210104.csv") << false;
    QTest::newRow("20210105, futures") << QStringLiteral("future_snapshots_20210105.csv") << false;
}

void tst_ReplayClock::recordedDaySkipsItsPauses()
{
    QFETCH(QString, file);
    QFETCH(bool, hasQuotesAtLunch);

    const ReplayClock::Hours hours = hasQuotesAtLunch ? ReplayClock::Hours::Stocks : ReplayClock::Hours::Futures;
    const QVector<QTime> times = timesOf(file);
    const QMap<QTime, double> skipped = dueTimes(times, hours, false);
    const QMap<QTime, double> kept = dueTimes(times, hours, true);
    const QTime first = kept.firstKey();
    const QTime last = kept.lastKey();
    QCOMPARE(kept.last(), double(first.msecsTo(last)));

    // Whatever is quoted at lunch and before the opening auction follows at once, but the sessions take their time.
    const QTime noon(11, 30);
    const QTime afternoon(13, 0);
    const bool isQuoted = std::distance(skipped.upperBound(noon), skipped.lowerBound(afternoon)) > 50;
    QCOMPARE(isQuoted, hasQuotesAtLunch);
    if (isQuoted)
        QCOMPARE(duration(skipped, noon.addMSecs(1), afternoon), 0.0);
    for (const auto &[from, to] : { std::pair(QTime(9, 30), QTime(11, 29)), std::pair(QTime(13, 1), QTime(14, 59)) }) {
        QCOMPARE(duration(skipped, from, to), span(kept, from, to));
        QVERIFY(duration(skipped, from, to) > 100 * 60 * 1000);
    }
    if (first < QTime(9, 0))
        QCOMPARE(duration(skipped, first, QTime(9, 15)), 0.0);
    // What is left out of the afternoon's begin is at most the last quote before it.
    QVERIFY(skipped.last() <= (135 + 150) * 60 * 1000 + 40 * 60 * 1000);
    QVERIFY(skipped.last() < kept.last() - 85 * 60 * 1000);
}

void tst_ReplayClock::nightSessionIsPaced()
{
    const QVector<QTime> times { QTime(0, 0),  QTime(2, 30), QTime(9, 0),  QTime(9, 4),
                                 QTime(15, 0), QTime(21, 0), QTime(21, 3), QTime(23, 59) };
    const auto dues = [&times](ReplayClock::Hours hours, bool keepPauses) {
        ReplayClock clock(1, hours, keepPauses);
        QVector<int> minutes;
        for (const QTime &time : times)
            minutes.append(qRound(clock.due(day, time) / 60000));
        return minutes;
    };
    // The night is a pause of its own, between the day's close and the evening's opening.
    QCOMPARE(dues(ReplayClock::Hours::Futures, true), (QVector<int> { 0, 150, 540, 544, 900, 1260, 1263, 1439 }));
    QCOMPARE(dues(ReplayClock::Hours::Futures, false), (QVector<int> { 0, 0, 0, 4, 4, 4, 7, 7 }));
    QCOMPARE(dues(ReplayClock::Hours::Stocks, false), (QVector<int> { 0, 0, 0, 0, 0, 0, 0, 0 }));

    // With a record every minute, as of a busy contract, all of the sessions and nothing else takes time.
    const auto busy = [](ReplayClock::Hours hours) {
        ReplayClock clock(1, hours, false);
        double due = 0;
        for (int minute = 0; minute < 24 * 60; ++minute)
            due = clock.due(day, QTime(minute / 60, minute % 60));
        return qRound(due / 60000);
    };
    QCOMPARE(busy(ReplayClock::Hours::Futures), 150 + 155 + 150 + 184);
    QCOMPARE(busy(ReplayClock::Hours::Stocks), 135 + 150);
}

void tst_ReplayClock::gapsAreSkipped()
{
    ReplayClock clock(1, ReplayClock::Hours::Stocks, false);
    QCOMPARE(clock.due(day, QTime(9, 25)), 0.0);
    QCOMPARE(clock.due(day, QTime(9, 30)), 300000.0);
    QCOMPARE(clock.due(day, QTime(9, 35, 0, 1)), 300000.0);
    QCOMPARE(clock.due(day, QTime(9, 35, 1, 1)), 301000.0);
    // Across the beginning of the lunch break, only what is before it counts.
    QCOMPARE(clock.due(day, QTime(11, 29, 58)), 301000.0);
    QCOMPARE(clock.due(day, QTime(11, 30, 3)), 303000.0);
}

void tst_ReplayClock::speedDivides()
{
    ReplayClock clock(0.5, ReplayClock::Hours::Stocks, false);
    QCOMPARE(clock.due(day, QTime(10, 0)), 0.0);
    QCOMPARE(clock.due(day, QTime(10, 0, 3)), 6000.0);
}

void tst_ReplayClock::datesFollowAtOnce()
{
    for (const bool keepPauses : { false, true }) {
        ReplayClock clock(1, ReplayClock::Hours::Futures, keepPauses);
        QCOMPARE(clock.due(day, QTime(14, 59)), 0.0);
        QCOMPARE(clock.due(day, QTime(15, 0)), 60000.0);
        QCOMPARE(clock.due(day.addDays(1), QTime(9, 0)), 60000.0);
        QCOMPARE(clock.due(day.addDays(1), QTime(9, 0, 1)), 61000.0);
    }
}

QTEST_GUILESS_MAIN(tst_ReplayClock)

#include "tst_replayclock.moc"
