#pragma once

#include "lxquotamodels_export.h"

#include <lxquotadata.h>

#include <QString>
#include <QVariant>

#include <limits>

/// A number that is missing: compares unequal to everything, itself included.
constexpr double LxNoValue = std::numeric_limits<double>::quiet_NaN();

/// A quote as the models show it, whether of a stock, an index or a future.
///
/// Missing numbers are LxNoValue, including prices that are zero because nothing has been traded or quoted yet. Units
/// are those of the records (see lxquotadata.h): yuan, shares (futures: lots), ratios in percent.
struct LXQUOTAMODELS_EXPORT LxQuote
{
    /// The kind of record that the quote was made from.
    enum Kind { Unknown = 0, Stock = 1, Index = 2, Future = 3 };

    /// The size of the arrays of the order book.
    static constexpr int MaximumLevels = STOCK_BOOK_LEVELS;

    Kind kind = Unknown; ///< of the record
    QString symbol; ///< code and market suffix
    QString name; ///< in Chinese
    QString date; ///< yyyyMMdd
    QString time; ///< HHmmssSSS, exchange time
    double last = LxNoValue; ///< price of the last trade
    double change = LxNoValue; ///< of the last price against the previous close
    double changeRatio = LxNoValue; ///< the same in percent
    double previousClose = LxNoValue; ///< close of the previous day
    double open = LxNoValue; ///< first price of the day
    double high = LxNoValue; ///< highest price of the day
    double low = LxNoValue; ///< lowest price of the day
    double upperLimit = LxNoValue; ///< upper price limit of the day
    double lowerLimit = LxNoValue; ///< lower price limit of the day
    double volume = LxNoValue; ///< traded volume of the day
    double amount = LxNoValue; ///< traded value of the day
    double average = LxNoValue; ///< amount / volume
    double amplitude = LxNoValue; ///< (high - low) / previousClose, percent
    double turnoverRate = LxNoValue; ///< volume / total shares, percent
    double peRatio = LxNoValue; ///< price / earnings
    double pbRatio = LxNoValue; ///< price / net assets
    double totalMarketValue = LxNoValue; ///< price times total shares
    double circulatingMarketValue = LxNoValue; ///< price times listed shares
    double quantityRelativeRatio = LxNoValue; ///< volume per minute / its average of five days
    double lastTradeLots = LxNoValue; ///< size of the last trade, whole lots
    double bidAskRatio = LxNoValue; ///< imbalance of the order book, -100 to 100 percent
    double openInterest = LxNoValue; ///< of a future, lots
    qint64 received = 0; ///< when the library announced it, in milliseconds of a monotonic clock
    int levels = 0; ///< of the order book: 10 for a stock, 5 for a future, 0 for an index
    double bidPrice[MaximumLevels]; ///< index 0: best bid
    double askPrice[MaximumLevels]; ///< index 0: best ask
    double bidQuantity[MaximumLevels]; ///< shares (futures: lots)
    double askQuantity[MaximumLevels]; ///< shares (futures: lots)

    LxQuote();
    ///@{
    /// Reads a record of the library.
    explicit LxQuote(const StockQuotaData &record);
    explicit LxQuote(const IndexQuotaData &record);
    explicit LxQuote(const FutureQuotaData &record);
    ///@}

    /// Converts a quantity of the quote to whole lots: a lot of a stock is 100 shares, futures are quoted in lots
    /// already.
    double inLots(double quantity) const;

    /// 1 if the last price is above the previous close, -1 below it, 0 if equal or unknown.
    int direction() const;
};

/// One transaction.
struct LXQUOTAMODELS_EXPORT LxTrade
{
    /// Who initiates a trade.
    enum Side { UnknownSide, Buy, Sell };

    QString symbol; ///< code and market suffix
    QString time; ///< HHmmssSSS, exchange time
    double price = LxNoValue; ///< yuan
    double lots = LxNoValue; ///< whole lots; a lot of a stock is 100 shares
    Side side = UnknownSide; ///< the side that initiated the trade, if known

    LxTrade() = default;
    /// Reads the body of a transaction message.
    explicit LxTrade(const QVariant &body);
    /// What was traded between two successive quotes of a symbol, at the price of the later one. If nothing was traded,
    /// the lots are missing. The side is derived from the earlier quote: the buyer if the price reaches its best ask,
    /// the seller if it reaches its best bid.
    LxTrade(const LxQuote &before, const LxQuote &after);
};

/// One bar. Missing volumes and amounts are LxNoValue.
struct LxBar
{
    QString date; ///< yyyyMMdd
    int minute = -1; ///< minute of the day at which the bar ends; -1 for bars of a day or longer
    double open = LxNoValue; ///< first price
    double high = LxNoValue; ///< highest price
    double low = LxNoValue; ///< lowest price
    double close = LxNoValue; ///< last price
    double volume = LxNoValue; ///< shares (futures: lots)
    double amount = LxNoValue; ///< yuan
};

Q_DECLARE_METATYPE(LxTrade::Side)
