#include "busrecorder.h"
#include "csvtable.h"
#include "market.h"
#include "quotefields.h"

#include <QtTest>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

const QString rankingTopic = QStringLiteral("ADINDICATORSRANKINGRECORD");
const QString upsDownsTopic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");
const QStringList allRankings { QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3") };

// What is known of a stock at the end of a second.
struct Stock
{
    double preClose = 0;
    double last = 0;
    double high = 0;
    double low = 0;
    double max = 0;
    double min = 0;
    double turnover = 0;

    bool isTraded() const { return last > 0 && preClose > 0; }
};

using Stocks = QMap<QString, Stock>;

struct Second
{
    QString date;
    QString time; // of its last row
    Stocks stocks;
};

// The states at the ends of the seconds in which a recording has rows.
QVector<Second> secondsOf(const CsvTable &table)
{
    QVector<Second> seconds;
    Stocks stocks;
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        stocks[row.text("Symbol")] = { row.number("PreClosePx"),     row.number("LastPx"), row.number("HighPx"),
                                       row.number("LowPx"),          row.number("MaxPx"),  row.number("MinPx"),
                                       row.number("TotalValueTrade") };
        const Second second { row.text("MDDate"), row.text("MDTime"), stocks };
        if (!seconds.isEmpty() && seconds.constLast().time.left(6) == second.time.left(6))
            seconds.last() = second;
        else
            seconds.append(second);
    }
    return seconds;
}

double figure(int ranking, const Stock &stock)
{
    switch (ranking) {
    case 1:
        return (stock.last / stock.preClose - 1) * 100;
    case 2:
        return stock.turnover;
    default:
        return (stock.high - stock.low) * 100 / stock.preClose;
    }
}

// What is wrong with a published ranking of the second; empty if nothing is.
QString rankingFault(const BusRecorder::Received &received, const Second &second)
{
    const int kind = received.rows.at(0).value(QStringLiteral("RankingKind")).toInt();
    const auto traded = std::count_if(second.stocks.cbegin(), second.stocks.cend(),
                                      [](const Stock &stock) { return stock.isTraded(); });
    if (received.rows.at(0).value(QStringLiteral("SymbolCount")) != QVariant(static_cast<int>(traded)))
        return QStringLiteral("wrong count of symbols");
    if (received.rows.size() - 1 != std::min<int>(static_cast<int>(traded), 100))
        return QStringLiteral("wrong count of rows");
    QSet<QString> seen;
    double previous = HUGE_VAL;
    for (int rank = 1; rank < received.rows.size(); ++rank) {
        const Market::Row row = received.rows.at(rank);
        const QString symbol = row.value(QStringLiteral("Symbol")).toString();
        const Stock stock = second.stocks.value(symbol);
        const double value = row.value(QStringLiteral("Value")).toDouble();
        // The two ways of computing a difference of prices differ in the last digits.
        if (std::fabs(value - figure(kind, stock)) > 1e-9 * std::fmax(1, std::fabs(value)))
            return QStringLiteral("%1 has %2 instead of %3").arg(symbol).arg(value).arg(figure(kind, stock));
        if (!stock.isTraded() || seen.contains(symbol) || value > previous
            || row.value(QStringLiteral("Rank")) != QVariant(rank)
            || !sameNumber(row.value(QStringLiteral("LastPx")).toDouble(), stock.last))
            return QStringLiteral("rank %1, %2 is wrong").arg(rank).arg(symbol);
        seen.insert(symbol);
        previous = value;
    }
    return QString();
}

// Rows of an analysis as texts: market, rising, falling, unchanged, at the upper limit, at the lower limit.
QStringList upsDownsOf(const BusRecorder::Received &received)
{
    QStringList texts;
    for (int i = 1; i < received.rows.size(); ++i) {
        QStringList cells;
        for (const char *key : { "Market", "Rising", "Falling", "Unchanged", "LimitUp", "LimitDown" })
            cells.append(received.rows.at(i).value(QString::fromLatin1(key)).toString());
        texts.append(cells.join(QLatin1Char(' ')));
    }
    return texts;
}

