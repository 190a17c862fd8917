#include "barmessages.h"

#include "baraggregation.h"
#include "dates.h"
#include "messagevalues.h"

#include <lxmsg/unpackmessagecommon.h>

namespace {

const QString symbolKey = QStringLiteral("Symbol");
const QString periodKey = QStringLiteral("PeriodType");
const QString adjustmentKey = QStringLiteral("ExrightsType");

constexpr int DateDigits = 8;

// From yyyyMMddHHmmss.
std::optional<StoreMoment> parseMoment(const QString &string)
{
    const QByteArray digits = string.toLatin1();
    const std::optional<QDate> date = Dates::parseCompactDate(digits.left(DateDigits));
    const std::optional<QTime> time = Dates::parseCompactTime(digits.mid(DateDigits) + "000");
    if (!date || !time)
        return std::nullopt;
    return StoreMoment { Dates::toNumber(*date), Dates::toNumber(*time) };
}

QVariantMap toMap(const BarQuery &query, const StoreBar &bar)
{
    QVariantMap map {
        { periodKey, static_cast<int>(query.period) },
        { symbolKey, query.symbol },
        { QStringLiteral("MDDate"), Dates::toCompactString(Dates::dateFromNumber(bar.date)) },
        { QStringLiteral("OpenPx"), bar.open },
        { QStringLiteral("HighPx"), bar.high },
        { QStringLiteral("LowPx"), bar.low },
        { QStringLiteral("ClosePx"), bar.close },
    };
    if (BarAggregation::basePeriod(query.period) == Store::Minute)
        map.insert(QStringLiteral("MDTime"), Dates::toCompactString(Dates::timeFromNumber(bar.time)));
    if (bar.volume)
        map.insert(QStringLiteral("TotalVolumeTrade"), *bar.volume);
    if (bar.value)
        map.insert(QStringLiteral("TotalValueTrade"), *bar.value);
    return map;
}

} // namespace

std::optional<BarQuery> BarMessages::readRequest(const CUnPackMessageCommon &fields, QString *error)
{
    const QVariant none;
    const auto fail = [error](const char *reason) {
        *error = QString::fromLatin1(reason);
        return std::nullopt;
    };
    const QString symbol = fields.GetValue(symbolKey, none).toString();
    if (symbol.isEmpty())
        return fail("Symbol is missing");
    const auto first = parseMoment(fields.GetValue(QStringLiteral("StartTime"), none).toString());
    const auto last = parseMoment(fields.GetValue(QStringLiteral("StopTime"), none).toString());
    if (!first || !last)
        return fail("StartTime or StopTime is missing or invalid");
    const std::optional<int> period = readInteger(fields.GetValue(periodKey, none));
    if (!period || *period < LxKLine::OneMinute || *period > LxKLine::Month)
        return fail("PeriodType is missing or invalid");
    const std::optional<int> adjustment =
        readInteger(fields.GetValue(adjustmentKey, static_cast<int>(LxKLine::Unadjusted)));
    if (!adjustment || *adjustment < LxKLine::Unadjusted || *adjustment > LxKLine::Backward)
        return fail("ExrightsType is invalid");
    return BarQuery { symbol, static_cast<LxKLine::Period>(*period), static_cast<LxKLine::Adjustment>(*adjustment),
                      *first, *last };
}

QVariantList BarMessages::write(const BarQuery &query, const QVector<StoreBar> &bars)
{
    QVariantList list;
    list.reserve(bars.size());
    for (const StoreBar &bar : bars)
        list.append(toMap(query, bar));
    return list;
}
