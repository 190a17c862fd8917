#pragma once

#include <lxwidget/lxwidget_export.h>

#include <QString>
#include <QVector>

class LxPluginBaseObject;

/// The host's side of the plug-in framework. Any thread, except that load() must be called on the main thread.
namespace LxPluginHost {

/// Loads the plug-in library `file`, a path or a library name as for QLibrary, and initialises its plug-in objects.
/// False, with the reason in `error`, if the library cannot be loaded or has no plug-in object.
LXWIDGET_EXPORT bool load(const QString &file, QString *error = nullptr);

/// The existing plug-in objects, in order of construction.
LXWIDGET_EXPORT QVector<LxPluginBaseObject *> plugins();

} // namespace LxPluginHost