QStringList expectedUpsDowns(const Second &second)
{
    QMap<QString, std::array<int, 5>> counts;
    for (auto stock = second.stocks.cbegin(); stock != second.stocks.cend(); ++stock) {
        if (!stock->isTraded())
            continue;
        auto &market = counts[stock.key().right(2)];
        // Prices have two decimals.
        const auto cents = [](double price) { return std::lround(price * 100); };
        const long change = cents(stock->last) - cents(stock->preClose);
        ++market.at(change > 0 ? 0 : change < 0 ? 1 : 2);
        market.at(3) += stock->max > 0 && cents(stock->last) == cents(stock->max);
        market.at(4) += stock->min > 0 && cents(stock->last) == cents(stock->min);
    }
    QStringList texts;
    for (auto market = counts.cbegin(); market != counts.cend(); ++market) {
        QString text = market.key();
        for (int count : *market)
            text += QLatin1Char(' ') + QString::number(count);
        texts.append(text);
    }
    return texts;
}

ReplayOptions optionsFor(const RecordingFolder &folder)
{
    ReplayOptions options;
    options.folder = folder.path();
    return options;
}

} // namespace

/// Rankings and counts of rising and falling stocks, recomputed from the recordings.
class tst_MarketAnalysis : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everySecondIsAnalysed_data();
    void everySecondIsAnalysed();
    void priceLimitsAreCounted();
    void rankingsStopAtAHundred();
    void aNewDateBeginsAfresh();
    void nothingIsPublishedForNobody();
    void otherRecordsAreNotAnalysed();
};

void tst_MarketAnalysis::init()
{
    Market::startBus();
}

void tst_MarketAnalysis::cleanup()
{
    LxBus::stop();
}

void tst_MarketAnalysis::everySecondIsAnalysed_data()
{
    QTest::addColumn<QString>("file");

    QTest::newRow("one market") << QStringLiteral("stock_snapshots_20211201.csv.gz");
    QTest::newRow("with price limits") << QStringLiteral("stock_snapshots_20220601.csv.gz");
    QTest::newRow("two markets") << QStringLiteral("stock_snapshots_20230201.csv.gz");
}

void tst_MarketAnalysis::everySecondIsAnalysed()
{
    QFETCH(QString, file);

    const QVector<Second> seconds = secondsOf(CsvTable(recording(file)));
    const RecordingFolder folder({ file });
    BusRecorder recorder(BusRecorder::Analyses);
    recorder.ask(LxRecordKind::Ranking, allRankings);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    // Each second brings the three rankings and the counts, once.
    QCOMPARE(recorder.received.size(), 4 * seconds.size());
    for (int i = 0; i < recorder.received.size(); ++i) {
        const BusRecorder::Received &received = recorder.received.at(i);
        const Second &second = seconds.at(i / 4);
        QCOMPARE(received.text("MDDate"), second.date);
        QCOMPARE(received.text("MDTime"), second.time);
        QCOMPARE(received.text("msgType"), received.topic);
        if (i % 4 == 3) {
            QCOMPARE(received.topic, upsDownsTopic);
            QCOMPARE(upsDownsOf(received), expectedUpsDowns(second));
        } else {
            QCOMPARE(received.topic, rankingTopic);
            QCOMPARE(received.text("RankingKind"), allRankings.at(i % 4));
            const QString fault = rankingFault(received, second);
            QVERIFY2(fault.isEmpty(), qPrintable(second.time + QLatin1Char(' ') + fault));
        }
    }
}

