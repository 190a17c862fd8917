#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// What every message has in common: who gets it, in which order, and how the bus is started and ended.
class tst_Bus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void topicReachesItsSubscribers();
    void topicSubscribedTwiceIsHeardOnce();
    void callbacksComeOnBusThreads();
    void endpointsHearConcurrentPublishersInOneOrder();
    void publishToReachesOneClient();
    void publishToNobodyIsCounted_data();
    void publishToNobodyIsCounted();
    void addressesAreUnique_data();
    void addressesAreUnique();
    void flushWaitsForReceivers();
    void thousandEndpointsShareOneBody();
    void unknownUrl();
    void senselessOptions_data();
    void senselessOptions();
    void oneBusAtATime();
    void endpointsKeepTheirBus();
    void currentStartsABus();
};

static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

void tst_Bus::topicReachesItsSubscribers()
{
    Bus bus;
    Service service(bus);
    Client first(bus, QStringLiteral("first"));
    Client second(bus, QStringLiteral("second"));
    Client other(bus, QStringLiteral("other"));
    QVERIFY(!service.port->hasListeners(topic, QString()));
    QCOMPARE(service.publish(topic, QString(), 1), 0);

    first.endpoint->subscribe(topic);
    second.endpoint->subscribe(topic);
    other.endpoint->subscribe(QStringLiteral("KLineResponse"));
    QVERIFY(service.port->hasListeners(topic, QString()));
    QCOMPARE(service.publish(topic, QString(), 2), 2);
    QVERIFY(service.flush());
    QCOMPARE(first.numbers(), QVector<int> { 2 });
    QCOMPARE(first.heard().constFirst().topic, topic);
    QCOMPARE(second.numbers(), QVector<int> { 2 });
    QVERIFY(other.heard().isEmpty());

    first.endpoint.reset();
    QCOMPARE(service.publish(topic, QString(), 3), 1);
    second.endpoint.reset();
    QVERIFY(!service.port->hasListeners(topic, QString()));
    QCOMPARE(service.publish(topic, QString(), 4), 0);
    QCOMPARE(first.numbers(), QVector<int> { 2 });
}

void tst_Bus::topicSubscribedTwiceIsHeardOnce()
{
    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    client.endpoint->subscribe(topic);
    QCOMPARE(service.publish(topic, QString(), 1), 1);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), QVector<int> { 1 });
}

void tst_Bus::callbacksComeOnBusThreads()
{
    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QThread *publisher = nullptr;
    Threads threads;
    threads.run([&] {
        publisher = QThread::currentThread();
        service.publish(topic, QString(), 1);
    });
    QVERIFY(client.waitFor(1));
    QThread *const callback = client.heard().constFirst().thread;
    QVERIFY(callback != QThread::currentThread());
    threads.join();
    QVERIFY(callback != publisher);
}

void tst_Bus::endpointsHearConcurrentPublishersInOneOrder()
{
    constexpr int Publishers = 4;
    constexpr int MessagesEach = 2000;

    LxBusOptions options;
    options.threads = 4;
    Bus bus(options);
    Service service(bus);
    Client first(bus, QStringLiteral("first"));
    Client second(bus, QStringLiteral("second"));
    first.endpoint->subscribe(topic);
    second.endpoint->subscribe(topic);

    Threads threads;
    for (int publisher = 0; publisher < Publishers; ++publisher) {
        threads.run([&service, publisher] {
            for (int i = 0; i < MessagesEach; ++i)
                service.publish(topic, QString(), publisher * MessagesEach + i);
        });
    }
    threads.join();
    QVERIFY(service.flush());

    const QVector<int> numbers = first.numbers();
    QCOMPARE(numbers.size(), Publishers * MessagesEach);
    QCOMPARE(second.numbers(), numbers);
    int expected[Publishers] = {};
    for (const int number : numbers) {
        int &next = expected[number / MessagesEach];
        QCOMPARE(number % MessagesEach, next);
        ++next;
    }
    QVERIFY(!first.overlapped());
    QVERIFY(!second.overlapped());
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_Bus::publishToReachesOneClient()
{
    Bus bus;
    Service service(bus);
    Client asker(bus, QStringLiteral("asker"));
    Client other(bus, QStringLiteral("other"));
    asker.endpoint->subscribe(topic);
    other.endpoint->subscribe(topic);
    service.port->publishTo(asker.endpoint->address(), topic, numberBody(1));
    QVERIFY(service.flush());
    QCOMPARE(asker.numbers(), QVector<int> { 1 });
    QCOMPARE(asker.heard().constFirst().topic, topic);
    QVERIFY(other.heard().isEmpty());
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_Bus::publishToNobodyIsCounted_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("published");
    QTest::newRow("no such client") << QStringLiteral("nobody") << topic;
    QTest::newRow("client did not subscribe the topic") << QStringLiteral("client") << QStringLiteral("KLineResponse");
}

void tst_Bus::publishToNobodyIsCounted()
{
    QFETCH(QString, address);
    QFETCH(QString, published);
    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    service.port->publishTo(address, published, numberBody(1));
    QVERIFY(service.flush());
    QVERIFY(client.heard().isEmpty());
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(1));
    QCOMPARE(bus->statistics().dropped(published), quint64(1));
}

