#include "unpackmessagecommon.h"

#include "qtinternals_p.h"
#include "rowmap_p.h"

namespace {

// A reader needs nearly all values, and they are in another core's cache: fetching them together takes little longer
// than fetching one.
void prefetch(const QVector<QVariant> &values)
{
#ifdef __GNUC__
    constexpr int ValuesPerLine = 64 / sizeof(QVariant);
    constexpr int MaxValues = 64;
    for (int i = 0; i < values.size() && i < MaxValues; i += ValuesPerLine)
        __builtin_prefetch(&values.at(i));
#else
    Q_UNUSED(values)
#endif
}

} // namespace

CUnPackMessageCommon::CUnPackMessageCommon() = default;

void CUnPackMessageCommon::SetUnPackMsg(const QVariant &msg, bool flag)
{
    Q_UNUSED(flag)
    m_message = msg;
    SetCurrentRow(0);
}

int CUnPackMessageCommon::GetRowCount() const
{
    return LxPackedBody::fromVariant(m_message).rowCount();
}

void CUnPackMessageCommon::SetCurrentRow(int row)
{
    m_row = LxPackedBody::fromVariant(m_message).row(row);
    m_lastFound = -1;
    if (m_row)
        prefetch(m_row->values);
}

QVariant CUnPackMessageCommon::GetValue(const QString &key, const QVariant &defaultValue) const
{
    if (!m_row)
        return defaultValue;
    const int found = m_row->layout->find(key, m_lastFound);
    if (found < 0)
        return defaultValue;
    m_lastFound = found;
    return LxQtInternals::copy(m_row->values.at(found));
}

QMap<QString, QVariant> CUnPackMessageCommon::GetRowValue() const
{
    return m_row ? LxRowMap::of(*m_row) : QMap<QString, QVariant>();
}
