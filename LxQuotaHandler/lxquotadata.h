#pragma once

#include <QDate>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QTime>

/// The typed market records that LxQuotaHandler decodes, caches and announces.
///
/// Plain structures with public fields, copied member by member, also through queued signals. The order of the fields
/// is part of the binary interface. Unless a field says otherwise: prices and amounts are in the bus's unit (yuan),
/// volumes in the bus's unit (shares; lots for futures), dates are the text "yyyyMMdd" and times the text "HHmmssSSS"
/// of the exchange (Beijing time), ratios are percentages.

/// The mark of a number that has no value: -9999999.0 in a double, -9999999 in a 64-bit integer.
constexpr int QUOTA_INVALID_VALUE = -9999999;

/// Depth of the order book of a stock and of a future.
constexpr int STOCK_BOOK_LEVELS = 10;
constexpr int FUTURE_BOOK_LEVELS = 5;

/// The K-line periods that the library uses; the bus may know more.
enum EMD_KLINE_PERIOD : int {
    EMD_KLINE_PERIOD_1MIN = 1, ///< one-minute bars
    EMD_KLINE_PERIOD_1DAY = 2, ///< daily bars
};

/// The price adjustments of K-lines. The bus defines their numbers; this is the one the library itself asks for.
enum EMD_EXRIGHTS_TYPE : int {
    EMD_EXRIGHTS_TYPE_DEFAULT = 11,
};

/// What kind of quote a BaseQuotaData condenses.
enum QuotaRecordKind : int {
    QUOTA_RECORD_STOCK = 1,
    QUOTA_RECORD_INDEX = 2,
    QUOTA_RECORD_FUTURE = 3,
};

// In every order book only the first level starts with the invalid mark and the deeper ones with 0. That is meant:
// whether level 1 carries a value is what readers test.

