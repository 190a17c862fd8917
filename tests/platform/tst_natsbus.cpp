#include "bustesting.h"

#include <lxbus/fairqueue_p.h>
#include <lxbus/links/natsparts_p.h>

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
    void init();
    void cleanup();
    void symbolsThatNeedEscaping_data();
    void symbolsThatNeedEscaping();
    void putReachesOneService();
    void bodyThatCannotTravelIsCounted();
    void longAnswerArrivesWhole_data();
    void longAnswerArrivesWhole();
    void answerBeyondTheBoundIsRefused();
    void partsThatAreMissingAreNoticed();
    void overlongNamesAreCounted_data();
    void overlongNamesAreCounted();
    void sendersAreServedInTurn();
    void queueOfASenderIsBounded();

private:
    NatsBroker m_broker;
    std::unique_ptr<Bus> m_bus;
};

static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");
static const QString quotes = QStringLiteral("MDMARKETRECORD");
static const QString requestType = QStringLiteral("KLineRequest");

void tst_NatsBus::init()
{
    QVERIFY2(m_broker.start(), m_broker.log().constData()); // without the last values of other tests
    LxBusOptions options;
    options.requestTimeoutMs = 300;
    m_bus = std::make_unique<Bus>(options, m_broker.url());
}

void tst_NatsBus::cleanup()
{
    m_bus.reset();
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
    Publisher publisher(*m_bus);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { symbol });
    publisher.publish(quotes, QStringLiteral("600519.SH"), 1);
    publisher.publish(quotes, symbol, 2);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), QVector<int> { 2 });
}

void tst_NatsBus::putReachesOneService()
{
    Publisher publisher(*m_bus);
    std::atomic<int> received { 0 };
    QSemaphore arrived;
    const auto handler = [&](LxBusServicePort *port, const LxBusRequest &request) {
        received += numberOf(request.body);
        QVERIFY(request.id == 0);
        port->publishTo(request, QStringLiteral("KLineResponse"), request.body);
        arrived.release();
    };
    Service first(*m_bus, { requestType }, handler);
    Service second(*m_bus, { requestType }, handler);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(QStringLiteral("KLineResponse"));
    QVERIFY(publisher.flush());
    client.endpoint->put(requestType, numberBody(7));
    QVERIFY(arrived.tryAcquire(1, PatienceMs));
    QVERIFY(client.waitFor(1));
    QVERIFY(publisher.flush());
    QCOMPARE(received.load(), 7);
    QCOMPARE(client.numbers(), QVector<int> { 7 });
}

void tst_NatsBus::bodyThatCannotTravelIsCounted()
{
    Publisher publisher(*m_bus);
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    const QVariant body(QDate(2021, 12, 1));
    QCOMPARE(publisher.port->publish(topic, QString(), body), 0);
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(client.endpoint->requestAsync(requestType, body), int(LxBusEndpoint::NotSent));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, body, &answer), int(LxBusEndpoint::NotSent));
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(3));
}

static QVariant textOfSize(int size)
{
    QStringList texts; // a single string may not be that long
    for (int rest = size; rest > 0; rest -= 1000000)
        texts.append(QString(qMin(rest, 1000000), QLatin1Char('x')));
    return texts;
}

void tst_NatsBus::longAnswerArrivesWhole_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("about the broker's limit") << 1024 * 1024 - 100;
    QTest::newRow("a little more") << 1024 * 1024 + 1;
    QTest::newRow("many parts") << 10 * 1000 * 1000;
}

void tst_NatsBus::longAnswerArrivesWhole()
{
    QFETCH(int, size);
    m_bus.reset();
    LxBusOptions options;
    options.requestTimeoutMs = PatienceMs;
    m_bus = std::make_unique<Bus>(options, m_broker.url());
    Service service(*m_bus, { requestType }, [size](LxBusServicePort *port, const LxBusRequest &request) {
        if (request.id != 0)
            port->answer(request, QStringLiteral("answer"), textOfSize(size));
        else
            port->publishTo(request, topic, textOfSize(size));
    });
    Client client(*m_bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(1), &answer), int(LxBusEndpoint::Ok));
    QCOMPARE(answer, textOfSize(size));
    client.endpoint->put(requestType, numberBody(1));
    QVERIFY(client.waitFor(1));
    QCOMPARE(client.heard().constFirst().body, textOfSize(size));
    QCOMPARE(m_bus->totalDropped(), quint64(0));
}

void tst_NatsBus::answerBeyondTheBoundIsRefused()
{
    m_bus.reset();
    LxBusOptions options;
    options.requestTimeoutMs = 10 * PatienceMs;
    m_bus = std::make_unique<Bus>(options, m_broker.url());
    Service service(*m_bus, { requestType }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, QStringLiteral("answer"), textOfSize(LxNatsParts::MessageLimit));
    });
    Client client(*m_bus, QStringLiteral("client"));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(requestType, numberBody(1), &answer), int(LxBusEndpoint::NotSent));
    QVERIFY(!answer.isValid());
    QVERIFY(m_bus->dropped(LxBusDrop::NotSent) > 0);
}

