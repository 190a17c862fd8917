#include "support.h"

#include <lxdefine/lxfields.h>

#include <QtMath>

namespace {

const QString answerType = u"181028"_s;

void publishQuote(const QString &symbol, double price, double volume)
{
    publish(u"MDMARKETRECORD"_s,
            QVariantMap { { u"Symbol"_s, symbol }, { u"LastPx"_s, price }, { u"TotalVolumeTrade"_s, volume } });
}

QVariant answerWithStatus(const QVariant &status, const QVariantMap &row)
{
    return LxDouble::packRows({ { { Orca_Fields::System::requestExeStatus, status } }, row });
}

} // namespace

class tst_asyncanswer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }

    void otherTypesAreIgnored_data();
    void otherTypesAreIgnored();
    void failedAnswersAreIgnored_data();
    void failedAnswersAreIgnored();
    void absentOrZeroStatusIsSuccess_data();
    void absentOrZeroStatusIsSuccess();
    void answerOfOneRowEmitsNothing();
    void answerOfNoRowsEmitsNothing();
    void threeFiguresOfOneSymbolMakeOneRecordAndOneSignal();
    void cachedQuoteIsBroughtUpToDate();
    void cachedQuoteIsPatchedByTheItemOnly();
    void everyItemHasItsScale_data();
    void everyItemHasItsScale();
    void figureNotInTheAnswerKeepsItsValue();
    void noNetAssetsGiveNoPriceToBook_data();
    void noNetAssetsGiveNoPriceToBook();
    void netAssetsThatAreNoNumberGiveUndefinedPriceToBook();
    void zeroTotalShareLeavesTheTurnover();
    void negativeTotalShareLeavesTheTurnover();
    void listedShareIsUnguarded();
    void valueThatIsNoNumberIsStoredAsZero();
    void unknownItemStoresAndAnnouncesItsSymbol();
    void unknownItemLeavesARecordUnchanged();
    void headRowIsNeverRead();
    void symbolsAreAnnouncedOnceAndSorted();
    void rowWithoutCodeOrSuffixMakesAKey();
    void symbolWithoutQuoteLeavesTheQuotesAlone();
    void signalComesOnTheBusThread();
    void locksAreReleasedBeforeTheSignal();
    void nextQuoteUsesTheNewFigures();
    void baseClassGetsEveryAnswer();
    void rowsAreTakenAsMapsUnderTheLock();
    void rowCountIsNotTrusted_data();
    void rowCountIsNotTrusted();
};

void tst_asyncanswer::otherTypesAreIgnored_data()
{
    QTest::addColumn<QVariant>("type");
    QTest::newRow("the request's own") << QVariant(u"181027"_s);
    QTest::newRow("another") << QVariant(u"181029"_s);
    QTest::newRow("with a blank") << QVariant(u"181028 "_s);
    QTest::newRow("empty") << QVariant(QString());
    QTest::newRow("none") << QVariant();
    QTest::newRow("a topic") << QVariant(u"MDMARKETRECORD"_s);
}

void tst_asyncanswer::otherTypesAreIgnored()
{
    QFETCH(QVariant, type);
    SignalLog log;
    LogCapture lines;
    answerAsync(type, answerWithStatus(u"0"_s, deepRow(u"630000"_s, u"SH"_s, u"TotalShare"_s, 1.0)));
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
    QCOMPARE(knownDeepData(u"630000.SH"_s).TotalShare, Invalid);
}

void tst_asyncanswer::failedAnswersAreIgnored_data()
{
    QTest::addColumn<QVariant>("status");
    QTest::newRow("string 1") << QVariant(u"1"_s);
    QTest::newRow("number 1") << QVariant(1);
    QTest::newRow("negative") << QVariant(-3);
}

void tst_asyncanswer::failedAnswersAreIgnored()
{
    QFETCH(QVariant, status);
    SignalLog log;
    LogCapture lines;
    answerAsync(answerType, answerWithStatus(status, deepRow(u"630001"_s, u"SH"_s, u"TotalShare"_s, 1.0)));
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
    QVERIFY(knownDeepData(u"630001.SH"_s).Symbol.isEmpty());
}

void tst_asyncanswer::absentOrZeroStatusIsSuccess_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QVariant>("status");
    QTest::newRow("string 0") << u"630002"_s << QVariant(u"0"_s);
    QTest::newRow("number 0") << u"630003"_s << QVariant(0);
    QTest::newRow("empty") << u"630004"_s << QVariant(QString());
    QTest::newRow("not a number") << u"630005"_s << QVariant(u"failed"_s);
    QTest::newRow("absent") << u"630006"_s << QVariant();
}

