#include "buslinks.h"

using namespace BusTesting;

// Properties of all messages: who receives them and in which order; starting and stopping the bus.
class tst_Bus : public LinkTest
{
    Q_OBJECT

private Q_SLOTS:
    void topicReachesItsSubscribers();
    void topicSubscribedTwiceIsHeardOnce();
    void callbacksComeOnBusThreads();
    void endpointsHearConcurrentPublishersInOneOrder();
    void publishToReachesOneClient();
    void publishToNobodyIsCounted();
    void announcementToNobodyIsNoLoss();
    void addressesAreUnique_data();
    void addressesAreUnique();
    void flushWaitsForReceivers();
    void thousandEndpointsShareOneBody();
    void unknownUrl();
    void senselessOptions_data();
    void senselessOptions();
    void oneBusAtATime();
    void stoppedBusIsInert();
    void stopEndsRequestsAndWaitsForCallbacks();
    void callbackMayCloseTheLastEndpoint();
    void currentStartsABus();
};

static const QString question = QStringLiteral("KLineRequest");
static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

void tst_Bus::topicReachesItsSubscribers()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client first(bus, QStringLiteral("first"));
    Client second(bus, QStringLiteral("second"));
    Client other(bus, QStringLiteral("other"));
    QCOMPARE(publisher.port->hasListeners(topic, QString()), !isLocal());
    QCOMPARE(publisher.publish(topic, QString(), 1), accepted(0));
    QVERIFY(publisher.flush());

    first.endpoint->subscribe(topic);
    second.endpoint->subscribe(topic);
    other.endpoint->subscribe(QStringLiteral("KLineResponse"));
    QVERIFY(publisher.port->hasListeners(topic, QString()));
    QCOMPARE(publisher.publish(topic, QString(), 2), accepted(2));
    QVERIFY(publisher.flush());
    QCOMPARE(first.numbers(), QVector<int> { 2 });
    QCOMPARE(first.heard().constFirst().topic, topic);
    QCOMPARE(second.numbers(), QVector<int> { 2 });
    QVERIFY(other.heard().isEmpty());

    first.endpoint.reset();
    QCOMPARE(publisher.publish(topic, QString(), 3), 1);
    QVERIFY(publisher.flush());
    second.endpoint.reset();
    QCOMPARE(publisher.port->hasListeners(topic, QString()), !isLocal());
    QCOMPARE(publisher.publish(topic, QString(), 4), accepted(0));
    QVERIFY(publisher.flush());
    QCOMPARE(first.numbers(), QVector<int> { 2 });
    QCOMPARE(second.numbers(), (QVector<int> { 2, 3 }));
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_Bus::topicSubscribedTwiceIsHeardOnce()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    client.endpoint->subscribe(topic);
    QCOMPARE(publisher.publish(topic, QString(), 1), 1);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), QVector<int> { 1 });
}

void tst_Bus::callbacksComeOnBusThreads()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QThread *publishing = nullptr;
    Threads threads;
    threads.run([&] {
        publishing = QThread::currentThread();
        publisher.publish(topic, QString(), 1);
    });
    QVERIFY(client.waitFor(1));
    QThread *const callback = client.heard().constFirst().thread;
    QVERIFY(callback != QThread::currentThread());
    threads.join();
    QVERIFY(callback != publishing);
}

void tst_Bus::endpointsHearConcurrentPublishersInOneOrder()
{
    constexpr int Publishers = 4;
    constexpr int MessagesEach = 2000;

    LxBusOptions options;
    options.threads = 4;
    Bus bus(options, url());
    Publisher publisher(bus);
    Client first(bus, QStringLiteral("first"));
    Client second(bus, QStringLiteral("second"));
    first.endpoint->subscribe(topic);
    second.endpoint->subscribe(topic);

    Threads threads;
    for (int number = 0; number < Publishers; ++number) {
        threads.run([&publisher, number] {
            for (int i = 0; i < MessagesEach; ++i)
                publisher.publish(topic, QString(), number * MessagesEach + i);
        });
    }
    threads.join();
    QVERIFY(publisher.flush());

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
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_Bus::publishToReachesOneClient()
{
    Bus bus({}, url());
    QSemaphore handled;
    Service service(bus, { question }, [&handled](LxBusServicePort *port, const LxBusRequest &request) {
        port->publishTo(request, topic, request.body);
        port->publishTo(request, QStringLiteral("KLineResponse"), request.body);
        handled.release();
    });
    Client asker(bus, QStringLiteral("asker"));
    Client other(bus, QStringLiteral("other"));
    asker.endpoint->subscribe(topic);
    other.endpoint->subscribe(topic);
    asker.endpoint->put(question, numberBody(1));
    QVERIFY(asker.waitFor(1));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QVERIFY(Publisher(bus).flush());
    QCOMPARE(asker.numbers(), QVector<int> { 1 });
    QCOMPARE(asker.heard().constFirst().topic, topic);
    QVERIFY(other.heard().isEmpty());
    // The second message is of a topic that the client has not subscribed.
    QCOMPARE(bus->statistics().dropped(QStringLiteral("KLineResponse")), quint64(1));
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(1));
    QCOMPARE(bus.totalDropped(), quint64(1));
}

