#pragma once

#include "lxquote.h"

#include <QVector>

/// One-minute bars of the current day, built from the quotes of one symbol in the order received.
///
/// Needs about 13 kB for a whole day. Not thread-safe.
class LxLiveBars
{
public:
    void add(const LxQuote &quote);

    const QVector<LxBar> &minutes() const { return m_minutes; }

    /// Combines one-minute bars of one day into bars of `length` trading minutes; the last one may be incomplete.
    static QVector<LxBar> fold(const QVector<LxBar> &minutes, int length);
    /// Adds `later`, the bar that follows `bar`, to it.
    static void extend(LxBar *bar, const LxBar &later);
    /// The bar of the day so far; its open price is missing if there has been no trade.
    static LxBar day(const LxQuote &quote);

private:
    QVector<LxBar> m_minutes;
    // Totals and extremes of the day, as of the previous quote.
    double m_volume = 0;
    double m_amount = 0;
    double m_high = LxNoValue;
    double m_low = LxNoValue;
};