void tst_asyncanswer::absentOrZeroStatusIsSuccess()
{
    QFETCH(QString, code);
    QFETCH(QVariant, status);
    QVariantMap head;
    if (status.isValid())
        head.insert(Orca_Fields::System::requestExeStatus, status);
    answerAsync(answerType, LxDouble::packRows({ head, deepRow(code, u"SH"_s, u"TotalShare"_s, 1.0) }));
    QCOMPARE(knownDeepData(code + u".SH"_s).TotalShare, 10000.0);
}

void tst_asyncanswer::answerOfOneRowEmitsNothing()
{
    SignalLog log;
    QVariantMap row = deepRow(u"630007"_s, u"SH"_s, u"TotalShare"_s, 1.0);
    row.insert(Orca_Fields::System::requestExeStatus, u"0"_s);
    answerAsync(answerType, LxDouble::packRows({ row }));
    QCOMPARE(log.names(), QStringList());
    QVERIFY(knownDeepData(u"630007.SH"_s).Symbol.isEmpty());
}

void tst_asyncanswer::answerOfNoRowsEmitsNothing()
{
    SignalLog log;
    answerAsync(answerType, LxDouble::packRows({}));
    answerAsync(answerType, QVariant());
    answerAsync(answerType, QVariant(u"no body"_s));
    QCOMPARE(log.names(), QStringList());
}

void tst_asyncanswer::threeFiguresOfOneSymbolMakeOneRecordAndOneSignal()
{
    SignalLog log;
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerDeepData({ deepRow(u"600000"_s, u"SH"_s, u"TotalShare"_s, 1000),
                     deepRow(u"600000"_s, u"SH"_s, u"ListedShare"_s, 800),
                     deepRow(u"600000"_s, u"SH"_s, u"NetAssets"_s, 5) });
    QCOMPARE(log.names(), QStringList { u"signalStockDeepDataUpdate"_s });
    QCOMPARE(symbols.last(), QStringList { u"600000.SH"_s });
    const LxStockDeepData data = knownDeepData(u"600000.SH"_s);
    QCOMPARE(data.ListedShare, 8000000.0);
    QCOMPARE(data.TotalShare, 10000000.0);
    QCOMPARE(data.NetAssets, 5.0);
    QCOMPARE(data.DividentRate, Invalid);
    QCOMPARE(data.Symbol, u"600000.SH"_s);
}

void tst_asyncanswer::cachedQuoteIsBroughtUpToDate()
{
    publishQuote(u"630008.SH"_s, 10.0, 500000.0);
    answerDeepData({ deepRow(u"630008"_s, u"SH"_s, u"TotalShare"_s, 1000),
                     deepRow(u"630008"_s, u"SH"_s, u"ListedShare"_s, 800),
                     deepRow(u"630008"_s, u"SH"_s, u"NetAssets"_s, 5) });
    const StockQuotaData quote = handler().GetLastStockQuotaData(u"630008.SH"_s);
    QCOMPARE(quote.TotalMarketValue, 100000000.0);
    QCOMPARE(quote.TurnoverRate, 5.0);
    QCOMPARE(quote.CirculatingMarketValue, 80000000.0);
    QCOMPARE(quote.PBRatio, 2.0);
    QCOMPARE(quote.LastPx, 10.0);
    QCOMPARE(quote.TotalVolumeTrade, 500000.0);
}

void tst_asyncanswer::cachedQuoteIsPatchedByTheItemOnly()
{
    publishQuote(u"630009.SH"_s, 10.0, 500000.0);
    answerDeepData({ deepRow(u"630009"_s, u"SH"_s, u"NetAssets"_s, 5) });
    StockQuotaData quote = handler().GetLastStockQuotaData(u"630009.SH"_s);
    QCOMPARE(quote.PBRatio, 2.0);
    QCOMPARE(quote.TotalMarketValue, Invalid);
    QCOMPARE(quote.TurnoverRate, Invalid);
    QCOMPARE(quote.CirculatingMarketValue, Invalid);
    answerDeepData({ deepRow(u"630009"_s, u"SH"_s, u"DividentRate"_s, 5) });
    quote = handler().GetLastStockQuotaData(u"630009.SH"_s);
    QCOMPARE(quote.PBRatio, 2.0);
    QCOMPARE(quote.TotalMarketValue, Invalid);
    answerDeepData({ deepRow(u"630009"_s, u"SH"_s, u"ListedShare"_s, 1) });
    quote = handler().GetLastStockQuotaData(u"630009.SH"_s);
    QCOMPARE(quote.CirculatingMarketValue, 100000.0);
    QCOMPARE(quote.TotalMarketValue, Invalid);
}

