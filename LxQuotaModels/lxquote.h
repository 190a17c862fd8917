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
    enum Kind { Unknown = 0, Stock = 1, Index = 2, Future = 3 };

    static constexpr int MaximumLevels = STOCK_BOOK_LEVELS;

    Kind kind = Unknown;
    QString symbol;
    QString name;
    QString date; ///< yyyyMMdd
    QString time; ///< HHmmssSSS, exchange time
    double last = LxNoValue;
    double change = LxNoValue;
    double changeRatio = LxNoValue;
    double previousClose = LxNoValue;
    double open = LxNoValue;
    double high = LxNoValue;
    double low = LxNoValue;
    double upperLimit = LxNoValue;
    double lowerLimit = LxNoValue;
    double volume = LxNoValue;
    double amount = LxNoValue;
    double average = LxNoValue;
    double amplitude = LxNoValue;
    double turnoverRate = LxNoValue;
    double peRatio = LxNoValue;
    double pbRatio = LxNoValue;
    double totalMarketValue = LxNoValue;
    double circulatingMarketValue = LxNoValue;
    double quantityRelativeRatio = LxNoValue;
    double lastTradeLots = LxNoValue;
    double bidAskRatio = LxNoValue;
    double openInterest = LxNoValue;
    qint64 received = 0; ///< when the library announced it, in milliseconds of a monotonic clock
    int levels = 0; ///< of the order book: 10 for a stock, 5 for a future, 0 for an index
    double bidPrice[MaximumLevels];
    double askPrice[MaximumLevels];
    double bidQuantity[MaximumLevels]; ///< shares (futures: lots)
    double askQuantity[MaximumLevels];

    LxQuote();
    explicit LxQuote(const StockQuotaData &record);
    explicit LxQuote(const IndexQuotaData &record);
    explicit LxQuote(const FutureQuotaData &record);

    /// Converts a quantity of the quote to whole lots: a lot of a stock is 100 shares, futures are quoted in lots
    /// already.
    double inLots(double quantity) const;

    /// 1 if the last price is above the previous close, -1 below it, 0 if equal or unknown.
    int direction() const;
};

/// One transaction.
struct LXQUOTAMODELS_EXPORT LxTrade
{
    enum Side { UnknownSide, Buy, Sell };

    QString symbol;
    QString time; ///< HHmmssSSS, exchange time
    double price = LxNoValue;
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
    double open = LxNoValue;
    double high = LxNoValue;
    double low = LxNoValue;
    double close = LxNoValue;
    double volume = LxNoValue;
    double amount = LxNoValue;
};

Q_DECLARE_METATYPE(LxTrade::Side)
