#include "csvtable.h"
#include "market.h"
#include "program.h"
#include "quotefields.h"

#include <importer.h>
#include <storeconnection.h>

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

// Fields of the price so far, which are unknown before the first trade.
const QStringList tradingFields {
    QStringLiteral("LastPx"),    QStringLiteral("Change"), QStringLiteral("ChangeRatio"),
    QStringLiteral("Amplitude"), QStringLiteral("AvgPx"),  QStringLiteral("TurnoverRate")
};

// True of what JSON shows of a number: null if it is unknown, undefined, infinite or a price of zero; else rounded to
// two decimals.
bool showsNumber(const QJsonValue &json, double number, bool isPrice)
{
    if (number == QUOTA_INVALID_VALUE || !std::isfinite(number) || (isPrice && number == 0))
        return json.isNull();
    return json.isDouble() && std::fabs(json.toDouble() - number) <= 0.0050001 + std::fabs(number) * 1e-12;
}

struct ShowsField
{
    const StockQuotaData &record;
    const QString &name;
    const QJsonValue &json;

    bool isPrice() const { return name.endsWith(QLatin1String("Px")) || name.endsWith(QLatin1String("Price")); }
    bool shows(const QJsonValue &value, const QString &string) const { return value == QJsonValue(string); }
    bool shows(const QJsonValue &value, double number) const { return showsNumber(value, number, isPrice()); }
    bool shows(const QJsonValue &value, qint64 number) const
    {
        return showsNumber(value, static_cast<double>(number), false);
    }
    bool shows(const QJsonValue &value, int number) const { return showsNumber(value, number, false); }

    template<typename Value>
    bool operator()(Value StockQuotaData::*member) const
    {
        if (!(record.TotalVolumeTrade > 0) && tradingFields.contains(name))
            return json.isNull();
        return shows(json, record.*member);
    }
    template<typename Value, size_t Levels>
    bool operator()(Value (StockQuotaData::*member)[Levels]) const
    {
        const QJsonArray array = json.toArray();
        for (size_t i = 0; i < Levels; ++i) {
            if (!shows(array.at(static_cast<int>(i)), (record.*member)[i]))
                return false;
        }
        return array.size() == static_cast<int>(Levels);
    }
};

// What is wrong with the JSON of a record, the order of its fields included; empty if nothing is.
QString jsonFault(const QByteArray &text, const QJsonObject &object, const StockQuotaData &expected)
{
    if (object.value(QStringLiteral("type")) != QJsonValue(QStringLiteral("stock")))
        return QStringLiteral("the type is wrong");
    static const QRegularExpression longNumber(QStringLiteral("\\.\\d{3}"));
    if (longNumber.match(QString::fromUtf8(text)).hasMatch())
        return QStringLiteral("a number has more than two decimals");
    int position = -1;
    int fields = 1;
    for (const StockField &field : fieldsOf(expected)) {
        const QString name = QString::fromLatin1(field.name);
        if (name.startsWith(QLatin1String("Reserved")))
            continue;
        ++fields;
        const int found = text.indexOf(QByteArray("\"") + field.name + "\":", position + 1);
        if (found < 0)
            return name + QStringLiteral(" is missing or not in its place");
        position = found;
        const QJsonValue value = object.value(name);
        if (!std::visit(ShowsField { expected, name, value }, field.member))
            return QStringLiteral("%1 is %2").arg(name, value.toVariant().toString());
    }
    return object.size() == fields ? QString() : QStringLiteral("too many fields");
}

// What the service's figures add to a quote.
void combineWithFundamentals(StockQuotaData *quote)
{
    const CsvTable table(recording(QStringLiteral("fundamentals.csv")));
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        if (row.text("Symbol") != quote->Symbol)
            continue;
        quote->TotalMarketValue = quote->LastPx * row.number("TotalShare");
        quote->CirculatingMarketValue = quote->LastPx * row.number("ListedShare");
        quote->TurnoverRate = quote->TotalVolumeTrade / row.number("TotalShare") * 100;
        quote->PBRatio = quote->LastPx / row.number("NetAssets");
        quote->PERatio = quote->LastPx / row.number("EPS");
    }
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

/// The client program: output, error messages and exit codes.
class tst_LxQuote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void tableInAPipeIsALineAnUpdate();
    void ndjsonIsARecordALine();
    void infinitiesAndNaNAreNull();
    void tradesAreShownWithTheirSide();
    void rankingsAndUpDownCountsAreShown();
    void emptyNotesAreNotShown();
    void snapshotSheetHasEveryFieldAndTheLadder();
    void snapshotJsonIsTheRecord();
    void snapshotOfAnUnknownSymbolFails();
    void snapshotOfAFutureIsTheLastQuote();
    void averageOfAFutureIsAPrice_data();
    void averageOfAFutureIsAPrice();
    void onlyTheTimeWindowIsShown();
    void symbolsAreUnderstood_data();
    void symbolsAreUnderstood();
    void symbolsComeFromAFile();
    void symbolsThatAreNotUnderstoodAreReported_data();
    void symbolsThatAreNotUnderstoodAreReported();
    void argumentsAfterTwoDashesAreSymbols();
    void symbolsCommandTellsWhatThereIs();
    void latestDayIsReplayedByDefault();
    void latestDayHasWhatIsShown();
    void allAreThoseOfTheDay();
    void symbolsWithoutRecordsAreNamed();
    void latestRecordingThatCannotBeReadExitsWith2_data();
    void latestRecordingThatCannotBeReadExitsWith2();
    void dayWithoutRecordingsExitsWith2();
    void formatsHoldTheSameRecords();
    void fieldsOfATable();
    void limitOfSheetsAndCandles();
    void candlesHaveNoFields();
    void limitEndsEarly_data();
    void limitEndsEarly();
    void csvHoldsOneType();
    void outputGoesIntoAFile();
    void outputThatCannotBeWrittenExitsWith1_data();
    void outputThatCannotBeWrittenExitsWith1();
    void readerThatLeavesIsNoError();
    void programsThatStartTogetherShareTheStore();
    void storeOfTheUserMustBeCurrent_data();
    void storeOfTheUserMustBeCurrent();
    void optionsComeFromConfigurationAndEnvironment();
    void settingsOfOneCommandGoBeforeThoseOfAll();
    void optionOfOtherCommandsIsNotRead();
    void invalidSettingsExitWith2_data();
    void invalidSettingsExitWith2();
    void libraryStartsWithoutAWarning();
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

