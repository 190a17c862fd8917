#include "support.h"

#include <QtMath>

namespace {

QVariantMap futureRow(const QString &symbol)
{
    QVariantMap row {
        { u"Symbol"_s, symbol },
        { u"MDDate"_s, u"20210104"_s },
        { u"MDTime"_s, u"213000500"_s },
        { u"TradingDate"_s, u"20210105"_s },
        { u"PreOpenInterest"_s, 900.0 },
        { u"PreClosePx"_s, 400.0 },
        { u"PreSettlePrice"_s, 380.0 },
        { u"TotalVolumeTrade"_s, 500.0 },
        { u"TotalValueTrade"_s, 210000.0 },
        { u"LastPx"_s, 420.0 },
        { u"OpenPx"_s, 401.0 },
        { u"ClosePx"_s, 421.0 },
        { u"HighPx"_s, 430.0 },
        { u"LowPx"_s, 390.0 },
        { u"MaxPx"_s, 440.0 },
        { u"MinPx"_s, 360.0 },
        { u"OpenInterest"_s, 950.0 },
        { u"SettlePrice"_s, 415.0 },
        { u"PreDelta"_s, 0.25 },
        { u"CurrDelta"_s, 0.5 },
        { u"TradingPhaseCode"_s, u"8"_s },
    };
    for (int level = 1; level <= 10; ++level) {
        row.insert(u"Buy%1Price"_s.arg(level), 420.0 - level);
        row.insert(u"Sell%1Price"_s.arg(level), 420.0 + level);
        row.insert(u"Buy%1OrderQty"_s.arg(level), 3 * level);
        row.insert(u"Sell%1OrderQty"_s.arg(level), level);
    }
    return row;
}

QVariantMap indexRow(const QString &symbol)
{
    return { { u"Symbol"_s, symbol },
             { u"MDDate"_s, u"20181203"_s },
             { u"MDTime"_s, u"093000000"_s },
             { u"PreClosePx"_s, 3000.0 },
             { u"TotalVolumeTrade"_s, 12345.0 },
             { u"TotalValueTrade"_s, 67890.0 },
             { u"LastPx"_s, 3150.0 },
             { u"OpenPx"_s, 3010.0 },
             { u"ClosePx"_s, 3151.0 },
             { u"HighPx"_s, 3160.0 },
             { u"LowPx"_s, 2990.0 },
             { u"TradingPhaseCode"_s, u"8"_s } };
}

FutureQuotaData decodedFuture(const QVariantMap &row)
{
    return decoded<FutureQuotaData>(&Probe::AssembleFutureQuotaData, LxDouble::packRows({ row }));
}

IndexQuotaData decodedIndex(const QVariantMap &row)
{
    return decoded<IndexQuotaData>(&Probe::AssembleIndexQuotaData, LxDouble::packRows({ row }));
}

constexpr double Mark = 4711.0;

// A condensed record with a mark in every field.
BaseQuotaData markedBase()
{
    const QString text = u"mark"_s;
    return { 99, Mark, text, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, Mark, text };
}

} // namespace

class tst_decode_future_index : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }
    void cleanup() { LxDouble::setLatestPrice(nullptr); }

    void everyKeyFillsItsFieldOfAFuture();
    void absentKeysOfAFutureReadAsNothingAndZero();
    void levelsSixToTenOfAFutureAreIgnored();
    void futureBookImbalance_data();
    void futureBookImbalance();
    void futureBookImbalanceDividesBeforeItMultiplies();
    void futureHasNoHaltedPhase();
    void futureChangeIsAgainstThePreviousClose();
    void futureLatestPriceComesFromTheWholeRow();
    void futureTurnoverIsAPlainRatio();
    void futureDeepDataGiveValues();
    void futureWithoutDeepDataKeepsTheInvalidMarks();
    void futurePriceToBookNeedsNetAssets_data();
    void futurePriceToBookNeedsNetAssets();
    void futureAveragePriceIsUnguarded();
    void condensedFutureWritesOnlyItsColumn();

    void everyKeyFillsItsFieldOfAnIndex();
    void absentKeysOfAnIndexReadAsNothingAndZero();
    void indexWithoutPreviousCloseHasNoChangeRatio();
    void indexLatestPriceComesFromTheWholeRow();
    void condensedIndexWritesOnlyItsColumn();
    void namesAreAskedForWithAnEmptyDefault();
};

void tst_decode_future_index::everyKeyFillsItsFieldOfAFuture()
{
    LxDouble::setSecurity(u"ag2106.SHF"_s, u"future"_s, u"沪银2106"_s);
    const QVariantMap row = futureRow(u"ag2106.SHF"_s);
    auto expected = recordOf<FutureQuotaData>(row);
    expected.SecurityName = u"沪银2106"_s;
    expected.Change = 20.0;
    expected.ChangeRatio = 5.0;
    expected.AvgPx = 420.0;
    expected.BidAskRatio = 50.0;
    QCOMPARE(difference(decodedFuture(row), expected), QString());
}

