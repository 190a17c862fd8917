#include "busprograms.h"

namespace {

const QByteArray smallRecording = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                                  "20230201,093000000,600519.SH,1800,1800,100,180000\n"
                                  "20230201,093000000,000333.SZ,55,55,100,5500\n"
                                  "20230201,093001000,600519.SH,1800,1790,200,359000\n"
                                  "20230201,093002000,600519.SH,1800,1810.25,300,540025\n";
const QString smallFile = QStringLiteral("stock_snapshots_20230201.csv");

} // namespace

/// marketd serve, in processes of its own around a broker.
class tst_Serve : public BrokerTest
{
    Q_OBJECT

private Q_SLOTS:
    void usageErrorsExitWith2_data();
    void usageErrorsExitWith2();
    void helpExitsWith0();
    void failuresExitWith1_data();
    void failuresExitWith1();
    void signalsEndItCleanly_data();
    void signalsEndItCleanly();
    void otherReplicaAnswersWhenOneHasDied();
    void loopReplaysAgain();
    void loopOverNothingEnds();
    void replayAtFullSpeedWaitsForTheBroker();
    void brokenRowsAreLogged();
    void truncatedRecordingEndsIt();
    void brokerRestartIsSurvived();
    void endsCleanlyWhileTheBrokerIsAway();
};

void tst_Serve::usageErrorsExitWith2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *arguments, const char *complaint) {
        QTest::newRow(name) << words(arguments) << QByteArray(complaint);
    };
    row("no bus", "--store x", "--bus");
    row("nothing to serve", "--bus inproc:", "--data, --store or both");
    row("unknown option", "--frobnicate", "frobnicate");
    row("argument", "--bus inproc: --store x extra", "extra");
    row("speed that is none", "--bus inproc: --data x --speed fast", "fast");
    row("date that is none", "--bus inproc: --data x --date 20230231", "20230231");
    row("speed of no replay", "--bus inproc: --store x --speed 1", "--speed");
    row("date of no replay", "--bus inproc: --store x --date 20230201", "--date");
    row("loop of no replay", "--bus inproc: --store x --loop", "--loop");
}

void tst_Serve::usageErrorsExitWith2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, complaint);

    RunningProgram service(marketd, QStringList { QStringLiteral("serve") } + arguments);
    QCOMPARE(service.exitCode(), 2);
    QVERIFY2(service.err().contains(complaint), service.err());
    QCOMPARE(service.out(), QByteArray());
}

void tst_Serve::helpExitsWith0()
{
    RunningProgram service(marketd, words("serve --help"));
    QCOMPARE(service.exitCode(), 0);
    for (const char *option :
         { "--bus", "--data", "--store", "--speed", "--loop", "--date", "--bus-ca", "--bus-credentials" })
        QVERIFY2(service.out().contains(option), option);
    QCOMPARE(service.err(), QByteArray());
}

void tst_Serve::failuresExitWith1_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *option, const QString &value, const char *complaint) {
        QTest::newRow(name) << QString::fromLatin1(option) << value << QByteArray(complaint);
    };
    const QString missing = m_folder.filePath(QStringLiteral("missing"));
    row("missing store", "--store", missing, "missing: no such file");
    row("store that is none", "--store", QStringLiteral(LX_DATA_DIR "/securities.csv"), "not a");
    row("missing recordings", "--data", missing, "no such folder");
    row("folder without recordings", "--data", m_folder.path(), "no recordings");
}

void tst_Serve::failuresExitWith1()
{
    QFETCH(QString, option);
    QFETCH(QString, value);
    QFETCH(QByteArray, complaint);

    RunningProgram service(marketd, serve({ option, value }));
    QCOMPARE(service.exitCode(), 1);
    QVERIFY2(service.err().contains(complaint), service.err());
    QVERIFY2(!service.err().contains("ready"), service.err());
}

void tst_Serve::signalsEndItCleanly_data()
{
    QTest::addColumn<int>("number");

    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_Serve::signalsEndItCleanly()
{
    QFETCH(int, number);

    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    // The next record is due in a thousand seconds.
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed 0.001") + QStringList { QStringLiteral("--store"), m_store });
    VERIFY_SOON(service.err().contains("replay begins"));
    // Ready comes before the first record.
    const int ready = service.err().indexOf("marketd: ready\n");
    QVERIFY2(ready >= 0 && ready < service.err().indexOf("replay begins"), service.err());
    QVERIFY(service.err().contains("bus connected since"));
    service.signal(number);
    QCOMPARE(service.exitCode(), 0);
    QVERIFY2(service.err().contains("replay ends: 2 records read, 2 published, 0 broken rows skipped\n"),
             service.err());
}

void tst_Serve::otherReplicaAnswersWhenOneHasDied()
{
    const QStringList query = words("tradeday 2023-01-20 5");
    RunningProgram one(marketd, serveStore());
    RunningProgram two(marketd, serveStore());
    VERIFY_SOON(one.err().contains("marketd: ready\n") && two.err().contains("marketd: ready\n"));
    one.signal(SIGKILL);
    QCOMPARE(one.exitCode(), -1);
    // The broker would choose either if it still knew both.
    for (int i = 0; i < 5; ++i) {
        const Program::Result result = ask(query);
        QVERIFY2(result.exitCode == 0, result.err);
    }
}

void tst_Serve::loopReplaysAgain()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max --loop"));
    VERIFY_SOON(service.err().count("replay begins") >= 3);
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
    QVERIFY2(service.err().contains("replay ends: 8 records read, 8 published"), service.err());
}

