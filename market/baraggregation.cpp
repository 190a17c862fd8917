#include "baraggregation.h"

#include "dates.h"

#include <algorithm>

namespace {

constexpr int SessionMinutes = 120;
constexpr int MorningOpen = 9 * 60 + 30;
constexpr int AfternoonOpen = 13 * 60;

int minutesOf(LxKLine::Period period)
{
    switch (period) {
    case LxKLine::FiveMinutes:
        return 5;
    case LxKLine::FifteenMinutes:
        return 15;
    case LxKLine::ThirtyMinutes:
        return 30;
    case LxKLine::SixtyMinutes:
        return 60;
    default:
        return 1;
    }
}

// The number of trading minutes before a time of day.
int tradingMinutesBefore(QTime time)
{
    const int minute = time.hour() * 60 + time.minute();
    if (minute < AfternoonOpen)
        return std::clamp(minute - MorningOpen, 0, SessionMinutes);
    return SessionMinutes + std::clamp(minute - AfternoonOpen, 0, SessionMinutes);
}

// The label of the bar to which a minute belongs.
int labelOf(int time, int minutes, bool labelledByStart)
{
    const int elapsed = tradingMinutesBefore(Dates::timeFromNumber(time));
    int label = 0; // in trading minutes
    if (labelledByStart)
        label = std::min(elapsed, 2 * SessionMinutes - 1) / minutes * minutes;
    else
        label = (std::max(elapsed, 1) + minutes - 1) / minutes * minutes;
    const bool morning = labelledByStart ? label < SessionMinutes : label <= SessionMinutes;
    const int minuteOfDay = morning ? MorningOpen + label : AfternoonOpen + label - SessionMinutes;
    return Dates::toNumber(QTime(minuteOfDay / 60, minuteOfDay % 60));
}

void add(std::optional<double> *sum, std::optional<double> value)
{
    if (*sum && value)
        **sum += *value;
    else
        sum->reset();
}

bool isWithinDay(LxKLine::Period period)
{
    return period != LxKLine::Day && period != LxKLine::Week && period != LxKLine::Month;
}

} // namespace

Store::Period BarAggregation::basePeriod(LxKLine::Period period)
{
    return isWithinDay(period) ? Store::Minute : Store::Daily;
}

bool BarAggregation::isLabelledByStart(const QString &symbol)
{
    return symbol.endsWith(QLatin1String(".CF"));
}

QTime BarAggregation::minuteOfQuote(QTime time, bool labelledByStart)
{
    constexpr int MsPerMinute = 60 * 1000;
    const int minute = (time.msecsSinceStartOfDay() + MsPerMinute - 1) / MsPerMinute; // the end of the quote's minute
    const int open = minute <= AfternoonOpen ? MorningOpen : AfternoonOpen;
    const int end = open + std::clamp(minute - open, 1, SessionMinutes);
    return QTime::fromMSecsSinceStartOfDay((labelledByStart ? end - 1 : end) * MsPerMinute);
}

QVector<StoreBar> BarAggregation::aggregate(const QVector<StoreBar> &bars, LxKLine::Period period, bool labelledByStart)
{
    if (period == LxKLine::OneMinute || period == LxKLine::Day)
        return bars;
    const bool withinDay = isWithinDay(period);
    const int minutes = minutesOf(period);
    QVector<StoreBar> result;
    int current = 0; // the first day of the last period in `result`
    for (StoreBar bar : bars) {
        if (withinDay)
            bar.time = labelOf(bar.time, minutes, labelledByStart);
        const int first = firstDayOfPeriod(bar.date, period);
        if (result.isEmpty() || first != current || bar.time != result.constLast().time) {
            current = first;
            result.append(bar);
            continue;
        }
        StoreBar &sum = result.last();
        sum.date = bar.date;
        sum.high = std::max(sum.high, bar.high);
        sum.low = std::min(sum.low, bar.low);
        sum.close = bar.close;
        add(&sum.volume, bar.volume);
        add(&sum.value, bar.value);
    }
    return result;
}

int BarAggregation::firstDayOfPeriod(int date, LxKLine::Period period)
{
    const QDate day = Dates::dateFromNumber(date);
    if (period == LxKLine::Week)
        return Dates::toNumber(day.addDays(1 - day.dayOfWeek()));
    if (period == LxKLine::Month)
        return Dates::toNumber(QDate(day.year(), day.month(), 1));
    return date;
}

int BarAggregation::lastDayOfPeriod(int date, LxKLine::Period period)
{
    const QDate day = Dates::dateFromNumber(date);
    if (period == LxKLine::Week)
        return Dates::toNumber(day.addDays(Qt::Sunday - day.dayOfWeek()));
    if (period == LxKLine::Month)
        return Dates::toNumber(QDate(day.year(), day.month(), day.daysInMonth()));
    return date;
}
