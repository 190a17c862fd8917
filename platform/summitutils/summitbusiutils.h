#pragma once

#include <summitutils/summitutils_export.h>

#include <QMap>
#include <QString>
#include <QVariant>

/// Market rules that the client's plug-ins share.
class SUMMITUTILS_EXPORT SummitBusiUtils
{
public:
    /// The latest price of a market row, in the row's own unit.
    ///
    /// The first of "LastPx", "PreSettlePrice" (the reference price of futures) and "PreClosePx" (the reference price
    /// of all other securities) that is positive, since "LastPx" is 0 before the first trade of the day; 0 if none is.
    /// Any thread.
    static double GetLastPriceFromTick(const QMap<QString, QVariant> &row);
};
