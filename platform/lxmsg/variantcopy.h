#pragma once

#include <QVariant>

#include <cstring>

/// Copies of variants without a call into Qt for what most fields of a record are: numbers.
namespace LxVariantCopy {

/// True of a variant that is nothing but its bytes: a bool, an integer, a double, a character, or an invalid one.
inline bool isPlain(const QVariant &value)
{
    return value.data_ptr().type <= QVariant::Char;
}

inline bool arePlain(const QVariant &one, const QVariant &other)
{
    static_assert(QVariant::Char == 7, "types up to this one have no bit above the third");
    return (one.data_ptr().type | other.data_ptr().type) <= QVariant::Char;
}

/// Assigns one plain variant to another. Member by member, as the language would, it is several times the work.
inline void assignPlain(const QVariant &from, QVariant *to)
{
    std::memcpy(static_cast<void *>(&to->data_ptr()), &from.data_ptr(), sizeof(QVariant::DataPtr));
}

inline QVariant copy(const QVariant &value)
{
    if (!isPlain(value))
        return value;
    QVariant result;
    assignPlain(value, &result);
    return result;
}

} // namespace LxVariantCopy
