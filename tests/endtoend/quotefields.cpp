#include "quotefields.h"

#include <cmath>

namespace {

// "SellPrice" of level 3 stands in the column "Sell3Price".
QByteArray levelColumn(const QByteArray &name, int level)
{
    const int sideLength = name.startsWith("Sell") ? 4 : 3;
    return name.left(sideLength) + QByteArray::number(level) + name.mid(sideLength);
}

template<typename Record>
struct RowToField
{
    Record &record;
    const CsvRow &row;
    QByteArray name;

    void operator()(QString Record::*member) const { record.*member = row.text(name); }
    void operator()(double Record::*member) const { record.*member = row.number(name); }
    void operator()(qint64 Record::*member) const { record.*member = row.integer(name); }
    template<size_t Levels>
    void operator()(double (Record::*member)[Levels]) const
    {
        for (size_t i = 0; i < Levels; ++i)
            (record.*member)[i] = row.number(levelColumn(name, static_cast<int>(i) + 1));
    }
    template<size_t Levels>
    void operator()(qint64 (Record::*member)[Levels]) const
    {
        for (size_t i = 0; i < Levels; ++i)
            (record.*member)[i] = row.integer(levelColumn(name, static_cast<int>(i) + 1));
    }
};

template<typename Record>
Record readRecord(const CsvRow &row)
{
    Record record;
    for (const auto &field : fieldsOf(record)) {
        if (field.origin == Origin::Row)
            std::visit(RowToField<Record> { record, row, field.name }, field.member);
    }
    // Before the first trade the latest price is the reference price.
    if (!(record.LastPx > 0))
        record.LastPx = row.number(row.cell("PreSettlePrice").isEmpty() ? "PreClosePx" : "PreSettlePrice");
    record.SecurityName = securityNames().value(record.Symbol);
    record.Change = record.LastPx - record.PreClosePx;
    if (record.PreClosePx > 0)
        record.ChangeRatio = (record.LastPx - record.PreClosePx) / record.PreClosePx * 100;
    return record;
}

// The imbalance of an order book; the mark of no value if it is empty.
template<typename Record>
void deriveBidAskRatio(Record *record)
{
    double bids = 0;
    double asks = 0;
    for (qint64 quantity : record->BuyOrderQty)
        bids += static_cast<double>(quantity);
    for (qint64 quantity : record->SellOrderQty)
        asks += static_cast<double>(quantity);
    if (bids + asks > 0)
        record->BidAskRatio = 100 * (bids - asks) / (bids + asks);
}

QString shown(const QString &value)
{
    return QLatin1Char('"') + value + QLatin1Char('"');
}

QString shown(double value)
{
    return QString::number(value, 'g', 17);
}

QString shown(qint64 value)
{
    return QString::number(value);
}

bool same(const QString &a, const QString &b)
{
    return a == b;
}

bool same(double a, double b)
{
    return sameNumber(a, b);
}

bool same(qint64 a, qint64 b)
{
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
            found.append(QStringLiteral("%1%2: %3 instead of %4").arg(name, level, shown(a), shown(b)));
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

const QHash<QString, QString> &securityNames()
{
    static const QHash<QString, QString> names = [] {
        QHash<QString, QString> all;
        const CsvTable table(QStringLiteral(LX_DATA_DIR "/securities.csv"));
        for (int i = 0; i < table.rowCount(); ++i) {
            const CsvRow row = table.row(i);
            all.insert(row.text("Symbol"), row.text("SecurityName"));
        }
        return all;
    }();
    return names;
}

StockQuotaData expectedStock(const CsvRow &row)
{
    auto quote = readRecord<StockQuotaData>(row);
    deriveBidAskRatio(&quote);
    // No volume gives NaN or infinity, no previous close as well.
    quote.AvgPx = quote.TotalValueTrade / quote.TotalVolumeTrade;
    quote.Amplitude = 100 * ((quote.HighPx - quote.LowPx) / quote.PreClosePx);
    return quote;
}

FutureQuotaData expectedFuture(const CsvRow &row)
{
    auto quote = readRecord<FutureQuotaData>(row);
    deriveBidAskRatio(&quote);
    quote.AvgPx = quote.TotalValueTrade / quote.TotalVolumeTrade;
    return quote;
}

IndexQuotaData expectedIndex(const CsvRow &row)
{
    return readRecord<IndexQuotaData>(row);
}

void applyDeepData(const LxStockDeepData &deepData, StockQuotaData *quote)
{
    quote->TurnoverRate = 100 * (quote->TotalVolumeTrade / deepData.TotalShare);
    quote->TotalMarketValue = deepData.TotalShare * quote->LastPx;
    quote->CirculatingMarketValue = deepData.ListedShare * quote->LastPx;
    const bool hasAssets = deepData.NetAssets != QUOTA_INVALID_VALUE && std::fabs(deepData.NetAssets) > 1e-8;
    quote->PBRatio = hasAssets ? quote->LastPx / deepData.NetAssets : QUOTA_INVALID_VALUE;
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
