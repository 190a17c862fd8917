#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QString>
#include <QVariant>
#include <QVector>

/// Packs rows of keys and values into a message body.
///
///     CPackMessageCommon pack;
///     pack.AddVaule(QStringLiteral("Symbol"), symbol);
///     message->SetMsg(pack.GetPackedMsg(false));
///
/// A body may contain values of the types string, int, 64-bit int, double, bool and string list, and lists and maps of
/// these. Not thread-safe.
class LXMSG_EXPORT CPackMessageCommon
{
public:
    /// Assigns a client message id that is unique within the process.
    CPackMessageCommon();

    /// Sets `key` in the current row; the first call opens row 0. An existing value of the key is replaced.
    void AddVaule(const QString &key, const QVariant &value);
    /// Appends a row and makes it the current row.
    void AddRow();
    /// Makes `row` the current row. An index out of range is ignored with a warning.
    void SetCurrentRow(int row);
    /// The value of `key` in the current row, or the client message id for Orca_Fields::System::clientMsgID.
    /// Invalid if absent.
    QVariant GetValue(const QString &key) const;
    /// The body, which has no rows if nothing was added. The flag has no meaning on this platform.
    QVariant GetPackedMsg(bool flag);

private:
    struct Row
    {
        QVector<QString> keys;
        QVector<QVariant> values;
    };

    QVector<Row> m_rows;
    int m_current = 0;
    QString m_clientMsgID;
};
