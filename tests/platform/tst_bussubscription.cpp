#include "bustesting.h"

#include <QtTest>

using namespace BusTesting;

// Market records: who asked for which symbols and kinds, and the latest record for those who come late.
class tst_BusSubscription : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void routesByKindAndSymbol_data();
    void routesByKindAndSymbol();
    void oneRequestSubscribesManySymbols();
    void subscriptionsAreCountedPerEndpoint();
    void closedEndpointLosesItsSubscriptions();
    void latestRecordAtOnce_data();
    void latestRecordAtOnce();
    void latestRecordOfEachTopicOfTheKind();
    void latestRecordKeepsItsPlaceInTheStream();
    void malformedRowsAreCounted_data();
    void malformedRowsAreCounted();
    void foreignBodyIsCounted();
    void emptyRequestIsNoFault();
};

static const QString quotes = QStringLiteral("MDMARKETRECORD");
static const QString bank = QStringLiteral("600000.SH");
static const QString other = QStringLiteral("000001.SZ");

void tst_BusSubscription::routesByKindAndSymbol_data()
{
    QTest::addColumn<QString>("subscribed"); // the topic
    QTest::addColumn<int>("kind");           // asked for, of 600000.SH; 0: nothing
    QTest::addColumn<QString>("published");  // the topic
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<bool>("heard");

    const QString indices = QStringLiteral("MDINDEXRECORD");
    const QString futures = QStringLiteral("MDFUTURERECORD");
    const QString options = QStringLiteral("MDOPTIONRECORD");
    const QString transactions = QStringLiteral("MDTRANSACTIONRECORD");
    const QString orders = QStringLiteral("MDORDERRECORD");
    const QString rankings = QStringLiteral("ADINDICATORSRANKINGRECORD");

    QTest::newRow("stock quote") << quotes << 1 << quotes << bank << true;
    QTest::newRow("index quote") << indices << 1 << indices << bank << true;
    QTest::newRow("future quote") << futures << 1 << futures << bank << true;
    QTest::newRow("option quote") << options << 1 << options << bank << true;
    QTest::newRow("transaction") << transactions << 2 << transactions << bank << true;
    QTest::newRow("order") << orders << 3 << orders << bank << true;
    QTest::newRow("ranking") << rankings << 4 << rankings << bank << true;

    QTest::newRow("other symbol") << quotes << 1 << quotes << other << false;
    QTest::newRow("symbol in lower case") << quotes << 1 << quotes << QStringLiteral("600000.sh") << false;
    QTest::newRow("nothing asked for") << quotes << 0 << quotes << bank << false;
    QTest::newRow("quote, transactions asked for") << quotes << 2 << quotes << bank << false;
    QTest::newRow("transaction, quotes asked for") << transactions << 1 << transactions << bank << false;
    QTest::newRow("order, transactions asked for") << orders << 2 << orders << bank << false;
    QTest::newRow("ranking, orders asked for") << rankings << 3 << rankings << bank << false;
    QTest::newRow("topic not subscribed") << indices << 1 << quotes << bank << false;
}

void tst_BusSubscription::routesByKindAndSymbol()
{
    QFETCH(QString, subscribed);
    QFETCH(int, kind);
    QFETCH(QString, published);
    QFETCH(QString, symbol);
    QFETCH(bool, heard);

    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(subscribed);
    if (kind != 0)
        client.ask(static_cast<LxRecordKind>(kind), Subscribe, { bank });
    QCOMPARE(service.port->hasListeners(published, symbol), heard);
    QCOMPARE(service.publish(published, symbol, 1), heard ? 1 : 0);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), heard ? QVector<int> { 1 } : QVector<int>());

    if (kind != 0)
        client.ask(static_cast<LxRecordKind>(kind), Unsubscribe, { bank });
    QVERIFY(!service.port->hasListeners(published, symbol));
    QCOMPARE(service.publish(published, symbol, 2), 0);
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusSubscription::oneRequestSubscribesManySymbols()
{
    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { bank, other });
    QCOMPARE(service.publish(quotes, bank, 1), 1);
    QCOMPARE(service.publish(quotes, other, 2), 1);
    client.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(service.publish(quotes, bank, 3), 0);
    QCOMPARE(service.publish(quotes, other, 4), 1);
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 1, 2, 4 }));
}

