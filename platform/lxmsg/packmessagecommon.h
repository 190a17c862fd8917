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
/// A body may hold text, int, 64-bit int, double, bool, string lists, and lists and maps of these. Not thread-safe.
class LXMSG_EXPORT CPackMessageCommon
{
public:
    /// Takes a client message id that is unique in the process's lifetime.
    CPackMessageCommon();

    /// Sets `key` in the current row; the first call opens row 0. A key that the row has already is overwritten.
    void AddVaule(const QString &key, const QVariant &value);
    /// Opens the next row, behind the last one, and stands on it.
    void AddRow();
    /// Stands on `row`. A number out of range is refused with a warning.
    void SetCurrentRow(int row);
    /// The value of `key` in the current row, or the client message id for Orca_Fields::System::clientMsgID.
    /// Invalid if absent.
    QVariant GetValue(const QString &key) const;
    /// The body packed so far; of no rows if nothing was added. The flag has no meaning on this platform.
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
