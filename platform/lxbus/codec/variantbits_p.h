#pragma once

#include <QVariant>

#include <cstring>

#if QT_VERSION_MAJOR != 5
#error "This header relies on the layout of QVariant in Qt 5."
#endif

/// Access to the bits of numbers in variants. This header is the only part of the library that relies on Qt's
/// internals.
///
/// Numbers are copied bit by bit, which preserves the payload of a NaN and is fast: a quote has about fifty of them.
namespace LxVariantBits {

/// The type, as QMetaType numbers the built-in ones.
inline uint typeOf(const QVariant &value)
{
    return value.data_ptr().type;
}

/// True for a variant that was constructed from a type alone, and for an invalid one.
inline bool isMarkedNull(const QVariant &value)
{
    return value.data_ptr().is_null;
}

inline void markNull(QVariant *value)
{
    value->data_ptr().is_null = true;
}

/// The bits of the number in a variant.
template<typename Bits>
Bits bitsOf(const QVariant &value)
{
    Bits bits;
    std::memcpy(&bits, &value.data_ptr().data, sizeof(bits));
    return bits;
}

/// Sets an invalid variant to the number of `type` that has these bits.
template<typename Bits>
void setNumber(QVariant *value, QMetaType::Type type, Bits bits)
{
    QVariant::DataPtr &data = value->data_ptr();
    std::memcpy(&data.data, &bits, sizeof(bits));
    data.type = type;
    data.is_null = false;
}

} // namespace LxVariantBits
