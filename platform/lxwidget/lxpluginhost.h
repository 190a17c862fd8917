#pragma once

#include <lxwidget/lxwidget_export.h>

#include <QString>
#include <QVector>

class LxPluginBaseObject;

/// The host's side of the plug-in framework. Any thread; call load() from the main thread.
namespace LxPluginHost {

/// Loads the plug-in library `file` and initialises the plug-in objects that it brought. `file` may be a path or a bare
/// library name, as QLibrary takes it. False, with the reason in `error`, if the library cannot be loaded or brings no
/// plug-in object.
LXWIDGET_EXPORT bool load(const QString &file, QString *error = nullptr);

/// The plug-in objects alive, in order of construction.
LXWIDGET_EXPORT QVector<LxPluginBaseObject *> plugins();

} // namespace LxPluginHost
