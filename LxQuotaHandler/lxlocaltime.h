#pragma once

#include <QTime>

/// Where the library takes the local time of day from. Any thread, but setSource().
namespace LxLocalTime {

using Source = QTime (*)();

QTime now();
/// Replaces the clock, for tests; null restores it. While no other thread reads it.
void setSource(Source source);

} // namespace LxLocalTime
