#pragma once

#include <lxdouble/export.h>

#include <QString>

// The values differ from those of other platforms, so that tests detect code that uses a literal instead of a constant.
namespace Orca_Fields {
namespace System {
extern LXDOUBLE_EXPORT const QString msgType;
extern LXDOUBLE_EXPORT const QString clientMsgID;
extern LXDOUBLE_EXPORT const QString requestExeStatus;
extern LXDOUBLE_EXPORT const QString subGroupNumber;
} // namespace System
namespace Security {
extern LXDOUBLE_EXPORT const QString securityID;
} // namespace Security
namespace MDCFieldDefine {
extern LXDOUBLE_EXPORT const QString mdcSecurityType;
} // namespace MDCFieldDefine
namespace UserAccount {
extern LXDOUBLE_EXPORT const QString SymbolPost;
} // namespace UserAccount
} // namespace Orca_Fields

namespace Orca_Values {
namespace RequestExeStatus {
extern LXDOUBLE_EXPORT const QString success;
} // namespace RequestExeStatus
} // namespace Orca_Values

namespace PluginPropety {
extern LXDOUBLE_EXPORT const QString PLUGININSTANCE_ID;
} // namespace PluginPropety
