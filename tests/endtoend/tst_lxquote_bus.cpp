#include "busprograms.h"

namespace {

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

/// lxquote --bus shows the same as lxquote with a market of its own.
class tst_LxQuoteBus : public BrokerTest
{
    Q_OBJECT

private Q_SLOTS:
    void queriesOverTheBusEqualThoseWithin_data();
    void queriesOverTheBusEqualThoseWithin();
    void barsAreAdjustedAndCombined();
    void watchOverTheBusEqualsTheOneWithin_data();
    void watchOverTheBusEqualsTheOneWithin();
    void snapshotIsTheLatestAfterTheReplay();
    void snapshotNamesWhatDoesNotCome();
    void watchSaysThatNothingComes();
    void requestThatNobodyServesIsSaidAtOnce_data();
    void requestThatNobodyServesIsSaidAtOnce();
    void serviceThatDoesNotAnswerTimesOut_data();
    void serviceThatDoesNotAnswerTimesOut();
    void environmentNamesTheBus();
    void optionsOfAReplayDoNotGoWithABus_data();
    void optionsOfAReplayDoNotGoWithABus();
};

void tst_LxQuoteBus::queriesOverTheBusEqualThoseWithin_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("daily bars") << words("kline 600000.SH --from 2022-01-01 --to 2022-12-31 --format csv");
    // A message of an answer holds 1000 bars.
    QTest::newRow("bars of full messages") << words("kline 600000.SH --from 2018-10-10 --to 2022-11-18 --format csv");
    QTest::newRow("minute bars") << words("kline 000001.SH --from 2017-03-01 --to 2017-06-30 --period 1m --format csv");
    QTest::newRow("bars of 60 minutes") << words(
        "kline 000001.SH --from 2017-03-01 --to 2017-03-31 --period 60m --format csv");
    QTest::newRow("trading day") << words("tradeday 2023-01-20 5");
    QTest::newRow("trading day before") << words("tradeday 2023-01-20 -5");
    QTest::newRow("trading day that is not known") << words("tradeday 1900-01-01 -5");
    QTest::newRow("deep data") << words("deep 600000.SH 000001.SZ");
    QTest::newRow("price-earnings figures") << words("pe 600000.SH 000001.SZ");
    QTest::newRow("volume per minute") << words("qrr 600000.SH 000001.SZ");
    QTest::newRow("rising days") << words("risedays 600000.SH 000001.SZ");
    QTest::newRow("symbol without figures") << words("pe 300918.SZ");
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

// The service answers the values of "ExrightsType" and "PeriodType" that go beyond what the client platform sends.
void tst_LxQuoteBus::barsAreAdjustedAndCombined()
{
    RunningProgram service(marketd, serveStore());
    VERIFY_SOON(service.err().contains("marketd: ready\n"));
    struct Bar
    {
        QDate date;
        double close;
        double volume;
    };
    const auto bars = [this](const char *options) {
        const Program::Result result =
            ask(words("kline 600000.SH --from 2005-01-01 --to 2025-12-31 --fields MDDate,ClosePx,TotalVolumeTrade "
                      "--format csv")
                + words(options));
        QVector<Bar> all;
        for (const QByteArray &line : result.lines().mid(1)) {
            const QList<QByteArray> cells = line.split(',');
            all.append({ QDate::fromString(QString::fromLatin1(cells.at(0)), QStringLiteral("yyyyMMdd")),
                         cells.value(1).toDouble(), cells.value(2).toDouble() });
        }
        return all;
    };
    const auto greatestDrop = [](const QVector<Bar> &all) {
        double greatest = 0;
        for (int i = 1; i < all.size(); ++i)
            greatest = std::max(greatest, 1 - all.at(i).close / all.at(i - 1).close);
        return greatest;
    };
    const QVector<Bar> plain = bars("");
    const QVector<Bar> forward = bars("--adjust forward");
    const QVector<Bar> backward = bars("--adjust backward");
    QVERIFY(plain.size() > 4000);
    QCOMPARE(plain.first().date.year(), 2005);
    QCOMPARE(forward.size(), plain.size());
    QCOMPARE(backward.size(), plain.size());
    QVERIFY(greatestDrop(plain) > 0.2); // on an ex-date
    // The daily limit, and rounding to the cent of prices that are as low as two yuan.
    QVERIFY2(greatestDrop(forward) < 0.11, QByteArray::number(greatestDrop(forward)));
    QVERIFY2(greatestDrop(backward) < 0.1025, QByteArray::number(greatestDrop(backward)));
    QCOMPARE(forward.last().close, plain.last().close);

    const QVector<Bar> months = bars("--period month");
    double volume = 0;
    int month = 0;
    for (int i = 0; i < plain.size(); ++i) {
        volume += plain.at(i).volume;
        const QDate next = i + 1 < plain.size() ? plain.at(i + 1).date : QDate();
        if (next.month() == plain.at(i).date.month() && next.year() == plain.at(i).date.year())
            continue;
        QVERIFY(month < months.size());
        QCOMPARE(months.at(month).date, plain.at(i).date);
        QCOMPARE(months.at(month).close, plain.at(i).close);
        QCOMPARE(months.at(month).volume, std::exchange(volume, 0));
        ++month;
    }
    QCOMPARE(month, months.size());
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

    RunningProgram service(marketd,
                           serveFolder(QStringLiteral(LX_DATA_DIR), "--date 20230202 --speed max --store")
                               + QStringList { m_store });
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
    QVERIFY2(result.err.contains("no quote of 999999.XX has come from the bus; perhaps nobody publishes it\n")
                 && !result.err.contains("600519.SH"),
             result.err);
    QVERIFY2(!result.err.contains("names"), result.err); // nobody asked for any
    QVERIFY2(result.out.startsWith("600519.SH"), result.out);
}

void tst_LxQuoteBus::watchSaysThatNothingComes()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed 1 --loop"));
    VERIFY_SOON(service.err().contains("marketd: ready\n"));
    RunningProgram watch(lxquote, words("watch 999999.XX --bus") + QStringList { m_broker->url() });
    const QByteArray message = "lxquote: nothing has come from the bus; perhaps nobody publishes this\n";
    VERIFY_SOON(watch.err().contains(message));
    QVERIFY(watch.isRunning()); // somebody may begin to
    watch.signal(SIGINT);
    QCOMPARE(watch.exitCode(), 3);
}

