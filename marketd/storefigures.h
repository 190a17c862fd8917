#pragma once

#include <QString>

#include <optional>

class Store;

/// Figures that are worked out from what a store holds. What cannot be known has no value; nothing is estimated.
namespace StoreFigures {

struct PriceEarnings
{
    std::optional<int> tradeDay; ///< day of `close`
    std::optional<double> close; ///< the latest on or before the day asked for
    std::optional<double> eps; ///< earnings per share as reported, from the start of the year
    std::optional<double> ttmEps; ///< of the last four quarters
    std::optional<double> staticPE; ///< close / earnings of the last full year
    std::optional<double> dynamicPE; ///< close / earnings of the latest report, extended to a year
    std::optional<double> ttmPE; ///< close / ttmEps
};

/// Nothing if the store knows neither a report nor a close of `symbol`. A loss has no price-earnings ratio.
std::optional<PriceEarnings> priceEarnings(Store *store, const QString &symbol, int date);

/// Average volume a trading minute over the last five days with bars, up to and including `date`; over fewer days where
/// no more are known.
std::optional<double> volumePerMinute(Store *store, const QString &symbol, int date);

/// How many daily bars in a row, counted back from the last one on or before `date`, closed above the bar before.
std::optional<int> risingDays(Store *store, const QString &symbol, int date);

} // namespace StoreFigures
