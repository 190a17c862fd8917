#include "busrecorder.h"
#include "csvtable.h"
#include "market.h"

#include <csvreader.h>

#include <QElapsedTimer>
#include <QSemaphore>
#include <QtTest>

#include <thread>

namespace {

const QString stockFile = QStringLiteral("stock_snapshots_20230201.csv");
const QString indexFile = QStringLiteral("index_snapshots_20230201.csv");
const QString futureFile = QStringLiteral("future_snapshots_20230201.csv");
const QString indexRange = QStringLiteral("index_snapshots_20230101_20230228.csv");
const QByteArray header = "MDDate,MDTime,Symbol,LastPx\n";

const QStringList allSymbols { QStringLiteral("600519.SH"), QStringLiteral("000333.SZ"), QStringLiteral("000001.SH"),
                               QStringLiteral("IF2302.CF") };

ReplayOptions optionsFor(const RecordingFolder &folder)
{
    ReplayOptions options;
    options.folder = folder.path();
    return options;
}

// "date time symbol" of each quote received.
QStringList stamps(const BusRecorder &recorder)
{
    QStringList texts;
    for (const BusRecorder::Received &record : recorder.received)
        texts.append(record.text("MDDate") + QLatin1Char(' ') + record.text("MDTime") + QLatin1Char(' ')
                     + record.text("Symbol"));
    return texts;
}

QStringList lines(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

/// The replay of recordings onto the bus, without the library.
class tst_Replay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void filesMergeByTimeOfDay();
    void rowsOfOneTimeKeepTheirOrder();
    void datesFollowEachOther();
    void otherDatesAreLeftOut();
    void plainAndGzipAreTheSame();
    void columnsStandInAnyOrder();
    void cellsBecomeTheTypesOfTheirFields();
    void brokenRowIsReportedAndSkipped_data();
    void brokenRowIsReportedAndSkipped();
    void brokenRowOfAnotherDateIsReportedToo();
    void highBelowLowIsABrokenRow();
    void onlySomeColumnsMayBeNegative();
    void brokenRowsAloneAreAnError();
    void unusableFolderIsAnError_data();
    void unusableFolderIsAnError();
    void ambiguousFileIsAnError_data();
    void ambiguousFileIsAnError();
    void malformedRecordingIsAnErrorWithItsLine();
    void readErrorEndsTheReplay_data();
    void readErrorEndsTheReplay();
    void speedPacesTheReplay();
    void onlyTheTimeWindowIsReplayed();
    void pausesAreSkipped();
    void lunchBreakIsSkippedUnlessPausesAreKept_data();
    void lunchBreakIsSkippedUnlessPausesAreKept();
    void stopEndsASlowReplay_data();
    void stopEndsASlowReplay();
    void onlySubscribedRowsCountAsPublished();
};

void tst_Replay::init()
{
    Market::startBus();
}

void tst_Replay::cleanup()
{
    QCOMPARE(LxBus::current()->statistics().totalDropped(), quint64(0));
    LxBus::stop();
}

void tst_Replay::filesMergeByTimeOfDay()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 header
                     + "20230201,093000000,600519.SH,1\n20230201,093002000,600519.SH,2\n"
                       "20230201,093004000,600519.SH,3\n");
    folder.write(indexFile, header + "20230201,093001000,000001.SH,1\n20230201,093003000,000001.SH,2\n");
    folder.write(futureFile, header + "20230201,092900000,IF2302.CF,1\n20230201,093005000,IF2302.CF,2\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    QCOMPARE(stamps(recorder),
             lines("20230201 092900000 IF2302.CF\n"
                   "20230201 093000000 600519.SH\n"
                   "20230201 093001000 000001.SH\n"
                   "20230201 093002000 600519.SH\n"
                   "20230201 093003000 000001.SH\n"
                   "20230201 093004000 600519.SH\n"
                   "20230201 093005000 IF2302.CF\n"));
}

