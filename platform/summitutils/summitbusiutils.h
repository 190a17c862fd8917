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
    /// "LastPx" if it is a positive number. Before the first trade of the day, when "LastPx" is 0 or missing: the
    /// reference price, that is "PreSettlePrice" (futures) or else "PreClosePx" (all others), the first of the two
    /// that the row holds with a number in it. 0 if the row holds neither. Any thread.
    static double GetLastPriceFromTick(const QMap<QString, QVariant> &row);
};
