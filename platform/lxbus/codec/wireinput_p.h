#pragma once

#include "wireform_p.h"

#include <QVariant>

namespace LxWireForm {

constexpr char CutShort[] = "the message is cut short";

enum class NullText { Refused, Allowed };

/// The bytes of a message, and how far they have been read.
///
/// Functions return false at the first error, note why, and are not to be called any more. Nothing is allocated for a
/// length before the bytes are seen to be there.
class Input
{
public:
    Input(const char *bytes, size_t size) : m_begin(bytes), m_at(bytes), m_end(bytes + size) { }

    const char *at() const { return m_at; }
    size_t left() const { return static_cast<size_t>(m_end - m_at); }
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
            return fail(CutShort);
        *byte = static_cast<quint8>(*m_at);
        return true;
    }

    /// The tag that comes next, and what comes behind it; 0, which is no tag that travels, if something else comes.
    quint64 peekTag(const char **behind) const
    {
        Input ahead(*this);
        Major major;
        quint64 number;
        if (!ahead.readHead(&major, &number) || major != Tag)
            return 0;
        *behind = ahead.m_at;
        return number;
    }

    /// Steps over bytes that were peeked at, or back.
    void goTo(const char *at) { m_at = at; }

    bool readHead(Major *major, quint64 *number)
    {
        if (m_at == m_end)
            return fail(CutShort);
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
        if (left() - 1 < size)
            return fail(CutShort);
        quint64 value = 0;
        for (size_t i = 1; i <= size; ++i)
            value = value << 8 | static_cast<quint8>(m_at[i]);
        *number = value;
        m_at += 1 + size;
        return true;
    }

    /// The number of an item of the major type `wanted`; `reason` is the error if it is another one.
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

    /// The number of elements of an array or map, which take a byte or more each.
    bool readCount(Major wanted, int most, int *count, const char *reason)
    {
        quint64 number = 0;
        if (!readHeadOf(wanted, &number, reason))
            return false;
        if (number > static_cast<quint64>(most))
            return fail("too many elements");
        if (number > left())
            return fail(CutShort);
        *count = static_cast<int>(number);
        return true;
    }

    bool readBytes(quint64 size, const char **bytes)
    {
        if (size > left())
            return fail(CutShort);
        *bytes = m_at;
        m_at += size;
        return true;
    }

    /// Notes that there are so many more values in the message.
    bool countValues(int count);

    bool readText(NullText nullText, QString *text);
    /// Reads a text in UTF-16, behind its tag.
    bool readUtf16(QString *text);

private:
    bool readUtf8(const char *bytes, int size, QString *text);

    const char *const m_begin;
    const char *m_at;
    const char *const m_end;
    const char *m_reason = nullptr;
    int m_values = 0;
};

/// Reads a value, which is `depth` lists and maps deep, into an invalid variant.
bool readValue(Input *in, QVariant *value, int depth);
/// Reads a value of a row, or a run of at most `most` numbers, into the invalid variants from `value` on.
bool readRunOrValue(Input *in, QVariant *value, int most, int *count);

} // namespace LxWireForm
