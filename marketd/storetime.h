#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Dates and times as the store keeps them: the number that their text reads as, 20230201 and 93000000.
namespace StoreTime {

/// A day of the calendar, from "yyyyMMdd".
std::optional<int> parseDate(const QByteArray &text);
/// A time of day, from "HHmmssSSS".
std::optional<int> parseTime(const QByteArray &text);

QString formatDate(int date);
QString formatTime(int time);

} // namespace StoreTime
