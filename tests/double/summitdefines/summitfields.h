#pragma once

#include <lxdouble/export.h>

#include <QString>

namespace Summit_Fields {
namespace QuantizationInformationMsgCode {
extern LXDOUBLE_EXPORT const QString Days;
extern LXDOUBLE_EXPORT const QString TradeDate;
extern LXDOUBLE_EXPORT const QString InitStartDate;
} // namespace QuantizationInformationMsgCode
} // namespace Summit_Fields
