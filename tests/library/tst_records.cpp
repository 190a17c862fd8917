#include "support.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

namespace {

// Collects the addresses of a record's members, in the order of their declaration.
template<typename Record, typename... Members>
QVector<quintptr> addresses(const Record &record, Members Record::*...members)
{
    return { reinterpret_cast<quintptr>(&(record.*members))... };
}

// The same of a record whose fields are known by name.
template<typename Record>
QVector<quintptr> addressesOfFields(const Record &record)
{
    QVector<quintptr> all;
    for (const auto &field : fieldsOf(record))
        std::visit([&](auto member) { all.append(reinterpret_cast<quintptr>(&(record.*member))); }, field.member);
    return all;
}

// The names of the fields that do not have their initial value: "" in a string, the invalid mark in a number, and in
// an order book the invalid mark at the first level and 0 at the deeper ones.
template<typename Record>
QStringList fieldsSetInitially()
{
    const Record record;
    QStringList wrong;
    for (const auto &field : fieldsOf(record)) {
        const auto isInitial = [&record](auto member) {
            const auto &value = record.*member;
            if constexpr (std::is_array_v<std::remove_reference_t<decltype(value)>>) {
                return value[0] == QUOTA_INVALID_VALUE
                    && std::all_of(std::begin(value) + 1, std::end(value), [](auto deeper) { return deeper == 0; });
            } else if constexpr (std::is_same_v<decltype(value), const QString &>)
                return value.isEmpty();
            else
                return value == QUOTA_INVALID_VALUE;
        };
        if (!std::visit(isInitial, field.member))
            wrong.append(QString::fromLatin1(field.name));
    }
    return wrong;
}

} // namespace

class tst_records : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quotesStartInvalid();
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

void tst_records::quotesStartInvalid()
{
    QCOMPARE(fieldsSetInitially<StockQuotaData>(), QStringList());
    QCOMPARE(fieldsSetInitially<FutureQuotaData>(), QStringList());
    QCOMPARE(fieldsSetInitially<IndexQuotaData>(), QStringList());
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
    static const StockQuotaData stock;
    add("stock quote", addressesOfFields(stock), &stock, sizeof stock);
    static const FutureQuotaData future;
    add("future quote", addressesOfFields(future), &future, sizeof future);
    static const IndexQuotaData index;
    add("index quote", addressesOfFields(index), &index, sizeof index);
    static const BaseQuotaData base {};
    add("condensed quote", addressesOfFields(base), &base, sizeof base);
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
