#include "buslinks.h"

using namespace BusTesting;

// Requests and their answers.
class tst_BusRequest : public LinkTest
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
    Bus bus({}, url());
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
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusRequest::requestsKeepTheirOrder()
{
    constexpr int Requests = 1000; // fewer than may wait from one sender
    LxBusOptions options;
    options.threads = 4;
    Bus bus(options, url());
    QVector<int> handled; // needs no lock: a service is called by one thread at a time
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
    Bus bus({}, url());
    Publisher publisher(bus);
    Service service(bus, { question }, answerNextNumber);
    Client client(bus, QStringLiteral("client"));
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(41), &answer), int(LxBusEndpoint::Ok));
    QCOMPARE(numberOf(answer), 42);
    QVERIFY(publisher.flush());
    QVERIFY(client.heard().isEmpty()); // only the caller receives the answer
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusRequest::syncRequestTimesOut()
{
    LxBusOptions options;
    options.requestTimeoutMs = 50;
    Bus bus(options, url());
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
    QVERIFY(Publisher(bus).flush());
    QCOMPARE(bus.dropped(LxBusDrop::LateAnswer), quint64(1));
    QCOMPARE(bus.totalDropped(), quint64(1));
}

void tst_BusRequest::asyncAnswerReachesTheAskerOnly()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Service service(bus, { question }, answerNextNumber);
    Client asker(bus, QStringLiteral("asker"));
    Client other(bus, QStringLiteral("other"));
    other.endpoint->subscribe(reply);
    asker.endpoint->subscribe(reply); // an answer is not published: it arrives only once
    QCOMPARE(asker.endpoint->requestAsync(question, numberBody(1)), int(LxBusEndpoint::Ok));
    QVERIFY(asker.waitFor(1));
    QVERIFY(publisher.flush());
    QCOMPARE(asker.numbers(), QVector<int> { 2 });
    const Heard answer = asker.heard().constFirst();
    QCOMPARE(answer.topic, reply);
    QVERIFY(answer.id > 0);
    QVERIFY(answer.thread != QThread::currentThread());
    QVERIFY(other.heard().isEmpty());
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusRequest::everyThreadGetsItsOwnAnswer()
{
    constexpr int RequestsEach = 300;
    Bus bus({}, url());
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
    QCOMPARE(bus.totalDropped(), quint64(0));
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
    Bus bus({}, url());
    if (served)
        Service service(bus, { question }, answerNextNumber);
    Service another(bus, { QStringLiteral("KLineRequest") }, answerNextNumber);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->put(question, numberBody(1));
    const int result = client.endpoint->requestAsync(question, numberBody(2));
    QCOMPARE(result, int(isLocal() ? LxBusEndpoint::NoService : LxBusEndpoint::Ok)); // only the broker knows
    QVariant answer;
    QCOMPARE(client.endpoint->requestSync(question, numberBody(3), &answer), int(LxBusEndpoint::NoService));
    QVERIFY(!answer.isValid());
    QVERIFY(Publisher(bus).flush());
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
    Bus bus({}, url());
    Publisher publisher(bus);
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
    QVERIFY(publisher.flush());
    QCOMPARE(client.heard().size(), awaited ? 1 : 0);
    QCOMPARE(bus.dropped(LxBusDrop::LateAnswer), late);
    QCOMPARE(bus.totalDropped(), late);
}

void tst_BusRequest::askerLeavesBeforeTheAnswer()
{
    Bus bus({}, url());
    Publisher publisher(bus);
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

    // The endpoint that has the address now does not receive the answer.
    Client heir(bus, QStringLiteral("client"));
    service.port->answer(kept, reply, numberBody(2));
    QVERIFY(publisher.flush());
    QVERIFY(heir.heard().isEmpty());
    QCOMPARE(bus.dropped(LxBusDrop::ReceiverGone), quint64(1));
    QCOMPARE(bus.totalDropped(), quint64(1));
}

void tst_BusRequest::serviceLeavesBeforeItAnswers()
{
    LxBusOptions options;
    options.requestTimeoutMs = 10 * PatienceMs;
    Bus bus(options, url());
    QSemaphore handled;
    auto service = std::make_unique<Service>(bus, QStringList { question },
                                             [&](LxBusServicePort *, const LxBusRequest &) { handled.release(); });
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

QTEST_GUILESS_MAIN(tst_BusRequest)
#include "tst_busrequest.moc"
