#include "quoteview.h"

#include "recordfields.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxmsg/unpackmessagecommon.h>

namespace {

constexpr int SharesPerLot = 100;

template<typename Quote>
void fillCommon(QuoteView &view, const Quote &quote)
{
    view.symbol = quote.Symbol;
    view.name = quote.SecurityName;
    view.time = quote.MDTime;
    if (hasTraded(quote)) {
        view.last = quote.LastPx;
        view.change = quote.Change;
        view.changeRatio = quote.ChangeRatio;
    }
    view.volume = quote.TotalVolumeTrade;
    view.turnover = quote.TotalValueTrade;
}

// Depending on the source, the side is encoded as a digit or as a letter.
TradeView::Side sideOf(const QString &flag)
{
    if (flag == QLatin1String("1") || flag == QLatin1String("B"))
        return TradeView::Buy;
    if (flag == QLatin1String("2") || flag == QLatin1String("S"))
        return TradeView::Sell;
    return TradeView::Unknown;
}

} // namespace

QuoteView::QuoteView(const QString &waiting)
    : symbol(waiting), name(CBusinessDataBase::GetInstance()->GetSecurityChineseName(waiting, QString()))
{
}

QuoteView::QuoteView(const StockQuotaData &quote)
{
    fillCommon(*this, quote);
    bid = quote.BuyPrice[0];
    ask = quote.SellPrice[0];
    if (hasTraded(quote))
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
    shares = row.GetValue(QStringLiteral("TradeQty"), none).toLongLong();
    date = row.GetValue(QStringLiteral("MDDate"), none).toString();
    // Some sources do not state the amount.
    const double recorded = row.GetValue(QStringLiteral("TradeMoney"), none).toDouble();
    money = recorded > 0 ? recorded : price * static_cast<double>(shares);
    side = sideOf(row.GetValue(QStringLiteral("TradeBSFlag"), none).toString());
}

double TradeView::lots() const
{
    return static_cast<double>(shares) / SharesPerLot;
}

QString TradeView::sideName() const
{
    if (side == Unknown)
        return QString();
    return side == Buy ? QStringLiteral("buy") : QStringLiteral("sell");
}

Record TradeView::toRecord() const
{
    Record record(QStringLiteral("trade"), symbol);
    record.add(QStringLiteral("MDDate"), date);
    record.add(QStringLiteral("MDTime"), time);
    record.add(QStringLiteral("Symbol"), symbol);
    record.add(QStringLiteral("TradePrice"), price);
    record.add(QStringLiteral("TradeQty"), shares);
    record.add(QStringLiteral("Lots"), lots());
    record.add(QStringLiteral("TradeMoney"), money);
    record.add(QStringLiteral("Side"), side == Unknown ? QVariant() : QVariant(sideName()));
    return record;
}
