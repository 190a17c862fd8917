#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// Receivers that are slow, that are blocked, or that leave.
class tst_BusFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slowReceiverLosesNothing();
    void waitingMessagesAreCounted();
    void stuckReceiverIsGivenUpUntilItCatchesUp_data();
    void stuckReceiverIsGivenUpUntilItCatchesUp();
    void stuckReceiverDoesNotStopTheOthers();
    void callbackIsNotHeldUpByItsOwnQueue();
    void callbacksAreNotHeldUpByOneAnother();
    void closingWaitsForTheCallbackUnderWay();
    void closingReleasesHeldUpPublishers();
    void callbackMayCloseItsEndpoint();
    void serviceLeavesWithRequestsQueued();
    void fullServiceHoldsItsClientsUpForATime();
};

static const QString question = QStringLiteral("181027");
static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

void tst_BusFlow::slowReceiverLosesNothing()
{
    constexpr int Messages = 500;
    LxBusOptions options;
    options.queueLimit = 8;
    options.publishTimeoutMs = PatienceMs;
    Bus bus(options);
    Publisher publisher(bus);
    std::atomic<int> published { 0 };
    std::atomic<int> furthestAhead { 0 };
    Client client(bus, QStringLiteral("client"), [&](const Heard &one) {
        furthestAhead = std::max(furthestAhead.load(), published - numberOf(one.body));
    });
    client.endpoint->subscribe(topic);
    QVector<int> expected;
    for (int i = 0; i < Messages; ++i) {
        publisher.publish(topic, QString(), i);
        expected.append(i);
        ++published;
    }
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), expected);
    QVERIFY2(furthestAhead <= options.queueLimit, qPrintable(QString::number(furthestAhead)));
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusFlow::waitingMessagesAreCounted()
{
    Bus bus;
    Publisher publisher(bus);
    QSemaphore entered;
    QSemaphore gate;
    const auto wait = [&](const Heard &) {
        entered.release();
        gate.acquire();
    };
    Client one(bus, QStringLiteral("one"), wait);
    Client other(bus, QStringLiteral("other"), wait);
    one.endpoint->subscribe(topic);
    other.endpoint->subscribe(topic);
    QCOMPARE(bus->waitingMessages(), quint64(0));
    for (int i = 0; i < 3; ++i)
        publisher.publish(topic, QString(), i);
    QVERIFY(entered.tryAcquire(2, PatienceMs));
    QCOMPARE(bus->waitingMessages(), quint64(2 * 3)); // the two being delivered included
    gate.release(2);
    QVERIFY(entered.tryAcquire(2, PatienceMs));
    QTRY_COMPARE_WITH_TIMEOUT(bus->waitingMessages(), quint64(2 * 2), PatienceMs);
    gate.release(100);
    QVERIFY(publisher.flush());
    QCOMPARE(bus->waitingMessages(), quint64(0));
}

void tst_BusFlow::stuckReceiverIsGivenUpUntilItCatchesUp_data()
{
    QTest::addColumn<bool>("toOne");
    QTest::newRow("publish") << false;
    QTest::newRow("publishTo") << true;
}

void tst_BusFlow::stuckReceiverIsGivenUpUntilItCatchesUp()
{
    QFETCH(bool, toOne);
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 50;
    Bus bus(options);
    Publisher publisher(bus);
    QSemaphore entered;
    QSemaphore gate;
    Client client(bus, QStringLiteral("client"), [&](const Heard &) {
        entered.release();
        gate.acquire();
    });
    client.endpoint->subscribe(topic);
    Service service(bus, {}, {});
    LxBusRequest request;
    request.client = client.endpoint->address();
    const auto publish = [&](int number) {
        if (toOne)
            service.port->publishTo(request, topic, numberBody(number));
        else
            publisher.publish(topic, QString(), number);
    };

    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 4; ++i)
        publish(i);
    QVERIFY(timer.elapsed() >= 50);
    QCOMPARE(bus.totalDropped(), quint64(0));
    publish(4);
    publish(5);
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(2));
    QCOMPARE(bus->statistics().dropped(topic), quint64(2));
    if (!toOne)
        QCOMPARE(publisher.publish(topic, QString(), 6), 0);

    // The receiver has caught up when half of the queue has been processed, not after one message.
    const quint64 before = bus.totalDropped();
    gate.release();
    QVERIFY(entered.tryAcquire(2, PatienceMs)); // the first is taken, the second under way
    publish(7);
    QCOMPARE(bus.totalDropped(), before + 1);
    gate.release();
    QVERIFY(entered.tryAcquire(1, PatienceMs));
    publish(8);
    gate.release(100);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1, 2, 3, 8 }));
    QCOMPARE(bus.totalDropped(), before + 1);
}

