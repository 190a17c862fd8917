#include "busprograms.h"

#include <storeconnection.h>

#include <cstring>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QByteArray securities = "Symbol,SecurityName,SecurityType\n"
                              "600519.SH,贵州茅台,stock\n"
                              "000333.SZ,美的集团,stock\n";

// A TCP port that no program listens on.
int freePort()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(socket, reinterpret_cast<const sockaddr *>(&address), size) != 0
        || ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        qFatal("no free port");
    ::close(socket);
    return ntohs(address.sin_port);
}

// The whole response of an HTTP server on this machine.
QByteArray httpGet(int port, const QByteArray &path)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<quint16>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QByteArray response;
    if (::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        const QByteArray request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
        char block[4096];
        ssize_t size = ::send(socket, request.constData(), size_t(request.size()), 0);
        while (size > 0 && (size = ::recv(socket, block, sizeof block, 0)) > 0)
            response.append(block, int(size));
    }
    ::close(socket);
    return response;
}

} // namespace

/// marketd serve and marketd record, in processes of its own around a broker.
class tst_Serve : public BrokerTest
{
    Q_OBJECT

private Q_SLOTS:
    void usageErrorsExitWith2_data();
    void usageErrorsExitWith2();
    void commandLinePrecedesEnvironmentPrecedesFile();
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
    void brokenRowsDoNotFillTheLog();
    void brokenRowsAloneAreAFailure();
    void fastRoundsDoNotFillTheLog();
    void truncatedRecordingEndsIt();
    void brokerRestartIsSurvived();
    void endsCleanlyWhileTheBrokerIsAway();
    void metricsAreServed();
    void systemdIsNotified();
    void barsOfTheCurrentDayAreAnswered();
    void recordWritesWhatIsServed();
    void recordRefusesWhatItCannotUse_data();
    void recordRefusesWhatItCannotUse();
    void recordEndsIfItCannotWrite();
    void recordEndsIfTheDiskIsFull();
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
    row("invalid speed", "--bus inproc: --data x --speed fast", "fast");
    row("invalid date", "--bus inproc: --data x --date 20230231", "20230231");
    row("speed of no replay", "--bus inproc: --store x --speed 1", "--speed");
    row("date of no replay", "--bus inproc: --store x --date 20230201", "--date");
    row("loop of no replay", "--bus inproc: --store x --loop", "--loop");
    row("metrics without a port", "--bus inproc: --store x --metrics 127.0.0.1", "--metrics: \"127.0.0.1\" is not");
    row("metrics at an impossible port", "--bus inproc: --store x --metrics 127.0.0.1:65536", "of the form HOST:PORT");
    row("metrics at two addresses", "--bus inproc: --store x --metrics 127.0.0.1:1,127.0.0.1:2", "HOST:PORT");
    row("times in reverse", "--bus inproc: --data " LX_DATA_DIR " --from 10:00 --to 09:30",
        "the replay would end at 09:30:00, before it begins at 10:00:00");
    row("missing recordings", "--bus inproc: --data /missing", "/missing: no such folder");
    row("folder without recordings", "--bus inproc: --data /usr", "/usr: no recordings in this folder");
    row("date without recordings", "--bus inproc: --data " LX_DATA_DIR " --date 2023-02-03",
        "no recordings of 2023-02-03; there are recordings of 2018-12-03,");
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

void tst_Serve::commandLinePrecedesEnvironmentPrecedesFile()
{
    const QDir folder(m_folder.filePath(QStringLiteral("configuration")));
    QVERIFY(QDir().mkpath(folder.path()));
    QFile file(folder.filePath(QStringLiteral("marketd.conf")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[serve]\nbus=inproc:\nstore=/missing/of-file\n");
    file.close();
    // Each names a store that does not exist, so that the error tells which one was taken.
    const auto complaint = [](const QStringList &more) {
        RunningProgram service(marketd, QStringList { QStringLiteral("serve") } + more);
        const int code = service.exitCode();
        return QByteArray::number(code) + ' ' + service.err();
    };
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(folder.path()));
    QVERIFY2(complaint({}).endsWith("marketd: /missing/of-file: no such file\n"), complaint({}));
    qputenv("MARKETD_STORE", "/missing/of-environment");
    const QByteArray ofEnvironment = complaint({});
    const QByteArray ofCommandLine = complaint({ QStringLiteral("--store"), QStringLiteral("/missing/of-line") });
    qunsetenv("MARKETD_STORE");
    qunsetenv("XDG_CONFIG_HOME");
    QVERIFY2(ofEnvironment.startsWith("1 ") && ofEnvironment.contains("/missing/of-environment: "), ofEnvironment);
    QVERIFY2(ofCommandLine.startsWith("1 ") && ofCommandLine.contains("/missing/of-line: "), ofCommandLine);
    // A file that is named precedes the one in the standard folder.
    QFile named(folder.filePath(QStringLiteral("named.conf")));
    QVERIFY(named.open(QIODevice::WriteOnly));
    named.write("[serve]\nbus=inproc:\nstore=/missing/of-named-file\n");
    named.close();
    const QByteArray ofNamed = complaint({ QStringLiteral("--config"), named.fileName() });
    QVERIFY2(ofNamed.contains("/missing/of-named-file: "), ofNamed);
}

void tst_Serve::helpExitsWith0()
{
    RunningProgram service(marketd, words("serve --help"));
    QCOMPARE(service.exitCode(), 0);
    for (const char *option : { "--bus", "--data", "--store", "--speed", "--loop", "--date", "--from", "--to",
                                "--keep-pauses", "--bus-ca", "--bus-credentials" })
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
    row("not a store", "--store", QStringLiteral(LX_DATA_DIR "/securities.csv"), "not a");
    const QString outdated = m_folder.filePath(QStringLiteral("outdated"));
    QVERIFY(QFile::copy(m_store, outdated));
    StoreConnection connection;
    QString error;
    QVERIFY(connection.open(outdated, StoreConnection::ReadWrite, &error));
    QVERIFY(connection.execute(QStringLiteral("UPDATE sources SET Size = Size - 1"), &error));
    row("store of files that have changed", "--store", outdated, "has changed since the store was built");
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
    static const QRegularExpression end(QStringLiteral("replay ends: (\\d+) records read, (\\d+) published"));
    auto ends = end.globalMatch(QString::fromUtf8(service.err()));
    quint64 before = 0;
    while (ends.hasNext()) {
        const QRegularExpressionMatch match = ends.next();
        const quint64 read = match.captured(1).toULongLong();
        QVERIFY2(read > before && match.captured(2) == match.captured(1), service.err());
        before = read;
    }
    QVERIFY2(before >= 8, service.err());
}

void tst_Serve::loopOverNothingEnds()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording.left(smallRecording.indexOf('\n') + 1));
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed max --loop") + QStringList { QStringLiteral("--store"), m_store });
    VERIFY_SOON(service.err().contains("replay ends: 0 records read"));
    // It continues to answer.
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
        QRegularExpression line(QStringLiteral("replaying: [-0-9: ]+, (\\d+) records read, \\d+/s; \\d+ dropped\n"));
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

void tst_Serve::brokenRowsDoNotFillTheLog()
{
    RecordingFolder folder;
    QByteArray rows;
    for (int i = 0; i < 1000; ++i)
        rows += "no row\n";
    folder.write(smallFile, smallRecording + rows);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    VERIFY_SOON(service.err().contains("replay ends: 4 records read, 4 published, 1000 broken rows skipped\n"));
    QCOMPARE(service.err().count("row skipped\n"), 10);
    QVERIFY2(service.err().contains(": " + smallFile.toLatin1() + ": further broken rows: 990\n"), service.err());
}

void tst_Serve::brokenRowsAloneAreAFailure()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording.left(smallRecording.indexOf('\n') + 1) + "no row\n");
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed max") + QStringList { QStringLiteral("--store"), m_store });
    QCOMPARE(service.exitCode(), 1);
    QVERIFY2(service.err().endsWith(": the recordings contain broken rows only\n"), service.err());
}

