#pragma once

#include <QString>
#include <QVector>

/// One row of the table: a figure of the system, the baseline that it is compared with, and the target of the
/// comparison.
struct BenchRow
{
    enum Bound { AtLeast, AtMost, NoTarget };

    QString number; ///< "6" or, of a case with several rows, "6 p50"
    QString name;
    QString unit;
    double figure = 0;
    double reference = 0; ///< 0: none, and the figure itself is compared with the target
    double ratio = 0; ///< the median of the rounds' ratios, which need not be the ratio of the medians
    Bound bound = NoTarget; ///< rows without a target are for information
    double target = 0;

    bool hasTarget() const { return bound != NoTarget; }
    double compared() const { return reference > 0 ? ratio : figure; }
    bool isMet() const { return bound == AtLeast ? compared() >= target : compared() <= target; }
};

/// A case of the benchmark. Each runs in a process of its own, since the handler is a singleton whose caches only grow.
struct BenchCase
{
    QString name;
    QVector<BenchRow> (*run)();
};

/// All cases, in the order of the table.
const QVector<BenchCase> &benchCases();

QVector<BenchRow> stockThroughput();
QVector<BenchRow> transactionThroughput();
QVector<BenchRow> decodeAgainstMap();
QVector<BenchRow> decodeAgainstFix();
QVector<BenchRow> allocationsPerQuote();
QVector<BenchRow> costBySymbolCount();
QVector<BenchRow> latency();
QVector<BenchRow> snapshots();
QVector<BenchRow> workerAmongReaders();
QVector<BenchRow> derivedSnapshots();
QVector<BenchRow> memoryOfTheCache();
QVector<BenchRow> memoryOfTheBacklog();
QVector<BenchRow> fanOut();
QVector<BenchRow> wholeDays();
QVector<BenchRow> answers();
QVector<BenchRow> natsThroughput();
QVector<BenchRow> natsQuoteStream();
QVector<BenchRow> natsTickStream();
QVector<BenchRow> natsLatency();
QVector<BenchRow> natsRequests();
QVector<BenchRow> board();
QVector<BenchRow> sortedBoard();
QVector<BenchRow> startOfTheBoard();