private:
    QTemporaryDir m_folder;
    QString m_store;
};

void tst_LxQuote::initTestCase()
{
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("cache"))));
    m_store = m_folder.filePath(QStringLiteral("store"));
    Importer importer(QStringLiteral(LX_DATA_DIR), m_store, nullptr);
    QString error;
    QVERIFY2(importer.run(&error), qPrintable(error));
}

void tst_LxQuote::tableInAPipeIsALineAnUpdate()
{
    const CsvTable table(recording(quoteFile));
    const QVector<int> rows = rowsOf(table, symbol);

    const Program::Result result =
        Program::run(watch(QStringLiteral(LX_DATA_DIR), atOnce({ QStringLiteral("--date"), date, symbol })));
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
    QCOMPARE(summaryOf(result.out, "stock quotes"), (QList<QByteArray> { "10,120", grouped, grouped, "0", "0" }));
    QVERIFY(result.lines().constLast().startsWith("2023-02-01: " + grouped + " records announced in "));
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

void tst_LxQuote::infinitiesAndNaNAreNull()
{
    RecordingFolder folder;
    folder.write(smallFile,
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,HighPx,LowPx,TotalVolumeTrade,TotalValueTrade\n"
                 "20230201,093000000,600519.SH,0,10,11,9,0,500\n"
                 "20230201,093001000,600519.SH,0,10,10,10,0,0\n");
    const Program::Result result =
        Program::run(watch(folder.path(), atOnce({ QStringLiteral("--format"), QStringLiteral("ndjson"), symbol })));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().size(), 2);
    const QJsonObject first = parsed(result.lines().at(0));
    const QJsonObject second = parsed(result.lines().at(1));
    for (const char *field : { "Amplitude", "AvgPx", "ChangeRatio" }) {
        QVERIFY2(first.value(QLatin1String(field)).isNull(), field);
        QVERIFY2(second.value(QLatin1String(field)).isNull(), field);
    }
    QCOMPARE(first.value(QStringLiteral("HighPx")), QJsonValue(11));
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
                                     { QStringLiteral("MDDate"), row.text("MDDate") },
                                     { QStringLiteral("MDTime"), row.text("MDTime") },
                                     { QStringLiteral("Symbol"), row.text("Symbol") },
                                     { QStringLiteral("TradePrice"), row.number("TradePrice") },
                                     { QStringLiteral("TradeQty"), row.integer("TradeQty") },
                                     { QStringLiteral("Lots"), static_cast<double>(row.integer("TradeQty")) / 100 },
                                     { QStringLiteral("TradeMoney"), row.number("TradeMoney") },
                                     { QStringLiteral("Side"), sides.value(row.cell("TradeBSFlag")) } };
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
    // Nothing has been traded, so there is no stock to rank or count.
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
        if (QByteArray(field.name).startsWith("Reserved")) {
            QVERIFY2(!values.contains(field.name), field.name);
            continue;
        }
        const bool inLadder = QByteArray(field.name).startsWith("Sell") || QByteArray(field.name).startsWith("Buy");
        QVERIFY2(inLadder != values.contains(field.name), field.name);
    }
    QCOMPARE(values.value("LastPx"), QByteArray::number(last.LastPx, 'f', 2));
    QCOMPARE(values.value("Change"), QByteArray("-0.79"));
    const QByteArray time = last.MDTime.toUtf8();
    QCOMPARE(values.value("MDTime"),
             time.mid(0, 2) + ':' + time.mid(2, 2) + ':' + time.mid(4, 2) + '.' + time.mid(6, 3));
    QCOMPARE(values.value("MDDate"), QByteArray("2023-02-01"));
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
        Program::run(snapshot(QStringLiteral(LX_DATA_DIR),
                              { QStringLiteral("--date"), QStringLiteral("20230202"), QStringLiteral("--format"),
                                QStringLiteral("json"), symbol, other }));
    QVERIFY2(result.exitCode == 0, result.err);
    const QJsonArray array = QJsonDocument::fromJson(result.out).array();
    QCOMPARE(array.size(), 2);
    StockQuotaData first = expectedStock(quotes.row(rowsOf(quotes, symbol).last()));
    first.LastTradeLots = static_cast<double>(trades.row(trades.rowCount() - 1).integer("TradeQty") / 100);
    StockQuotaData second = expectedStock(quotes.row(rowsOf(quotes, other).last()));
    for (StockQuotaData *quote : { &first, &second })
        combineWithFundamentals(quote);
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
    QVERIFY2(result.err.contains("no quote of 999999.XX on 2023-02-01"), result.err);
    QVERIFY2(result.out.startsWith("600519.SH"), result.out); // the other one is printed all the same
}

void tst_LxQuote::snapshotOfAFutureIsTheLastQuote()
{
    RecordingFolder folder;
    folder.write(QStringLiteral("future_snapshots_20210104.csv"),
                 "MDDate,MDTime,Symbol,PreSettlePrice,LastPx,TotalVolumeTrade,TotalValueTrade,OpenInterest,Buy1Price\n"
                 "20210104,092900400,IF2101.CF,5216.2,5230,240,376560000,90767,5230\n"
                 "20210104,092901000,IF2101.CF,5216.2,5231.4,250,376570000,90768,5231\n");
    const QStringList command = snapshot(folder.path(), { QStringLiteral("IF2101.CF") });
    const Program::Result json =
        Program::run(command + QStringList { QStringLiteral("--format"), QStringLiteral("ndjson") });
    QVERIFY2(json.exitCode == 0, json.err);
    const QJsonObject quote = parsed(json.out);
    QCOMPARE(quote.value(QStringLiteral("type")).toString(), QStringLiteral("future"));
    QCOMPARE(quote.value(QStringLiteral("LastPx")).toDouble(), 5231.4);
    QCOMPARE(quote.value(QStringLiteral("OpenInterest")).toDouble(), 90768.0);
    // Nobody is asked for the price-earnings ratio of a future.
    QVERIFY2(!json.err.contains("PE"), json.err);
    const Program::Result sheet = Program::run(command);
    QVERIFY2(sheet.out.contains("\n  bid 1       5231.0"), sheet.out);
}

