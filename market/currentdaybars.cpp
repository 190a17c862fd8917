#include "currentdaybars.h"

#include "baraggregation.h"
#include "dates.h"

#include <QMutexLocker>

#include <algorithm>

namespace {

std::optional<double> difference(std::optional<double> total, std::optional<double> before)
{
    return total && before ? std::optional<double>(*total - *before) : std::nullopt;
}

} // namespace

void CurrentDayBars::observe(const CsvRecording::Row &row)
{
    QMutexLocker locker(&m_mutex);
    if (row.date != m_date) {
        m_days.clear();
        m_date = row.date;
    }
    update(&m_days[row.symbol], row, BarAggregation::isLabelledByStart(row.symbol));
}

void CurrentDayBars::clear()
{
    QMutexLocker locker(&m_mutex);
    m_days.clear();
}

QVector<StoreBar> CurrentDayBars::bars(Store::Period period, const QString &symbol) const
{
    QMutexLocker locker(&m_mutex);
    const auto day = m_days.constFind(symbol);
    if (day == m_days.constEnd() || day->minutes.isEmpty())
        return {};
    return period == Store::Minute ? day->minutes : QVector<StoreBar> { day->bar };
}

void CurrentDayBars::update(Day *day, const CsvRecording::Row &row, bool labelledByStart)
{
    const QuoteFigures &quote = row.quote;
    const QTime time = BarAggregation::minuteOfQuote(row.time, labelledByStart);
    const QuoteFigures previous = day->last;
    const bool isFirst = !day->hasQuote;
    day->hasQuote = true;
    day->last = quote;
    if (isFirst && time == BarAggregation::minuteOfQuote(QTime(0, 0), labelledByStart)) {
        day->volumeBefore = 0;
        day->valueBefore = 0;
    }
    if (!(quote.lastPx > 0)) // not traded yet
        return;

    const int label = Dates::toNumber(time);
    const bool newMinute = day->minutes.isEmpty() || day->minutes.constLast().time != label;
    if (newMinute) {
        if (!isFirst) {
            day->volumeBefore =
                day->minutes.isEmpty() && day->volumeBefore ? day->volumeBefore : previous.totalVolumeTrade;
            day->valueBefore = day->minutes.isEmpty() && day->valueBefore ? day->valueBefore : previous.totalValueTrade;
        }
        StoreBar minute;
        minute.date = Dates::toNumber(row.date);
        minute.time = label;
        minute.open = day->minutes.isEmpty() && quote.openPx > 0 ? quote.openPx : quote.lastPx;
        minute.high = std::max(minute.open, quote.lastPx);
        minute.low = std::min(minute.open, quote.lastPx);
        if (day->minutes.isEmpty()) {
            day->bar = minute;
            day->bar.time = 0;
        }
        day->minutes.append(minute);
    }

    StoreBar &minute = day->minutes.last();
    minute.close = quote.lastPx;
    // A new extreme of the day lies between the previous quote and this one.
    const bool firstTrade = !(previous.lastPx > 0);
    const bool newHigh = firstTrade || quote.highPx > previous.highPx;
    const bool newLow = firstTrade || quote.lowPx < previous.lowPx;
    minute.high = std::max({ minute.high, quote.lastPx, newHigh ? quote.highPx : 0 });
    minute.low = std::min({ minute.low, quote.lastPx, newLow && quote.lowPx > 0 ? quote.lowPx : quote.lastPx });
    minute.volume = difference(quote.totalVolumeTrade, day->volumeBefore);
    minute.value = difference(quote.totalValueTrade, day->valueBefore);

    StoreBar &bar = day->bar;
    bar.open = quote.openPx > 0 ? quote.openPx : bar.open;
    bar.high = quote.highPx > 0 ? quote.highPx : std::max(bar.high, quote.lastPx);
    bar.low = quote.lowPx > 0 ? quote.lowPx : std::min(bar.low, quote.lastPx);
    bar.close = quote.lastPx;
    bar.volume = quote.totalVolumeTrade;
    bar.value = quote.totalValueTrade;
}
