#include "support.h"

#include "lxlocaltime_p.h"

#include <QtMath>

namespace {

QVector<QTime> clockTimes; // the first for the first reading, and so on; the last for all further ones

QTime readClock()
{
    return clockTimes.size() > 1 ? clockTimes.takeFirst() : clockTimes.constFirst();
}

void setClock(const QVector<QTime> &times)
{
    clockTimes = times;
    LxLocalTime::setSource(&readClock);
}

void publishQuote(const QString &symbol, double price, double volume)
{
    publish(u"MDMARKETRECORD"_s,
            QVariantMap { { u"Symbol"_s, symbol }, { u"LastPx"_s, price }, { u"TotalVolumeTrade"_s, volume } });
}

void publishPE(const QString &symbol, const QVariant &eps)
{
    publishAnswer(u"MSG_QUERY_P_E_RATIO_RESPONSE"_s, { { u"Symbol"_s, symbol }, { u"eps"_s, eps } });
}

void publishQRR(const QString &symbol, const QVariant &volumePerMinute)
{
    publishAnswer(u"MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"_s,
                  { { u"Symbol"_s, symbol }, { u"last5DayVolumePerMinute"_s, volumePerMinute } });
}

void publishTransaction(const QString &symbol, const QVariant &quantity)
{
    publish(u"MDTRANSACTIONRECORD"_s, QVariantMap { { u"Symbol"_s, symbol }, { u"TradeQty"_s, quantity } });
}

using StockQuery = StockQuotaData (LxQuotaHandler::*)(const QString &);
const StockQuery stockQueries[] { &LxQuotaHandler::GetLastStockQuotaData, &LxQuotaHandler::GetLastStockQuotaDataBrief,
                                  &LxQuotaHandler::GetLastStockQuotaDataBase,
                                  &LxQuotaHandler::GetLastStockQuotaDataTotal };

} // namespace

class tst_snapshot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }
    void init() { setClock({ QTime(14, 0) }); }
    void cleanup() { LxLocalTime::setSource(nullptr); }

    void unknownSymbolGivesADefaultRecord();
    void knownSymbolGivesACopy();
    void symbolsAreComparedExactly();
    void plainQueriesDeriveNothing();
    void priceEarningsRatio_data();
    void priceEarningsRatio();
    void withoutPEDataThereIsNoRatio();
    void tradingMinutes_data();
    void tradingMinutes();
    void firstMinuteGivesInfiniteRatio_data();
    void firstMinuteGivesInfiniteRatio();
    void clockIsReadTwice();
    void ratioNeedsAPositiveVolumePerMinute_data();
    void ratioNeedsAPositiveVolumePerMinute();
    void withoutQRRDataThereIsNoRatio();
    void tradeLots_data();
    void tradeLots();
    void baseQueryLeavesTradeLots();
    void beforeTheOpenOnlyTheRelativeRatioIsMissing();
    void derivedFiguresStayOutOfTheCache();
    void snapshotsAreWholeWhileQuotesArrive();
    void realClockIsTheDefault();
};

void tst_snapshot::unknownSymbolGivesADefaultRecord()
{
    publishPE(u"640000.SH"_s, 0.5);
    publishQRR(u"640000.SH"_s, 10.0);
    publishTransaction(u"640000.SH"_s, 300);
    LxDouble::forgetSent();
    for (const StockQuery query : stockQueries) {
        const StockQuotaData quote = (handler().*query)(u"640000.SH"_s);
        QVERIFY(quote.Symbol.isEmpty() && quote.MDDate.isEmpty());
        for (const double value : { quote.LastPx, quote.PERatio, quote.QuantityRelativeRatio, quote.LastTradeLots })
            QCOMPARE(value, Invalid);
        QCOMPARE(quote.NumTrades, Q_INT64_C(-9999999));
    }
    const IndexQuotaData index = handler().GetLastIndexQuotaData(u"640000.SH"_s);
    QVERIFY(index.Symbol.isEmpty());
    QCOMPARE(index.LastPx, Invalid);
    QVERIFY(LxDouble::sent().isEmpty());
}

