#include "figures.h"

#include <dates.h>
#include <lxquotadata.h>
#include <translated.h>

#include <QHash>
#include <QLocale>
#include <QRegularExpression>
#include <QVector>

#include <cmath>

namespace {

constexpr int StockDecimals = 2;
constexpr int RatioDecimals = 2;
constexpr double LargestExactInteger = 9e15; // of a double

enum class Unit { Price, Ratio, Money, Whole, Date, Time, Exact };

const QHash<QString, Unit> &units()
{
    static const QHash<QString, Unit> all = [] {
        QHash<QString, Unit> map;
        const auto add = [&map](Unit unit, const char *names) {
            for (const QString &name : QString::fromLatin1(names).split(QLatin1Char(' ')))
                map.insert(name, unit);
        };
        add(Unit::Price,
            "PreClosePx LastPx OpenPx ClosePx HighPx LowPx MaxPx MinPx SellPrice BuyPrice Change AvgPx "
            "WeightedAvgBidPx WeightedAvgOfferPx TradePrice SettlePrice PreSettlePrice");
        add(Unit::Ratio,
            "ChangeRatio Amplitude TurnoverRate PERatio PBRatio BidAskRatio QuantityRelativeRatio staticPE dynamicPE "
            "ttmPE DividentRate NetAssets");
        add(Unit::Money, "TotalValueTrade TradeMoney TotalMarketValue CirculatingMarketValue");
        add(Unit::Whole,
            "TotalVolumeTrade TotalBidQty TotalOfferQty TotalShare ListedShare OpenInterest PreOpenInterest "
            "last5DayVolumePerMinute");
        add(Unit::Date,
            "MDDate TradingDate tradeDay InitStartDate TradeDate FirstRecorded LastRecorded FirstBar LastBar");
        add(Unit::Time, "MDTime");
        return map;
    }();
    return all;
}

// Decimals of a field; -1 if its numbers are written as they are.
int decimalsOf(const QString &field, const QString &symbol)
{
    switch (units().value(field, Unit::Exact)) {
    case Unit::Price:
        return Figures::priceDecimals(symbol);
    case Unit::Ratio:
    case Unit::Money:
        return RatioDecimals;
    case Unit::Whole:
        return 0;
    case Unit::Date:
    case Unit::Time:
    case Unit::Exact:
        break;
    }
    return -1;
}

// "HHmmssSSS" as HH:mm:ss.SSS; other strings as they are.
QString preciseTime(const QString &time)
{
    if (time.size() != 9)
        return time;
    return QStringLiteral("%1:%2:%3.%4").arg(time.mid(0, 2), time.mid(2, 2), time.mid(4, 2), time.mid(6));
}

double roundedTo(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    const double scaled = std::round(value * scale);
    // A larger number has no decimals to lose.
    return std::fabs(scaled) < LargestExactInteger ? scaled / scale + 0.0 : value;
}

} // namespace

int Figures::priceDecimals(const QString &symbol)
{
    // Contracts on government bonds are quoted in steps of 0.005 yuan, those on stock indices in 0.2 points.
    if (symbol.endsWith(QLatin1String(".CF")))
        return symbol.startsWith(QLatin1Char('T')) ? 3 : 1;
    const QString code = symbol.section(QLatin1Char('.'), 0, 0);
    const bool isShanghai = symbol.endsWith(QLatin1String(".SH"));
    // B shares in Shanghai are quoted in dollars; funds of both exchanges in steps of 0.001 yuan.
    const bool hasThree = isShanghai ? code.startsWith(QLatin1String("900")) || code.startsWith(QLatin1Char('5'))
                                     : symbol.endsWith(QLatin1String(".SZ"))
            && (code.startsWith(QLatin1String("15")) || code.startsWith(QLatin1String("16")));
    return hasThree ? 3 : StockDecimals;
}

std::optional<double> Figures::contractMultiplier(const QString &symbol)
{
    // Stock indices in yuan per point; government bonds, whose prices are per 100 yuan of face value, by the face value
    // of the contract.
    static const QHash<QString, double> multipliers {
        { QStringLiteral("IF"), 300 },  { QStringLiteral("IH"), 300 },   { QStringLiteral("IC"), 200 },
        { QStringLiteral("IM"), 200 },  { QStringLiteral("TS"), 20000 }, { QStringLiteral("TF"), 10000 },
        { QStringLiteral("T"), 10000 }, { QStringLiteral("TL"), 10000 },
    };
    static const QRegularExpression contract(QStringLiteral("^([A-Z]+)[0-9]+\\.CF$"));
    const auto multiplier = multipliers.constFind(contract.match(symbol).captured(1));
    return multiplier == multipliers.constEnd() ? std::nullopt : std::make_optional(*multiplier);
}

