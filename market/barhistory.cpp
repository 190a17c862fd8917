#include "barhistory.h"

#include "baradjustment.h"
#include "baraggregation.h"
#include "currentdaybars.h"

#include <algorithm>
#include <tuple>

static constexpr int EndOfDay = 235959999;

// Replaces the bars of one day.
static void replaceDay(QVector<StoreBar> *bars, const QVector<StoreBar> &day)
{
    if (day.isEmpty())
        return;
    const int date = day.constFirst().date;
    const auto isEarlier = [](const StoreBar &bar, int limit) { return bar.date < limit; };
    const auto begin = std::lower_bound(bars->begin(), bars->end(), date, isEarlier);
    const auto end = std::lower_bound(begin, bars->end(), date + 1, isEarlier);
    const int index = static_cast<int>(begin - bars->begin());
    bars->erase(begin, end);
    *bars = bars->mid(0, index) + day + bars->mid(index);
}

std::optional<QVector<StoreBar>> readBarHistory(Store *store, const CurrentDayBars *live, const BarQuery &query,
                                                QString *error)
{
    const std::optional<BarAdjustment> adjustment = BarAdjustment::load(store, query.symbol, query.adjustment, error);
    if (!adjustment)
        return std::nullopt;

    const StoreMoment first { BarAggregation::firstDayOfPeriod(query.first.date, query.period), 0 };
    const StoreMoment last { BarAggregation::lastDayOfPeriod(query.last.date, query.period), EndOfDay };
    const Store::Period base = BarAggregation::basePeriod(query.period);
    QVector<StoreBar> bars;
    const auto append = [&bars](const StoreBar &bar) {
        bars.append(bar);
        return true;
    };
    if (!store->readBars(base, query.symbol, first, last, append, error))
        return std::nullopt;
    if (live != nullptr)
        replaceDay(&bars, live->bars(base, query.symbol));
    for (StoreBar &bar : bars)
        adjustment->apply(&bar);

    bars = BarAggregation::aggregate(bars, query.period, BarAggregation::isLabelledByStart(query.symbol));
    const auto isOutside = [&query](const StoreBar &bar) {
        return std::tie(bar.date, bar.time) < std::tie(query.first.date, query.first.time)
            || std::tie(bar.date, bar.time) > std::tie(query.last.date, query.last.time);
    };
    bars.erase(std::remove_if(bars.begin(), bars.end(), isOutside), bars.end());
    return bars;
}
