#include "lxbardate.h"

namespace {

const QString format = QStringLiteral("yyyyMMdd");

} // namespace

QDate LxBarDate::fromString(const QString &text)
{
    if (text.size() != format.size())
        return QDate::fromString(text, format);
    int number = 0;
    for (const QChar character : text) {
        const int digit = character.unicode() - '0';
        if (digit < 0 || digit > 9)
            return QDate::fromString(text, format);
        number = number * 10 + digit;
    }
    return QDate(number / 10000, number / 100 % 100, number % 100);
}
