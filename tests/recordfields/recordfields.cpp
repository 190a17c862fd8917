#include "recordfields.h"

#include <QStringList>
#include <QVariant>

#include <cmath>

namespace {

template<typename Value>
bool same(const Value &a, const Value &b)
{
    if constexpr (std::is_same_v<Value, double>)
        return sameNumber(a, b);
    else
        return a == b;
}

template<typename Record>
struct FieldDifference
{
    const Record &actual;
    const Record &expected;
    QString name;
    QStringList &found;

    template<typename Value>
    void compare(const Value &a, const Value &b, const QString &level = QString()) const
    {
        if (!same(a, b))
            found.append(QStringLiteral("%1%2: \"%3\" instead of \"%4\"")
                             .arg(name, level, QVariant(a).toString(), QVariant(b).toString()));
    }
    template<typename Value>
    void operator()(Value Record::*member) const
    {
        compare(actual.*member, expected.*member);
    }
    template<typename Value, size_t Levels>
    void operator()(Value (Record::*member)[Levels]) const
    {
        for (size_t i = 0; i < Levels; ++i)
            compare((actual.*member)[i], (expected.*member)[i], QStringLiteral("[%1]").arg(i));
    }
};

template<typename Record>
QString recordDifference(const Record &actual, const Record &expected)
{
    QStringList found;
    for (const auto &field : fieldsOf(actual))
        std::visit(FieldDifference<Record> { actual, expected, QString::fromLatin1(field.name), found }, field.member);
    return found.join(QStringLiteral(", "));
}

} // namespace

QByteArray levelColumn(const QByteArray &name, size_t level)
{
    const int sideLength = name.startsWith("Sell") ? 4 : 3;
    return name.left(sideLength) + QByteArray::number(static_cast<int>(level) + 1) + name.mid(sideLength);
}

const QVector<StockField> &fieldsOf(const StockQuotaData &)
{
    using R = StockQuotaData;
    static const QVector<StockField> fields {
        { "MDDate", &R::MDDate },
        { "MDTime", &R::MDTime },
        { "Symbol", &R::Symbol },
        { "TradingPhaseCode", &R::TradingPhaseCode },
        { "PreClosePx", &R::PreClosePx },
        { "NumTrades", &R::NumTrades },
        { "TotalVolumeTrade", &R::TotalVolumeTrade },
        { "TotalValueTrade", &R::TotalValueTrade },
        { "LastPx", &R::LastPx },
        { "OpenPx", &R::OpenPx },
        { "ClosePx", &R::ClosePx },
        { "HighPx", &R::HighPx },
        { "LowPx", &R::LowPx },
        { "MaxPx", &R::MaxPx },
        { "MinPx", &R::MinPx },
        { "TotalBidQty", &R::TotalBidQty },
        { "TotalOfferQty", &R::TotalOfferQty },
        { "WeightedAvgBidPx", &R::WeightedAvgBidPx },
        { "WeightedAvgOfferPx", &R::WeightedAvgOfferPx },
        { "Reserved1", &R::Reserved1, Origin::Mark },
        { "Reserved2", &R::Reserved2, Origin::Mark },
        { "Reserved3", &R::Reserved3, Origin::Mark },
        { "Reserved4", &R::Reserved4, Origin::Mark },
        { "Reserved5", &R::Reserved5, Origin::Mark },
        { "Reserved6", &R::Reserved6, Origin::Mark },
        { "Reserved7", &R::Reserved7, Origin::Mark },
        { "Reserved8", &R::Reserved8, Origin::Mark },
        { "PERatio", &R::PERatio, Origin::Mark },
        { "Reserved9", &R::Reserved9, Origin::Mark },
        { "SellPrice", &R::SellPrice },
        { "BuyPrice", &R::BuyPrice },
        { "SellOrderQty", &R::SellOrderQty },
        { "BuyOrderQty", &R::BuyOrderQty },
        { "SecurityName", &R::SecurityName, Origin::Derived },
        { "Change", &R::Change, Origin::Derived },
        { "ChangeRatio", &R::ChangeRatio, Origin::Derived },
        { "Amplitude", &R::Amplitude, Origin::Derived },
        { "TurnoverRate", &R::TurnoverRate, Origin::Derived },
        { "TotalMarketValue", &R::TotalMarketValue, Origin::Derived },
        { "PBRatio", &R::PBRatio, Origin::Derived },
        { "CirculatingMarketValue", &R::CirculatingMarketValue, Origin::Derived },
        { "AvgPx", &R::AvgPx, Origin::Derived },
        { "BidAskRatio", &R::BidAskRatio, Origin::Derived },
        { "LastTradeLots", &R::LastTradeLots, Origin::Mark },
        { "QuantityRelativeRatio", &R::QuantityRelativeRatio, Origin::Mark },
    };
    return fields;
}