void tst_MarketAnalysis::priceLimitsAreCounted()
{
    RecordingFolder folder;
    folder.write(QStringLiteral("stock_snapshots_20230201.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,MaxPx,MinPx\n"
                 "20230201,093000000,600001.SH,10,11,11,9\n"
                 "20230201,093000000,600002.SH,10,9,11,9\n"
                 "20230201,093000000,600003.SH,10,10,11,9\n"
                 "20230201,093000000,600004.SH,10,10.99,11,9\n"
                 "20230201,093000000,600005.SH,10,0,11,9\n"
                 "20230201,093000000,300001.SZ,10,12,,\n");
    BusRecorder recorder(BusRecorder::Analyses);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QCOMPARE(recorder.received.size(), 1);
    // A stock without limits reaches none; one that has not been traded counts nowhere.
    QCOMPARE(upsDownsOf(recorder.received.first()),
             (QStringList { QStringLiteral("SH 2 1 1 1 1"), QStringLiteral("SZ 1 0 0 0 0") }));
}

void tst_MarketAnalysis::rankingsStopAtAHundred()
{
    QByteArray content = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalValueTrade\n";
    for (int i = 0; i < 150; ++i)
        content += "20230201,093000000," + QByteArray::number(600000 + i) + ".SH,10,10," + QByteArray::number(i) + '\n';
    RecordingFolder folder;
    folder.write(QStringLiteral("stock_snapshots_20230201.csv"), content);
    BusRecorder recorder(BusRecorder::Analyses);
    recorder.ask(LxRecordKind::Ranking, { QStringLiteral("2") });
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QCOMPARE(recorder.received.size(), 2);
    const QVector<Market::Row> rows = recorder.received.first().rows;
    QCOMPARE(rows.size(), 101);
    QCOMPARE(rows.at(0).value(QStringLiteral("SymbolCount")), QVariant(150));
    QCOMPARE(rows.at(1).value(QStringLiteral("Symbol")), QVariant(QStringLiteral("600149.SH")));
    QCOMPARE(rows.at(100).value(QStringLiteral("Symbol")), QVariant(QStringLiteral("600050.SH")));
}

void tst_MarketAnalysis::aNewDateBeginsAfresh()
{
    RecordingFolder folder;
    folder.write(QStringLiteral("stock_snapshots_2023.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx\n"
                 "20230201,150000000,600001.SH,10,11\n"
                 "20230202,093000000,600002.SH,10,9\n");
    BusRecorder recorder(BusRecorder::Analyses);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QCOMPARE(recorder.received.size(), 2);
    QCOMPARE(recorder.received.at(0).text("MDDate"), QStringLiteral("20230201"));
    QCOMPARE(upsDownsOf(recorder.received.at(0)), QStringList { QStringLiteral("SH 1 0 0 0 0") });
    QCOMPARE(recorder.received.at(1).text("MDDate"), QStringLiteral("20230202"));
    QCOMPARE(upsDownsOf(recorder.received.at(1)), QStringList { QStringLiteral("SH 0 1 0 0 0") });
}

void tst_MarketAnalysis::nothingIsPublishedForNobody()
{
    const RecordingFolder folder({ QStringLiteral("stock_snapshots_20230201.csv.gz") });
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    // The bus delivers the latest ranking to later subscribers. There is none, except through a broker, which does not
    // know whether a topic has subscribers.
    const int before = Market::isBehindBroker() ? 1 : 0;
    BusRecorder recorder(BusRecorder::Analyses);
    recorder.ask(LxRecordKind::Ranking, { QStringLiteral("1") });
    Market::flushBus();
    QCOMPARE(recorder.received.size(), before);
    RecordingFolder one;
    one.write(QStringLiteral("stock_snapshots_20230201.csv"),
              "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230201,093000000,600001.SH,10,11\n");
    QVERIFY(Market::replayOntoBus(optionsFor(one)).ok);
    // Only the ranking that is subscribed.
    QCOMPARE(recorder.received.size(), before + 2);
    const BusRecorder::Received ranking = recorder.received.at(before);
    QCOMPARE(ranking.topic, rankingTopic);
    QCOMPARE(ranking.text("RankingKind"), QStringLiteral("1"));
    QCOMPARE(ranking.rows.value(1).value(QStringLiteral("Symbol")), QVariant(QStringLiteral("600001.SH")));
    QCOMPARE(recorder.received.at(before + 1).topic, upsDownsTopic);
}

void tst_MarketAnalysis::otherRecordsAreNotAnalysed()
{
    RecordingFolder folder;
    folder.write(QStringLiteral("index_snapshots_20230201.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230201,093000000,000001.SH,3000,3001\n");
    folder.write(QStringLiteral("future_snapshots_20230201.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230201,093000000,IF2302.CF,4000,4001\n");
    BusRecorder recorder(BusRecorder::Analyses);
    recorder.ask(LxRecordKind::Ranking, allRankings);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QVERIFY(recorder.received.isEmpty());
}

QTEST_GUILESS_MAIN(tst_MarketAnalysis)

#include "tst_marketanalysis.moc"