void tst_LxQuote::averageOfAFutureIsAPrice_data()
{
    QTest::addColumn<QString>("contract");
    QTest::addColumn<QJsonValue>("average");

    QTest::newRow("stock index") << QStringLiteral("IF2101.CF") << QJsonValue(5230.4);
    QTest::newRow("bond of two years") << QStringLiteral("TS2103.CF") << QJsonValue(78.456);
    QTest::newRow("unknown contract") << QStringLiteral("XX2103.CF") << QJsonValue(QJsonValue::Null);
}

void tst_LxQuote::averageOfAFutureIsAPrice()
{
    QFETCH(QString, contract);
    QFETCH(QJsonValue, average);

    RecordingFolder folder;
    folder.write(QStringLiteral("future_snapshots_20210104.csv"),
                 "MDDate,MDTime,Symbol,PreSettlePrice,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                 "20210104,092900400,"
                     + contract.toUtf8() + ",5216.2,5230,100,156912000\n");
    const Program::Result result =
        Program::run(snapshot(folder.path(), { QStringLiteral("--format"), QStringLiteral("ndjson"), contract }));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(parsed(result.out).value(QStringLiteral("AvgPx")), average);
}

void tst_LxQuote::onlyTheTimeWindowIsShown()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const auto times = [&folder](const char *window) {
        const Program::Result result =
            Program::run(watch(folder.path(),
                               atOnce(QString::fromLatin1(window).split(QLatin1Char(' '))
                                      + QStringList { QStringLiteral("--format"), QStringLiteral("csv"),
                                                      QStringLiteral("--fields"), QStringLiteral("MDTime"), symbol })));
        return result.lines().mid(1);
    };
    using Times = QList<QByteArray>;
    QCOMPARE(times("--from 09:30:01 --to 09:30:01"), Times { "093001000" });
    QCOMPARE(times("--from 09:30:01"), (Times { "093001000", "093002000" }));
    QCOMPARE(times("--to 09:30"), Times { "093000000" });
    QCOMPARE(times("--from 09:25 --to 10:00").size(), 3);
}

void tst_LxQuote::symbolsAreUnderstood_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("symbols");

    const auto row = [](const char *name, const QStringList &arguments, const char *symbols = "600519.SH") {
        QTest::newRow(name) << arguments << QByteArray(symbols);
    };
    row("symbol", { QStringLiteral("600519.SH") });
    row("lower case", { QStringLiteral("600519.sh") });
    row("code", { QStringLiteral("600519") });
    row("market and code", { QStringLiteral("SH600519") });
    row("market and code in lower case", { QStringLiteral("sh600519") });
    row("name", { QStringLiteral("贵州茅台") });
    row("initials", { QStringLiteral("mdjt") }, "000333.SZ");
    row("blanks", { QStringLiteral("000333 600519") }, "000333.SZ\n600519.SH");
    row("commas", { QStringLiteral("000333,600519,") }, "000333.SZ\n600519.SH");
    row("arguments", { QStringLiteral("600519"), QStringLiteral("MDJT") }, "600519.SH\n000333.SZ");
    row("twice", { QStringLiteral("600519"), QStringLiteral("SH600519") });
    row("all that are recorded", { QStringLiteral("--all") }, "000333.SZ\n600519.SH");
    row("symbol without a name", { QStringLiteral("IF2101.CF") }, "IF2101.CF");
    row("code of a symbol without a name", { QStringLiteral("if2101") }, "IF2101.CF");
}

void tst_LxQuote::symbolsAreUnderstood()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, symbols);

    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("future_snapshots_20230131.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230131,093000000,IF2101.CF,5200,5201\n");
    const QStringList options { QStringLiteral("--fields"), QStringLiteral("Symbol"), QStringLiteral("--format"),
                                QStringLiteral("csv") };
    const Program::Result result = Program::run(watch(folder.path(), atOnce(options + arguments)));
    QVERIFY2(result.exitCode == 0, result.err);
    QList<QByteArray> shown;
    for (const QByteArray &line : result.lines().mid(1)) {
        if (!shown.contains(line))
            shown.append(line);
    }
    std::sort(shown.begin(), shown.end());
    QList<QByteArray> expected = symbols.split('\n');
    std::sort(expected.begin(), expected.end());
    QCOMPARE(shown, expected);
}

void tst_LxQuote::symbolsComeFromAFile()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("list.txt"), "600519\n美的集团, 600519.SH\n");
    const QStringList options { QStringLiteral("--symbols"), folder.filePath(QStringLiteral("list.txt")),
                                QStringLiteral("--format"), QStringLiteral("csv") };
    const Program::Result result = Program::run(snapshot(folder.path(), options));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().size(), 3);
    QVERIFY(result.lines().at(1).contains("600519.SH") && result.lines().at(2).contains("000333.SZ"));
}

void tst_LxQuote::symbolsThatAreNotUnderstoodAreReported_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("complaint");

    QTest::newRow("code of two markets") << QStringLiteral(
        "000001") << QStringLiteral("\"000001\" is ambiguous: 000001.SH 上证综指, 000001.SZ 平安银行");
    QTest::newRow("part of a name") << QStringLiteral("茅台") << QStringLiteral("did you mean 600519.SH 贵州茅台?");
    QTest::newRow("other market") << QStringLiteral("600519.SZ")
                                  << QStringLiteral("unknown symbol \"600519.SZ\"; did you mean 600519.SH 贵州茅台?");
    QTest::newRow("unknown") << QStringLiteral("999999.XX") << QStringLiteral("unknown symbol \"999999.XX\"");
    QTest::newRow("initials of a stock and an index")
        << QStringLiteral("gzmt") << QStringLiteral("\"gzmt\" is ambiguous: 600519.SH 贵州茅台, SZ399436.SZ 国证煤炭");
    // Every security whose code has this digit would be no help.
    QTest::newRow("a digit") << QStringLiteral("-1") << QStringLiteral("unknown symbol \"-1\"\n");
    QTest::newRow("escape sequence") << QStringLiteral("a\x1b[31mb\x7f")
                                     << QStringLiteral("unknown symbol \"a\\x1b[31mb\\x7f\"");
    QTest::newRow("nothing") << QStringLiteral(",") << QStringLiteral("no symbol is given");
}