void tst_Replay::rowsOfOneTimeKeepTheirOrder()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 header
                     + "20230201,093000000,600519.SH,1\n20230201,093000000,000333.SZ,2\n"
                       "20230201,093000000,600519.SH,3\n");
    folder.write(indexFile, header + "20230201,093000000,000001.SH,4\n20230201,093000000,000001.SH,5\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QStringList prices;
    for (const BusRecorder::Received &record : qAsConst(recorder.received))
        prices.append(record.text("LastPx"));
    // The file that sorts first goes first; each file's rows stay together.
    QCOMPARE(prices,
             (QStringList { QStringLiteral("4"), QStringLiteral("5"), QStringLiteral("1"), QStringLiteral("2"),
                            QStringLiteral("3") }));
}

void tst_Replay::datesFollowEachOther()
{
    RecordingFolder folder;
    folder.write(indexRange,
                 header
                     + "20230130,093000000,000001.SH,1\n20230201,150000000,000001.SH,2\n"
                       "20230202,093000000,000001.SH,3\n20230203,093000000,000001.SH,4\n");
    folder.write(stockFile, header + "20230201,100000000,600519.SH,1\n");
    folder.write(QStringLiteral("stock_snapshots_20230202.csv"), header + "20230202,092500000,600519.SH,2\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QCOMPARE(stamps(recorder),
             lines("20230130 093000000 000001.SH\n"
                   "20230201 100000000 600519.SH\n"
                   "20230201 150000000 000001.SH\n"
                   "20230202 092500000 600519.SH\n"
                   "20230202 093000000 000001.SH\n"
                   "20230203 093000000 000001.SH\n"));
}

void tst_Replay::otherDatesAreLeftOut()
{
    RecordingFolder folder;
    folder.write(indexRange,
                 header
                     + "20230131,093000000,000001.SH,1\n20230201,093000000,000001.SH,2\n"
                       "20230202,093000000,000001.SH,3\n");
    folder.write(stockFile, header + "20230201,093000000,600519.SH,4\n");
    folder.write(QStringLiteral("future_snapshots_20210104.csv"), header + "20210104,093000000,IF2302.CF,5\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.date = QStringLiteral("20230201");
    const Market::Outcome outcome = Market::replayOntoBus(options);
    QVERIFY(outcome.ok);
    QCOMPARE(stamps(recorder), lines("20230201 093000000 000001.SH\n20230201 093000000 600519.SH\n"));
    QCOMPARE(outcome.counts.value(RecordingKind::IndexQuote).read, quint64(1));
    QCOMPARE(outcome.counts.value(RecordingKind::FutureQuote).read, quint64(0));
    QVERIFY(outcome.brokenRows.isEmpty());
}

void tst_Replay::plainAndGzipAreTheSame()
{
    const QByteArray content = header + "20230201,093000000,600519.SH,1\n20230201,093001000,600519.SH,2\n";
    QVector<QStringList> received;
    for (const bool gzip : { false, true }) {
        RecordingFolder folder;
        if (gzip)
            folder.writeGzip(stockFile + QStringLiteral(".gz"), content);
        else
            folder.write(stockFile, content);
        BusRecorder recorder;
        recorder.ask(LxRecordKind::Quote, allSymbols);
        QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
        received.append(stamps(recorder));
        // The next run must not receive the latest records of this one.
        LxBus::stop();
        init();
    }
    QCOMPARE(received.at(0).size(), 2);
    QCOMPARE(received.at(1), received.at(0));
}

void tst_Replay::columnsStandInAnyOrder()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 "Weather,LastPx,Symbol,Sell2Price,MDTime,Sell11Price,MDDate\n"
                 "rain,10.5,600519.SH,10.7,093000000,11,20230201\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    QVERIFY(Market::replayOntoBus(optionsFor(folder)).ok);
    QCOMPARE(recorder.received.size(), 1);
    // Columns that no record has are left out.
    const Market::Row expected { { QStringLiteral("LastPx"), 10.5 },
                                 { QStringLiteral("Symbol"), QStringLiteral("600519.SH") },
                                 { QStringLiteral("Sell2Price"), 10.7 },
                                 { QStringLiteral("MDTime"), QStringLiteral("093000000") },
                                 { QStringLiteral("MDDate"), QStringLiteral("20230201") } };
    QCOMPARE(recorder.received.first().rows, QVector<Market::Row> { expected });
}