void tst_Serve::loopOverNothingEnds()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(marketd,
                           serveFolder(folder.path(), "--speed max --loop --date 20230202")
                               + QStringList { QStringLiteral("--store"), m_store });
    VERIFY_SOON(service.err().contains("replay ends: 0 records read"));
    // It goes on answering.
    QCOMPARE(ask(words("tradeday 2023-01-20 5")).exitCode, 0);
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
    QCOMPARE(service.err().count("replay begins"), 1);
}

void tst_Serve::replayAtFullSpeedWaitsForTheBroker()
{
    const RecordingFolder folder({ QStringLiteral("stock_snapshots_20230201.csv.gz") });
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max --loop"));
    VERIFY_SOON(service.err().contains("replay ends"));
    m_broker->kill();
    VERIFY_SOON(service.err().contains("bus reconnecting since"));
    // The lines of progress that come while the broker is away.
    const auto progress = [&service] {
        QList<QByteArray> records;
        QRegularExpression line(QStringLiteral("replaying: (\\d+) records read, \\d+/s; \\d+ dropped\n"));
        auto matches = line.globalMatch(QString::fromUtf8(service.err()), service.err().indexOf("reconnecting"));
        while (matches.hasNext())
            records.append(matches.next().captured(1).toLatin1());
        return records;
    };
    VERIFY_SOON(progress().size() >= 3);
    QCOMPARE(progress().at(2), progress().at(0));

    QVERIFY2(m_broker->start(), m_broker->log());
    VERIFY_SOON(service.err().mid(service.err().lastIndexOf("bus connected")).contains("replay ends"));
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
}

void tst_Serve::brokenRowsAreLogged()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording + "no row\n");
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    VERIFY_SOON(service.err().contains("replay ends: 4 records read, 4 published, 1 broken rows skipped\n"));
    QVERIFY2(service.err().contains(smallFile.toLatin1() + ":6: 1 cells instead of 7; row skipped\n"), service.err());
}

void tst_Serve::truncatedRecordingEndsIt()
{
    QByteArray content = smallRecording;
    for (int second = 10; second < 60; ++second)
        content += "20230201,0930" + QByteArray::number(second) + "000,600519.SH,1800,1801,400,720425\n";
    RecordingFolder folder;
    folder.writeGzip(smallFile + QStringLiteral(".gz"), content, 200);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max --loop"));
    QCOMPARE(service.exitCode(), 1);
    QVERIFY2(service.err().mid(service.err().indexOf("replay ends")).contains(smallFile.toLatin1()), service.err());
}

void tst_Serve::brokerRestartIsSurvived()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed 0.001") + QStringList { QStringLiteral("--store"), m_store });
    RunningProgram watch(lxquote, { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), m_broker->url() });
    VERIFY_SOON(watch.out().contains("600519.SH"));

    m_broker->kill();
    VERIFY_SOON(service.err().contains("bus reconnecting since"));
    VERIFY_SOON(watch.err().contains("bus reconnecting since"));
    QVERIFY2(m_broker->start(), m_broker->log());
    VERIFY_SOON(service.err().count("bus connected since") == 2); // once at first
    VERIFY_SOON(watch.err().contains("bus connected since"));

    QCOMPARE(ask(words("tradeday 2023-01-20 5")).exitCode, 0);
    QCOMPARE(ask(words("snapshot 600519.SH")).exitCode, 0);
    watch.signal(SIGINT);
    QCOMPARE(watch.exitCode(), 0);
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
}

void tst_Serve::endsCleanlyWhileTheBrokerIsAway()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed 0.001") + QStringList { QStringLiteral("--store"), m_store });
    RunningProgram watch(lxquote, { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), m_broker->url() });
    VERIFY_SOON(watch.out().contains("600519.SH"));
    m_broker->kill();
    VERIFY_SOON(service.err().contains("bus reconnecting since") && watch.err().contains("bus reconnecting since"));
    watch.signal(SIGTERM);
    QCOMPARE(watch.exitCode(), 0);
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Serve)

#include "tst_serve.moc"
