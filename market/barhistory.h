#pragma once

#include "store.h"

#include <lxdefine/lxkline.h>

#include <QString>
#include <QVector>

#include <optional>

class CurrentDayBars;

/// A request for bars, from `first` to `last`, both included.
struct BarQuery
{
    QString symbol;
    LxKLine::Period period = LxKLine::Day;
    LxKLine::Adjustment adjustment = LxKLine::Unadjusted;
    StoreMoment first;
    StoreMoment last;
};

/// The bars of a query in chronological order: read from the store, adjusted, and combined into bars of the period. If
/// `live`, which may be null, has bars of the symbol, they replace those of the current day. A bar of several days or
/// minutes is always computed from all of them; it is part of the result if its own date and time are within the query.
/// Absent, with the reason in `error`, if the store cannot be read or the bars cannot be adjusted.
std::optional<QVector<StoreBar>> readBarHistory(Store *store, const CurrentDayBars *live, const BarQuery &query,
                                                QString *error);
