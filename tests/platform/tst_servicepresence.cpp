#include <lxmsg/packmessagecommon.h>
#include <servicepresence.h>

#include <QtTest>

namespace {

const QString first = QStringLiteral("first");
const QString second = QStringLiteral("second");
const QDate day(2023, 2, 1);

ServiceAnnouncement replaying(const QString &id, const QTime &time, qint64 round = 1, const QDate &date = day)
{
    ServiceAnnouncement announcement;
    announcement.id = id;
    announcement.day = date;
    announcement.time = time;
    announcement.round = round;
    return announcement;
}

ServiceAnnouncement answering(const QString &id)
{
    ServiceAnnouncement announcement;
    announcement.id = id;
    announcement.answers = true;
    return announcement;
}

ServiceAnnouncement leaving(ServiceAnnouncement announcement)
{
    announcement.isLeaving = true;
    return announcement;
}

} // namespace

/// The services on a bus as their announcements tell of them, by a clock that the test sets.
class tst_ServicePresence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void announcementsCrossTheBus();
    void foreignBodiesAreNoAnnouncements();
    void brokerSaysAtOnceThatNobodyServes();
    void silenceMeansAbsence();
    void serviceThatStopsIsAbsentSinceItsLastAnnouncement();
    void serviceThatLeavesIsAbsentAtOnce();
    void serviceComesBack();
    void otherServicesRemain();
    void brokenConnectionSaysNothing();
    void timeInWhichTheClientWasStoppedDoesNotCount();
    void nobodyPublishes_data();
    void nobodyPublishes();
    void publisherThatIsStillUnheardIsWaitedFor();
    void jumpsOfMarketTime_data();
    void jumpsOfMarketTime();
    void severalPublishersHaveATimeEach();
    void successorOfAServiceThatWasKilledIsFollowed();

private:
    void hear(const ServiceAnnouncement &announcement) { m_jump = m_presence.heard(announcement, m_now); }
    void pass(qint64 milliseconds);

    Moment m_now;
    ServicePresence m_presence { Moment() };
    std::optional<ServicePresence::Jump> m_jump; // of the last announcement
};

void tst_ServicePresence::init()
{
    m_now = { 5000, QDateTime(QDate(2024, 3, 4), QTime(10, 31)) };
    m_presence = ServicePresence(m_now);
    m_jump.reset();
}

// Time passes, and is looked at four times a second.
void tst_ServicePresence::pass(qint64 milliseconds)
{
    constexpr qint64 Step = 250;
    for (; milliseconds > 0; milliseconds -= Step) {
        const qint64 step = std::min(Step, milliseconds);
        m_now.ms += step;
        m_now.local = m_now.local.addMSecs(step);
        m_presence.check(m_now);
    }
}

void tst_ServicePresence::announcementsCrossTheBus()
{
    ServiceAnnouncement sent = replaying(first, QTime(9, 31, 7, 250), 3);
    sent.host = QStringLiteral("quotes.example");
    sent.process = 4711;
    sent.since = QDateTime(QDate(2024, 3, 4), QTime(8, 0));
    sent.answers = true;
    sent.hasEnded = true;
    sent.isLeaving = true;
    sent.recordsPublished = Q_INT64_C(5000000000);
    sent.messagesDropped = 7;
    sent.requestsAnswered = 9;
    const std::optional<ServiceAnnouncement> read = ServiceAnnouncement::fromBody(sent.toBody());
    QVERIFY(read.has_value());
    QCOMPARE(read->id, sent.id);
    QCOMPARE(read->host, sent.host);
    QCOMPARE(read->process, sent.process);
    QCOMPARE(read->since, sent.since);
    QCOMPARE(read->answers, true);
    QCOMPARE(read->isLeaving, true);
    QCOMPARE(read->marketTime(), QDateTime(day, QTime(9, 31, 7, 250)));
    QCOMPARE(read->round, qint64(3));
    QCOMPARE(read->hasEnded, true);
    QCOMPARE(read->publishes(), false);
    QCOMPARE(read->recordsPublished, sent.recordsPublished);
    QCOMPARE(read->messagesDropped, sent.messagesDropped);
    QCOMPARE(read->requestsAnswered, sent.requestsAnswered);

    const std::optional<ServiceAnnouncement> plain = ServiceAnnouncement::fromBody(answering(second).toBody());
    QVERIFY(plain.has_value());
    QCOMPARE(plain->day, QDate());
    QCOMPARE(plain->marketTime(), QDateTime());
    QCOMPARE(plain->publishes(), false);
}

