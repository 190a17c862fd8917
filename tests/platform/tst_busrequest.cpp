#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// Requests and their answers.
class tst_BusRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putReachesTheService();
    void requestsKeepTheirOrder();
    void syncRequestBringsTheAnswer();
    void syncRequestTimesOut();
    void asyncAnswerReachesTheAskerOnly();
    void everyThreadGetsItsOwnAnswer();
    void nobodyServesTheType_data();
    void nobodyServesTheType();
    void unawaitedAnswerIsCounted_data();
    void unawaitedAnswerIsCounted();
    void askerLeavesBeforeTheAnswer();
    void serviceLeavesBeforeItAnswers();
    void serviceLeavesWithRequestsQueued();
    void fullServiceHoldsItsClientsUpForATime();
};

static const QString question = QStringLiteral("181027");
static const QString reply = QStringLiteral("181028");

// Answers with the number of the request plus one.
static void answerNextNumber(LxBusServicePort *port, const LxBusRequest &request)
{
    port->answer(request, reply, numberBody(numberOf(request.body) + 1));
}

void tst_BusRequest::putReachesTheService()
{
    Bus bus;
    QSemaphore handled;
    LxBusRequest seen;
    QThread *thread = nullptr;
    Service service(bus, { question }, [&](LxBusServicePort *, const LxBusRequest &request) {
        seen = request;
        thread = QThread::currentThread();
        handled.release();
    });
    Client client(bus, QStringLiteral("client"));
    client.endpoint->put(question, numberBody(5));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QCOMPARE(seen.type, question);
    QCOMPARE(numberOf(seen.body), 5);
    QCOMPARE(seen.client, client.endpoint->address());
    QCOMPARE(seen.id, quint64(0));
    QVERIFY(thread != QThread::currentThread());
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusRequest::requestsKeepTheirOrder()
{
    constexpr int Requests = 2000;
    LxBusOptions options;
    options.threads = 4;
    Bus bus(options);
    QVector<int> handled; // unguarded: a service is called once at a time
    QSemaphore done;
    Service service(bus, { question, QStringLiteral("KLineRequest") },
                    [&](LxBusServicePort *, const LxBusRequest &request) {
                        handled.append(numberOf(request.body));
                        done.release();
                    });
    Client client(bus, QStringLiteral("client"));
    QVector<int> expected;
    for (int i = 0; i < Requests; ++i) {
        client.endpoint->put(i % 2 == 0 ? question : QStringLiteral("KLineRequest"), numberBody(i));
        expected.append(i);
    }
    QVERIFY(done.tryAcquire(Requests, PatienceMs));
    QCOMPARE(handled, expected);
}

void tst_BusRequest::syncRequestBringsTheAnswer()
{
    Bus bus;
    Service service(bus, { question }, answerNextNumber);
    Client client(bus, QStringLiteral("client"));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(41), &answer), int(LxBusEndpoint::Ok));
    QCOMPARE(numberOf(answer), 42);
    QVERIFY(service.flush());
    QVERIFY(client.heard().isEmpty()); // the answer is the caller's alone
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusRequest::syncRequestTimesOut()
{
    LxBusOptions options;
    options.requestTimeoutMs = 50;
    Bus bus(options);
    LxBusRequest kept;
    QSemaphore handled;
    Service service(bus, { question }, [&](LxBusServicePort *, const LxBusRequest &request) {
        kept = request;
        handled.release();
    });
    Client client(bus, QStringLiteral("client"));
    QVariant answer = QStringLiteral("untouched");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(client.endpoint->requestSync(question, numberBody(1), &answer), int(LxBusEndpoint::TimedOut));
    QVERIFY(timer.elapsed() >= 50);
    QCOMPARE(answer.toString(), QStringLiteral("untouched"));

    QVERIFY(handled.tryAcquire(1, PatienceMs));
    service.port->answer(kept, reply, numberBody(2));
    QCOMPARE(bus.dropped(LxBusDrop::LateAnswer), quint64(1));
    QCOMPARE(bus.droppedInAll(), quint64(1));
}

void tst_BusRequest::asyncAnswerReachesTheAskerOnly()
{
    Bus bus;
    Service service(bus, { question }, answerNextNumber);
    Client asker(bus, QStringLiteral("asker"));
    Client other(bus, QStringLiteral("other"));
    other.endpoint->subscribe(reply);
    asker.endpoint->subscribe(reply); // an answer is no publication: it comes once
    QCOMPARE(asker.endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Ok));
    QVERIFY(asker.waitFor(1));
    QVERIFY(service.flush());
    QCOMPARE(asker.numbers(), QVector<int> { 2 });
    const Heard answer = asker.heard().constFirst();
    QCOMPARE(answer.topic, reply);
    QVERIFY(answer.id > 0);
    QVERIFY(answer.thread != QThread::currentThread());
    QVERIFY(other.heard().isEmpty());
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusRequest::everyThreadGetsItsOwnAnswer()
{
    constexpr int RequestsEach = 300;
    Bus bus;
    Service service(bus, { question }, answerNextNumber);
    Client client(bus, QStringLiteral("client"));
    std::atomic<int> right { 0 };
    Threads threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.run([&, thread] {
            for (int i = 0; i < RequestsEach; ++i) {
                const int number = thread * RequestsEach + i;
                QVariant answer;
                if (client.endpoint->requestSync(question, numberBody(number), &answer) == LxBusEndpoint::Ok
                    && numberOf(answer) == number + 1)
                    ++right;
            }
        });
    }
    threads.join();
    QCOMPARE(right.load(), 4 * RequestsEach);
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusRequest::nobodyServesTheType_data()
{
    QTest::addColumn<bool>("served");
    QTest::newRow("never served") << false;
    QTest::newRow("service has left") << true;
}

