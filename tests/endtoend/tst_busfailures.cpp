#include "busprograms.h"
#include "certificates.h"
#include "terminalscreen.h"

namespace {

const QString serviceUser = QStringLiteral("service:secret-1");
const QString clientUser = QStringLiteral("client:secret-2");
const QString tls = QStringLiteral("tls");

const QByteArray passwords = "service_password: \"secret-1\"\nclient_password: \"secret-2\"\nanalyst_password: "
                             "\"secret-4\"\nadmin_password: \"secret-3\"\n";

// The programs, and what each needs beside the bus.
const QStringList programs { QStringLiteral("service"), QStringLiteral("watch"),    QStringLiteral("snapshot"),
                             QStringLiteral("kline"),   QStringLiteral("tradeday"), QStringLiteral("pe") };

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray configOf(const QByteArray &password, const QByteArray &publish, const QByteArray &subscribe)
{
    return "trace: true\nmax_traced_msg_len: 16\nauthorization { users: [ { user: \"name\", password: \"" + password
        + "\", permissions { publish: " + publish + ", subscribe: " + subscribe + " } } ] }\n";
}

const QByteArray all = "\">\"";

} // namespace

/// The programs on a bus that refuses them, and on one that others may read.
class tst_BusFailures : public BusProgramsTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void unreachableBrokerEndsThem_data();
    void unreachableBrokerEndsThem();
    void refusalEndsThem_data();
    void refusalEndsThem();
    void foreignBrokerEndsThem_data();
    void foreignBrokerEndsThem();
    void missingStreamsEndTheService_data();
    void missingStreamsEndTheService();
    void fullStreamEndsTheService();
    void closedConnectionEndsThem();
    void terminalShowsTheState();
    void documentedConfigurationSeparatesServicesFromClients();
    void documentedConfigurationNeedsAPassword();

private:
    std::unique_ptr<RunningProgram> start(const QString &program, const QString &url,
                                          const QStringList &more = {}) const;

    RecordingFolder m_recordings;
};

void tst_BusFailures::initTestCase()
{
    BusProgramsTest::initTestCase();
    m_recordings.write(QStringLiteral("stock_snapshots_20230201.csv"), smallRecording);
    QVERIFY(Certificates::make(m_folder.path()));
}

std::unique_ptr<RunningProgram> tst_BusFailures::start(const QString &program, const QString &url,
                                                       const QStringList &more) const
{
    const QStringList bus = QStringList { QStringLiteral("--bus"), url } + more;
    if (program == QLatin1String("service")) {
        return std::make_unique<RunningProgram>(marketd,
                                                QStringList { QStringLiteral("serve"), QStringLiteral("--store"),
                                                              m_store, QStringLiteral("--data"), m_recordings.path(),
                                                              QStringLiteral("--speed"), QStringLiteral("max") }
                                                    + bus);
    }
    QStringList command { program };
    if (program == QLatin1String("kline"))
        command += words("600000.SH --from 2023-01-30 --to 2023-01-31");
    else if (program == QLatin1String("tradeday"))
        command += words("2023-01-20 5");
    else
        command += symbol;
    return std::make_unique<RunningProgram>(lxquote, command + bus);
}

void tst_BusFailures::unreachableBrokerEndsThem_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("complaint");

    for (const QString &program : programs) {
        const auto row = [&program](const char *name, const char *url, const char *complaint) {
            QTest::addRow("%s, %s", qPrintable(program), name)
                << program << QString::fromLatin1(url) << QByteArray(complaint);
        };
        row("refused port", "nats://127.0.0.1:1", "127.0.0.1:1");
        row("unknown host", "nats://no-such-host.invalid:4222", "no-such-host.invalid");
        row("no bus of this kind", "carrier-pigeon:loft", "carrier-pigeon");
    }
}

void tst_BusFailures::unreachableBrokerEndsThem()
{
    QFETCH(QString, program);
    QFETCH(QString, url);
    QFETCH(QByteArray, complaint);

    const auto running = start(program, url);
    QCOMPARE(running->exitCode(), 1);
    QVERIFY2(running->err().contains(complaint), running->err());
}

void tst_BusFailures::refusalEndsThem_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const QString &program, const QByteArray &config, const char *complaint) {
        QTest::addRow("%s, %s", qPrintable(program), name) << program << config << QByteArray(complaint);
    };
    for (const QString &program : programs)
        row("wrong password", program, configOf("another", all, all), "Authorization Violation");
    const QByteArray noRequests = "{ deny: [ \"lx.rq.>\" ] }";
    const QByteArray noRecords = "{ deny: [ \"lx.md.>\" ] }";
    row("may not publish", QStringLiteral("service"), configOf("secret", noRecords, all), "lx.md.");
    row("may not take requests", QStringLiteral("service"), configOf("secret", all, noRequests), "lx.rq.");
    row("may not read", QStringLiteral("watch"), configOf("secret", all, noRecords), "lx.md.");
    row("may not read", QStringLiteral("snapshot"), configOf("secret", all, noRecords), "lx.md.");
    for (const char *program : { "kline", "tradeday", "pe" })
        row("may not ask", QString::fromLatin1(program), configOf("secret", noRequests, all), "lx.rq.");
}

