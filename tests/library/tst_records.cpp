#include "support.h"

#include <type_traits>

namespace {

// Collects the addresses of a record's members, in the order of their declaration.
template<typename Record, typename... Members>
QVector<quintptr> addresses(const Record &record, Members Record::*...members)
{
    return { reinterpret_cast<quintptr>(&(record.*members))... };
}

} // namespace

class tst_records : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stockNumbersStartInvalid();
    void firstBookLevelStartsInvalidAndDeeperOnesAtZero();
    void futureNumbersStartInvalid();
    void indexNumbersStartInvalid();
    void deepDataStartsInvalid();
    void deepDataWithOneFigureKeepsTheOthersInvalid();
    void barStartsAtZero();
    void textsStartEmpty();
    void numberOfTradesConvertsToTheInvalidDouble();
    void fieldsAreDeclaredInOrder_data();
    void fieldsAreDeclaredInOrder();
    void recordsAreCopiedMemberByMember();
    void enumerationsHaveTheNumbersOfTheBus();
};

void tst_records::stockNumbersStartInvalid()
{
    using Q = StockQuotaData;
    const Q quote;
    const double Q::*doubles[] { &Q::PreClosePx,
                                 &Q::TotalVolumeTrade,
                                 &Q::TotalValueTrade,
                                 &Q::LastPx,
                                 &Q::OpenPx,
                                 &Q::ClosePx,
                                 &Q::HighPx,
                                 &Q::LowPx,
                                 &Q::MaxPx,
                                 &Q::MinPx,
                                 &Q::TotalBidQty,
                                 &Q::TotalOfferQty,
                                 &Q::WeightedAvgBidPx,
                                 &Q::WeightedAvgOfferPx,
                                 &Q::Reserved2,
                                 &Q::Reserved3,
                                 &Q::Reserved5,
                                 &Q::Reserved6,
                                 &Q::PERatio,
                                 &Q::Reserved9,
                                 &Q::Change,
                                 &Q::ChangeRatio,
                                 &Q::Amplitude,
                                 &Q::TurnoverRate,
                                 &Q::TotalMarketValue,
                                 &Q::PBRatio,
                                 &Q::CirculatingMarketValue,
                                 &Q::AvgPx,
                                 &Q::BidAskRatio,
                                 &Q::LastTradeLots,
                                 &Q::QuantityRelativeRatio };
    for (const auto member : doubles)
        QCOMPARE(quote.*member, Invalid);
    const qint64 Q::*integers[] { &Q::NumTrades, &Q::Reserved1, &Q::Reserved4, &Q::Reserved7, &Q::Reserved8 };
    for (const auto member : integers)
        QCOMPARE(quote.*member, Q_INT64_C(-9999999));
}

void tst_records::firstBookLevelStartsInvalidAndDeeperOnesAtZero()
{
    const StockQuotaData stock;
    QCOMPARE(stock.BuyPrice[0], Invalid);
    QCOMPARE(stock.SellPrice[0], Invalid);
    QCOMPARE(stock.BuyOrderQty[0], Q_INT64_C(-9999999));
    QCOMPARE(stock.SellOrderQty[0], Q_INT64_C(-9999999));
    for (int level = 1; level < 10; ++level) {
        QCOMPARE(stock.BuyPrice[level], 0.0);
        QCOMPARE(stock.SellPrice[level], 0.0);
        QCOMPARE(stock.BuyOrderQty[level], Q_INT64_C(0));
        QCOMPARE(stock.SellOrderQty[level], Q_INT64_C(0));
    }
    const FutureQuotaData future;
    QCOMPARE(future.BuyPrice[0], Invalid);
    QCOMPARE(future.SellPrice[0], Invalid);
    QCOMPARE(future.BuyOrderQty[0], Q_INT64_C(-9999999));
    QCOMPARE(future.SellOrderQty[0], Q_INT64_C(-9999999));
    for (int level = 1; level < 5; ++level) {
        QCOMPARE(future.BuyPrice[level], 0.0);
        QCOMPARE(future.SellPrice[level], 0.0);
        QCOMPARE(future.BuyOrderQty[level], Q_INT64_C(0));
        QCOMPARE(future.SellOrderQty[level], Q_INT64_C(0));
    }
}

