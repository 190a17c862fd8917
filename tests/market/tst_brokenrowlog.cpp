#include <brokenrowlog.h>

#include <QStringList>
#include <QtTest>

/// The list of broken rows, which stays short.
class tst_BrokenRowLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstRowsOfEachFileAreListed();
    void countsAreWrittenOnce();
};

void tst_BrokenRowLog::firstRowsOfEachFileAreListed()
{
    QStringList lines;
    BrokenRowLog log([&lines](const QString &line) { lines.append(line); });
    for (int line = 2; line < 1002; ++line) {
        log.add(QStringLiteral("b.csv"), line, QStringLiteral("Symbol is missing"));
        log.add(QStringLiteral("a.csv"), line, QStringLiteral("1 cells instead of 2"));
    }
    QCOMPARE(lines.size(), 2 * 10);
    QCOMPARE(lines.first(), QStringLiteral("b.csv:2: Symbol is missing"));
    QCOMPARE(lines.last(), QStringLiteral("a.csv:11: 1 cells instead of 2"));
    log.add(QStringLiteral("c.csv"), 7, QStringLiteral("Symbol is missing"));
    QCOMPARE(lines.takeLast(), QStringLiteral("c.csv:7: Symbol is missing"));
    log.writeCounts();
    QCOMPARE(lines.mid(20),
             (QStringList { QStringLiteral("a.csv: further broken rows: 990"),
                            QStringLiteral("b.csv: further broken rows: 990") }));
}

void tst_BrokenRowLog::countsAreWrittenOnce()
{
    QStringList lines;
    BrokenRowLog log([&lines](const QString &line) { lines.append(line); });
    for (int line = 2; line < 13; ++line)
        log.add(QStringLiteral("a.csv"), line, QStringLiteral("Symbol is missing"));
    log.writeCounts();
    log.writeCounts();
    QCOMPARE(lines.size(), 11);
    // In the next round of a replay the same rows are counted only.
    log.add(QStringLiteral("a.csv"), 2, QStringLiteral("Symbol is missing"));
    log.writeCounts();
    QCOMPARE(lines.mid(11), QStringList { QStringLiteral("a.csv: further broken rows: 1") });
}

QTEST_GUILESS_MAIN(tst_BrokenRowLog)

#include "tst_brokenrowlog.moc"
