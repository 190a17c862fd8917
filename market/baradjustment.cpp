#include "baradjustment.h"

#include "dates.h"
#include "translated.h"

#include <cmath>

namespace {

constexpr double TicksPerYuan = 100;

std::optional<double> referencePrice(const StoreExDate &event)
{
    const double rights = event.rights.value_or(0);
    const bool known = event.cash || event.bonus || event.conversion || event.rights;
    if (!known || (rights > 0 && !event.rightsPrice))
        return std::nullopt;
    const double value = event.previousClose - event.cash.value_or(0) + event.rightsPrice.value_or(0) * rights;
    const double shares = 1 + event.bonus.value_or(0) + event.conversion.value_or(0) + rights;
    // The addend makes prices of exactly half a cent round up, although they have no exact binary representation.
    return std::floor(value / shares * TicksPerYuan + 0.5 + 1e-6) / TicksPerYuan;
}

std::optional<double> stepOf(const StoreExDate &event)
{
    const std::optional<double> reference = referencePrice(event);
    if (reference && *reference > 0)
        return event.previousClose / *reference;
    return event.stepFactor;
}

} // namespace

std::optional<BarAdjustment> BarAdjustment::load(Store *store, const QString &symbol, LxKLine::Adjustment kind,
                                                 QString *error)
{
    BarAdjustment adjustment;
    adjustment.m_kind = kind;
    if (kind == LxKLine::Unadjusted)
        return adjustment;
    const QVector<StoreExDate> events = store->exDates(symbol, error);
    if (!error->isEmpty())
        return std::nullopt;
    for (const StoreExDate &event : events) {
        const std::optional<double> factor = stepOf(event);
        if (!factor || !(*factor > 0)) {
            *error = translated("the reference price of %1 on %2 cannot be computed from the recorded data")
                         .arg(symbol, Dates::toString(Dates::dateFromNumber(event.date)));
            return std::nullopt;
        }
        adjustment.m_steps.append({ event.date, *factor });
    }
    return adjustment;
}

void BarAdjustment::apply(StoreBar *bar) const
{
    double factor = 1;
    for (const Step &step : m_steps) {
        if (m_kind == LxKLine::Forward && step.exDate > bar->date)
            factor /= step.factor;
        else if (m_kind == LxKLine::Backward && step.exDate <= bar->date)
            factor *= step.factor;
    }
    for (double *price : { &bar->open, &bar->high, &bar->low, &bar->close })
        *price *= factor;
}
