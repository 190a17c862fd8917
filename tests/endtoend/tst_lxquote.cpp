#include "csvtable.h"
#include "market.h"
#include "program.h"
#include "quotefields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <cmath>
#include <csignal>

#include <sys/types.h>

namespace {

const QString date = QStringLiteral("20230201");
const QString quoteFile = QStringLiteral("stock_snapshots_20230201.csv.gz");
const QString tradeFile = QStringLiteral("transactions_20230202.csv.gz");
const QString symbol = QStringLiteral("600519.SH");

// Two stocks and three changes, two seconds of market time; one rises and one falls, at last.
const QByteArray smallRecording = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                                  "20230201,093000000,600519.SH,1800,1800,100,180000\n"
                                  "20230201,093000000,000333.SZ,55,55,100,5500\n"
                                  "20230201,093001000,600519.SH,1800,1790,200,359000\n"
                                  "20230201,093001000,000333.SZ,55,54,200,10900\n"
                                  "20230201,093002000,600519.SH,1800,1810.25,300,540025\n"
                                  "20230201,093002000,000333.SZ,55,54.5,300,16350\n";
const QString smallFile = QStringLiteral("stock_snapshots_20230201.csv");

QStringList watch(const QString &folder, const QStringList &more)
{
    return QStringList { QStringLiteral("watch"), QStringLiteral("--data"), folder } + more;
}

QStringList snapshot(const QString &folder, const QStringList &more)
{
    return QStringList { QStringLiteral("snapshot"), QStringLiteral("--data"), folder } + more;
}

QStringList atOnce(const QStringList &more)
{
    return QStringList { QStringLiteral("--speed"), QStringLiteral("max") } + more;
}

QVector<int> rowsOf(const CsvTable &table, const QString &wanted)
{
    QVector<int> rows;
    for (int i = 0; i < table.rowCount(); ++i) {
        if (table.row(i).text("Symbol") == wanted)
            rows.append(i);
    }
    return rows;
}

int linesStartingWith(const QList<QByteArray> &lines, const QByteArray &start)
{
    return static_cast<int>(std::count_if(lines.cbegin(), lines.cend(),
                                          [&start](const QByteArray &line) { return line.startsWith(start); }));
}

// How a field has to look in JSON: no value is null, what JSON has no number for is a text.
struct ExpectedJson
{
    const StockQuotaData &record;

    static QJsonValue json(const QString &text) { return text; }
    static QJsonValue json(double number)
    {
        if (number == QUOTA_INVALID_VALUE)
            return QJsonValue::Null;
        if (std::isnan(number))
            return QStringLiteral("nan");
        if (std::isinf(number))
            return number < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
        return number;
    }
    static QJsonValue json(qint64 number)
    {
        return number == QUOTA_INVALID_VALUE ? QJsonValue(QJsonValue::Null) : QJsonValue(static_cast<double>(number));
    }
    template<typename Value>
    QJsonValue operator()(Value StockQuotaData::*member) const
    {
        return json(record.*member);
    }
    template<typename Value, size_t Levels>
    QJsonValue operator()(Value (StockQuotaData::*member)[Levels]) const
    {
        QJsonArray array;
        for (const Value &value : record.*member)
            array.append(json(value));
        return array;
    }
};

bool sameJson(const QJsonValue &actual, const QJsonValue &expected)
{
    return actual.isDouble() && expected.isDouble() ? sameNumber(actual.toDouble(), expected.toDouble())
                                                    : actual == expected;
}

// What is wrong with the JSON of a record, its text included: the order of the names; empty if nothing is.
QString jsonFault(const QByteArray &text, const QJsonObject &object, const StockQuotaData &expected)
{
    int position = -1;
    for (const StockField &field : fieldsOf(expected)) {
        const QString name = QString::fromLatin1(field.name);
        const int found = text.indexOf(QByteArray("\"") + field.name + "\":", position + 1);
        if (found < 0)
            return name + QStringLiteral(" is missing or not in its place");
        position = found;
        const QJsonValue value = std::visit(ExpectedJson { expected }, field.member);
        if (!sameJson(object.value(name), value)) {
            return QStringLiteral("%1 is %2 instead of %3")
                .arg(name, object.value(name).toVariant().toString(), value.toVariant().toString());
        }
    }
    return object.size() == fieldsOf(expected).size() ? QString() : QStringLiteral("too many fields");
}

QJsonObject parsed(const QByteArray &line)
{
    return QJsonDocument::fromJson(line).object();
}

// The cells of the summary's line of a kind.
QList<QByteArray> summaryOf(const QByteArray &text, const QByteArray &kind)
{
    for (const QByteArray &line : text.split('\n')) {
        if (line.startsWith(kind))
            return line.mid(kind.size()).simplified().split(' ');
    }
    return {};
}

} // namespace