void tst_asyncanswer::everyItemHasItsScale_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<int>("field"); // in the order of the record
    QTest::addColumn<double>("stored");
    QTest::newRow("ListedShare") << u"ListedShare"_s << 0 << 25000.0;
    QTest::newRow("TotalShare") << u"TotalShare"_s << 1 << 25000.0;
    QTest::newRow("NetAssets") << u"NetAssets"_s << 2 << 2.5;
    QTest::newRow("DividentRate") << u"DividentRate"_s << 3 << 250.0;
}

void tst_asyncanswer::everyItemHasItsScale()
{
    QFETCH(QString, item);
    QFETCH(int, field);
    QFETCH(double, stored);
    answerDeepData({ deepRow(item, u"SZ"_s, item, u"2.5"_s) });
    const LxStockDeepData data = knownDeepData(item + u".SZ"_s);
    const double figures[] { data.ListedShare, data.TotalShare, data.NetAssets, data.DividentRate };
    for (int i = 0; i < 4; ++i)
        QCOMPARE(figures[i], i == field ? stored : Invalid);
}

void tst_asyncanswer::figureNotInTheAnswerKeepsItsValue()
{
    answerDeepData(
        { deepRow(u"630010"_s, u"SH"_s, u"TotalShare"_s, 7), deepRow(u"630010"_s, u"SH"_s, u"NetAssets"_s, 5) });
    answerDeepData({ deepRow(u"630010"_s, u"SH"_s, u"NetAssets"_s, 6) });
    const LxStockDeepData data = knownDeepData(u"630010.SH"_s);
    QCOMPARE(data.TotalShare, 70000.0);
    QCOMPARE(data.NetAssets, 6.0);
}

void tst_asyncanswer::noNetAssetsGiveNoPriceToBook_data()
{
    QTest::addColumn<double>("netAssets");
    QTest::newRow("zero") << 0.0;
    QTest::newRow("the limit itself") << 1e-8;
    QTest::newRow("minus the limit") << -1e-8;
    QTest::newRow("the invalid mark") << -9999999.0;
}

