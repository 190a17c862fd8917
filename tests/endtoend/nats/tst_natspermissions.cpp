#include "busprocess.h"
#include "busstates.h"
#include "rawnats.h"

#include <bustesting.h>
#include <lxbus/codec/wireformat_p.h>
#include <natsbroker.h>

#include <QFile>
#include <QRegularExpression>
#include <QSemaphore>
#include <QtTest>

using namespace BusTesting;

namespace {

const QString quotes = QStringLiteral("MDMARKETRECORD");
const QString symbol = QStringLiteral("600519.SH");
const QString requestType = QStringLiteral("KLineRequest");
const QString service = QStringLiteral("service:secret-1");
const QString client = QStringLiteral("client:secret-2");
const QString analyst = QStringLiteral("analyst:secret-3");

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The contributed configuration without encryption, which the raw connections of this test lack.
QByteArray configuration()
{
    QString config = QString::fromUtf8(contentOf(QStringLiteral(LX_CONTRIB_DIR "/nats-server.conf")));
    config.remove(QRegularExpression(QStringLiteral("\ntls \\{[^}]*\\}")));
    return config.toUtf8();
}

QByteArray wire(const QString &type, const QVariant &body, const QString &name)
{
    LxWireMessage message;
    message.type = type;
    message.client = name;
    message.body = body;
    QString error;
    return LxWireWriter().write(message, &error);
}

} // namespace

/// With the contributed configuration, an ordinary client cannot harm the services or other clients. The bus of the
/// test is that of the service; the victim is the other user.
class tst_NatsPermissions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void requestsAreAnswered();
    void longNamesDoNoHarm_data();
    void longNamesDoNoHarm();
    void requestsInAnothersNameAreRefused();
    void answersDoNotGoToAnotherClient();
    void answersOfOthersCannotBeRead();
    void recordsCannotBePublished_data();
    void recordsCannotBePublished();
    void announcementsOfServicesAreReadByAll();
    void recordUnderAnotherSymbolIsDropped();
    void floodDoesNotDelayOthers();
    void unansweredRequestsAreBounded();

private:
    bool serviceAnswers(RawNats *asker, const QByteArray &user);

    NatsBroker m_broker { configuration() };
    std::unique_ptr<RawNats> m_enemy;
    std::unique_ptr<RawNats> m_victim;
    std::unique_ptr<Bus> m_bus;
    std::unique_ptr<Publisher> m_publisher;
    std::unique_ptr<Service> m_service;
    std::function<void(const LxBusRequest &)> m_onRequest;
    std::atomic<bool> m_isSilent { false };
};

void tst_NatsPermissions::initTestCase()
{
    QFile passwords(m_broker.filePath(QStringLiteral("passwords.conf")));
    QVERIFY(passwords.open(QIODevice::WriteOnly));
    passwords.write("service_password: \"secret-1\"\nclient_password: \"secret-2\"\n"
                    "analyst_password: \"secret-3\"\nadmin_password: \"secret-4\"\n");
    passwords.close();
    QVERIFY2(m_broker.start(), m_broker.log().constData());
}

void tst_NatsPermissions::init()
{
    m_onRequest = {};
    m_isSilent = false;
    m_enemy = std::make_unique<RawNats>(m_broker.url(client));
    m_victim = std::make_unique<RawNats>(m_broker.url(analyst));
    m_bus = std::make_unique<Bus>(LxBusOptions(), m_broker.url(service));
    m_publisher = std::make_unique<Publisher>(*m_bus);
    m_service = std::make_unique<Service>(
        *m_bus, QStringList { requestType }, [this](LxBusServicePort *port, const LxBusRequest &request) {
            if (m_onRequest)
                m_onRequest(request);
            if (m_isSilent)
                return;
            if (request.id != 0)
                port->answer(request, QStringLiteral("answer"), request.body);
            else
                port->publishTo(request, QStringLiteral("KLineResponse"), request.body);
        });
    QVERIFY(m_publisher->flush());
}

void tst_NatsPermissions::cleanup()
{
    m_service.reset();
    m_publisher.reset();
    m_bus.reset();
}

