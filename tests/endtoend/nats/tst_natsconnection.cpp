#include "busstates.h"
#include "rawnats.h"

#include <bustesting.h>
#include <certificates.h>
#include <natsbroker.h>

#include <QTemporaryDir>
#include <QtTest>

using namespace BusTesting;

namespace {

const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");
const QString quotes = QStringLiteral("MDMARKETRECORD");
const QString symbol = QStringLiteral("600519.SH");
const QString requestType = QStringLiteral("KLineRequest");

const QByteArray users = "authorization { users = [ { user: \"lx\", password: \"secret\" } ] }\n";
const QString lx = QStringLiteral("lx:secret");

} // namespace

/// Connecting to a broker, losing the connection, and the states that are announced.
class tst_NatsConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void malformedUrlIsRefused_data();
    void malformedUrlIsRefused();
    void brokerThatCannotBeReachedIsAnError_data();
    void brokerThatCannotBeReachedIsAnError();
    void secretsMatter_data();
    void secretsMatter();
    void certificateMatters_data();
    void certificateMatters();
    void certificatesThatCannotBeReadAreAnError();
    void restartIsAnnounced();
    void brokerThatRefusesAfterARestartClosesTheBus();
    void refusedSubjectsAreAnnounced();
    void clientsPublishNothing();
};

void tst_NatsConnection::malformedUrlIsRefused_data()
{
    QTest::addColumn<QString>("url");
    for (const char *url : { "nats://", "nats://:4222", "nats://user:secret@", "nats://host:port", "nats://host:99999",
                             "nats://host:-1", "nats://host/path", "nats://host?query", "nats://host#fragment",
                             "nats://host,", "nats://good,bad host", "tls://" })
        QTest::newRow(url) << QString::fromLatin1(url);
    QTest::newRow("other scheme") << QStringLiteral("amqp://host");
    QTest::newRow("no scheme") << QStringLiteral("127.0.0.1:4222");
    QTest::newRow("nothing") << QString();
}

void tst_NatsConnection::malformedUrlIsRefused()
{
    QFETCH(QString, url);
    QString error;
    QVERIFY(!LxBus::start(url, {}, &error));
    const QString rest = url.section(QLatin1Char('@'), -1);
    const bool toBroker = url.startsWith(QLatin1String("nats:")) || url.startsWith(QLatin1String("tls:"));
    QVERIFY2(error.contains(toBroker ? QStringLiteral("is not the host and port of a broker")
                                     : QStringLiteral("invalid bus URL \"%1\"").arg(rest)),
             qPrintable(error));
    QVERIFY2(!error.contains(QLatin1String("secret")), qPrintable(error));
}

void tst_NatsConnection::brokerThatCannotBeReachedIsAnError_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("reason");
    // Nothing listens on the port of a broker that is gone.
    NatsBroker gone;
    QVERIFY2(gone.start(), gone.log().constData());
    QTest::newRow("nothing listens") << gone.url() << QStringLiteral("No server available for connection");
    QTest::newRow("nothing listens, encrypted")
        << gone.url(QString(), QStringLiteral("tls")) << QStringLiteral("No server available for connection");
    QTest::newRow("unknown host") << QStringLiteral("nats://broker.invalid:4222")
                                  << QStringLiteral("No server available for connection");
}

void tst_NatsConnection::brokerThatCannotBeReachedIsAnError()
{
    QFETCH(QString, url);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!LxBus::start(url, {}, &error));
    const QString host = url.section(QLatin1String("://"), 1);
    QVERIFY2(error.startsWith(QStringLiteral("cannot connect to the broker at %1: ").arg(host)), qPrintable(error));
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void tst_NatsConnection::secretsMatter_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("good");
    QTest::newRow("good") << lx << true;
    QTest::newRow("wrong password") << QStringLiteral("lx:guess") << false;
    QTest::newRow("unknown user") << QStringLiteral("ly:secret") << false;
    QTest::newRow("no password") << QStringLiteral("lx") << false;
    QTest::newRow("no user") << QString() << false;
}

void tst_NatsConnection::secretsMatter()
{
    QFETCH(QString, user);
    QFETCH(bool, good);
    NatsBroker broker(users);
    QVERIFY2(broker.start(), broker.log().constData());
    QString error;
    QCOMPARE(LxBus::start(broker.url(user), {}, &error), good);
    LxBus::stop();
    QVERIFY2(good || error.contains(QLatin1String("Authorization Violation"), Qt::CaseInsensitive), qPrintable(error));
    QVERIFY2(!error.contains(QLatin1String("secret")) && !error.contains(QLatin1String("guess")), qPrintable(error));
}

