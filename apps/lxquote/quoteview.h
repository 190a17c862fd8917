#pragma once

#include <lxquotadata.h>

#include <QString>
#include <QVariant>

/// What a watch list shows of a quote, whatever its kind. Numbers that a kind does not have are QUOTA_INVALID_VALUE.
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
    explicit QuoteView(const StockQuotaData &quote);
    explicit QuoteView(const FutureQuotaData &quote);
    explicit QuoteView(const IndexQuotaData &quote);
};

/// One trade as the tape shows it.
struct TradeView
{
    enum Side { Unknown, Buy, Sell };

    QString symbol;
    QString time; ///< HHmmssSSS
    double price = 0;
    qint64 lots = 0;     ///< whole lots of 100 shares
    Side side = Unknown; ///< who took the initiative, where the source tells

    TradeView() = default;
    /// From the body of a "MDTRANSACTIONRECORD".
    explicit TradeView(const QVariant &body);
};

/// Numbers and times as people read them; "-" for a number that has no value, is infinite or undefined.
namespace QuoteText {

QString price(double value);
QString signedNumber(double value);
QString percent(double value);
/// With thousands separators, without decimals.
QString count(double value);
/// Short, with K, M, B or T behind it.
QString amount(double value);
/// "HHmmssSSS" as HH:mm:ss; other texts as they are.
QString time(const QString &time);

} // namespace QuoteText