void tst_Serve::fastRoundsDoNotFillTheLog()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max --loop"));
    // Without a limit there would not be a round without this remark.
    const QRegularExpression remark(QStringLiteral("replay begins: [^\n]* \\((\\d+) rounds not logged\\)\n"));
    VERIFY_SOON(remark.match(QString::fromUtf8(service.err())).hasMatch());
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
    QVERIFY2(service.err().count("replay ends") <= service.err().count("replay begins") + 1, service.err());
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

void tst_Serve::metricsAreServed()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording + "20230201,093003000,600519.SH,nan,1,1,1\n");
    const int port = freePort();
    const QString address = QStringLiteral("127.0.0.1:%1").arg(port);
    RunningProgram service(
        marketd,
        serveFolder(folder.path(), "--speed max")
            + QStringList { QStringLiteral("--store"), m_store, QStringLiteral("--metrics"), address });
    VERIFY_SOON(service.err().contains("replay ends"));
    QCOMPARE(ask(words("tradeday 2023-01-20 5")).exitCode, 0);
    QCOMPARE(ask(words("tradeday 1890-01-20 5")).exitCode, 1);
    QVERIFY(httpGet(port, "/metrics").startsWith("HTTP/1.1 200 OK\r\n"));
    QByteArrayList lines { "marketd_records_read_total{topic=\"MDMARKETRECORD\"} 4\n",
                           "marketd_records_published_total{topic=\"MDMARKETRECORD\"} 4\n",
                           "marketd_records_broken_total{topic=\"MDMARKETRECORD\"} 1\n",
                           "marketd_records_read_total{topic=\"MDORDERRECORD\"} 0\n",
                           "marketd_requests_waiting 0\n",
                           "marketd_bus_messages_waiting 0\n",
                           "marketd_bus_connected 1\n",
                           "marketd_request_seconds_count{type=\"181063\"} 2\n",
                           "marketd_bus_dropped_total{reason=\"" };
    for (const char *result : { "answered", "not_found" })
        lines.append(QByteArray("marketd_requests_total{result=\"") + result + "\",type=\"181063\"} 1\n");
    // The client can have its answer before the service has counted it.
    for (const QByteArray &line : qAsConst(lines))
        VERIFY_SOON(httpGet(port, "/metrics").contains(line));
    QVERIFY(httpGet(port, "/healthz").endsWith("\r\n\r\nok\n"));

    RunningProgram second(marketd, serveStore() + QStringList { QStringLiteral("--metrics"), address });
    QCOMPARE(second.exitCode(), 1);
    const QByteArray complaint = "marketd: metrics cannot be served at " + address.toLatin1();
    QVERIFY2(second.err().contains(complaint + ": Address already in use\n"), second.err());
    // An address of documentation, which no machine has.
    RunningProgram third(marketd, serveStore() + words("--metrics 192.0.2.1:9110"));
    QCOMPARE(third.exitCode(), 1);
    QVERIFY2(third.err().contains("at 192.0.2.1:9110: Cannot assign requested address\n"), third.err());

    m_broker->kill();
    VERIFY_SOON(service.err().contains("bus reconnecting since"));
    QVERIFY(httpGet(port, "/healthz").startsWith("HTTP/1.1 503 "));
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
}

