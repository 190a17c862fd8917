#include "support.h"

#include <QtMath>

namespace {

// A complete row of a stock, with different values in all fields.
QVariantMap stockRow(const QString &symbol)
{
    QVariantMap row {
        { u"Symbol"_s, symbol },
        { u"MDDate"_s, u"20230201"_s },
        { u"MDTime"_s, u"093000500"_s },
        { u"TradingPhaseCode"_s, u"3"_s },
        { u"PreClosePx"_s, 10.0 },
        { u"NumTrades"_s, Q_INT64_C(1234567890123) },
        { u"TotalVolumeTrade"_s, 4000.0 },
        { u"TotalValueTrade"_s, 50000.0 },
        { u"LastPx"_s, 12.5 },
        { u"OpenPx"_s, 10.5 },
        { u"ClosePx"_s, 12.75 },
        { u"HighPx"_s, 13.0 },
        { u"LowPx"_s, 9.0 },
        { u"MaxPx"_s, 11.0 },
        { u"MinPx"_s, 8.5 },
        { u"TotalBidQty"_s, 700.0 },
        { u"TotalOfferQty"_s, 800.0 },
        { u"WeightedAvgBidPx"_s, 9.75 },
        { u"WeightedAvgOfferPx"_s, 13.25 },
    };
    for (int level = 1; level <= 10; ++level) {
        row.insert(u"Buy%1Price"_s.arg(level), 12.0 - level / 100.0);
        row.insert(u"Sell%1Price"_s.arg(level), 13.0 + level / 100.0);
        row.insert(u"Buy%1OrderQty"_s.arg(level), Q_INT64_C(300) * level);
        row.insert(u"Sell%1OrderQty"_s.arg(level), Q_INT64_C(100) * level);
    }
    return row;
}

StockQuotaData decodedStock(const QVariantMap &row)
{
    return decoded<StockQuotaData>(&Probe::AssembleStockQuotaData, LxDouble::packRows({ row }));
}

} // namespace

class tst_decode_stock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }
    void cleanup() { LxDouble::setLatestPrice(nullptr); }

    void everyKeyFillsItsField();
    void numericStringsAreConverted();
    void absentKeysReadAsNothingAndZero();
    void latestPriceComesFromTheWholeRow();
    void changeIsComputedFromTheLatestPrice();
    void securityNameIsAskedForWithAnEmptyDefault();
    void bookImbalance_data();
    void bookImbalance();
    void bookImbalanceMultipliesBeforeItDivides();
    void noPreviousCloseLeavesTheChangeRatio();
    void noPreviousCloseAndEqualPricesGiveUndefinedAmplitude();
    void negativePreviousCloseLeavesTheChangeRatio();
    void noVolumeGivesUndefinedOrInfiniteAveragePrice();
    void haltedQuoteKeepsItsDefaults();
    void haltedQuoteTakesItsValuesFromThePreviousClose();
    void phaseCodeIsComparedExactly();
    void withoutDeepDataTheirFiguresStayInvalid();
    void deepDataGiveTurnoverAndValues();
    void priceToBook_data();
    void priceToBook();
    void deepDataWithOnlyListedSharesGivesHugeNegativeValue();
    void zeroTotalSharesGiveInfiniteTurnover();
    void onlyTheRowAfterLoadingIsRead();
    void deepDataAreLookedUpWithoutInserting();
    void condensedQuoteCopiesTheStockColumn();
};

void tst_decode_stock::everyKeyFillsItsField()
{
    LxDouble::setSecurity(u"610001.SH"_s, u"stock"_s, u"浦发银行"_s);
    const QVariantMap row = stockRow(u"610001.SH"_s);
    auto expected = recordOf<StockQuotaData>(row);
    expected.SecurityName = u"浦发银行"_s;
    expected.Change = 2.5;
    expected.ChangeRatio = 25.0;
    expected.Amplitude = 40.0;
    expected.AvgPx = 12.5;
    expected.BidAskRatio = 50.0;
    QCOMPARE(difference(decodedStock(row), expected), QString());
}

