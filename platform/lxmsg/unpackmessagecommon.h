#pragma once

#include <lxmsg/lxmsg_export.h>
#include <lxmsg/packedbody.h>
#include <lxmsg/variantcopy.h>

#include <QMap>
#include <QString>
#include <QVariant>

/// Reads the rows of a packed body.
///
/// Accepts anything: a variant that no packer made has no rows, a row number out of range leaves a row that reads as
/// empty. Nothing is thrown; looking for an absent key allocates nothing. Reading one key after another in the same
/// order for every record is the fast way. Not thread-safe; bodies may be shared between readers.
class LXMSG_EXPORT CUnPackMessageCommon
{
public:
    CUnPackMessageCommon();

    /// Loads a body and stands on row 0. The flag has no meaning on this platform.
    void SetUnPackMsg(const QVariant &msg, bool flag);
    int GetRowCount() const;
    void SetCurrentRow(int row);
    /// The value of `key` in the current row, or `defaultValue` if the row has no such key.
    QVariant GetValue(const QString &key, const QVariant &defaultValue) const
    {
        if (!m_row)
            return defaultValue;
        const int position = m_layout->find(key, m_lastFound);
        if (position < 0)
            return defaultValue;
        m_lastFound = position;
        return LxVariantCopy::copy(m_values[position]);
    }
    /// All keys and values of the current row. A map that is gone by the next call costs no allocation.
    QMap<QString, QVariant> GetRowValue() const;

private:
    QVariant m_message; // keeps the body
    const LxPackedBody *m_body = nullptr;
    const LxPackedRow *m_row = nullptr;
    const LxRowLayout *m_layout = nullptr; // of the row
    const QVariant *m_values = nullptr; // of the row
    mutable int m_lastFound = -1; // position found by the last look-up in this row
};
