#include "busprocess.h"

#include <natsbroker.h>

#include <QtTest>

namespace {

const QString ok = QStringLiteral("ok");

} // namespace

/// A client that stops reading, while others go on.
class tst_NatsPause : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pausedClientHarmsNobodyAndResumes();
};

void tst_NatsPause::pausedClientHarmsNobodyAndResumes()
{
    // More than the sockets buffer, and more than the broker buffers before it blocks publishers.
    constexpr int Bursts = 4;
    constexpr int BytesOfEach = 20000000;
    // The broker waits this long for the client to read, and blocks a publisher for at most as long.
    NatsBroker broker("write_deadline: \"1s\"\n");
    QVERIFY2(broker.start(), broker.log().constData());
    BusProcess publisher(broker.url());
    BusProcess paused(broker.url());
    BusProcess awake(broker.url());
    for (BusProcess *client : { &paused, &awake })
        QCOMPARE(client->call(QStringLiteral("client reader MDMARKETRECORD 1 1.SH 2.SZ")), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 0 0 1.SH 2.SZ")), QStringLiteral("ok 2"));
    for (BusProcess *client : { &paused, &awake })
        QCOMPARE(client->call(QStringLiteral("await reader 0 1.SH 2.SZ")), ok);

    paused.signal(SIGSTOP);
    int last = 0;
    for (int i = 0; i < Bursts; ++i) {
        const QString published = publisher.call(QStringLiteral("bulk MDMARKETRECORD %1 1.SH").arg(BytesOfEach));
        last = published.section(QLatin1Char(' '), 1).toInt();
        QCOMPARE(awake.call(QStringLiteral("await reader %1 1.SH").arg(last)), ok);
    }
    QVERIFY(last > 50000);
    QTRY_VERIFY_WITH_TIMEOUT(broker.log().contains("Slow Consumer"), 30000);
    BusProcess::Heard heard = awake.heard(QStringLiteral("reader")).value(QStringLiteral("1.SH"));
    QCOMPARE(heard.count, last + 1);
    QVERIFY(heard.inOrder);
    QCOMPARE(awake.dropped(), (QMap<QString, int>()));
    QCOMPARE(publisher.dropped(), (QMap<QString, int>()));

    paused.signal(SIGCONT);
    QCOMPARE(paused.call(QStringLiteral("reconnected 1")), ok);
    QCOMPARE(paused.call(QStringLiteral("await reader %1 1.SH").arg(last)), ok);
    QCOMPARE(publisher.call(QStringLiteral("publish MDMARKETRECORD 1 1 2.SZ")), QStringLiteral("ok 1"));
    QCOMPARE(paused.call(QStringLiteral("await reader 1 2.SZ")), ok);
    heard = paused.heard(QStringLiteral("reader")).value(QStringLiteral("1.SH"));
    QVERIFY(heard.inOrder);
    QVERIFY(heard.count < last + 1);
    QCOMPARE(paused.dropped(), (QMap<QString, int> { { QStringLiteral("lost"), last + 1 - heard.count } }));
    for (BusProcess *process : { &paused, &awake, &publisher })
        QCOMPARE(process->quit(), 0);
}

QTEST_GUILESS_MAIN(tst_NatsPause)
#include "tst_natspause.moc"
