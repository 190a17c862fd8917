#include "benchcase.h"

const QVector<BenchCase> &benchCases()
{
    static const QVector<BenchCase> cases {
        { QStringLiteral("stock-road"), &stockRoad },
        { QStringLiteral("transaction-road"), &transactionRoad },
        { QStringLiteral("decode-map"), &decodeAgainstMap },
        { QStringLiteral("decode-fix"), &decodeAgainstFix },
        { QStringLiteral("allocations"), &allocationsOfAQuote },
        { QStringLiteral("latency"), &latency },
        { QStringLiteral("snapshot"), &snapshots },
        { QStringLiteral("snapshot-worker"), &workerAmongReaders },
        { QStringLiteral("snapshot-total"), &derivedSnapshots },
        { QStringLiteral("symbols"), &costByNumberOfSymbols },
        { QStringLiteral("cache-memory"), &memoryOfTheCache },
        { QStringLiteral("backlog-memory"), &memoryOfTheBacklog },
        { QStringLiteral("fan-out"), &fanOut },
        { QStringLiteral("whole-days"), &wholeDays },
        { QStringLiteral("answers"), &answers },
        { QStringLiteral("nats-road"), &natsRoad },
        { QStringLiteral("nats-latency"), &natsLatency },
        { QStringLiteral("nats-requests"), &natsRequests },
    };
    return cases;
}