void tst_decode_stock::numericStringsAreConverted()
{
    const StockQuotaData quote = decodedStock({ { u"Symbol"_s, 610002 },
                                                { u"PreClosePx"_s, u"10.25"_s },
                                                { u"NumTrades"_s, u"77"_s },
                                                { u"HighPx"_s, u"not a number"_s },
                                                { u"BuyPrice"_s, 3.0 },
                                                { u"Buy1OrderQty"_s, u"12.5"_s } });
    QCOMPARE(quote.Symbol, u"610002"_s);
    QCOMPARE(quote.PreClosePx, 10.25);
    QCOMPARE(quote.NumTrades, Q_INT64_C(77));
    QCOMPARE(quote.HighPx, 0.0);
    QCOMPARE(quote.BuyOrderQty[0], Q_INT64_C(0));
}

void tst_decode_stock::absentKeysReadAsNothingAndZero()
{
    const QVariantMap row { { u"Symbol"_s, u"610003.SH"_s } };
    auto expected = recordOf<StockQuotaData>(row);
    expected.Change = 0.0;
    expected.Amplitude = expected.AvgPx = qQNaN();
    QCOMPARE(difference(decodedStock(row), expected), QString());
}

void tst_decode_stock::latestPriceComesFromTheWholeRow()
{
    const QVariantMap row = stockRow(u"610005.SH"_s);
    QVariantMap seen;
    LxDouble::setLatestPrice([&seen](const QVariantMap &tick) {
        seen = tick;
        return 77.0;
    });
    QCOMPARE(decodedStock(row).LastPx, 77.0);
    QCOMPARE(seen, row);
}

void tst_decode_stock::changeIsComputedFromTheLatestPrice()
{
    LxDouble::setLatestPrice([](const QVariantMap &) { return 5.0; });
    const StockQuotaData quote = decodedStock(stockRow(u"610006.SH"_s));
    QCOMPARE(quote.Change, -5.0);
    QCOMPARE(quote.ChangeRatio, -50.0);
}

void tst_decode_stock::securityNameIsAskedForWithAnEmptyDefault()
{
    const StockQuotaData quote = decodedStock(stockRow(u"610007.SH"_s));
    QCOMPARE(quote.SecurityName, QString());
    const QPair<QString, QString> asked = LxDouble::namesAskedFor().constLast();
    QCOMPARE(asked.first, u"610007.SH"_s);
    QVERIFY(asked.second.isEmpty() && !asked.second.isNull());
}

void tst_decode_stock::bookImbalance_data()
{
    QTest::addColumn<qint64>("bids");
    QTest::addColumn<qint64>("asks");
    QTest::addColumn<double>("ratio");
    QTest::newRow("all zero") << Q_INT64_C(0) << Q_INT64_C(0) << Invalid;
    QTest::newRow("bids only") << Q_INT64_C(5) << Q_INT64_C(0) << 100.0;
    QTest::newRow("asks only") << Q_INT64_C(0) << Q_INT64_C(5) << -100.0;
    QTest::newRow("three to one") << Q_INT64_C(3) << Q_INT64_C(1) << 50.0;
    QTest::newRow("negative sum, positive bids") << Q_INT64_C(1) << Q_INT64_C(-3) << -200.0;
    QTest::newRow("both negative") << Q_INT64_C(-1) << Q_INT64_C(-3) << Invalid;
}

void tst_decode_stock::bookImbalance()
{
    QFETCH(qint64, bids);
    QFETCH(qint64, asks);
    // On the deepest level: all ten count.
    const StockQuotaData quote = decodedStock({ { u"Buy10OrderQty"_s, bids }, { u"Sell10OrderQty"_s, asks } });
    QTEST(quote.BidAskRatio, "ratio");
}

void tst_decode_stock::bookImbalanceMultipliesBeforeItDivides()
{
    // 1 * 100 / 3 and 1 / 3 * 100 differ in the last bit.
    const StockQuotaData quote = decodedStock({ { u"Buy1OrderQty"_s, 2 }, { u"Sell1OrderQty"_s, 1 } });
    QVERIFY(1.0 * 100.0 / 3.0 != 1.0 / 3.0 * 100.0);
    QVERIFY(quote.BidAskRatio == 1.0 * 100.0 / 3.0);
}

void tst_decode_stock::noPreviousCloseLeavesTheChangeRatio()
{
    QVariantMap row = stockRow(u"610008.SH"_s);
    row.insert(u"PreClosePx"_s, 0.0);
    const StockQuotaData quote = decodedStock(row);
    QCOMPARE(quote.ChangeRatio, Invalid);
    QCOMPARE(quote.Change, 12.5);
    QVERIFY(qIsInf(quote.Amplitude));
}