bool tst_NatsPermissions::serviceAnswers(RawNats *asker, const QByteArray &user)
{
    static int last = 0;
    const QByteArray reply = "lx.in." + user + ".inbox.a." + QByteArray::number(++last);
    asker->publish("lx.rq." + user + ".KLineRequest", wire(requestType, numberBody(last), QString()), reply);
    RawNats::Message message;
    while (asker->next(&message)) {
        if (message.subject == reply)
            return true;
    }
    return false;
}

void tst_NatsPermissions::requestsAreAnswered()
{
    m_victim->listen("lx.in.analyst.>");
    QVERIFY(serviceAnswers(m_victim.get(), "analyst"));

    // What a client of the bus subscribes and publishes is permitted.
    cleanup();
    Bus bus({}, m_broker.url(client), Bus::OnlyReads);
    BusStates states(bus);
    Client reader(bus, QStringLiteral("reader"));
    reader.endpoint->subscribe(quotes);
    reader.endpoint->subscribe(QStringLiteral("MDTRANSACTIONRECORD"));
    reader.ask(LxRecordKind::Quote, Subscribe, { symbol });
    reader.ask(LxRecordKind::Transaction, Subscribe, { symbol });
    QVERIFY(Publisher(bus).flush());
    QVariant answer;
    QCOMPARE(reader.endpoint->requestSync(requestType, numberBody(1), &answer), int(LxBusEndpoint::NoService));
    reader.ask(LxRecordKind::Quote, Unsubscribe, { symbol });
    QVERIFY(Publisher(bus).flush());
    QCOMPARE(states.refusals(), QStringList());
}

void tst_NatsPermissions::longNamesDoNoHarm_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("symbolAsked");
    QTest::addColumn<QByteArray>("reply"); // after "lx.in.client."
    QTest::addColumn<int>("malformed");
    QTest::newRow("client name of 4 KB") << QString(4096, QLatin1Char('x')) << symbol << QByteArray("inbox.m.c.t") << 0;
    QTest::newRow("symbol of 3,000 characters")
        << QString() << QString(3000, QLatin1Char('x')) << QByteArray("inbox.m.c.t") << 0;
    QTest::newRow("return address of 3,900 characters") << QString() << symbol << QByteArray(3900, 'x') << 1;
    QTest::newRow("return address with a wildcard") << QString() << symbol << QByteArray("inbox.*") << 1;
    QTest::newRow("return address with an empty token") << QString() << symbol << QByteArray("inbox..m") << 1;
}

void tst_NatsPermissions::longNamesDoNoHarm()
{
    QFETCH(QString, name);
    QFETCH(QString, symbolAsked);
    QFETCH(QByteArray, reply);
    QFETCH(int, malformed);
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbolAsked);
    m_enemy->publish("lx.rq.client.KLineRequest", wire(requestType, pack.GetPackedMsg(false), name),
                     "lx.in.client." + reply);
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    m_victim->listen("lx.in.analyst.>");
    QVERIFY(serviceAnswers(m_victim.get(), "analyst"));
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), static_cast<quint64>(malformed));
    QCOMPARE((*m_bus)->connection().state().kind, LxBusState::Connected);
}

void tst_NatsPermissions::requestsInAnothersNameAreRefused()
{
    std::atomic<int> handled { 0 };
    m_onRequest = [&handled](const LxBusRequest &) { ++handled; };
    m_enemy->publish("lx.rq.analyst.KLineRequest", wire(requestType, numberBody(1), QString()),
                     "lx.in.client.inbox.a.1");
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(handled.load(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_broker.log().contains("Publish Violation"), PatienceMs);
}

void tst_NatsPermissions::answersDoNotGoToAnotherClient()
{
    m_victim->listen("lx.in.analyst.>");
    for (int i = 0; i < 50; ++i) {
        m_enemy->publish("lx.rq.client.KLineRequest",
                         wire(requestType, numberBody(i), QStringLiteral("the victim's name")),
                         "lx.in.analyst.inbox.m.c.KLineRequest");
    }
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(50));
    QVERIFY(m_victim->messages().isEmpty());
    QVERIFY(serviceAnswers(m_victim.get(), "analyst"));
}

