#include "busprocess.h"
#include "rawnats.h"

#include <natsbroker.h>

#include <QtTest>

#include <numeric>

namespace {

const QString ok = QStringLiteral("ok");

// A reader in a process of its own or a shared one.
struct Reader
{
    BusProcess *process;
    QString name;
    QString symbols;
};

} // namespace

/// The broker is killed while records flow. LX_TEST_KILLS in the environment says how often.
class tst_NatsRestarts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyClientResumes();
    void whatTheConnectionCannotHoldIsCounted();
};

void tst_NatsRestarts::everyClientResumes()
{
    const int kills = qEnvironmentVariable("LX_TEST_KILLS", QStringLiteral("20")).toInt();
    constexpr int RecordsBetween = 300;
    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log().constData());
    BusProcess publisher(broker.url());
    BusProcess clients[3] = { BusProcess(broker.url()), BusProcess(broker.url()), BusProcess(broker.url()) };
    const QVector<Reader> readers {
        { &clients[0], QStringLiteral("few"), QStringLiteral("1.SH 2.SH") },
        { &clients[0], QStringLiteral("others"), QStringLiteral("2.SH 3.SZ 4.SZ") },
        { &clients[1], QStringLiteral("all"), QStringLiteral("1.SH 2.SH 3.SZ 4.SZ 5.SZ") },
        { &clients[2], QStringLiteral("one"), QStringLiteral("5.SZ") },
    };
    for (const Reader &reader : readers) {
        QCOMPARE(reader.process->call(QStringLiteral("client %1 MDMARKETRECORD 1 %2").arg(reader.name, reader.symbols)),
                 ok);
        QCOMPARE(reader.process->call(
                     QStringLiteral("client %1-ticks MDTRANSACTIONRECORD 2 %2").arg(reader.name, reader.symbols)),
                 ok);
    }
    QCOMPARE(publisher.call(QStringLiteral("feed MDMARKETRECORD,MDTRANSACTIONRECORD 1.SH 2.SH 3.SZ 4.SZ 5.SZ")), ok);

    const auto everyoneHearsMore = [&readers] {
        for (const Reader &reader : readers)
            QCOMPARE(reader.process->call(QStringLiteral("more %1 %2").arg(reader.name).arg(RecordsBetween)), ok);
    };
    for (int i = 0; i < kills; ++i) {
        everyoneHearsMore();
        broker.kill();
        QVERIFY2(broker.start(), broker.log().constData());
    }
    everyoneHearsMore();

    const QString halted = publisher.call(QStringLiteral("halt"));
    QVERIFY2(halted.startsWith(ok), qPrintable(halted));
    const int last = halted.section(QLatin1Char(' '), 1).toInt();
    QMap<BusProcess *, QMap<QString, int>> missing; // the readers of a process miss the same records
    for (const Reader &reader : readers) {
        QCOMPARE(reader.process->call(QStringLiteral("await %1 %2 %3").arg(reader.name).arg(last).arg(reader.symbols)),
                 ok);
        const QMap<QString, BusProcess::Heard> heard = reader.process->heard(reader.name);
        QCOMPARE(QStringList(heard.keys()), reader.symbols.split(QLatin1Char(' ')));
        for (auto one = heard.cbegin(); one != heard.cend(); ++one) {
            QCOMPARE(one->first, 1);
            QCOMPARE(one->last, last);
            QVERIFY(one->inOrder);
            QMap<QString, int> &ofProcess = missing[reader.process];
            QCOMPARE(ofProcess.value(one.key(), last - one->count), last - one->count);
            ofProcess.insert(one.key(), last - one->count);
        }
    }
    // Each transaction is announced once and in order.
    for (const Reader &reader : readers) {
        const QString name = reader.name + QStringLiteral("-ticks");
        QCOMPARE(reader.process->call(QStringLiteral("await %1 %2 %3").arg(name).arg(last).arg(reader.symbols)), ok);
        const QMap<QString, BusProcess::Heard> heard = reader.process->heard(name);
        QCOMPARE(QStringList(heard.keys()), reader.symbols.split(QLatin1Char(' ')));
        for (const BusProcess::Heard &one : heard) {
            QCOMPARE(one.first, 1);
            QCOMPARE(one.last, last);
            QCOMPARE(one.count, last);
            QVERIFY(one.inOrder);
        }
    }
    // The broker has each of them once, although some were published again.
    RawNats administrator(broker.url());
    administrator.listen("lx.in.any.administrator");
    administrator.publish("$JS.API.STREAM.INFO.LX_TICKS", QByteArray(), "lx.in.any.administrator");
    RawNats::Message info;
    QVERIFY(administrator.next(&info));
    QVERIFY2(info.bytes.contains("\"messages\":" + QByteArray::number(5 * last) + ','), info.bytes.constData());
    // No quote is missing that has not been counted, and nothing else is.
    for (BusProcess &client : clients) {
        const QMap<QString, int> dropped = client.dropped();
        const QList<int> counts = missing.value(&client).values();
        const int lost = std::accumulate(counts.cbegin(), counts.cend(), 0);
        QCOMPARE(dropped.value(QStringLiteral("lost")), lost);
        QCOMPARE(dropped.size(), lost > 0 ? 1 : 0);
        QCOMPARE(client.call(QStringLiteral("reconnected %1").arg(kills)), ok);
        QCOMPARE(client.quit(), 0);
    }
    // A connection that breaks may refuse a few before it holds them back.
    const QMap<QString, int> dropped = publisher.dropped();
    QCOMPARE(dropped.size(), dropped.contains(QStringLiteral("notsent")) ? 1 : 0);
    QCOMPARE(publisher.quit(), 0);
}

void tst_NatsRestarts::whatTheConnectionCannotHoldIsCounted()
{
    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log().constData());
    BusProcess publisher(broker.url());
    BusProcess client(broker.url());
    QCOMPARE(client.call(QStringLiteral("client reader MDMARKETRECORD 1 1.SH")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 0 0 1.SH")), QStringLiteral("ok 1"));
    QCOMPARE(client.call(QStringLiteral("await reader 0 1.SH")), ok);
    broker.kill();
    const QString published = publisher.call(QStringLiteral("bulk MDMARKETRECORD 12000000 1.SH"));
    const int last = published.section(QLatin1Char(' '), 1).toInt();
    const int notSent = publisher.dropped().value(QStringLiteral("notsent"));
    QVERIFY2(notSent > 0 && notSent < last, qPrintable(QString::number(notSent)));
    QVERIFY2(broker.start(), broker.log().constData());
    QCOMPARE(client.call(QStringLiteral("await reader %1 1.SH").arg(last)), ok);
    const BusProcess::Heard heard = client.heard(QStringLiteral("reader")).value(QStringLiteral("1.SH"));
    QVERIFY(heard.inOrder);
    QCOMPARE(client.dropped().value(QStringLiteral("lost")), last + 1 - heard.count);
    QCOMPARE(publisher.dropped(), (QMap<QString, int> { { QStringLiteral("notsent"), notSent } }));
    QCOMPARE(client.quit(), 0);
    QCOMPARE(publisher.quit(), 0);
}

QTEST_GUILESS_MAIN(tst_NatsRestarts)
#include "tst_natsrestarts.moc"