void tst_BusFlow::stuckReceiverDoesNotStopTheOthers()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 50;
    Bus bus(options);
    Publisher publisher(bus);
    QSemaphore gate;
    Client stuck(bus, QStringLiteral("stuck"), [&gate](const Heard &) { gate.acquire(); });
    Client lively(bus, QStringLiteral("lively"));
    stuck.endpoint->subscribe(topic);
    lively.endpoint->subscribe(topic);
    for (int i = 0; i < 40; ++i) {
        publisher.publish(topic, QString(), i);
        QVERIFY(lively.waitFor(i + 1));
    }
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(36));
    gate.release(100);
    QVERIFY(publisher.flush());
    QCOMPARE(stuck.numbers(), (QVector<int> { 0, 1, 2, 3 }));
}

void tst_BusFlow::callbackIsNotHeldUpByItsOwnQueue()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    Bus bus(options);
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"), [&publisher](const Heard &one) {
        if (numberOf(one.body) == 0) {
            for (int i = 1; i <= 10; ++i)
                publisher.publish(topic, QString(), i);
        }
    });
    client.endpoint->subscribe(topic);
    publisher.publish(topic, QString(), 0);
    QVERIFY(client.waitFor(4));
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1, 2, 3 }));
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(7));
}

void tst_BusFlow::callbacksAreNotHeldUpByOneAnother()
{
    // Both delivery threads publish into the queue of an endpoint, so that none is left to empty it.
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    options.threads = 2;
    Bus bus(options);
    Publisher publisher(bus);
    Client sink(bus, QStringLiteral("sink"));
    sink.endpoint->subscribe(topic);
    QSemaphore together;
    const auto flood = [&](const Heard &) {
        together.release();
        together.acquire(2);
        together.release(2);
        for (int i = 0; i < 10; ++i)
            publisher.publish(topic, QString(), i);
    };
    Client first(bus, QStringLiteral("first"), flood);
    Client second(bus, QStringLiteral("second"), flood);
    first.endpoint->subscribe(QStringLiteral("go"));
    second.endpoint->subscribe(QStringLiteral("go"));
    publisher.publish(QStringLiteral("go"), QString(), 0);
    QVERIFY(first.waitFor(1));
    QVERIFY(second.waitFor(1));
    QVERIFY(publisher.flush());
    QCOMPARE(quint64(sink.heard().size()) + bus.dropped(LxBusDrop::QueueFull), quint64(20));
}

void tst_BusFlow::closingWaitsForTheCallbackUnderWay()
{
    Bus bus;
    Publisher publisher(bus);
    QSemaphore inside;
    QSemaphore gate;
    std::atomic<bool> finished { false };
    Client client(bus, QStringLiteral("client"), [&](const Heard &) {
        inside.release();
        gate.acquire();
        finished = true;
    });
    client.endpoint->subscribe(topic);
    for (int i = 0; i < 3; ++i)
        publisher.publish(topic, QString(), i);
    QVERIFY(inside.tryAcquire(1, PatienceMs));

    std::atomic<bool> finishedBefore { false };
    QSemaphore closed;
    Threads threads;
    threads.run([&] {
        client.endpoint.reset();
        finishedBefore = finished.load();
        closed.release();
    });
    // Once the endpoint has begun to leave, nobody reads the topic any more.
    QTRY_VERIFY_WITH_TIMEOUT(!publisher.port->hasListeners(topic, QString()), PatienceMs);
    QCOMPARE(publisher.publish(topic, QString(), 3), 0);
    QVERIFY(!closed.tryAcquire(1, 50));
    gate.release(10);
    threads.join();
    QVERIFY(finishedBefore);

    // Messages that have not been delivered when the destructor returns are never delivered, but are counted.
    const int heard = client.heard().size();
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(3 - heard));
    QVERIFY(publisher.flush());
    QCOMPARE(client.heard().size(), heard);
}