/// One stock quote.
struct StockQuotaData
{
    QString MDDate;
    QString MDTime;
    QString Symbol;
    QString TradingPhaseCode; ///< "8": halted, and then no trading field is filled
    double PreClosePx = QUOTA_INVALID_VALUE;
    qint64 NumTrades = QUOTA_INVALID_VALUE;
    double TotalVolumeTrade = QUOTA_INVALID_VALUE;
    double TotalValueTrade = QUOTA_INVALID_VALUE;
    double LastPx = QUOTA_INVALID_VALUE; ///< by the platform's rule of the latest price
    double OpenPx = QUOTA_INVALID_VALUE;
    double ClosePx = QUOTA_INVALID_VALUE;
    double HighPx = QUOTA_INVALID_VALUE;
    double LowPx = QUOTA_INVALID_VALUE;
    double MaxPx = QUOTA_INVALID_VALUE; ///< upper price limit of the day
    double MinPx = QUOTA_INVALID_VALUE; ///< lower price limit of the day
    double TotalBidQty = QUOTA_INVALID_VALUE;
    double TotalOfferQty = QUOTA_INVALID_VALUE;
    double WeightedAvgBidPx = QUOTA_INVALID_VALUE;
    double WeightedAvgOfferPx = QUOTA_INVALID_VALUE;
    qint64 Reserved1 = QUOTA_INVALID_VALUE; ///< this and the other reserved fields are never written
    double Reserved2 = QUOTA_INVALID_VALUE;
    double Reserved3 = QUOTA_INVALID_VALUE;
    qint64 Reserved4 = QUOTA_INVALID_VALUE;
    double Reserved5 = QUOTA_INVALID_VALUE;
    double Reserved6 = QUOTA_INVALID_VALUE;
    qint64 Reserved7 = QUOTA_INVALID_VALUE;
    qint64 Reserved8 = QUOTA_INVALID_VALUE;
    double PERatio = QUOTA_INVALID_VALUE; ///< LastPx / eps; a plain ratio. Filled by the snapshot queries only
    double Reserved9 = QUOTA_INVALID_VALUE;
    double SellPrice[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE }; ///< index 0: best ask
    double BuyPrice[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };  ///< index 0: best bid
    qint64 SellOrderQty[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    qint64 BuyOrderQty[STOCK_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    QString SecurityName;
    double Change = QUOTA_INVALID_VALUE;                ///< LastPx - PreClosePx
    double ChangeRatio = QUOTA_INVALID_VALUE;           ///< Change / PreClosePx, percent
    double Amplitude = QUOTA_INVALID_VALUE;             ///< (HighPx - LowPx) / PreClosePx, percent; may be inf or NaN
    double TurnoverRate = QUOTA_INVALID_VALUE;          ///< TotalVolumeTrade / total shares, percent
    double TotalMarketValue = QUOTA_INVALID_VALUE;      ///< price times total shares
    double PBRatio = QUOTA_INVALID_VALUE;               ///< price / net assets per share; a plain ratio
    double CirculatingMarketValue = QUOTA_INVALID_VALUE; ///< price times listed shares
    double AvgPx = QUOTA_INVALID_VALUE;                 ///< TotalValueTrade / TotalVolumeTrade; may be inf or NaN
    double BidAskRatio = QUOTA_INVALID_VALUE;           ///< imbalance of the order book, -100 to 100 percent
    double LastTradeLots = QUOTA_INVALID_VALUE;         ///< last trade in whole lots of 100. Snapshot queries only
    double QuantityRelativeRatio = QUOTA_INVALID_VALUE; ///< volume per minute / that of the last five days. Same
};

/// One future quote.
struct FutureQuotaData
{
    QString MDDate;
    QString MDTime;
    QString Symbol;
    QString TradingDate;
    double PreOpenInterest = QUOTA_INVALID_VALUE;
    double PreClosePx = QUOTA_INVALID_VALUE;
    double PreSettlePrice = QUOTA_INVALID_VALUE;
    double TotalVolumeTrade = QUOTA_INVALID_VALUE;
    double TotalValueTrade = QUOTA_INVALID_VALUE;
    double LastPx = QUOTA_INVALID_VALUE;
    double OpenPx = QUOTA_INVALID_VALUE;
    double ClosePx = QUOTA_INVALID_VALUE;
    double HighPx = QUOTA_INVALID_VALUE;
    double LowPx = QUOTA_INVALID_VALUE;
    double MaxPx = QUOTA_INVALID_VALUE;
    double MinPx = QUOTA_INVALID_VALUE;
    double OpenInterest = QUOTA_INVALID_VALUE;
    double SettlePrice = QUOTA_INVALID_VALUE;
    double PreDelta = QUOTA_INVALID_VALUE;
    double CurrDelta = QUOTA_INVALID_VALUE;
    double SellPrice[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    double BuyPrice[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    qint64 SellOrderQty[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    qint64 BuyOrderQty[FUTURE_BOOK_LEVELS] = { QUOTA_INVALID_VALUE };
    QString SecurityName;
    double Change = QUOTA_INVALID_VALUE;       ///< against the previous close, not the previous settlement
    double ChangeRatio = QUOTA_INVALID_VALUE;  ///< Change / PreClosePx, percent
    double TurnoverRate = QUOTA_INVALID_VALUE; ///< TotalVolumeTrade / total shares; a plain ratio, not a percentage
    double TotalMarketValue = QUOTA_INVALID_VALUE;
    double PBRatio = QUOTA_INVALID_VALUE;
    double CirculatingMarketValue = QUOTA_INVALID_VALUE;
    double AvgPx = QUOTA_INVALID_VALUE; ///< TotalValueTrade / TotalVolumeTrade; may be inf or NaN
    double BidAskRatio = QUOTA_INVALID_VALUE;
    double Reserved1 = QUOTA_INVALID_VALUE; ///< never written
};

/// One index quote.
struct IndexQuotaData
{
    QString MDDate;
    QString MDTime;
    QString Symbol;
    double PreClosePx = QUOTA_INVALID_VALUE;
    double TotalVolumeTrade = QUOTA_INVALID_VALUE;
    double TotalValueTrade = QUOTA_INVALID_VALUE;
    double LastPx = QUOTA_INVALID_VALUE;
    double OpenPx = QUOTA_INVALID_VALUE;
    double ClosePx = QUOTA_INVALID_VALUE;
    double HighPx = QUOTA_INVALID_VALUE;
    double LowPx = QUOTA_INVALID_VALUE;
    QString SecurityName;
    double Change = QUOTA_INVALID_VALUE;
    double ChangeRatio = QUOTA_INVALID_VALUE; ///< percent
};

/// What stock, index and future quotes have in common.
///
/// The numbers have no defaults: those marked with the kinds that write them must not be read for another kind.
struct BaseQuotaData
{
    int RecordKind; ///< a QuotaRecordKind
    double LastPx;
    QString MDTime;
    double OpenPx;
    double ClosePx;
    double HighPx;
    double LowPx;
    double MaxPx; ///< stock, future
    double MinPx; ///< stock, future
    double PreClosePx;
    double TotalVolumeTrade;
    double TotalValueTrade;
    double NumTrades;     ///< stock
    double TotalBidQty;   ///< stock
    double TotalOfferQty; ///< stock
    double Buy1Price;     ///< stock, future
    double Sell1Price;    ///< stock, future
    QString Symbol;
};

/// One tick-by-tick trade. The numbers have no defaults.
struct StockTransactionRecordData
{
    QString MDDate;
    QString MDTime;
    QString Symbol;
    QString TradingPhaseCode;
    qint64 TradeSerialNo; ///< always equal to TradeBuyNo
    qint64 TradeBuyNo;
    qint64 TradeSellNo;
    int TradeType;
    double TradePrice;
    qint64 TradeQty; ///< shares
    double TradeMoney;
    int TradeBSFlag; ///< which side took the initiative, in the coding of the source
};

/// One tick-by-tick order. Declared for plug-ins; the library never fills one. The numbers have no defaults.
struct StockOrderRecordData
{
    QString MDDate;
    QString MDTime;
    QString Symbol;
    qint64 OrderIndex;
    int OrderType;
    double OrderPrice;
    qint64 OrderQty;
    int OrderBSFlag;
};

/// One answer to a price-earnings query. The numbers have no defaults.
struct PEData
{
    QString Reserved1; ///< never written
    QString Reserved2; ///< never written
    QString Symbol;
    QString tradeDay;
    QString MDDate;
    double eps; ///< earnings per share
    double ttmEps;
    double ClosePx;
    double staticPE;
    double dynamicPE;
    double ttmPE;
};

/// One answer to a quantity-relative-ratio query. The number has no default.
struct QRRData
{
    QString Reserved1; ///< never written
    QString Symbol;
    QString MDDate;
    double last5DayVolumePerMinute; ///< average traded volume a minute over the last five days
};

/// Share capital and finance figures of a symbol. A figure that has not arrived yet is QUOTA_INVALID_VALUE.
struct LxStockDeepData
{
    double ListedShare = QUOTA_INVALID_VALUE; ///< listed shares: the bus's value times 10000
    double TotalShare = QUOTA_INVALID_VALUE;  ///< total shares: the bus's value times 10000
    double NetAssets = QUOTA_INVALID_VALUE;   ///< net assets per share
    double DividentRate = QUOTA_INVALID_VALUE; ///< dividend rate: the bus's value times 100
    QString Symbol;
};

/// One K-line bar of a symbol.
struct StockPeriod1DInfo
{
    double closePx = 0.0;
    double openPx = 0.0;
    double highPx = 0.0;
    double lowPx = 0.0;
    double totalVolumeTrade = 0.0;
    double totalValueTrade = 0.0;
    QString symbol;
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