void tst_NatsPermissions::answersOfOthersCannotBeRead()
{
    m_victim->listen("lx.in.analyst.>");
    RawNats eavesdropper(m_broker.url(client));
    eavesdropper.listen("lx.in.analyst.>");
    RawNats other(m_broker.url(client));
    other.listen("lx.in.>");
    RawNats asked(m_broker.url(client));
    asked.listen("lx.rq.>");
    QVERIFY(serviceAnswers(m_victim.get(), "analyst"));
    for (RawNats *each : { &eavesdropper, &other, &asked })
        QVERIFY(each->messages().isEmpty());
}

void tst_NatsPermissions::recordsCannotBePublished_data()
{
    QTest::addColumn<QByteArray>("subject");
    QTest::newRow("record") << QByteArray("lx.md.MDMARKETRECORD.600519.SH");
    QTest::newRow("announcement of a service") << QByteArray("lx.md.ServicePresence");
    QTest::newRow("inbox of another user") << QByteArray("lx.in.analyst.inbox.a.1");
    QTest::newRow("inbox of the service") << QByteArray("lx.in.service.inbox.e");
    for (const char *request :
         { "STREAM.CREATE.LX_LAST", "STREAM.UPDATE.LX_LAST", "STREAM.DELETE.LX_LAST", "STREAM.PURGE.LX_TICKS",
           "STREAM.MSG.DELETE.LX_TICKS", "STREAM.SNAPSHOT.LX_TICKS", "STREAM.CREATE.OTHER", "CONSUMER.CREATE.LX_TICKS",
           "CONSUMER.DURABLE.CREATE.LX_TICKS.x" })
        QTest::newRow(request) << QByteArray("$JS.API.") + request;
}

void tst_NatsPermissions::recordsCannotBePublished()
{
    QFETCH(QByteArray, subject);
    m_victim->listen(subject.startsWith("lx.in") ? "lx.in.analyst.>" : "lx.md.>");
    m_enemy->publish(subject, wire(quotes, numberBody(1), symbol));
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QVERIFY(m_victim->messages().isEmpty());
    QCOMPARE(m_bus->totalDropped(), quint64(0));
    QTRY_VERIFY_WITH_TIMEOUT(m_broker.log().contains("Publish to \"" + subject + "\"")
                                 || m_broker.log().contains("Subject \"" + subject + "\""),
                             PatienceMs);
}

void tst_NatsPermissions::announcementsOfServicesAreReadByAll()
{
    BusStates states(*m_bus);
    Client other(*m_bus, QStringLiteral("other service"));
    other.endpoint->subscribe(LxBusTopics::presence);
    m_victim->listen("lx.md.ServicePresence");
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_publisher->port->publish(LxBusTopics::presence, QString(), numberBody(1)), 1);
    QVERIFY(other.waitFor(1));
    RawNats::Message message;
    QVERIFY(m_victim->next(&message));
    QCOMPARE(message.subject, QByteArray("lx.md.ServicePresence"));
    QCOMPARE(states.refusals(), QStringList());
}

// The broker sends what a client asks the streams for to whatever reply subject the client names.
void tst_NatsPermissions::recordUnderAnotherSymbolIsDropped()
{
    m_publisher->publish(quotes, symbol, 1);
    m_publisher->publish(quotes, QStringLiteral("000001.SZ"), 2);
    QVERIFY(m_publisher->flush());
    BusProcess reader(m_broker.url(analyst), QStringLiteral("reads"));
    QCOMPARE(reader.call(QStringLiteral("client reader MDMARKETRECORD 1 ") + symbol), QStringLiteral("ok"));
    QCOMPARE(reader.call(QStringLiteral("count reader 1")), QStringLiteral("ok"));
    m_enemy->publish("$JS.API.DIRECT.GET.LX_LAST.lx.md.MDMARKETRECORD.000001.SZ", QByteArray(),
                     "lx.md.MDMARKETRECORD.600519.SH");
    QVERIFY(m_enemy->flush());
    QTRY_COMPARE_WITH_TIMEOUT(reader.dropped(), (QMap<QString, int> { { QStringLiteral("malformed"), 1 } }),
                              PatienceMs);
    m_publisher->publish(quotes, symbol, 3);
    QVERIFY(m_publisher->flush());
    QCOMPARE(reader.call(QStringLiteral("count reader 2")), QStringLiteral("ok"));
    QCOMPARE(reader.call(QStringLiteral("heard reader")), QStringLiteral("MDMARKETRECORD:1-3/2"));
}

