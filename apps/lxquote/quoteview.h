#pragma once

#include "record.h"

#include <QString>
#include <QVariant>

/// What a watch list shows of a quote, whatever its kind. Numbers that a kind does not have, and those of trading
/// before the first trade, are QUOTA_INVALID_VALUE.
struct QuoteView
{
    QString symbol;
    QString name;
    QString time; ///< HHmmssSSS
    double last = QUOTA_INVALID_VALUE;
    double change = QUOTA_INVALID_VALUE;
    double changeRatio = QUOTA_INVALID_VALUE;
    double volume = QUOTA_INVALID_VALUE;
    double turnover = QUOTA_INVALID_VALUE;
    double bid = QUOTA_INVALID_VALUE;
    double ask = QUOTA_INVALID_VALUE;
    double amplitude = QUOTA_INVALID_VALUE;

    QuoteView() = default;
    /// Of a security of which there is no quote yet.
    explicit QuoteView(const QString &waiting);
    explicit QuoteView(const StockQuotaData &quote);
    explicit QuoteView(const FutureQuotaData &quote);
    explicit QuoteView(const IndexQuotaData &quote);
};

/// One trade as the tape shows it.
struct TradeView
{
    enum Side { Unknown, Buy, Sell };

    QString symbol;
    QString date; ///< yyyyMMdd
    QString time; ///< HHmmssSSS
    double price = 0;
    double money = QUOTA_INVALID_VALUE;
    qint64 shares = 0;
    Side side = Unknown; ///< the side that initiated the trade, if the source states it

    TradeView() = default;
    /// From the body of a "MDTRANSACTIONRECORD".
    explicit TradeView(const QVariant &body);

    /// Of 100 shares; with a fraction for odd lots.
    double lots() const;
    /// "buy", "sell" or empty.
    QString sideName() const;
    Record toRecord() const;
};