void tst_ServicePresence::foreignBodiesAreNoAnnouncements()
{
    QVERIFY(!ServiceAnnouncement::fromBody(QVariant()).has_value());
    QVERIFY(!ServiceAnnouncement::fromBody(QStringLiteral("first")).has_value());
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("ServiceID"), QString(QChar(0x1b)) + QString(1000, QLatin1Char('x')));
    pack.AddVaule(QStringLiteral("Host"), QStringLiteral("a\x1b[31mb\nc"));
    pack.AddVaule(QStringLiteral("MDDate"), 20230201);
    pack.AddVaule(QStringLiteral("MDTime"), QStringLiteral("noon"));
    pack.AddVaule(QStringLiteral("Round"), QStringList());
    const std::optional<ServiceAnnouncement> odd = ServiceAnnouncement::fromBody(pack.GetPackedMsg(false));
    QVERIFY(odd.has_value());
    QVERIFY(odd->id.size() <= 64 && !odd->id.contains(QChar(0x1b)));
    QCOMPARE(odd->host, QStringLiteral("a[31mbc"));
    QCOMPARE(odd->marketTime(), QDateTime());
    QCOMPARE(odd->round, qint64(0));
}

void tst_ServicePresence::brokerSaysAtOnceThatNobodyServes()
{
    QCOMPARE(m_presence.state(), ServicePresence::Unknown);
    QCOMPARE(m_presence.publishing(), ServicePresence::NotKnown);
    m_presence.nobodyServes();
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    QCOMPARE(m_presence.publishing(), ServicePresence::Nobody);
    QVERIFY(!m_presence.absentSince().isValid());

    // A service that is known may just not have reconnected yet.
    hear(replaying(first, QTime(9, 30)));
    m_presence.nobodyServes();
    QCOMPARE(m_presence.state(), ServicePresence::Present);
}

void tst_ServicePresence::silenceMeansAbsence()
{
    pass(ServicePresence::AbsentAfterMs);
    QCOMPARE(m_presence.state(), ServicePresence::Unknown);
    pass(250);
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    QVERIFY(!m_presence.absentSince().isValid());
}

void tst_ServicePresence::serviceThatStopsIsAbsentSinceItsLastAnnouncement()
{
    for (int i = 0; i < 10; ++i) {
        hear(replaying(first, QTime(9, 30, i)));
        pass(1000);
        QCOMPARE(m_presence.state(), ServicePresence::Present);
        QCOMPARE(m_presence.publishing(), ServicePresence::Somebody);
    }
    pass(ServicePresence::AbsentAfterMs - 1000);
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    pass(250);
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    QCOMPARE(m_presence.publishing(), ServicePresence::Nobody);
    QCOMPARE(m_presence.absentSince().time(), QTime(10, 31, 9));
    QVERIFY(!m_presence.publisher());
}

void tst_ServicePresence::serviceThatLeavesIsAbsentAtOnce()
{
    hear(replaying(first, QTime(9, 30)));
    pass(500);
    hear(leaving(replaying(first, QTime(9, 30))));
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    QCOMPARE(m_presence.absentSince(), m_now.local);
}

void tst_ServicePresence::serviceComesBack()
{
    m_presence.nobodyServes();
    hear(replaying(first, QTime(9, 30)));
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    QCOMPARE(m_presence.publishing(), ServicePresence::Somebody);
    pass(10000);
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    hear(replaying(second, QTime(9, 40)));
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    QCOMPARE(m_presence.publisher()->id, second);
}

void tst_ServicePresence::otherServicesRemain()
{
    hear(replaying(first, QTime(9, 30)));
    hear(answering(second));
    hear(leaving(replaying(first, QTime(9, 30))));
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    for (int i = 0; i < 3; ++i) {
        pass(1000);
        hear(answering(second));
    }
    QCOMPARE(m_presence.publishing(), ServicePresence::NotKnown);
    pass(1000);
    QCOMPARE(m_presence.publishing(), ServicePresence::Nobody);
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    hear(replaying(first, QTime(9, 30)));
    QCOMPARE(m_presence.publishing(), ServicePresence::Somebody);
}

void tst_ServicePresence::brokenConnectionSaysNothing()
{
    hear(replaying(first, QTime(9, 30)));
    m_presence.connectionLost();
    pass(60000);
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    m_presence.connectionRestored(m_now);
    pass(ServicePresence::AbsentAfterMs);
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    pass(250);
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
    QCOMPARE(m_presence.absentSince().time(), QTime(10, 31));
}

void tst_ServicePresence::timeInWhichTheClientWasStoppedDoesNotCount()
{
    hear(replaying(first, QTime(9, 30)));
    pass(250);
    m_now.ms += 60000;
    m_presence.check(m_now);
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    pass(ServicePresence::AbsentAfterMs);
    QCOMPARE(m_presence.state(), ServicePresence::Absent);
}

void tst_ServicePresence::nobodyPublishes_data()
{
    QTest::addColumn<bool>("hasPublished");
    QTest::newRow("service that only answers") << false;
    QTest::newRow("replay that has ended") << true;
}

