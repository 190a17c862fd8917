#pragma once

#include <lxquotadata.h>

/// Visits every field of a record by name, in the order of its declaration, the reserved ones left out:
/// `visitor(const char *name, const T &value)`, where T is QString, double, qint64 or an array of double or qint64.

#define LX_FIELD(name) visitor(#name, record.name)

template<typename Visitor>
void visitFields(const StockQuotaData &record, Visitor &&visitor)
{
    LX_FIELD(MDDate);
    LX_FIELD(MDTime);
    LX_FIELD(Symbol);
    LX_FIELD(TradingPhaseCode);
    LX_FIELD(PreClosePx);
    LX_FIELD(NumTrades);
    LX_FIELD(TotalVolumeTrade);
    LX_FIELD(TotalValueTrade);
    LX_FIELD(LastPx);
    LX_FIELD(OpenPx);
    LX_FIELD(ClosePx);
    LX_FIELD(HighPx);
    LX_FIELD(LowPx);
    LX_FIELD(MaxPx);
    LX_FIELD(MinPx);
    LX_FIELD(TotalBidQty);
    LX_FIELD(TotalOfferQty);
    LX_FIELD(WeightedAvgBidPx);
    LX_FIELD(WeightedAvgOfferPx);
    LX_FIELD(PERatio);
    LX_FIELD(SellPrice);
    LX_FIELD(BuyPrice);
    LX_FIELD(SellOrderQty);
    LX_FIELD(BuyOrderQty);
    LX_FIELD(SecurityName);
    LX_FIELD(Change);
    LX_FIELD(ChangeRatio);
    LX_FIELD(Amplitude);
    LX_FIELD(TurnoverRate);
    LX_FIELD(TotalMarketValue);
    LX_FIELD(PBRatio);
    LX_FIELD(CirculatingMarketValue);
    LX_FIELD(AvgPx);
    LX_FIELD(BidAskRatio);
    LX_FIELD(LastTradeLots);
    LX_FIELD(QuantityRelativeRatio);
}

template<typename Visitor>
void visitFields(const FutureQuotaData &record, Visitor &&visitor)
{
    LX_FIELD(MDDate);
    LX_FIELD(MDTime);
    LX_FIELD(Symbol);
    LX_FIELD(TradingDate);
    LX_FIELD(PreOpenInterest);
    LX_FIELD(PreClosePx);
    LX_FIELD(PreSettlePrice);
    LX_FIELD(TotalVolumeTrade);
    LX_FIELD(TotalValueTrade);
    LX_FIELD(LastPx);
    LX_FIELD(OpenPx);
    LX_FIELD(ClosePx);
    LX_FIELD(HighPx);
    LX_FIELD(LowPx);
    LX_FIELD(MaxPx);
    LX_FIELD(MinPx);
    LX_FIELD(OpenInterest);
    LX_FIELD(SettlePrice);
    LX_FIELD(PreDelta);
    LX_FIELD(CurrDelta);
    LX_FIELD(SellPrice);
    LX_FIELD(BuyPrice);
    LX_FIELD(SellOrderQty);
    LX_FIELD(BuyOrderQty);
    LX_FIELD(SecurityName);
    LX_FIELD(Change);
    LX_FIELD(ChangeRatio);
    LX_FIELD(TurnoverRate);
    LX_FIELD(TotalMarketValue);
    LX_FIELD(PBRatio);
    LX_FIELD(CirculatingMarketValue);
    LX_FIELD(AvgPx);
    LX_FIELD(BidAskRatio);
}

template<typename Visitor>
void visitFields(const IndexQuotaData &record, Visitor &&visitor)
{
    LX_FIELD(MDDate);
    LX_FIELD(MDTime);
    LX_FIELD(Symbol);
    LX_FIELD(PreClosePx);
    LX_FIELD(TotalVolumeTrade);
    LX_FIELD(TotalValueTrade);
    LX_FIELD(LastPx);
    LX_FIELD(OpenPx);
    LX_FIELD(ClosePx);
    LX_FIELD(HighPx);
    LX_FIELD(LowPx);
    LX_FIELD(SecurityName);
    LX_FIELD(Change);
    LX_FIELD(ChangeRatio);
}

/// True once an instrument has been traded that day.
template<typename Quote>
bool hasTraded(const Quote &quote)
{
    return quote.TotalVolumeTrade > 0 || quote.TotalValueTrade > 0;
}

#undef LX_FIELD
