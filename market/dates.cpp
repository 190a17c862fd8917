#include "dates.h"

#include <algorithm>

namespace Dates {

constexpr int DateDigits = 8;
constexpr int TimeDigits = 9;

static std::optional<int> parseDigits(const QByteArray &string, int count)
{
    const bool valid = string.size() == count
        && std::all_of(string.cbegin(), string.cend(), [](char c) { return c >= '0' && c <= '9'; });
    if (!valid)
        return std::nullopt;
    int number = 0;
    for (const char digit : string)
        number = number * 10 + (digit - '0');
    return number;
}

static QString formatDigits(int number, int count)
{
    return QString::number(number).rightJustified(count, QLatin1Char('0'));
}

std::optional<QDate> parseDate(const QString &string)
{
    QByteArray digits = string.toLatin1();
    if (digits.size() == DateDigits + 2 && digits.at(4) == '-' && digits.at(7) == '-')
        digits.remove(7, 1).remove(4, 1);
    return parseCompactDate(digits);
}

std::optional<QDate> parseCompactDate(const QByteArray &string)
{
    const std::optional<int> number = parseDigits(string, DateDigits);
    const QDate date = number ? dateFromNumber(*number) : QDate();
    return date.isValid() ? std::optional<QDate>(date) : std::nullopt;
}

std::optional<QTime> parseTime(const QString &string)
{
    QByteArray digits = string.toLatin1();
    if (digits.size() == 5)
        digits += ":00";
    if (digits.size() != 8 || digits.at(2) != ':' || digits.at(5) != ':')
        return std::nullopt;
    return parseCompactTime(digits.remove(5, 1).remove(2, 1) + "000");
}

std::optional<QTime> parseCompactTime(const QByteArray &string)
{
    const std::optional<int> number = parseDigits(string, TimeDigits);
    const QTime time = number ? timeFromNumber(*number) : QTime();
    return time.isValid() ? std::optional<QTime>(time) : std::nullopt;
}

QString toString(QDate date)
{
    return date.toString(Qt::ISODate);
}

QString toCompactString(QDate date)
{
    return formatDigits(toNumber(date), DateDigits);
}

QString toCompactString(QTime time)
{
    return formatDigits(toNumber(time), TimeDigits);
}

int toNumber(QDate date)
{
    return (date.year() * 100 + date.month()) * 100 + date.day();
}

int toNumber(QTime time)
{
    return ((time.hour() * 100 + time.minute()) * 100 + time.second()) * 1000 + time.msec();
}

QDate dateFromNumber(int number)
{
    return QDate(number / 10000, number / 100 % 100, number % 100);
}

QTime timeFromNumber(int number)
{
    return QTime(number / 10000000, number / 100000 % 100, number / 1000 % 100, number % 1000);
}

} // namespace Dates
