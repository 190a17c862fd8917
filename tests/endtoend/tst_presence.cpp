#include "busprograms.h"
#include "terminalscreen.h"

#include <bussession.h>

#include <QRegularExpression>

namespace {

const QByteArray noService = "lxquote: no service on the bus\n";

// The recording of another day.
QByteArray recordingOf(const QByteArray &day)
{
    return QByteArray(smallRecording).replace("20230201", day);
}

bool hasLine(const QByteArray &text, const QString &pattern)
{
    return QRegularExpression(QStringLiteral("^%1$").arg(pattern), QRegularExpression::MultilineOption)
        .match(QString::fromUtf8(text))
        .hasMatch();
}

const QString noServiceSince = QStringLiteral("lxquote: no service since \\d\\d:\\d\\d:\\d\\d");

} // namespace

/// The programs tell whether there is a service on the bus, and what it publishes.
class tst_Presence : public BrokerTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void announcementTellsDayAndCounters();
    void absenceEndsWhatCannotBeComplete_data();
    void absenceEndsWhatCannotBeComplete();
    void snapshotOfAnEndedReplayNamesWhatIsMissing();
    void limitIsTheNumberOfRecords();
    void watchTellsComingAndGoing();
    void watchTellsThatMarketTimeGoesBack();
    void terminalShowsPresence();
    void publishersAtTheSameTimeAreLogged();
    void timeoutBeginsWithTheProgram();

private:
    std::unique_ptr<RunningProgram> replay(const char *options, const QString &day = QString()) const
    {
        const QString folder = day.isEmpty() ? m_recordings.path() : m_otherDay.path();
        return std::make_unique<RunningProgram>(marketd, serveFolder(folder, options));
    }

    RecordingFolder m_recordings;
    RecordingFolder m_otherDay;
};

void tst_Presence::initTestCase()
{
    BrokerTest::initTestCase();
    m_recordings.write(smallFile, smallRecording);
    m_otherDay.write(QStringLiteral("stock_snapshots_20230131.csv"), recordingOf("20230131"));
}

void tst_Presence::announcementTellsDayAndCounters()
{
    QString error;
    QVERIFY2(LxBus::start(m_broker->url(), {}, &error), qPrintable(error));
    const auto stop = qScopeGuard([] { LxBus::stop(); });
    const PresenceWatch watch;
    const ServicePresence &presence = watch.presence();
    VERIFY_SOON(presence.state() == ServicePresence::Absent);

    RunningProgram service(marketd, serveFolder(m_recordings.path(), "--speed max --store") + QStringList { m_store });
    VERIFY_SOON(presence.publisher() && presence.publisher()->hasEnded);
    const ServiceAnnouncement announcement = *presence.publisher();
    QCOMPARE(announcement.marketTime(), QDateTime(QDate(2023, 2, 1), QTime(9, 30, 2)));
    QCOMPARE(announcement.recordsPublished, qint64(4));
    QCOMPARE(announcement.round, qint64(1));
    QCOMPARE(announcement.answers, true);
    QCOMPARE(announcement.requestsAnswered, qint64(0));
    QVERIFY(announcement.process > 0 && !announcement.host.isEmpty());
    QCOMPARE(ask(words("tradeday 2023-01-20 5")).exitCode, 0);
    VERIFY_SOON(presence.publisher() && presence.publisher()->requestsAnswered == 1);

    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
    VERIFY_SOON(presence.state() == ServicePresence::Absent);
    QVERIFY(presence.absentSince().isValid());
    // The question to which nobody answered is no loss.
    QCOMPARE(LxBus::current()->statistics().totalDropped(), quint64(0));
}

void tst_Presence::absenceEndsWhatCannotBeComplete_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<bool>("isAnswered"); // a service answers requests

    QTest::newRow("snapshot") << words("snapshot 600519.SH --timeout 3600") << false;
    QTest::newRow("lines") << words("watch 600519.SH --limit 1") << false;
    QTest::newRow("objects") << words("watch 600519.SH --limit 1 --format ndjson") << false;
    QTest::newRow("trades") << words("watch 600519.SH --limit 1 --kinds trade") << false;
    QTest::newRow("snapshot, service without recordings") << words("snapshot 600519.SH --timeout 3600") << true;
    QTest::newRow("lines, service without recordings") << words("watch 600519.SH --limit 1") << true;
}

void tst_Presence::absenceEndsWhatCannotBeComplete()
{
    QFETCH(QStringList, command);
    QFETCH(bool, isAnswered);

    std::unique_ptr<RunningProgram> service;
    if (isAnswered) {
        service = std::make_unique<RunningProgram>(marketd, serveStore());
        VERIFY_SOON(service->err().contains("marketd: ready\n"));
    }
    // The test does not wait for as long as the command would.
    const Program::Result result = ask(command);
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains(isAnswered ? QByteArray("lxquote: no service ") : noService), result.err);
    QVERIFY2(!result.err.contains("lx.bus"), result.err); // the question to which nobody answered is no loss
    QVERIFY2(!result.out.contains("600519.SH"), result.out);
}

