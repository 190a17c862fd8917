#include "busprograms.h"

namespace {

const QByteArray smallRecording = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                                  "20230201,093000000,600519.SH,1800,1800,100,180000\n"
                                  "20230201,093000000,000333.SZ,55,55,100,5500\n"
                                  "20230201,093001000,600519.SH,1800,1790,200,359000\n"
                                  "20230201,093002000,600519.SH,1800,1810.25,300,540025\n";
const QString smallFile = QStringLiteral("stock_snapshots_20230201.csv");

QList<QByteArray> complaints(const Program::Result &result)
{
    QList<QByteArray> lines;
    for (const QByteArray &line : result.err.split('\n')) {
        if (line.startsWith("lxquote:"))
            lines.append(line);
    }
    return lines;
}

} // namespace

/// lxquote --bus: what it shows is what it shows of a market of its own.
class tst_LxQuoteBus : public BrokerTest
{
    Q_OBJECT

private Q_SLOTS:
    void queriesOverTheBusEqualThoseWithin_data();
    void queriesOverTheBusEqualThoseWithin();
    void watchOverTheBusEqualsTheOneWithin_data();
    void watchOverTheBusEqualsTheOneWithin();
    void snapshotIsTheLatestAfterTheReplay();
    void snapshotNamesWhatDoesNotCome();
    void queryThatNobodyServesTimesOut_data();
    void queryThatNobodyServesTimesOut();
    void environmentNamesTheBus();
    void optionsOfAReplayDoNotGoWithABus_data();
    void optionsOfAReplayDoNotGoWithABus();
};

void tst_LxQuoteBus::queriesOverTheBusEqualThoseWithin_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("daily bars") << words("kline 600000.SH --from 2022-01-01 --to 2022-12-31 --format csv");
    QTest::newRow("daily bars from the cache") << words("kline 600000.SH --from 2022-01-01 --to 2022-12-31 --cached");
    QTest::newRow("minute bars") << words("kline 000001.SH --from 2017-03-01 --to 2017-06-30 --period 1m --format csv");
    QTest::newRow("trading day") << words("tradeday 2023-01-20 5");
    QTest::newRow("trading day before") << words("tradeday 2023-01-20 -5");
    QTest::newRow("trading day that is not known") << words("tradeday 1900-01-01 -5");
    QTest::newRow("deep data") << words("deep 600000.SH 000001.SZ");
    QTest::newRow("price-earnings figures") << words("pe 600000.SH 000001.SZ");
    QTest::newRow("volume a minute") << words("qrr 600000.SH 000001.SZ");
    QTest::newRow("rising days") << words("risedays 600000.SH 000001.SZ");
    QTest::newRow("symbol that is not known") << words("pe 999999.XX");
}

void tst_LxQuoteBus::queriesOverTheBusEqualThoseWithin()
{
    QFETCH(QStringList, command);

    RunningProgram service(marketd, serveStore());
    VERIFY_SOON(service.err().contains("marketd: ready\n"));
    const Program::Result within = Program::run(
        command
        + QStringList { QStringLiteral("--store"), m_store, QStringLiteral("--data"), QStringLiteral(LX_DATA_DIR) });
    const Program::Result over = ask(command);
    QCOMPARE(over.out, within.out);
    QCOMPARE(complaints(over), complaints(within));
    QCOMPARE(over.exitCode, within.exitCode);
    QVERIFY(!(within.out + within.err).isEmpty());
}

void tst_LxQuoteBus::watchOverTheBusEqualsTheOneWithin_data()
{
    QTest::addColumn<QString>("recording");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("topic");

    QTest::newRow("quotes") << QStringLiteral("stock_snapshots_20230201.csv.gz") << QStringLiteral("quote")
                            << QByteArray("MDMARKETRECORD");
    QTest::newRow("trades") << QStringLiteral("transactions_20230202.csv.gz") << QStringLiteral("trade")
                            << QByteArray("MDTRANSACTIONRECORD");
}

void tst_LxQuoteBus::watchOverTheBusEqualsTheOneWithin()
{
    QFETCH(QString, recording);
    QFETCH(QString, kind);
    QFETCH(QByteArray, topic);

    const RecordingFolder folder({ recording, QStringLiteral("securities.csv") });
    const QStringList command = QStringList { QStringLiteral("watch"), QStringLiteral("--data"), folder.path(), symbol }
        + words("--format ndjson --kinds") + QStringList { kind };
    const Program::Result within = Program::run(command + words("--speed max"));
    QVERIFY2(within.exitCode == 0, within.err);
    QVERIFY(within.lines().size() > 100);

    RunningProgram watch(lxquote, command + QStringList { QStringLiteral("--bus"), m_broker->url() });
    VERIFY_SOON(m_broker->log().contains("[SUB lx.md." + topic + '.' + symbol.toLatin1()));
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    VERIFY_SOON(watch.lines() >= within.lines().size());
    watch.signal(SIGINT);
    QCOMPARE(watch.exitCode(), 0);
    QVERIFY(watch.out() == within.out);
    QVERIFY2(watch.err().contains(" records announced in ") && !watch.err().contains("dropped by"), watch.err());
}