void tst_decode_stock::noPreviousCloseAndEqualPricesGiveUndefinedAmplitude()
{
    QVariantMap row = stockRow(u"610009.SH"_s);
    row.insert(u"PreClosePx"_s, 0.0);
    row.insert(u"LowPx"_s, row.value(u"HighPx"_s));
    QVERIFY(qIsNaN(decodedStock(row).Amplitude));
}

void tst_decode_stock::negativePreviousCloseLeavesTheChangeRatio()
{
    QVariantMap row = stockRow(u"610010.SH"_s);
    row.insert(u"PreClosePx"_s, -10.0);
    const StockQuotaData quote = decodedStock(row);
    QCOMPARE(quote.ChangeRatio, Invalid);
    QCOMPARE(quote.Change, 22.5);
    QCOMPARE(quote.Amplitude, -40.0);
}

void tst_decode_stock::noVolumeGivesUndefinedOrInfiniteAveragePrice()
{
    QVariantMap row = stockRow(u"610011.SH"_s);
    row.insert(u"TotalVolumeTrade"_s, 0.0);
    QVERIFY(qIsInf(decodedStock(row).AvgPx));
    row.insert(u"TotalValueTrade"_s, 0.0);
    QVERIFY(qIsNaN(decodedStock(row).AvgPx));
}

void tst_decode_stock::haltedQuoteKeepsItsDefaults()
{
    QVariantMap row = stockRow(u"610012.SH"_s);
    row.insert(u"TradingPhaseCode"_s, u"8"_s);
    LxDouble::setSecurity(u"610012.SH"_s, u"stock"_s, u"停牌"_s);
    StockQuotaData expected;
    expected.TradingPhaseCode = u"8"_s;
    expected.PreClosePx = 10.0;
    expected.Symbol = u"610012.SH"_s;
    expected.MDDate = u"20230201"_s;
    expected.MDTime = u"093000500"_s;
    expected.SecurityName = u"停牌"_s;
    QCOMPARE(difference(decodedStock(row), expected), QString());
}

void tst_decode_stock::haltedQuoteTakesItsValuesFromThePreviousClose()
{
    answerDeepData({ deepRow(u"610013"_s, u"SH"_s, u"TotalShare"_s, 2e4),
                     deepRow(u"610013"_s, u"SH"_s, u"NetAssets"_s, 5.0),
                     deepRow(u"610013"_s, u"SH"_s, u"ListedShare"_s, 1e4) });
    QVariantMap row = stockRow(u"610013.SH"_s);
    row.insert(u"TradingPhaseCode"_s, u"8"_s);
    row.insert(u"PreClosePx"_s, 10.5);
    const StockQuotaData quote = decodedStock(row);
    QCOMPARE(quote.LastPx, Invalid);
    QCOMPARE(quote.BuyPrice[0], Invalid);
    QCOMPARE(quote.BuyPrice[1], 0.0);
    QCOMPARE(quote.TurnoverRate, Invalid);
    QCOMPARE(quote.TotalMarketValue, 2.1e9);
    QCOMPARE(quote.PBRatio, 2.1);
    QCOMPARE(quote.CirculatingMarketValue, 1.05e9);
}

void tst_decode_stock::phaseCodeIsComparedExactly()
{
    QVariantMap row = stockRow(u"610014.SH"_s);
    row.insert(u"TradingPhaseCode"_s, u" 8"_s);
    QCOMPARE(decodedStock(row).LastPx, 12.5);
    row.insert(u"TradingPhaseCode"_s, 8); // a number that reads "8"
    QCOMPARE(decodedStock(row).LastPx, Invalid);
}

void tst_decode_stock::withoutDeepDataTheirFiguresStayInvalid()
{
    const StockQuotaData quote = decodedStock(stockRow(u"610015.SH"_s));
    for (const double value :
         { quote.TurnoverRate, quote.TotalMarketValue, quote.PBRatio, quote.CirculatingMarketValue })
        QCOMPARE(value, Invalid);
}