void tst_LxQuote::symbolsThatAreNotUnderstoodAreReported()
{
    QFETCH(QString, argument);
    QFETCH(QString, complaint);

    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    const Program::Result result = Program::run(watch(folder.path(), atOnce({ argument })));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(complaint.toUtf8()), result.err);
    QCOMPARE(result.out, QByteArray()); // nothing has run
}

void tst_LxQuote::argumentsAfterTwoDashesAreSymbols()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    const QStringList options = atOnce({ QStringLiteral("--limit"), QStringLiteral("1"), QStringLiteral("--") });
    QCOMPARE(Program::run(watch(folder.path(), options + QStringList { symbol })).exitCode, 0);
    const Program::Result result =
        Program::run(watch(folder.path(), options + QStringList { QStringLiteral("--data") }));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains("unknown symbol \"--data\"\n"), result.err);
}

void tst_LxQuote::symbolsCommandTellsWhatThereIs()
{
    const Program::Result result =
        Program::run({ QStringLiteral("symbols"), QStringLiteral("--data"), QStringLiteral(LX_DATA_DIR),
                       QStringLiteral("--format"), QStringLiteral("csv"), QStringLiteral("gzmt") });
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().at(0),
             QByteArray("Symbol,SecurityName,SecurityType,Initials,RecordedDays,FirstRecorded,LastRecorded,DailyBars,"
                        "FirstBar,LastBar,MinuteBars"));
    QCOMPARE(result.lines().at(1), QByteArray("600519.SH,贵州茅台,stock,GZMT,2,20230201,20230202,,,,"));
    const Program::Result bars =
        Program::run({ QStringLiteral("symbols"), QStringLiteral("--data"), QStringLiteral(LX_DATA_DIR),
                       QStringLiteral("--format"), QStringLiteral("csv"), QStringLiteral("600000") });
    QVERIFY2(bars.out.contains("600000.SH,浦发银行,stock,PFYH,1,20230201,20230201,4899,20050104,20250805,\n"),
             bars.out);
}

void tst_LxQuote::latestDayIsReplayedByDefault()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("stock_snapshots_20230203.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade\n20230203,093000000,600519.SH,1,2,3\n");
    folder.write(QStringLiteral("stock_snapshots_20230204.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade\n20230204,093000000,000002.SZ,1,2,3\n");
    const QStringList csv { QStringLiteral("--format"), QStringLiteral("csv"), QStringLiteral("--fields"),
                            QStringLiteral("MDDate"), symbol };
    QCOMPARE(Program::run(watch(folder.path(), atOnce(csv))).out, QByteArray("MDDate\n20230203\n"));
    const Program::Result lines = Program::run(watch(folder.path(), atOnce({ symbol })));
    QVERIFY2(lines.lines().constLast().startsWith("2023-02-03: 1 records announced in "), lines.out);
    for (const QString &day : { QStringLiteral("2023-02-01"), QStringLiteral("20230201") }) {
        const Program::Result chosen =
            Program::run(watch(folder.path(), atOnce(csv + QStringList { QStringLiteral("--date"), day })));
        QCOMPARE(chosen.out, QByteArray("MDDate\n20230201\n20230201\n20230201\n"));
    }
}

void tst_LxQuote::latestDayHasWhatIsShown()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("transactions_20230202.csv"),
                 "MDDate,MDTime,Symbol,TradePrice,TradeQty,TradeMoney,TradeBSFlag\n"
                 "20230202,093000000,600519.SH,1810.25,200,362050,1\n");
    const auto day = [&folder](const QStringList &more) {
        const Program::Result result = Program::run(
            watch(folder.path(),
                  atOnce(QStringList { QStringLiteral("--format"), QStringLiteral("csv"), QStringLiteral("--fields"),
                                       QStringLiteral("MDDate"), QStringLiteral("--limit"), QStringLiteral("1") }
                         + more)));
        return result.lines().value(1);
    };
    for (const QString &which : { symbol, QStringLiteral("--all") }) {
        QCOMPARE(day({ which }), QByteArray("20230201"));
        QCOMPARE(day({ which, QStringLiteral("--kinds"), QStringLiteral("quote,trade") }), QByteArray("20230201"));
        QCOMPARE(day({ which, QStringLiteral("--kinds"), QStringLiteral("trade") }), QByteArray("20230202"));
    }
    const Program::Result last = Program::run(snapshot(folder.path(), { symbol }));
    QVERIFY2(last.exitCode == 0 && last.out.contains("2023-02-01"), last.err);
}

void tst_LxQuote::allAreThoseOfTheDay()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("stock_snapshots_20230131.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade\n20230131,093000000,600000.SH,1,2,3\n");
    folder.write(QStringLiteral("transactions_20230202.csv"),
                 "MDDate,MDTime,Symbol,TradePrice,TradeQty,TradeMoney,TradeBSFlag\n"
                 "20230202,093000000,600519.SH,1810.25,200,362050,1\n");
    const QStringList all { QStringLiteral("--format"), QStringLiteral("csv"), QStringLiteral("--fields"),
                            QStringLiteral("Symbol"), QStringLiteral("--all") };
    const Program::Result latest = Program::run(snapshot(folder.path(), all));
    QVERIFY2(latest.exitCode == 0 && !latest.err.contains("no quote"), latest.err);
    QCOMPARE(latest.out, QByteArray("Symbol\n000333.SZ\n600519.SH\n"));
    const auto ofDay = [&](const char *day) {
        return Program::run(
            snapshot(folder.path(), all + QStringList { QStringLiteral("--date"), QLatin1String(day) }));
    };
    QCOMPARE(ofDay("20230131").out, QByteArray("Symbol\n600000.SH\n"));
    const Program::Result none = ofDay("20230202");
    QCOMPARE(none.exitCode, 2);
    QVERIFY2(none.err.contains("no quotes are recorded on 2023-02-02; there are some of 2023-01-31, 2023-02-01\n"),
             none.err);
}

void tst_LxQuote::symbolsWithoutRecordsAreNamed()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("stock_snapshots_20230131.csv"),
                 "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade\n20230131,093000000,600000.SH,1,2,3\n");
    const Program::Result result = Program::run(
        watch(folder.path(), atOnce({ symbol, QStringLiteral("600000.SH"), QStringLiteral("600004.SH") })));
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.err,
             QByteArray("lxquote: no quotes of 600000.SH are recorded on 2023-02-01; the latest are of 2023-01-31\n"
                        "lxquote: no quotes of 600004.SH are recorded\n"));
}

