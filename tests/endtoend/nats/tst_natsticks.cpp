#include "busprocess.h"
#include "cutproxy.h"
#include "rawnats.h"

#include <natsbroker.h>

#include <QtTest>

namespace {

const QString ok = QStringLiteral("ok");
const QString symbols = QStringLiteral("1.SH 2.SZ");

QString heardBy(BusProcess &process)
{
    return process.call(QStringLiteral("heard reader"));
}

// What a reader of the symbols has heard if it has heard everything.
QString all(int last)
{
    return QStringLiteral("1.SH:1-%1/%1 2.SZ:1-%1/%1").arg(last);
}

} // namespace

/// No transaction is missing for a client that was away, joined late, or saw its publisher die.
class tst_NatsTicks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void lateJoinerMissesNothing();
    void joinerDuringTheStreamMissesNothing();
    void successorContinues();
    void pausedClientMissesNothing();
    void disconnectedClientMissesNothing();
    void ordersAreKeptToo();
    void daysBeforeThePreviousOneAreForgotten();
    void recordOfAnotherKindInTheStreamIsSkipped();

private:
    void subscribe(BusProcess &client, const char *topic = "MDTRANSACTIONRECORD 2")
    {
        QCOMPARE(client.call(QStringLiteral("client reader %1 %2").arg(QLatin1String(topic), symbols)), ok);
    }
    void publish(BusProcess &publisher, int first, int last, const char *topic = "MDTRANSACTIONRECORD")
    {
        QCOMPARE(publisher.call(QStringLiteral("publish %1 %2 %3 %4")
                                    .arg(QLatin1String(topic), QString::number(first), QString::number(last), symbols)),
                 QStringLiteral("ok %1").arg(2 * (last - first + 1)));
    }
    void await(BusProcess &client, int last)
    {
        QCOMPARE(client.call(QStringLiteral("await reader %1 %2").arg(last).arg(symbols)), ok);
    }

    std::unique_ptr<NatsBroker> m_broker;
};

void tst_NatsTicks::init()
{
    // A client that does not read is disconnected soon.
    m_broker = std::make_unique<NatsBroker>("max_pending: 1MB\nwrite_deadline: \"1s\"\n");
    QVERIFY2(m_broker->start(), m_broker->log().constData());
}

void tst_NatsTicks::lateJoinerMissesNothing()
{
    constexpr int Last = 500;
    {
        BusProcess publisher(m_broker->url());
        publish(publisher, 1, Last);
        publisher.signal(SIGKILL); // what has been flushed is stored
    }
    m_broker->kill();
    QVERIFY2(m_broker->start(), m_broker->log().constData());
    BusProcess late(m_broker->url());
    subscribe(late);
    await(late, Last);
    QCOMPARE(heardBy(late), all(Last));
    QVERIFY(late.dropped().isEmpty());
    QCOMPARE(late.quit(), 0);
}

void tst_NatsTicks::joinerDuringTheStreamMissesNothing()
{
    BusProcess publisher(m_broker->url());
    BusProcess first(m_broker->url());
    subscribe(first);
    QCOMPARE(publisher.call(QStringLiteral("feed MDTRANSACTIONRECORD ") + symbols), ok);
    QCOMPARE(first.call(QStringLiteral("count reader 1000")), ok);
    BusProcess late(m_broker->url());
    subscribe(late);
    QCOMPARE(late.call(QStringLiteral("count reader 1500")), ok);
    const int last = publisher.call(QStringLiteral("halt")).section(QLatin1Char(' '), 1).toInt();
    for (BusProcess *client : { &first, &late }) {
        await(*client, last);
        QCOMPARE(heardBy(*client), all(last));
        QVERIFY(client->dropped().isEmpty());
        QCOMPARE(client->quit(), 0);
    }
    QVERIFY(publisher.dropped().isEmpty());
    QCOMPARE(publisher.quit(), 0);
}

void tst_NatsTicks::successorContinues()
{
    constexpr int First = 1000001; // of the successor
    constexpr int Last = 1000200;
    BusProcess client(m_broker->url());
    subscribe(client);
    {
        BusProcess publisher(m_broker->url());
        QCOMPARE(publisher.call(QStringLiteral("feed MDTRANSACTIONRECORD ") + symbols), ok);
        QCOMPARE(client.call(QStringLiteral("count reader 500")), ok);
        publisher.signal(SIGKILL);
    }
    BusProcess successor(m_broker->url());
    publish(successor, First, Last);
    await(client, Last);
    BusProcess late(m_broker->url());
    subscribe(late);
    await(late, Last);
    // The stream has what the first publisher has sent, and the clients have the same.
    const QMap<QString, BusProcess::Heard> heard = client.heard(QStringLiteral("reader"));
    QCOMPARE(heardBy(client), heardBy(late));
    QCOMPARE(heard.size(), 2);
    for (const BusProcess::Heard &one : heard) {
        QCOMPARE(one.first, 1);
        QCOMPARE(one.last, Last);
        QVERIFY(one.inOrder);
        QVERIFY(one.count >= Last - First + 1 + 200);
    }
    for (BusProcess *process : { &client, &late, &successor }) {
        QVERIFY(process->dropped().isEmpty());
        QCOMPARE(process->quit(), 0);
    }
}

