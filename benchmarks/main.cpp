#include "natspeer.h"
#include "report.h"

#include <eventdispatcher.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>

namespace {

constexpr int CaseTimeoutMs = 180000;

// Measures the rows of one case in another process.
bool runInProcess(const BenchCase &benchCase, QVector<BenchRow> *rows)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), { QStringLiteral("--case"), benchCase.name });
    if (!process.waitForFinished(CaseTimeoutMs) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return false;
    const QJsonArray measured = QJsonDocument::fromJson(process.readAllStandardOutput()).array();
    for (const QJsonValue &row : measured)
        rows->append(Report::fromJson(row.toObject()));
    return !measured.isEmpty();
}

int runCase(const QString &name)
{
    for (const BenchCase &benchCase : benchCases()) {
        if (benchCase.name != name)
            continue;
        QJsonArray rows;
        const QVector<BenchRow> measured = benchCase.run();
        for (const BenchRow &row : measured)
            rows.append(Report::toJson(row));
        QTextStream(stdout) << QString::fromUtf8(QJsonDocument(rows).toJson());
        return 0;
    }
    QTextStream(stderr) << "lxbench: unknown case " << name << '\n';
    return 2;
}

bool writeJson(const QString &path, const QVector<BenchRow> &rows)
{
    QJsonArray array;
    for (const BenchRow &row : rows)
        array.append(Report::toJson(row));
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(array).toJson()) > 0;
}

} // namespace

int main(int argc, char *argv[])
{
    useUnixEventDispatcher();
    QCoreApplication application(argc, argv);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Measures the system and compares it with baselines that are measured in the same run."));
    parser.addHelpOption();
    const QCommandLineOption filter(QStringLiteral("filter"), QStringLiteral("Run the cases whose names match."),
                                    QStringLiteral("REGEX"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Also write the table to this file."),
                                  QStringLiteral("FILE"));
    const QCommandLineOption list(QStringLiteral("list"), QStringLiteral("List the names of the cases."));
    const QCommandLineOption single(QStringLiteral("case"),
                                    QStringLiteral("Run one case in this process and print its rows as JSON."),
                                    QStringLiteral("NAME"));
    const QCommandLineOption peer(QStringLiteral("peer"), QStringLiteral("Run as the other end of a NATS case."),
                                  QStringLiteral("ROLE"));
    const QCommandLineOption bus(QStringLiteral("bus"), QStringLiteral("The URL of the peer's broker."),
                                 QStringLiteral("URL"));
    parser.addOptions({ filter, json, list, single, peer, bus });
    parser.process(application);

    QTextStream out(stdout);
    if (parser.isSet(list)) {
        for (const BenchCase &benchCase : benchCases())
            out << benchCase.name << '\n';
        return 0;
    }
    if (parser.isSet(peer))
        return NatsBench::runPeer(parser.value(peer), parser.value(bus));
    if (parser.isSet(single))
        return runCase(parser.value(single));

    const QRegularExpression wanted(parser.value(filter));
    if (!wanted.isValid()) {
        QTextStream(stderr) << "lxbench: " << wanted.errorString() << '\n';
        return 2;
    }
    QElapsedTimer clock;
    clock.start();
    QVector<BenchRow> rows;
    bool complete = true;
    Report::printHead(out);
    for (const BenchCase &benchCase : benchCases()) {
        if (!wanted.match(benchCase.name).hasMatch())
            continue;
        QVector<BenchRow> measured;
        if (!runInProcess(benchCase, &measured)) {
            QTextStream(stderr) << "lxbench: case " << benchCase.name << " failed\n";
            complete = false;
        }
        for (const BenchRow &row : std::as_const(measured))
            Report::printRow(out, row);
        rows += measured;
    }
    const auto targets = std::count_if(rows.cbegin(), rows.cend(), [](const BenchRow &row) { return row.hasTarget(); });
    const auto met =
        std::count_if(rows.cbegin(), rows.cend(), [](const BenchRow &row) { return row.hasTarget() && row.isMet(); });
    out << met << " of " << targets << " targets met, in " << clock.elapsed() / 1000 << " s\n";
    if (parser.isSet(json) && !writeJson(parser.value(json), rows)) {
        QTextStream(stderr) << "lxbench: cannot write " << parser.value(json) << '\n';
        return 1;
    }
    return complete ? 0 : 1;
}
