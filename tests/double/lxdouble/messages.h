#pragma once

#include <lxdouble/export.h>

#include <QMetaType>
#include <QStringList>
#include <QVariant>
#include <QVector>

/// What a test needs to know of message bodies and messages.
namespace LxDouble {

/// The double's packed body: a list of maps, and beside it what the packer saw of how it was built.
struct Body
{
    QVariantList rows; ///< each a QVariantMap
    QVector<QStringList> keys; ///< of each row, in the order in which they were added
    int addRowCalls = 0;
    QString clientMsgID;

    QVariantMap row(int number) const { return rows.value(number).toMap(); }
};

/// A body of these rows, as a service would send it.
LXDOUBLE_EXPORT QVariant packRows(const QVector<QVariantMap> &rows);
/// The body in `message`; without rows if `message` holds something else.
LXDOUBLE_EXPORT Body bodyOf(const QVariant &message);

/// CMessageCommon objects alive. Those that never reached a presenter stay alive until a test deletes them here.
LXDOUBLE_EXPORT int liveMessages();
LXDOUBLE_EXPORT void deleteLiveMessages();

} // namespace LxDouble

Q_DECLARE_METATYPE(LxDouble::Body)
