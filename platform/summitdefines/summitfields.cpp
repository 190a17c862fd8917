#include "summitfields.h"

namespace Summit_Fields {
namespace QuantizationInformationMsgCode {
const QString Days = QStringLiteral("Days");
const QString TradeDate = QStringLiteral("TradeDate");
const QString InitStartDate = QStringLiteral("InitStartDate");
} // namespace QuantizationInformationMsgCode
} // namespace Summit_Fields
