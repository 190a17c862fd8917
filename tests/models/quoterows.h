#pragma once

#include <support.h>

#include <QVariantMap>

/// Rows as the service publishes them, and how they reach the models.
namespace QuoteRows {

const QString day = QStringLiteral("20211201");

/// A stock quote: last and previous close, at a time of day (HHmmssSSS), with these further fields.
QVariantMap stock(const QString &symbol, double last, double previousClose = 10,
                  const QString &time = QStringLiteral("100000000"), const QVariantMap &more = {});
QVariantMap transaction(const QString &symbol, double price, int quantity, const QVariant &side,
                        const QString &time = QStringLiteral("100000000"));

/// Publish and wait until the library has announced them. No event of this thread is processed meanwhile.
void publishStock(const QVariantMap &row);
void publishStocks(const QVector<QVariantMap> &rows);

/// Waits until the models' requests that were made so far have been sent.
void waitForSender();
/// The symbols of the subscription requests sent so far, with "+" or "-" and the record kind before each.
QStringList subscriptions();

/// `count` different symbols.
QStringList symbols(int count);

} // namespace QuoteRows