void tst_LxQuote::latestRecordingThatCannotBeReadExitsWith2_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("bytes"); // of the compressed recording
    QTest::addColumn<bool>("isLatest");

    QTest::newRow("empty") << QStringLiteral("stock_snapshots_20230202.csv.gz") << 0 << true;
    QTest::newRow("cut off") << QStringLiteral("stock_snapshots_20230202.csv.gz") << 40 << true;
    QTest::newRow("of the same day") << QStringLiteral("index_snapshots_20230201.csv.gz") << 40 << true;
    QTest::newRow("of an earlier day") << QStringLiteral("stock_snapshots_20230131.csv.gz") << 40 << false;
}

void tst_LxQuote::latestRecordingThatCannotBeReadExitsWith2()
{
    QFETCH(QString, name);
    QFETCH(int, bytes);
    QFETCH(bool, isLatest);

    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.writeGzip(name, "MDDate,MDTime,Symbol,PreClosePx,LastPx\n20230202,093000000,600519.SH,1800,1801\n", bytes);
    const QStringList commands[] { watch(folder.path(), atOnce({ symbol })),
                                   watch(folder.path(), atOnce({ QStringLiteral("--all") })),
                                   snapshot(folder.path(), { symbol }) };
    for (const QStringList &command : commands) {
        const Program::Result result = Program::run(command);
        if (!isLatest) {
            QVERIFY2(result.exitCode == 0, result.err);
            continue;
        }
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err.count(name.toUtf8()), 1);
        QVERIFY2(result.err.contains("specify one (--date)"), result.err);
    }
}

void tst_LxQuote::dayWithoutRecordingsExitsWith2()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    for (const char *command : { "watch", "snapshot" }) {
        const Program::Result result = Program::run({ QLatin1String(command), QStringLiteral("--data"), folder.path(),
                                                      QStringLiteral("--date"), QStringLiteral("2023-02-02"), symbol });
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.contains("2023-02-02") && result.err.contains("2023-02-01"), result.err);
    }
}

void tst_LxQuote::formatsHoldTheSameRecords()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const auto run = [&](const char *format) {
        return Program::run(watch(folder.path(),
                                  atOnce({ QStringLiteral("--fields"), QStringLiteral("MDTime,LastPx,Change,PERatio"),
                                           symbol, QStringLiteral("--format"), QLatin1String(format) })));
    };
    QCOMPARE(run("csv").out,
             QByteArray("MDTime,LastPx,Change,PERatio\n093000000,1800.00,0.00,\n093001000,1790.00,-10.00,\n"
                        "093002000,1810.25,10.25,\n"));
    const QByteArray lines =
        "{\"type\":\"stock\",\"MDTime\":\"093000000\",\"LastPx\":1800.0,\"Change\":0.0,\"PERatio\":null}\n"
        "{\"type\":\"stock\",\"MDTime\":\"093001000\",\"LastPx\":1790.0,\"Change\":-10.0,\"PERatio\":null}\n"
        "{\"type\":\"stock\",\"MDTime\":\"093002000\",\"LastPx\":1810.25,\"Change\":10.25,\"PERatio\":null}\n";
    QCOMPARE(run("ndjson").out, lines);
    QJsonArray expected;
    for (const QByteArray &line : lines.trimmed().split('\n'))
        expected.append(parsed(line));
    QCOMPARE(QJsonDocument::fromJson(run("json").out).array(), expected);
}

void tst_LxQuote::fieldsOfATable()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const QStringList fields { QStringLiteral("--fields"), QStringLiteral("MDTime,LastPx,PERatio"), symbol };
    const Program::Result lines = Program::run(watch(folder.path(), atOnce(fields)));
    QVERIFY2(lines.exitCode == 0, lines.err);
    QCOMPARE(lines.lines().mid(0, 4),
             (QList<QByteArray> { "MDTime              LastPx  PERatio", "09:30:00.000       1800.00  -",
                                  "09:30:01.000       1790.00  -", "09:30:02.000       1810.25  -" }));
    const Program::Result last = Program::run(snapshot(folder.path(), fields));
    QCOMPARE(last.lines(), (QList<QByteArray> { "MDTime         LastPx  PERatio", "09:30:02.000  1810.25  -" }));
}

void tst_LxQuote::limitOfSheetsAndCandles()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const Program::Result sheets = Program::run(snapshot(
        folder.path(), { symbol, QStringLiteral("000333.SZ"), QStringLiteral("--limit"), QStringLiteral("1") }));
    QVERIFY2(sheets.exitCode == 0, sheets.err);
    QVERIFY2(sheets.out.startsWith("600519.SH") && !sheets.out.contains("000333.SZ"), sheets.out);
    const Program::Result candles = Program::run(
        { QStringLiteral("kline"), QStringLiteral("600000.SH"), QStringLiteral("--store"), m_store,
          QStringLiteral("--from"), QStringLiteral("20230101"), QStringLiteral("--to"), QStringLiteral("20230201"),
          QStringLiteral("--format"), QStringLiteral("candles"), QStringLiteral("--limit"), QStringLiteral("5") });
    QVERIFY2(candles.out.startsWith("600000.SH, 5 bars, 2023-01-03 to 2023-01-09\n"), candles.out + candles.err);
}

void tst_LxQuote::candlesHaveNoFields()
{
    const QStringList kline { QStringLiteral("kline"),    QStringLiteral("600000.SH"),
                              QStringLiteral("--store"),  m_store,
                              QStringLiteral("--from"),   QStringLiteral("20230103"),
                              QStringLiteral("--to"),     QStringLiteral("20230103"),
                              QStringLiteral("--fields"), QStringLiteral("MDDate,ClosePx") };
    const Program::Result refused =
        Program::run(kline + QStringList { QStringLiteral("--format"), QStringLiteral("candles") });
    QCOMPARE(refused.exitCode, 2);
    QVERIFY2(refused.err.contains("candles have no fields"), refused.err);
    QCOMPARE(Program::run(kline).out, QByteArray("MDDate      ClosePx\n2023-01-03     7.23\n"));
}

