#pragma once

#include <lxdouble/export.h>

#include <QMetaType>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <functional>
#include <optional>

/// What a test needs to know about message bodies and messages.
namespace LxDouble {

/// The packed body of the double: a list of maps, and how the packer was called to build it.
struct Body
{
    QVariantList rows; ///< each a QVariantMap
    QVector<QStringList> keys; ///< of each row, in the order in which they were added
    int addRowCalls = 0;
    QString clientMsgID;
    std::optional<int> claimedRowCount; ///< what GetRowCount() returns, if not the number of rows

    QVariantMap row(int index) const { return rows.value(index).toMap(); }
};

/// A body of these rows, as a service would send it. A row may hold a key more than once (QMultiMap).
LXDOUBLE_EXPORT QVariant packRows(const QVector<QVariantMap> &rows, std::optional<int> claimedRowCount = std::nullopt);
/// Sets a function that every GetRowValue() calls on its thread; null removes it.
LXDOUBLE_EXPORT void setRowValueHook(const std::function<void()> &hook);
/// The body in `message`; one without rows if `message` holds something else.
LXDOUBLE_EXPORT Body bodyOf(const QVariant &message);

/// The number of existing CMessageCommon objects. One that never reached a presenter exists until a test deletes it.
LXDOUBLE_EXPORT int liveMessages();
LXDOUBLE_EXPORT void deleteLiveMessages();

} // namespace LxDouble

Q_DECLARE_METATYPE(LxDouble::Body)
