#pragma once

#include <QDate>
#include <QTime>

/// Decides when the records of a paced replay are due.
///
/// Unless pauses are kept, the time outside the trading hours takes no time: the records of the lunch break, which the
/// exchanges repeat every minute for each symbol, follow each other at once. Neither does a gap of more than five
/// minutes without records. A new date always follows the previous one at once.
class ReplayClock
{
public:
    enum class Hours {
        Stocks, ///< from the opening auction to the end of trading at the closing price, without the lunch break
        Futures, ///< of all futures exchanges, the night sessions included
    };

    /// `speed` is a multiple of real time.
    ReplayClock(double speed, Hours hours, bool keepPauses);

    /// The time from the first record to one of this date and time, in milliseconds. To be called for each record.
    double due(QDate date, QTime time);

private:
    int pauseBefore(QTime time) const;

    const double m_speed;
    const Hours m_hours;
    const bool m_keepPauses;
    QDate m_date;
    QTime m_time;
    double m_due = 0;
};