void tst_LxQuoteBus::snapshotIsTheLatestAfterTheReplay()
{
    const QStringList command =
        words("snapshot --format json 600519.SH 000333.SZ --data") + QStringList { QStringLiteral(LX_DATA_DIR) };
    const Program::Result within = Program::run(command + words("--date 20230202"));
    QVERIFY2(within.exitCode == 0, within.err);

    RunningProgram service(marketd, serveFolder(QStringLiteral(LX_DATA_DIR), "--date 20230202 --speed max"));
    VERIFY_SOON(service.err().contains("replay ends"));
    const Program::Result over = ask(command);
    QCOMPARE(over.err, QByteArray());
    QCOMPARE(over.out, within.out);
    QCOMPARE(over.exitCode, 0);
}

void tst_LxQuoteBus::snapshotNamesWhatDoesNotCome()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    VERIFY_SOON(service.err().contains("replay ends"));
    const Program::Result result = ask(words("snapshot 999999.XX 600519.SH --timeout 1"));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("no stock quote of 999999.XX came") && !result.err.contains("600519.SH"), result.err);
    QVERIFY2(!result.err.contains("names"), result.err); // nobody asked for any
    QVERIFY2(result.out.startsWith("600519.SH"), result.out);
}

void tst_LxQuoteBus::queryThatNobodyServesTimesOut_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("bars") << words("kline 600000.SH --from 2023-01-30 --to 2023-01-31 --timeout 0.5");
    QTest::newRow("figures") << words("pe 600000.SH --timeout 0.5");
    QTest::newRow("trading day") << words("tradeday 2023-01-20 5");
}

void tst_LxQuoteBus::queryThatNobodyServesTimesOut()
{
    QFETCH(QStringList, command);

    const Program::Result result = ask(command);
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("nobody serves this type"), result.err);
    QVERIFY2(!result.out.contains("600000.SH"), result.out);
}

void tst_LxQuoteBus::environmentNamesTheBus()
{
    const QStringList query = words("tradeday 2023-01-20 5");
    const QStringList otherBus { QStringLiteral("--bus"), QStringLiteral("nats://127.0.0.1:1") };
    qputenv("LX_BUS_URL", m_broker->url().toLatin1());
    RunningProgram service(marketd, { QStringLiteral("serve"), QStringLiteral("--store"), m_store });
    VERIFY_SOON(service.err().contains("marketd: ready\n"));
    const int fromEnvironment = Program::run(query).exitCode;
    const int fromOption = Program::run(query + otherBus).exitCode;
    const int withStore = Program::run(query + QStringList { QStringLiteral("--store"), m_store }).exitCode;
    const int within = Program::run(query
                                    + QStringList { QStringLiteral("--store"), m_store, QStringLiteral("--bus"),
                                                    QStringLiteral("inproc:") })
                           .exitCode;
    qunsetenv("LX_BUS_URL");
    QCOMPARE(fromEnvironment, 0);
    QCOMPARE(fromOption, 1);
    QCOMPARE(withStore, 2);
    QCOMPARE(within, 0);
}

void tst_LxQuoteBus::optionsOfAReplayDoNotGoWithABus_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QByteArray>("option");

    const auto row = [](const char *name, const char *command, const char *option) {
        QTest::newRow(name) << words(command) << QByteArray(option);
    };
    row("date of a watch", "watch 600519.SH --date 20230201", "--date");
    row("speed of a watch", "watch 600519.SH --speed 1", "--speed");
    row("date of a snapshot", "snapshot 600519.SH --date 20230201", "--date");
    row("speed of a snapshot", "snapshot 600519.SH --speed max", "--speed");
    row("store of a query", "pe 600519.SH --store x", "--store");
    row("store of bars", "kline 600519.SH --from 2023-01-30 --to 2023-01-31 --store x", "--store");
    row("store of a trading day", "tradeday 2023-01-20 5 --store x", "--store");
}

void tst_LxQuoteBus::optionsOfAReplayDoNotGoWithABus()
{
    QFETCH(QStringList, command);
    QFETCH(QByteArray, option);

    const Program::Result result = ask(command);
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(option) && result.err.contains("bus"), result.err);

    // And what goes with a bus alone.
    const Program::Result timeout = Program::run(words("snapshot 600519.SH --timeout 1"));
    QCOMPARE(timeout.exitCode, 2);
    QVERIFY2(timeout.err.contains("--timeout"), timeout.err);
}

QTEST_GUILESS_MAIN(tst_LxQuoteBus)

#include "tst_lxquote_bus.moc"