bool Figures::isKnown(double value)
{
    return std::isfinite(value) && value != QUOTA_INVALID_VALUE;
}

bool Figures::isNumber(const QVariant &value)
{
    return value.userType() == QMetaType::Double || value.userType() == QMetaType::Int
        || value.userType() == QMetaType::LongLong;
}

QVariant Figures::rounded(const QString &field, const QVariant &value, const QString &symbol)
{
    if (value.userType() == QMetaType::QVariantList) {
        QVariantList list;
        for (const QVariant &item : value.toList())
            list.append(rounded(field, item, symbol));
        return list;
    }
    if (!isNumber(value))
        return value;
    if (!isKnown(value.toDouble()))
        return QVariant();
    // No instrument has a price of zero; a change may be zero.
    const bool isPrice = units().value(field, Unit::Exact) == Unit::Price && field != QLatin1String("Change");
    if (isPrice && value.toDouble() == 0)
        return QVariant();
    const int decimals = decimalsOf(field, symbol);
    if (value.userType() != QMetaType::Double || decimals < 0)
        return value;
    const double number = roundedTo(value.toDouble(), decimals);
    return decimals == 0 && std::fabs(number) < LargestExactInteger ? QVariant(static_cast<qint64>(number))
                                                                    : QVariant(number);
}

QString Figures::text(const QString &field, const QVariant &value, const QString &symbol, Reader reader)
{
    if (value.userType() == QMetaType::QVariantList) {
        QStringList items;
        for (const QVariant &item : value.toList())
            items.append(text(field, item, symbol, reader));
        return items.join(QLatin1Char(' '));
    }
    const Unit unit = units().value(field, Unit::Exact);
    const bool isForPeople = reader == ForPeople;
    if (isForPeople && unit == Unit::Date) {
        const std::optional<QDate> date = Dates::parseDate(value.toString());
        return date ? Dates::toString(*date) : value.toString();
    }
    if (isForPeople && unit == Unit::Time)
        return preciseTime(value.toString());
    if (!isNumber(value))
        return value.toString();
    const bool isCount = value.userType() != QMetaType::Double || unit == Unit::Whole || unit == Unit::Money;
    const QLocale locale(isForPeople && isCount ? QLocale::English : QLocale::C);
    if (value.userType() != QMetaType::Double)
        return locale.toString(value.toLongLong());
    const int decimals = decimalsOf(field, symbol);
    return locale.toString(value.toDouble(), 'f', decimals >= 0 ? decimals : QLocale::FloatingPointShortest);
}

QString Figures::text(double value, int decimals)
{
    return isKnown(value) ? QLocale(QLocale::C).toString(roundedTo(value, decimals), 'f', decimals)
                          : QStringLiteral("-");
}

QString Figures::signedText(double value, int decimals)
{
    const QString plain = text(value, decimals);
    return isKnown(value) && roundedTo(value, decimals) > 0 ? QLatin1Char('+') + plain : plain;
}

QString Figures::count(double value)
{
    return isKnown(value) ? QLocale(QLocale::English).toString(value, 'f', 0) : QStringLiteral("-");
}

QString Figures::amount(double value)
{
    struct Unit
    {
        double scale;
        QString name;
    };
    static const QVector<Unit> international {
        { 1e12, QStringLiteral("T") },
        { 1e9, QStringLiteral("B") },
        { 1e6, QStringLiteral("M") },
        { 1e3, QStringLiteral("K") },
    };
    static const QVector<Unit> chinese {
        { 1e12, QStringLiteral("万亿") },
        { 1e8, QStringLiteral("亿") },
        { 1e4, QStringLiteral("万") },
    };
    if (!isKnown(value))
        return QStringLiteral("-");
    for (const Unit &unit : QLocale().language() == QLocale::Chinese ? chinese : international) {
        if (std::fabs(value) >= unit.scale)
            return QString::number(value / unit.scale, 'f', 2) + unit.name;
    }
    return QString::number(value, 'f', 0);
}

QString Figures::time(const QString &time)
{
    const QString precise = preciseTime(time);
    return precise == time ? time : precise.section(QLatin1Char('.'), 0, 0);
}

QString Figures::heading(const QString &field)
{
    return translated(field.toLatin1().constData());
}
