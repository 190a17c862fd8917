#pragma once

#include <lxdefine/lxdefine_export.h>

#include <QString>

/// Field names that every client and service of the platform shares.
namespace Orca_Fields {

namespace System {
extern LXDEFINE_EXPORT const QString msgType; ///< the message type, repeated in the body
extern LXDEFINE_EXPORT const QString clientMsgID; ///< id that the packer assigns to each body
extern LXDEFINE_EXPORT const QString requestExeStatus; ///< status of an answer, in its row 0
extern LXDEFINE_EXPORT const QString subGroupNumber; ///< number of data rows of a request or answer
} // namespace System

namespace Security {
extern LXDEFINE_EXPORT const QString securityID; ///< security code without market suffix
} // namespace Security

namespace MDCFieldDefine {
extern LXDEFINE_EXPORT const QString mdcSecurityType; ///< security type
} // namespace MDCFieldDefine

namespace UserAccount {
extern LXDEFINE_EXPORT const QString SymbolPost; ///< market suffix of a symbol
} // namespace UserAccount

} // namespace Orca_Fields

namespace Orca_Values {
namespace RequestExeStatus {
extern LXDEFINE_EXPORT const QString success; ///< the status of an answer that succeeded: "0"
} // namespace RequestExeStatus
} // namespace Orca_Values

namespace PluginPropety {
extern LXDEFINE_EXPORT const QString PLUGININSTANCE_ID; ///< property that holds a plug-in's instance id
} // namespace PluginPropety
