#include "packedbody.h"

namespace {

const LxPackedBody noRows;

} // namespace

LxPackedBody::LxPackedBody(QVector<LxPackedRow> rows) : m_rowCount(rows.size())
{
    if (rows.isEmpty())
        return;
    m_head = std::move(rows.first());
    if (m_rowCount > 1)
        m_others = rows.mid(1);
}

LxPackedBody LxPackedBody::ofRow(LxPackedRow row)
{
    LxPackedBody body;
    body.m_rowCount = 1;
    body.m_head = std::move(row);
    return body;
}

const LxPackedBody &LxPackedBody::fromVariant(const QVariant &message)
{
    // Only the very type counts: QVariant::value() would also try conversions.
    if (message.userType() != qMetaTypeId<LxPackedBody>())
        return noRows;
    return *static_cast<const LxPackedBody *>(message.constData());
}

QVariant LxPackedBody::toVariant() &&
{
    // Moved in: a copy would count the owners of the layout up and down, as all threads do that have rows of it.
    QVariant message(qMetaTypeId<LxPackedBody>(), nullptr);
    *static_cast<LxPackedBody *>(message.data()) = std::move(*this);
    return message;
}
