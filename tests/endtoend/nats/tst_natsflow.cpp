#include "busstates.h"

#include <bustesting.h>
#include <natsbroker.h>

#include <QSemaphore>
#include <QtTest>

using namespace BusTesting;

namespace {

constexpr int Limit = 4;

const QString quotes = QStringLiteral("MDMARKETRECORD");
const QString transactions = QStringLiteral("MDTRANSACTIONRECORD");
const QString rankings = QStringLiteral("ADINDICATORSRANKINGRECORD");
const QString requestType = QStringLiteral("KLineRequest");
const QString answerType = QStringLiteral("KLineResponse");

// A symbol and a record's number in one: 203 is record 3 of symbol 2.
QString symbolOf(int number)
{
    return QStringLiteral("%1.SH").arg(number / 100);
}

LxBusOptions tightOptions()
{
    LxBusOptions options;
    options.pendingLimit = Limit;
    options.publishTimeoutMs = 10 * PatienceMs; // so long that a publisher that is blocked makes the test fail
    return options;
}

// A client whose callback blocks at a gate until the test opens it.
struct GatedClient
{
    GatedClient(Bus &bus, const QString &name)
        : client(bus, name, [this](const Heard &) {
              entered.release();
              gate.acquire();
          })
    {
    }
    ~GatedClient() { gate.release(1000000); }

    // Lets `count` callbacks through; returns when the next one waits at the gate.
    bool letThrough(int count)
    {
        gate.release(count);
        return entered.tryAcquire(count, PatienceMs);
    }

    QSemaphore entered;
    QSemaphore gate;
    Client client;
};

} // namespace

/// Receivers that do not keep up, on a bus through a broker.
class tst_NatsFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void slowReceiverGetsTheLatestOfEachSymbol_data();
    void slowReceiverGetsTheLatestOfEachSymbol();
    void receiverThatCatchesUpForAMomentGetsRecordsInOrder();
    void whatMayNotBeConflatedIsDroppedBeyondABound_data();
    void whatMayNotBeConflatedIsDroppedBeyondABound();
    void slowReceiverIsAnnounced();
    void twoSlowReceiversAreAnnouncedOnce();
    void slowReceiverThatLeavesIsSlowNoMore();
    void publisherIsNotHeldUp();
    void everySymbolStaysInOrder();

private:
    // Publishes and waits until all receivers' mailboxes have it: they got it before this client did.
    void publish(Publisher &publisher, const Client &marker, const QString &topic, const QVector<int> &numbers);

    std::unique_ptr<NatsBroker> m_broker;
};

void tst_NatsFlow::init()
{
    m_broker = std::make_unique<NatsBroker>(); // without the records of other tests
    QVERIFY2(m_broker->start(), m_broker->log().constData());
}

void tst_NatsFlow::publish(Publisher &publisher, const Client &marker, const QString &topic,
                           const QVector<int> &numbers)
{
    for (int number : numbers) {
        const int before = marker.heard().size();
        publisher.publish(topic, symbolOf(number), number);
        QVERIFY(marker.waitFor(before + 1));
    }
}

void tst_NatsFlow::slowReceiverGetsTheLatestOfEachSymbol_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<int>("kind");
    QTest::newRow("quotes") << quotes << static_cast<int>(LxRecordKind::Quote);
    QTest::newRow("rankings") << rankings << static_cast<int>(LxRecordKind::Ranking);
}

void tst_NatsFlow::slowReceiverGetsTheLatestOfEachSymbol()
{
    QFETCH(QString, topic);
    QFETCH(int, kind);

    Bus bus(tightOptions(), m_broker->url());
    Publisher publisher(bus);
    GatedClient slow(bus, QStringLiteral("slow"));
    Client marker(bus, QStringLiteral("marker"));
    for (Client *client : { &slow.client, &marker }) {
        client->endpoint->subscribe(topic);
        client->ask(static_cast<LxRecordKind>(kind), Subscribe, { symbolOf(100), symbolOf(200), symbolOf(300) });
    }
    publish(publisher, marker, topic, { 101, 102, 103, 104 }); // full: one under way, three behind it
    QCOMPARE(bus.totalDropped(), quint64(0));
    publish(publisher, marker, topic, { 201, 202, 105, 203, 301, 106, 107, 108 });
    QTRY_COMPARE_WITH_TIMEOUT(bus.dropped(LxBusDrop::Conflated), quint64(5), PatienceMs);
    QCOMPARE(bus->statistics().dropped(topic), quint64(5));

    slow.gate.release(100);
    QVERIFY(publisher.flush());
    // Waiting records keep their positions; newer ones replace older ones of their symbol.
    QCOMPARE(slow.client.numbers(), (QVector<int> { 101, 102, 103, 104, 203, 108, 301 }));
    QCOMPARE(marker.heard().size(), 12);
    QCOMPARE(bus.totalDropped(), quint64(5));

    publish(publisher, marker, topic, { 109, 110 });
    QVERIFY(publisher.flush());
    QCOMPARE(slow.client.numbers().mid(7), (QVector<int> { 109, 110 }));
}