void tst_LxQuote::limitEndsEarly_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<int>("lines");

    QTest::newRow("table") << QStringLiteral("table") << 3;
    QTest::newRow("ndjson") << QStringLiteral("ndjson") << 3;
    QTest::newRow("csv") << QStringLiteral("csv") << 4;
}

void tst_LxQuote::limitEndsEarly()
{
    QFETCH(QString, format);
    QFETCH(int, lines);

    RecordingFolder folder;
    folder.write(smallFile, smallRecording + "20230201,150000000,600519.SH,1800,1800,100,180000\n");
    // The fourth record is due in half an hour.
    const Program::Result result = Program::run(
        watch(folder.path(),
              { QStringLiteral("--speed"), QStringLiteral("10"), QStringLiteral("--keep-pauses"),
                QStringLiteral("--limit"), QStringLiteral("3"), QStringLiteral("--format"), format, symbol }));
    QVERIFY2(result.exitCode == 0, result.err);
    const QList<QByteArray> all = result.lines();
    const int end = format == QLatin1String("table") ? all.indexOf(QByteArray()) : all.size();
    QCOMPARE(end, lines);
}

void tst_LxQuote::csvHoldsOneType()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("transactions_20230201.csv"),
                 "MDDate,MDTime,Symbol,TradeBuyNo,TradeSellNo,TradePrice,TradeQty,TradeMoney,TradeBSFlag\n"
                 "20230201,093000500,600519.SH,1,2,1800,50,90000,B\n");
    const QStringList both = watch(folder.path(),
                                   atOnce({ QStringLiteral("--format"), QStringLiteral("csv"),
                                            QStringLiteral("--kinds"), QStringLiteral("quote,trade"), symbol }));
    const Program::Result mixed = Program::run(both);
    QCOMPARE(mixed.exitCode, 1);
    QVERIFY2(mixed.err.contains("CSV output holds records of one type"), mixed.err);
    const Program::Result selected =
        Program::run(both + QStringList { QStringLiteral("--fields"), QStringLiteral("MDTime,Symbol,Lots") });
    QVERIFY2(selected.exitCode == 0, selected.err);
    QVERIFY2(selected.out.contains("093000500,600519.SH,0.5\n"), selected.out);
}

void tst_LxQuote::outputGoesIntoAFile()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const QString path = folder.filePath(QStringLiteral("out.csv"));
    const QStringList command { QStringLiteral("--format"), QStringLiteral("csv"), symbol };
    const Program::Result printed = Program::run(watch(folder.path(), atOnce(command)));
    const Program::Result written =
        Program::run(watch(folder.path(), atOnce(command + QStringList { QStringLiteral("-o"), path })));
    QVERIFY2(written.exitCode == 0, written.err);
    QCOMPARE(written.out, QByteArray());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), printed.out);
}

void tst_LxQuote::outputThatCannotBeWrittenExitsWith1_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<bool>("asksStore");

    const auto row = [](const char *name, const char *command, bool asksStore = false) {
        QTest::newRow(name) << QString::fromLatin1(command).split(QLatin1Char(' ')) << asksStore;
    };
    row("help", "--help");
    row("version", "--version");
    row("help of a command", "kline --help");
    row("lines", "watch --speed max 600519.SH");
    row("ndjson", "watch --speed max 600519.SH --format ndjson");
    row("json", "watch --speed max 600519.SH --format json");
    row("csv", "watch --speed max 600519.SH --format csv");
    row("snapshot", "snapshot 600519.SH");
    row("snapshot as csv", "snapshot 600519.SH --format csv");
    row("bars", "kline 600000.SH --from 20230201 --to 20230201", true);
    row("bars as candles", "kline 600000.SH --from 20230201 --to 20230201 --format candles", true);
    row("trading day", "tradeday 20230201 1", true);
    row("figures", "risedays 600000.SH", true);
}

void tst_LxQuote::outputThatCannotBeWrittenExitsWith1()
{
    QFETCH(QStringList, command);
    QFETCH(bool, asksStore);

    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    command += { QStringLiteral("--data"), folder.path() };
    if (asksStore)
        command += { QStringLiteral("--store"), m_store };
    const Program::Result full = Program::run(command, QStringLiteral("/dev/full"));
    const Program::Result working = Program::run(command);
    QCOMPARE(full.exitCode, 1);
    QVERIFY2(full.err.contains("cannot write standard output: No space left on device"), full.err);
    QVERIFY2(working.exitCode == 0, working.err);
}

void tst_LxQuote::readerThatLeavesIsNoError()
{
    const QString pipe = QStringLiteral("\"$0\" \"$@\" | head -n 1; exit ${PIPESTATUS[0]}");
    QProcess shell;
    shell.start(QStringLiteral("bash"),
                QStringList { QStringLiteral("-c"), pipe, QStringLiteral(LX_QUOTE_PROGRAM) }
                    + watch(QStringLiteral(LX_DATA_DIR),
                            atOnce({ QStringLiteral("--date"), date, symbol, QStringLiteral("--format"),
                                     QStringLiteral("ndjson") })));
    const Program::Result result = Program::finish(&shell);
    QVERIFY2(result.exitCode == 0, result.err);
    QCOMPARE(result.lines().size(), 1);
    QVERIFY2(!result.err.contains("cannot write"), result.err);
}

void tst_LxQuote::programsThatStartTogetherShareTheStore()
{
    const QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.path()));
    QProcess programs[3];
    for (QProcess &program : programs)
        Program::start(&program,
                       { QStringLiteral("tradeday"), QStringLiteral("20230201"), QStringLiteral("1"),
                         QStringLiteral("--data"), QStringLiteral(LX_DATA_DIR) });
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("cache"))));
    QByteArray messages;
    for (QProcess &program : programs) {
        const Program::Result result = Program::finish(&program);
        QVERIFY2(result.exitCode == 0, result.err);
        messages += result.err;
    }
    QCOMPARE(messages.count("building a store"), 1);
}

void tst_LxQuote::storeOfTheUserMustBeCurrent_data()
{
    QTest::addColumn<QString>("statement"); // that changes the store
    QTest::addColumn<bool>("changesSource");
    QTest::addColumn<QByteArray>("reason");

    const QByteArray advice = "; import the data again (marketd import DIR ";
    QTest::newRow("changed source") << QString() << true << "has changed since the store was built" + advice;
    QTest::newRow("other version") << QStringLiteral("PRAGMA user_version = 1") << false
                                   << QByteArray("a store of version 1");
    QTest::newRow("not a store") << QStringLiteral("PRAGMA application_id = 1") << false << QByteArray("not a store");
    QTest::newRow("current") << QString() << false << QByteArray();
}

