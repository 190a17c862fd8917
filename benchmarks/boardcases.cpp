// The board's table, measured by a separate program, since it needs Qt Widgets.

#include "benchcase.h"
#include "natspeer.h"
#include "report.h"

#include <natsbroker.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

namespace {

constexpr int TimeoutMs = 120000;

QVector<BenchRow> measure(const QString &what, const QStringList &arguments = {})
{
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QStringLiteral(LX_BOARD_BENCH), QStringList(what) + arguments);
    if (!program.waitForFinished(TimeoutMs) || program.exitStatus() != QProcess::NormalExit)
        qFatal("%s failed", LX_BOARD_BENCH);
    QVector<BenchRow> rows;
    for (const QJsonValue &row : QJsonDocument::fromJson(program.readAllStandardOutput()).array())
        rows.append(Report::fromJson(row.toObject()));
    return rows;
}

} // namespace

QVector<BenchRow> board()
{
    return measure(QStringLiteral("board")) + measure(QStringLiteral("plain"));
}

QVector<BenchRow> sortedBoard()
{
    return measure(QStringLiteral("board-sorted")) + measure(QStringLiteral("plain-sorted"));
}

QVector<BenchRow> startOfTheBoard()
{
    NatsBroker broker;
    if (!broker.start())
        qFatal("no broker: %s", broker.log().constData());
    // Has published a quote of each symbol before the boards start.
    NatsBench::Peer market(QStringLiteral("bus-quotes"), broker.url());
    market.begin("publish", NatsBench::Symbols);
    market.sent(NatsBench::Symbols);
    QVector<BenchRow> rows;
    for (const int symbols : { 200, NatsBench::Symbols })
        rows += measure(QStringLiteral("start"), { QString::number(symbols), broker.url() });
    return rows;
}
