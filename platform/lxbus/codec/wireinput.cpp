#include "wireinput_p.h"

#include "wireformat.h"

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

bool Input::readText(NullText nullText, QString *text)
{
    quint8 first;
    if (!peek(&first))
        return false;
    const char *start = m_at;
    if (first == Null && nullText == NullText::Allowed) {
        ++m_at;
        *text = QString();
        return true;
    }
    Major major;
    quint64 number;
    if (!readHead(&major, &number))
        return false;
    if (major == Text) {
        const char *bytes;
        if (number > LxWireLimits::TextBytes)
            return fail("a text is too long");
        return readBytes(number, &bytes) && readUtf8(bytes, static_cast<int>(number), text);
    }
    if (major == Tag && number == Utf16Tag)
        return readUtf16(text);
    m_at = start;
    return fail("something else in the place of a text");
}

bool Input::readUtf8(const char *bytes, int size, QString *text)
{
    if (size == 0) {
        *text = QString::fromLatin1(""); // the one that is shared
        return true;
    }
    // Most texts are ASCII; whether this one is shows when it has been read as such.
    QString ascii(size, Qt::Uninitialized);
    QChar *characters = ascii.data();
    quint8 all = 0;
    for (int i = 0; i < size; ++i) {
        const auto byte = static_cast<quint8>(bytes[i]);
        all |= byte;
        characters[i] = QChar(ushort(byte));
    }
    if (all < 0x80) {
        *text = std::move(ascii);
        return true;
    }
    constexpr int Utf8Mib = 106;
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader); // a text may begin with U+FEFF
    *text = QTextCodec::codecForMib(Utf8Mib)->toUnicode(bytes, size, &state);
    return (state.invalidChars == 0 && state.remainingChars == 0) || fail("a text is no UTF-8");
}

bool Input::readUtf16(QString *text)
{
    quint64 size = 0;
    const char *bytes;
    if (!readHeadOf(Bytes, &size, "a typed array without bytes"))
        return false;
    if (size % sizeof(quint16) != 0)
        return fail("a typed array that ends within a number");
    if (size > LxWireLimits::TextBytes)
        return fail("a text is too long");
    if (!readBytes(size, &bytes))
        return false;
    const auto length = static_cast<int>(size / sizeof(quint16));
    QString result(length, Qt::Uninitialized);
    qFromLittleEndian<quint16>(bytes, length, result.data());
    if (!hasLoneSurrogate(result))
        return fail("a text in UTF-16 that UTF-8 could hold");
    *text = std::move(result);
    return true;
}
