#include "packmessagecommon.h"

#include "packedbody.h"

#include <lxdefine/lxfields.h>

#include <QDebug>

#include <atomic>

namespace {

QString nextClientMsgID()
{
    static std::atomic<quint64> last { 0 };
    return QString::number(last.fetch_add(1, std::memory_order_relaxed) + 1);
}

} // namespace

CPackMessageCommon::CPackMessageCommon() : m_clientMsgID(nextClientMsgID()) { }

void CPackMessageCommon::AddVaule(const QString &key, const QVariant &value)
{
    if (m_rows.isEmpty())
        m_rows.append(Row());
    Row &row = m_rows[m_current];
    const int position = row.keys.indexOf(key);
    if (position >= 0) {
        row.values[position] = value;
    } else {
        row.keys.append(key);
        row.values.append(value);
    }
}

void CPackMessageCommon::AddRow()
{
    m_rows.append(Row());
    m_current = m_rows.size() - 1;
}

void CPackMessageCommon::SetCurrentRow(int row)
{
    if (row < 0 || row >= m_rows.size()) {
        qWarning() << "CPackMessageCommon: no row" << row << "among" << m_rows.size();
        return;
    }
    m_current = row;
}

QVariant CPackMessageCommon::GetValue(const QString &key) const
{
    if (key == Orca_Fields::System::clientMsgID)
        return m_clientMsgID;
    if (m_rows.isEmpty())
        return QVariant();
    const Row &row = m_rows.at(m_current);
    const int position = row.keys.indexOf(key);
    return position >= 0 ? row.values.at(position) : QVariant();
}

QVariant CPackMessageCommon::GetPackedMsg(bool flag)
{
    Q_UNUSED(flag)
    QVector<LxPackedRow> rows;
    rows.reserve(m_rows.size());
    for (const Row &row : std::as_const(m_rows)) {
        const bool asBefore = !rows.isEmpty() && rows.constLast().layout->keys() == row.keys;
        rows.append({ asBefore ? rows.constLast().layout : LxRowLayout::create(row.keys), row.values });
    }
    return LxPackedBody(rows).toVariant();
}