void tst_records::futureNumbersStartInvalid()
{
    using Q = FutureQuotaData;
    const Q quote;
    const double Q::*doubles[] { &Q::PreOpenInterest, &Q::PreClosePx,
                                 &Q::PreSettlePrice,  &Q::TotalVolumeTrade,
                                 &Q::TotalValueTrade, &Q::LastPx,
                                 &Q::OpenPx,          &Q::ClosePx,
                                 &Q::HighPx,          &Q::LowPx,
                                 &Q::MaxPx,           &Q::MinPx,
                                 &Q::OpenInterest,    &Q::SettlePrice,
                                 &Q::PreDelta,        &Q::CurrDelta,
                                 &Q::Change,          &Q::ChangeRatio,
                                 &Q::TurnoverRate,    &Q::TotalMarketValue,
                                 &Q::PBRatio,         &Q::CirculatingMarketValue,
                                 &Q::AvgPx,           &Q::BidAskRatio,
                                 &Q::Reserved1 };
    for (const auto member : doubles)
        QCOMPARE(quote.*member, Invalid);
}

void tst_records::indexNumbersStartInvalid()
{
    using Q = IndexQuotaData;
    const Q quote;
    const double Q::*doubles[] {
        &Q::PreClosePx, &Q::TotalVolumeTrade, &Q::TotalValueTrade, &Q::LastPx, &Q::OpenPx,
        &Q::ClosePx,    &Q::HighPx,           &Q::LowPx,           &Q::Change, &Q::ChangeRatio
    };
    for (const auto member : doubles)
        QCOMPARE(quote.*member, Invalid);
}

void tst_records::deepDataStartsInvalid()
{
    const LxStockDeepData data;
    QCOMPARE(data.ListedShare, Invalid);
    QCOMPARE(data.TotalShare, Invalid);
    QCOMPARE(data.NetAssets, Invalid);
    QCOMPARE(data.DividentRate, Invalid);
    QVERIFY(data.Symbol.isEmpty());
}

void tst_records::deepDataWithOneFigureKeepsTheOthersInvalid()
{
    startHandler();
    answerDeepData({ deepRow(u"601001"_s, u"SH"_s, u"ListedShare"_s, 8.0) });
    const LxStockDeepData data = knownDeepData(u"601001.SH"_s);
    QCOMPARE(data.ListedShare, 80000.0);
    QCOMPARE(data.TotalShare, Invalid);
    QCOMPARE(data.NetAssets, Invalid);
    QCOMPARE(data.DividentRate, Invalid);
}

void tst_records::barStartsAtZero()
{
    const StockPeriod1DInfo bar;
    QCOMPARE(bar.closePx, 0.0);
    QCOMPARE(bar.openPx, 0.0);
    QCOMPARE(bar.highPx, 0.0);
    QCOMPARE(bar.lowPx, 0.0);
    QCOMPARE(bar.totalVolumeTrade, 0.0);
    QCOMPARE(bar.totalValueTrade, 0.0);
    QVERIFY(bar.symbol.isEmpty());
}

void tst_records::textsStartEmpty()
{
    const StockQuotaData stock;
    QVERIFY((stock.MDDate + stock.MDTime + stock.Symbol + stock.TradingPhaseCode + stock.SecurityName).isEmpty());
    const FutureQuotaData future;
    QVERIFY((future.MDDate + future.MDTime + future.Symbol + future.TradingDate + future.SecurityName).isEmpty());
    const IndexQuotaData index;
    QVERIFY((index.MDDate + index.MDTime + index.Symbol + index.SecurityName).isEmpty());
    StockTransactionRecordData transaction;
    QVERIFY((transaction.MDDate + transaction.MDTime + transaction.Symbol + transaction.TradingPhaseCode).isEmpty());
    StockOrderRecordData order;
    QVERIFY((order.MDDate + order.MDTime + order.Symbol).isEmpty());
    PEData pe;
    QVERIFY((pe.Reserved1 + pe.Reserved2 + pe.Symbol + pe.tradeDay + pe.MDDate).isEmpty());
    QRRData qrr;
    QVERIFY((qrr.Reserved1 + qrr.Symbol + qrr.MDDate).isEmpty());
}

void tst_records::numberOfTradesConvertsToTheInvalidDouble()
{
    BaseQuotaData base;
    (handler().*(&Probe::AssembleBaseQuotaData))(StockQuotaData(), base);
    QCOMPARE(base.NumTrades, Invalid);
}

