#pragma once

#include <QTime>

/// The local time of day. Tests can replace the clock.
namespace LxLocalTime {

using Source = QTime (*)();

/// Any thread.
QTime now();
/// Replaces the clock; null restores the system's. Must not be called while another thread calls now().
void setSource(Source source);

} // namespace LxLocalTime
