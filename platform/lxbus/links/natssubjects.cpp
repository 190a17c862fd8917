#include "links/natssubjects_p.h"

#include <QRandomGenerator>

#include <algorithm>

namespace {

const QByteArray inboxes = QByteArrayLiteral("lx.in.");
const QByteArray requestPrefix = QByteArrayLiteral("lx.rq.");

// A broker closes a connection whose protocol line is longer than 4,096 bytes; a line has two subjects.
constexpr int SubjectLimit = 1024;

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

QByteArray userPart(const QString &user)
{
    return escaped(user.isEmpty() ? LxNatsSubjects::anyUser() : user, false);
}

} // namespace

namespace LxNatsSubjects {

QByteArray part(const QString &name)
{
    return escaped(name, false);
}

QString nameOf(const QByteArray &part)
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(part));
}

QByteArray path(const QString &topic, const QString &symbol)
{
    return symbol.isEmpty() ? part(topic) : part(topic) + '.' + escaped(symbol, true);
}

QByteArray record(const QByteArray &path)
{
    return "lx.md." + path;
}

QByteArray request(const QString &user, const QString &type)
{
    return requestPrefix + userPart(user) + '.' + part(type);
}

QByteArray requests(const QString &type)
{
    return requestPrefix + "*." + part(type);
}

QString userOf(const QByteArray &requestSubject)
{
    const int begin = requestPrefix.size();
    return nameOf(requestSubject.mid(begin, requestSubject.indexOf('.', begin) - begin));
}

QString anyUser()
{
    return QStringLiteral("any");
}

QString ownerOf(const QByteArray &returnAddress)
{
    return QString::fromLatin1(returnAddress).section(QLatin1Char('.'), 0, 3);
}

bool isSendable(const QByteArray &subject)
{
    return subject.size() <= SubjectLimit;
}

QByteArray inbox(const QString &user)
{
    quint32 random[4];
    QRandomGenerator::system()->fillRange(random);
    return inboxes + userPart(user) + '.' + QByteArray(reinterpret_cast<const char *>(random), sizeof random).toHex();
}

bool isReturnAddress(const QByteArray &subject, const QString &user)
{
    return subject.startsWith(inboxes + userPart(user) + '.') && isSendable(subject) && !subject.endsWith('.')
        && !subject.contains("..")
        && std::all_of(subject.cbegin(), subject.cend(), [](char c) { return isPlain(c) || c == '.' || c == '%'; });
}

} // namespace LxNatsSubjects
