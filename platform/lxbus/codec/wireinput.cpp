#include "codec/wireinput_p.h"

#include "codec/wireformat_p.h"

#include <QTextCodec>
#include <QtEndian>

using namespace LxWireForm;

bool Input::countValues(int count)
{
    if (count > LxWireLimits::Values - m_values)
        return fail("too many values");
    m_values += count;
    return true;
}

bool Input::readString(NullString nullString, QString *string)
{
    quint8 first;
    if (!peek(&first))
        return false;
    const char *start = m_at;
    if (first == Null && nullString == NullString::Allowed) {
        ++m_at;
        *string = QString();
        return true;
    }
    Major major;
    quint64 number;
    if (!readHead(&major, &number))
        return false;
    if (major == Text) {
        const char *bytes;
        if (number > LxWireLimits::StringBytes)
            return fail("a string that is too long");
        return readBytes(number, &bytes) && readUtf8(bytes, static_cast<int>(number), string);
    }
    if (major == Tag && number == Utf16Tag)
        return readUtf16(string);
    m_at = start;
    return fail("something else in place of a string");
}

bool Input::readUtf8(const char *bytes, int size, QString *string)
{
    if (size == 0) {
        *string = QString::fromLatin1(""); // shared by all empty strings
        return true;
    }
    // Most strings are ASCII: decode the string as ASCII and check afterwards whether it was.
    QString ascii(size, Qt::Uninitialized);
    QChar *characters = ascii.data();
    quint8 all = 0;
    for (int i = 0; i < size; ++i) {
        const auto byte = static_cast<quint8>(bytes[i]);
        all |= byte;
        characters[i] = QChar(ushort(byte));
    }
    if (all < 0x80) {
        *string = std::move(ascii);
        return true;
    }
    constexpr int Utf8Mib = 106;
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader); // U+FEFF at the start is part of the string
    *string = QTextCodec::codecForMib(Utf8Mib)->toUnicode(bytes, size, &state);
    return (state.invalidChars == 0 && state.remainingChars == 0) || fail("a string that is not valid UTF-8");
}

bool Input::readUtf16(QString *string)
{
    quint64 size = 0;
    const char *bytes;
    if (!readHeadOf(Bytes, &size, "a typed array without bytes"))
        return false;
    if (size % sizeof(quint16) != 0)
        return fail("a typed array that ends within a number");
    if (size > LxWireLimits::StringBytes)
        return fail("a string that is too long");
    if (!readBytes(size, &bytes))
        return false;
    const auto length = static_cast<int>(size / sizeof(quint16));
    QString result(length, Qt::Uninitialized);
    qFromLittleEndian<quint16>(bytes, length, result.data());
    if (!hasLoneSurrogate(result))
        return fail("a UTF-16 string that UTF-8 can represent");
    *string = std::move(result);
    return true;
}