void tst_Bus::publishToNobodyIsCounted()
{
    Bus bus({}, url());
    QSemaphore handled;
    std::unique_ptr<Client> client;
    Service service(bus, { question }, [&](LxBusServicePort *port, const LxBusRequest &request) {
        if (request.id == 0)
            client.reset();
        port->publishTo(request, topic, request.body);
        handled.release();
    });
    client = std::make_unique<Client>(bus, QStringLiteral("client"));
    client->endpoint->subscribe(topic);
    // A client that awaits an answer receives nothing else.
    QCOMPARE(client->endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Ok));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(1));
    client->endpoint->put(question, numberBody(1));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QVERIFY(Publisher(bus).flush());
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(2));
    QCOMPARE(bus->statistics().dropped(topic), quint64(2));
}

void tst_Bus::announcementToNobodyIsNoLoss()
{
    Bus bus({}, url());
    QSemaphore handled;
    std::unique_ptr<Client> client;
    Service service(bus, { question }, [&](LxBusServicePort *port, const LxBusRequest &request) {
        client.reset();
        port->publishTo(request, LxBusTopics::presence, request.body);
        handled.release();
    });
    client = std::make_unique<Client>(bus, QStringLiteral("client"));
    client->endpoint->subscribe(LxBusTopics::presence);
    client->endpoint->put(question, numberBody(1));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QVERIFY(Publisher(bus).flush());
    QCOMPARE(bus.totalDropped(), quint64(0));
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
    Bus bus({}, url());
    std::vector<std::unique_ptr<Client>> clients;
    QSet<QString> addresses;
    for (int i = 0; i < 5; ++i) {
        clients.push_back(std::make_unique<Client>(bus, name));
        const QString address = clients.back()->endpoint->address();
        QVERIFY2(address.startsWith(name), qPrintable(address));
        addresses.insert(address);
    }
    QCOMPARE(addresses.size(), 5);
    if (!isLocal())
        return;
    // An address can be reused when its endpoint has been closed.
    QCOMPARE(clients.front()->endpoint->address(), name);
    clients.clear();
    Client again(bus, name);
    QCOMPARE(again.endpoint->address(), name);
}

void tst_Bus::flushWaitsForReceivers()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    QSemaphore gate;
    Client client(bus, QStringLiteral("client"), [&gate](const Heard &) { gate.acquire(); });
    QVERIFY(!isLocal() || publisher.port->flush(0));
    client.endpoint->subscribe(topic);
    publisher.publish(topic, QString(), 1);
    publisher.publish(topic, QString(), 2);
    QVERIFY(!publisher.port->flush(20));
    gate.release();
    QVERIFY(client.waitFor(1));
    QVERIFY(!publisher.port->flush(20));
    gate.release();
    QVERIFY(publisher.port->flush(-1));
    QCOMPARE(client.numbers(), (QVector<int> { 1, 2 }));
}

void tst_Bus::thousandEndpointsShareOneBody()
{
    constexpr int Endpoints = 1000;
    Bus bus({}, url());
    Publisher publisher(bus);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < Endpoints; ++i) {
        clients.push_back(std::make_unique<Client>(bus, QStringLiteral("client")));
        clients.back()->endpoint->subscribe(QStringLiteral("MDMARKETRECORD"));
        clients.back()->ask(LxRecordKind::Quote, Subscribe, { QStringLiteral("600000.SH") });
    }
    const QVariant body = numberBody(7);
    const LxPackedRow *row = LxPackedBody::fromVariant(body).row(0);
    QCOMPARE(publisher.port->publish(QStringLiteral("MDMARKETRECORD"), QStringLiteral("600000.SH"), body),
             accepted(Endpoints));
    QVERIFY(publisher.flush());
    if (!isLocal()) // it is decoded, once for all
        row = LxPackedBody::fromVariant(clients.front()->heard().constFirst().body).row(0);
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
    QVERIFY(!LxBus::start(url(), options, &error));
    QVERIFY(!error.isEmpty());
}

