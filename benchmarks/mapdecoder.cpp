#include "mapdecoder.h"

#include <lxmsg/unpackmessagecommon.h>

namespace {

struct TextField
{
    QString key;
    QString StockQuotaData::*member;
};

struct NumberField
{
    QString key;
    double StockQuotaData::*member;
};

const TextField textFields[] {
    { QStringLiteral("MDDate"), &StockQuotaData::MDDate },
    { QStringLiteral("MDTime"), &StockQuotaData::MDTime },
    { QStringLiteral("Symbol"), &StockQuotaData::Symbol },
    { QStringLiteral("TradingPhaseCode"), &StockQuotaData::TradingPhaseCode },
};

const NumberField numberFields[] {
    { QStringLiteral("PreClosePx"), &StockQuotaData::PreClosePx },
    { QStringLiteral("ClosePx"), &StockQuotaData::ClosePx },
    { QStringLiteral("HighPx"), &StockQuotaData::HighPx },
    { QStringLiteral("LastPx"), &StockQuotaData::LastPx },
    { QStringLiteral("LowPx"), &StockQuotaData::LowPx },
    { QStringLiteral("MaxPx"), &StockQuotaData::MaxPx },
    { QStringLiteral("MinPx"), &StockQuotaData::MinPx },
    { QStringLiteral("OpenPx"), &StockQuotaData::OpenPx },
    { QStringLiteral("TotalBidQty"), &StockQuotaData::TotalBidQty },
    { QStringLiteral("TotalOfferQty"), &StockQuotaData::TotalOfferQty },
    { QStringLiteral("TotalValueTrade"), &StockQuotaData::TotalValueTrade },
    { QStringLiteral("TotalVolumeTrade"), &StockQuotaData::TotalVolumeTrade },
    { QStringLiteral("WeightedAvgBidPx"), &StockQuotaData::WeightedAvgBidPx },
    { QStringLiteral("WeightedAvgOfferPx"), &StockQuotaData::WeightedAvgOfferPx },
};

struct LevelKeys
{
    QString buyPrice;
    QString sellPrice;
    QString buyQty;
    QString sellQty;
};

const QVector<LevelKeys> &levelKeys()
{
    static const QVector<LevelKeys> keys = [] {
        QVector<LevelKeys> levels;
        for (int level = 1; level <= STOCK_BOOK_LEVELS; ++level) {
            const QString number = QString::number(level);
            levels.append({ QStringLiteral("Buy%1Price").arg(number), QStringLiteral("Sell%1Price").arg(number),
                            QStringLiteral("Buy%1OrderQty").arg(number),
                            QStringLiteral("Sell%1OrderQty").arg(number) });
        }
        return levels;
    }();
    return keys;
}

} // namespace

QVariantMap MapDecoder::toMap(const QVariant &body)
{
    CUnPackMessageCommon row;
    row.SetUnPackMsg(body, false);
    return row.GetRowValue();
}

void MapDecoder::decodeAndCache(const QVariantMap &row)
{
    static const QString numTrades = QStringLiteral("NumTrades");

    StockQuotaData quote;
    for (const TextField &field : textFields)
        quote.*field.member = row.value(field.key).toString();
    for (const NumberField &field : numberFields)
        quote.*field.member = row.value(field.key).toDouble();
    quote.NumTrades = row.value(numTrades).toLongLong();
    int level = 0;
    for (const LevelKeys &keys : levelKeys()) {
        quote.BuyPrice[level] = row.value(keys.buyPrice).toDouble();
        quote.SellPrice[level] = row.value(keys.sellPrice).toDouble();
        quote.BuyOrderQty[level] = row.value(keys.buyQty).toLongLong();
        quote.SellOrderQty[level] = row.value(keys.sellQty).toLongLong();
        ++level;
    }
    QMutexLocker locker(&m_mutex);
    m_cache[quote.Symbol] = quote;
}