void tst_Bus::addressesAreUnique_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << QStringLiteral("LXApp.LxQuotaHandlerObject");
    QTest::newRow("empty") << QString();
    QTest::newRow("place markers") << QStringLiteral("%2 and %1");
}

void tst_Bus::addressesAreUnique()
{
    QFETCH(QString, name);
    Bus bus;
    std::vector<std::unique_ptr<Client>> clients;
    QSet<QString> addresses;
    for (int i = 0; i < 5; ++i) {
        clients.push_back(std::make_unique<Client>(bus, name));
        const QString address = clients.back()->endpoint->address();
        QVERIFY2(address.startsWith(name), qPrintable(address));
        addresses.insert(address);
    }
    QCOMPARE(addresses.size(), 5);
    QCOMPARE(clients.front()->endpoint->address(), name);

    // Only addresses in use are taken.
    clients.clear();
    Client again(bus, name);
    QCOMPARE(again.endpoint->address(), name);
}

void tst_Bus::flushWaitsForReceivers()
{
    Bus bus;
    Service service(bus);
    QSemaphore gate;
    Client client(bus, QStringLiteral("client"), [&gate](const Heard &) { gate.acquire(); });
    QVERIFY(service.port->flush(0));
    client.endpoint->subscribe(topic);
    service.publish(topic, QString(), 1);
    service.publish(topic, QString(), 2);
    QVERIFY(!service.port->flush(20));
    gate.release();
    QVERIFY(client.waitFor(1));
    QVERIFY(!service.port->flush(20));
    gate.release();
    QVERIFY(service.port->flush(-1));
    QCOMPARE(client.numbers(), (QVector<int> { 1, 2 }));
}

void tst_Bus::thousandEndpointsShareOneBody()
{
    constexpr int Endpoints = 1000;
    Bus bus;
    Service service(bus);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < Endpoints; ++i) {
        clients.push_back(std::make_unique<Client>(bus, QStringLiteral("client")));
        clients.back()->endpoint->subscribe(QStringLiteral("MDMARKETRECORD"));
        clients.back()->ask(LxRecordKind::Quote, Subscribe, { QStringLiteral("600000.SH") });
    }
    const QVariant body = numberBody(7);
    const LxPackedRow *const row = LxPackedBody::fromVariant(body).row(0);
    QCOMPARE(service.port->publish(QStringLiteral("MDMARKETRECORD"), QStringLiteral("600000.SH"), body), Endpoints);
    QVERIFY(service.flush());
    for (const auto &client : clients) {
        const QVector<Heard> heard = client->heard();
        QCOMPARE(heard.size(), 1);
        QCOMPARE(LxPackedBody::fromVariant(heard.constFirst().body).row(0), row);
    }
}

void tst_Bus::unknownUrl()
{
    QString error;
    QVERIFY(!LxBus::start(QStringLiteral("carrier-pigeon:loft"), LxBusOptions(), &error));
    QVERIFY2(error.contains(QStringLiteral("carrier-pigeon:loft")), qPrintable(error));
    QVERIFY(!LxBus::start(QString()));
    Bus bus; // nothing was started
}

void tst_Bus::senselessOptions_data()
{
    QTest::addColumn<int>("threads");
    QTest::addColumn<int>("queueLimit");
    QTest::newRow("no threads") << 0 << 10;
    QTest::newRow("no queue") << 1 << 0;
}

void tst_Bus::senselessOptions()
{
    QFETCH(int, threads);
    QFETCH(int, queueLimit);
    LxBusOptions options;
    options.threads = threads;
    options.queueLimit = queueLimit;
    QString error;
    QVERIFY(!LxBus::start(QStringLiteral("inproc:"), options, &error));
    QVERIFY(!error.isEmpty());
}

void tst_Bus::oneBusAtATime()
{
    QVERIFY(LxBus::start(QStringLiteral("inproc:")));
    const std::weak_ptr<LxBusTransport> first = LxBus::current();
    QString error;
    QVERIFY(!LxBus::start(QStringLiteral("inproc:"), LxBusOptions(), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(LxBus::current(), first.lock());
    LxBus::stop();
    QVERIFY(first.expired());
    QVERIFY(LxBus::start(QStringLiteral("inproc:")));
    LxBus::stop();
    LxBus::stop(); // of no bus
}

void tst_Bus::endpointsKeepTheirBus()
{
    auto old = std::make_unique<Bus>();
    Service service(*old);
    Client client(*old, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    old.reset();

    Bus fresh;
    Client stranger(fresh, QStringLiteral("client"));
    stranger.endpoint->subscribe(topic);
    QCOMPARE(service.publish(topic, QString(), 1), 1);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), QVector<int> { 1 });
    QVERIFY(stranger.heard().isEmpty());
}

void tst_Bus::currentStartsABus()
{
    const std::shared_ptr<LxBusTransport> bus = LxBus::current();
    QVERIFY(bus != nullptr);
    QCOMPARE(LxBus::current(), bus);
    QVERIFY(!LxBus::start(QStringLiteral("inproc:")));
    LxBus::stop();
}

QTEST_GUILESS_MAIN(tst_Bus)
#include "tst_bus.moc"