void tst_NatsFlow::receiverThatCatchesUpForAMomentGetsRecordsInOrder()
{
    Bus bus(tightOptions(), m_broker->url());
    Publisher publisher(bus);
    GatedClient slow(bus, QStringLiteral("slow"));
    Client marker(bus, QStringLiteral("marker"));
    for (Client *client : { &slow.client, &marker }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { symbolOf(100), symbolOf(200), symbolOf(300) });
    }
    publish(publisher, marker, quotes, { 101, 102, 103, 104 });
    QVERIFY(slow.letThrough(1) && slow.entered.tryAcquire(1, PatienceMs)); // 102 is under way, two behind it
    publish(publisher, marker, quotes, { 201, 301 }); // the second one finds it full
    QVERIFY(slow.letThrough(2)); // 104 is under way, two behind it
    publish(publisher, marker, quotes, { 302, 303 }); // the second one finds it full again
    slow.gate.release(100);
    QVERIFY(publisher.flush());
    QCOMPARE(slow.client.numbers(), (QVector<int> { 101, 102, 103, 104, 201, 301, 302, 303 }));
}

void tst_NatsFlow::whatMayNotBeConflatedIsDroppedBeyondABound_data()
{
    QTest::addColumn<QString>("way");
    for (const char *way : { "transactions", "messages to one client", "answers" })
        QTest::newRow(way) << QString::fromLatin1(way);
}

void tst_NatsFlow::whatMayNotBeConflatedIsDroppedBeyondABound()
{
    QFETCH(QString, way);

    Bus bus(tightOptions(), m_broker->url());
    Publisher publisher(bus);
    Service service(bus, { requestType }, [](LxBusServicePort *port, const LxBusRequest &request) {
        if (request.id != 0)
            port->answer(request, answerType, request.body);
        else
            port->publishTo(request, answerType, request.body);
    });
    GatedClient slow(bus, QStringLiteral("slow"));
    slow.client.endpoint->subscribe(answerType);
    slow.client.endpoint->subscribe(transactions);
    slow.client.ask(LxRecordKind::Transaction, Subscribe, { symbolOf(100) });
    QVERIFY(publisher.flush());

    // As many as may wait, the one under way among them, and three more.
    constexpr int Kept = 4 * Limit;
    QVector<int> expected;
    for (int i = 1; i <= Kept + 3; ++i) {
        const int number = 100 + i;
        if (way == QLatin1String("transactions"))
            publisher.publish(transactions, symbolOf(number), number);
        else if (way == QLatin1String("answers"))
            QCOMPARE(slow.client.endpoint->requestAsync(requestType, numberBody(number)), int(LxBusEndpoint::Ok));
        else
            slow.client.endpoint->put(requestType, numberBody(number));
        if (i <= Kept)
            expected.append(number);
        if (i == 1)
            QVERIFY(slow.entered.tryAcquire(1, PatienceMs)); // the gate is shut before the others come
    }
    QTRY_COMPARE_WITH_TIMEOUT(bus.dropped(LxBusDrop::QueueFull), quint64(3), PatienceMs);
    slow.gate.release(100);
    QVERIFY(slow.client.waitFor(Kept));
    QVERIFY(publisher.flush());
    QCOMPARE(slow.client.numbers(), expected);
    QCOMPARE(bus.totalDropped(), quint64(3));
}

void tst_NatsFlow::slowReceiverIsAnnounced()
{
    Bus bus(tightOptions(), m_broker->url());
    QCOMPARE(bus->connection().state().kind, LxBusState::Connected);
    BusStates states(bus);
    Publisher publisher(bus);
    GatedClient slow(bus, QStringLiteral("slow"));
    Client marker(bus, QStringLiteral("marker"));
    for (Client *client : { &slow.client, &marker }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { symbolOf(100) });
    }
    publish(publisher, marker, quotes, { 101, 102, 103, 104 });
    QCOMPARE(states.kinds(), QVector<int>());
    const QDateTime before = QDateTime::currentDateTime();
    publish(publisher, marker, quotes, { 105, 106 });
    QCOMPARE(states.kinds(), QVector<int> { LxBusState::SlowConsumer });
    const LxBusState state = bus->connection().state();
    QVERIFY(!state.reason.isEmpty());
    QVERIFY(state.since >= before && state.since <= QDateTime::currentDateTime());

    // A receiver has caught up when half of its limit is free.
    QVERIFY(slow.letThrough(2) && slow.entered.tryAcquire(1, PatienceMs));
    QCOMPARE(bus->connection().state().kind, LxBusState::SlowConsumer);
    slow.gate.release(100);
    QVERIFY(publisher.flush());
    QTRY_COMPARE_WITH_TIMEOUT(states.kinds(), (QVector<int> { LxBusState::SlowConsumer, LxBusState::Connected }),
                              PatienceMs);
    QVERIFY(bus->connection().state().reason.isEmpty());
}

