#pragma once

#include "csvrecording.h"
#include "store.h"

#include <QHash>
#include <QMutex>
#include <QString>
#include <QVector>

/// Builds the bars of the current day from the published quotes, by the rules in docs/store.md.
///
/// The current day is the date of the latest quote; bars of earlier dates are discarded. Any thread.
class CurrentDayBars
{
public:
    /// Adds a quote. The quotes of a symbol must be added in chronological order.
    void observe(const CsvRecording::Row &row);
    /// Discards all bars. Must be called before the day is replayed again.
    void clear();

    /// The bars of `symbol` so far, in chronological order; at most one for Store::Daily.
    QVector<StoreBar> bars(Store::Period period, const QString &symbol) const;

private:
    struct Day
    {
        StoreBar bar;
        QVector<StoreBar> minutes;
        QuoteFigures last; // the latest quote
        // The day's totals before the latest minute; unknown if the first quote arrived after the first minute.
        std::optional<double> volumeBefore;
        std::optional<double> valueBefore;
        bool hasQuote = false;
    };

    static void update(Day *day, const CsvRecording::Row &row, bool labelledByStart);

    mutable QMutex m_mutex; // guards the following
    QDate m_date;
    QHash<QString, Day> m_days; // by symbol
};
