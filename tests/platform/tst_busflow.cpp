#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// Receivers that are slow, stuck or leaving.
class tst_BusFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slowReceiverLosesNothing();
    void stuckReceiverIsGivenUpUntilItCatchesUp_data();
    void stuckReceiverIsGivenUpUntilItCatchesUp();
    void stuckReceiverDoesNotStopTheOthers();
    void callbackIsNotHeldUpByItsOwnQueue();
    void callbacksAreNotHeldUpByOneAnother();
    void closingWaitsForTheCallbackUnderWay();
    void closingReleasesHeldUpPublishers();
    void callbackMayCloseItsEndpoint();
    void callbackMayCloseTheLastEndpoint();
};

static const QString topic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

void tst_BusFlow::slowReceiverLosesNothing()
{
    constexpr int Messages = 500;
    LxBusOptions options;
    options.queueLimit = 8;
    options.publishTimeoutMs = PatienceMs;
    Bus bus(options);
    Service service(bus);
    std::atomic<int> published { 0 };
    std::atomic<int> furthestAhead { 0 };
    Client client(bus, QStringLiteral("client"), [&](const Heard &one) {
        furthestAhead = std::max(furthestAhead.load(), published - numberOf(one.body));
    });
    client.endpoint->subscribe(topic);
    QVector<int> expected;
    for (int i = 0; i < Messages; ++i) {
        service.publish(topic, QString(), i);
        expected.append(i);
        ++published;
    }
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), expected);
    QVERIFY2(furthestAhead <= options.queueLimit, qPrintable(QString::number(furthestAhead)));
    QCOMPARE(bus.droppedInAll(), quint64(0));
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
    Service service(bus);
    QSemaphore entered;
    QSemaphore gate;
    Client client(bus, QStringLiteral("client"), [&](const Heard &) {
        entered.release();
        gate.acquire();
    });
    client.endpoint->subscribe(topic);
    const auto publish = [&](int number) {
        if (toOne)
            service.port->publishTo(client.endpoint->address(), topic, numberBody(number));
        else
            service.publish(topic, QString(), number);
    };

    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 4; ++i)
        publish(i);
    QVERIFY(timer.elapsed() >= 50);
    QCOMPARE(bus.droppedInAll(), quint64(0));
    publish(4);
    publish(5);
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(2));
    QCOMPARE(bus->statistics().dropped(topic), quint64(2));
    if (!toOne)
        QCOMPARE(service.publish(topic, QString(), 6), 0);

    // One message taken is not caught up yet, half of the queue is.
    const quint64 before = bus.droppedInAll();
    gate.release();
    QVERIFY(entered.tryAcquire(2, PatienceMs)); // the first is taken, the second under way
    publish(7);
    QCOMPARE(bus.droppedInAll(), before + 1);
    gate.release();
    QVERIFY(entered.tryAcquire(1, PatienceMs));
    publish(8);
    gate.release(100);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1, 2, 3, 8 }));
    QCOMPARE(bus.droppedInAll(), before + 1);
}

void tst_BusFlow::stuckReceiverDoesNotStopTheOthers()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 50;
    Bus bus(options);
    Service service(bus);
    QSemaphore gate;
    Client stuck(bus, QStringLiteral("stuck"), [&gate](const Heard &) { gate.acquire(); });
    Client lively(bus, QStringLiteral("lively"));
    stuck.endpoint->subscribe(topic);
    lively.endpoint->subscribe(topic);
    for (int i = 0; i < 40; ++i) {
        service.publish(topic, QString(), i);
        QVERIFY(lively.waitFor(i + 1));
    }
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(36));
    gate.release(100);
    QVERIFY(service.flush());
    QCOMPARE(stuck.numbers(), (QVector<int> { 0, 1, 2, 3 }));
}

void tst_BusFlow::callbackIsNotHeldUpByItsOwnQueue()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    Bus bus(options);
    Service service(bus);
    Client client(bus, QStringLiteral("client"), [&service](const Heard &one) {
        if (numberOf(one.body) == 0) {
            for (int i = 1; i <= 10; ++i)
                service.publish(topic, QString(), i);
        }
    });
    client.endpoint->subscribe(topic);
    service.publish(topic, QString(), 0);
    QVERIFY(client.waitFor(4));
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1, 2, 3 }));
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(7));
}