void tst_ServicePresence::nobodyPublishes()
{
    QFETCH(bool, hasPublished);

    ServiceAnnouncement announcement = hasPublished ? replaying(first, QTime(15, 0)) : answering(first);
    announcement.hasEnded = hasPublished;
    for (int i = 0; i < 5; ++i) {
        hear(announcement);
        pass(1000);
    }
    QCOMPARE(m_presence.state(), ServicePresence::Present);
    QCOMPARE(m_presence.publishing(), ServicePresence::Nobody);
    QCOMPARE(m_presence.publisher() != nullptr, hasPublished);
    QCOMPARE(m_presence.publisherCount(), 0);
}

void tst_ServicePresence::publisherThatIsStillUnheardIsWaitedFor()
{
    hear(answering(first));
    QCOMPARE(m_presence.publishing(), ServicePresence::NotKnown);
    pass(1000);
    hear(answering(first));
    hear(replaying(second, QTime()));
    QCOMPARE(m_presence.publishing(), ServicePresence::Somebody);
    QCOMPARE(m_presence.publisher()->id, second);
}

void tst_ServicePresence::jumpsOfMarketTime_data()
{
    QTest::addColumn<bool>("firstLeaves");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QTime>("time");
    QTest::addColumn<qint64>("round");
    QTest::addColumn<bool>("isJump");

    const QDate before = day.addDays(-1);
    const QDate after = day.addDays(1);
    QTest::newRow("time goes on") << false << first << day << QTime(14, 0, 1) << qint64(1) << false;
    QTest::newRow("time stands still") << false << first << day << QTime(14, 0) << qint64(1) << false;
    QTest::newRow("day begins again") << false << first << day << QTime(9, 15) << qint64(2) << true;
    QTest::newRow("day begins again, to a later time") << false << first << day << QTime(14, 30) << qint64(2) << true;
    QTest::newRow("day begins again, without a record") << false << first << day << QTime() << qint64(2) << false;
    QTest::newRow("successor replays the same day") << true << second << day << QTime(9, 15) << qint64(1) << true;
    QTest::newRow("successor goes on") << true << second << day << QTime(14, 30) << qint64(1) << false;
    QTest::newRow("successor replays another day") << true << second << before << QTime(15, 0) << qint64(1) << true;
    QTest::newRow("successor replays a later day") << true << second << after << QTime(9, 15) << qint64(1) << false;
    QTest::newRow("second publisher") << false << second << day << QTime(9, 15) << qint64(1) << false;
}

void tst_ServicePresence::jumpsOfMarketTime()
{
    QFETCH(bool, firstLeaves);
    QFETCH(QString, id);
    QFETCH(QDate, date);
    QFETCH(QTime, time);
    QFETCH(qint64, round);
    QFETCH(bool, isJump);

    const ServiceAnnouncement known = replaying(first, QTime(14, 0));
    hear(known);
    QVERIFY(!m_jump.has_value());
    if (firstLeaves)
        hear(leaving(known));
    hear(replaying(id, time, round, date));
    QCOMPARE(m_jump.has_value(), isJump);
    if (isJump) {
        QCOMPARE(m_jump->from, known.marketTime());
        QCOMPARE(m_jump->to, QDateTime(date, time));
        hear(replaying(id, time.addSecs(1), round, date));
        QVERIFY(!m_jump.has_value()); // it is told once
    } else if (!time.isValid()) {
        hear(replaying(id, QTime(9, 15), round, date));
        QVERIFY(m_jump.has_value()); // it was the beginning of one
    }
}

void tst_ServicePresence::severalPublishersHaveATimeEach()
{
    hear(replaying(first, QTime(14, 0)));
    for (int i = 0; i < 3; ++i) {
        hear(replaying(second, QTime(9, 30, i)));
        QVERIFY(!m_jump.has_value());
        hear(replaying(first, QTime(14, 0, i)));
        QVERIFY(!m_jump.has_value());
    }
    QCOMPARE(m_presence.publisherCount(), 2);
}

// It begins before the other one is known to be gone.
void tst_ServicePresence::successorOfAServiceThatWasKilledIsFollowed()
{
    hear(replaying(first, QTime(14, 0)));
    QVector<ServicePresence::Jump> jumps;
    for (int i = 0; i < 5; ++i) {
        pass(900);
        hear(replaying(second, QTime(9, 30, i)));
        if (m_jump)
            jumps.append(*m_jump);
    }
    QCOMPARE(jumps.size(), 1);
    QCOMPARE(jumps.constFirst().from, QDateTime(day, QTime(14, 0)));
    QCOMPARE(jumps.constFirst().to, QDateTime(day, QTime(9, 30, 2)));
}

QTEST_GUILESS_MAIN(tst_ServicePresence)
#include "tst_servicepresence.moc"