void tst_Serve::systemdIsNotified()
{
    const QByteArray path = QFile::encodeName(m_folder.filePath(QStringLiteral("notify")));
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    QVERIFY(path.size() < int(sizeof address.sun_path));
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    QCOMPARE(::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const auto receive = [socket] {
        pollfd waiting { socket, POLLIN, 0 };
        char message[100];
        const ssize_t size = ::poll(&waiting, 1, 60000) == 1 ? ::recv(socket, message, sizeof message, 0) : 0;
        return QByteArray(message, int(size));
    };
    qputenv("NOTIFY_SOCKET", path);
    qputenv("WATCHDOG_USEC", "100000");
    RunningProgram service(marketd, serveStore());
    qunsetenv("NOTIFY_SOCKET");
    qunsetenv("WATCHDOG_USEC");
    QCOMPARE(receive(), QByteArray("READY=1"));
    QCOMPARE(receive(), QByteArray("WATCHDOG=1"));
    QCOMPARE(receive(), QByteArray("WATCHDOG=1"));
    service.signal(SIGTERM);
    QCOMPARE(service.exitCode(), 0);
    ::close(socket);
}

void tst_Serve::barsOfTheCurrentDayAreAnswered()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    RunningProgram service(
        marketd, serveFolder(folder.path(), "--speed max") + QStringList { QStringLiteral("--store"), m_store });
    VERIFY_SOON(service.err().contains("replay ends"));
    const Program::Result bars =
        ask(words("kline 600519.SH --period 1m --from 2023-02-01 --to 2023-02-01 --format csv"));
    QCOMPARE(bars.exitCode, 0);
    QCOMPARE(bars.lines().size(), 1 + 1);
    QVERIFY2(bars.lines().at(1).contains("1810.25") && bars.lines().at(1).contains("300"), bars.out);
    const Program::Result days = ask(words("kline 600519.SH --from 2023-02-01 --to 2023-02-01 --format csv"));
    QCOMPARE(days.lines().size(), 1 + 1);
    QVERIFY2(days.lines().at(1).contains("1810.25") && days.lines().at(1).contains("540025"), days.out);
}

