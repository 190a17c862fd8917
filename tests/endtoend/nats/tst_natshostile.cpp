#include "rawnats.h"

#include <bustesting.h>
#include <lxbus/codec/wireformat_p.h>
#include <natsbroker.h>

#include <QRandomGenerator>
#include <QtTest>

using namespace BusTesting;

namespace {

const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");
const QString quotes = QStringLiteral("MDMARKETRECORD");
const QString symbol = QStringLiteral("600519.SH");
const QString requestType = QStringLiteral("KLineRequest");
const QByteArray recordSubject = "lx.md.MDMARKETRECORD.600519.SH";
const QByteArray requestSubject = "lx.rq.any.KLineRequest";

QByteArray wire(const QString &type, const QVariant &body, const QString &client = QString(), quint64 epoch = 0)
{
    LxWireMessage message;
    message.epoch = epoch;
    message.type = type;
    message.client = client;
    message.body = body;
    QString error;
    return LxWireWriter().write(message, &error);
}

// What no reader takes for a message: no bytes, random ones, beginnings of a message.
QVector<QByteArray> malformed()
{
    QVector<QByteArray> all { QByteArray(), QByteArray(1, '\0'), QByteArray(100000, '\xff') };
    QRandomGenerator random(4711);
    for (int i = 0; i < 200; ++i) {
        QByteArray bytes(random.bounded(1, 300), '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random.bounded(256));
        all.append(bytes);
    }
    const QByteArray good = wire(quotes, numberBody(1));
    for (int length = 0; length < good.size(); ++length)
        all.append(good.left(length));
    return all;
}

} // namespace

/// Other clients of the broker send messages that a bus would never send.
class tst_NatsHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void malformedBytesAreCounted_data();
    void malformedBytesAreCounted();
    void changedBytesHarmNobody();
    void foreignRequestsAreCounted();
    void answersGoToClientsOnly_data();
    void answersGoToClientsOnly();
    void recordOfAnotherRouteIsCounted_data();
    void recordOfAnotherRouteIsCounted();
    void unknownSubjectsOfAClientAreCounted();
    void foreignEchoDoesNotEndAFlush();
    void recordBeyondTheBrokersLimitIsCounted();
    void twoPublishersOfOneSymbolAreReported();

private:
    // The bus still works.
    void verifyAllIsWell();

    NatsBroker m_broker;
    std::unique_ptr<RawNats> m_enemy;
    std::unique_ptr<Bus> m_bus;
    std::unique_ptr<Publisher> m_publisher;
    std::unique_ptr<Service> m_service;
    std::unique_ptr<Client> m_client;
    QByteArray m_own; // what the subjects of the client's process begin with
    QByteArray m_latest; // what follows for the latest record
};

void tst_NatsHostile::init()
{
    QVERIFY2(m_broker.start(), m_broker.log().constData()); // without the last values of other tests
    m_enemy = std::make_unique<RawNats>(m_broker.url());
    LxBusOptions options;
    options.requestTimeoutMs = PatienceMs;
    m_bus = std::make_unique<Bus>(options, m_broker.url());
    m_service = std::make_unique<Service>(*m_bus, QStringList { requestType },
                                          [](LxBusServicePort *port, const LxBusRequest &request) {
                                              if (request.id != 0)
                                                  port->answer(request, QStringLiteral("answer"), request.body);
                                              else
                                                  port->publishTo(request, topic, request.body);
                                          });
    m_publisher = std::make_unique<Publisher>(*m_bus);
    m_client = std::make_unique<Client>(*m_bus, QStringLiteral("client"));
    // Only an administrator can see where the answers go.
    RawNats administrator(m_broker.url());
    administrator.listen("$JS.API.DIRECT.GET.>");
    m_client->endpoint->subscribe(topic);
    m_client->endpoint->subscribe(quotes);
    m_client->ask(LxRecordKind::Quote, Subscribe, { symbol });
    RawNats::Message question;
    QVERIFY(administrator.next(&question));
    QCOMPARE(question.subject, QByteArray("$JS.API.DIRECT.GET.LX_LAST.") + recordSubject);
    const int end = question.reply.indexOf(".l.");
    m_own = question.reply.left(end);
    m_latest = question.reply.mid(end);
    m_publisher->publish(quotes, symbol, 1);
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_client->numbers(), QVector<int> { 1 });
}

void tst_NatsHostile::cleanup()
{
    m_client.reset();
    m_service.reset();
    m_publisher.reset();
    m_bus.reset();
}

