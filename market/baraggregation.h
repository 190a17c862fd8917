#pragma once

#include "store.h"

#include <lxdefine/lxkline.h>

#include <QString>
#include <QTime>
#include <QVector>

/// Combines bars into bars of longer periods.
namespace BarAggregation {

/// The period of the bars that bars of `period` are computed from.
Store::Period basePeriod(LxKLine::Period period);

/// True if the minute bars of `symbol` are labelled by the start of their minute, as those of futures are; all others
/// are labelled by its end.
bool isLabelledByStart(const QString &symbol);

/// The label of the trading minute that a quote of this time belongs to, which is the one that ends at or after it: a
/// quote of 9:31:00 belongs to the minute from 9:30 on. Quotes outside the trading hours belong to the nearest trading
/// minute, those of the lunch break to the last minute of the morning.
QTime minuteOfQuote(QTime time, bool labelledByStart);

/// Combines bars of basePeriod(period), which must be in order and begin with the first bar of a period. If a volume or
/// value of one of the bars is unknown, their sum is unknown.
///
/// Bars of weeks and months have the date of the last bar they contain. Bars of 5 to 60 minutes are counted from 9:30
/// and from 13:00. They have the label of their last minute (of their first minute if the symbol's bars are labelled by
/// their start), even if there is no bar of that minute. Minutes outside the trading hours belong to the nearest bar.
QVector<StoreBar> aggregate(const QVector<StoreBar> &bars, LxKLine::Period period, bool labelledByStart);

/// The first day of the period that contains `date` (yyyyMMdd); `date` itself for periods within a day.
int firstDayOfPeriod(int date, LxKLine::Period period);
/// The last day of that period.
int lastDayOfPeriod(int date, LxKLine::Period period);

} // namespace BarAggregation
