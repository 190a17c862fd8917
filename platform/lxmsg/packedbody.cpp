#include "packedbody.h"

namespace {

const LxPackedBody noRows;

} // namespace

const LxPackedBody &LxPackedBody::fromVariant(const QVariant &message)
{
    // QVariant::value() would also try conversions.
    if (message.userType() != qMetaTypeId<LxPackedBody>())
        return noRows;
    return *static_cast<const LxPackedBody *>(message.constData());
}