void tst_NatsHostile::verifyAllIsWell()
{
    const int before = m_client->heard().size();
    m_publisher->publish(quotes, symbol, 1000001);
    m_publisher->publish(topic, QString(), 1000002);
    QVERIFY(m_publisher->flush());
    m_client->endpoint->put(requestType, numberBody(1000003));
    QCOMPARE(m_client->endpoint->requestAsync(requestType, numberBody(1000004)), int(LxBusEndpoint::Ok));
    QVERIFY(m_client->waitFor(before + 4));
    QCOMPARE(m_client->numbers().mid(before), (QVector<int> { 1000001, 1000002, 1000003, 1000004 }));
    QVariant answer;
    QCOMPARE(m_client->endpoint->requestSync(requestType, numberBody(7), &answer), int(LxBusEndpoint::Ok));
    QCOMPARE(numberOf(answer), 7);
    Client late(*m_bus, QStringLiteral("late"));
    late.endpoint->subscribe(quotes);
    late.ask(LxRecordKind::Quote, Subscribe, { symbol });
    QVERIFY(late.waitFor(1));
    QCOMPARE(late.numbers(), QVector<int> { 1000001 });
}

void tst_NatsHostile::malformedBytesAreCounted_data()
{
    QTest::addColumn<QByteArray>("subject");
    QTest::addColumn<QByteArray>("own"); // behind the client's
    QTest::addColumn<QString>("counted");
    QTest::newRow("record of a symbol") << recordSubject << QByteArray() << quotes;
    QTest::newRow("record of a topic") << QByteArray("lx.md.ADUPSDOWNSANALYSISRECORD") << QByteArray() << topic;
    QTest::newRow("request") << requestSubject << QByteArray() << QStringLiteral("request");
    QTest::newRow("message to a client") << QByteArray() << QByteArray(".m.client.KLineRequest")
                                         << QStringLiteral("message");
    QTest::newRow("latest record") << QByteArray() << QByteArray(".l") << QStringLiteral("latest record");
}

void tst_NatsHostile::malformedBytesAreCounted()
{
    QFETCH(QByteArray, subject);
    QFETCH(QByteArray, own);
    QFETCH(QString, counted);

    const QVector<QByteArray> payloads = malformed();
    for (const QByteArray &bytes : payloads)
        m_enemy->publish(own.isEmpty() ? subject : m_own + (own == ".l" ? m_latest : own), bytes);
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), static_cast<quint64>(payloads.size()));
    QCOMPARE((*m_bus)->statistics().dropped(counted), static_cast<quint64>(payloads.size()));
    QCOMPARE(m_client->numbers(), QVector<int> { 1 });
    verifyAllIsWell();
    QCOMPARE(m_bus->totalDropped(), static_cast<quint64>(payloads.size()));
}

// Messages with one changed byte are decoded or refused; tests of the wire format check which.
void tst_NatsHostile::changedBytesHarmNobody()
{
    const QByteArray good = wire(requestType, numberBody(1), QStringLiteral("somebody"));
    QRandomGenerator random(4712);
    for (int position = 0; position < good.size(); ++position) {
        QByteArray bytes = good;
        bytes[position] = static_cast<char>(bytes.at(position) ^ random.bounded(1, 256));
        for (const QByteArray &subject :
             { recordSubject, QByteArray("lx.md.ADUPSDOWNSANALYSISRECORD"), requestSubject,
               QByteArray(m_own + ".m.client.KLineRequest"), QByteArray(m_own + ".a.999999"), m_own + m_latest })
            m_enemy->publish(subject, bytes, m_own + ".a.999999");
    }
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    const auto bytes = static_cast<quint64>(good.size());
    QVERIFY(m_bus->dropped(LxBusDrop::Malformed) >= bytes); // the first byte of each subject's, and more
    verifyAllIsWell();
}

void tst_NatsHostile::foreignRequestsAreCounted()
{
    // Requests of a type that the service does not serve, of a client without a name.
    m_enemy->publish(requestSubject, wire(QStringLiteral("SubscribeRequest"), numberBody(1)), m_own + ".a.999999");
    m_enemy->publish(requestSubject, wire(QString(), QVariant()), m_own + ".a.999999");
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(2));
    // A request of a type that it serves is answered, although nothing waits for the answer.
    m_enemy->publish(requestSubject, wire(requestType, numberBody(1)), m_own + ".a.999999");
    QTRY_COMPARE_WITH_TIMEOUT(m_bus->dropped(LxBusDrop::LateAnswer), quint64(1), PatienceMs);
    QCOMPARE(m_client->numbers(), QVector<int> { 1 });
    verifyAllIsWell();
}

void tst_NatsHostile::answersGoToClientsOnly_data()
{
    QTest::addColumn<QByteArray>("subject");
    QTest::addColumn<QByteArray>("bytes");
    // By these a client without the right to publish could have a service publish for it.
    QTest::newRow("request") << requestSubject << wire(requestType, numberBody(2), QStringLiteral("enemy"));
}

