#pragma once

#include <lxmsg/lxmsg_export.h>
#include <lxmsg/packedbody.h>

#include <QMap>
#include <QString>
#include <QVariant>

/// Reads the rows of a packed body.
///
///     CUnPackMessageCommon rows;
///     rows.SetUnPackMsg(message.GetMsg(), false);
///     const double price = rows.GetValue(QStringLiteral("LastPx"), 0.0).toDouble();
///
/// Accepts any variant: one that is not a packed body has no rows. If a row index is out of range, the current row is
/// empty. Nothing is thrown; looking up an absent key allocates nothing. Reading is fastest if the keys are read in the
/// same order for every record. Not thread-safe, but readers on different threads may share a body.
class LXMSG_EXPORT CUnPackMessageCommon
{
public:
    CUnPackMessageCommon();

    /// Loads a body and makes row 0 the current row. The flag has no meaning on this platform.
    void SetUnPackMsg(const QVariant &msg, bool flag);
    /// The number of rows; 0 for a body that no packer made.
    int GetRowCount() const;
    /// Makes `row`, counted from 0, the current row.
    void SetCurrentRow(int row);
    /// The value of `key` in the current row, or `defaultValue` if the row has no such key.
    QVariant GetValue(const QString &key, const QVariant &defaultValue) const;
    /// All keys and values of the current row. Usually allocates nothing for a record of the same kind as an earlier
    /// one whose map has been released.
    QMap<QString, QVariant> GetRowValue() const;

private:
    QVariant m_message; // owns the current row
    const LxPackedRow *m_row = nullptr;
    mutable int m_lastFound = -1; // index that the last look-up in this row found
};
