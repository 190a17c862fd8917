#include "summitfields.h"

const QString Summit_Fields::QuantizationInformationMsgCode::Days = QStringLiteral("double/Days");
const QString Summit_Fields::QuantizationInformationMsgCode::TradeDate = QStringLiteral("double/TradeDate");
const QString Summit_Fields::QuantizationInformationMsgCode::InitStartDate = QStringLiteral("double/InitStartDate");