void tst_NatsTicks::pausedClientMissesNothing()
{
    constexpr int Bursts = 3;
    constexpr int BytesOfEach = 5000000; // more than the sockets and the broker hold for a client
    BusProcess publisher(m_broker->url());
    BusProcess paused(m_broker->url());
    subscribe(paused);
    publish(publisher, 0, 0);
    await(paused, 0);

    paused.signal(SIGSTOP);
    int last = 0;
    for (int i = 0; i < Bursts; ++i) {
        last = publisher.call(QStringLiteral("bulk MDTRANSACTIONRECORD %1 1.SH").arg(BytesOfEach))
                   .section(QLatin1Char(' '), 1)
                   .toInt();
        QCOMPARE(publisher.call(QStringLiteral("flush")), ok);
    }
    QTRY_VERIFY_WITH_TIMEOUT(m_broker->log().contains("Slow Consumer"), 30000);
    paused.signal(SIGCONT);

    QCOMPARE(paused.call(QStringLiteral("await reader %1 1.SH").arg(last)), ok);
    const BusProcess::Heard heard = paused.heard(QStringLiteral("reader")).value(QStringLiteral("1.SH"));
    QCOMPARE(heard.count, last + 1);
    QCOMPARE(heard.last, last);
    QVERIFY(heard.inOrder);
    for (BusProcess *process : { &publisher, &paused }) {
        QVERIFY(process->dropped().isEmpty());
        QCOMPARE(process->quit(), 0);
    }
}

void tst_NatsTicks::disconnectedClientMissesNothing()
{
    CutProxy proxy(m_broker->port());
    BusProcess publisher(m_broker->url());
    BusProcess client(QStringLiteral("nats://127.0.0.1:%1").arg(proxy.port()));
    subscribe(client);
    publish(publisher, 1, 100);
    await(client, 100);
    proxy.cut();
    publish(publisher, 101, 600); // and nothing afterwards
    proxy.mend();
    await(client, 600);
    QCOMPARE(heardBy(client), all(600));

    // The publisher's connection fails, too: it publishes what was not acknowledged again.
    CutProxy other(m_broker->port());
    BusProcess cutPublisher(QStringLiteral("nats://127.0.0.1:%1").arg(other.port()));
    QCOMPARE(cutPublisher.call(QStringLiteral("feed MDTRANSACTIONRECORD 3.SH")), ok);
    QCOMPARE(client.call(QStringLiteral("client third MDTRANSACTIONRECORD 2 3.SH")), ok);
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(client.call(QStringLiteral("more third 500")), ok);
        other.cut();
        other.mend();
    }
    const int last = cutPublisher.call(QStringLiteral("halt")).section(QLatin1Char(' '), 1).toInt();
    QCOMPARE(client.call(QStringLiteral("await third %1 3.SH").arg(last)), ok);
    QCOMPARE(client.call(QStringLiteral("heard third")), QStringLiteral("3.SH:1-%1/%1").arg(last));
    for (BusProcess *process : { &client, &publisher, &cutPublisher }) {
        QVERIFY(process->dropped().isEmpty());
        QCOMPARE(process->quit(), 0);
    }
}

void tst_NatsTicks::ordersAreKeptToo()
{
    BusProcess publisher(m_broker->url());
    publish(publisher, 1, 20, "MDORDERRECORD");
    BusProcess late(m_broker->url());
    subscribe(late, "MDORDERRECORD 3");
    await(late, 20);
    QCOMPARE(heardBy(late), all(20));
}

void tst_NatsTicks::daysBeforeThePreviousOneAreForgotten()
{
    BusProcess publisher(m_broker->url());
    for (int day = 0; day < 3; ++day) {
        QCOMPARE(publisher.call(QStringLiteral("day")), ok);
        publish(publisher, 10 * day + 1, 10 * day + 10);
    }
    BusProcess late(m_broker->url());
    subscribe(late);
    await(late, 30);
    QCOMPARE(heardBy(late), QStringLiteral("1.SH:11-30/20 2.SZ:11-30/20"));
    QVERIFY(late.dropped().isEmpty());
}

void tst_NatsTicks::recordOfAnotherKindInTheStreamIsSkipped()
{
    BusProcess publisher(m_broker->url());
    publish(publisher, 1, 10);
    RawNats administrator(m_broker->url());
    administrator.publish("lx.md.MDTRANSACTIONRECORD.1.SH", "anything");
    QVERIFY(administrator.flush());
    publish(publisher, 11, 20);
    BusProcess late(m_broker->url());
    subscribe(late);
    await(late, 20);
    QCOMPARE(heardBy(late), all(20));
    QCOMPARE(late.dropped(), (QMap<QString, int> { { QStringLiteral("malformed"), 1 } }));
}

QTEST_GUILESS_MAIN(tst_NatsTicks)
#include "tst_natsticks.moc"