void tst_decode_future_index::absentKeysOfAFutureReadAsNothingAndZero()
{
    auto expected = recordOf<FutureQuotaData>({});
    expected.Change = 0.0;
    expected.AvgPx = qQNaN();
    QCOMPARE(difference(decodedFuture({}), expected), QString());
}

void tst_decode_future_index::levelsSixToTenOfAFutureAreIgnored()
{
    QVariantMap row = futureRow(u"cu2106.SHF"_s);
    const double five = decodedFuture(row).BidAskRatio;
    QCOMPARE(five, 50.0);
    for (int level = 6; level <= 10; ++level)
        row.insert(u"Sell%1OrderQty"_s.arg(level), 1000000);
    QCOMPARE(decodedFuture(row).BidAskRatio, five);
    QCOMPARE(decodedFuture(row).SellOrderQty[4], Q_INT64_C(5));
}

void tst_decode_future_index::futureBookImbalance_data()
{
    QTest::addColumn<int>("bids");
    QTest::addColumn<int>("asks");
    QTest::addColumn<double>("ratio");
    QTest::newRow("three to one") << 3 << 1 << 50.0;
    QTest::newRow("all zero") << 0 << 0 << Invalid;
    QTest::newRow("bids only") << 3 << 0 << 100.0;
    QTest::newRow("asks only") << 0 << 3 << -100.0;
    QTest::newRow("negative sum, positive bids") << 1 << -3 << Invalid; // a stock has a ratio here
}

void tst_decode_future_index::futureBookImbalance()
{
    QFETCH(int, bids);
    QFETCH(int, asks);
    const FutureQuotaData quote = decodedFuture({ { u"Buy1OrderQty"_s, bids }, { u"Sell1OrderQty"_s, asks } });
    QTEST(quote.BidAskRatio, "ratio");
}

void tst_decode_future_index::futureBookImbalanceDividesBeforeItMultiplies()
{
    const FutureQuotaData quote = decodedFuture({ { u"Buy1OrderQty"_s, 2 }, { u"Sell1OrderQty"_s, 1 } });
    QVERIFY(1.0 * 100.0 / 3.0 != 1.0 / 3.0 * 100.0);
    QVERIFY(quote.BidAskRatio == 1.0 / 3.0 * 100.0);
}

void tst_decode_future_index::futureHasNoHaltedPhase()
{
    const QVariantMap row = futureRow(u"al2106.SHF"_s);
    QCOMPARE(row.value(u"TradingPhaseCode"_s).toString(), u"8"_s);
    QCOMPARE(decodedFuture(row).LastPx, 420.0);
}

void tst_decode_future_index::futureChangeIsAgainstThePreviousClose()
{
    QVariantMap row = futureRow(u"zn2106.SHF"_s);
    row.insert(u"PreClosePx"_s, 0.0);
    const FutureQuotaData quote = decodedFuture(row);
    QCOMPARE(quote.Change, 420.0);
    QCOMPARE(quote.ChangeRatio, Invalid);
}

void tst_decode_future_index::futureLatestPriceComesFromTheWholeRow()
{
    const QVariantMap row = futureRow(u"pb2106.SHF"_s);
    QVariantMap seen;
    LxDouble::setLatestPrice([&seen](const QVariantMap &tick) {
        seen = tick;
        return 500.0;
    });
    const FutureQuotaData quote = decodedFuture(row);
    QCOMPARE(quote.LastPx, 500.0);
    QCOMPARE(quote.Change, 100.0);
    QCOMPARE(seen, row);
}

void tst_decode_future_index::futureTurnoverIsAPlainRatio()
{
    answerDeepData({ deepRow(u"ni2106"_s, u"SHF"_s, u"TotalShare"_s, 0.1) }); // 1000
    QCOMPARE(decodedFuture(futureRow(u"ni2106.SHF"_s)).TurnoverRate, 0.5);
    const auto stock = decoded<StockQuotaData>(
        &Probe::AssembleStockQuotaData,
        LxDouble::packRows({ { { u"Symbol"_s, u"ni2106.SHF"_s }, { u"TotalVolumeTrade"_s, 500.0 } } }));
    QCOMPARE(stock.TurnoverRate, 50.0);
}

void tst_decode_future_index::futureDeepDataGiveValues()
{
    answerDeepData({ deepRow(u"sn2106"_s, u"SHF"_s, u"TotalShare"_s, 0.1),
                     deepRow(u"sn2106"_s, u"SHF"_s, u"ListedShare"_s, 0.05),
                     deepRow(u"sn2106"_s, u"SHF"_s, u"NetAssets"_s, 42.0) });
    const FutureQuotaData quote = decodedFuture(futureRow(u"sn2106.SHF"_s));
    QCOMPARE(quote.TotalMarketValue, 420000.0);
    QCOMPARE(quote.CirculatingMarketValue, 210000.0);
    QCOMPARE(quote.PBRatio, 10.0);
}

void tst_decode_future_index::futureWithoutDeepDataKeepsTheInvalidMarks()
{
    const FutureQuotaData quote = decodedFuture(futureRow(u"au2106.SHF"_s));
    for (const double value :
         { quote.TurnoverRate, quote.TotalMarketValue, quote.PBRatio, quote.CirculatingMarketValue })
        QCOMPARE(value, Invalid);
}

