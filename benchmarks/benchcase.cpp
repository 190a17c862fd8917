#include "benchcase.h"

const QVector<BenchCase> &benchCases()
{
    static const QVector<BenchCase> cases {
        { QStringLiteral("stock-quotes"), &stockThroughput },
        { QStringLiteral("transactions"), &transactionThroughput },
        { QStringLiteral("decode-map"), &decodeAgainstMap },
        { QStringLiteral("decode-fix"), &decodeAgainstFix },
        { QStringLiteral("allocations"), &allocationsPerQuote },
        { QStringLiteral("latency"), &latency },
        { QStringLiteral("snapshot"), &snapshots },
        { QStringLiteral("snapshot-worker"), &workerAmongReaders },
        { QStringLiteral("snapshot-total"), &derivedSnapshots },
        { QStringLiteral("symbols"), &costBySymbolCount },
        { QStringLiteral("cache-memory"), &memoryOfTheCache },
        { QStringLiteral("backlog-memory"), &memoryOfTheBacklog },
        { QStringLiteral("fan-out"), &fanOut },
        { QStringLiteral("whole-days"), &wholeDays },
        { QStringLiteral("answers"), &answers },
        { QStringLiteral("nats-throughput"), &natsThroughput },
        { QStringLiteral("nats-quote-stream"), &natsQuoteStream },
        { QStringLiteral("nats-tick-stream"), &natsTickStream },
        { QStringLiteral("nats-latency"), &natsLatency },
        { QStringLiteral("nats-requests"), &natsRequests },
        { QStringLiteral("board"), &board },
        { QStringLiteral("board-sorted"), &sortedBoard },
        { QStringLiteral("board-start"), &startOfTheBoard },
    };
    return cases;
}