void tst_LxQuote::storeOfTheUserMustBeCurrent()
{
    QFETCH(QString, statement);
    QFETCH(bool, changesSource);
    QFETCH(QByteArray, reason);

    RecordingFolder folder;
    folder.write(QStringLiteral("securities.csv"), "Symbol,SecurityName,SecurityType\n");
    const QByteArray days = "TradingDay\n20230201\n20230202\n";
    folder.write(QStringLiteral("trading_days.csv"), days);
    folder.write(QStringLiteral("fundamentals.csv"),
                 "Symbol,AsOfDate,TotalShare,ListedShare,NetAssets,DividentRate,EPS,PE,PB\n");
    folder.write(QStringLiteral("valuation_daily.csv"), "Symbol,MDDate,ClosePx\n");
    folder.write(QStringLiteral("corporate_actions.csv"),
                 "Symbol,ExDate,CashPerShare,BonusPerShare,ConversionPerShare,RightsPerShare,RightsPrice\n");
    folder.write(QStringLiteral("adjust_factors.csv"), "Symbol,ExDate,StepFactor\n");
    const QByteArray bars = "OpenPx,HighPx,LowPx,ClosePx,PreClosePx,TotalVolumeTrade,TotalValueTrade,OpenInterest\n";
    folder.write(QStringLiteral("kline_daily.csv"), "Symbol,MDDate," + bars);
    folder.write(QStringLiteral("kline_1min.csv"), "Symbol,MDDate,MDTime," + bars);
    const QString store = folder.filePath(QStringLiteral("store"));
    QString error;
    QVERIFY2(Importer(folder.path(), store, nullptr).run(&error), qPrintable(error));
    if (!statement.isEmpty()) {
        StoreConnection connection;
        QVERIFY2(connection.open(store, StoreConnection::ReadWrite, &error), qPrintable(error));
        QVERIFY2(connection.execute(statement, &error), qPrintable(error));
    }
    if (changesSource)
        folder.write(QStringLiteral("trading_days.csv"), days + "20230203\n");

    const Program::Result result =
        Program::run({ QStringLiteral("tradeday"), QStringLiteral("20230201"), QStringLiteral("1"),
                       QStringLiteral("--data"), folder.path(), QStringLiteral("--store"), store });
    QCOMPARE(result.exitCode, reason.isEmpty() ? 0 : 2);
    QVERIFY2(result.err.contains(reason), result.err);
}

void tst_LxQuote::optionsComeFromConfigurationAndEnvironment()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("lxquote.conf"),
                 "data = \"" + folder.path().toUtf8() + "\"\n[watch]\nspeed = max\nlimit = 2\nformat = csv\n");
    const auto lines = [](const QStringList &more) {
        return Program::run(QStringList { QStringLiteral("watch"), symbol } + more).lines().size();
    };
    qputenv("LXQUOTE_CONFIG", folder.filePath(QStringLiteral("lxquote.conf")).toLocal8Bit());
    const int fromFile = lines({});
    qputenv("LXQUOTE_LIMIT", "1");
    const int fromEnvironment = lines({});
    const int fromOption = lines({ QStringLiteral("--limit"), QStringLiteral("3") });
    qunsetenv("LXQUOTE_LIMIT");
    qunsetenv("LXQUOTE_CONFIG");
    QCOMPARE(fromFile, 3); // with the header
    QCOMPARE(fromEnvironment, 2);
    QCOMPARE(fromOption, 4);
}

void tst_LxQuote::settingsOfOneCommandGoBeforeThoseOfAll()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    const auto lines = [&folder](const QByteArray &settings) {
        const QString file = folder.filePath(QStringLiteral("lxquote.conf"));
        folder.write(QStringLiteral("lxquote.conf"), settings);
        const Program::Result result =
            Program::run(watch(folder.path(), { QStringLiteral("--config"), file, QStringLiteral("--all") }));
        return result.exitCode == 0 ? result.lines().size() : -1;
    };
    const QByteArray all = "# of all commands\nspeed=max\nformat = 'csv'\nlimit = 1\n\n";
    QCOMPARE(lines(all), 2);
    QCOMPARE(lines(all + "[snapshot]\nlimit = 2\nformat = json\n"), 2);
    QCOMPARE(lines("[watch]\nlimit = 2\nformat = csv\nspeed = max\n[snapshot]\nlimit = 1\n"), 3);
    QCOMPARE(lines(all + "[ watch ]\nlimit = 3\nkeep-pauses = yes\n"), 4);
}

void tst_LxQuote::optionOfOtherCommandsIsNotRead()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("lxquote.conf"), "[kline]\nfrom = yesterday\n");
    const QStringList command = watch(
        folder.path(), atOnce({ symbol, QStringLiteral("--config"), folder.filePath(QStringLiteral("lxquote.conf")) }));
    const Program::Result fromFile = Program::run(command);
    QVERIFY2(fromFile.exitCode == 0, fromFile.err);
    qputenv("LXQUOTE_PERIOD", "2d");
    const Program::Result fromEnvironment = Program::run(command);
    qunsetenv("LXQUOTE_PERIOD");
    QVERIFY2(fromEnvironment.exitCode == 0, fromEnvironment.err);
}

void tst_LxQuote::invalidSettingsExitWith2_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *settings, const char *complaint) {
        QTest::newRow(name) << QByteArray(settings) << QByteArray(complaint);
    };
    row("mistyped option", "sped = max\n", ":1: unknown option sped; did you mean \"speed\"?");
    row("option of another command", "[watch]\nadjust = forward\n", ":2: unknown option adjust");
    row("option of no file", "config = other\n", ":1: unknown option config");
    row("mistyped command", "\n[wach]\nspeed = 1\n", ":3: unknown command \"wach\"; did you mean \"watch\"?");
    row("no setting", "# speed\nspeed\n", ":2: neither NAME=VALUE nor [COMMAND]: speed");
    row("bracket that is not closed", "[watch\n", ":1: neither NAME=VALUE nor [COMMAND]: [watch");
    row("twice", "speed=1\nspeed=2\n", "lxquote.conf:2: speed is already set at ");
    row("invalid value", "[watch]\n\nspeed = fast\n", ":3: --speed: \"fast\" is neither a positive number nor max");
    row("invalid flag", "all = perhaps\n", ":1: --all: \"perhaps\" is neither yes nor no");
}

