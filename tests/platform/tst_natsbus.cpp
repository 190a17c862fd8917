#include "bustesting.h"

#include <natsbroker.h>

#include <QSemaphore>
#include <QSignalSpy>
#include <QtTest>

using namespace BusTesting;

// The bus through a NATS broker, its clients and services in one process.
class tst_NatsBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void topicReachesItsSubscribers();
    void onlySubscribedSymbolsAreDelivered();
    void symbolsThatNeedEscaping_data();
    void symbolsThatNeedEscaping();
    void lateSubscriberGetsTheLatestOnce();
    void secondClientOfASymbolGetsTheLatestAlone();
    void resubscribingBringsTheLatestAgain();
    void publishToReachesOneClient();
    void addressesAreUnique();
    void putReachesOneService();
    void putWithoutServiceIsCounted();
    void synchronousRequest();
    void synchronousRequestWithoutService();
    void synchronousRequestTimesOut();
    void asynchronousRequest();
    void asynchronousRequestWithoutServiceIsCounted();
    void secondAnswerIsCounted();
    void bodyThatCannotTravelIsCounted();
    void callbackMayCloseTheLastEndpoint();

private:
    NatsBroker m_broker;
    std::unique_ptr<Bus> m_bus;
};

static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");
static const QString quotes = QStringLiteral("MDMARKETRECORD");
static const QString requestType = QStringLiteral("KLineRequest");

void tst_NatsBus::initTestCase()
{
    QVERIFY2(m_broker.start(), m_broker.log().constData());
}

void tst_NatsBus::init()
{
    LxBusOptions options;
    options.requestTimeoutMs = 300;
    m_bus = std::make_unique<Bus>(options, m_broker.url());
}

void tst_NatsBus::cleanup()
{
    m_bus.reset();
}

void tst_NatsBus::topicReachesItsSubscribers()
{
    Service service(*m_bus);
    Client first(*m_bus, QStringLiteral("first"));
    Client second(*m_bus, QStringLiteral("second"));
    Client other(*m_bus, QStringLiteral("other"));
    first.endpoint->subscribe(topic);
    second.endpoint->subscribe(topic);
    other.endpoint->subscribe(QStringLiteral("KLineResponse"));
    QVERIFY(service.port->hasListeners(topic, QString()));
    QCOMPARE(service.publish(topic, QString(), 1), 1);
    QCOMPARE(service.publish(topic, QString(), 2), 1);
    QVERIFY(service.flush());
    QCOMPARE(first.numbers(), (QVector<int> { 1, 2 }));
    QCOMPARE(first.heard().constFirst().topic, topic);
    QCOMPARE(second.numbers(), (QVector<int> { 1, 2 }));
    QVERIFY(other.heard().isEmpty());

    first.endpoint.reset();
    service.publish(topic, QString(), 3);
    QVERIFY(service.flush());
    QCOMPARE(first.numbers(), (QVector<int> { 1, 2 }));
    QCOMPARE(second.numbers(), (QVector<int> { 1, 2, 3 }));
    QCOMPARE(m_bus->droppedInAll(), quint64(0));
}

void tst_NatsBus::onlySubscribedSymbolsAreDelivered()
{
    Service service(*m_bus);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.endpoint->subscribe(QStringLiteral("MDTRANSACTIONRECORD"));
    client.ask(LxRecordKind::Quote, Subscribe, { QStringLiteral("600519.SH") });
    service.publish(quotes, QStringLiteral("600519.SH"), 1);
    service.publish(quotes, QStringLiteral("000001.SZ"), 2);
    service.publish(QStringLiteral("MDTRANSACTIONRECORD"), QStringLiteral("600519.SH"), 3);
    service.publish(quotes, QStringLiteral("600519.SH"), 4);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 1, 4 }));

    client.ask(LxRecordKind::Quote, Unsubscribe, { QStringLiteral("600519.SH") });
    service.publish(quotes, QStringLiteral("600519.SH"), 5);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 1, 4 }));
    QCOMPARE(m_bus->droppedInAll(), quint64(0));
}

void tst_NatsBus::symbolsThatNeedEscaping_data()
{
    QTest::addColumn<QString>("symbol");
    for (const char *symbol : { ".", "..", ".SH", "600519.", "600519..SH", "*", ">", "*.SH", "a b", "a\tb", "%", "%2A",
                                "\xe8\x8c\x85\xe5\x8f\xb0" })
        QTest::newRow(symbol) << QString::fromUtf8(symbol);
}