const QVector<FutureField> &fieldsOf(const FutureQuotaData &)
{
    using R = FutureQuotaData;
    static const QVector<FutureField> fields {
        { "MDDate", &R::MDDate },
        { "MDTime", &R::MDTime },
        { "Symbol", &R::Symbol },
        { "TradingDate", &R::TradingDate },
        { "PreOpenInterest", &R::PreOpenInterest },
        { "PreClosePx", &R::PreClosePx },
        { "PreSettlePrice", &R::PreSettlePrice },
        { "TotalVolumeTrade", &R::TotalVolumeTrade },
        { "TotalValueTrade", &R::TotalValueTrade },
        { "LastPx", &R::LastPx },
        { "OpenPx", &R::OpenPx },
        { "ClosePx", &R::ClosePx },
        { "HighPx", &R::HighPx },
        { "LowPx", &R::LowPx },
        { "MaxPx", &R::MaxPx },
        { "MinPx", &R::MinPx },
        { "OpenInterest", &R::OpenInterest },
        { "SettlePrice", &R::SettlePrice },
        { "PreDelta", &R::PreDelta },
        { "CurrDelta", &R::CurrDelta },
        { "SellPrice", &R::SellPrice },
        { "BuyPrice", &R::BuyPrice },
        { "SellOrderQty", &R::SellOrderQty },
        { "BuyOrderQty", &R::BuyOrderQty },
        { "SecurityName", &R::SecurityName, Origin::Derived },
        { "Change", &R::Change, Origin::Derived },
        { "ChangeRatio", &R::ChangeRatio, Origin::Derived },
        { "TurnoverRate", &R::TurnoverRate, Origin::Derived },
        { "TotalMarketValue", &R::TotalMarketValue, Origin::Derived },
        { "PBRatio", &R::PBRatio, Origin::Derived },
        { "CirculatingMarketValue", &R::CirculatingMarketValue, Origin::Derived },
        { "AvgPx", &R::AvgPx, Origin::Derived },
        { "BidAskRatio", &R::BidAskRatio, Origin::Derived },
        { "Reserved1", &R::Reserved1, Origin::Mark },
    };
    return fields;
}

const QVector<IndexField> &fieldsOf(const IndexQuotaData &)
{
    using R = IndexQuotaData;
    static const QVector<IndexField> fields {
        { "MDDate", &R::MDDate },
        { "MDTime", &R::MDTime },
        { "Symbol", &R::Symbol },
        { "PreClosePx", &R::PreClosePx },
        { "TotalVolumeTrade", &R::TotalVolumeTrade },
        { "TotalValueTrade", &R::TotalValueTrade },
        { "LastPx", &R::LastPx },
        { "OpenPx", &R::OpenPx },
        { "ClosePx", &R::ClosePx },
        { "HighPx", &R::HighPx },
        { "LowPx", &R::LowPx },
        { "SecurityName", &R::SecurityName, Origin::Derived },
        { "Change", &R::Change, Origin::Derived },
        { "ChangeRatio", &R::ChangeRatio, Origin::Derived },
    };
    return fields;
}

const QVector<BaseField> &fieldsOf(const BaseQuotaData &)
{
    using R = BaseQuotaData;
    static const QVector<BaseField> fields {
        { "RecordKind", &R::RecordKind, Origin::Derived },
        { "LastPx", &R::LastPx },
        { "MDTime", &R::MDTime },
        { "OpenPx", &R::OpenPx },
        { "ClosePx", &R::ClosePx },
        { "HighPx", &R::HighPx },
        { "LowPx", &R::LowPx },
        { "MaxPx", &R::MaxPx },
        { "MinPx", &R::MinPx },
        { "PreClosePx", &R::PreClosePx },
        { "TotalVolumeTrade", &R::TotalVolumeTrade },
        { "TotalValueTrade", &R::TotalValueTrade },
        { "NumTrades", &R::NumTrades },
        { "TotalBidQty", &R::TotalBidQty },
        { "TotalOfferQty", &R::TotalOfferQty },
        { "Buy1Price", &R::Buy1Price },
        { "Sell1Price", &R::Sell1Price },
        { "Symbol", &R::Symbol },
    };
    return fields;
}

bool sameNumber(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    return a == b || std::fabs(a - b) <= 1e-12 * std::fmax(std::fabs(a), std::fabs(b));
}

QString difference(const StockQuotaData &actual, const StockQuotaData &expected)
{
    return recordDifference(actual, expected);
}

QString difference(const FutureQuotaData &actual, const FutureQuotaData &expected)
{
    return recordDifference(actual, expected);
}

QString difference(const IndexQuotaData &actual, const IndexQuotaData &expected)
{
    return recordDifference(actual, expected);
}

QString difference(const BaseQuotaData &actual, const BaseQuotaData &expected)
{
    return recordDifference(actual, expected);
}
