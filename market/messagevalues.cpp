#include "messagevalues.h"

#include <cmath>
#include <limits>

std::optional<int> readInteger(const QVariant &value)
{
    bool valid = false;
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        valid = number == std::trunc(number) && number >= std::numeric_limits<int>::min()
            && number <= std::numeric_limits<int>::max();
        return valid ? std::optional<int>(static_cast<int>(number)) : std::nullopt;
    }
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::QString: {
        // As a string, since QVariant silently truncates 64-bit numbers.
        const int number = value.toString().toInt(&valid);
        return valid ? std::optional<int>(number) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}
