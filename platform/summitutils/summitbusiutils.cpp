#include "summitbusiutils.h"

double SummitBusiUtils::GetLastPriceFromTick(const QMap<QString, QVariant> &row)
{
    static const QString lastPx = QStringLiteral("LastPx");
    static const QString referencePrices[] = { QStringLiteral("PreSettlePrice"), QStringLiteral("PreClosePx") };

    const auto last = row.constFind(lastPx);
    if (last != row.constEnd()) {
        const double price = last->toDouble();
        if (price > 0.0)
            return price;
    }
    for (const QString &key : referencePrices) {
        const auto reference = row.constFind(key);
        if (reference == row.constEnd())
            continue;
        bool isNumber = false;
        const double price = reference->toDouble(&isNumber);
        if (isNumber)
            return price;
    }
    return 0.0;
}
