#pragma once

#include <QString>
#include <QVariant>

#include <cstring>

#if QT_VERSION_MAJOR != 5
#error "This header relies on the layout of QVariant and QString in Qt 5."
#endif

/// The only place of this library that relies on Qt's internals.
///
/// Variants that hold a plain number, as most fields of a record do, are copied without a call into Qt. Qt's own copies
/// make the decoding of a quote half as slow again.
namespace LxQtInternals {

/// True if the characters belong to the string: neither a literal's nor those of QString::fromRawData().
inline bool ownsCharacters(const QString &string)
{
    const QStringData *const data = const_cast<QString &>(string).data_ptr();
    return !data->ref.isStatic() && data->offset == sizeof(QStringData);
}

/// True for a variant that can be copied byte by byte: a bool, an integer, a double, a character, or an invalid one.
inline bool isPlain(const QVariant &value)
{
    return value.data_ptr().type <= QVariant::Char;
}

inline void assign(const QVariant &from, QVariant *to)
{
    if (isPlain(from) && isPlain(*to))
        // NOLINTNEXTLINE(bugprone-undefined-memory-manipulation): isPlain() has excluded what this would not copy
        std::memcpy(static_cast<void *>(&to->data_ptr()), &from.data_ptr(), sizeof(QVariant::DataPtr));
    else
        *to = from;
}

inline QVariant copy(const QVariant &value)
{
    QVariant result; // the only return value, so that the compiler can construct it in place
    assign(value, &result);
    return result;
}

} // namespace LxQtInternals
