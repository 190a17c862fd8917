#include "quoterows.h"

#include "lxmarketfeed_p.h"

QVariantMap QuoteRows::stock(const QString &symbol, double last, double previousClose, const QString &time,
                             const QVariantMap &more)
{
    QVariantMap row { { u"Symbol"_s, symbol },
                      { u"MDDate"_s, day },
                      { u"MDTime"_s, time },
                      { u"PreClosePx"_s, previousClose },
                      { u"LastPx"_s, last },
                      { u"HighPx"_s, last },
                      { u"LowPx"_s, last },
                      { u"OpenPx"_s, last },
                      { u"Buy1Price"_s, last - 0.01 },
                      { u"Sell1Price"_s, last },
                      { u"Buy1OrderQty"_s, 300 },
                      { u"Sell1OrderQty"_s, 500 },
                      { u"TotalVolumeTrade"_s, 10000.0 },
                      { u"TotalValueTrade"_s, 10000 * last } };
    for (auto field = more.cbegin(); field != more.cend(); ++field)
        row.insert(field.key(), field.value());
    return row;
}

QVariantMap QuoteRows::transaction(const QString &symbol, double price, int quantity, const QVariant &side,
                                   const QString &time)
{
    return { { u"Symbol"_s, symbol },    { u"MDDate"_s, day },        { u"MDTime"_s, time },
             { u"TradePrice"_s, price }, { u"TradeQty"_s, quantity }, { u"TradeBSFlag"_s, side } };
}

void QuoteRows::publishStock(const QVariantMap &row)
{
    publishStocks({ row });
}

void QuoteRows::publishStocks(const QVector<QVariantMap> &rows)
{
    for (const QVariantMap &row : rows)
        LxDouble::publish(u"MDMARKETRECORD"_s, LxDouble::packRows({ row }));
    settle();
}

void QuoteRows::waitForSender()
{
    QSemaphore done;
    LxMarketFeed::shared()->send([&done] { done.release(); });
    done.acquire();
}

QStringList QuoteRows::subscriptions()
{
    QStringList result;
    for (const LxDouble::Sent &sent : LxDouble::sent(u"SubscribeRequest"_s)) {
        for (const QVariant &value : sent.body.rows) {
            const QVariantMap row = value.toMap();
            result.append((row.value(u"ActionType"_s).toInt() == 1 ? u"+"_s : u"-"_s)
                          + row.value(u"MDRecordTypes"_s).toString() + row.value(u"Symbol"_s).toString());
        }
    }
    return result;
}

QStringList QuoteRows::symbols(int count)
{
    QStringList result;
    for (int i = 0; i < count; ++i)
        result.append(u"%1.SH"_s.arg(600000 + i));
    return result;
}
