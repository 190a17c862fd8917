#include "busprocess.h"
#include "rawnats.h"

#include <bustesting.h>
#include <natsbroker.h>

#include <QtTest>

using namespace BusTesting;

namespace {

const QString ok = QStringLiteral("ok");

// "SYMBOL:FIRST-LAST/COUNT"
QString heardBy(BusProcess &process, const QString &reader)
{
    return process.call(QStringLiteral("heard ") + reader);
}

} // namespace

/// Clients that subscribe later or reconnect receive the latest record; a client receives no record that it has not
/// subscribed to.
class tst_NatsRecap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void lateSubscriberGetsTheLatestFromAnotherProcess();
    void publisherNeedNotBeAlive();
    void wholeMarketIsCurrentAtOnce();
    void silentPublisherIsCurrentAfterARestart_data();
    void silentPublisherIsCurrentAfterARestart();
    void eachSymbolIsAnsweredOnce();
    void wholeMarketByOneSubject();
    void readerReceivesOnlyItsSymbols();
    void whoHasTheLatestGetsItOnce();

private:
    std::unique_ptr<NatsBroker> m_broker;
};

void tst_NatsRecap::init()
{
    m_broker = std::make_unique<NatsBroker>();
    QVERIFY2(m_broker->start(), m_broker->log().constData());
}

