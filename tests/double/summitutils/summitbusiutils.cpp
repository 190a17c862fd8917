#include "summitbusiutils.h"

#include <lxdouble/recording.h>

double SummitBusiUtils::GetLastPriceFromTick(const QMap<QString, QVariant> &row)
{
    return LxDouble::latestPrice(row);
}