void tst_BusFailures::refusalEndsThem()
{
    QFETCH(QString, program);
    QFETCH(QByteArray, config);
    QFETCH(QByteArray, complaint);

    NatsBroker broker(config);
    QVERIFY2(broker.start(), broker.log());
    const auto running = start(program, broker.url(QStringLiteral("name:secret")));
    QCOMPARE(running->exitCode(), 1);
    QVERIFY2(running->err().contains(complaint), running->err());
    // No message contains a secret.
    QVERIFY2(!running->err().contains("secret"), running->err());
}

void tst_BusFailures::foreignBrokerEndsThem_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("sameAuthority");

    for (const char *program : { "service", "watch", "kline" }) {
        QTest::addRow("%s, unknown authority", program)
            << QString::fromLatin1(program) << QStringLiteral("IP:127.0.0.1") << false;
        QTest::addRow("%s, another host", program)
            << QString::fromLatin1(program) << QStringLiteral("DNS:elsewhere.example") << true;
    }
}

void tst_BusFailures::foreignBrokerEndsThem()
{
    QFETCH(QString, program);
    QFETCH(QString, host);
    QFETCH(bool, sameAuthority);

    NatsBroker broker("tls { cert_file: \"server-cert.pem\", key_file: \"server-key.pem\" }\n");
    QVERIFY(Certificates::make(broker.folder(), host));
    QVERIFY2(broker.start(), broker.log());
    const QString authority =
        sameAuthority ? broker.filePath(QStringLiteral("ca.pem")) : m_folder.filePath(QStringLiteral("ca.pem"));
    const auto running = start(program, broker.url(QString(), tls), { QStringLiteral("--bus-ca"), authority });
    QCOMPARE(running->exitCode(), 1);
    QVERIFY2(running->err().contains("SSL"), running->err());
}

void tst_BusFailures::missingStreamsEndTheService_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QByteArray>("complaint");

    QTest::newRow("no JetStream") << QByteArray("jetstream: disabled\n") << QString()
                                  << QByteArray("JetStream is not enabled");
    QTest::newRow("other limit") << QByteArray() << QStringLiteral("--last-size 7")
                                 << QByteArray(
                                        "LX_LAST with another configuration: max_bytes is 268435456, not 7340032");
    QTest::newRow("other storage") << QByteArray() << QStringLiteral("--ticks-storage memory")
                                   << QByteArray("LX_TICKS with another configuration: storage is file, not memory");
    QTest::newRow("other names") << QByteArray() << QStringLiteral("--bus-streams OTHER")
                                 << QByteArray("OTHER_LAST: subjects overlap with an existing stream");
    QTest::newRow("no space") << QByteArray("jetstream { store_dir: \"jetstream\", max_file_store: 1GB }\n")
                              << QString() << QByteArray("LX_TICKS: insufficient storage resources available");
}

void tst_BusFailures::missingStreamsEndTheService()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, options);
    QFETCH(QByteArray, complaint);

    NatsBroker broker(config);
    QVERIFY2(broker.start(), broker.log());
    std::unique_ptr<RunningProgram> other;
    if (!options.isEmpty()) {
        other = start(QStringLiteral("service"), broker.url());
        VERIFY_SOON(other->err().contains("marketd: ready"));
    }
    const auto service =
        start(QStringLiteral("service"), broker.url(), options.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    QCOMPARE(service->exitCode(), 1);
    QVERIFY2(service->err().contains(complaint), service->err());
    QVERIFY2(!service->err().contains("marketd: ready"), service->err());
}

void tst_BusFailures::fullStreamEndsTheService()
{
    constexpr int Symbols = 8000; // more than fit into a megabyte
    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log());
    RecordingFolder recordings;
    QByteArray rows = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n";
    for (int i = 0; i < Symbols; ++i)
        rows += "20230201,093000000," + QByteArray::number(600000 + i) + ".SH,1800,1800,100,180000\n";
    recordings.write(smallFile, rows);
    const QStringList command = QStringList { QStringLiteral("serve"), QStringLiteral("--bus"), broker.url(),
                                              QStringLiteral("--data"), recordings.path() }
        + words("--speed max --last-size 1");
    RunningProgram service(marketd, command);
    QCOMPARE(service.exitCode(), 1);
    QVERIFY2(service.err().contains("the stream LX_LAST does not accept a record: maximum bytes exceeded"),
             service.err());
    // It does not begin with a stream that is full.
    RunningProgram again(marketd, command);
    QCOMPARE(again.exitCode(), 1);
    QVERIFY2(again.err().contains("the stream LX_LAST is full: "), again.err());
    QVERIFY2(!again.err().contains("marketd: ready"), again.err());
}

