#include "buslinks.h"

using namespace BusTesting;

// Market records: subscriptions by symbol and kind, and the latest record for clients that subscribe later.
class tst_BusSubscription : public LinkTest
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
    QTest::addColumn<int>("kind"); // asked for, of 600000.SH; 0: nothing
    QTest::addColumn<QString>("published"); // the topic
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

    Bus bus({}, url());
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(subscribed);
    if (kind != 0)
        client.ask(static_cast<LxRecordKind>(kind), Subscribe, { bank });
    QCOMPARE(publisher.port->hasListeners(published, symbol), heard || !isLocal());
    QCOMPARE(publisher.publish(published, symbol, 1), accepted(heard ? 1 : 0));
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), heard ? QVector<int> { 1 } : QVector<int>());

    if (kind != 0)
        client.ask(static_cast<LxRecordKind>(kind), Unsubscribe, { bank });
    QCOMPARE(publisher.port->hasListeners(published, symbol), !isLocal());
    QCOMPARE(publisher.publish(published, symbol, 2), accepted(0));
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), heard ? QVector<int> { 1 } : QVector<int>());
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusSubscription::oneRequestSubscribesManySymbols()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { bank, other });
    QCOMPARE(publisher.publish(quotes, bank, 1), 1);
    QCOMPARE(publisher.publish(quotes, other, 2), 1);
    QVERIFY(publisher.flush());
    client.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(publisher.publish(quotes, bank, 3), accepted(0));
    QCOMPARE(publisher.publish(quotes, other, 4), 1);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 1, 2, 4 }));
}

void tst_BusSubscription::subscriptionsAreCountedPerEndpoint()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client shared(bus, QStringLiteral("shared"));
    Client single(bus, QStringLiteral("single"));
    for (Client *client : { &shared, &single })
        client->endpoint->subscribe(quotes);

    // Duplicates within one request count as well.
    shared.ask(LxRecordKind::Quote, Subscribe, { bank, bank });
    shared.ask(LxRecordKind::Quote, Subscribe, { bank });
    single.ask(LxRecordKind::Quote, Subscribe, { bank });
    QCOMPARE(publisher.publish(quotes, bank, 1), accepted(2));
    QVERIFY(publisher.flush());
    single.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(publisher.publish(quotes, bank, 2), 1);
    QVERIFY(publisher.flush());
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    QCOMPARE(publisher.publish(quotes, bank, 3), accepted(0));
    QVERIFY(publisher.flush());
    QCOMPARE(shared.numbers(), (QVector<int> { 1, 2 }));
    QCOMPARE(single.numbers(), QVector<int> { 1 });

    // An unsubscription too many does not cancel a later subscription.
    shared.ask(LxRecordKind::Quote, Unsubscribe, { bank });
    shared.ask(LxRecordKind::Quote, Subscribe, { bank });
    QCOMPARE(publisher.publish(quotes, bank, 4), 1);
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusSubscription::closedEndpointLosesItsSubscriptions()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    Client stays(bus, QStringLiteral("stays"));
    auto leaves = std::make_unique<Client>(bus, QStringLiteral("leaves"));
    for (Client *client : { &stays, leaves.get() }) {
        client->endpoint->subscribe(quotes);
        client->ask(LxRecordKind::Quote, Subscribe, { bank, bank });
    }
    leaves->ask(LxRecordKind::Quote, Subscribe, { other });
    leaves.reset();
    QCOMPARE(publisher.port->hasListeners(quotes, other), !isLocal());
    QCOMPARE(publisher.publish(quotes, bank, 1), 1);

    // A new endpoint with the same address does not inherit the subscriptions.
    Client heir(bus, QStringLiteral("leaves"));
    heir.endpoint->subscribe(quotes);
    QCOMPARE(publisher.publish(quotes, bank, 2), 1);
    QVERIFY(publisher.flush());
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
    Bus bus({}, url());
    Publisher publisher(bus);
    QCOMPARE(publisher.publish(quotes, bank, 1), accepted(0));
    QCOMPARE(publisher.publish(quotes, bank, 2), accepted(0));
    QCOMPARE(publisher.publish(quotes, other, 3), accepted(0));

    Client client(bus, QStringLiteral("client"));
    if (topicFirst)
        client.endpoint->subscribe(quotes);
    client.ask(LxRecordKind::Quote, Subscribe, { bank, QStringLiteral("never published") });
    if (!topicFirst)
        client.endpoint->subscribe(quotes);
    QVERIFY(client.waitFor(1));
    QCOMPARE(client.heard().constFirst().topic, quotes);

    // A second subscription delivers nothing new; a subscription after unsubscribing delivers the latest record again.
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), QVector<int> { 2 });
    client.ask(LxRecordKind::Quote, Unsubscribe, { bank, bank });
    publisher.publish(quotes, bank, 4);
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(client.waitFor(2));
    QCOMPARE(client.numbers(), (QVector<int> { 2, 4 }));
    // A second client receives only the latest record.
    Client second(bus, QStringLiteral("second"));
    second.endpoint->subscribe(quotes);
    second.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(second.waitFor(1));
    publisher.publish(quotes, bank, 5);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 2, 4, 5 }));
    QCOMPARE(second.numbers(), (QVector<int> { 4, 5 }));
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_BusSubscription::latestRecordOfEachTopicOfTheKind()
{
    Bus bus({}, url());
    Publisher publisher(bus);
    publisher.publish(quotes, bank, 1);
    publisher.publish(QStringLiteral("MDINDEXRECORD"), bank, 2);
    publisher.publish(QStringLiteral("MDFUTURERECORD"), bank, 3);
    publisher.publish(QStringLiteral("MDTRANSACTIONRECORD"), bank, 4);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);
    client.endpoint->subscribe(QStringLiteral("MDINDEXRECORD"));
    client.endpoint->subscribe(QStringLiteral("MDTRANSACTIONRECORD"));
    client.ask(LxRecordKind::Quote, Subscribe, { bank });
    QVERIFY(client.waitFor(2));
    QVERIFY(publisher.flush());
    QVector<int> numbers = client.numbers();
    std::sort(numbers.begin(), numbers.end());
    QCOMPARE(numbers, (QVector<int> { 1, 2 }));
}