void tst_LxQuote::invalidSettingsExitWith2()
{
    QFETCH(QByteArray, settings);
    QFETCH(QByteArray, complaint);

    RecordingFolder folder;
    folder.write(QStringLiteral("lxquote.conf"), settings);
    const QString file = folder.filePath(QStringLiteral("lxquote.conf"));
    const Program::Result result = Program::run(watch(folder.path(), { QStringLiteral("--config"), file, symbol }));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.startsWith("lxquote: " + file.toUtf8()) && result.err.contains(complaint), result.err);
}

void tst_LxQuote::libraryStartsWithoutAWarning()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    QCOMPARE(Program::run(watch(folder.path(), atOnce({ symbol }))).err, QByteArray());
    const Program::Result verbose =
        Program::run(watch(folder.path(), atOnce({ QStringLiteral("--log-level"), QStringLiteral("debug"), symbol })));
    QVERIFY2(verbose.err.contains("LxQuotaHandlerObject::initialize"), verbose.err);
}

void tst_LxQuote::usageErrorsExitWith2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *arguments, const char *complaint) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts)
                            << QByteArray(complaint);
    };
    const char *badSpeed = "neither a positive number nor max";
    row("no command", "", "a command is missing");
    row("unknown command", "frobnicate", "unknown command \"frobnicate\"");
    row("mistyped command", "wacth 600519.SH", "did you mean \"watch\"?");
    row("unknown option", "watch --frobnicate 600519.SH", "unknown option --frobnicate");
    row("help as a command", "help", "unknown command \"help\"; did you mean \"--help\"?");
    row("option before its command", "--format json watch 600519.SH", "--format must follow the command");
    row("mistyped option", "watch --sped=3 600519.SH", "did you mean \"--speed\"?");
    row("mistyped option of all commands", "watch --dta x 600519.SH", "did you mean \"--data\"?");
    row("option of another command", "tradeday 2023-01-20 5 --kinds quote", "unknown option --kinds");
    row("superfluous argument", "tradeday 2023-01-20 5 6", "unexpected argument \"6\"");
    row("watch without a symbol", "watch", "no symbol is given");
    row("snapshot without a symbol", "snapshot", "no symbol is given");
    row("trading day without arguments", "tradeday", "missing argument: DATE N");
    row("speed that is no number", "watch --speed fast 600519.SH", badSpeed);
    row("speed of zero", "watch --speed 0 600519.SH", badSpeed);
    row("negative speed", "watch --speed -1 600519.SH", badSpeed);
    row("endless speed", "watch --speed inf 600519.SH", badSpeed);
    row("speed that is not a number", "watch --speed nan 600519.SH", badSpeed);
    row("invalid date", "watch --date 20230231 600519.SH", "\"20230231\" is not a date");
    row("invalid date of bars", "kline --from 2023-1-x --to 20230201 600519.SH", "\"2023-1-x\" is not a date");
    row("range of bars without an end", "kline --from 20230201 600519.SH", "--from and --to are missing");
    row("range of bars that is reversed", "kline --from 20230202 --to 20230201 600519.SH", "--to is before --from");
    row("unknown period", "kline --period 2d --from 20230201 --to 20230201 600519.SH", "\"2d\" is not one of 1m, 5m");
    row("unknown adjustment", "kline --adjust up --from 20230201 --to 20230201 600519.SH",
        "\"up\" is not one of none, forward, backward");
    row("unknown colours", "watch --colors blue 600519.SH", "\"blue\" is not one of cn, us, none");
    row("unknown format", "watch --format xml 600519.SH", "\"xml\" is not one of table, json, ndjson, csv");
    row("format of bars only", "snapshot --format candles 600519.SH", "\"candles\" is not one of");
    row("unknown field", "snapshot --fields LastPrice 600519.SH", "\"LastPrice\" is not a field");
    row("mistyped field", "snapshot --fields Symbol,LastPX 600519.SH", "did you mean \"LastPx\"?");
    row("limit of zero", "watch --limit 0 600519.SH", "--limit: \"0\"");
    row("limit that is no number", "watch --limit all 600519.SH", "--limit: \"all\"");
    row("unknown kind", "watch --kinds quote,news 600519.SH", "\"news\" is not one of quote, trade");
    row("no kind", "watch --kinds , 600519.SH", "--kinds: a value is missing");
    row("option without its value", "watch 600519.SH --speed", "--speed needs a value");
    row("time-out of zero", "pe --timeout 0 600519.SH", "--timeout: \"0\" is not a number of seconds");
    row("endless time-out", "pe --timeout inf 600519.SH", "--timeout: \"inf\" is not a number of seconds");
    row("missing configuration file", "watch --config /nonexistent 600519.SH", "/nonexistent cannot be read");
    row("unknown level of the log", "watch --log-level loud 600519.SH", "\"loud\" is not one of debug, info");
    QTest::newRow("part of a day that is reversed")
        << (watch(QStringLiteral(LX_DATA_DIR),
                  { QStringLiteral("--date"), QStringLiteral("20230201"), QStringLiteral("--from"),
                    QStringLiteral("10:00"), QStringLiteral("--to"), QStringLiteral("09:30"), symbol }))
        << QByteArray("the replay would end at 09:30:00, before it begins at 10:00:00");
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
    QTest::newRow("kline") << QStringList { QStringLiteral("kline"), help } << QByteArray("--bus");
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

    const Program::Result result =
        Program::run(isSnapshot ? snapshot(folder.path(), { symbol }) : watch(folder.path(), atOnce({ symbol })));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(smallFile.toLatin1()), result.err);
}

void tst_LxQuote::brokenRowsAreReported()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording + "20230201,093003000,600519.SH,1800,much,400,720425\nno row\n");
    const Program::Result result = Program::run(watch(folder.path(), atOnce({ symbol })));
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.err.contains(smallFile.toLatin1() + ":8: LastPx \"much\" is not a number"), result.err);
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

QTEST_GUILESS_MAIN(tst_LxQuote)

#include "tst_lxquote.moc"
