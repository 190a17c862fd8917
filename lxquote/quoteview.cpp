#include "quoteview.h"

#include <lxmsg/unpackmessagecommon.h>

#include <QLocale>

#include <cmath>

namespace {

constexpr int SharesPerLot = 100;

template<typename Quote>
void fillCommon(QuoteView &view, const Quote &quote)
{
    view.symbol = quote.Symbol;
    view.name = quote.SecurityName;
    view.time = quote.MDTime;
    view.last = quote.LastPx;
    view.change = quote.Change;
    view.changeRatio = quote.ChangeRatio;
    view.volume = quote.TotalVolumeTrade;
    view.turnover = quote.TotalValueTrade;
}

// The sources code the initiative in digits or in letters.
TradeView::Side sideOf(const QString &flag)
{
    if (flag == QLatin1String("1") || flag == QLatin1String("B"))
        return TradeView::Buy;
    if (flag == QLatin1String("2") || flag == QLatin1String("S"))
        return TradeView::Sell;
    return TradeView::Unknown;
}

bool hasValue(double value)
{
    return std::isfinite(value) && value != QUOTA_INVALID_VALUE;
}

QString none()
{
    return QStringLiteral("-");
}

} // namespace

QuoteView::QuoteView(const StockQuotaData &quote)
{
    fillCommon(*this, quote);
    bid = quote.BuyPrice[0];
    ask = quote.SellPrice[0];
    amplitude = quote.Amplitude;
}

QuoteView::QuoteView(const FutureQuotaData &quote)
{
    fillCommon(*this, quote);
    bid = quote.BuyPrice[0];
    ask = quote.SellPrice[0];
}

QuoteView::QuoteView(const IndexQuotaData &quote)
{
    fillCommon(*this, quote);
}

TradeView::TradeView(const QVariant &body)
{
    CUnPackMessageCommon row;
    row.SetUnPackMsg(body, false);
    const QVariant none;
    symbol = row.GetValue(QStringLiteral("Symbol"), none).toString();
    time = row.GetValue(QStringLiteral("MDTime"), none).toString();
    price = row.GetValue(QStringLiteral("TradePrice"), none).toDouble();
    lots = row.GetValue(QStringLiteral("TradeQty"), none).toLongLong() / SharesPerLot;
    side = sideOf(row.GetValue(QStringLiteral("TradeBSFlag"), none).toString());
}

QString QuoteText::price(double value)
{
    return hasValue(value) ? QString::number(value, 'f', 2) : none();
}

QString QuoteText::signedNumber(double value)
{
    return hasValue(value) ? QString::asprintf("%+.2f", value) : none();
}

QString QuoteText::percent(double value)
{
    return hasValue(value) ? QString::asprintf("%+.2f%%", value) : none();
}

QString QuoteText::count(double value)
{
    return hasValue(value) ? QLocale(QLocale::English).toString(value, 'f', 0) : none();
}

QString QuoteText::amount(double value)
{
    if (!hasValue(value))
        return none();
    static const struct
    {
        double scale;
        const char *unit;
    } units[] { { 1e12, "T" }, { 1e9, "B" }, { 1e6, "M" }, { 1e3, "K" } };
    for (const auto &unit : units) {
        if (std::fabs(value) >= unit.scale)
            return QString::number(value / unit.scale, 'f', 2) + QLatin1String(unit.unit);
    }
    return QString::number(value, 'f', 0);
}

QString QuoteText::time(const QString &time)
{
    if (time.size() != 9)
        return time;
    return time.mid(0, 2) + QLatin1Char(':') + time.mid(2, 2) + QLatin1Char(':') + time.mid(4, 2);
}
