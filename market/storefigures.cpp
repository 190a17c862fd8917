#include "storefigures.h"

#include "store.h"

#include <algorithm>

namespace StoreFigures {

constexpr int MinutesPerDay = 240;
constexpr int VolumeDays = 5;
constexpr int YearEnd = 1231;

// The number of quarters that a report of this day covers; 0 if the day is not the end of a quarter.
static int quartersReported(int date)
{
    switch (date % 10000) {
    case 331:
        return 1;
    case 630:
        return 2;
    case 930:
        return 3;
    case YearEnd:
        return 4;
    }
    return 0;
}

static std::optional<double> reportedEps(const QVector<StoreFundamentals> &records, int date)
{
    const auto found = std::find_if(records.cbegin(), records.cend(),
                                    [date](const StoreFundamentals &record) { return record.asOf == date; });
    return found == records.cend() ? std::nullopt : found->eps;
}

static std::optional<StoreBar> lastBar(Store *store, const QString &symbol, int date, QString *error)
{
    std::optional<StoreBar> last;
    const auto takeFirst = [&last](const StoreBar &bar) {
        last = bar;
        return false;
    };
    store->readDailyBarsBack(symbol, date, takeFirst, error);
    return last;
}

static std::optional<double> ratio(double price, std::optional<double> earnings)
{
    return earnings && *earnings > 0 ? std::optional<double>(price / *earnings) : std::nullopt;
}

std::optional<PriceEarnings> priceEarnings(Store *store, const QString &symbol, int date, QString *error)
{
    const QVector<StoreFundamentals> records = store->fundamentals(symbol, error);
    const std::optional<StoreBar> bar = lastBar(store, symbol, date, error);
    if (!error->isEmpty() || (records.isEmpty() && !bar))
        return std::nullopt;
    PriceEarnings figures;
    if (bar) {
        figures.tradeDay = bar->date;
        figures.close = bar->close;
    }
    if (records.isEmpty())
        return figures;

    const auto later = std::find_if(records.cbegin(), records.cend(),
                                    [date](const StoreFundamentals &record) { return record.asOf > date; });
    const StoreFundamentals &latest = later == records.cbegin() ? records.last() : *(later - 1);
    figures.eps = latest.eps;

    const int quarters = quartersReported(latest.asOf);
    const int yearBefore = latest.asOf - 10000;
    const int lastYearEnd = (quarters == 4 ? latest.asOf : yearBefore) / 10000 * 10000 + YearEnd;
    const std::optional<double> yearEps = reportedEps(records, lastYearEnd);
    if (quarters == 4) {
        figures.ttmEps = latest.eps;
    } else if (quarters > 0) {
        const std::optional<double> sameQuarters = reportedEps(records, yearBefore);
        if (latest.eps && yearEps && sameQuarters)
            figures.ttmEps = *latest.eps + *yearEps - *sameQuarters;
    }
    if (!bar)
        return figures;

    figures.staticPE = ratio(bar->close, yearEps);
    figures.ttmPE = ratio(bar->close, figures.ttmEps);
    if (quarters > 0 && latest.eps) {
        figures.dynamicPE = ratio(bar->close, *latest.eps * 4 / quarters);
    } else if (latest.pe && *latest.pe > 0) {
        // A record between two reports does not say how many quarters it covers. But the ratio published that day is
        // the dynamic one, and it changes in proportion to the price until the next report.
        const std::optional<StoreBar> then = lastBar(store, symbol, latest.asOf, error);
        if (then && then->date == latest.asOf && then->close > 0)
            figures.dynamicPE = *latest.pe * bar->close / then->close;
    }
    return error->isEmpty() ? std::optional<PriceEarnings>(figures) : std::nullopt;
}

std::optional<double> volumePerMinute(Store *store, const QString &symbol, int date, QString *error)
{
    int days = 0;
    double volume = 0;
    const auto addVolume = [&](const StoreBar &bar) {
        if (bar.volume) {
            volume += *bar.volume;
            ++days;
        }
        return days < VolumeDays;
    };
    return store->readDailyBarsBack(symbol, date, addVolume, error) && days > 0
        ? std::optional<double>(volume / (days * MinutesPerDay))
        : std::nullopt;
}

std::optional<int> risingDays(Store *store, const QString &symbol, int date, QString *error)
{
    std::optional<double> nextClose;
    std::optional<int> days;
    const auto compare = [&](const StoreBar &bar) {
        if (!nextClose)
            days = 0;
        else if (*nextClose > bar.close)
            ++*days;
        else
            return false;
        nextClose = bar.close;
        return true;
    };
    return store->readDailyBarsBack(symbol, date, compare, error) ? days : std::nullopt;
}

} // namespace StoreFigures
