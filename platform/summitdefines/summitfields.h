#pragma once

#include <summitdefines/summitdefines_export.h>

#include <QString>

namespace Summit_Fields {

/// Fields of the trading-day request "181063" and of its answer.
namespace QuantizationInformationMsgCode {
extern SUMMITDEFINES_EXPORT const QString Days;          ///< signed number of trading days
extern SUMMITDEFINES_EXPORT const QString TradeDate;     ///< the trading day found, yyyyMMdd
extern SUMMITDEFINES_EXPORT const QString InitStartDate; ///< the day to count from, yyyyMMdd
} // namespace QuantizationInformationMsgCode

} // namespace Summit_Fields
