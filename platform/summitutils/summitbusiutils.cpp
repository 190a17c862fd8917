#include "summitbusiutils.h"

double SummitBusiUtils::GetLastPriceFromTick(const QMap<QString, QVariant> &row)
{
    static const QString keys[] = { QStringLiteral("LastPx"), QStringLiteral("PreSettlePrice"),
                                    QStringLiteral("PreClosePx") };

    for (const QString &key : keys) {
        const auto field = row.constFind(key);
        const double price = field != row.constEnd() ? field->toDouble() : 0.0;
        if (price > 0.0)
            return price;
    }
    return 0.0;
}