void tst_Replay::cellsBecomeTheTypesOfTheirFields()
{
    RecordingFolder folder;
    folder.write(QStringLiteral("transactions_20230201.csv"),
                 "MDDate,MDTime,Symbol,TradeBuyNo,TradeType,TradePrice,TradeMoney,TradeBSFlag\n"
                 "20230201,093000000,600519.SH,9007199254740993,0,10.5,,1\n"
                 "20230201,093000001,600519.SH,-1,1,1e3,0.5,B\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Transaction, allSymbols);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(outcome.ok);
    QVERIFY2(outcome.brokenRows.isEmpty(), qPrintable(outcome.brokenRows.join(QLatin1Char('\n'))));
    QCOMPARE(recorder.received.size(), 2);
    const auto value = [&recorder](int record, const char *key) {
        return recorder.received.at(record).rows.at(0).value(QString::fromLatin1(key));
    };
    QCOMPARE(value(0, "MDTime"), QVariant(QStringLiteral("093000000")));
    QCOMPARE(value(0, "TradeBuyNo"), QVariant(qint64(9007199254740993)));
    QCOMPARE(value(0, "TradeType"), QVariant(0));
    QCOMPARE(value(0, "TradePrice"), QVariant(10.5));
    QCOMPARE(value(0, "TradeMoney"), QVariant(QString::fromLatin1("")));
    QCOMPARE(value(0, "TradeBSFlag"), QVariant(1));
    QCOMPARE(value(1, "TradeBuyNo"), QVariant(qint64(-1)));
    QCOMPARE(value(1, "TradePrice"), QVariant(1000.0));
    QCOMPARE(value(1, "TradeBSFlag"), QVariant(QStringLiteral("B")));
}

void tst_Replay::brokenRowIsReportedAndSkipped_data()
{
    QTest::addColumn<QByteArray>("row");
    QTest::addColumn<QString>("reason");

    const auto row = [](const char *name, const char *text, const char *reason) {
        QTest::newRow(name) << QByteArray(text) << QString::fromLatin1(reason);
    };
    row("too few cells", "20230201,093001000,600519.SH,2", "4 cells instead of 5");
    row("too many cells", "20230201,093001000,600519.SH,2,100,7", "6 cells instead of 5");
    row("text for a price", "20230201,093001000,600519.SH,much,100", "LastPx \"much\" is not a number");
    row("number with a tail", "20230201,093001000,600519.SH,2x,100", "LastPx \"2x\" is not a number");
    row("number beyond all bounds", "20230201,093001000,600519.SH,1e999,100", "LastPx \"1e999\" is not a number");
    row("fraction for a count", "20230201,093001000,600519.SH,2,1.5", "NumTrades \"1.5\" is not a number");
    row("count beyond 64 bits", "20230201,093001000,600519.SH,2,9223372036854775808",
        "NumTrades \"9223372036854775808\" is not a number");
    row("text for a time", "20230201,nine,600519.SH,2,100", "MDTime \"nine\" is not a time");
    row("short time", "20230201,93001000,600519.SH,2,100", "MDTime \"93001000\" is not a time");
    row("hour 24", "20230201,240000000,600519.SH,2,100", "MDTime \"240000000\" is not a time");
    row("minute 60", "20230201,096000000,600519.SH,2,100", "MDTime \"096000000\" is not a time");
    row("second 60", "20230201,093060000,600519.SH,2,100", "MDTime \"093060000\" is not a time");
    row("negative time", "20230201,-93001000,600519.SH,2,100", "MDTime \"-93001000\" is not a time");
    row("text for a date", "tomorrow,093001000,600519.SH,2,100", "MDDate \"tomorrow\" is not a date");
    row("short date", "2023021,093001000,600519.SH,2,100", "MDDate \"2023021\" is not a date");
    row("month 13", "20231301,093001000,600519.SH,2,100", "MDDate \"20231301\" is not a date");
    row("31 February", "20230231,093001000,600519.SH,2,100", "MDDate \"20230231\" is not a date");
    row("no date", ",093001000,600519.SH,2,100", "MDDate \"\" is not a date");
    row("not a number", "20230201,093001000,600519.SH,nan,100", "LastPx \"nan\" is not a number");
    row("infinity", "20230201,093001000,600519.SH,inf,100", "LastPx \"inf\" is not a number");
    row("negative infinity", "20230201,093001000,600519.SH,-inf,100", "LastPx \"-inf\" is not a number");
    row("another date than the file's", "20230202,093001000,600519.SH,2,100",
        "MDDate 20230202 in a recording of 20230201");
    row("no symbol", "20230201,093001000,,2,100", "Symbol is missing");
    row("negative price", "20230201,093001000,600519.SH,-0.01,100", "LastPx \"-0.01\" is negative");
    row("negative count", "20230201,093001000,600519.SH,2,-1", "NumTrades \"-1\" is negative");
}

void tst_Replay::brokenRowIsReportedAndSkipped()
{
    QFETCH(QByteArray, row);
    QFETCH(QString, reason);

    RecordingFolder folder;
    folder.write(stockFile,
                 "MDDate,MDTime,Symbol,LastPx,NumTrades\n20230201,093000000,600519.SH,1,100\n" + row
                     + "\n20230201,093002000,600519.SH,3,300\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    QCOMPARE(outcome.brokenRows, QStringList { stockFile + QStringLiteral(":3: ") + reason });
    const ReplayCount count = outcome.counts.value(RecordingKind::StockQuote);
    QCOMPARE(count.skipped, quint64(1));
    QCOMPARE(count.read, quint64(2));
    QCOMPARE(stamps(recorder), lines("20230201 093000000 600519.SH\n20230201 093002000 600519.SH\n"));
}

void tst_Replay::brokenRowOfAnotherDateIsReportedToo()
{
    RecordingFolder folder;
    // A row without a date may be one of the wanted date; rows of other dates are ignored.
    folder.write(indexRange,
                 header
                     + "someday,093000000,600519.SH,1\n20230131,nine,600519.SH,much\n"
                       "20230201,093000000,600519.SH,1\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.date = QStringLiteral("20230201");
    const Market::Outcome outcome = Market::replayOntoBus(options);
    QVERIFY(outcome.ok);
    QCOMPARE(outcome.brokenRows, QStringList { indexRange + QStringLiteral(":2: MDDate \"someday\" is not a date") });
    QCOMPARE(recorder.received.size(), 1);
}

void tst_Replay::highBelowLowIsABrokenRow()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 "MDDate,MDTime,Symbol,HighPx,LowPx\n20230201,091500000,600519.SH,0,0\n"
                 "20230201,093000000,600519.SH,10.5,10.5\n20230201,093001000,600519.SH,10.25,10.5\n"
                 "20230201,093002000,600519.SH,,10.5\n");
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QCOMPARE(outcome.brokenRows, QStringList { stockFile + QStringLiteral(":4: HighPx 10.25 is below LowPx 10.5") });
    QCOMPARE(outcome.counts.value(RecordingKind::StockQuote).read, quint64(3));
}

void tst_Replay::onlySomeColumnsMayBeNegative()
{
    // All numeric columns of the recorded data; dates, times and phases are text.
    QStringList accepted;
    QSet<QString> tried;
    for (const auto &[prefix, source] : { std::pair("stock_snapshots_", "stock_snapshots_20230201.csv.gz"),
                                          std::pair("future_snapshots_", "future_snapshots_20210104.csv.gz"),
                                          std::pair("index_snapshots_", "index_snapshots_20181203_20190201.csv.gz"),
                                          std::pair("transactions_", "transactions_20230711.csv.gz"),
                                          std::pair("orders_", "orders_20230201.csv.gz") }) {
        CsvReader reader;
        QString error;
        QVERIFY2(reader.open(recording(QString::fromLatin1(source)), &error), qPrintable(error));
        QSet<QString> numeric;
        for (int row = 0; row < 2000 && reader.next(&error); ++row) {
            for (int i = 0; i < reader.header().size(); ++i) {
                bool isNumber = false;
                reader.cells().at(i).toDouble(&isNumber);
                if (isNumber)
                    numeric.insert(reader.header().at(i));
            }
        }
        for (const QString &column : qAsConst(numeric)) {
            if (column.startsWith(QLatin1String("MD")) || column.startsWith(QLatin1String("Trading"))
                || tried.contains(column))
                continue;
            tried.insert(column);
            RecordingFolder folder;
            folder.write(QString::fromLatin1(prefix) + QStringLiteral("20230201.csv"),
                         "MDDate,MDTime,Symbol," + column.toLatin1()
                             + "\n20230201,093000000,600519.SH,1\n20230201,093000000,600519.SH,-1\n");
            const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
            QVERIFY2(outcome.ok, qPrintable(outcome.error));
            if (outcome.brokenRows.isEmpty())
                accepted.append(column);
            else
                QVERIFY2(outcome.brokenRows.constFirst().endsWith(column + QStringLiteral(" \"-1\" is negative")),
                         qPrintable(outcome.brokenRows.constFirst()));
        }
    }
    QVERIFY2(tried.size() > 50, qPrintable(QString::number(tried.size())));
    accepted.sort();
    QCOMPARE(accepted, lines("OrderIndex\nOrderNO\nTradeBSFlag\nTradeBuyNo\nTradeSellNo\nTradeType"));
}

void tst_Replay::brokenRowsAloneAreAnError()
{
    RecordingFolder folder;
    folder.write(stockFile, header + "20230201,093000000,600519.SH,x\n20230201,093001000,600519.SH,y\n");
    folder.write(indexFile, header);
    Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(!outcome.ok);
    QCOMPARE(outcome.error, folder.path() + QStringLiteral(": the recordings contain broken rows only"));
    QCOMPARE(outcome.brokenRows.size(), 2);

    // A valid row is enough, even if it is outside the time that is replayed.
    folder.write(indexFile, header + "20230201,093000000,000001.SH,1\n");
    ReplayOptions options = optionsFor(folder);
    options.from = QTime(10, 0);
    outcome = Market::replayOntoBus(options);
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    QCOMPARE(outcome.counts.value(RecordingKind::IndexQuote).read, quint64(0));
}

void tst_Replay::unusableFolderIsAnError_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("named"); // what the message has to name

    QTest::newRow("no recordings") << QStringLiteral("securities.csv") << header << QString();
    QTest::newRow("recording of no known kind") << QStringLiteral("bond_snapshots_20230201.csv") << header << QString();
    QTest::newRow("recording that is no CSV file")
        << QStringLiteral("stock_snapshots_20230201.txt") << header << QString();
    QTest::newRow("empty file") << stockFile << QByteArray() << stockFile;
    QTest::newRow("unterminated quote in the header") << stockFile << QByteArray("MDDate,\"MDTime,Symbol") << stockFile;
    QTest::newRow("no column Symbol") << stockFile << QByteArray("MDDate,MDTime,LastPx\n") << stockFile;
    QTest::newRow("no column MDTime") << stockFile << QByteArray("MDDate,Symbol,LastPx\n") << stockFile;
    QTest::newRow("no column MDDate") << stockFile << QByteArray("MDTime,Symbol,LastPx\n") << stockFile;
}

