#include "lxquotetext.h"

#include <QLocale>
#include <QVector>

#include <cmath>

namespace {

constexpr int PriceDecimals = 2;

struct Unit
{
    double from;
    double scale;
    QString name;
};

QString missing()
{
    return QStringLiteral("–");
}

QString number(double value)
{
    const QString text = QString::number(value, 'f', PriceDecimals);
    // A value that rounds to zero has no sign.
    return text == QLatin1String("-0.00") ? text.mid(1) : text;
}

QString signedNumber(double value)
{
    const QString text = number(value);
    return value > 0 && text != QLatin1String("0.00") ? QLatin1Char('+') + text : text;
}

} // namespace

LxQuoteText::Units LxQuoteText::localUnits()
{
    return QLocale().language() == QLocale::Chinese ? Chinese : International;
}

QString LxQuoteText::price(double value)
{
    return std::isfinite(value) ? number(value) : missing();
}

QString LxQuoteText::change(double value)
{
    return std::isfinite(value) ? signedNumber(value) : missing();
}

QString LxQuoteText::changeRatio(double value)
{
    return std::isfinite(value) ? signedNumber(value) + QLatin1Char('%') : missing();
}

QString LxQuoteText::percent(double value)
{
    return std::isfinite(value) ? number(value) + QLatin1Char('%') : missing();
}

QString LxQuoteText::amount(double value, Units units)
{
    // Four digits are easier to read than two and a unit, so K is used only from 10,000 on.
    static const QVector<Unit> international { { 1e12, 1e12, QStringLiteral("T") },
                                               { 1e9, 1e9, QStringLiteral("B") },
                                               { 1e6, 1e6, QStringLiteral("M") },
                                               { 1e4, 1e3, QStringLiteral("K") } };
    static const QVector<Unit> chinese { { 1e12, 1e12, QStringLiteral("万亿") },
                                         { 1e8, 1e8, QStringLiteral("亿") },
                                         { 1e4, 1e4, QStringLiteral("万") } };
    if (!std::isfinite(value))
        return missing();
    for (const Unit &unit : units == Chinese ? chinese : international) {
        if (std::fabs(value) < unit.from)
            continue;
        const double scaled = value / unit.scale;
        const double size = std::fabs(scaled);
        return QString::number(scaled, 'f', size >= 1000 ? 0 : size >= 100 ? 1 : 2) + unit.name;
    }
    return QString::number(value, 'f', 0);
}

QString LxQuoteText::count(double value)
{
    static const QLocale english(QLocale::English);
    return std::isfinite(value) ? english.toString(value, 'f', 0) : missing();
}

QString LxQuoteText::time(const QString &time)
{
    if (time.size() != 9)
        return time;
    return time.mid(0, 2) + QLatin1Char(':') + time.mid(2, 2) + QLatin1Char(':') + time.mid(4, 2);
}

QString LxQuoteText::minute(int minute)
{
    return QStringLiteral("%1:%2").arg(minute / 60, 2, 10, QLatin1Char('0')).arg(minute % 60, 2, 10, QLatin1Char('0'));
}

QString LxQuoteText::date(const QString &date)
{
    if (date.size() != 8)
        return date;
    return date.mid(0, 4) + QLatin1Char('-') + date.mid(4, 2) + QLatin1Char('-') + date.mid(6, 2);
}
