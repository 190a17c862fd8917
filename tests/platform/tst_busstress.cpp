#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// All operations concurrently, for a fixed number of steps. The guarantees of the bus must hold throughout.
class tst_BusStress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endpointsComeAndGo();
    void servicesComeAndGo();
};

static const QString quotes = QStringLiteral("MDMARKETRECORD");
static const QString transactions = QStringLiteral("MDTRANSACTIONRECORD");
static const QString question = QStringLiteral("181027");

static QString symbolOf(int number)
{
    return QString::number(600000 + number) + QLatin1String(".SH");
}

namespace {

// A client that checks at every call that the numbers of each stream increase and that nothing arrives after the end.
class Watcher final : public LxBusListener
{
public:
    Watcher(Bus &bus, std::atomic<int> *faults)
        : m_faults(faults), endpoint(bus->openEndpoint(QStringLiteral("watcher"), this))
    {
    }
    ~Watcher()
    {
        endpoint.reset();
        m_left = true;
    }

    void published(const QString &, const QString &topic, const QVariant &body) override
    {
        const int number = numberOf(body);
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        int &last = m_last[topic + rows.GetValue(QStringLiteral("Symbol"), QString()).toString()];
        if (m_left || number <= last)
            ++*m_faults;
        last = number;
    }
    void answered(int, const QString &, const QString &, const QVariant &body) override
    {
        if (m_left || numberOf(body) != 42)
            ++*m_faults;
    }

private:
    std::atomic<int> *const m_faults;
    std::atomic<bool> m_left { false };
    QHash<QString, int> m_last; // bus threads, one call at a time

public:
    std::unique_ptr<LxBusEndpoint> endpoint;
};

} // namespace

static QVariant recordBody(const QString &symbol, int number)
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbol);
    pack.AddVaule(QStringLiteral("Number"), number);
    return pack.GetPackedMsg(false);
}

void tst_BusStress::endpointsComeAndGo()
{
    constexpr int Symbols = 8;
    constexpr int Records = 100000;
    constexpr int Endpoints = 2000;
    LxBusOptions options;
    options.threads = 3;
    options.queueLimit = 64;
    Bus bus(options);
    Publisher publisher(bus);
    std::atomic<int> faults { 0 };
    Service service(bus, { question }, [](LxBusServicePort *port, const LxBusRequest &request) {
        if (request.id == 0)
            port->publishTo(request, QStringLiteral("KLineResponse"), request.body);
        else
            port->answer(request, QStringLiteral("181028"), numberBody(42));
    });
    Client steady(bus, QStringLiteral("steady"));
    steady.endpoint->subscribe(quotes);
    steady.ask(LxRecordKind::Quote, Subscribe, { symbolOf(0) });

    Threads threads;
    for (const QString &topic : { quotes, transactions }) {
        threads.run([&publisher, topic] {
            for (int i = 1; i <= Records; ++i) {
                const QString symbol = symbolOf(i % Symbols);
                publisher.port->publish(topic, symbol, recordBody(symbol, i));
            }
        });
    }
    for (int thread = 0; thread < 3; ++thread) {
        threads.run([&, thread] {
            for (int i = 0; i < Endpoints; ++i) {
                Watcher watcher(bus, &faults);
                LxBusEndpoint &endpoint = *watcher.endpoint;
                endpoint.subscribe(i % 2 == 0 ? quotes : transactions);
                for (int kind = 1; kind <= 2; ++kind) {
                    endpoint.put(LxBusTopics::subscribeRequest,
                                 subscribeBody(kind, Subscribe, { symbolOf(i % Symbols), symbolOf(thread) }));
                }
                endpoint.put(LxBusTopics::subscribeRequest, subscribeBody(1, Unsubscribe, { symbolOf(thread) }));
                if (endpoint.requestAsync(question, recordBody(QStringLiteral("mine"), i + 1)) != LxBusEndpoint::Ok)
                    ++faults;
                endpoint.put(question, recordBody(QStringLiteral("mine"), i + 1));
                QVariant answer;
                if (endpoint.requestSync(question, recordBody(QStringLiteral("mine"), i + 2), &answer)
                        != LxBusEndpoint::Ok
                    || numberOf(answer) != 42)
                    ++faults;
            }
        });
    }
    threads.join();
    QVERIFY(publisher.flush());
    QCOMPARE(faults.load(), 0);

    // A client that stayed has lost nothing.
    QVector<int> expected;
    for (int i = Symbols; i <= Records; i += Symbols)
        expected.append(i);
    QCOMPARE(steady.numbers(), expected);
    QCOMPARE(bus.totalDropped(), bus.dropped(LxBusDrop::ReceiverGone));
}

void tst_BusStress::servicesComeAndGo()
{
    constexpr int Services = 5000;
    Bus bus;
    std::atomic<bool> stop { false };
    std::atomic<int> faults { 0 };
    QSemaphore answered;
    Client client(bus, QStringLiteral("client"));
    Threads threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.run([&] {
            for (int number = 0; !stop; ++number) {
                QVariant answer;
                const int result = client.endpoint->requestSync(question, numberBody(number), &answer);
                if (result == LxBusEndpoint::Ok && numberOf(answer) == number)
                    answered.release();
                else if (result != LxBusEndpoint::NoService && result != LxBusEndpoint::Closed)
                    ++faults;
                if (result == LxBusEndpoint::NoService)
                    QThread::yieldCurrentThread();
            }
        });
    }
    const auto ending = qScopeGuard([&stop] { stop = true; });
    for (int i = 0; i < Services; ++i) {
        Service service(bus, { question }, [](LxBusServicePort *port, const LxBusRequest &request) {
            port->answer(request, QStringLiteral("181028"), request.body);
        });
        answered.tryAcquire(answered.available());
        QVERIFY(answered.tryAcquire(1, PatienceMs));
    }
    stop = true;
    threads.join();
    QCOMPARE(faults.load(), 0);
    QCOMPARE(bus.dropped(LxBusDrop::LateAnswer), quint64(0));
    QCOMPARE(bus.dropped(LxBusDrop::QueueFull), quint64(0));
}

QTEST_GUILESS_MAIN(tst_BusStress)
#include "tst_busstress.moc"
