#pragma once

#include <QString>
#include <QVariant>

#include <optional>

/// Rounds and formats numbers, by the name of their field.
namespace Figures {

/// Decimals of an instrument's prices.
int priceDecimals(const QString &symbol);

/// The value in yuan of one point of the price of a futures contract; absent if it is unknown.
std::optional<double> contractMultiplier(const QString &symbol);

/// The value as it is written: rounded to the decimals of the field, invalid if it is unknown, undefined or infinite.
/// `symbol` is the instrument's, for the decimals of prices.
QVariant rounded(const QString &field, const QVariant &value, const QString &symbol);
enum Reader { ForPeople, ForPrograms };
/// A rounded value as text, with all decimals of its field, so that columns of figures align; empty if invalid. For
/// people the thousands of quantities and amounts are separated by commas, dates are yyyy-MM-dd and times HH:mm:ss.SSS.
QString text(const QString &field, const QVariant &value, const QString &symbol, Reader reader);

/// True of a value that is a number.
bool isNumber(const QVariant &value);
/// False for the mark of a missing value, NaN and infinities.
bool isKnown(double value);

// For people; "-" if unknown.
QString text(double value, int decimals);
/// With a sign, unless zero.
QString signedText(double value, int decimals);
/// Whole, with commas between thousands.
QString count(double value);
/// Short, with K, M, B or T, or with 万, 亿 or 万亿 in Chinese.
QString amount(double value);
/// "HHmmssSSS" as HH:mm:ss; other strings as they are.
QString time(const QString &time);

/// The name of a field in the user's language, for the heading of a table.
QString heading(const QString &field);

} // namespace Figures