void tst_BusSubscription::latestRecordKeepsItsPlaceInTheStream()
{
    constexpr int Rounds = 200;
    Bus bus({}, url());
    Publisher publisher(bus);
    publisher.publish(quotes, bank, 0);

    std::atomic<bool> stop { false };
    Threads threads;
    threads.run([&] {
        for (int number = 1; !stop; ++number)
            publisher.publish(quotes, bank, number);
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
    Bus bus({}, url());
    Publisher publisher(bus);
    Client client(bus, QStringLiteral("client"));
    client.endpoint->subscribe(quotes);

    // The valid rows around the malformed one are executed.
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
    addRow(1, 1, QStringLiteral("after"));
    client.endpoint->put(LxBusTopics::subscribeRequest, pack.GetPackedMsg(false));

    QCOMPARE(bus.dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(bus.totalDropped(), quint64(1));
    publisher.publish(quotes, symbol, 1);
    publisher.publish(quotes, QStringLiteral("before"), 2);
    publisher.publish(quotes, QStringLiteral("after"), 3);
    QVERIFY(publisher.flush());
    QCOMPARE(client.numbers(), (QVector<int> { 2, 3 }));
}

void tst_BusSubscription::foreignBodyIsCounted()
{
    Bus bus({}, url());
    Client client(bus, QStringLiteral("client"));
    client.endpoint->put(LxBusTopics::subscribeRequest, QVariant(QStringLiteral("600000.SH")));
    client.endpoint->put(LxBusTopics::subscribeRequest, QVariant());
    QCOMPARE(bus.dropped(LxBusDrop::Malformed), quint64(2));
}

void tst_BusSubscription::emptyRequestIsNoFault()
{
    Bus bus({}, url());
    Client client(bus, QStringLiteral("client"));
    client.ask(LxRecordKind::Quote, Subscribe, {});
    QCOMPARE(bus.totalDropped(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_BusSubscription)
#include "tst_bussubscription.moc"
