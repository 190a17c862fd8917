#include "bustopics.h"

#include <lxmsg/unpackmessagecommon.h>

#include <QHash>

namespace {

// Not a function-local static: at exit, services may still publish when objects constructed on first use have already
// been destroyed.
const QHash<QString, LxRecordKind> routedKinds {
    { QStringLiteral("MDMARKETRECORD"), LxRecordKind::Quote },
    { QStringLiteral("MDINDEXRECORD"), LxRecordKind::Quote },
    { QStringLiteral("MDFUTURERECORD"), LxRecordKind::Quote },
    { QStringLiteral("MDOPTIONRECORD"), LxRecordKind::Quote },
    { QStringLiteral("MDTRANSACTIONRECORD"), LxRecordKind::Transaction },
    { QStringLiteral("MDORDERRECORD"), LxRecordKind::Order },
    { QStringLiteral("ADINDICATORSRANKINGRECORD"), LxRecordKind::Ranking },
};

} // namespace

namespace LxBusTopics {

const QString subscribeRequest = QStringLiteral("SubscribeRequest");
const QString presence = QStringLiteral("ServicePresence");
const QString presenceRequest = QStringLiteral("ServicePresenceRequest");

int routingKind(const QString &topic)
{
    const auto kind = routedKinds.constFind(topic);
    return kind == routedKinds.constEnd() ? 0 : static_cast<int>(*kind);
}

QVector<LxSubscription> parseSubscribeRequest(const QVariant &body, int *malformed)
{
    enum Action { Subscribe = 1, Unsubscribe = 2 };

    QVector<LxSubscription> subscriptions;
    if (body.userType() != qMetaTypeId<LxPackedBody>()) {
        ++*malformed;
        return subscriptions;
    }
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(body, false);
    const QVariant none;
    for (int i = 0; i < rows.GetRowCount(); ++i) {
        rows.SetCurrentRow(i);
        const int kind = rows.GetValue(QStringLiteral("MDRecordTypes"), none).toInt();
        const int action = rows.GetValue(QStringLiteral("ActionType"), none).toInt();
        const QString key = rows.GetValue(QStringLiteral("Symbol"), none).toString();
        const bool known = kind >= static_cast<int>(LxRecordKind::Quote)
            && kind <= static_cast<int>(LxRecordKind::Ranking) && (action == Subscribe || action == Unsubscribe)
            && !key.isEmpty() && key.size() <= KeyLimit;
        if (known)
            subscriptions.append({ static_cast<LxRecordKind>(kind), action == Subscribe, key });
        else
            ++*malformed;
    }
    return subscriptions;
}

} // namespace LxBusTopics