void tst_BusFlow::closingReleasesHeldUpPublishers()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    options.threads = 1;
    Bus bus(options);
    Publisher publisher(bus);

    // The only delivery thread is busy, so nothing except closing makes room.
    QSemaphore inside;
    QSemaphore gate;
    Client busy(bus, QStringLiteral("busy"), [&](const Heard &) {
        inside.release();
        gate.acquire();
    });
    busy.endpoint->subscribe(QStringLiteral("busy"));
    publisher.publish(QStringLiteral("busy"), QString(), 0);
    QVERIFY(inside.tryAcquire(1, PatienceMs));

    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QSemaphore published;
    Threads threads;
    threads.run([&] {
        for (int i = 0; i < 4; ++i)
            publisher.publish(topic, QString(), i);
        published.release();
    });
    const bool heldUp = !published.tryAcquire(1, 50);
    client.endpoint.reset();
    const bool released = published.tryAcquire(1, PatienceMs);
    gate.release();
    QVERIFY(heldUp);
    QVERIFY(released);
}

void tst_BusFlow::callbackMayCloseItsEndpoint()
{
    Bus bus;
    Publisher publisher(bus);
    QSemaphore gate;
    QSemaphore closed;
    Client *self = nullptr;
    Client client(bus, QStringLiteral("client"), [&](const Heard &one) {
        if (numberOf(one.body) == 0) {
            gate.acquire();
        } else {
            self->endpoint.reset();
            closed.release();
        }
    });
    self = &client;
    client.endpoint->subscribe(topic);
    for (int i = 0; i < 4; ++i)
        publisher.publish(topic, QString(), i);
    gate.release();
    QVERIFY(closed.tryAcquire(1, PatienceMs));
    QVERIFY(client.waitFor(2));
    QCOMPARE(publisher.publish(topic, QString(), 4), 0);
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1 }));
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(2));
    QCOMPARE(bus->statistics().dropped(topic), quint64(2));
}

void tst_BusFlow::serviceLeavesWithRequestsQueued()
{
    Bus bus;
    QSemaphore handling;
    QSemaphore gate;
    std::atomic<int> handled { 0 };
    auto service =
        std::make_unique<Service>(bus, QStringList { question }, [&](LxBusServicePort *, const LxBusRequest &) {
            handling.release();
            gate.acquire();
            ++handled;
        });
    Client client(bus, QStringLiteral("client"));
    int taken = 0;
    const auto request = [&] {
        const int result = client.endpoint->requestAsync(question, QVariant());
        taken += result == LxBusEndpoint::Ok ? 1 : 0;
        return result;
    };
    for (int i = 0; i < 4; ++i)
        QCOMPARE(request(), int(LxBusEndpoint::Ok));
    QVERIFY(handling.tryAcquire(1, PatienceMs));
    Threads threads;
    threads.run([&] { service.reset(); });
    // When the type is no longer handled, the service has begun to leave.
    QTRY_COMPARE_WITH_TIMEOUT(request(), int(LxBusEndpoint::NoService), PatienceMs);
    gate.release(1000);
    threads.join();
    // Requests that the service has not handled are counted.
    QVERIFY(handled >= 1);
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(taken - handled));
}

void tst_BusFlow::fullServiceHoldsItsClientsUpForATime()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 50;
    options.requestTimeoutMs = 50;
    Bus bus(options);
    QSemaphore gate;
    QSemaphore handled;
    QVector<int> numbers;
    Service service(bus, { question }, [&](LxBusServicePort *, const LxBusRequest &request) {
        gate.acquire();
        numbers.append(numberOf(request.body));
        handled.release();
    });
    Client client(bus, QStringLiteral("client"));
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 4; ++i)
        client.endpoint->put(question, numberBody(i));
    QVERIFY(timer.elapsed() >= 50);
    QCOMPARE(bus.totalDropped(), quint64(0));

    client.endpoint->put(question, numberBody(4));
    QCOMPARE(client.endpoint->requestAsync(question, numberBody(5)), int(LxBusEndpoint::QueueFull));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(6), &answer), int(LxBusEndpoint::QueueFull));
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(3));

    gate.release(4);
    QVERIFY(handled.tryAcquire(4, PatienceMs));
    gate.release(100);
    bool sent = false;
    QTRY_VERIFY_WITH_TIMEOUT(
        sent || (sent = client.endpoint->requestAsync(question, numberBody(7)) == LxBusEndpoint::Ok), PatienceMs);
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QCOMPARE(numbers, (QVector<int> { 0, 1, 2, 3, 7 }));
}

QTEST_GUILESS_MAIN(tst_BusFlow)
#include "tst_busflow.moc"