/// The client program: its output, its complaints and its exit codes.
class tst_LxQuote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tableInAPipeIsALineAnUpdate();
    void ndjsonIsARecordALine();
    void infinitiesAndNaNAreTexts();
    void tradesAreShownWithTheirSide();
    void rankingsAndUpDownCountsAreShown();
    void emptyNotesAreNotShown();
    void snapshotSheetHasEveryFieldAndTheLadder();
    void snapshotJsonIsTheRecord();
    void snapshotOfAnUnknownSymbolFails();
    void unknownSymbolIsWarnedOf();
    void usageErrorsExitWith2_data();
    void usageErrorsExitWith2();
    void helpExitsWith0_data();
    void helpExitsWith0();
    void missingFolderExitsWith2();
    void truncatedRecordingExitsWith2_data();
    void truncatedRecordingExitsWith2();
    void brokenRowsAreReported();
    void interruptEndsWithSummary_data();
    void interruptEndsWithSummary();
    void terminalShowsATableInPlace();
    void terminalWithoutColours();
};

void tst_LxQuote::tableInAPipeIsALineAnUpdate()
{
    const CsvTable table(recording(quoteFile));
    const QVector<int> rows = rowsOf(table, symbol);

    const Program::Result result = Program::run(
        watch(QStringLiteral(LX_DATA_DIR), atOnce({ QStringLiteral("--date"), date, symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(linesStartingWith(result.lines(), "600519.SH "), rows.size());
    const QByteArray last = result.lines().at(rows.size() - 1);
    const CsvRow lastRow = table.row(rows.last());
    QVERIFY2(last.contains(securityNames().value(symbol).toUtf8()), last);
    QVERIFY2(last.contains(QByteArray::number(lastRow.number("LastPx"), 'f', 2)), last);
    const QByteArray time = lastRow.cell("MDTime");
    QVERIFY2(last.endsWith(time.mid(0, 2) + ':' + time.mid(2, 2) + ':' + time.mid(4, 2)), last);
    QVERIFY(!result.out.contains('\x1b'));

    const QByteArray all = QByteArray::number(rows.size());
    const QByteArray grouped = all.left(all.size() - 3) + ',' + all.right(3);
    QCOMPARE(summaryOf(result.out, "stock quotes"),
             (QList<QByteArray> { "10,120", grouped, grouped, "0", "0" }));
    QVERIFY(result.lines().constLast().startsWith(grouped + " records announced in "));
    QCOMPARE(result.err, QByteArray());
}

void tst_LxQuote::ndjsonIsARecordALine()
{
    const CsvTable table(recording(quoteFile));
    const QVector<int> rows = rowsOf(table, symbol);
    const RecordingFolder folder({ quoteFile, QStringLiteral("securities.csv") });

    const Program::Result result =
        Program::run(watch(folder.path(), atOnce({ QStringLiteral("--format"), QStringLiteral("ndjson"), symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    const QList<QByteArray> lines = result.lines();
    QCOMPARE(lines.size(), rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        const QString fault = jsonFault(lines.at(i), parsed(lines.at(i)), expectedStock(table.row(rows.at(i))));
        QVERIFY2(fault.isEmpty(), qPrintable(QStringLiteral("line %1: %2").arg(i).arg(fault)));
    }
    QVERIFY(!result.out.contains("-9999999"));
    QVERIFY(!summaryOf(result.err, "stock quotes").isEmpty());
}

void tst_LxQuote::infinitiesAndNaNAreTexts()
{
    RecordingFolder folder;
    folder.write(smallFile,
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,HighPx,LowPx,TotalVolumeTrade,TotalValueTrade\n"
                 "20230201,093000000,600519.SH,0,10,11,9,0,500\n"
                 "20230201,093001000,600519.SH,0,10,9,11,0,0\n");
    const Program::Result result =
        Program::run(watch(folder.path(), atOnce({ QStringLiteral("--format"), QStringLiteral("ndjson"), symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().size(), 2);
    const QJsonObject first = parsed(result.lines().at(0));
    QCOMPARE(first.value(QStringLiteral("Amplitude")), QJsonValue(QStringLiteral("inf")));
    QCOMPARE(first.value(QStringLiteral("AvgPx")), QJsonValue(QStringLiteral("inf")));
    QCOMPARE(first.value(QStringLiteral("ChangeRatio")), QJsonValue(QJsonValue::Null));
    const QJsonObject second = parsed(result.lines().at(1));
    QCOMPARE(second.value(QStringLiteral("Amplitude")), QJsonValue(QStringLiteral("-inf")));
    QCOMPARE(second.value(QStringLiteral("AvgPx")), QJsonValue(QStringLiteral("nan")));
}

void tst_LxQuote::tradesAreShownWithTheirSide()
{
    const CsvTable table(recording(tradeFile));
    const RecordingFolder folder({ tradeFile, QStringLiteral("securities.csv") });
    const QStringList trades { QStringLiteral("--kinds"), QStringLiteral("trade"), symbol };

    const Program::Result result = Program::run(
        watch(folder.path(), atOnce(QStringList { QStringLiteral("--format"), QStringLiteral("ndjson") } + trades)));
    QVERIFY2(result.exitCode == 0, result.err);
    const QList<QByteArray> lines = result.lines();
    QCOMPARE(lines.size(), table.rowCount());
    const QHash<QByteArray, QJsonValue> sides { { "B", QStringLiteral("buy") },
                                                { "S", QStringLiteral("sell") },
                                                { "N", QJsonValue(QJsonValue::Null) } };
    for (int i = 0; i < lines.size(); ++i) {
        const CsvRow row = table.row(i);
        const QJsonObject expected { { QStringLiteral("type"), QStringLiteral("trade") },
                                     { QStringLiteral("Symbol"), row.text("Symbol") },
                                     { QStringLiteral("MDTime"), row.text("MDTime") },
                                     { QStringLiteral("TradePrice"), row.number("TradePrice") },
                                     { QStringLiteral("lots"), row.integer("TradeQty") / 100 },
                                     { QStringLiteral("side"), sides.value(row.cell("TradeBSFlag")) } };
        QCOMPARE(parsed(lines.at(i)), expected);
    }

    const Program::Result table2 = Program::run(watch(folder.path(), atOnce(trades)));
    QVERIFY2(table2.exitCode == 0, table2.err);
    QCOMPARE(linesStartingWith(table2.lines(), "600519.SH  trade "), table.rowCount());
    const QByteArray count = summaryOf(table2.out, "transactions").value(2);
    QCOMPARE(QByteArray(count).replace(",", "").toInt(), table.rowCount());
}

void tst_LxQuote::rankingsAndUpDownCountsAreShown()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const Program::Result result = Program::run(
        watch(folder.path(), atOnce({ QStringLiteral("--kinds"), QStringLiteral("ranking,updown"), symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    const QList<QByteArray> lines = result.lines();
    // Once a second of market time, and nothing else: no quotes.
    QCOMPARE(linesStartingWith(lines, "top by change:"), 3);
    QCOMPARE(linesStartingWith(lines, "top by turnover:"), 3);
    QCOMPARE(linesStartingWith(lines, "top by amplitude:"), 3);
    QCOMPARE(linesStartingWith(lines, "600519.SH "), 0);
    QVERIFY(result.out.contains("top by change:  600519.SH +0.57%  000333.SZ -0.91%\n"));
    QVERIFY(result.out.contains("SH: 1 up (0 limit), 0 down (0 limit), 0 unchanged   "
                                "SZ: 0 up (0 limit), 1 down (0 limit), 0 unchanged\n"));
}

void tst_LxQuote::emptyNotesAreNotShown()
{
    RecordingFolder folder;
    // Nothing has been traded: there is nobody to rank or count.
    folder.write(smallFile, "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230201,091500000,600519.SH,1800,0\n");
    const Program::Result result = Program::run(
        watch(folder.path(), atOnce({ QStringLiteral("--kinds"), QStringLiteral("ranking,updown"), symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(linesStartingWith(result.lines(), "top by"), 0);
    // The empty line that sets the summary off is the only one.
    QCOMPARE(result.lines().count(QByteArray()), 1);
}

void tst_LxQuote::snapshotSheetHasEveryFieldAndTheLadder()
{
    const CsvTable table(recording(quoteFile));
    const StockQuotaData last = expectedStock(table.row(rowsOf(table, symbol).last()));
    const RecordingFolder folder({ quoteFile, QStringLiteral("securities.csv") });

    const Program::Result result = Program::run(snapshot(folder.path(), { symbol }));
    QVERIFY2(result.exitCode == 0, result.err);
    QHash<QByteArray, QByteArray> values;
    for (const QByteArray &line : result.lines()) {
        const QList<QByteArray> cells = line.simplified().split(' ');
        if (cells.size() == 2)
            values.insert(cells.at(0), cells.at(1));
        else if (cells.size() == 4) // "ask 1 price quantity"
            values.insert(cells.at(0) + cells.at(1), cells.at(2) + ' ' + cells.at(3));
    }
    for (const StockField &field : fieldsOf(last)) {
        const bool inLadder = QByteArray(field.name).startsWith("Sell") || QByteArray(field.name).startsWith("Buy");
        QVERIFY2(inLadder != values.contains(field.name), field.name);
    }
    QCOMPARE(values.value("LastPx"), QLocale(QLocale::English).toString(last.LastPx, 'f', -128).toUtf8());
    QCOMPARE(values.value("MDTime"), last.MDTime.toUtf8());
    QCOMPARE(values.value("Reserved1"), QByteArray("-"));
    QCOMPARE(values.value("PERatio"), QByteArray("-"));
    for (int level = 0; level < STOCK_BOOK_LEVELS; ++level) {
        const QLocale english(QLocale::English);
        const auto expected = [&](double price, qint64 quantity) {
            return QByteArray::number(price, 'f', 2) + ' ' + english.toString(quantity).toUtf8();
        };
        const QByteArray number = QByteArray::number(level + 1);
        QCOMPARE(values.value("ask" + number), expected(last.SellPrice[level], last.SellOrderQty[level]));
        QCOMPARE(values.value("bid" + number), expected(last.BuyPrice[level], last.BuyOrderQty[level]));
    }
    QVERIFY(result.out.indexOf("ask 10") < result.out.indexOf("ask 1 "));
    QVERIFY(result.out.indexOf("ask 1 ") < result.out.indexOf("bid 1 "));
    QVERIFY(result.out.indexOf("bid 1 ") < result.out.indexOf("bid 10"));
}

void tst_LxQuote::snapshotJsonIsTheRecord()
{
    const CsvTable quotes(recording(QStringLiteral("stock_snapshots_20230202.csv.gz")));
    const CsvTable trades(recording(tradeFile));
    const QString other = QStringLiteral("000333.SZ");

    const Program::Result result =
        Program::run(snapshot(QStringLiteral(LX_DATA_DIR), { QStringLiteral("--date"), QStringLiteral("20230202"),
                                                             QStringLiteral("--format"), QStringLiteral("json"), symbol,
                                                             other }));
    QVERIFY2(result.exitCode == 0, result.err);
    const QJsonArray array = QJsonDocument::fromJson(result.out).array();
    QCOMPARE(array.size(), 2);
    StockQuotaData first = expectedStock(quotes.row(rowsOf(quotes, symbol).last()));
    first.LastTradeLots = static_cast<double>(trades.row(trades.rowCount() - 1).integer("TradeQty") / 100);
    const StockQuotaData second = expectedStock(quotes.row(rowsOf(quotes, other).last()));
    const int middle = result.out.indexOf("000333.SZ");
    const int secondBegins = result.out.lastIndexOf('{', middle);
    const QString faultOfFirst = jsonFault(result.out.left(secondBegins), array.at(0).toObject(), first);
    QVERIFY2(faultOfFirst.isEmpty(), qPrintable(faultOfFirst));
    const QString faultOfSecond = jsonFault(result.out.mid(secondBegins), array.at(1).toObject(), second);
    QVERIFY2(faultOfSecond.isEmpty(), qPrintable(faultOfSecond));
}

void tst_LxQuote::snapshotOfAnUnknownSymbolFails()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const Program::Result result = Program::run(snapshot(folder.path(), { QStringLiteral("999999.XX"), symbol }));
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("no stock quote of 999999.XX"), result.err);
    QVERIFY2(result.out.startsWith("600519.SH"), result.out); // the other one is printed all the same
}

void tst_LxQuote::unknownSymbolIsWarnedOf()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    const Program::Result result =
        Program::run(watch(folder.path(), atOnce({ QStringLiteral("999999.XX"), symbol })));
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.err.contains("warning: unknown symbol 999999.XX"), result.err);
    QVERIFY2(!result.err.contains("600519.SH"), result.err);
    QCOMPARE(linesStartingWith(result.lines(), "600519.SH "), 3);
}

void tst_LxQuote::usageErrorsExitWith2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *arguments, const char *complaint) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts)
                            << QByteArray(complaint);
    };
    row("no command", "", "no command given");
    row("unknown command", "frobnicate", "frobnicate");
    row("unknown option", "watch --frobnicate 600519.SH", "frobnicate");
    row("watch without a symbol", "watch", "no symbol given");
    row("snapshot without a symbol", "snapshot", "no symbol given");
    row("speed that is no number", "watch --speed fast 600519.SH", "fast");
    row("speed of zero", "watch --speed 0 600519.SH", "no speed");
    row("negative speed", "watch --speed -1 600519.SH", "no speed");
    row("endless speed", "watch --speed inf 600519.SH", "no speed");
    row("speed that is not a number", "watch --speed nan 600519.SH", "no speed");
    row("date that is none", "watch --date 20230231 600519.SH", "20230231");
    row("unknown format", "watch --format json 600519.SH", "json");
    row("unknown format of a snapshot", "snapshot --format ndjson 600519.SH", "ndjson");
    row("unknown kind", "watch --kinds quote,news 600519.SH", "news");
    row("no kind", "watch --kinds , 600519.SH", "kind");
    row("option without its value", "watch 600519.SH --speed", "speed");
}

void tst_LxQuote::usageErrorsExitWith2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, complaint);

    const Program::Result result = Program::run(arguments);
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(complaint), result.err);
    QCOMPARE(result.out, QByteArray());
}

void tst_LxQuote::helpExitsWith0_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");

    const QString help = QStringLiteral("--help");
    QTest::newRow("program") << QStringList { help } << QByteArray("Commands:");
    QTest::newRow("program, short") << QStringList { QStringLiteral("-h") } << QByteArray("Commands:");
    QTest::newRow("watch") << QStringList { QStringLiteral("watch"), help } << QByteArray("--kinds");
    QTest::newRow("snapshot") << QStringList { QStringLiteral("snapshot"), help } << QByteArray("--format");
    QTest::newRow("version") << QStringList { QStringLiteral("--version") } << QByteArray("lxquote ");
}

void tst_LxQuote::helpExitsWith0()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, text);

    const Program::Result result = Program::run(arguments);
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(text), result.out);
    QCOMPARE(result.err, QByteArray());
}

void tst_LxQuote::missingFolderExitsWith2()
{
    const RecordingFolder folder;
    const QString missing = folder.filePath(QStringLiteral("missing"));
    for (const QStringList &arguments : { watch(missing, { symbol }), snapshot(missing, { symbol }) }) {
        const Program::Result result = Program::run(arguments);
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.contains(missing.toLocal8Bit()), result.err);
    }
    // A folder without recordings is no better.
    const Program::Result result = Program::run(watch(folder.path(), { symbol }));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(folder.path().toLocal8Bit()), result.err);
}

void tst_LxQuote::truncatedRecordingExitsWith2_data()
{
    QTest::addColumn<bool>("isSnapshot");

    QTest::newRow("watch") << false;
    QTest::newRow("snapshot") << true;
}

void tst_LxQuote::truncatedRecordingExitsWith2()
{
    QFETCH(bool, isSnapshot);

    QByteArray content = smallRecording;
    for (int second = 10; second < 60; ++second)
        content += "20230201,0930" + QByteArray::number(second) + "000,600519.SH,1800,1801,400,720425\n";
    RecordingFolder folder;
    folder.writeGzip(smallFile + QStringLiteral(".gz"), content, 200);

    const Program::Result result = Program::run(isSnapshot ? snapshot(folder.path(), { symbol })
                                                           : watch(folder.path(), atOnce({ symbol })));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(smallFile.toLatin1()), result.err);
}

