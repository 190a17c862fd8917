#pragma once

#include <QTime>

/// Where the library takes the local time of day from. Any thread, but setSource().
namespace LxLocalTime {

using Source = QTime (*)();

QTime now();
/// The local time of day at `utcMs`, milliseconds since 1970-01-01 UTC, as QDateTime tells it.
///
/// The system is asked for the offset once in every minute of UTC, not at every call: a daylight-saving change falls on
/// a whole minute and is seen at once; a change of the system's time zone, at the next minute.
QTime at(qint64 utcMs);
/// Replaces the clock, for tests; null restores it. While no other thread reads it.
void setSource(Source source);

} // namespace LxLocalTime