void tst_BusSubscription::subscriptionsAreCountedPerEndpoint()
{
    Bus bus;
    Service service(bus);
    Client shared(bus, QStringLiteral("shared"));
    Client single(bus, QStringLiteral("single"));
    for (Client *client : { &shared, &single })
        client->endpoint->subscribe(quotes);

    // Duplicates within one request count as well.
    shared.ask(LxRecordKind::Quote, Subscribe, { bank, bank });
    shared.ask(LxRecordKind::Quote, Subscribe, { bank });
    single.ask(LxRecordKind::Quote, Subscribe, { bank });
    QCOMPARE(service.publish(quotes, bank, 1), 2);
    single.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(service.publish(quotes, bank, 2), 1);
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(service.publish(quotes, bank, 3), 0);
    QVERIFY(service.flush());
    QCOMPARE(shared.numbers(), (QVector<int> { 1, 2 }));
    QCOMPARE(single.numbers(), QVector<int> { 1 });

    // One unsubscription too many is no debt.
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Subscribe, { bank });
    QCOMPARE(service.publish(quotes, bank, 4), 1);
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusSubscription::closedEndpointLosesItsSubscriptions()
{
    Bus bus;
    Service service(bus);
    Client stays(bus, QStringLiteral("stays"));
    auto leaves = std::make_unique<Client>(bus, QStringLiteral("leaves"));
    for (Client *client : { &stays, leaves.get() }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { bank, bank });
    }
    leaves->ask(LxRecordKind::Quote, Subscribe, { other });
    leaves.reset();
    QVERIFY(!service.port->hasListeners(quotes, other));
    QCOMPARE(service.publish(quotes, bank, 1), 1);

    // Who takes the address over does not take the subscriptions over.
    Client heir(bus, QStringLiteral("leaves"));
    heir.endpoint->subscribe(quotes);
    QCOMPARE(service.publish(quotes, bank, 2), 1);
    QVERIFY(service.flush());
    QVERIFY(heir.heard().isEmpty());
}

void tst_BusSubscription::latestRecordAtOnce_data()
{
    QTest::addColumn<bool>("topicFirst");
    QTest::newRow("topic before symbol") << true;
    QTest::newRow("symbol before topic") << false;
}

void tst_BusSubscription::latestRecordAtOnce()
{
    QFETCH(bool, topicFirst);
    Bus bus;
    Service service(bus);
    QCOMPARE(service.publish(quotes, bank, 1), 0);
    QCOMPARE(service.publish(quotes, bank, 2), 0);
    QCOMPARE(service.publish(quotes, other, 3), 0);

    Client client(bus, QStringLiteral("client"));
    if (topicFirst)
        client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { bank, QStringLiteral("never published") });
    if (!topicFirst)
        client.endpoint->subscribe(quotes);
    QVERIFY(client.waitFor(1));
    QCOMPARE(client.heard().constFirst().topic, quotes);

    // Another reference brings nothing new; a new subscription brings the latest again.
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), QVector<int> { 2 });
    client.ask(LxRecordKind::Quote, Unsubscribe, { bank, bank });
    service.publish(quotes, bank, 4);
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(service.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 2, 4 }));
}

void tst_BusSubscription::latestRecordOfEachTopicOfTheKind()
{
    Bus bus;
    Service service(bus);
    service.publish(quotes, bank, 1);
    service.publish(QStringLiteral("MDINDEXRECORD"), bank, 2);
    service.publish(QStringLiteral("MDFUTURERECORD"), bank, 3);
    service.publish(QStringLiteral("MDTRANSACTIONRECORD"), bank, 4);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.endpoint->subscribe(QStringLiteral("MDINDEXRECORD"));
    client.endpoint->subscribe(QStringLiteral("MDTRANSACTIONRECORD"));
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(service.flush());
    QVector<int> numbers = client.numbers();
    std::sort(numbers.begin(), numbers.end());
    QCOMPARE(numbers, (QVector<int> { 1, 2 }));
}