void tst_decode_stock::deepDataGiveTurnoverAndValues()
{
    answerDeepData({ deepRow(u"610016"_s, u"SH"_s, u"TotalShare"_s, 0.8),
                     deepRow(u"610016"_s, u"SH"_s, u"NetAssets"_s, 5.0),
                     deepRow(u"610016"_s, u"SH"_s, u"ListedShare"_s, 0.4) });
    const StockQuotaData quote = decodedStock(stockRow(u"610016.SH"_s));
    QCOMPARE(quote.TurnoverRate, 50.0);
    QCOMPARE(quote.TotalMarketValue, 100000.0);
    QCOMPARE(quote.PBRatio, 2.5);
    QCOMPARE(quote.CirculatingMarketValue, 50000.0);
}

void tst_decode_stock::priceToBook_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QVariant>("netAssets");
    QTest::addColumn<double>("ratio");
    QTest::newRow("a billionth") << u"610017"_s << QVariant(1e-9) << Invalid;
    QTest::newRow("the limit itself") << u"610018"_s << QVariant(1e-8) << Invalid;
    QTest::newRow("minus a billionth") << u"610019"_s << QVariant(-1e-9) << Invalid;
    QTest::newRow("the invalid mark") << u"610020"_s << QVariant(-9999999.0) << Invalid;
    QTest::newRow("zero") << u"610021"_s << QVariant(0.0) << Invalid;
    QTest::newRow("just enough") << u"610022"_s << QVariant(2e-8) << 12.5 / 2e-8;
    QTest::newRow("negative") << u"610023"_s << QVariant(-5.0) << -2.5;
    QTest::newRow("NaN") << u"610024"_s << QVariant(qQNaN()) << Invalid;
}

void tst_decode_stock::priceToBook()
{
    QFETCH(QString, code);
    QFETCH(QVariant, netAssets);
    answerDeepData({ deepRow(code, u"SH"_s, u"NetAssets"_s, netAssets) });
    QTEST(decodedStock(stockRow(code + u".SH"_s)).PBRatio, "ratio");
}

void tst_decode_stock::deepDataWithOnlyListedSharesGivesHugeNegativeValue()
{
    answerDeepData({ deepRow(u"610025"_s, u"SH"_s, u"ListedShare"_s, 1.0) });
    const StockQuotaData quote = decodedStock(stockRow(u"610025.SH"_s));
    QCOMPARE(quote.TotalMarketValue, 12.5 * -9999999.0);
    QCOMPARE(quote.TurnoverRate, 4000.0 / -9999999.0 * 100.0);
    QCOMPARE(quote.CirculatingMarketValue, 125000.0);
    QCOMPARE(quote.PBRatio, Invalid);
}

void tst_decode_stock::zeroTotalSharesGiveInfiniteTurnover()
{
    answerDeepData({ deepRow(u"610026"_s, u"SH"_s, u"TotalShare"_s, 0.0) });
    const StockQuotaData quote = decodedStock(stockRow(u"610026.SH"_s));
    QVERIFY(qIsInf(quote.TurnoverRate));
    QCOMPARE(quote.TotalMarketValue, 0.0);
}

void tst_decode_stock::onlyTheRowAfterLoadingIsRead()
{
    const QVariant body = LxDouble::packRows({ { { u"Symbol"_s, u"610027.SH"_s } }, stockRow(u"610028.SH"_s) });
    const auto quote = decoded<StockQuotaData>(&Probe::AssembleStockQuotaData, body);
    QCOMPARE(quote.Symbol, u"610027.SH"_s);
    QCOMPARE(quote.HighPx, 0.0);
}

void tst_decode_stock::deepDataAreLookedUpWithoutInserting()
{
    decodedStock(stockRow(u"610029.SH"_s));
    LxDouble::forgetSent();
    QList<LxStockDeepData> known;
    handler().QueryStockDeepData({ u"610029.SH"_s }, known, false);
    QVERIFY(known.isEmpty());
    QCOMPARE(LxDouble::sent(u"181027"_s).size(), 1);
}

void tst_decode_stock::condensedQuoteCopiesTheStockColumn()
{
    const QVariantMap row = stockRow(u"610030.SH"_s);
    BaseQuotaData base;
    (handler().*(&Probe::AssembleBaseQuotaData))(decodedStock(row), base);
    auto expected = recordOf<BaseQuotaData>(row);
    expected.RecordKind = 1;
    QCOMPARE(difference(base, expected), QString());
}

QTEST_GUILESS_MAIN(tst_decode_stock)
#include "tst_decode_stock.moc"