void tst_decode_future_index::futurePriceToBookNeedsNetAssets_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<double>("netAssets");
    QTest::addColumn<double>("ratio");
    QTest::newRow("a billionth") << u"rb2101"_s << 1e-9 << Invalid;
    QTest::newRow("the invalid mark") << u"rb2102"_s << -9999999.0 << Invalid;
    QTest::newRow("negative") << u"rb2103"_s << -42.0 << -10.0;
}

void tst_decode_future_index::futurePriceToBookNeedsNetAssets()
{
    QFETCH(QString, code);
    QFETCH(double, netAssets);
    answerDeepData({ deepRow(code, u"SHF"_s, u"NetAssets"_s, netAssets) });
    QTEST(decodedFuture(futureRow(code + u".SHF"_s)).PBRatio, "ratio");
}

void tst_decode_future_index::futureAveragePriceIsUnguarded()
{
    QVariantMap row = futureRow(u"hc2106.SHF"_s);
    row.insert(u"TotalVolumeTrade"_s, 0);
    QVERIFY(qIsInf(decodedFuture(row).AvgPx));
    row.insert(u"TotalValueTrade"_s, 0);
    QVERIFY(qIsNaN(decodedFuture(row).AvgPx));
}

void tst_decode_future_index::condensedFutureWritesOnlyItsColumn()
{
    const QVariantMap row = futureRow(u"ru2106.SHF"_s);
    BaseQuotaData base = markedBase();
    (handler().*(&Probe::AssembleBaseFutureQuotaData))(decodedFuture(row), base);
    auto expected = recordOf<BaseQuotaData>(row);
    expected.RecordKind = 3;
    expected.NumTrades = expected.TotalBidQty = expected.TotalOfferQty = Mark;
    QCOMPARE(difference(base, expected), QString());
}

void tst_decode_future_index::everyKeyFillsItsFieldOfAnIndex()
{
    LxDouble::setSecurity(u"000001.SH"_s, u"index"_s, u"上证指数"_s);
    const QVariantMap row = indexRow(u"000001.SH"_s);
    auto expected = recordOf<IndexQuotaData>(row);
    expected.SecurityName = u"上证指数"_s;
    expected.Change = 150.0;
    expected.ChangeRatio = 5.0;
    QCOMPARE(difference(decodedIndex(row), expected), QString());
}

void tst_decode_future_index::absentKeysOfAnIndexReadAsNothingAndZero()
{
    auto expected = recordOf<IndexQuotaData>({});
    expected.Change = 0.0;
    QCOMPARE(difference(decodedIndex({}), expected), QString());
}

void tst_decode_future_index::indexWithoutPreviousCloseHasNoChangeRatio()
{
    QVariantMap row = indexRow(u"000002.SH"_s);
    row.insert(u"PreClosePx"_s, 0);
    const IndexQuotaData quote = decodedIndex(row);
    QCOMPARE(quote.ChangeRatio, Invalid);
    QCOMPARE(quote.Change, quote.LastPx);
    QCOMPARE(quote.Change, 3150.0);
}

void tst_decode_future_index::indexLatestPriceComesFromTheWholeRow()
{
    const QVariantMap row = indexRow(u"000003.SH"_s);
    QVariantMap seen;
    LxDouble::setLatestPrice([&seen](const QVariantMap &tick) {
        seen = tick;
        return 2700.0;
    });
    const IndexQuotaData quote = decodedIndex(row);
    QCOMPARE(quote.LastPx, 2700.0);
    QCOMPARE(quote.ChangeRatio, -10.0);
    QCOMPARE(seen, row);
}

void tst_decode_future_index::condensedIndexWritesOnlyItsColumn()
{
    const QVariantMap row = indexRow(u"000004.SH"_s);
    BaseQuotaData base = markedBase();
    (handler().*(&Probe::AssembleBaseIndexQuotaData))(decodedIndex(row), base);
    auto expected = recordOf<BaseQuotaData>(row);
    expected.RecordKind = 2;
    expected.MaxPx = expected.MinPx = expected.NumTrades = expected.TotalBidQty = expected.TotalOfferQty = Mark;
    expected.Buy1Price = expected.Sell1Price = Mark;
    QCOMPARE(difference(base, expected), QString());
}

void tst_decode_future_index::namesAreAskedForWithAnEmptyDefault()
{
    decodedFuture(futureRow(u"bu2106.SHF"_s));
    const QPair<QString, QString> future = LxDouble::namesAskedFor().constLast();
    QCOMPARE(future.first, u"bu2106.SHF"_s);
    QVERIFY(future.second.isEmpty());
    decodedIndex(indexRow(u"000005.SH"_s));
    const QPair<QString, QString> index = LxDouble::namesAskedFor().constLast();
    QCOMPARE(index.first, u"000005.SH"_s);
    QVERIFY(index.second.isEmpty());
}

QTEST_GUILESS_MAIN(tst_decode_future_index)
#include "tst_decode_future_index.moc"
