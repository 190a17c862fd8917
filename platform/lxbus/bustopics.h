#pragma once

#include <lxbus/lxbus_export.h>

#include <QString>
#include <QVariant>
#include <QVector>

/// What a client can subscribe to by symbol: the values of "MDRecordTypes" in a "SubscribeRequest".
enum class LxRecordKind : int {
    Quote = 1, ///< quotes of stocks, indices, futures and options
    Transaction = 2, ///< tick-by-tick transactions
    Order = 3, ///< tick-by-tick orders
    Ranking = 4, ///< indicator rankings; the key is the number of the ranking instead of a symbol
};

/// One row of a "SubscribeRequest".
struct LxSubscription
{
    LxRecordKind kind = LxRecordKind::Quote; ///< what is subscribed to
    bool subscribe = true; ///< false: unsubscribe
    QString key; ///< the symbol
};

namespace LxBusTopics {

/// The longest symbol or other key of a record, in UTF-16 code units.
constexpr int KeyLimit = 64;
/// The longest topic, in UTF-16 code units.
constexpr int TopicLimit = 128;

/// The type of the message with which a client subscribes.
LXBUS_EXPORT extern const QString subscribeRequest;
/// The topic of the announcements of services. They are repeated, so one whose receiver has gone is no loss.
LXBUS_EXPORT extern const QString presence;
/// The type of the message with which a client asks a service to announce itself. If there is no service, that is an
/// answer (LxBusConnection::nobodyServes()), not a loss.
LXBUS_EXPORT extern const QString presenceRequest;

/// The LxRecordKind of a topic that is routed by symbol, or 0 if all subscribers of the topic receive all its messages.
LXBUS_EXPORT int routingKind(const QString &topic);

/// Reads the rows of a "SubscribeRequest". Adds to `malformed` the number of invalid rows, which have an unknown kind
/// or action, no symbol or too long a symbol; 1 if the body is not a packed body.
LXBUS_EXPORT QVector<LxSubscription> parseSubscribeRequest(const QVariant &body, int *malformed);

} // namespace LxBusTopics