void tst_NatsConnection::certificateMatters_data()
{
    QTest::addColumn<bool>("encrypted"); // the broker
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("ca"); // whose authority the client trusts
    QTest::addColumn<QString>("host"); // that the certificate is for
    QTest::addColumn<QString>("reason"); // empty: it works
    const QString tls = QStringLiteral("tls");
    const QString nats = QStringLiteral("nats");
    const QString own = QStringLiteral("own");
    const QString address = QStringLiteral("IP:127.0.0.1");
    QTest::newRow("good") << true << tls << own << address << QString();
    // OpenSSL's numbers: its certificate is not signed by a trusted CA; it is not for this address.
    const QString unknown = QStringLiteral("SSL handshake error: 20:");
    QTest::newRow("another's certificate") << true << tls << QStringLiteral("other") << address << unknown;
    QTest::newRow("untrusted certificate") << true << tls << QString() << address << unknown;
    QTest::newRow("another address's certificate")
        << true << tls << own << QStringLiteral("IP:127.0.0.2") << QStringLiteral("SSL handshake error: 64:");
    QTest::newRow("broker does not encrypt") << false << tls << own << address << QStringLiteral("Secure Connection");
    // A broker that encrypts makes its clients encrypt.
    QTest::newRow("client does not ask for it") << true << nats << QString() << address << unknown;
}

void tst_NatsConnection::certificateMatters()
{
    QFETCH(bool, encrypted);
    QFETCH(QString, scheme);
    QFETCH(QString, ca);
    QFETCH(QString, host);
    QFETCH(QString, reason);
    const QByteArray tls = "tls { cert_file: \"server-cert.pem\", key_file: \"server-key.pem\" }\n";
    NatsBroker broker(encrypted ? tls : QByteArray());
    QVERIFY(Certificates::make(broker.folder(), host));
    QVERIFY2(broker.start(), broker.log().constData());
    LxBusOptions options;
    const QTemporaryDir others;
    if (ca == QLatin1String("own")) {
        options.caFile = broker.filePath(QStringLiteral("ca.pem"));
    } else if (ca == QLatin1String("other")) {
        QVERIFY(Certificates::make(others.path()));
        options.caFile = others.filePath(QStringLiteral("ca.pem"));
    }
    QString error;
    QCOMPARE(LxBus::start(broker.url(QString(), scheme), options, &error), reason.isEmpty());
    LxBus::stop();
    QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
}

void tst_NatsConnection::certificatesThatCannotBeReadAreAnError()
{
    LxBusOptions options;
    options.caFile = QStringLiteral("/no/such/file");
    QString error;
    QVERIFY(!LxBus::start(QStringLiteral("tls://127.0.0.1"), options, &error));
    QVERIFY2(error.contains(QLatin1String("cannot use the certificates in \"/no/such/file\"")), qPrintable(error));
    options.caFile.clear();
    options.credentialsFile = QStringLiteral("/no/such/file");
    QVERIFY(!LxBus::start(QStringLiteral("nats://127.0.0.1"), options, &error));
    QVERIFY2(error.contains(QLatin1String("cannot read the credentials in \"/no/such/file\"")), qPrintable(error));
}

void tst_NatsConnection::restartIsAnnounced()
{
    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log().constData());
    Bus bus({}, broker.url());
    QCOMPARE(bus->connection().state().kind, LxBusState::Connected);
    BusStates states(bus);
    const QDateTime before = QDateTime::currentDateTime();
    broker.kill();
    QTRY_COMPARE_WITH_TIMEOUT(states.kinds(), QVector<int> { LxBusState::Reconnecting }, PatienceMs);
    const LxBusState lost = bus->connection().state();
    QCOMPARE(lost.kind, LxBusState::Reconnecting);
    QVERIFY(!lost.reason.isEmpty());
    QVERIFY(lost.since >= before && lost.since <= QDateTime::currentDateTime());

    QVERIFY2(broker.start(), broker.log().constData());
    QTRY_COMPARE_WITH_TIMEOUT(states.kinds(), (QVector<int> { LxBusState::Reconnecting, LxBusState::Connected }),
                              PatienceMs);
    const LxBusState regained = bus->connection().state();
    QVERIFY(regained.reason.isEmpty());
    QVERIFY(regained.since >= lost.since);
}

