#include "unpackmessagecommon.h"

#include "rowmap_p.h"

namespace {

// A reader wants nearly all values, in an order of its own; they come from another core's memory, all at the same time.
void fetch(const QVector<QVariant> &values)
{
#ifdef __GNUC__
    constexpr int LineBytes = 64;
    constexpr int MostBytes = 64 * static_cast<int>(sizeof(QVariant));
    const auto *bytes = reinterpret_cast<const char *>(values.constData());
    const int size = qMin(values.size() * static_cast<int>(sizeof(QVariant)), MostBytes);
    for (int at = 0; at < size; at += LineBytes)
        __builtin_prefetch(bytes + at);
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
    m_body = &LxPackedBody::fromVariant(m_message);
    SetCurrentRow(0);
}

int CUnPackMessageCommon::GetRowCount() const
{
    return m_body ? m_body->rowCount() : 0;
}

void CUnPackMessageCommon::SetCurrentRow(int row)
{
    m_row = m_body ? m_body->row(row) : nullptr;
    m_layout = m_row ? m_row->layout.get() : nullptr;
    m_values = m_row ? m_row->values.constData() : nullptr;
    m_lastFound = -1;
    if (m_row)
        fetch(m_row->values);
}

QMap<QString, QVariant> CUnPackMessageCommon::GetRowValue() const
{
    return m_row ? LxRowMap::of(*m_row) : QMap<QString, QVariant>();
}