void tst_records::fieldsAreDeclaredInOrder_data()
{
    QTest::addColumn<QVector<quintptr>>("fields");
    QTest::addColumn<quintptr>("start");
    QTest::addColumn<int>("size");
    const auto add = [](const char *name, const QVector<quintptr> &fields, const void *record, size_t size) {
        QTest::newRow(name) << fields << reinterpret_cast<quintptr>(record) << static_cast<int>(size);
    };
    using S = StockQuotaData;
    static const S s;
    add("stock quote",
        addresses(s, &S::MDDate, &S::MDTime, &S::Symbol, &S::TradingPhaseCode, &S::PreClosePx, &S::NumTrades,
                  &S::TotalVolumeTrade, &S::TotalValueTrade, &S::LastPx, &S::OpenPx, &S::ClosePx, &S::HighPx, &S::LowPx,
                  &S::MaxPx, &S::MinPx, &S::TotalBidQty, &S::TotalOfferQty, &S::WeightedAvgBidPx,
                  &S::WeightedAvgOfferPx, &S::Reserved1, &S::Reserved2, &S::Reserved3, &S::Reserved4, &S::Reserved5,
                  &S::Reserved6, &S::Reserved7, &S::Reserved8, &S::PERatio, &S::Reserved9, &S::SellPrice, &S::BuyPrice,
                  &S::SellOrderQty, &S::BuyOrderQty, &S::SecurityName, &S::Change, &S::ChangeRatio, &S::Amplitude,
                  &S::TurnoverRate, &S::TotalMarketValue, &S::PBRatio, &S::CirculatingMarketValue, &S::AvgPx,
                  &S::BidAskRatio, &S::LastTradeLots, &S::QuantityRelativeRatio),
        &s, sizeof s);
    using F = FutureQuotaData;
    static const F f;
    add("future quote",
        addresses(f, &F::MDDate, &F::MDTime, &F::Symbol, &F::TradingDate, &F::PreOpenInterest, &F::PreClosePx,
                  &F::PreSettlePrice, &F::TotalVolumeTrade, &F::TotalValueTrade, &F::LastPx, &F::OpenPx, &F::ClosePx,
                  &F::HighPx, &F::LowPx, &F::MaxPx, &F::MinPx, &F::OpenInterest, &F::SettlePrice, &F::PreDelta,
                  &F::CurrDelta, &F::SellPrice, &F::BuyPrice, &F::SellOrderQty, &F::BuyOrderQty, &F::SecurityName,
                  &F::Change, &F::ChangeRatio, &F::TurnoverRate, &F::TotalMarketValue, &F::PBRatio,
                  &F::CirculatingMarketValue, &F::AvgPx, &F::BidAskRatio, &F::Reserved1),
        &f, sizeof f);
    using I = IndexQuotaData;
    static const I i;
    add("index quote",
        addresses(i, &I::MDDate, &I::MDTime, &I::Symbol, &I::PreClosePx, &I::TotalVolumeTrade, &I::TotalValueTrade,
                  &I::LastPx, &I::OpenPx, &I::ClosePx, &I::HighPx, &I::LowPx, &I::SecurityName, &I::Change,
                  &I::ChangeRatio),
        &i, sizeof i);
    using B = BaseQuotaData;
    static const B b {};
    add("condensed quote",
        addresses(b, &B::RecordKind, &B::LastPx, &B::MDTime, &B::OpenPx, &B::ClosePx, &B::HighPx, &B::LowPx, &B::MaxPx,
                  &B::MinPx, &B::PreClosePx, &B::TotalVolumeTrade, &B::TotalValueTrade, &B::NumTrades, &B::TotalBidQty,
                  &B::TotalOfferQty, &B::Buy1Price, &B::Sell1Price, &B::Symbol),
        &b, sizeof b);
    using T = StockTransactionRecordData;
    static const T t {};
    add("transaction",
        addresses(t, &T::MDDate, &T::MDTime, &T::Symbol, &T::TradingPhaseCode, &T::TradeSerialNo, &T::TradeBuyNo,
                  &T::TradeSellNo, &T::TradeType, &T::TradePrice, &T::TradeQty, &T::TradeMoney, &T::TradeBSFlag),
        &t, sizeof t);
    using O = StockOrderRecordData;
    static const O o {};
    add("order",
        addresses(o, &O::MDDate, &O::MDTime, &O::Symbol, &O::OrderIndex, &O::OrderType, &O::OrderPrice, &O::OrderQty,
                  &O::OrderBSFlag),
        &o, sizeof o);
    using P = PEData;
    static const P p {};
    add("PE",
        addresses(p, &P::Reserved1, &P::Reserved2, &P::Symbol, &P::tradeDay, &P::MDDate, &P::eps, &P::ttmEps,
                  &P::ClosePx, &P::staticPE, &P::dynamicPE, &P::ttmPE),
        &p, sizeof p);
    using Q = QRRData;
    static const Q q {};
    add("QRR", addresses(q, &Q::Reserved1, &Q::Symbol, &Q::MDDate, &Q::last5DayVolumePerMinute), &q, sizeof q);
    using D = LxStockDeepData;
    static const D d;
    add("deep data", addresses(d, &D::ListedShare, &D::TotalShare, &D::NetAssets, &D::DividentRate, &D::Symbol), &d,
        sizeof d);
    using K = StockPeriod1DInfo;
    static const K k;
    add("bar",
        addresses(k, &K::closePx, &K::openPx, &K::highPx, &K::lowPx, &K::totalVolumeTrade, &K::totalValueTrade,
                  &K::symbol),
        &k, sizeof k);
}