void tst_BusFailures::closedConnectionEndsThem()
{
    NatsBroker broker(configOf("secret", all, all));
    QVERIFY2(broker.start(), broker.log());
    const QString url = broker.url(QStringLiteral("name:secret"));
    const auto service = start(QStringLiteral("service"), url);
    VERIFY_SOON(service->err().contains("replay ends"));
    const auto watch = start(QStringLiteral("watch"), url);
    VERIFY_SOON(watch->lines() == 1);

    // The broker is restarted with another password, so the programs cannot reconnect.
    broker.kill();
    broker.configure(configOf("another", all, all));
    QVERIFY2(broker.start(), broker.log());
    QCOMPARE(service->exitCode(), 1);
    QVERIFY2(service->err().contains("the connection to the bus is closed at"), service->err());
    QCOMPARE(watch->exitCode(), 1);
    QVERIFY2(watch->err().contains("the connection to the bus is closed at"), watch->err());
    QVERIFY2(watch->out().contains("1 records announced in "), watch->out());
}

void tst_BusFailures::terminalShowsTheState()
{
    NatsBroker broker(configOf("secret", all, all));
    QVERIFY2(broker.start(), broker.log());
    const QString url = broker.url(QStringLiteral("name:secret"));
    const TerminalScreen terminal(120, 10, { QStringLiteral("watch"), symbol, QStringLiteral("--bus"), url });
    VERIFY_SOON(terminal.status().contains(QStringLiteral("bus connected since ")));
    broker.kill();
    VERIFY_SOON(terminal.status().contains(QStringLiteral("bus reconnecting since ")));
    broker.configure(configOf("another", all, all));
    QVERIFY2(broker.start(), broker.log());
    VERIFY_SOON(terminal.has("the connection to the bus is closed at ") && terminal.has("exit code 1"));
}

void tst_BusFailures::documentedConfigurationSeparatesServicesFromClients()
{
    NatsBroker broker(contentOf(QStringLiteral(LX_CONTRIB_DIR "/nats-server.conf")));
    write(broker.filePath(QStringLiteral("passwords.conf")), passwords);
    QVERIFY(Certificates::make(broker.folder()));
    QVERIFY2(broker.start(), broker.log());
    const QStringList ca { QStringLiteral("--bus-ca"), broker.filePath(QStringLiteral("ca.pem")) };

    const auto service = start(QStringLiteral("service"), broker.url(serviceUser, tls), ca);
    VERIFY_SOON(service->err().contains("replay ends: 4 records read, 4 published"));
    for (const char *command : { "snapshot", "kline", "tradeday", "pe" }) {
        const auto client = start(QString::fromLatin1(command), broker.url(clientUser, tls), ca);
        QVERIFY2(client->exitCode() == 0, client->err());
        QVERIFY(client->lines() > 0);
    }
    const auto watch = start(QStringLiteral("watch"), broker.url(clientUser, tls), ca);
    VERIFY_SOON(watch->lines() == 1);
    watch->signal(SIGTERM);
    QCOMPARE(watch->exitCode(), 0);

    const auto impostor = start(QStringLiteral("service"), broker.url(clientUser, tls), ca);
    QCOMPARE(impostor->exitCode(), 1);
    QVERIFY2(impostor->err().contains("the broker refuses"), impostor->err());
    QVERIFY2(!impostor->err().contains("marketd: ready"), impostor->err());
    QVERIFY(!broker.log().contains("Violation - User \"service\""));
    service->signal(SIGTERM);
    QCOMPARE(service->exitCode(), 0);
}

void tst_BusFailures::documentedConfigurationNeedsAPassword()
{
    NatsBroker broker(contentOf(QStringLiteral(LX_CONTRIB_DIR "/nats-server.conf")));
    write(broker.filePath(QStringLiteral("passwords.conf")), passwords);
    QVERIFY(Certificates::make(broker.folder()));
    QVERIFY2(broker.start(), broker.log());
    const QStringList ca { QStringLiteral("--bus-ca"), broker.filePath(QStringLiteral("ca.pem")) };
    for (const char *user : { "", "client:secret-1", "stranger:secret-2" }) {
        const auto client = start(QStringLiteral("tradeday"), broker.url(QString::fromLatin1(user), tls), ca);
        QCOMPARE(client->exitCode(), 1);
        QVERIFY2(client->err().contains("Authorization Violation"), client->err());
    }
}

QTEST_GUILESS_MAIN(tst_BusFailures)

#include "tst_busfailures.moc"