void tst_snapshot::knownSymbolGivesACopy()
{
    publishQuote(u"640001.SH"_s, 12.0, 100.0);
    publish(u"MDINDEXRECORD"_s, QVariantMap { { u"Symbol"_s, u"640001.IX"_s }, { u"LastPx"_s, 3000.0 } });
    for (const StockQuery query : stockQueries) {
        StockQuotaData quote = (handler().*query)(u"640001.SH"_s);
        QCOMPARE(quote.Symbol, u"640001.SH"_s);
        QCOMPARE(quote.LastPx, 12.0);
        quote.LastPx = 1.0;
    }
    QCOMPARE(handler().GetLastStockQuotaData(u"640001.SH"_s).LastPx, 12.0);
    QCOMPARE(handler().GetLastIndexQuotaData(u"640001.IX"_s).LastPx, 3000.0);
}

void tst_snapshot::symbolsAreComparedExactly()
{
    publishQuote(u"640002.SH"_s, 12.0, 100.0);
    QVERIFY(handler().GetLastStockQuotaData(u"640002.sh"_s).Symbol.isEmpty());
    QVERIFY(handler().GetLastStockQuotaData(u"640002"_s).Symbol.isEmpty());
}

void tst_snapshot::plainQueriesDeriveNothing()
{
    publishQuote(u"640003.SH"_s, 12.0, 100.0);
    publishPE(u"640003.SH"_s, 0.5);
    publishQRR(u"640003.SH"_s, 10.0);
    publishTransaction(u"640003.SH"_s, 300);
    for (const StockQuery query : { stockQueries[0], stockQueries[1] }) {
        const StockQuotaData quote = (handler().*query)(u"640003.SH"_s);
        QCOMPARE(quote.LastPx, 12.0);
        for (const double value : { quote.PERatio, quote.QuantityRelativeRatio, quote.LastTradeLots })
            QCOMPARE(value, Invalid);
    }
}

void tst_snapshot::priceEarningsRatio_data()
{
    QTest::addColumn<QVariant>("eps");
    QTest::addColumn<double>("ratio");
    QTest::newRow("half a yuan") << QVariant(0.5) << 24.0;
    QTest::newRow("just above the limit") << QVariant(0.00011) << 12.0 / 0.00011;
    QTest::newRow("the limit") << QVariant(0.0001) << Invalid;
    QTest::newRow("zero") << QVariant(0.0) << Invalid;
    QTest::newRow("a loss") << QVariant(-0.5) << Invalid;
    QTest::newRow("not a number") << QVariant(u"none"_s) << Invalid;
    QTest::newRow("NaN") << QVariant(u"nan"_s) << Invalid;
    QTest::newRow("infinite") << QVariant(u"inf"_s) << 0.0;
}

void tst_snapshot::priceEarningsRatio()
{
    QFETCH(QVariant, eps);
    const QString symbol = u"640004.%1"_s.arg(QString::fromLatin1(QTest::currentDataTag()));
    publishQuote(symbol, 12.0, 100.0);
    publishPE(symbol, eps);
    QTEST(handler().GetLastStockQuotaDataBase(symbol).PERatio, "ratio");
    QTEST(handler().GetLastStockQuotaDataTotal(symbol).PERatio, "ratio");
}

void tst_snapshot::withoutPEDataThereIsNoRatio()
{
    publishQuote(u"640005.SH"_s, 12.0, 100.0);
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640005.SH"_s).PERatio, Invalid);
}

void tst_snapshot::tradingMinutes_data()
{
    QTest::addColumn<QTime>("now");
    QTest::addColumn<int>("minutes"); // -1: no ratio
    QTest::newRow("midnight") << QTime(0, 0) << -1;
    QTest::newRow("09:29:59") << QTime(9, 29, 59) << -1;
    QTest::newRow("09:30:00") << QTime(9, 30) << -1;
    QTest::newRow("09:31:00") << QTime(9, 31) << 1;
    QTest::newRow("09:31:59") << QTime(9, 31, 59) << 1;
    QTest::newRow("09:31:59.999") << QTime(9, 31, 59, 999) << 1;
    QTest::newRow("11:29:59") << QTime(11, 29, 59) << 119;
    QTest::newRow("11:30:00") << QTime(11, 30) << 120;
    QTest::newRow("11:30:01") << QTime(11, 30, 1) << 120;
    QTest::newRow("12:00:00") << QTime(12, 0) << 120;
    QTest::newRow("13:00:00") << QTime(13, 0) << 120;
    QTest::newRow("13:00:01") << QTime(13, 0, 1) << 120;
    QTest::newRow("13:01:00") << QTime(13, 1) << 121;
    QTest::newRow("14:00:00") << QTime(14, 0) << 180;
    QTest::newRow("14:59:59") << QTime(14, 59, 59) << 239;
    QTest::newRow("15:00:00") << QTime(15, 0) << 240;
    QTest::newRow("15:00:01") << QTime(15, 0, 1) << 240;
    QTest::newRow("23:59:59") << QTime(23, 59, 59) << 240;
}