void tst_Presence::snapshotOfAnEndedReplayNamesWhatIsMissing()
{
    const auto service = replay("--speed max");
    VERIFY_SOON(service->err().contains("replay ends"));
    const Program::Result result = ask(words("snapshot 999999.XX 600519.SH --timeout 3600"));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("no quote of 999999.XX") && !result.err.contains("no quote of 600519.SH"), result.err);
    QVERIFY2(result.out.startsWith("600519.SH"), result.out);
}

// The latest record is the only one that comes.
void tst_Presence::limitIsTheNumberOfRecords()
{
    const auto service = replay("--speed max");
    VERIFY_SOON(service->err().contains("replay ends"));
    const Program::Result result = ask(words("watch 600519.SH --limit 1"));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().indexOf(QByteArray()), 1);
}

void tst_Presence::watchTellsComingAndGoing()
{
    RunningProgram watch(lxquote, { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), m_broker->url() });
    VERIFY_SOON(watch.err().contains(noService));
    auto service = replay("--speed 1 --loop");
    VERIFY_SOON(watch.err().contains("lxquote: a service publishes: 2023-02-01"));
    service->signal(SIGTERM); // it takes its leave
    VERIFY_SOON(hasLine(watch.err(), noServiceSince));
    service = replay("--speed 1 --loop");
    VERIFY_SOON(watch.err().count("lxquote: a service publishes: 2023-02-01") >= 2);
    service->signal(SIGKILL); // it says nothing any more
    VERIFY_SOON(watch.err().count("lxquote: no service since ") >= 2);
    QVERIFY(watch.isRunning());
    watch.signal(SIGINT);
    QVERIFY2(watch.exitCode() == 0, watch.err());
}

void tst_Presence::watchTellsThatMarketTimeGoesBack()
{
    auto service = replay("--speed 1 --loop");
    VERIFY_SOON(service->err().contains("marketd: ready\n"));
    RunningProgram watch(lxquote, { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), m_broker->url() });
    const QString again = QStringLiteral("lxquote: the market time has gone back from 09:30:0[0-2] to 09:30:0[0-2]");
    VERIFY_SOON(hasLine(watch.err(), again));
    service->signal(SIGTERM);
    QCOMPARE(service->exitCode(), 0);
    service = replay("--speed 1 --loop", QStringLiteral("2023-01-31"));
    VERIFY_SOON(watch.err().contains("lxquote: another day is replayed: 2023-01-31 after 2023-02-01\n"));
}

void tst_Presence::terminalShowsPresence()
{
    const TerminalScreen terminal(100, 10,
                                  { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), m_broker->url() });
    VERIFY_SOON(terminal.status().startsWith(QStringLiteral("no service on the bus; bus connected since ")));
    const auto service = replay("--speed 1 --loop");
    const QRegularExpression market(QStringLiteral("2023-02-01 09:30:0[0-2], \\d+ published; "));
    VERIFY_SOON(market.match(terminal.status()).hasMatch());
    VERIFY_SOON(terminal.status().contains(QStringLiteral("the market time has gone back from ")));
    service->signal(SIGKILL);
    VERIFY_SOON(terminal.status().contains(QStringLiteral("no service since ")));
}

void tst_Presence::publishersAtTheSameTimeAreLogged()
{
    const QByteArray warning = "another service publishes at the same time: ";
    const auto first = replay("--speed 1 --loop");
    VERIFY_SOON(first->err().contains("marketd: ready\n"));
    RunningProgram answering(marketd, serveStore());
    VERIFY_SOON(answering.err().contains("marketd: ready\n"));
    const auto second = replay("--speed 1 --loop", QStringLiteral("2023-01-31"));
    VERIFY_SOON(first->err().contains("replays 2023-01-31 (this one 2023-02-01)"));
    VERIFY_SOON(second->err().contains("replays 2023-02-01 (this one 2023-01-31)"));

    const auto third = replay("--speed 1 --loop");
    VERIFY_SOON(third->err().count(warning) == 2);
    VERIFY_SOON(first->err().count(warning) == 2);
    for (RunningProgram *service : { &answering, first.get(), second.get(), third.get() }) {
        service->signal(SIGTERM);
        QCOMPARE(service->exitCode(), 0);
    }
    QCOMPARE(answering.err().count(warning), 0);
    QCOMPARE(third->err().count(warning), 2); // each is reported once
}

void tst_Presence::timeoutBeginsWithTheProgram()
{
    constexpr int LoadingMs = 50;
    const BusSession::Settings settings;
    QElapsedTimer loading; // of what a command needs before it asks
    loading.start();
    QTRY_VERIFY(loading.elapsed() >= LoadingMs);
    QVERIFY(settings.deadline(LoadingMs).hasExpired());
    QVERIFY(settings.deadline(3600000).remainingTime() <= 3600000 - LoadingMs);
}

QTEST_GUILESS_MAIN(tst_Presence)

#include "tst_presence.moc"
