#pragma once

#include <QString>
#include <QVector>

/// One row of the table: a figure of the system, what it is compared with, and what is asked of the comparison.
struct BenchRow
{
    enum Bound { AtLeast, AtMost };

    QString number; ///< "6" or, of a case with several rows, "6 p50"
    QString name;
    QString unit;
    double figure = 0;
    double reference = 0; ///< 0: none, and the figure itself is held against the target
    double ratio = 0;     ///< the median of the rounds' ratios, which need not be the ratio of the medians
    Bound bound = AtMost;
    double target = 0;

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

// One line a source file.
QVector<BenchRow> stockRoad();
QVector<BenchRow> transactionRoad();
QVector<BenchRow> decodeAgainstMap();
QVector<BenchRow> decodeAgainstFix();
QVector<BenchRow> allocationsOfAQuote();
QVector<BenchRow> costByNumberOfSymbols();
QVector<BenchRow> latency();
QVector<BenchRow> snapshots();
QVector<BenchRow> workerAmongReaders();
QVector<BenchRow> derivedSnapshots();
QVector<BenchRow> memoryOfTheCache();
QVector<BenchRow> memoryOfTheBacklog();
QVector<BenchRow> fanOut();
QVector<BenchRow> wholeDays();
QVector<BenchRow> answers();
QVector<BenchRow> natsRoad();
QVector<BenchRow> natsLatency();
QVector<BenchRow> natsRequests();