void tst_records::fieldsAreDeclaredInOrder()
{
    QFETCH(QVector<quintptr>, fields);
    QFETCH(quintptr, start);
    QFETCH(int, size);
    // No field before the first, none left out: every gap is one member of at most eight bytes, or a book of levels.
    QCOMPARE(fields.constFirst(), start);
    for (int i = 1; i < fields.size(); ++i) {
        const auto gap = static_cast<qintptr>(fields.at(i) - fields.at(i - 1));
        QVERIFY2(gap > 0, qPrintable(QString::number(i)));
        QVERIFY2(gap <= 8 || gap == 40 || gap == 80, qPrintable(QString::number(i)));
    }
    QCOMPARE(static_cast<int>(fields.constLast() - start) + 8, size);
}

void tst_records::recordsAreCopiedMemberByMember()
{
    StockQuotaData quote;
    quote.Symbol = u"600000.SH"_s;
    quote.BuyPrice[9] = 9.5;
    quote.SellOrderQty[9] = 7;
    quote.QuantityRelativeRatio = 1.5;
    quote.Reserved8 = 8;
    const StockQuotaData copy(quote);
    StockQuotaData assigned;
    assigned = copy;
    for (const StockQuotaData *other : { &copy, static_cast<const StockQuotaData *>(&assigned) }) {
        QCOMPARE(other->Symbol, u"600000.SH"_s);
        QCOMPARE(other->BuyPrice[9], 9.5);
        QCOMPARE(other->SellOrderQty[9], Q_INT64_C(7));
        QCOMPARE(other->QuantityRelativeRatio, 1.5);
        QCOMPARE(other->Reserved8, Q_INT64_C(8));
    }
    QVERIFY(
        std::is_standard_layout_v<
            StockQuotaData> && std::is_standard_layout_v<FutureQuotaData> && std::is_standard_layout_v<LxStockDeepData> && std::is_standard_layout_v<StockPeriod1DInfo>);
}

void tst_records::enumerationsHaveTheNumbersOfTheBus()
{
    QCOMPARE(static_cast<int>(EMD_KLINE_PERIOD_1MIN), 1);
    QCOMPARE(static_cast<int>(EMD_KLINE_PERIOD_1DAY), 2);
    QCOMPARE(static_cast<int>(EMD_EXRIGHTS_TYPE_DEFAULT), 11);
    QCOMPARE(static_cast<int>(QUOTA_RECORD_STOCK), 1);
    QCOMPARE(static_cast<int>(QUOTA_RECORD_INDEX), 2);
    QCOMPARE(static_cast<int>(QUOTA_RECORD_FUTURE), 3);
    QCOMPARE(sizeof(EMD_KLINE_PERIOD), sizeof(int));
    QCOMPARE(static_cast<double>(QUOTA_INVALID_VALUE), Invalid);
}

QTEST_GUILESS_MAIN(tst_records)
#include "tst_records.moc"