void tst_Bus::oneBusAtATime()
{
    QVERIFY(LxBus::start(url()));
    const std::weak_ptr<LxBusTransport> first = LxBus::current();
    QString error;
    QVERIFY(!LxBus::start(url(), LxBusOptions(), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(LxBus::current(), first.lock());
    LxBus::stop();
    QVERIFY(first.expired());
    QVERIFY(LxBus::start(url()));
    LxBus::stop();
    LxBus::stop(); // without effect: no bus is running
}

namespace {

struct LateListener final : LxBusListener
{
    void published(const QString &, const QString &, const QVariant &) override { qFatal("the bus has ended"); }
    void answered(int, const QString &, const QString &, const QVariant &) override { qFatal("the bus has ended"); }
};

} // namespace

void tst_Bus::stoppedBusIsInert()
{
    auto old = std::make_unique<Bus>(LxBusOptions(), url());
    Publisher publisher(*old);
    Service service(*old, { question }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, question, request.body);
    });
    Client client(*old, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QVERIFY(publisher.flush());
    const std::shared_ptr<LxBusTransport> stopped = LxBus::current();
    old.reset();

    Bus fresh({}, url());
    Client stranger(fresh, QStringLiteral("client"));
    stranger.endpoint->subscribe(topic);
    QCOMPARE(publisher.publish(topic, QString(), 1), 0);
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(1), &answer), int(LxBusEndpoint::Closed));
    QCOMPARE(client.endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Closed));
    client.endpoint->put(question, numberBody(1));
    client.ask(LxRecordKind::Quote, Subscribe, { QStringLiteral("600000.SH") });
    QCOMPARE(publisher.port->flush(1000), isLocal());
    LateListener listener;
    const auto late = stopped->openEndpoint(QStringLiteral("late"), &listener);
    late->subscribe(topic);
    QVERIFY(Publisher(fresh).flush());
    QVERIFY(client.heard().isEmpty());
    QVERIFY(stranger.heard().isEmpty());
}

void tst_Bus::stopEndsRequestsAndWaitsForCallbacks()
{
    auto bus = std::make_unique<Bus>(LxBusOptions(), url());
    Publisher publisher(*bus);
    QSemaphore asked;
    Service service(*bus, { question }, [&asked](LxBusServicePort *, const LxBusRequest &) { asked.release(); });
    QSemaphore inside;
    QSemaphore gate;
    std::atomic<bool> finished { false };
    Client busy(*bus, QStringLiteral("busy"), [&](const Heard &) {
        inside.release();
        gate.acquire();
        finished = true;
    });
    busy.endpoint->subscribe(topic);
    publisher.publish(topic, QString(), 1);
    publisher.publish(topic, QString(), 2);
    Client asker(*bus, QStringLiteral("asker"));
    int result = 0;
    Threads threads;
    threads.run([&] {
        QVariant answer;
        result = asker.endpoint->requestSync(question, numberBody(1), &answer);
        gate.release(); // the bus is ending
    });
    QVERIFY(inside.tryAcquire(1, PatienceMs));
    QVERIFY(asked.tryAcquire(1, PatienceMs));
    bus.reset();
    QVERIFY(finished);
    threads.join();
    QCOMPARE(result, int(LxBusEndpoint::Closed));
    QCOMPARE(busy.numbers(), QVector<int> { 1 });
}

void tst_Bus::callbackMayCloseTheLastEndpoint()
{
    auto bus = std::make_unique<Bus>(LxBusOptions(), url());
    const std::weak_ptr<LxBusTransport> watched = LxBus::current();
    auto publisher = std::make_unique<Publisher>(*bus);
    Client *self = nullptr;
    QSemaphore inside;
    QSemaphore gate;
    QSemaphore closed;
    Client client(*bus, QStringLiteral("client"), [&](const Heard &) {
        inside.release();
        gate.acquire();
        self->endpoint.reset();
        closed.release();
    });
    self = &client;
    client.endpoint->subscribe(topic);
    publisher->publish(topic, QString(), 1);
    publisher.reset();
    QVERIFY(inside.tryAcquire(1, PatienceMs));
    Threads threads;
    threads.run([&] { bus.reset(); }); // waits for the callback
    gate.release();
    QVERIFY(closed.tryAcquire(1, PatienceMs));
    threads.join();
    QVERIFY(watched.expired());
    QVERIFY(client.waitFor(1));
}

void tst_Bus::currentStartsABus()
{
    const std::shared_ptr<LxBusTransport> bus = LxBus::current();
    QVERIFY(bus != nullptr);
    QCOMPARE(LxBus::current(), bus);
    QVERIFY(!LxBus::start(url()));
    LxBus::stop();
}

QTEST_GUILESS_MAIN(tst_Bus)
#include "tst_bus.moc"