void tst_BusRequest::nobodyServesTheType()
{
    QFETCH(bool, served);
    Bus bus;
    if (served)
        Service service(bus, { question }, answerNextNumber);
    Service another(bus, { QStringLiteral("KLineRequest") }, answerNextNumber);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->put(question, numberBody(1));
    QCOMPARE(client.endpoint->requestAsync(question, numberBody(2)), int(LxBusEndpoint::NoService));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(3), &answer), int(LxBusEndpoint::NoService));
    QVERIFY(!answer.isValid());
    QCOMPARE(bus.dropped(LxBusDrop::NoService), quint64(3));
    QCOMPARE(bus->statistics().dropped(question), quint64(3));
}

void tst_BusRequest::unawaitedAnswerIsCounted_data()
{
    QTest::addColumn<bool>("awaited");
    QTest::addColumn<quint64>("late");
    QTest::newRow("second answer") << true << quint64(1);
    QTest::newRow("answer to a message that asks nothing") << false << quint64(2);
}

void tst_BusRequest::unawaitedAnswerIsCounted()
{
    QFETCH(bool, awaited);
    QFETCH(quint64, late);
    Bus bus;
    QSemaphore handled;
    Service service(bus, { question }, [&](LxBusServicePort *port, const LxBusRequest &request) {
        answerNextNumber(port, request);
        answerNextNumber(port, request);
        handled.release();
    });
    Client client(bus, QStringLiteral("client"));
    if (awaited)
        QCOMPARE(client.endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Ok));
    else
        client.endpoint->put(question, numberBody(1));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    QVERIFY(service.flush());
    QCOMPARE(client.heard().size(), awaited ? 1 : 0);
    QCOMPARE(bus.dropped(LxBusDrop::LateAnswer), late);
    QCOMPARE(bus.droppedInAll(), late);
}

void tst_BusRequest::askerLeavesBeforeTheAnswer()
{
    Bus bus;
    QSemaphore handled;
    LxBusRequest kept;
    Service service(bus, { question }, [&](LxBusServicePort *, const LxBusRequest &request) {
        kept = request;
        handled.release();
    });
    auto asker = std::make_unique<Client>(bus, QStringLiteral("client"));
    QCOMPARE(asker->endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Ok));
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    asker.reset();

    // The answer is not for whoever has the address now.
    Client heir(bus, QStringLiteral("client"));
    service.port->answer(kept, reply, numberBody(2));
    QVERIFY(service.flush());
    QVERIFY(heir.heard().isEmpty());
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(1));
    QCOMPARE(bus.droppedInAll(), quint64(1));
}

void tst_BusRequest::serviceLeavesBeforeItAnswers()
{
    LxBusOptions options;
    options.requestTimeoutMs = 10 * PatienceMs;
    Bus bus(options);
    QSemaphore handled;
    auto service = std::make_unique<Service>(
        bus, QStringList { question }, [&](LxBusServicePort *, const LxBusRequest &) { handled.release(); });
    Client client(bus, QStringLiteral("client"));
    std::atomic<int> result { 99 };
    QSemaphore returned;
    Threads threads;
    threads.run([&] {
        QVariant answer;
        result = client.endpoint->requestSync(question, numberBody(1), &answer);
        returned.release();
    });
    QVERIFY(handled.tryAcquire(1, PatienceMs));
    service.reset();
    QVERIFY(returned.tryAcquire(1, PatienceMs));
    QCOMPARE(result.load(), int(LxBusEndpoint::Closed));
}

void tst_BusRequest::serviceLeavesWithRequestsQueued()
{
    Bus bus;
    QSemaphore handling;
    QSemaphore gate;
    std::atomic<int> handled { 0 };
    auto service = std::make_unique<Service>(bus, QStringList { question },
                                             [&](LxBusServicePort *, const LxBusRequest &) {
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
    // Once the type is served no longer the service has begun to leave.
    QTRY_COMPARE_WITH_TIMEOUT(request(), int(LxBusEndpoint::NoService), PatienceMs);
    gate.release(1000);
    threads.join();
    // What the service did not come to is counted.
    QVERIFY(handled >= 1);
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(taken - handled));
}

void tst_BusRequest::fullServiceHoldsItsClientsUpForATime()
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
    QCOMPARE(bus.droppedInAll(), quint64(0));

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

QTEST_GUILESS_MAIN(tst_BusRequest)
#include "tst_busrequest.moc"
