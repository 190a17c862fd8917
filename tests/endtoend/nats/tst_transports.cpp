#include <market.h>
#include <natsbroker.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int PatienceMs = 120000;

QList<QByteArray> linesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
}

void start(QProcess *program, const QStringList &arguments)
{
    program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program->start(QStringLiteral(LX_ANNOUNCEMENTS), arguments);
}

bool ended(QProcess *program)
{
    return program->waitForFinished(PatienceMs) && program->exitStatus() == QProcess::NormalExit
        && program->exitCode() == 0;
}

} // namespace

/// The library makes the same announcements, record by record, on both links of the bus.
class tst_Transports : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void announcementsAreTheSame();
};

void tst_Transports::announcementsAreTheSame()
{
    // Every kind of record that there is.
    const QStringList recordings { QStringLiteral("stock_snapshots_20230202.csv.gz"),
                                   QStringLiteral("index_snapshots_20181203_20190201.csv.gz"),
                                   QStringLiteral("future_snapshots_20210104.csv.gz"),
                                   QStringLiteral("transactions_20230202.csv.gz"),
                                   QStringLiteral("orders_20230201.csv.gz") };
    const RecordingFolder folder(recordings);
    const QTemporaryDir results;
    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log().constData());

    const QString within = results.filePath(QStringLiteral("within"));
    QProcess inproc;
    start(&inproc, { QStringLiteral("inproc:"), folder.path(), within, QStringLiteral("local") });
    QVERIFY(ended(&inproc));
    const QList<QByteArray> expected = linesOf(within);
    QVERIFY(expected.size() > 100000);

    const QString through = results.filePath(QStringLiteral("through"));
    QProcess client;
    start(&client, { broker.url(), folder.path(), through, QStringLiteral("remote") });
    while (!client.canReadLine())
        QVERIFY(client.waitForReadyRead(PatienceMs));
    QCOMPARE(client.readLine(), QByteArray("ready\n"));
    QProcess service;
    start(&service, { broker.url(), folder.path(), QString(), QStringLiteral("replay") });
    QVERIFY(ended(&service));
    client.write("the replay has ended\n");
    QVERIFY(ended(&client));

    const QList<QByteArray> actual = linesOf(through);
    for (int i = 0; i < qMin(actual.size(), expected.size()); ++i)
        QCOMPARE(actual.at(i), expected.at(i));
    QCOMPARE(actual.size(), expected.size());
}

QTEST_GUILESS_MAIN(tst_Transports)
#include "tst_transports.moc"
