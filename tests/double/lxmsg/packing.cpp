#include "packmessagecommon.h"
#include "unpackmessagecommon.h"

#include <lxdefine/lxfields.h>

#include <QMutex>

#include <atomic>

namespace {

QMutex hookMutex;
std::function<void()> currentHook; // guarded by hookMutex

std::function<void()> rowValueHook()
{
    QMutexLocker locker(&hookMutex);
    return currentHook;
}

} // namespace

// --- CPackMessageCommon ---

CPackMessageCommon::CPackMessageCommon()
{
    static std::atomic<int> count { 0 };
    m_body.clientMsgID = QStringLiteral("double-%1").arg(++count);
}

void CPackMessageCommon::openRow()
{
    m_body.rows.append(QVariantMap());
    m_body.keys.append(QStringList());
    m_current = m_body.rows.size() - 1;
}

void CPackMessageCommon::AddVaule(const QString &key, const QVariant &value)
{
    if (m_body.rows.isEmpty())
        openRow();
    QVariantMap row = m_body.row(m_current);
    if (!row.contains(key))
        m_body.keys[m_current].append(key);
    row.insert(key, value);
    m_body.rows[m_current] = row;
}

void CPackMessageCommon::AddRow()
{
    ++m_body.addRowCalls;
    openRow();
}

void CPackMessageCommon::SetCurrentRow(int row)
{
    if (row >= 0 && row < m_body.rows.size())
        m_current = row;
}

QVariant CPackMessageCommon::GetValue(const QString &key) const
{
    if (key == Orca_Fields::System::clientMsgID)
        return m_body.clientMsgID;
    return m_body.row(m_current).value(key);
}

QVariant CPackMessageCommon::GetPackedMsg(bool)
{
    return QVariant::fromValue(m_body);
}

// --- CUnPackMessageCommon ---

CUnPackMessageCommon::CUnPackMessageCommon() = default;

void CUnPackMessageCommon::SetUnPackMsg(const QVariant &msg, bool)
{
    const LxDouble::Body body = LxDouble::bodyOf(msg);
    m_rows = body.rows;
    m_rowCount = body.claimedRowCount.value_or(m_rows.size());
    SetCurrentRow(0);
}

int CUnPackMessageCommon::GetRowCount() const
{
    return m_rowCount;
}

void CUnPackMessageCommon::SetCurrentRow(int row)
{
    m_row = m_rows.value(row).toMap();
}

QVariant CUnPackMessageCommon::GetValue(const QString &key, const QVariant &defaultValue) const
{
    return m_row.value(key, defaultValue);
}

QMap<QString, QVariant> CUnPackMessageCommon::GetRowValue() const
{
    if (const std::function<void()> hook = rowValueHook())
        hook();
    return m_row;
}

// --- Bodies ---

void LxDouble::setRowValueHook(const std::function<void()> &hook)
{
    QMutexLocker locker(&hookMutex);
    currentHook = hook;
}

QVariant LxDouble::packRows(const QVector<QVariantMap> &rows, std::optional<int> claimedRowCount)
{
    Body body;
    body.claimedRowCount = claimedRowCount;
    for (const QVariantMap &row : rows) {
        body.rows.append(row);
        body.keys.append(row.keys());
    }
    return QVariant::fromValue(body);
}

LxDouble::Body LxDouble::bodyOf(const QVariant &message)
{
    return message.userType() == qMetaTypeId<Body>() ? message.value<Body>() : Body();
}