void tst_NatsFlow::twoSlowReceiversAreAnnouncedOnce()
{
    LxBusOptions options = tightOptions();
    options.threads = 3;
    Bus bus(options, m_broker->url());
    BusStates states(bus);
    Publisher publisher(bus);
    GatedClient one(bus, QStringLiteral("one"));
    GatedClient other(bus, QStringLiteral("other"));
    Client marker(bus, QStringLiteral("marker"));
    for (Client *client : { &one.client, &other.client, &marker }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { symbolOf(100) });
    }
    publish(publisher, marker, quotes, { 101, 102, 103, 104, 105 });
    one.gate.release(100);
    QVERIFY(one.client.waitFor(5));
    publish(publisher, marker, quotes, { 106 });
    QVERIFY(one.client.waitFor(6)); // it has long been found to have caught up
    QCOMPARE(states.kinds(), QVector<int> { LxBusState::SlowConsumer });
    other.gate.release(100);
    QTRY_COMPARE_WITH_TIMEOUT(states.kinds(), (QVector<int> { LxBusState::SlowConsumer, LxBusState::Connected }),
                              PatienceMs);
}

void tst_NatsFlow::slowReceiverThatLeavesIsSlowNoMore()
{
    Bus bus(tightOptions(), m_broker->url());
    Publisher publisher(bus);
    QSemaphore gate;
    QSemaphore left;
    std::unique_ptr<LxBusEndpoint> endpoint;
    Client slow(bus, QStringLiteral("slow"), [&](const Heard &) {
        gate.acquire();
        endpoint.reset(); // with messages waiting
        left.release();
    });
    Client marker(bus, QStringLiteral("marker"));
    for (Client *client : { &slow, &marker }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { symbolOf(100) });
    }
    endpoint = std::move(slow.endpoint);
    publish(publisher, marker, quotes, { 101, 102, 103, 104, 105 });
    QCOMPARE(bus->connection().state().kind, LxBusState::SlowConsumer);
    gate.release();
    QVERIFY(left.tryAcquire(1, PatienceMs));
    QCOMPARE(bus->connection().state().kind, LxBusState::Connected);
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(4));
    QVERIFY(slow.waitFor(1));
}

void tst_NatsFlow::publisherIsNotHeldUp()
{
    constexpr int Records = 20000;
    LxBusOptions options = tightOptions();
    options.queueLimit = Limit; // how many may wait of a receiver within the process
    Bus bus(options, m_broker->url());
    Publisher publisher(bus);
    GatedClient stuck(bus, QStringLiteral("stuck"));
    stuck.client.endpoint->subscribe(quotes);
    stuck.client.ask(LxRecordKind::Quote, Subscribe, { symbolOf(0) });
    QVERIFY(publisher.flush());
    for (int i = 0; i < Records; ++i)
        QCOMPARE(publisher.publish(quotes, QStringLiteral("0.SH"), i), 1);
    stuck.gate.release(Records);
    QVERIFY(publisher.flush());
    const QVector<int> numbers = stuck.client.numbers();
    QCOMPARE(numbers.last(), Records - 1);
    QCOMPARE(static_cast<quint64>(numbers.size()) + bus.dropped(LxBusDrop::Conflated), quint64(Records));
}

void tst_NatsFlow::everySymbolStaysInOrder()
{
    constexpr int Symbols = 20;
    constexpr int Records = 2000; // of each symbol
    LxBusOptions options = tightOptions();
    options.pendingLimit = 8;
    Bus bus(options, m_broker->url());
    Publisher publisher(bus);
    // The receiver is slow for some messages, so that its mailbox is sometimes full and sometimes not.
    Client slow(bus, QStringLiteral("slow"), [](const Heard &one) {
        if (numberOf(one.body) % 16 == 0)
            QThread::usleep(50);
    });
    slow.endpoint->subscribe(quotes);
    QStringList symbols;
    for (int symbol = 0; symbol < Symbols; ++symbol)
        symbols.append(symbolOf(symbol * 100));
    slow.ask(LxRecordKind::Quote, Subscribe, symbols);
    QVERIFY(publisher.flush());
    for (int i = 0; i < Records; ++i) {
        for (int symbol = 0; symbol < Symbols; ++symbol)
            publisher.publish(quotes, symbols.at(symbol), symbol * Records + i);
    }
    QVERIFY(publisher.flush());

    QVector<int> last(Symbols, -1);
    const QVector<int> numbers = slow.numbers();
    for (int number : numbers) {
        int &lastOne = last[number / Records];
        QVERIFY2(number % Records > lastOne, qPrintable(QStringLiteral("%1 after %2").arg(number).arg(lastOne)));
        lastOne = number % Records;
    }
    QCOMPARE(last, QVector<int>(Symbols, Records - 1));
    QCOMPARE(static_cast<quint64>(numbers.size()) + bus.dropped(LxBusDrop::Conflated), quint64(Symbols * Records));
    QCOMPARE(bus.totalDropped(), bus.dropped(LxBusDrop::Conflated));
}

QTEST_GUILESS_MAIN(tst_NatsFlow)
#include "tst_natsflow.moc"