void tst_snapshot::tradingMinutes()
{
    QFETCH(QTime, now);
    QFETCH(int, minutes);
    publishQuote(u"640006.SH"_s, 12.0, 720720.0);
    publishQRR(u"640006.SH"_s, 2.0);
    setClock({ now });
    const double expected = minutes < 0 ? Invalid : 720720.0 / minutes / 2.0;
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640006.SH"_s).QuantityRelativeRatio, expected);
    QCOMPARE(handler().GetLastStockQuotaDataTotal(u"640006.SH"_s).QuantityRelativeRatio, expected);
}

void tst_snapshot::firstMinuteGivesInfiniteRatio_data()
{
    QTest::addColumn<QTime>("now");
    QTest::newRow("09:30:00.001") << QTime(9, 30, 0, 1);
    QTest::newRow("09:30:01") << QTime(9, 30, 1);
    QTest::newRow("09:30:59") << QTime(9, 30, 59);
}

void tst_snapshot::firstMinuteGivesInfiniteRatio()
{
    QFETCH(QTime, now);
    setClock({ now });
    publishQuote(u"640007.SH"_s, 12.0, 100.0);
    publishQRR(u"640007.SH"_s, 2.0);
    QVERIFY(qIsInf(handler().GetLastStockQuotaDataBase(u"640007.SH"_s).QuantityRelativeRatio));
    publishQuote(u"640007.SH"_s, 12.0, 0.0);
    QVERIFY(qIsNaN(handler().GetLastStockQuotaDataBase(u"640007.SH"_s).QuantityRelativeRatio));
}

void tst_snapshot::clockIsReadTwice()
{
    publishQuote(u"640008.SH"_s, 12.0, 1200.0);
    publishQRR(u"640008.SH"_s, 2.0);
    setClock({ QTime(9, 31), QTime(9, 40) });
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640008.SH"_s).QuantityRelativeRatio, 60.0);
    setClock({ QTime(9, 30), QTime(9, 40) });
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640008.SH"_s).QuantityRelativeRatio, Invalid);
}

void tst_snapshot::ratioNeedsAPositiveVolumePerMinute_data()
{
    QTest::addColumn<QVariant>("volumePerMinute");
    QTest::newRow("zero") << QVariant(0.0);
    QTest::newRow("negative") << QVariant(-2.0);
    QTest::newRow("not a number") << QVariant(u"none"_s);
    QTest::newRow("NaN") << QVariant(u"nan"_s);
}

void tst_snapshot::ratioNeedsAPositiveVolumePerMinute()
{
    QFETCH(QVariant, volumePerMinute);
    publishQuote(u"640009.SH"_s, 12.0, 100.0);
    publishQRR(u"640009.SH"_s, volumePerMinute);
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640009.SH"_s).QuantityRelativeRatio, Invalid);
}

void tst_snapshot::withoutQRRDataThereIsNoRatio()
{
    publishQuote(u"640010.SH"_s, 12.0, 100.0);
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640010.SH"_s).QuantityRelativeRatio, Invalid);
}

void tst_snapshot::tradeLots_data()
{
    QTest::addColumn<QVariant>("quantity");
    QTest::addColumn<double>("lots");
    QTest::newRow("250") << QVariant(250) << 2.0;
    QTest::newRow("-250") << QVariant(-250) << -2.0;
    QTest::newRow("99") << QVariant(99) << 0.0;
    QTest::newRow("-99") << QVariant(-99) << 0.0;
    QTest::newRow("300") << QVariant(300) << 3.0;
    QTest::newRow("not a number") << QVariant(u"none"_s) << 0.0;
    QTest::newRow("beyond 32 bits") << QVariant(Q_INT64_C(500000000000)) << 5000000000.0;
}