void tst_Replay::unusableFolderIsAnError()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, named);

    RecordingFolder folder;
    folder.write(file, content);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(!outcome.ok);
    QVERIFY2(outcome.error.contains(folder.filePath(named)), qPrintable(outcome.error));

    ReplayOptions missing;
    missing.folder = folder.filePath(QStringLiteral("missing"));
    QString error;
    QVERIFY(!Replay(missing).open(&error));
    QVERIFY2(error.contains(missing.folder), qPrintable(error));
}

void tst_Replay::ambiguousFileIsAnError_data()
{
    QTest::addColumn<QString>("problem");
    QTest::addColumn<QString>("reason");

    QTest::newRow("plain and compressed") << QStringLiteral("both") << QStringLiteral(": there is also %1.gz");
    QTest::newRow("dangling link") << QStringLiteral("link") << QStringLiteral(": a link to a missing file");
    QTest::newRow("folder") << QStringLiteral("folder") << QStringLiteral(": a folder, not a file");
}

void tst_Replay::ambiguousFileIsAnError()
{
    QFETCH(QString, problem);
    QFETCH(QString, reason);

    RecordingFolder folder;
    folder.write(indexFile, header + "20230201,093000000,000001.SH,1\n");
    const QString path = folder.filePath(stockFile);
    if (problem == QLatin1String("both")) {
        folder.write(stockFile, header);
        folder.writeGzip(stockFile + QStringLiteral(".gz"), header);
    } else if (problem == QLatin1String("link")) {
        QVERIFY(QFile::link(folder.filePath(QStringLiteral("missing")), path));
    } else {
        QVERIFY(QDir().mkdir(path));
    }
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(!outcome.ok);
    const QString expected = path + (reason.contains(QLatin1String("%1")) ? reason.arg(stockFile) : reason);
    QVERIFY2(outcome.error.startsWith(expected), qPrintable(outcome.error));
}