void tst_LxQuoteBus::requestThatNobodyServesIsSaidAtOnce_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("bars") << words("kline 600000.SH --from 2023-01-30 --to 2023-01-31");
    QTest::newRow("price-earnings figures") << words("pe 600000.SH");
    QTest::newRow("volume per minute") << words("qrr 600000.SH");
    QTest::newRow("rising days") << words("risedays 600000.SH");
    QTest::newRow("deep data") << words("deep 600000.SH");
    QTest::newRow("trading day") << words("tradeday 2023-01-20 5");
}

void tst_LxQuoteBus::requestThatNobodyServesIsSaidAtOnce()
{
    QFETCH(QStringList, command);

    // The test does not wait for as long as this.
    const Program::Result result = ask(command + words("--timeout 3600"));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(complaints(result).contains("lxquote: nobody on the bus serves this request"), result.err);
    QVERIFY2(!result.out.contains("600000.SH"), result.out);
}

void tst_LxQuoteBus::serviceThatDoesNotAnswerTimesOut_data()
{
    requestThatNobodyServesIsSaidAtOnce_data();
}

void tst_LxQuoteBus::serviceThatDoesNotAnswerTimesOut()
{
    QFETCH(QStringList, command);

    RunningProgram service(marketd, serveStore());
    VERIFY_SOON(service.err().contains("marketd: ready\n"));
    service.signal(SIGSTOP);
    const Program::Result result = ask(command + words("--timeout 0.3"));
    service.signal(SIGCONT);
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(complaints(result).contains("lxquote: no answer in time"), result.err);
    QCOMPARE(result.out, QByteArray());
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
    row("begin of a watch", "watch 600519.SH --from 09:30", "--from");
    row("end of a watch", "watch 600519.SH --to 09:30", "--to");
    row("pauses of a watch", "watch 600519.SH --keep-pauses", "--keep-pauses");
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
}

QTEST_GUILESS_MAIN(tst_LxQuoteBus)

#include "tst_lxquote_bus.moc"