void tst_NatsBus::partsThatAreMissingAreNoticed()
{
    LxNatsParts parts;
    QByteArray whole;
    const auto add = [&](const char *subject, int message, int index, int count) {
        return parts.add(subject, LxNatsParts::header(static_cast<quint64>(message), index, count),
                         QByteArray::number(index), &whole);
    };
    QCOMPARE(add("a", 1, 0, 3), LxNatsParts::Incomplete);
    QCOMPARE(add("b", 1, 0, 2), LxNatsParts::Incomplete); // others may come between
    QCOMPARE(add("a", 2, 0, 2), LxNatsParts::Incomplete);
    QCOMPARE(add("a", 1, 1, 3), LxNatsParts::Incomplete);
    QCOMPARE(add("a", 2, 1, 2), LxNatsParts::Complete);
    QCOMPARE(whole, QByteArray("01"));
    QCOMPARE(add("a", 1, 2, 3), LxNatsParts::Complete);
    QCOMPARE(whole, QByteArray("012"));

    whole.clear();
    QCOMPARE(add("a", 3, 1, 2), LxNatsParts::Lost); // the first one is missing
    QCOMPARE(add("a", 4, 0, 3), LxNatsParts::Incomplete);
    QCOMPARE(add("a", 4, 2, 3), LxNatsParts::Lost);
    QCOMPARE(add("a", 4, 1, 3), LxNatsParts::Lost);
    for (const char *header : { "", "5", "5 0", "5 0 0", "5 -1 2", "5 2 2", "5 x y", "5 0 1 1" })
        QCOMPARE(parts.add("a", header, "bytes", &whole), LxNatsParts::Lost);
    QVERIFY(whole.isEmpty());

    const QByteArray half(LxNatsParts::MessageLimit / 2 + 1, 'x');
    QCOMPARE(parts.add("a", "6 0 2", half, &whole), LxNatsParts::Incomplete);
    QCOMPARE(parts.add("a", "6 1 2", half, &whole), LxNatsParts::Lost);
    QVERIFY(whole.isEmpty());
}

void tst_NatsBus::overlongNamesAreCounted_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("one more than allowed") << 65;
    QTest::newRow("3,000 characters") << 3000;
    QTest::newRow("more than the broker's line") << 5000;
}

void tst_NatsBus::overlongNamesAreCounted()
{
    QFETCH(int, length);
    const QString name(length, QLatin1Char('x'));
    Publisher publisher(*m_bus);
    Client client(*m_bus, name + name);
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { name, QStringLiteral("600519.SH") });
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(publisher.publish(quotes, name, 1), 0);
    client.endpoint->subscribe(name + name);
    QCOMPARE(publisher.publish(name + name, QString(), 2), 0);
    QCOMPARE(m_bus->dropped(LxBusDrop::Malformed), quint64(4));
    client.endpoint->put(name + name, numberBody(1)); // no service for it, or not sendable
    publisher.publish(quotes, QStringLiteral("600519.SH"), 3);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), QVector<int> { 3 });
    QCOMPARE((*m_bus)->connection().state().kind, LxBusState::Connected);
}

void tst_NatsBus::sendersAreServedInTurn()
{
    LxFairQueue<int> queue;
    for (int i = 0; i < 5; ++i)
        QVERIFY(queue.push(QStringLiteral("many"), i, 1, 10, 100));
    QVERIFY(queue.push(QStringLiteral("few"), 100, 1, 10, 100));
    QVERIFY(queue.push(QStringLiteral("other"), 200, 1, 10, 100));
    QVERIFY(queue.push(QStringLiteral("few"), 101, 1, 10, 100));
    QVERIFY(queue.push(QStringLiteral("few"), 102, 1, 10, 100));
    queue.removeLast(QStringLiteral("few"));
    QVERIFY(queue.push(QStringLiteral("last"), 300, 1, 10, 100));
    queue.removeLast(QStringLiteral("last"));
    QVector<int> taken;
    while (!queue.isEmpty())
        taken.append(queue.pop());
    QCOMPARE(taken, (QVector<int> { 0, 100, 200, 1, 101, 2, 3, 4 }));
    QCOMPARE(queue.bytes(), size_t(0));
}

void tst_NatsBus::queueOfASenderIsBounded()
{
    LxFairQueue<int> queue;
    QVERIFY(queue.push(QStringLiteral("a"), 1, 60, 2, 100));
    QVERIFY(!queue.push(QStringLiteral("a"), 2, 41, 2, 100)); // bytes
    QVERIFY(queue.push(QStringLiteral("a"), 3, 40, 2, 100));
    QVERIFY(!queue.push(QStringLiteral("a"), 4, 0, 2, 100)); // entries
    QVERIFY(queue.push(QStringLiteral("b"), 5, 100, 2, 100));
    QVERIFY(!queue.push(QStringLiteral("c"), 6, 101, 2, 100));
    QCOMPARE(queue.bytes(), size_t(200));
    QCOMPARE(queue.pop(), 1);
    QVERIFY(queue.push(QStringLiteral("a"), 7, 60, 2, 100));
}

QTEST_GUILESS_MAIN(tst_NatsBus)
#include "tst_natsbus.moc"