void tst_asyncanswer::noNetAssetsGiveNoPriceToBook()
{
    QFETCH(double, netAssets);
    publishQuote(u"630011.SH"_s, 10.0, 1.0);
    answerDeepData({ deepRow(u"630011"_s, u"SH"_s, u"NetAssets"_s, 5) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630011.SH"_s).PBRatio, 2.0);
    answerDeepData({ deepRow(u"630011"_s, u"SH"_s, u"NetAssets"_s, netAssets) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630011.SH"_s).PBRatio, Invalid);
}

void tst_asyncanswer::netAssetsThatAreNoNumberGiveUndefinedPriceToBook()
{
    publishQuote(u"630012.SH"_s, 10.0, 1.0);
    answerDeepData({ deepRow(u"630012"_s, u"SH"_s, u"NetAssets"_s, u"nan"_s) });
    QVERIFY(qIsNaN(knownDeepData(u"630012.SH"_s).NetAssets));
    QVERIFY(qIsNaN(handler().GetLastStockQuotaData(u"630012.SH"_s).PBRatio));
}

void tst_asyncanswer::zeroTotalShareLeavesTheTurnover()
{
    publishQuote(u"630013.SH"_s, 10.0, 500.0);
    answerDeepData({ deepRow(u"630013"_s, u"SH"_s, u"TotalShare"_s, 1) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630013.SH"_s).TurnoverRate, 5.0);
    answerDeepData({ deepRow(u"630013"_s, u"SH"_s, u"TotalShare"_s, 0) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630013.SH"_s).TurnoverRate, 5.0);
    QCOMPARE(handler().GetLastStockQuotaData(u"630013.SH"_s).TotalMarketValue, 0.0);
}

void tst_asyncanswer::negativeTotalShareLeavesTheTurnover()
{
    publishQuote(u"630014.SH"_s, 10.0, 500.0);
    answerDeepData({ deepRow(u"630014"_s, u"SH"_s, u"TotalShare"_s, -1) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630014.SH"_s).TurnoverRate, Invalid);
    QCOMPARE(handler().GetLastStockQuotaData(u"630014.SH"_s).TotalMarketValue, -100000.0);
}

void tst_asyncanswer::listedShareIsUnguarded()
{
    publishQuote(u"630015.SH"_s, 10.0, 500.0);
    answerDeepData({ deepRow(u"630015"_s, u"SH"_s, u"ListedShare"_s, -2) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630015.SH"_s).CirculatingMarketValue, -200000.0);
    answerDeepData({ deepRow(u"630015"_s, u"SH"_s, u"ListedShare"_s, 0) });
    QCOMPARE(handler().GetLastStockQuotaData(u"630015.SH"_s).CirculatingMarketValue, 0.0);
}

void tst_asyncanswer::valueThatIsNoNumberIsStoredAsZero()
{
    QVariantMap withoutValue = deepRow(u"630016"_s, u"SH"_s, u"ListedShare"_s, 0);
    withoutValue.remove(u"36034"_s);
    answerDeepData({ deepRow(u"630016"_s, u"SH"_s, u"TotalShare"_s, u"many"_s), withoutValue });
    QCOMPARE(knownDeepData(u"630016.SH"_s).TotalShare, 0.0);
    QCOMPARE(knownDeepData(u"630016.SH"_s).ListedShare, 0.0);
}

void tst_asyncanswer::unknownItemStoresAndAnnouncesItsSymbol()
{
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerDeepData({ deepRow(u"630017"_s, u"SH"_s, u"totalshare"_s, 5) });
    QCOMPARE(symbols.count(), 1);
    QCOMPARE(symbols.last(), QStringList { u"630017.SH"_s });
    const LxStockDeepData data = knownDeepData(u"630017.SH"_s);
    QCOMPARE(data.Symbol, u"630017.SH"_s);
    QCOMPARE(data.TotalShare, Invalid);
}

void tst_asyncanswer::unknownItemLeavesARecordUnchanged()
{
    publishQuote(u"630018.SH"_s, 10.0, 500.0);
    answerDeepData({ deepRow(u"630018"_s, u"SH"_s, u"TotalShare"_s, 1) });
    answerDeepData({ deepRow(u"630018"_s, u"SH"_s, u"Employees"_s, 99) });
    const LxStockDeepData data = knownDeepData(u"630018.SH"_s);
    QCOMPARE(data.TotalShare, 10000.0);
    QCOMPARE(data.ListedShare, Invalid);
    QCOMPARE(handler().GetLastStockQuotaData(u"630018.SH"_s).TurnoverRate, 5.0);
}

void tst_asyncanswer::headRowIsNeverRead()
{
    QVariantMap head = deepRow(u"630019"_s, u"SH"_s, u"TotalShare"_s, 1);
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerAsync(answerType, LxDouble::packRows({ head, deepRow(u"630020"_s, u"SH"_s, u"TotalShare"_s, 1) }));
    QCOMPARE(symbols.last(), QStringList { u"630020.SH"_s });
}

void tst_asyncanswer::symbolsAreAnnouncedOnceAndSorted()
{
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerDeepData({ deepRow(u"B"_s, u"SZ"_s, u"TotalShare"_s, 1), deepRow(u"A"_s, u"SH"_s, u"TotalShare"_s, 1),
                     deepRow(u"B"_s, u"SZ"_s, u"NetAssets"_s, 1) });
    QCOMPARE(symbols.count(), 1);
    QCOMPARE(symbols.last(), (QStringList { u"A.SH"_s, u"B.SZ"_s }));
}

void tst_asyncanswer::rowWithoutCodeOrSuffixMakesAKey()
{
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerDeepData({ { { u"36046"_s, u"TotalShare"_s }, { u"36034"_s, 1 } },
                     { { Orca_Fields::Security::securityID, u"630021"_s } },
                     { { Orca_Fields::UserAccount::SymbolPost, u"SH"_s } } });
    QCOMPARE(symbols.last(), (QStringList { u"."_s, u".SH"_s, u"630021."_s }));
    QCOMPARE(knownDeepData(u"."_s).TotalShare, 10000.0);
}

void tst_asyncanswer::symbolWithoutQuoteLeavesTheQuotesAlone()
{
    answerDeepData({ deepRow(u"630022"_s, u"SH"_s, u"TotalShare"_s, 1) });
    const StockQuotaData quote = handler().GetLastStockQuotaData(u"630022.SH"_s);
    QCOMPARE(quote.TotalMarketValue, Invalid);
    QVERIFY(quote.Symbol.isEmpty());
}

void tst_asyncanswer::signalComesOnTheBusThread()
{
    SignalLog log;
    answerDeepData({ deepRow(u"630023"_s, u"SH"_s, u"TotalShare"_s, 1) });
    QCOMPARE(log.threads(), QStringList { LxDouble::busThreadName() });
}

void tst_asyncanswer::locksAreReleasedBeforeTheSignal()
{
    bool free = false;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::signalStockDeepDataUpdate, [&free] {
        free = returnsOnAnotherThread([] {
            knownDeepData(u"630024.SH"_s);
            handler().GetLastStockQuotaData(u"630024.SH"_s);
        });
    });
    answerDeepData({ deepRow(u"630024"_s, u"SH"_s, u"TotalShare"_s, 1) });
    QObject::disconnect(connection);
    QVERIFY(free);
}

void tst_asyncanswer::nextQuoteUsesTheNewFigures()
{
    answerDeepData({ deepRow(u"630025"_s, u"SH"_s, u"TotalShare"_s, 1) });
    publishQuote(u"630025.SH"_s, 10.0, 500.0);
    QCOMPARE(handler().GetLastStockQuotaData(u"630025.SH"_s).TurnoverRate, 5.0);
}

void tst_asyncanswer::baseClassGetsEveryAnswer()
{
    const int before = LxDouble::baseAsyncCalls().size();
    // The handler is called before the base class.
    int baseCallsAtSignal = -1;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::signalStockDeepDataUpdate,
                                             [&] { baseCallsAtSignal = LxDouble::baseAsyncCalls().size(); });
    LxDouble::answerAsync(7, u"backend"_s, answerType,
                          answerWithStatus(u"0"_s, deepRow(u"630026"_s, u"SH"_s, u"TotalShare"_s, 1)));
    LxDouble::answerAsync(8, u"other"_s, 4711, u"body"_s);
    settle();
    QObject::disconnect(connection);
    const QVector<QVariantList> calls = LxDouble::baseAsyncCalls().mid(before);
    QCOMPARE(baseCallsAtSignal, before);
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).mid(0, 3), (QVariantList { 7, u"backend"_s, answerType }));
    QCOMPARE(LxDouble::bodyOf(calls.at(0).at(3)).rows.size(), 2);
    QCOMPARE(calls.at(1), (QVariantList { 8, u"other"_s, 4711, u"body"_s }));
}

void tst_asyncanswer::rowsAreTakenAsMapsUnderTheLock()
{
    int rows = 0;
    bool locked = false;
    std::optional<BackgroundCall> reader;
    LxDouble::setRowValueHook([&] {
        if (++rows > 1)
            return;
        reader.emplace([] { knownDeepData(u"630027.SH"_s); });
        locked = reader->isBlocked();
    });
    answerDeepData(
        { deepRow(u"630027"_s, u"SH"_s, u"TotalShare"_s, 1), deepRow(u"630027"_s, u"SH"_s, u"ListedShare"_s, 1) });
    LxDouble::setRowValueHook(nullptr);
    QCOMPARE(rows, 2);
    QVERIFY(locked);
}

void tst_asyncanswer::rowCountIsNotTrusted_data()
{
    QTest::addColumn<int>("claimed");
    QTest::addColumn<QStringList>("announced");
    QTest::newRow("negative") << -1 << QStringList();
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << QStringList();
    QTest::newRow("too small") << 2 << QStringList { u"630028.SH"_s };
    // The rows that do not exist read as empty, and an empty row makes the key ".".
    QTest::newRow("too large") << 9 << QStringList { u"."_s, u"630028.SH"_s, u"630029.SH"_s };
}

void tst_asyncanswer::rowCountIsNotTrusted()
{
    QFETCH(int, claimed);
    QFETCH(QStringList, announced);
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    answerAsync(answerType,
                LxDouble::packRows({ {},
                                     deepRow(u"630028"_s, u"SH"_s, u"TotalShare"_s, 1),
                                     deepRow(u"630029"_s, u"SH"_s, u"TotalShare"_s, 1) },
                                   claimed));
    QCOMPARE(symbols.count(), announced.isEmpty() ? 0 : 1);
    if (!announced.isEmpty())
        QCOMPARE(symbols.last(), announced);
}

QTEST_GUILESS_MAIN(tst_asyncanswer)
#include "tst_asyncanswer.moc"