void tst_NatsConnection::brokerThatRefusesAfterARestartClosesTheBus()
{
    NatsBroker broker(users);
    QVERIFY2(broker.start(), broker.log().constData());
    LxBusOptions options;
    options.requestTimeoutMs = PatienceMs;
    Bus bus(options, broker.url(lx));
    BusStates states(bus);
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    broker.kill();
    broker.configure(QByteArray(users).replace("secret", "changed"));
    QVERIFY2(broker.start(), broker.log().constData());
    QTRY_COMPARE_WITH_TIMEOUT(states.kinds(), (QVector<int> { LxBusState::Reconnecting, LxBusState::Closed }),
                              PatienceMs);
    const LxBusState closed = bus->connection().state();
    QVERIFY2(closed.reason.contains(QLatin1String("authorization"), Qt::CaseInsensitive), qPrintable(closed.reason));

    // Nothing can be sent any more, and attempts fail.
    QCOMPARE(publisher.publish(topic, QString(), 1), 0);
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(1), &answer), int(LxBusEndpoint::Closed));
    QCOMPARE(client.endpoint->requestAsync(requestType, numberBody(1)), int(LxBusEndpoint::Closed));
    QCOMPARE(bus.dropped(LxBusDrop::NotSent), quint64(3));
}

void tst_NatsConnection::refusedSubjectsAreAnnounced()
{
    NatsBroker broker("authorization { users = [ { user: \"lx\", password: \"secret\", permissions: {\n"
                      "    publish: [\"lx.rq.>\", \"$JS.API.DIRECT.GET.>\", \"lx.in.>\"]\n"
                      "    subscribe: { allow: [\"lx.md.MDMARKETRECORD.>\", \"lx.in.>\"] } } } ] }\n");
    QVERIFY2(broker.start(), broker.log().constData());
    Bus bus({}, broker.url(lx), Bus::OnlyReads);
    BusStates states(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    Publisher publisher(bus);
    QVERIFY(publisher.flush());
    QCOMPARE(states.refusals(), QStringList());

    client.endpoint->subscribe(topic);
    QTRY_COMPARE_WITH_TIMEOUT(states.refusals().size(), 1, PatienceMs);
    QVERIFY2(states.refusals().last().contains(QLatin1String("lx.md.") + topic), qPrintable(states.refusals().last()));
    Service unwanted(bus, { requestType }, [](LxBusServicePort *, const LxBusRequest &) {});
    QTRY_COMPARE_WITH_TIMEOUT(states.refusals().size(), 2, PatienceMs);
    QVERIFY2(states.refusals().last().contains(QLatin1String("lx.rq.*.") + requestType),
             qPrintable(states.refusals().last()));
    // The connection stays open.
    QVERIFY(publisher.flush());
    QCOMPARE(states.kinds(), QVector<int>());
}

void tst_NatsConnection::clientsPublishNothing()
{
    NatsBroker broker(
        "authorization { users = [\n"
        "    { user: \"service\", password: \"secret\" }\n"
        "    { user: \"lx\", password: \"secret\", permissions: {\n"
        "        publish: [\"lx.rq.>\", \"$JS.API.DIRECT.GET.>\", \"lx.in.>\"], subscribe: \">\" } } ] }\n");
    QVERIFY2(broker.start(), broker.log().constData());
    RawNats eavesdropper(broker.url(QStringLiteral("service:secret")));
    eavesdropper.listen("lx.md.>");
    Bus bus({}, broker.url(lx), Bus::OnlyReads);
    BusStates states(bus);
    Publisher forger(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.endpoint->subscribe(topic);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    QVERIFY(forger.flush());

    forger.publish(quotes, symbol, 1);
    QTRY_COMPARE_WITH_TIMEOUT(states.refusals().size(), 1, PatienceMs);
    QVERIFY2(states.refusals().last().contains(QLatin1String("lx.md.MDMARKETRECORD.600519.SH")),
             qPrintable(states.refusals().last()));
    forger.publish(topic, QString(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(states.refusals().size(), 2, PatienceMs);
    QVERIFY(forger.flush());
    QVERIFY(client.heard().isEmpty());
    QVERIFY(eavesdropper.messages().isEmpty());

    // Records of a user that may publish are received.
    RawNats service(broker.url(QStringLiteral("service:secret")));
    service.publish("lx.md.MDMARKETRECORD.600519.SH", "anything");
    RawNats::Message message;
    QVERIFY(eavesdropper.next(&message));
    QCOMPARE(message.bytes, QByteArray("anything"));
}

QTEST_GUILESS_MAIN(tst_NatsConnection)
#include "tst_natsconnection.moc"
