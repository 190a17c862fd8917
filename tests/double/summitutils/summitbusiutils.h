#pragma once

#include <lxdouble/export.h>

#include <QMap>
#include <QString>
#include <QVariant>

class LXDOUBLE_EXPORT SummitBusiUtils
{
public:
    /// LxDouble::setLatestPrice()'s function of the row; the row's "LastPx" if none is set.
    static double GetLastPriceFromTick(const QMap<QString, QVariant> &row);
};