void tst_Replay::malformedRecordingIsAnErrorWithItsLine()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 header
                     + "20230201,093000000,600519.SH,1\n20230201,093001000,\"600519.SH,2\n"
                       "20230201,093002000,600519.SH,3\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(!outcome.ok);
    QCOMPARE(outcome.error,
             folder.filePath(stockFile)
                 + QStringLiteral(":3: the file ends within a quoted cell of the record at this line"));
    QCOMPARE(stamps(recorder), lines("20230201 093000000 600519.SH\n"));
}

void tst_Replay::readErrorEndsTheReplay_data()
{
    QTest::addColumn<bool>("corrupt");

    QTest::newRow("truncated") << false;
    QTest::newRow("corrupted") << true;
}

void tst_Replay::readErrorEndsTheReplay()
{
    QFETCH(bool, corrupt);

    QByteArray content = header;
    for (int i = 0; i < 60000; ++i) {
        content += "20230201," + QTime(9, 30).addMSecs(i * 100).toString(QStringLiteral("HHmmsszzz")).toLatin1()
            + ",600519.SH," + QByteArray::number(i * 7919 % 100003) + '\n';
    }
    RecordingFolder folder;
    const QString name = stockFile + QStringLiteral(".gz");
    folder.writeGzip(name, content);
    QFile file(folder.filePath(name));
    const qint64 size = file.size();
    if (corrupt) {
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(size / 2));
        QVERIFY(file.write(QByteArray(64, '\xff')) == 64);
        file.close();
    } else {
        QVERIFY(file.resize(size / 2));
    }
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(!outcome.ok);
    QVERIFY2(outcome.error.contains(name), qPrintable(outcome.error));
    // What could be read has been published.
    QVERIFY(!recorder.received.isEmpty());
    QVERIFY(recorder.received.size() < 60000);
}

