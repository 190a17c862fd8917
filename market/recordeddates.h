#pragma once

#include <QDate>
#include <QString>
#include <QVector>

#include <optional>

/// The dates of recordings. A recording whose name ends with one date, such as stock_snapshots_20230201.csv, contains
/// rows of that date only; the dates of any other have to be read from its rows.
namespace RecordedDates {

/// The date at the end of the name of a recording, without ".csv"; absent if there is none, or a range of dates.
std::optional<QDate> ofName(const QString &name);

/// The dates of the recordings in a folder, in order. Absent, with the reason in `error`, if the folder or a recording
/// cannot be read, or there is no recording.
std::optional<QVector<QDate>> inFolder(const QString &folder, QString *error);

/// The date to replay (yyyyMMdd): `wanted`, or the latest one if that is empty. Absent if there are no recordings of
/// that date; the reason in `error` then lists the recorded dates.
std::optional<QString> choose(const QString &folder, const QString &wanted, QString *error);

} // namespace RecordedDates
