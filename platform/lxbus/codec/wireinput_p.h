#pragma once

#include "codec/wireform_p.h"

#include <QVariant>

namespace LxWireForm {

constexpr char Truncated[] = "the message is truncated";

enum class NullString { Refused, Allowed };

/// The bytes of a message, and the position up to which they have been read.
///
/// When a function has returned false, reason() is the error and no other function may be called. A length is checked
/// against the remaining bytes before memory is allocated for it.
class Input
{
public:
    Input(const char *bytes, size_t size) : m_begin(bytes), m_at(bytes), m_end(bytes + size) { }

    const char *at() const { return m_at; }
    size_t remaining() const { return static_cast<size_t>(m_end - m_at); }
    size_t position() const { return static_cast<size_t>(m_at - m_begin); }
    const char *reason() const { return m_reason; }

    bool fail(const char *reason)
    {
        m_reason = reason;
        return false;
    }

    /// The first byte of the next item.
    bool peek(quint8 *byte)
    {
        if (m_at == m_end)
            return fail(Truncated);
        *byte = static_cast<quint8>(*m_at);
        return true;
    }

    /// The next item if it is a tag, with the position after it; otherwise 0, a tag that does not occur.
    quint64 peekTag(const char **after) const
    {
        Input ahead(*this);
        Major major;
        quint64 number;
        if (!ahead.readHead(&major, &number) || major != Tag)
            return 0;
        *after = ahead.m_at;
        return number;
    }

    /// Moves to a position that was read or peeked at before.
    void seek(const char *at) { m_at = at; }

    bool readHead(Major *major, quint64 *number)
    {
        if (m_at == m_end)
            return fail(Truncated);
        const auto first = static_cast<quint8>(*m_at);
        const quint8 additional = first & 0x1f;
        *major = static_cast<Major>(first & 0xe0);
        if (additional <= LargestInPlace) {
            *number = additional;
            ++m_at;
            return true;
        }
        if (additional > EightBytes)
            return fail("an indefinite or reserved length");
        const size_t size = size_t(1) << (additional - OneByte);
        if (remaining() - 1 < size)
            return fail(Truncated);
        quint64 value = 0;
        for (size_t i = 1; i <= size; ++i)
            value = value << 8 | static_cast<quint8>(m_at[i]);
        *number = value;
        m_at += 1 + size;
        return true;
    }

    /// Reads the number of an item that must have the major type `wanted`; `reason` is the error if it has another.
    bool readHeadOf(Major wanted, quint64 *number, const char *reason)
    {
        const char *start = m_at;
        Major major;
        if (!readHead(&major, number))
            return false;
        if (major == wanted)
            return true;
        m_at = start;
        return fail(reason);
    }

    /// Reads the number of elements of an array or map, at most `max`, each of which takes at least one byte.
    bool readCount(Major wanted, int max, int *count, const char *reason)
    {
        quint64 number = 0;
        if (!readHeadOf(wanted, &number, reason))
            return false;
        if (number > static_cast<quint64>(max))
            return fail("too many elements");
        if (number > remaining())
            return fail(Truncated);
        *count = static_cast<int>(number);
        return true;
    }

    bool readBytes(quint64 size, const char **bytes)
    {
        if (size > remaining())
            return fail(Truncated);
        *bytes = m_at;
        m_at += size;
        return true;
    }

    /// Adds to the number of values in the message. False if that exceeds the limit.
    bool countValues(int count);

    bool readString(NullString nullString, QString *string);
    /// Reads a UTF-16 string after its tag.
    bool readUtf16(QString *string);

private:
    bool readUtf8(const char *bytes, int size, QString *string);

    const char *const m_begin;
    const char *m_at;
    const char *const m_end;
    const char *m_reason = nullptr;
    int m_values = 0;
};

/// Reads a value that is nested in `depth` lists and maps into an invalid variant.
bool readValue(Input *in, QVariant *value, int depth);
/// Reads one value of a row, or a run of at most `max` numbers, into the invalid variants that start at `value`.
bool readRunOrValue(Input *in, QVariant *value, int max, int *count);

} // namespace LxWireForm
