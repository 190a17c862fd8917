#pragma once

#include <QDate>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QTime>

/// @file
/// The typed market records that LxQuotaHandler decodes, caches and announces.
///
/// Plain structures with public fields, copied member by member. The order of the fields is part of the binary
/// interface. Unless a field's comment says otherwise, prices and amounts are in yuan, volumes in shares (futures:
/// lots), dates are strings of the form "yyyyMMdd", times are strings of the form "HHmmssSSS" in the time zone of the
/// exchange (Beijing), and ratios are percentages.

/// The invalid mark: the value of a number that is unknown. -9999999.0 in a double, -9999999 in a 64-bit integer.
constexpr int QUOTA_INVALID_VALUE = -9999999;

/// Levels of the order book of a stock.
constexpr int STOCK_BOOK_LEVELS = 10;
/// Levels of the order book of a future.
constexpr int FUTURE_BOOK_LEVELS = 5;

/// The K-line periods that the library uses. Services may support more.
enum EMD_KLINE_PERIOD : int {
    EMD_KLINE_PERIOD_1MIN = 1, ///< one-minute bars
    EMD_KLINE_PERIOD_1DAY = 2, ///< daily bars
};

/// The price adjustments of K-lines. The services define the values; the library itself requests only this one.
enum EMD_EXRIGHTS_TYPE : int {
    EMD_EXRIGHTS_TYPE_DEFAULT = 11, ///< unadjusted
};

/// The kind of quote that a BaseQuotaData summarises.
enum QuotaRecordKind : int {
    QUOTA_RECORD_STOCK = 1, ///< a StockQuotaData
    QUOTA_RECORD_INDEX = 2, ///< an IndexQuotaData
    QUOTA_RECORD_FUTURE = 3, ///< a FutureQuotaData
};

// In every order book only the first level is initialised with the invalid mark, the deeper ones with 0.

