#include "lxlivebars_p.h"

#include "lxtradingtime.h"

#include <algorithm>
#include <cmath>

namespace {

double increase(double value, double *before)
{
    if (std::isnan(value))
        return LxNoValue;
    const double result = std::max(value - *before, 0.0);
    *before = value;
    return result;
}

double sum(double a, double b)
{
    if (std::isnan(a))
        return b;
    return std::isnan(b) ? a : a + b;
}

} // namespace

void LxLiveBars::add(const LxQuote &quote)
{
    const int time = LxTradingTime::fromText(quote.time);
    // Some sources state no volume for an index; everything else has a volume from its first trade on.
    if (time < 0 || !(quote.last > 0) || (quote.kind != LxQuote::Index && !(quote.volume > 0)))
        return;
    if (!m_minutes.isEmpty() && m_minutes.constLast().date != quote.date)
        *this = LxLiveBars();

    const int minute = LxTradingTime::barMinute(time);
    const bool isFirst = m_minutes.isEmpty();
    if (isFirst && LxTradingTime::barIndex(minute) > 0) {
        // Volume traded before the first quote belongs to bars that are unknown.
        m_volume = sum(0, quote.volume);
        m_amount = sum(0, quote.amount);
    }
    LxBar now;
    now.date = quote.date;
    now.minute = minute;
    now.open = now.high = now.low = now.close = quote.last;
    now.volume = increase(quote.volume, &m_volume);
    now.amount = increase(quote.amount, &m_amount);
    // A new high or low of the day was traded since the previous quote, although it may not be the last price.
    if (!isFirst && quote.high > m_high)
        now.high = std::max(now.high, quote.high);
    if (!isFirst && quote.low < m_low)
        now.low = std::min(now.low, quote.low);
    m_high = quote.high;
    m_low = quote.low;

    if (isFirst || minute > m_minutes.constLast().minute)
        m_minutes.append(now);
    else
        extend(&m_minutes.last(), now);
}

QVector<LxBar> LxLiveBars::fold(const QVector<LxBar> &minutes, int length)
{
    QVector<LxBar> bars;
    int group = -1;
    for (const LxBar &minute : minutes) {
        const int index = LxTradingTime::barIndex(minute.minute) / length;
        if (index == group) {
            extend(&bars.last(), minute);
        } else {
            group = index;
            bars.append(minute);
        }
        bars.last().minute = LxTradingTime::minuteOfBar((index + 1) * length - 1);
    }
    return bars;
}

void LxLiveBars::extend(LxBar *bar, const LxBar &later)
{
    bar->high = std::fmax(bar->high, later.high);
    bar->low = std::fmin(bar->low, later.low);
    bar->close = later.close;
    bar->volume = sum(bar->volume, later.volume);
    bar->amount = sum(bar->amount, later.amount);
}

LxBar LxLiveBars::day(const LxQuote &quote)
{
    LxBar bar;
    bar.date = quote.date;
    bar.open = quote.open;
    bar.high = quote.high;
    bar.low = quote.low;
    bar.close = quote.last;
    bar.volume = quote.volume;
    bar.amount = quote.amount;
    return bar;
}
