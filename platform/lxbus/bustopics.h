#pragma once

#include <lxbus/lxbus_export.h>

#include <QString>
#include <QVariant>
#include <QVector>

/// What a client may subscribe by symbol; the numbers of "MDRecordTypes" in a "SubscribeRequest".
enum class LxRecordKind : int {
    Quote = 1,       ///< quotes of stocks, indices, futures and options
    Transaction = 2, ///< tick-by-tick transactions
    Order = 3,       ///< tick-by-tick orders
    Ranking = 4,     ///< indicator rankings; the key is the ranking's number instead of a symbol
};

/// One row of a "SubscribeRequest".
struct LxSubscription
{
    LxRecordKind kind = LxRecordKind::Quote;
    bool subscribe = true;
    QString key; ///< the symbol
};

namespace LxBusTopics {

/// The type of the message by which a client subscribes.
LXBUS_EXPORT extern const QString subscribeRequest;

/// The record kind that routes `topic` by symbol, or 0 if the topic goes to everybody who subscribed it.
LXBUS_EXPORT int routingKind(const QString &topic);

/// Reads the rows of a "SubscribeRequest". `malformed` counts the rows that ask for no known kind or action, and a body
/// that no packer made.
LXBUS_EXPORT QVector<LxSubscription> parseSubscribeRequest(const QVariant &body, int *malformed);

} // namespace LxBusTopics
