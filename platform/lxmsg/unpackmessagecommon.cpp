#include "unpackmessagecommon.h"

CUnPackMessageCommon::CUnPackMessageCommon() = default;

void CUnPackMessageCommon::SetUnPackMsg(const QVariant &msg, bool flag)
{
    Q_UNUSED(flag)
    m_body = LxPackedBody::fromVariant(msg);
    SetCurrentRow(0);
}

int CUnPackMessageCommon::GetRowCount() const
{
    return m_body.rowCount();
}

void CUnPackMessageCommon::SetCurrentRow(int row)
{
    m_row = m_body.row(row);
    m_lastFound = -1;
}

QVariant CUnPackMessageCommon::GetValue(const QString &key, const QVariant &defaultValue) const
{
    if (!m_row)
        return defaultValue;
    const int position = m_row->layout->find(key, m_lastFound);
    if (position < 0)
        return defaultValue;
    m_lastFound = position;
    return m_row->values.at(position);
}

QMap<QString, QVariant> CUnPackMessageCommon::GetRowValue() const
{
    QMap<QString, QVariant> row;
    if (!m_row)
        return row;
    const QVector<QString> &keys = m_row->layout->keys();
    // Backwards, so that of a repeated key the first one stands, as in GetValue.
    for (int i = keys.size() - 1; i >= 0; --i)
        row.insert(keys.at(i), m_row->values.at(i));
    return row;
}
