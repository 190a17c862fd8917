#pragma once

#include "recordsource.h"

#include <QProcess>
#include <QString>

#include <vector>

/// The other end of a bus through a broker, in another process: publishes records on command, and answers requests. It
/// uses either the bus of the platform or the bare C client.
///
/// Commands are lines on its standard input: "publish N" at full speed, or "pace N" at NatsBench::RecordsPerSecond. The
/// answer to each is the N times (Measure::nowNs(), binary) at which the records were sent.
namespace NatsBench {

constexpr int Symbols = 5000;
constexpr int RecordsPerSecond = 20000;

const char barePrefix[] = "bare.md.";
/// Subjects of the broker's streams, of symbols that the library does not read.
const char bareQuotePrefix[] = "lx.md.MDMARKETRECORD.bare.";
const char bareTickPrefix[] = "lx.md.MDTRANSACTIONRECORD.bare.";
const char bareRequest[] = "bare.rq";
const QString requestType = QStringLiteral("BenchRequest");

/// Runs the peer in this process until its standard input ends. `role` is "bus" or "bare"; followed by "-atonce", it
/// sends each record immediately, by "-quotes" or "-ticks", it publishes quotes or transactions to the broker's
/// streams.
int runPeer(const QString &role, const QString &url);

/// A peer in a process of its own, which must be lxbench; ends with the object.
class Peer
{
public:
    /// Returns once the peer has joined the bus.
    Peer(const QString &role, const QString &url);
    ~Peer();
    Q_DISABLE_COPY(Peer)

    void begin(const char *what, int count);
    /// Waits for the answer to begin(): the times at which the records were sent.
    std::vector<qint64> sent(int count);

private:
    QProcess m_process;
};

/// The encoded records, for the bare client to send.
std::vector<QByteArray> wireRecords(const RecordSource &source);

} // namespace NatsBench
