#pragma once

#include "lxquotamodels_export.h"

#include <QString>

/// Calculations with times of day of the stock exchanges, in milliseconds since midnight, exchange time. Trading hours
/// are 09:30 to 11:30 and 13:00 to 15:00.
namespace LxTradingTime {

/// The length of a trading day.
constexpr int MinutesPerDay = 240;

/// Parses a time of the form HHmmssSSS; -1 for other strings.
LXQUOTAMODELS_EXPORT int fromText(const QString &time);

/// The trading time that has elapsed since the opening; it does not advance before the opening, at midday and after the
/// close.
LXQUOTAMODELS_EXPORT int elapsed(int time);

/// The minute of the day at which the one-minute bar of `time` ends: 571 for the minute from 09:30 to 09:31. Times
/// outside the trading hours belong to the nearest bar.
LXQUOTAMODELS_EXPORT int barMinute(int time);

/// The index within the trading day, 0 to 239, of the one-minute bar that ends at the minute of the day `minute`;
/// outside the trading hours, of the nearest bar.
LXQUOTAMODELS_EXPORT int barIndex(int minute);
/// The inverse of barIndex().
LXQUOTAMODELS_EXPORT int minuteOfBar(int index);

} // namespace LxTradingTime