void tst_Replay::speedPacesTheReplay()
{
    RecordingFolder folder;
    // A date follows the previous one at once: 4 s and 2 s of market time.
    folder.write(indexRange,
                 header
                     + "20230201,093000000,600519.SH,1\n20230201,093004000,600519.SH,2\n"
                       "20230202,110000000,600519.SH,3\n20230202,110002000,600519.SH,4\n");
    ReplayOptions options = optionsFor(folder);
    options.speed = 20;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(Market::replayOntoBus(options).ok);
    QVERIFY2(timer.elapsed() >= 298, qPrintable(QString::number(timer.elapsed())));
}

void tst_Replay::onlyTheTimeWindowIsReplayed()
{
    RecordingFolder folder;
    folder.write(indexRange,
                 header
                     + "20230201,092459999,600519.SH,1\n20230201,092500000,600519.SH,2\n"
                       "20230201,100000000,600519.SH,3\n20230201,100000001,600519.SH,4\n"
                       "20230202,090000000,600519.SH,5\n20230202,093000000,600519.SH,6\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.from = QTime(9, 25);
    options.to = QTime(10, 0);
    const Market::Outcome outcome = Market::replayOntoBus(options);
    QVERIFY2(outcome.ok, qPrintable(outcome.error));
    QCOMPARE(stamps(recorder),
             lines("20230201 092500000 600519.SH\n20230201 100000000 600519.SH\n"
                   "20230202 093000000 600519.SH\n"));
    QCOMPARE(outcome.counts.value(RecordingKind::IndexQuote).read, quint64(3));
}

void tst_Replay::pausesAreSkipped()
{
    // At real time the lunch break, and what follows it, would take longer than any test may.
    RecordingFolder folder;
    folder.write(stockFile,
                 header
                     + "20230201,092500000,600519.SH,1\n20230201,113000000,600519.SH,2\n"
                       "20230201,130000000,600519.SH,3\n20230201,150000000,600519.SH,4\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.speed = 1;
    QVERIFY(Market::replayOntoBus(options).ok);
    QCOMPARE(recorder.received.size(), 4);
}

void tst_Replay::lunchBreakIsSkippedUnlessPausesAreKept_data()
{
    QTest::addColumn<bool>("keepPauses");

    QTest::newRow("skipped") << false;
    QTest::newRow("kept") << true;
}

// In the recorded data each stock has a quote every minute during the break. At real time they would take longer than
// any test may.
void tst_Replay::lunchBreakIsSkippedUnlessPausesAreKept()
{
    QFETCH(bool, keepPauses);

    const RecordingFolder folder({ QStringLiteral("stock_snapshots_20230201.csv.gz") });
    QSemaphore received;
    BusRecorder recorder;
    recorder.onReceived = [&received](const BusRecorder::Received &) { received.release(); };
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.from = QTime(11, 31);
    options.to = QTime(13, 0);
    options.speed = 1;
    options.keepPauses = keepPauses;
    options.reportBrokenRow = [](const QString &, qint64, const QString &) {};
    Replay replay(options);
    QString error;
    QVERIFY2(replay.open(&error), qPrintable(error));
    std::thread thread([&] { replay.run(&error); });
    const bool begun = received.tryAcquire(1, 60000);
    const bool goesOn = received.tryAcquire(100, keepPauses ? 200 : 60000);
    replay.stop();
    thread.join();
    QVERIFY(begun);
    QCOMPARE(goesOn, !keepPauses);
}

void tst_Replay::stopEndsASlowReplay_data()
{
    QTest::addColumn<double>("speed");

    QTest::newRow("slow") << 0.001;
    QTest::newRow("so slow that the wait is beyond all integers") << 1e-9;
}

void tst_Replay::stopEndsASlowReplay()
{
    QFETCH(double, speed);

    RecordingFolder folder;
    folder.write(stockFile, header + "20230201,093000000,600519.SH,1\n20230201,150000000,600519.SH,2\n");
    QSemaphore received;
    BusRecorder recorder;
    recorder.onReceived = [&received](const BusRecorder::Received &) { received.release(); };
    recorder.ask(LxRecordKind::Quote, allSymbols);
    ReplayOptions options = optionsFor(folder);
    options.speed = speed;
    options.keepPauses = true;
    Replay replay(options);
    QString error;
    QVERIFY2(replay.open(&error), qPrintable(error));
    QSemaphore ended;
    bool ok = false;
    std::thread thread([&] {
        ok = replay.run(&error);
        ended.release();
    });
    const bool firstHeard = received.tryAcquire(1, 30000);
    // It is waiting for a time that is hours away, or about to.
    const bool endedByItself = ended.tryAcquire(1, 50);
    replay.stop();
    thread.join();
    QVERIFY(firstHeard);
    QVERIFY(!endedByItself);
    QVERIFY2(ok, qPrintable(error));
    QCOMPARE(replay.count(RecordingKind::StockQuote).published, quint64(1));
    QCOMPARE(replay.position(), QDateTime(QDate(2023, 2, 1), QTime(9, 30), Qt::UTC));
}

void tst_Replay::onlySubscribedRowsCountAsPublished()
{
    RecordingFolder folder;
    folder.write(stockFile,
                 header
                     + "20230201,093000000,600519.SH,1\n20230201,093000000,000333.SZ,2\n"
                       "20230201,093001000,600519.SH,3\n");
    BusRecorder recorder;
    recorder.ask(LxRecordKind::Quote, { QStringLiteral("600519.SH") });
    const Market::Outcome outcome = Market::replayOntoBus(optionsFor(folder));
    QVERIFY(outcome.ok);
    QCOMPARE(outcome.counts.value(RecordingKind::StockQuote).read, quint64(3));
    // A broker counts as a receiver of every record.
    QCOMPARE(outcome.counts.value(RecordingKind::StockQuote).published, quint64(Market::isBehindBroker() ? 3 : 2));
    QCOMPARE(recorder.received.size(), 2);
}

QTEST_GUILESS_MAIN(tst_Replay)

#include "tst_replay.moc"
