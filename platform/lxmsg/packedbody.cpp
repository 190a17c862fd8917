#include "packedbody.h"

LxPackedBody::Data::Data(QVector<LxPackedRow> &&rows) : rowCount(rows.size())
{
    if (rows.isEmpty())
        return;
    head = std::move(rows.first());
    if (rowCount > 1)
        others = rows.mid(1);
}

LxPackedBody::LxPackedBody(QVector<LxPackedRow> rows) : d(new Data(std::move(rows))) { }

LxPackedBody LxPackedBody::fromVariant(const QVariant &message)
{
    // Only the very type counts: QVariant::value() would also try conversions.
    if (message.userType() != qMetaTypeId<LxPackedBody>())
        return LxPackedBody();
    return *static_cast<const LxPackedBody *>(message.constData());
}

QVariant LxPackedBody::toVariant() const
{
    return QVariant::fromValue(*this);
}