/// One stock quote.
struct StockQuotaData
{
    QString MDDate; ///< trading date, yyyyMMdd
    QString MDTime; ///< time of the record, HHmmssSSS
    QString Symbol; ///< code and market suffix, as 600000.SH
    QString TradingPhaseCode; ///< "8": halted; the trading fields then keep their defaults
    double PreClosePx = QUOTA_INVALID_VALUE; ///< close of the previous day
    qint64 NumTrades = QUOTA_INVALID_VALUE; ///< trades of the day
    double TotalVolumeTrade = QUOTA_INVALID_VALUE; ///< traded volume of the day
    double TotalValueTrade = QUOTA_INVALID_VALUE; ///< traded value of the day, yuan
    double LastPx = QUOTA_INVALID_VALUE; ///< latest price, by the platform's rule (SummitBusiUtils)
    double OpenPx = QUOTA_INVALID_VALUE; ///< first price of the day
    double ClosePx = QUOTA_INVALID_VALUE; ///< close of the day
    double HighPx = QUOTA_INVALID_VALUE; ///< highest price of the day
    double LowPx = QUOTA_INVALID_VALUE; ///< lowest price of the day
    double MaxPx = QUOTA_INVALID_VALUE; ///< upper price limit of the day
    double MinPx = QUOTA_INVALID_VALUE; ///< lower price limit of the day
    double TotalBidQty = QUOTA_INVALID_VALUE; ///< volume of all bids
    double TotalOfferQty = QUOTA_INVALID_VALUE; ///< volume of all asks
    double WeightedAvgBidPx = QUOTA_INVALID_VALUE; ///< average price of all bids, by volume
    double WeightedAvgOfferPx = QUOTA_INVALID_VALUE; ///< average price of all asks, by volume
    qint64 Reserved1 = QUOTA_INVALID_VALUE; ///< this and the other reserved fields are never written
    double Reserved2 = QUOTA_INVALID_VALUE; ///< never written
    double Reserved3 = QUOTA_INVALID_VALUE; ///< never written
    qint64 Reserved4 = QUOTA_INVALID_VALUE; ///< never written
    double Reserved5 = QUOTA_INVALID_VALUE; ///< never written
    double Reserved6 = QUOTA_INVALID_VALUE; ///< never written
    qint64 Reserved7 = QUOTA_INVALID_VALUE; ///< never written
    qint64 Reserved8 = QUOTA_INVALID_VALUE; ///< never written
    double PERatio = QUOTA_INVALID_VALUE; ///< LastPx / eps; a plain ratio. Filled by the snapshot queries only
    double Reserved9 = QUOTA_INVALID_VALUE; ///< never written
    double SellPrice[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< index 0: best ask
    double BuyPrice[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< index 0: best bid
    qint64 SellOrderQty[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< volume at SellPrice
    qint64 BuyOrderQty[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< volume at BuyPrice
    QString SecurityName; ///< name, in Chinese
    double Change = QUOTA_INVALID_VALUE; ///< LastPx - PreClosePx
    double ChangeRatio = QUOTA_INVALID_VALUE; ///< Change / PreClosePx, percent
    double Amplitude = QUOTA_INVALID_VALUE; ///< (HighPx - LowPx) / PreClosePx, percent; may be inf or NaN
    double TurnoverRate = QUOTA_INVALID_VALUE; ///< TotalVolumeTrade / total shares, percent
    double TotalMarketValue = QUOTA_INVALID_VALUE; ///< price times total shares
    double PBRatio = QUOTA_INVALID_VALUE; ///< price / net assets per share; a plain ratio
    double CirculatingMarketValue = QUOTA_INVALID_VALUE; ///< price times listed shares
    double AvgPx = QUOTA_INVALID_VALUE; ///< TotalValueTrade / TotalVolumeTrade; may be inf or NaN
    double BidAskRatio = QUOTA_INVALID_VALUE; ///< imbalance of the order book, -100 to 100 percent
    double LastTradeLots =
        QUOTA_INVALID_VALUE; ///< last trade in whole lots of 100. Filled by the snapshot queries only
    double QuantityRelativeRatio =
        QUOTA_INVALID_VALUE; ///< volume per minute / its five-day average. Filled by the snapshot queries only
};

/// One future quote.
struct FutureQuotaData
{
    QString MDDate; ///< trading date, yyyyMMdd
    QString MDTime; ///< time of the record, HHmmssSSS
    QString Symbol; ///< code and market suffix, as 600000.SH
    QString TradingDate; ///< trading date of the session, yyyyMMdd
    double PreOpenInterest = QUOTA_INVALID_VALUE; ///< open interest of the previous day, lots
    double PreClosePx = QUOTA_INVALID_VALUE; ///< close of the previous day
    double PreSettlePrice = QUOTA_INVALID_VALUE; ///< settlement price of the previous day
    double TotalVolumeTrade = QUOTA_INVALID_VALUE; ///< traded volume of the day
    double TotalValueTrade = QUOTA_INVALID_VALUE; ///< traded value of the day, yuan
    double LastPx = QUOTA_INVALID_VALUE; ///< latest price, by the rule of the platform
    double OpenPx = QUOTA_INVALID_VALUE; ///< first price of the day
    double ClosePx = QUOTA_INVALID_VALUE; ///< close of the day
    double HighPx = QUOTA_INVALID_VALUE; ///< highest price of the day
    double LowPx = QUOTA_INVALID_VALUE; ///< lowest price of the day
    double MaxPx = QUOTA_INVALID_VALUE; ///< upper price limit of the day
    double MinPx = QUOTA_INVALID_VALUE; ///< lower price limit of the day
    double OpenInterest = QUOTA_INVALID_VALUE; ///< lots
    double SettlePrice = QUOTA_INVALID_VALUE; ///< settlement price of the day
    double PreDelta = QUOTA_INVALID_VALUE; ///< as sent by the source
    double CurrDelta = QUOTA_INVALID_VALUE; ///< as sent by the source
    double SellPrice[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< index 0: best ask
    double BuyPrice[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< index 0: best bid
    qint64 SellOrderQty[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< volume at SellPrice
    qint64 BuyOrderQty[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< volume at BuyPrice
    QString SecurityName; ///< name, in Chinese
    double Change = QUOTA_INVALID_VALUE; ///< against the previous close, not the previous settlement
    double ChangeRatio = QUOTA_INVALID_VALUE; ///< Change / PreClosePx, percent
    double TurnoverRate = QUOTA_INVALID_VALUE; ///< TotalVolumeTrade / total shares; a plain ratio, not a percentage
    double TotalMarketValue = QUOTA_INVALID_VALUE; ///< LastPx times total shares
    double PBRatio = QUOTA_INVALID_VALUE; ///< LastPx / net assets per share; a plain ratio
    double CirculatingMarketValue = QUOTA_INVALID_VALUE; ///< LastPx times listed shares
    double AvgPx = QUOTA_INVALID_VALUE; ///< TotalValueTrade / TotalVolumeTrade; may be inf or NaN
    double BidAskRatio = QUOTA_INVALID_VALUE; ///< imbalance of the order book, -100 to 100 percent
    double Reserved1 = QUOTA_INVALID_VALUE; ///< never written
};

/// One index quote.
struct IndexQuotaData
{
    QString MDDate; ///< trading date, yyyyMMdd
    QString MDTime; ///< time of the record, HHmmssSSS
    QString Symbol; ///< code and market suffix, as 600000.SH
    double PreClosePx = QUOTA_INVALID_VALUE; ///< close of the previous day
    double TotalVolumeTrade = QUOTA_INVALID_VALUE; ///< traded volume of the day
    double TotalValueTrade = QUOTA_INVALID_VALUE; ///< traded value of the day, yuan
    double LastPx = QUOTA_INVALID_VALUE; ///< latest value
    double OpenPx = QUOTA_INVALID_VALUE; ///< first price of the day
    double ClosePx = QUOTA_INVALID_VALUE; ///< close of the day
    double HighPx = QUOTA_INVALID_VALUE; ///< highest price of the day
    double LowPx = QUOTA_INVALID_VALUE; ///< lowest price of the day
    QString SecurityName; ///< name, in Chinese
    double Change = QUOTA_INVALID_VALUE; ///< LastPx - PreClosePx
    double ChangeRatio = QUOTA_INVALID_VALUE; ///< percent
};

/// What stock, index and future quotes have in common.
///
/// The numeric fields are not initialised. A field whose comment lists kinds is set for these kinds only and must not
/// be read for another.
struct BaseQuotaData
{
    int RecordKind; ///< a QuotaRecordKind
    double LastPx; ///< latest price
    QString MDTime; ///< time of the record, HHmmssSSS
    double OpenPx; ///< first price of the day
    double ClosePx; ///< close of the day
    double HighPx; ///< highest price of the day
    double LowPx; ///< lowest price of the day
    double MaxPx; ///< stock, future
    double MinPx; ///< stock, future
    double PreClosePx; ///< close of the previous day
    double TotalVolumeTrade; ///< traded volume of the day
    double TotalValueTrade; ///< traded value of the day, yuan
    double NumTrades; ///< stock
    double TotalBidQty; ///< stock
    double TotalOfferQty; ///< stock
    double Buy1Price; ///< stock, future
    double Sell1Price; ///< stock, future
    QString Symbol; ///< code and market suffix, as 600000.SH
};

/// One tick-by-tick trade. The numeric fields are not initialised.
struct StockTransactionRecordData
{
    QString MDDate; ///< trading date, yyyyMMdd
    QString MDTime; ///< time of the record, HHmmssSSS
    QString Symbol; ///< code and market suffix, as 600000.SH
    QString TradingPhaseCode; ///< phase, as encoded by the source
    qint64 TradeSerialNo; ///< always equal to TradeBuyNo
    qint64 TradeBuyNo; ///< number of the bid
    qint64 TradeSellNo; ///< number of the ask
    int TradeType; ///< as encoded by the source
    double TradePrice; ///< yuan
    qint64 TradeQty; ///< shares
    double TradeMoney; ///< yuan
    int TradeBSFlag; ///< buy or sell, as encoded by the source
};

/// One tick-by-tick order. Declared for plug-ins; the library never fills one. The numeric fields are not initialised.
struct StockOrderRecordData
{
    QString MDDate; ///< trading date, yyyyMMdd
    QString MDTime; ///< time of the record, HHmmssSSS
    QString Symbol; ///< code and market suffix, as 600000.SH
    qint64 OrderIndex; ///< number of the order
    int OrderType; ///< as encoded by the source
    double OrderPrice; ///< yuan
    qint64 OrderQty; ///< shares
    int OrderBSFlag; ///< buy or sell, as encoded by the source
};

/// One answer to a price-earnings query. The numeric fields are not initialised.
struct PEData
{
    QString Reserved1; ///< never written
    QString Reserved2; ///< never written
    QString Symbol; ///< code and market suffix, as 600000.SH
    QString tradeDay; ///< trading day of the figures, yyyyMMdd
    QString MDDate; ///< trading date, yyyyMMdd
    double eps; ///< earnings per share
    double ttmEps; ///< earnings per share of the last twelve months
    double ClosePx; ///< close of the day
    double staticPE; ///< price / earnings of the last full year; a plain ratio
    double dynamicPE; ///< price / earnings extrapolated to a year; a plain ratio
    double ttmPE; ///< price / ttmEps; a plain ratio
};

/// One answer to a quantity-relative-ratio query. The numeric field is not initialised.
struct QRRData
{
    QString Reserved1; ///< never written
    QString Symbol; ///< code and market suffix, as 600000.SH
    QString MDDate; ///< trading date, yyyyMMdd
    double last5DayVolumePerMinute; ///< average traded volume per minute over the last five days
};

/// Share capital and finance figures of a symbol. A figure that has not arrived yet is QUOTA_INVALID_VALUE.
struct LxStockDeepData
{
    double ListedShare = QUOTA_INVALID_VALUE; ///< listed shares: bus value * 10000
    double TotalShare = QUOTA_INVALID_VALUE; ///< total shares: bus value * 10000
    double NetAssets = QUOTA_INVALID_VALUE; ///< net assets per share
    double DividentRate = QUOTA_INVALID_VALUE; ///< dividend rate: bus value * 100
    QString Symbol; ///< code and market suffix, as 600000.SH
};

/// One K-line bar, of a day or of a minute.
struct StockPeriod1DInfo
{
    double closePx = 0.0; ///< last price
    double openPx = 0.0; ///< first price
    double highPx = 0.0; ///< highest price
    double lowPx = 0.0; ///< lowest price
    double totalVolumeTrade = 0.0; ///< traded volume
    double totalValueTrade = 0.0; ///< traded value, yuan
    QString symbol; ///< code and market suffix
};

static_assert(sizeof(StockQuotaData::BuyPrice) == 10 * sizeof(double)
                  && sizeof(StockQuotaData::SellOrderQty) == 10 * sizeof(qint64),
              "a stock's order book has ten levels");
static_assert(sizeof(FutureQuotaData::BuyPrice) == 5 * sizeof(double)
                  && sizeof(FutureQuotaData::SellOrderQty) == 5 * sizeof(qint64),
              "a future's order book has five levels");

Q_DECLARE_METATYPE(StockQuotaData)
Q_DECLARE_METATYPE(FutureQuotaData)
Q_DECLARE_METATYPE(IndexQuotaData)
Q_DECLARE_METATYPE(StockOrderRecordData)
Q_DECLARE_METATYPE(StockTransactionRecordData)
