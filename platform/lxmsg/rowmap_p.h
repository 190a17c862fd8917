#pragma once

#include "packedbody.h"

#include <QMap>

/// Rows as maps, for readers that want a map of every record.
///
/// Each thread keeps the maps that it made last, one a layout. When nobody holds such a map any more, the values of the
/// next row of that layout are written into it, which costs no allocation and no look-up; otherwise a new one is made.
/// The maps that are kept hold numbers and texts of their own only: nothing of a library that may be unloaded.
namespace LxRowMap {

QMap<QString, QVariant> of(const LxPackedRow &row);

} // namespace LxRowMap