void tst_NatsBus::symbolsThatNeedEscaping()
{
    QFETCH(QString, symbol);
    Service service(*m_bus);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    service.publish(quotes, QStringLiteral("600519.SH"), 1);
    service.publish(quotes, symbol, 2);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), QVector<int> { 2 });
}

void tst_NatsBus::lateSubscriberGetsTheLatestOnce()
{
    Service service(*m_bus);
    const QString symbol = QStringLiteral("600519.SH");
    service.publish(quotes, symbol, 1);
    service.publish(quotes, symbol, 2);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    QVERIFY(client.waitFor(1));
    service.publish(quotes, symbol, 3);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 2, 3 }));
    QCOMPARE(m_bus->droppedInAll(), quint64(0));
}

void tst_NatsBus::secondClientOfASymbolGetsTheLatestAlone()
{
    Service service(*m_bus);
    const QString symbol = QStringLiteral("600519.SH");
    Client first(*m_bus, QStringLiteral("first"));
    first.endpoint->subscribe(quotes);
    first.ask(LxRecordKind::Quote, Subscribe, { symbol });
    service.publish(quotes, symbol, 1);
    QVERIFY(service.flush());
    Client second(*m_bus, QStringLiteral("second"));
    second.ask(LxRecordKind::Quote, Subscribe, { symbol });
    second.endpoint->subscribe(quotes);
    QVERIFY(second.waitFor(1));
    service.publish(quotes, symbol, 2);
    QVERIFY(service.flush());
    QCOMPARE(first.numbers(), (QVector<int> { 1, 2 }));
    QCOMPARE(second.numbers(), (QVector<int> { 1, 2 }));
}

void tst_NatsBus::resubscribingBringsTheLatestAgain()
{
    Service service(*m_bus);
    const QString symbol = QStringLiteral("600519.SH");
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    service.publish(quotes, symbol, 1);
    QVERIFY(service.flush());
    client.ask(LxRecordKind::Quote, Unsubscribe, { symbol });
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    QVERIFY(client.waitFor(2));
    QCOMPARE(client.numbers(), (QVector<int> { 1, 1 }));
}

void tst_NatsBus::publishToReachesOneClient()
{
    Service service(*m_bus);
    Client asker(*m_bus, QStringLiteral("asker"));
    Client other(*m_bus, QStringLiteral("other"));
    asker.endpoint->subscribe(topic);
    other.endpoint->subscribe(topic);
    service.port->publishTo(asker.endpoint->address(), topic, numberBody(1));
    service.port->publishTo(asker.endpoint->address(), QStringLiteral("KLineResponse"), numberBody(2));
    QVERIFY(service.flush());
    QCOMPARE(asker.numbers(), QVector<int> { 1 });
    QVERIFY(other.heard().isEmpty());
    QCOMPARE(m_bus->dropped(LxBusDrop::ReceiverGone), quint64(1)); // not subscribed
}

void tst_NatsBus::addressesAreUnique()
{
    Client one(*m_bus, QStringLiteral("same name"));
    Client other(*m_bus, QStringLiteral("same name"));
    QVERIFY(one.endpoint->address() != other.endpoint->address());
    QVERIFY(one.endpoint->address().startsWith(QStringLiteral("same name")));
}

void tst_NatsBus::putReachesOneService()
{
    std::atomic<int> received { 0 };
    QSemaphore arrived;
    const auto handler = [&](LxBusServicePort *port, const LxBusRequest &request) {
        received += numberOf(request.body);
        QVERIFY(request.id == 0);
        port->publishTo(request.client, QStringLiteral("KLineResponse"), request.body);
        arrived.release();
    };
    Service first(*m_bus, { requestType }, handler);
    Service second(*m_bus, { requestType }, handler);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(QStringLiteral("KLineResponse"));
    QVERIFY(first.flush());
    client.endpoint->put(requestType, numberBody(7));
    QVERIFY(arrived.tryAcquire(1, PatienceMs));
    QVERIFY(client.waitFor(1));
    QVERIFY(first.flush());
    QCOMPARE(received.load(), 7);
    QCOMPARE(client.numbers(), QVector<int> { 7 });
}

void tst_NatsBus::putWithoutServiceIsCounted()
{
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->put(requestType, numberBody(7));
    QTRY_COMPARE((*m_bus)->statistics().dropped(requestType), quint64(1));
    QCOMPARE(m_bus->dropped(LxBusDrop::NoService), quint64(1));
}

