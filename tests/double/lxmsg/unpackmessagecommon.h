#pragma once

#include <lxdouble/messages.h>

#include <QMap>

/// Reads the rows of an LxDouble::Body; anything else has no rows.
class LXDOUBLE_EXPORT CUnPackMessageCommon
{
public:
    CUnPackMessageCommon();

    void SetUnPackMsg(const QVariant &msg, bool flag);
    int GetRowCount() const;
    void SetCurrentRow(int row);
    QVariant GetValue(const QString &key, const QVariant &defaultValue) const;
    QMap<QString, QVariant> GetRowValue() const;

private:
    QVariantList m_rows;
    int m_rowCount = 0; // as the body claims
    QVariantMap m_row;
};
