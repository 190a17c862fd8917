#pragma once

#include "barhistory.h"

#include <QVariant>

class CUnPackMessageCommon;

/// The messages of "KLineRequest" and "KLineResponse", described in docs/store.md.
namespace BarMessages {

/// Absent, with the reason in `error`, if a field is missing or invalid.
std::optional<BarQuery> readRequest(const CUnPackMessageCommon &fields, QString *error);

QVariantList write(const BarQuery &query, const QVector<StoreBar> &bars);

} // namespace BarMessages
