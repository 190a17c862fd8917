#pragma once

#include "store.h"

#include <lxdefine/lxkline.h>

#include <QString>
#include <QVector>

#include <optional>

/// Adjusts the prices of bars for dividends, bonus shares and rights issues, so that prices before and after ex-dates
/// can be compared.
///
/// On an ex-date the exchange sets a reference price in place of the previous close: (previous close - cash + rights
/// price x rights) / (1 + bonus + conversion + rights), rounded to 0.01. The step of an ex-date is previous close /
/// reference price, or the recorded factor if the components are unknown. Forward adjustment divides the prices before
/// each ex-date by its step; backward adjustment multiplies the prices from the ex-date on by it. Only ex-dates between
/// two stored daily bars of the symbol are taken into account. Volumes and values are not adjusted.
class BarAdjustment
{
public:
    /// Absent, with the reason in `error`, if the store cannot be read or lacks what is needed to compute the reference
    /// price of an ex-date.
    static std::optional<BarAdjustment> load(Store *store, const QString &symbol, LxKLine::Adjustment kind,
                                             QString *error);

    void apply(StoreBar *bar) const;

private:
    struct Step
    {
        int exDate;
        double factor;
    };

    QVector<Step> m_steps; // in order
    LxKLine::Adjustment m_kind = LxKLine::Unadjusted;
};
