#pragma once

#include <QString>

#include <vector>

class QProcess;

/// The other end of a bus through a broker, in a process of its own: publishes records when it is told to, and answers
/// requests. It speaks either through the bus of the platform or with the bare C client.
///
/// Obeys lines on its standard input: "publish N" at full speed, or "pace N" at NatsBench::RecordsPerSecond, each
/// answered by the N times (Measure::nowNs(), binary) at which a record was handed over.
namespace NatsBench {

constexpr int Symbols = 5000;
constexpr int RecordsPerSecond = 20000;

const char barePrefix[] = "bare.md.";
const char bareRequest[] = "bare.rq";
const QString requestType = QStringLiteral("BenchRequest");

/// Runs the peer in this process until its standard input ends. `role` is "bus" or "bare".
int runPeer(const QString &role, const QString &url);

/// The wire bytes of the records, for the bare client to carry.
std::vector<QByteArray> wireRecords();

} // namespace NatsBench
