#include "lxfields.h"

const QString Orca_Fields::System::msgType = QStringLiteral("double/msgType");
const QString Orca_Fields::System::clientMsgID = QStringLiteral("double/clientMsgID");
const QString Orca_Fields::System::requestExeStatus = QStringLiteral("double/requestExeStatus");
const QString Orca_Fields::System::subGroupNumber = QStringLiteral("double/subGroupNumber");
const QString Orca_Fields::Security::securityID = QStringLiteral("double/securityID");
const QString Orca_Fields::MDCFieldDefine::mdcSecurityType = QStringLiteral("double/mdcSecurityType");
const QString Orca_Fields::UserAccount::SymbolPost = QStringLiteral("double/SymbolPost");
const QString Orca_Values::RequestExeStatus::success = QStringLiteral("0");
const QString PluginPropety::PLUGININSTANCE_ID = QStringLiteral("double/PLUGININSTANCE_ID");
