#include "storetime.h"

#include <QDate>
#include <QTime>

#include <algorithm>

namespace StoreTime {

constexpr int DateDigits = 8;
constexpr int TimeDigits = 9;

static std::optional<int> parseDigits(const QByteArray &text, int count)
{
    const bool digits =
        text.size() == count && std::all_of(text.cbegin(), text.cend(), [](char c) { return c >= '0' && c <= '9'; });
    return digits ? std::optional<int>(text.toInt()) : std::nullopt;
}

std::optional<int> parseDate(const QByteArray &text)
{
    const std::optional<int> date = parseDigits(text, DateDigits);
    return date && QDate::isValid(*date / 10000, *date / 100 % 100, *date % 100) ? date : std::nullopt;
}

std::optional<int> parseTime(const QByteArray &text)
{
    const std::optional<int> time = parseDigits(text, TimeDigits);
    return time && QTime::isValid(*time / 10000000, *time / 100000 % 100, *time / 1000 % 100) ? time : std::nullopt;
}

static QString formatDigits(int value, int count)
{
    return QString::number(value).rightJustified(count, QLatin1Char('0'));
}

QString formatDate(int date)
{
    return formatDigits(date, DateDigits);
}

QString formatTime(int time)
{
    return formatDigits(time, TimeDigits);
}

} // namespace StoreTime
