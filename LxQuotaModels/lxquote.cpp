#include "lxquote.h"

#include <lxmsg/unpackmessagecommon.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr double SharesPerLot = 100;

double value(double number)
{
    return std::isfinite(number) && number != QUOTA_INVALID_VALUE ? number : LxNoValue;
}

// A price is zero until there is one.
double price(double number)
{
    return value(number) > 0 ? number : LxNoValue;
}

template<typename Record>
void fillCommon(LxQuote *quote, const Record &record)
{
    quote->symbol = record.Symbol;
    quote->name = record.SecurityName;
    quote->date = record.MDDate;
    quote->time = record.MDTime;
    quote->last = price(record.LastPx);
    quote->previousClose = price(record.PreClosePx);
    quote->open = price(record.OpenPx);
    quote->high = price(record.HighPx);
    quote->low = price(record.LowPx);
    quote->volume = value(record.TotalVolumeTrade);
    quote->amount = value(record.TotalValueTrade);
    if (quote->last > 0) {
        quote->change = value(record.Change);
        quote->changeRatio = value(record.ChangeRatio);
    }
}

template<typename Record>
void fillBook(LxQuote *quote, const Record &record, int levels)
{
    quote->levels = levels;
    quote->upperLimit = price(record.MaxPx);
    quote->lowerLimit = price(record.MinPx);
    quote->average = price(record.AvgPx);
    quote->bidAskRatio = value(record.BidAskRatio);
    for (int i = 0; i < levels; ++i) {
        quote->bidPrice[i] = price(record.BuyPrice[i]);
        quote->askPrice[i] = price(record.SellPrice[i]);
        quote->bidQuantity[i] = price(static_cast<double>(record.BuyOrderQty[i]));
        quote->askQuantity[i] = price(static_cast<double>(record.SellOrderQty[i]));
    }
}

// Depending on the source, the side is encoded as a digit or as a letter.
LxTrade::Side sideOf(const QString &flag)
{
    if (flag == QLatin1String("1") || flag == QLatin1String("B"))
        return LxTrade::Buy;
    if (flag == QLatin1String("2") || flag == QLatin1String("S"))
        return LxTrade::Sell;
    return LxTrade::UnknownSide;
}

} // namespace

LxQuote::LxQuote()
{
    for (auto *column : { bidPrice, askPrice, bidQuantity, askQuantity })
        std::fill_n(column, MaximumLevels, LxNoValue);
}

LxQuote::LxQuote(const StockQuotaData &record) : LxQuote()
{
    kind = Stock;
    fillCommon(this, record);
    fillBook(this, record, STOCK_BOOK_LEVELS);
    amplitude = high > 0 ? value(record.Amplitude) : LxNoValue;
    turnoverRate = value(record.TurnoverRate);
    peRatio = value(record.PERatio);
    pbRatio = value(record.PBRatio);
    totalMarketValue = price(record.TotalMarketValue);
    circulatingMarketValue = price(record.CirculatingMarketValue);
    quantityRelativeRatio = value(record.QuantityRelativeRatio);
    lastTradeLots = value(record.LastTradeLots);
}

LxQuote::LxQuote(const IndexQuotaData &record) : LxQuote()
{
    kind = Index;
    fillCommon(this, record);
}

LxQuote::LxQuote(const FutureQuotaData &record) : LxQuote()
{
    kind = Future;
    fillCommon(this, record);
    fillBook(this, record, FUTURE_BOOK_LEVELS);
    openInterest = value(record.OpenInterest);
}

double LxQuote::inLots(double quantity) const
{
    return kind == Stock ? std::trunc(quantity / SharesPerLot) : quantity;
}

int LxQuote::direction() const
{
    if (last > previousClose)
        return 1;
    return last < previousClose ? -1 : 0;
}

LxTrade::LxTrade(const QVariant &body)
{
    CUnPackMessageCommon row;
    row.SetUnPackMsg(body, false);
    const QVariant none;
    symbol = row.GetValue(QStringLiteral("Symbol"), none).toString();
    time = row.GetValue(QStringLiteral("MDTime"), none).toString();
    price = ::price(row.GetValue(QStringLiteral("TradePrice"), none).toDouble());
    lots = std::trunc(value(row.GetValue(QStringLiteral("TradeQty"), none).toDouble()) / SharesPerLot);
    side = sideOf(row.GetValue(QStringLiteral("TradeBSFlag"), none).toString());
}

LxTrade::LxTrade(const LxQuote &before, const LxQuote &after)
    : symbol(after.symbol), time(after.time), price(after.last)
{
    const double quantity = after.volume - before.volume;
    if (!(quantity > 0) || before.date != after.date)
        return;
    lots = after.inLots(quantity);
    if (price >= before.askPrice[0])
        side = Buy;
    else if (price <= before.bidPrice[0])
        side = Sell;
}