void tst_NatsPermissions::floodDoesNotDelayOthers()
{
    constexpr int Flood = 3000;
    QSemaphore inside;
    QSemaphore gate;
    QStringList served; // one call at a time
    m_onRequest = [&](const LxBusRequest &request) {
        inside.release();
        gate.acquire();
        served.append(QString::fromLatin1(request.returnAddress).section(QLatin1Char('.'), 2, 2));
    };
    m_enemy->listen("lx.in.client.>");
    m_victim->listen("lx.in.analyst.>");
    for (int i = 1; i <= Flood; ++i) {
        m_enemy->publish("lx.rq.client.KLineRequest", wire(requestType, numberBody(i), QString()),
                         "lx.in.client.inbox.a." + QByteArray::number(i));
    }
    QVERIFY(m_enemy->flush());
    QVERIFY(inside.tryAcquire(1, PatienceMs));
    m_victim->publish("lx.rq.analyst.KLineRequest", wire(requestType, numberBody(1), QString()),
                      "lx.in.analyst.inbox.a.1");
    QVERIFY(m_victim->flush());
    QVERIFY(m_publisher->port->flush(PatienceMs));
    // What exceeds the sender's bound is refused at once: all but those that wait and the one in progress.
    const int refused = Flood - LxBusOptions().requestLimit - 1;
    QCOMPARE(m_bus->dropped(LxBusDrop::QueueFull), static_cast<quint64>(refused));
    for (int i = 0; i < refused; ++i) {
        RawNats::Message refusal;
        QVERIFY(m_enemy->next(&refusal));
        QVERIFY(refusal.bytes.isEmpty());
    }
    gate.release(Flood);
    RawNats::Message answer;
    QVERIFY(m_victim->next(&answer));
    QVERIFY(!answer.bytes.isEmpty());
    for (int i = refused; i < Flood; ++i) {
        QVERIFY(m_enemy->next(&answer));
        QVERIFY(!answer.bytes.isEmpty());
    }
    // The victim's turn came after the request in progress and one more.
    QVERIFY2(served.indexOf(QStringLiteral("analyst")) <= 2, qPrintable(served.mid(0, 5).join(QLatin1Char(' '))));
}

void tst_NatsPermissions::unansweredRequestsAreBounded()
{
    constexpr int Bound = 8 * 1024;
    constexpr int Refused = 500;
    constexpr int Batch = 500; // fewer than may wait
    std::atomic<int> handled { 0 };
    m_onRequest = [&handled](const LxBusRequest &) { ++handled; };
    m_isSilent = true;
    for (int i = 1; i <= Bound + Refused; ++i) {
        m_enemy->publish("lx.rq.client.KLineRequest", wire(requestType, numberBody(i), QString()),
                         "lx.in.client.inbox.a." + QByteArray::number(i));
        if (i % Batch == 0)
            QTRY_COMPARE_WITH_TIMEOUT(handled.load(), qMin(i, Bound), PatienceMs);
    }
    QVERIFY(m_enemy->flush());
    QVERIFY(m_publisher->flush());
    QCOMPARE(m_bus->dropped(LxBusDrop::QueueFull), quint64(Refused));
    QTRY_COMPARE_WITH_TIMEOUT(handled.load(), Bound, PatienceMs);
    // Others are answered.
    m_isSilent = false;
    m_victim->listen("lx.in.analyst.>");
    QVERIFY(serviceAnswers(m_victim.get(), "analyst"));
}

QTEST_GUILESS_MAIN(tst_NatsPermissions)
#include "tst_natspermissions.moc"