void tst_BusFlow::callbacksAreNotHeldUpByOneAnother()
{
    // Both delivery threads publish into the queue of an endpoint that none of them is left to empty.
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    options.threads = 2;
    Bus bus(options);
    Service service(bus);
    Client sink(bus, QStringLiteral("sink"));
    sink.endpoint->subscribe(topic);
    QSemaphore together;
    const auto flood = [&](const Heard &) {
        together.release();
        together.acquire(2);
        together.release(2);
        for (int i = 0; i < 10; ++i)
            service.publish(topic, QString(), i);
    };
    Client first(bus, QStringLiteral("first"), flood);
    Client second(bus, QStringLiteral("second"), flood);
    first.endpoint->subscribe(QStringLiteral("go"));
    second.endpoint->subscribe(QStringLiteral("go"));
    service.publish(QStringLiteral("go"), QString(), 0);
    QVERIFY(first.waitFor(1));
    QVERIFY(second.waitFor(1));
    QVERIFY(service.flush());
    QCOMPARE(quint64(sink.heard().size()) + bus.dropped(LxBusDrop::QueueFull), quint64(20));
}

void tst_BusFlow::closingWaitsForTheCallbackUnderWay()
{
    Bus bus;
    Service service(bus);
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
        service.publish(topic, QString(), i);
    QVERIFY(inside.tryAcquire(1, PatienceMs));

    std::atomic<bool> finishedBefore { false };
    QSemaphore closed;
    Threads threads;
    threads.run([&] {
        client.endpoint.reset();
        finishedBefore = finished.load();
        closed.release();
    });
    // Nobody listens any more once the endpoint has begun to leave.
    QTRY_VERIFY_WITH_TIMEOUT(!service.port->hasListeners(topic, QString()), PatienceMs);
    QCOMPARE(service.publish(topic, QString(), 3), 0);
    QVERIFY(!closed.tryAcquire(1, 50));
    gate.release(10);
    threads.join();
    QVERIFY(finishedBefore);

    // What is not delivered when the destructor has returned never is, and is counted.
    const int heard = client.heard().size();
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(3 - heard));
    QVERIFY(service.flush());
    QCOMPARE(client.heard().size(), heard);
}

void tst_BusFlow::closingReleasesHeldUpPublishers()
{
    LxBusOptions options;
    options.queueLimit = 4;
    options.publishTimeoutMs = 10 * PatienceMs;
    options.threads = 1;
    Bus bus(options);
    Service service(bus);

    // The one delivery thread is busy elsewhere, so that nothing but closing makes room.
    QSemaphore inside;
    QSemaphore gate;
    Client busy(bus, QStringLiteral("busy"), [&](const Heard &) {
        inside.release();
        gate.acquire();
    });
    busy.endpoint->subscribe(QStringLiteral("busy"));
    service.publish(QStringLiteral("busy"), QString(), 0);
    QVERIFY(inside.tryAcquire(1, PatienceMs));

    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(topic);
    QSemaphore published;
    Threads threads;
    threads.run([&] {
        for (int i = 0; i < 4; ++i)
            service.publish(topic, QString(), i);
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
    Service service(bus);
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
        service.publish(topic, QString(), i);
    gate.release();
    QVERIFY(closed.tryAcquire(1, PatienceMs));
    QVERIFY(client.waitFor(2));
    QCOMPARE(service.publish(topic, QString(), 4), 0);
    QCOMPARE(client.numbers(), (QVector<int> { 0, 1 }));
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(2));
    QCOMPARE(bus->statistics().dropped(topic), quint64(2));
}

void tst_BusFlow::callbackMayCloseTheLastEndpoint()
{
    auto bus = std::make_unique<Bus>();
    const std::weak_ptr<LxBusTransport> watched = LxBus::current();
    auto service = std::make_unique<Service>(*bus);
    Client *self = nullptr;
    QSemaphore gate;
    QSemaphore closed;
    Client client(*bus, QStringLiteral("client"), [&](const Heard &) {
        gate.acquire();
        self->endpoint.reset();
        closed.release();
    });
    self = &client;
    client.endpoint->subscribe(topic);
    service->publish(topic, QString(), 1);
    service.reset();
    bus.reset();
    QVERIFY(!watched.expired());
    gate.release();
    QVERIFY(closed.tryAcquire(1, PatienceMs));
    QVERIFY(watched.expired());
    QVERIFY(client.waitFor(1)); // the callback comes to its end
}

QTEST_GUILESS_MAIN(tst_BusFlow)
#include "tst_busflow.moc"
