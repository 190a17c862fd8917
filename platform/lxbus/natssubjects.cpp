#include "natssubjects.h"

namespace {

bool isPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

QByteArray escaped(const QString &text, bool keepDots)
{
    const QByteArray bytes = text.toUtf8();
    QByteArray result;
    result.reserve(bytes.size());
    for (int i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        // No part of a subject may be empty.
        const bool separates = keepDots && c == '.' && i > 0 && i + 1 < bytes.size() && bytes.at(i - 1) != '.';
        if (isPlain(c) || separates)
            result += c;
        else
            result += '%' + QByteArray(1, c).toHex().toUpper();
    }
    return result.isEmpty() ? QByteArrayLiteral("%") : result;
}

} // namespace

namespace LxNatsSubjects {

QByteArray part(const QString &name)
{
    return escaped(name, false);
}

QByteArray path(const QString &topic, const QString &symbol)
{
    return symbol.isEmpty() ? part(topic) : part(topic) + '.' + escaped(symbol, true);
}

QByteArray record(const QByteArray &path)
{
    return "lx.md." + path;
}

QByteArray recap(const QByteArray &path)
{
    return "lx.rc." + path;
}

QByteArray request(const QString &type)
{
    return "lx.rq." + part(type);
}

QByteArray client(const QString &address)
{
    return "lx.cl." + part(address);
}

bool isReturnAddress(const QByteArray &subject)
{
    return subject.startsWith("lx.cl.") || subject.startsWith("_INBOX.");
}

} // namespace LxNatsSubjects
