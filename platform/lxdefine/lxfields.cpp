#include "lxfields.h"

namespace Orca_Fields {
namespace System {
const QString msgType = QStringLiteral("msgType");
const QString clientMsgID = QStringLiteral("clientMsgID");
const QString requestExeStatus = QStringLiteral("requestExeStatus");
const QString subGroupNumber = QStringLiteral("subGroupNumber");
} // namespace System

namespace Security {
const QString securityID = QStringLiteral("securityID");
} // namespace Security

namespace MDCFieldDefine {
const QString mdcSecurityType = QStringLiteral("mdcSecurityType");
} // namespace MDCFieldDefine

namespace UserAccount {
const QString SymbolPost = QStringLiteral("SymbolPost");
} // namespace UserAccount
} // namespace Orca_Fields

namespace Orca_Values {
namespace RequestExeStatus {
const QString success = QStringLiteral("0");
} // namespace RequestExeStatus
} // namespace Orca_Values

namespace PluginPropety {
const QString PLUGININSTANCE_ID = QStringLiteral("PLUGININSTANCE_ID");
} // namespace PluginPropety
