#pragma once

#include <QByteArray>
#include <QDate>
#include <QString>
#include <QTime>

#include <optional>

/// Conversion of dates and times of day between three forms: that for people ("2023-02-01"), the compact form of
/// recorded data and messages ("20230201" and "093000000"), and the number in the store (the digits of the compact
/// form: 20230201 and 93000000).
namespace Dates {

/// Accepts "2023-02-01" and "20230201", the two forms in which options can be given. Absent if invalid, as below.
std::optional<QDate> parseDate(const QString &string);
/// Accepts "yyyyMMdd" only.
std::optional<QDate> parseCompactDate(const QByteArray &string);
/// Accepts "09:25" and "09:25:30", the two forms in which options can be given.
std::optional<QTime> parseTime(const QString &string);
/// Accepts "HHmmssSSS" only.
std::optional<QTime> parseCompactTime(const QByteArray &string);

/// "2023-02-01", for people.
QString toString(QDate date);
/// "20230201"
QString toCompactString(QDate date);
/// "093000000"
QString toCompactString(QTime time);

int toNumber(QDate date);
int toNumber(QTime time);
QDate dateFromNumber(int number);
QTime timeFromNumber(int number);

} // namespace Dates
