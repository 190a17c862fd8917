#pragma once

#include <QVariant>

#include <cstring>
#include <new>

/// Copies of variants without a call into Qt for what most fields of a record are: numbers.
namespace LxVariantCopy {

/// True of a variant that is nothing but its bytes: a bool, an integer, a double, a character, or an invalid one.
inline bool isPlain(const QVariant &value)
{
    return value.data_ptr().type <= QVariant::Char;
}

/// The type of a variant with its flags. Plain variants of one kind differ in nothing but eight bytes.
using Kind = quint32;
constexpr Kind NoKind = ~0u; ///< no variant's

inline Kind kindOf(const QVariant &value)
{
    using Private = QVariant::DataPtr;
    static_assert(sizeof(Private) == 2 * sizeof(Private::Data), "the value, then type and flags in one number");
    Kind kind;
    std::memcpy(&kind, reinterpret_cast<const char *>(&value.data_ptr()) + sizeof(Private::Data), sizeof(kind));
    return kind;
}

/// Assigns one plain variant to another of the same kind.
inline void assignSameKind(const QVariant &from, QVariant *to)
{
    to->data_ptr().data = from.data_ptr().data;
}

/// Assigns one plain variant to another. Member by member, as the language would, it is several times the work.
inline void assignPlain(const QVariant &from, QVariant *to)
{
    std::memcpy(static_cast<void *>(&to->data_ptr()), &from.data_ptr(), sizeof(QVariant::DataPtr));
}

inline QVariant copy(const QVariant &value)
{
    // One variable and one return: it is then built where the caller wants it, without a temporary to be destroyed.
    QVariant result;
    if (isPlain(value))
        assignPlain(value, &result);
    else
        new (&result) QVariant(value); // in the place of an invalid one, which holds nothing
    return result;
}

} // namespace LxVariantCopy