void tst_Serve::recordWritesWhatIsServed()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("securities.csv"), securities);
    const QDir out(m_folder.filePath(QStringLiteral("recorded/new")));
    const auto record = [&] {
        return std::make_unique<RunningProgram>(marketd,
                                                QStringList { QStringLiteral("record"), QStringLiteral("--bus"),
                                                              m_broker->url(), QStringLiteral("--data"), folder.path(),
                                                              QStringLiteral("--out"), out.path() });
    };
    auto first = record();
    RunningProgram &recorder = *first;
    VERIFY_SOON(recorder.err().contains("marketd: ready\n"));
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    const auto recorded = [&out] {
        QFile file(out.filePath(smallFile));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    // While it runs, so that others can read along.
    VERIFY_SOON(recorded() == smallRecording);
    recorder.signal(SIGTERM);
    QCOMPARE(recorder.exitCode(), 0);
    QVERIFY2(recorder.err().contains("recorded: 4 stock quotes\n"), recorder.err());
    QCOMPARE(recorded(), smallRecording);
    QCOMPARE(out.entryList(QDir::Files), QStringList { smallFile });
    const QByteArray path = out.filePath(smallFile).toUtf8();
    QVERIFY2(recorder.err().contains("marketd: writing " + path + '\n'), recorder.err());

    // Another recorder writes another file, and says so. It receives the latest records.
    const QString further = QStringLiteral("stock_snapshots_2_20230201.csv");
    const auto second = record();
    VERIFY_SOON(
        second->err().contains("writing " + out.filePath(further).toUtf8() + ", because " + path + " exists\n"));
    second->signal(SIGTERM);
    QCOMPARE(second->exitCode(), 0);
    QCOMPARE(recorded(), smallRecording);
    QCOMPARE(out.entryList(QDir::Files, QDir::Name), (QStringList { smallFile, further }));
}

void tst_Serve::recordRefusesWhatItCannotUse_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const QString &arguments, const char *complaint) {
        QTest::newRow(name) << arguments << QByteArray(complaint);
    };
    row("no bus", QStringLiteral("--out x"), "no bus: use --bus");
    row("bus of the process", QStringLiteral("--out x --bus inproc:"), "no bus: use --bus");
    row("no folder", QStringLiteral("--bus nats://127.0.0.1:1"), "use --out");
    row("folder below a file", QStringLiteral("--bus nats://127.0.0.1:1 --out %1/x").arg(m_store),
        "the folder cannot be created");
    row("no securities", QStringLiteral("--bus nats://127.0.0.1:1 --out %1 --data %1").arg(m_folder.path()),
        "securities.csv: No such file or directory");
}

void tst_Serve::recordRefusesWhatItCannotUse()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, complaint);

    RunningProgram recorder(marketd, QStringList { QStringLiteral("record") } + arguments.split(QLatin1Char(' ')));
    QCOMPARE(recorder.exitCode(), 2);
    QVERIFY2(recorder.err().contains(complaint), recorder.err());
}

void tst_Serve::recordEndsIfItCannotWrite()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const QDir out(m_folder.filePath(QStringLiteral("taken")));
    QVERIFY(QDir().mkpath(out.path()));
    QVERIFY(QFile::link(QStringLiteral("/missing"), out.filePath(smallFile)));
    RunningProgram recorder(marketd,
                            { QStringLiteral("record"), QStringLiteral("--bus"), m_broker->url(),
                              QStringLiteral("--out"), out.path(), symbol });
    VERIFY_SOON(recorder.err().contains("marketd: ready\n"));
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    QCOMPARE(recorder.exitCode(), 1);
    QVERIFY2(recorder.err().contains(smallFile.toLatin1() + ": "), recorder.err());
}

void tst_Serve::recordEndsIfTheDiskIsFull()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    // Files cannot grow at all.
    RunningProgram recorder(QStringLiteral("/bin/sh"),
                            { QStringLiteral("-c"), QStringLiteral("trap '' XFSZ; ulimit -f 0; exec \"$@\""),
                              QStringLiteral("sh"), marketd, QStringLiteral("record"), QStringLiteral("--bus"),
                              m_broker->url(), QStringLiteral("--out"), m_folder.filePath(QStringLiteral("full")),
                              symbol });
    VERIFY_SOON(recorder.err().contains("marketd: ready\n"));
    RunningProgram service(marketd, serveFolder(folder.path(), "--speed max"));
    QCOMPARE(recorder.exitCode(), 1);
    QVERIFY2(recorder.err().endsWith(smallFile.toLatin1() + ": File too large\n"), recorder.err());
}

QTEST_GUILESS_MAIN(tst_Serve)

#include "tst_serve.moc"
