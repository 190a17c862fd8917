#pragma once

#include "lxquotamodels_export.h"

#include <QString>

/// Formats numbers and times for display. A missing number is an en dash.
namespace LxQuoteText {

/// The units used to abbreviate large numbers: 1.23M, 4.56B, or 123.45万, 6.78亿.
enum Units { International, Chinese };

/// The units of the application's locale (QLocale()).
LXQUOTAMODELS_EXPORT Units localUnits();

/// With two decimals.
LXQUOTAMODELS_EXPORT QString price(double value);
/// With a sign unless zero.
LXQUOTAMODELS_EXPORT QString change(double value);
/// With a sign unless zero, and a percent sign.
LXQUOTAMODELS_EXPORT QString changeRatio(double value);
/// With a percent sign.
LXQUOTAMODELS_EXPORT QString percent(double value);
/// Abbreviated, with a unit.
LXQUOTAMODELS_EXPORT QString amount(double value, Units units);
/// As an integer, with separators between thousands.
LXQUOTAMODELS_EXPORT QString count(double value);
/// "HHmmssSSS" as HH:mm:ss; other strings are returned unchanged.
LXQUOTAMODELS_EXPORT QString time(const QString &time);
/// Minute of the day as HH:mm.
LXQUOTAMODELS_EXPORT QString minute(int minute);
/// "yyyyMMdd" as yyyy-MM-dd; other strings are returned unchanged.
LXQUOTAMODELS_EXPORT QString date(const QString &date);

} // namespace LxQuoteText
