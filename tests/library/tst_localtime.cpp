// The local time of day, beside what Qt tells at every call.

#include "lxlocaltime.h"

#include <QDateTime>
#include <QtTest>

#include <time.h>

namespace {

constexpr qint64 MsPerMinute = 60 * 1000;

void setZone(const QByteArray &zone)
{
    qputenv("TZ", zone);
    tzset();
}

// Forgets the offset of the minute: it is asked for anew in every other one.
void askInAnotherMinute()
{
    LxLocalTime::at(MsPerMinute / 2);
}

qint64 utc(const QString &text)
{
    return QDateTime::fromString(text + QLatin1Char('Z'), Qt::ISODateWithMs).toMSecsSinceEpoch();
}

} // namespace

class tst_localtime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_zone = qgetenv("TZ"); }
    void cleanup()
    {
        m_zone.isNull() ? qunsetenv("TZ") : qputenv("TZ", m_zone);
        tzset();
        askInAnotherMinute();
    }

    void isWhatQtTells_data();
    void isWhatQtTells();
    void aMinuteKeepsItsOffset();
    void nowIsTheTimeOfTheSystem();

private:
    QByteArray m_zone;
};

void tst_localtime::isWhatQtTells_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<qint64>("moment");
    const struct
    {
        const char *name;
        QByteArray zone;
        QStringList moments;
    } zones[] {
        { "UTC", "UTC0", {} },
        { "China", "CST-8", {} },
        { "Nepal, three quarters of an hour", "<+0545>-5:45", {} },
        { "local mean time, with odd seconds", "LMT-8:05:43", {} },
        { "behind UTC by half an hour", "<-0330>3:30", {} },
        { "the furthest ahead", "<+14>-14", {} },
        { "the furthest behind", "<-12>12", {} },
        { "New York",
          "EST5EDT,M3.2.0,M11.1.0",
          { QStringLiteral("2021-03-14T07:00:00"), QStringLiteral("2021-11-07T06:00:00") } },
        { "Lord Howe, half an hour of summer time",
          "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0",
          { QStringLiteral("2021-10-02T15:30:00"), QStringLiteral("2021-04-03T15:00:00") } },
    };
    for (const auto &zone : zones) {
        QStringList moments { QStringLiteral("2021-12-01T01:30:00"), QStringLiteral("2021-06-30T23:59:59.999"),
                              QStringLiteral("2024-02-29T00:00:00"), QStringLiteral("1970-01-01T00:00:00"),
                              QStringLiteral("1969-12-31T23:59:30"), QStringLiteral("2100-01-01T12:00:00") };
        moments += zone.moments;
        for (const QString &moment : std::as_const(moments))
            QTest::addRow("%s, %s", zone.name, qPrintable(moment)) << zone.zone << utc(moment);
    }
}

void tst_localtime::isWhatQtTells()
{
    QFETCH(QByteArray, zone);
    QFETCH(qint64, moment);
    setZone(zone);
    askInAnotherMinute();
    // Forwards over the moment, in steps below a minute, and back again, as a clock that is set back.
    QVector<qint64> moments;
    for (qint64 step = -300; step <= 300; ++step)
        moments.append(moment + step * 7001);
    for (qint64 step : { -1, 0, 1, 2, -60000, -59999, 60000, 59999 })
        moments.append(moment + step);
    for (const qint64 at : std::as_const(moments))
        QCOMPARE(LxLocalTime::at(at), QDateTime::fromMSecsSinceEpoch(at).time());
}

void tst_localtime::aMinuteKeepsItsOffset()
{
    const qint64 noon = utc(QStringLiteral("2021-12-01T12:00:00"));
    setZone("UTC0");
    askInAnotherMinute();
    QCOMPARE(LxLocalTime::at(noon), QTime(12, 0));
    setZone("CST-8");
    QCOMPARE(LxLocalTime::at(noon + MsPerMinute - 1), QTime(12, 0, 59, 999));
    QCOMPARE(LxLocalTime::at(noon + MsPerMinute), QTime(20, 1));
    QCOMPARE(LxLocalTime::at(noon), QTime(20, 0));
}

void tst_localtime::nowIsTheTimeOfTheSystem()
{
    setZone("<+0545>-5:45");
    askInAnotherMinute();
    QTime before;
    QTime now;
    QTime after;
    do { // until it is not over midnight
        before = QTime::currentTime();
        now = LxLocalTime::now();
        after = QTime::currentTime();
    } while (before > after);
    QVERIFY(before <= now && now <= after);
}

QTEST_GUILESS_MAIN(tst_localtime)
#include "tst_localtime.moc"