void tst_NatsHostile::answersGoToClientsOnly()
{
    QFETCH(QByteArray, subject);
    QFETCH(QByteArray, bytes);

    RawNats eavesdropper(m_broker.url());
    eavesdropper.listen(">");
    const QVector<QByteArray> replies { "lx.md.ADUPSDOWNSANALYSISRECORD", "lx.md.MDMARKETRECORD.000001.SZ",
                                        requestSubject, "lx.in", "anything" };
    for (const QByteArray &reply : replies)
        m_enemy->publish(subject, bytes, reply);
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), static_cast<quint64>(replies.size()));
    verifyAllIsWell(); // an answer too many would have come before these
    const QVector<RawNats::Message> messages = eavesdropper.messages();
    QVERIFY(messages.size() > replies.size());
    for (const RawNats::Message &message : messages) {
        const bool fromEnemy = message.subject == subject && replies.contains(message.reply);
        QVERIFY2(fromEnemy || message.reply.isEmpty() || message.reply.startsWith("lx.in."), message.reply);
        QVERIFY2(message.subject != "lx.md.MDMARKETRECORD.000001.SZ" && message.subject != "anything"
                     && message.subject != "lx.in",
                 message.subject);
    }
    QVERIFY(!m_client->numbers().contains(2));
}

void tst_NatsHostile::recordOfAnotherRouteIsCounted_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("topic") << wire(topic, numberBody(2), symbol);
    QTest::newRow("symbol") << wire(quotes, numberBody(2), QStringLiteral("000001.SZ"));
    QTest::newRow("no symbol") << wire(quotes, numberBody(2));
}

void tst_NatsHostile::recordOfAnotherRouteIsCounted()
{
    QFETCH(QByteArray, bytes);
    m_enemy->publish(recordSubject, bytes);
    m_enemy->publish(m_own + m_latest, bytes);
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(2));
    QCOMPARE(m_client->numbers(), QVector<int> { 1 });
    verifyAllIsWell();
}

void tst_NatsHostile::unknownSubjectsOfAClientAreCounted()
{
    for (const char *own : { ".x", ".m.m", ".a", ".l", ".n" })
        m_enemy->publish(m_own + own, wire(quotes, numberBody(2)));
    for (const char *own : { ".a.x", ".a.18446744073709551616", ".n.KLineRequest" })
        m_enemy->publish(m_own + own, wire(quotes, numberBody(2)));
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(6));
    QCOMPARE(m_bus->dropped(LxBusDrop::LateAnswer), quint64(2));
    QCOMPARE(m_client->numbers(), QVector<int> { 1 });
    verifyAllIsWell();
}

void tst_NatsHostile::foreignEchoDoesNotEndAFlush()
{
    RawNats eavesdropper(m_broker.url());
    eavesdropper.listen("lx.in.any.*.e");
    QVERIFY(m_publisher->flush());
    RawNats::Message echo;
    QVERIFY(eavesdropper.next(&echo));
    QCOMPARE(echo.subject, m_own + ".e");
    for (const char *bytes : { "18446744073709551615", "1000000", "", "-1", "no number" })
        m_enemy->publish(echo.subject, bytes);
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush()); // behind what the enemy said
    // No broker, no end.
    m_broker.kill();
    QVERIFY(!m_publisher->port->flush(100));
    QVERIFY2(m_broker.start(), m_broker.log().constData());
    QVERIFY(m_publisher->flush());
    verifyAllIsWell();
}

void tst_NatsHostile::recordBeyondTheBrokersLimitIsCounted()
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Text"), QString(2 * 1024 * 1024, QLatin1Char('x')));
    const QVariant body = pack.GetPackedMsg(false);
    QCOMPARE(m_publisher->port->publish(quotes, symbol, body), 0);
    QCOMPARE(m_client->endpoint->requestAsync(requestType, body), int(LxBusEndpoint::NotSent));
    QVariant answer;
    QCOMPARE(m_client->endpoint->requestSync(requestType, body, &answer), int(LxBusEndpoint::NotSent));
    QCOMPARE(m_bus->dropped(LxBusDrop::NotSent), quint64(3));
    verifyAllIsWell();
}

void tst_NatsHostile::twoPublishersOfOneSymbolAreReported()
{
    constexpr quint64 OlderEpoch = 1;
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("^two services publish MDMARKETRECORD of 600519.SH - ")));
    m_enemy->publish(recordSubject, wire(quotes, numberBody(2), symbol, OlderEpoch));
    QVERIFY(m_client->waitFor(2));
    QCOMPARE(m_client->numbers(), (QVector<int> { 1, 2 }));
}

QTEST_GUILESS_MAIN(tst_NatsHostile)
#include "tst_natshostile.moc"
