#pragma once

#include <QString>

#include <optional>

class Store;

/// Figures that are computed from a store. A figure that cannot be computed is absent; nothing is estimated. If the
/// store cannot be read, the result is absent and `error` has the reason.
namespace StoreFigures {

struct PriceEarnings
{
    std::optional<int> tradeDay; ///< day of `close`, yyyyMMdd
    std::optional<double> close; ///< the latest one on or before the requested day
    std::optional<double> eps; ///< earnings per share of the latest report, which covers its year up to the report
    std::optional<double> ttmEps; ///< earnings per share of the last four quarters
    std::optional<double> staticPE; ///< close / earnings of the last full year
    std::optional<double> dynamicPE; ///< close / earnings of the latest report, extended to a year
    std::optional<double> ttmPE; ///< close / ttmEps
};

/// Absent if the store has neither a report nor a close of `symbol`. A loss has no price-earnings ratio.
std::optional<PriceEarnings> priceEarnings(Store *store, const QString &symbol, int date, QString *error);

/// Average volume per trading minute over the last five days with bars, up to and including `date`, or over fewer days
/// if no more are stored. Absent if there is no such bar.
std::optional<double> volumePerMinute(Store *store, const QString &symbol, int date, QString *error);

/// The number of consecutive daily bars, counted back from the last one on or before `date`, that closed above the
/// previous bar. Absent if there is no bar.
std::optional<int> risingDays(Store *store, const QString &symbol, int date, QString *error);

} // namespace StoreFigures