void tst_snapshot::tradeLots()
{
    QFETCH(QVariant, quantity);
    publishQuote(u"640011.SH"_s, 12.0, 100.0);
    publishTransaction(u"640011.SH"_s, quantity);
    QTEST(handler().GetLastStockQuotaDataTotal(u"640011.SH"_s).LastTradeLots, "lots");
}

void tst_snapshot::baseQueryLeavesTradeLots()
{
    publishQuote(u"640012.SH"_s, 12.0, 100.0);
    publishTransaction(u"640012.SH"_s, 300);
    QCOMPARE(handler().GetLastStockQuotaDataBase(u"640012.SH"_s).LastTradeLots, Invalid);
    publishQuote(u"640013.SH"_s, 12.0, 100.0);
    QCOMPARE(handler().GetLastStockQuotaDataTotal(u"640013.SH"_s).LastTradeLots, Invalid);
}

void tst_snapshot::beforeTheOpenOnlyTheRelativeRatioIsMissing()
{
    setClock({ QTime(9, 0) });
    publishQuote(u"640014.SH"_s, 12.0, 100.0);
    publishPE(u"640014.SH"_s, 0.5);
    publishQRR(u"640014.SH"_s, 2.0);
    publishTransaction(u"640014.SH"_s, 300);
    const StockQuotaData quote = handler().GetLastStockQuotaDataTotal(u"640014.SH"_s);
    QCOMPARE(quote.PERatio, 24.0);
    QCOMPARE(quote.QuantityRelativeRatio, Invalid);
    QCOMPARE(quote.LastTradeLots, 3.0);
}

void tst_snapshot::derivedFiguresStayOutOfTheCache()
{
    publishQuote(u"640015.SH"_s, 12.0, 100.0);
    publishPE(u"640015.SH"_s, 0.5);
    publishQRR(u"640015.SH"_s, 2.0);
    publishTransaction(u"640015.SH"_s, 300);
    QCOMPARE(handler().GetLastStockQuotaDataTotal(u"640015.SH"_s).LastTradeLots, 3.0);
    const StockQuotaData cached = handler().GetLastStockQuotaData(u"640015.SH"_s);
    for (const double value : { cached.PERatio, cached.QuantityRelativeRatio, cached.LastTradeLots })
        QCOMPARE(value, Invalid);
}

void tst_snapshot::snapshotsAreWholeWhileQuotesArrive()
{
    // Price and volume of every quote are the same number: a torn copy would show two.
    publishQuote(u"640016.SH"_s, 1.0, 1.0);
    std::atomic<bool> done { false };
    std::atomic<int> torn { 0 };
    std::atomic<int> reads { 0 };
    std::vector<std::future<void>> readers;
    for (int i = 0; i < 3; ++i) {
        readers.push_back(std::async(std::launch::async, [&] {
            do {
                const StockQuotaData quote = handler().GetLastStockQuotaDataTotal(u"640016.SH"_s);
                torn += quote.LastPx != quote.TotalVolumeTrade;
                ++reads;
            } while (!done);
        }));
    }
    for (int i = 2; i < 3000; ++i) {
        LxDouble::publish(
            u"MDMARKETRECORD"_s,
            LxDouble::packRows(
                { { { u"Symbol"_s, u"640016.SH"_s }, { u"LastPx"_s, i }, { u"TotalVolumeTrade"_s, i } } }));
    }
    settle();
    done = true;
    for (std::future<void> &reader : readers)
        reader.wait();
    QVERIFY(reads >= 3);
    QCOMPARE(torn.load(), 0);
    QCOMPARE(handler().GetLastStockQuotaData(u"640016.SH"_s).LastPx, 2999.0);
}

void tst_snapshot::realClockIsTheDefault()
{
    LxLocalTime::setSource(nullptr);
    const QTime before = QTime::currentTime();
    const QTime now = LxLocalTime::now();
    const QTime after = QTime::currentTime();
    if (before <= after) // not over midnight
        QVERIFY(before <= now && now <= after);
    QVERIFY(now.isValid());
}

QTEST_GUILESS_MAIN(tst_snapshot)
#include "tst_snapshot.moc"