void tst_BusSubscription::latestRecordKeepsItsPlaceInTheStream()
{
    constexpr int Rounds = 200;
    Bus bus;
    Service service(bus);
    service.publish(quotes, bank, 0);

    std::atomic<bool> stop { false };
    Threads threads;
    threads.run([&] {
        for (int number = 1; !stop; ++number)
            service.publish(quotes, bank, number);
    });
    const auto ending = qScopeGuard([&stop] { stop = true; });
    for (int round = 0; round < Rounds; ++round) {
        Client client(bus, QStringLiteral("client"));
        client.endpoint->subscribe(quotes);
        client.ask(LxRecordKind::Quote, Subscribe, { bank });
        QVERIFY(client.waitFor(5));
        client.endpoint.reset();
        const QVector<int> numbers = client.numbers();
        for (int i = 1; i < numbers.size(); ++i)
            QCOMPARE(numbers.at(i), numbers.at(i - 1) + 1);
    }
}

void tst_BusSubscription::malformedRowsAreCounted_data()
{
    QTest::addColumn<QVariant>("kind");
    QTest::addColumn<QVariant>("action");
    QTest::addColumn<QString>("symbol");
    QTest::newRow("kind 0") << QVariant(0) << QVariant(1) << bank;
    QTest::newRow("kind 5") << QVariant(5) << QVariant(1) << bank;
    QTest::newRow("kind is a word") << QVariant(QStringLiteral("quotes")) << QVariant(1) << bank;
    QTest::newRow("no kind") << QVariant() << QVariant(1) << bank;
    QTest::newRow("action 0") << QVariant(1) << QVariant(0) << bank;
    QTest::newRow("action 3") << QVariant(1) << QVariant(3) << bank;
    QTest::newRow("no action") << QVariant(1) << QVariant() << bank;
    QTest::newRow("no symbol") << QVariant(1) << QVariant(1) << QString();
}

void tst_BusSubscription::malformedRowsAreCounted()
{
    QFETCH(QVariant, kind);
    QFETCH(QVariant, action);
    QFETCH(QString, symbol);
    Bus bus;
    Service service(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);

    // Sound rows around the malformed one are carried out.
    CPackMessageCommon pack;
    const auto addRow = [&pack](const QVariant &k, const QVariant &a, const QString &s) {
        pack.AddVaule(QStringLiteral("MDRecordTypes"), k);
        pack.AddVaule(QStringLiteral("ActionType"), a);
        pack.AddVaule(QStringLiteral("Symbol"), s);
    };
    addRow(1, 1, QStringLiteral("before"));
    pack.AddRow();
    addRow(kind, action, symbol);
    pack.AddRow();
    addRow(1, 1, QStringLiteral("behind"));
    client.endpoint->put(LxBusTopics::subscribeRequest, pack.GetPackedMsg(false));

    QCOMPARE(bus.dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(bus.droppedInAll(), quint64(1));
    QVERIFY(!service.port->hasListeners(quotes, symbol));
    QVERIFY(service.port->hasListeners(quotes, QStringLiteral("before")));
    QVERIFY(service.port->hasListeners(quotes, QStringLiteral("behind")));
}

void tst_BusSubscription::foreignBodyIsCounted()
{
    Bus bus;
    Client client(bus, QStringLiteral("client"));
    client.endpoint->put(LxBusTopics::subscribeRequest, QVariant(QStringLiteral("600000.SH")));
    client.endpoint->put(LxBusTopics::subscribeRequest, QVariant());
    QCOMPARE(bus.dropped(LxBusDrop::Malformed), quint64(2));
}

void tst_BusSubscription::emptyRequestIsNoFault()
{
    Bus bus;
    Client client(bus, QStringLiteral("client"));
    client.ask(LxRecordKind::Quote, Subscribe, {});
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_BusSubscription)
#include "tst_bussubscription.moc"
