#pragma once

#include <QVariant>

#include <optional>

/// Reads an int from a message: a number of any type, or a string of decimal digits. Absent if an int cannot represent
/// the value exactly, as with NaN, infinities and fractions.
std::optional<int> readInteger(const QVariant &value);