void tst_LxQuote::brokenRowsAreReported()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording + "20230201,093003000,600519.SH,1800,much,400,720425\nno row\n");
    const Program::Result result = Program::run(watch(folder.path(), atOnce({ symbol })));
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.err.contains(smallFile.toLatin1() + ":8: LastPx \"much\" is no number"), result.err);
    QVERIFY2(result.err.contains(smallFile.toLatin1() + ":9: 1 cells instead of 7"), result.err);
    QCOMPARE(summaryOf(result.out, "stock quotes"), (QList<QByteArray> { "6", "3", "3", "0", "2" }));
}

void tst_LxQuote::interruptEndsWithSummary_data()
{
    QTest::addColumn<int>("signalNumber");

    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void tst_LxQuote::interruptEndsWithSummary()
{
    QFETCH(int, signalNumber);

    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    QProcess program;
    // The second quote is due in a thousand seconds.
    Program::start(&program, watch(folder.path(), { QStringLiteral("--speed"), QStringLiteral("0.001"), symbol }));
    QVERIFY(program.waitForReadyRead(30000));
    ::kill(static_cast<pid_t>(program.processId()), signalNumber);
    const Program::Result result = Program::finish(&program);
    QVERIFY2(result.exitCode == 0, result.err);
    QVERIFY2(result.out.contains("1 records announced in "), result.out);
}

void tst_LxQuote::terminalShowsATableInPlace()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const Program::Result result = Program::runOnTerminal(
        watch(folder.path(), { QStringLiteral("--speed"), QStringLiteral("10"), symbol, QStringLiteral("000333.SZ") }));
    QCOMPARE(result.exitCode, 0);
    // A header and two rows, drawn over: first empty, at last with the last change.
    const QByteArray up = "\x1b[3A";
    const QByteArray waiting = result.out.left(result.out.indexOf(up));
    QVERIFY2(!waiting.contains("\x1b[31m") && !waiting.contains("\x1b[32m"), waiting);
    QVERIFY2(result.out.contains(up), result.out);
    const QList<QByteArray> last = result.out.mid(result.out.lastIndexOf(up) + up.size()).split('\n');
    QVERIFY(last.size() > 3);
    QVERIFY2(last.at(0).contains("symbol"), last.at(0));
    QVERIFY2(last.at(1).contains("600519.SH") && last.at(1).contains("\x1b[31m  1810.25\x1b[0m"), last.at(1));
    QVERIFY2(last.at(1).contains("09:30:02"), last.at(1));
    QVERIFY2(last.at(2).contains("000333.SZ") && last.at(2).contains("\x1b[32m    54.50\x1b[0m"), last.at(2));
    // The summary stands below the table.
    QVERIFY2(result.out.mid(result.out.lastIndexOf(up)).contains("6 records announced in "), result.out);
}

void tst_LxQuote::terminalWithoutColours()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const Program::Result result = Program::runOnTerminal(
        watch(folder.path(), { QStringLiteral("--speed"), QStringLiteral("10"), symbol, QStringLiteral("000333.SZ") }),
        { "NO_COLOR=1" });
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains("\x1b[3A"));
    QVERIFY2(!QRegularExpression(QStringLiteral("\x1b\\[[0-9;]*m")).match(QString::fromUtf8(result.out)).hasMatch(),
             result.out);
}

QTEST_GUILESS_MAIN(tst_LxQuote)

#include "tst_lxquote.moc"