void tst_NatsBus::synchronousRequest()
{
    Service service(*m_bus, { requestType }, [](LxBusServicePort *port, const LxBusRequest &request) {
        QVERIFY(request.id != 0);
        port->answer(request, QStringLiteral("answer"), numberBody(numberOf(request.body) + 1));
    });
    Client client(*m_bus, QStringLiteral("client"));
    QVERIFY(service.flush());
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(7), &answer), int(LxBusEndpoint::Ok));
    QCOMPARE(numberOf(answer), 8);
    QVERIFY(client.heard().isEmpty());
}

void tst_NatsBus::synchronousRequestWithoutService()
{
    Client client(*m_bus, QStringLiteral("client"));
    QVariant answer(1);
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(7), &answer), int(LxBusEndpoint::NoService));
    QCOMPARE(answer, QVariant(1));
    QCOMPARE(m_bus->dropped(LxBusDrop::NoService), quint64(1));
}

void tst_NatsBus::synchronousRequestTimesOut()
{
    Service service(*m_bus, { requestType }, [](LxBusServicePort *, const LxBusRequest &) {});
    Client client(*m_bus, QStringLiteral("client"));
    QVERIFY(service.flush());
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(7), &answer), int(LxBusEndpoint::TimedOut));
}

void tst_NatsBus::asynchronousRequest()
{
    Service service(*m_bus, { requestType }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, QStringLiteral("answer"), numberBody(numberOf(request.body) + 1));
    });
    Client client(*m_bus, QStringLiteral("client"));
    Client other(*m_bus, QStringLiteral("other"));
    QVERIFY(service.flush());
    QCOMPARE(client.endpoint->requestAsync(requestType, numberBody(7)), int(LxBusEndpoint::Ok));
    QCOMPARE(client.endpoint->requestAsync(requestType, numberBody(8)), int(LxBusEndpoint::Ok));
    QVERIFY(client.waitFor(2));
    QCOMPARE(client.numbers(), (QVector<int> { 8, 9 }));
    QCOMPARE(client.heard().constFirst().topic, QStringLiteral("answer"));
    QVERIFY(client.heard().constFirst().id != 0);
    QVERIFY(client.heard().constFirst().id != client.heard().constLast().id);
    QVERIFY(other.heard().isEmpty());
}

void tst_NatsBus::asynchronousRequestWithoutServiceIsCounted()
{
    Client client(*m_bus, QStringLiteral("client"));
    QCOMPARE(client.endpoint->requestAsync(requestType, numberBody(7)), int(LxBusEndpoint::Ok));
    QTRY_COMPARE(m_bus->dropped(LxBusDrop::NoService), quint64(1));
    QCOMPARE((*m_bus)->statistics().dropped(requestType), quint64(1));
}

void tst_NatsBus::secondAnswerIsCounted()
{
    Service service(*m_bus, { requestType }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, QStringLiteral("answer"), numberBody(1));
        port->answer(request, QStringLiteral("answer"), numberBody(2));
    });
    Client client(*m_bus, QStringLiteral("client"));
    QVERIFY(service.flush());
    client.endpoint->requestAsync(requestType, numberBody(7));
    QTRY_COMPARE(m_bus->dropped(LxBusDrop::LateAnswer), quint64(1));
    QVERIFY(client.waitFor(1));
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), QVector<int> { 1 });
}

void tst_NatsBus::bodyThatCannotTravelIsCounted()
{
    Service service(*m_bus);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    const QVariant body(QDate(2021, 12, 1));
    QCOMPARE(service.port->publish(topic, QString(), body), 0);
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(client.endpoint->requestAsync(requestType, body), int(LxBusEndpoint::NotSent));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, body, &answer), int(LxBusEndpoint::NotSent));
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(3));
}

void tst_NatsBus::callbackMayCloseTheLastEndpoint()
{
    QSemaphore closed;
    {
        auto service = std::make_unique<Service>(*m_bus);
        std::unique_ptr<LxBusEndpoint> endpoint;
        Client client(*m_bus, QStringLiteral("client"), [&](const Heard &) {
            endpoint.reset();
            closed.release();
        });
        endpoint = std::move(client.endpoint);
        endpoint->subscribe(topic);
        service->publish(topic, QString(), 1);
        service.reset();
        m_bus.reset();
        QVERIFY(closed.tryAcquire(1, PatienceMs));
        QVERIFY(client.waitFor(1));
    }
    init();
}

QTEST_GUILESS_MAIN(tst_NatsBus)
#include "tst_natsbus.moc"