void tst_NatsRecap::lateSubscriberGetsTheLatestFromAnotherProcess()
{
    BusProcess publisher(m_broker->url());
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 5 600519.SH 000001.SZ")), QStringLiteral("ok 10"));
    BusProcess client(m_broker->url());
    QCOMPARE(client.call(QStringLiteral("client late MDMARKETRECORD 1 600519.SH")), ok);
    QCOMPARE(client.call(QStringLiteral("await late 5 600519.SH")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 6 7 600519.SH 000001.SZ")), QStringLiteral("ok 4"));
    QCOMPARE(client.call(QStringLiteral("await late 7 600519.SH")), ok);
    QCOMPARE(heardBy(client, QStringLiteral("late")), QStringLiteral("600519.SH:5-7/3"));
    QVERIFY(client.dropped().isEmpty());
    QCOMPARE(client.quit(), 0);
    QCOMPARE(publisher.quit(), 0);
}

void tst_NatsRecap::publisherNeedNotBeAlive()
{
    {
        BusProcess publisher(m_broker->url());
        QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 5 600519.SH")), QStringLiteral("ok 5"));
        publisher.signal(SIGKILL);
    }
    BusProcess client(m_broker->url());
    QCOMPARE(client.call(QStringLiteral("client late MDMARKETRECORD 1 600519.SH 000001.SZ")), ok);
    QCOMPARE(client.call(QStringLiteral("await late 5 600519.SH")), ok);
    // A successor's records are newer, although their numbers are smaller.
    BusProcess successor(m_broker->url());
    QCOMPARE(successor.call(QStringLiteral("publish MDMARKETRECORD 6 6 600519.SH")), QStringLiteral("ok 1"));
    QCOMPARE(client.call(QStringLiteral("await late 6 600519.SH")), ok);
    QCOMPARE(heardBy(client, QStringLiteral("late")), QStringLiteral("600519.SH:5-6/2"));
    QVERIFY(client.dropped().isEmpty());
}

void tst_NatsRecap::wholeMarketIsCurrentAtOnce()
{
    constexpr int Symbols = 5000;
    QStringList symbols;
    for (int i = 0; i < Symbols; ++i)
        symbols.append(QStringLiteral("%1.SH").arg(600000 + i));
    const QString all = symbols.join(QLatin1Char(' '));
    BusProcess publisher(m_broker->url());
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 1 ") + all), QStringLiteral("ok %1").arg(Symbols));
    BusProcess client(m_broker->url());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(client.call(QStringLiteral("client reader MDMARKETRECORD 1 ") + all), ok);
    QCOMPARE(client.call(QStringLiteral("count reader %1").arg(Symbols)), ok);
    qInfo("%d symbols after %lld ms", Symbols, timer.elapsed());
    QCOMPARE(client.heard(QStringLiteral("reader")).size(), Symbols);
    QVERIFY(client.dropped().isEmpty());
}

void tst_NatsRecap::silentPublisherIsCurrentAfterARestart_data()
{
    QTest::addColumn<bool>("publisherFirst");
    QTest::newRow("client first") << false;
    QTest::newRow("publisher first") << true;
}

void tst_NatsRecap::silentPublisherIsCurrentAfterARestart()
{
    QFETCH(bool, publisherFirst);

    BusProcess publisher(m_broker->url());
    BusProcess client(m_broker->url());
    BusProcess *const first = publisherFirst ? &publisher : &client;
    BusProcess *const last = publisherFirst ? &client : &publisher;
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 1 600519.SH")), QStringLiteral("ok 1"));
    QCOMPARE(client.call(QStringLiteral("client reader MDMARKETRECORD 1 600519.SH")), ok);
    QCOMPARE(client.call(QStringLiteral("await reader 1 600519.SH")), ok);

    // Records are published while the client is disconnected, and none afterwards.
    client.signal(SIGSTOP);
    m_broker->kill();
    QVERIFY2(m_broker->start(), m_broker->log().constData());
    QCOMPARE(publisher.call(QStringLiteral("reconnected 1")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 2 4 600519.SH")), QStringLiteral("ok 3"));
    publisher.signal(SIGSTOP);
    m_broker->kill();
    QVERIFY2(m_broker->start(), m_broker->log().constData());
    first->signal(SIGCONT);
    QCOMPARE(first->call(QStringLiteral("reconnected %1").arg(first == &client ? 1 : 2)), ok);
    last->signal(SIGCONT);

    QCOMPARE(client.call(QStringLiteral("await reader 4 600519.SH")), ok);
    QCOMPARE(publisher.call(QStringLiteral("flush")), ok);
    QCOMPARE(client.call(QStringLiteral("flush")), ok);
    QCOMPARE(heardBy(client, QStringLiteral("reader")), QStringLiteral("600519.SH:1-4/2"));
    QCOMPARE(client.dropped(), (QMap<QString, int> { { QStringLiteral("lost"), 2 } }));
    QCOMPARE(client.quit(), 0);
    QCOMPARE(publisher.quit(), 0);
}

void tst_NatsRecap::eachSymbolIsAnsweredOnce()
{
    QStringList symbols;
    for (int i = 0; i < 20; ++i)
        symbols.append(QStringLiteral("%1.SH").arg(600000 + i));
    const QString all = symbols.join(QLatin1Char(' '));
    BusProcess one(m_broker->url());
    BusProcess two(m_broker->url());
    for (BusProcess *publisher : { &one, &two })
        QCOMPARE(publisher->call(QStringLiteral("publish MDMARKETRECORD 1 1 ") + all), QStringLiteral("ok 20"));
    RawNats eavesdropper(m_broker->url());
    eavesdropper.listen("lx.in.any.*.l.>");
    BusProcess client(m_broker->url());
    QCOMPARE(client.call(QStringLiteral("client reader MDMARKETRECORD 1 ") + all), ok);
    QCOMPARE(client.call(QStringLiteral("await reader 1 ") + all), ok);
    // An answer too many would have come before what each of the two says now.
    for (BusProcess *publisher : { &one, &two })
        QCOMPARE(publisher->call(QStringLiteral("flush")), ok);
    const QVector<RawNats::Message> answers = eavesdropper.messages();
    QCOMPARE(answers.size(), symbols.size());
    QSet<QByteArray> subjects;
    for (const RawNats::Message &answer : answers)
        subjects.insert(answer.subject);
    QCOMPARE(subjects.size(), symbols.size());
    for (BusProcess *process : { &client, &one, &two })
        QCOMPARE(process->quit(), 0);
}

void tst_NatsRecap::wholeMarketByOneSubject()
{
    RawNats market(m_broker->url());
    market.listen("lx.md.MDMARKETRECORD.*.SH");
    BusProcess publisher(m_broker->url());
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 3 600519.SH 000001.SZ 600000.SH 300122.SZ")),
             QStringLiteral("ok 12"));
    QCOMPARE(publisher.call(QStringLiteral("publish MDTRANSACTIONRECORD 1 3 600519.SH")), QStringLiteral("ok 3"));
    QList<QByteArray> subjects;
    const QVector<RawNats::Message> messages = market.messages();
    for (const RawNats::Message &message : messages)
        subjects.append(message.subject);
    QList<QByteArray> expected;
    for (int i = 0; i < 3; ++i)
        expected << "lx.md.MDMARKETRECORD.600519.SH"
                 << "lx.md.MDMARKETRECORD.600000.SH";
    QCOMPARE(subjects, expected);
    QCOMPARE(publisher.quit(), 0);
}

void tst_NatsRecap::readerReceivesOnlyItsSymbols()
{
    NatsBroker broker("trace: true\n"); // it logs each message that it sends
    QVERIFY2(broker.start(), broker.log().constData());
    BusProcess publisher(broker.url());
    BusProcess client(broker.url());
    for (const char *reader : { "reader", "twin" })
        QCOMPARE(client.call(QStringLiteral("client %1 MDMARKETRECORD 1 600519.SH").arg(QLatin1String(reader))), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 100 600519.SH 000001.SZ 600000.SH")),
             QStringLiteral("ok 300"));
    for (const char *reader : { "reader", "twin" }) {
        QCOMPARE(client.call(QStringLiteral("await %1 100 600519.SH").arg(QLatin1String(reader))), ok);
        QCOMPARE(heardBy(client, QLatin1String(reader)), QStringLiteral("600519.SH:1-100/100"));
    }
    QCOMPARE(client.quit(), 0);
    QCOMPARE(publisher.quit(), 0);
    broker.kill();
    // Both readers received the same message.
    QCOMPARE(broker.log().count("->> [MSG lx.md."), 100);
    QCOMPARE(broker.log().count("->> [MSG lx.md.MDMARKETRECORD.600519.SH "), 100);
    QCOMPARE(broker.log().count("<<- [PUB lx.md."), 300);
}

void tst_NatsRecap::whoHasTheLatestGetsItOnce()
{
    BusProcess publisher(m_broker->url());
    BusProcess client(m_broker->url());
    QCOMPARE(client.call(QStringLiteral("client reader MDMARKETRECORD 1 600519.SH")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 2 600519.SH")), QStringLiteral("ok 2"));
    QCOMPARE(client.call(QStringLiteral("await reader 2 600519.SH")), ok);
    // Both come back, publish and ask for what the other has: nothing is new.
    m_broker->kill();
    QVERIFY2(m_broker->start(), m_broker->log().constData());
    for (BusProcess *process : { &client, &publisher })
        QCOMPARE(process->call(QStringLiteral("reconnected 1")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 3 3 600519.SH")), QStringLiteral("ok 1"));
    QCOMPARE(client.call(QStringLiteral("await reader 3 600519.SH")), ok);
    QCOMPARE(heardBy(client, QStringLiteral("reader")), QStringLiteral("600519.SH:1-3/3"));
    QVERIFY(client.dropped().isEmpty());
    QCOMPARE(client.quit(), 0);
    QCOMPARE(publisher.quit(), 0);
}

QTEST_GUILESS_MAIN(tst_NatsRecap)
#include "tst_natsrecap.moc"
