#pragma once

#include <QByteArray>

/// Makes the threads that Qt starts from now on use Qt's own Unix event dispatcher instead of GLib's.
///
/// GLib's dispatcher makes a system call for every event that is posted to a thread, Qt's makes one per wake-up of the
/// thread: 0.35 against 1.67 million queued signals per second. Must be called at the very start of main(), since the
/// environment must not be changed while other threads run. The main thread keeps its dispatcher, on which the platform
/// plug-ins of a desktop may rely.
inline void useUnixEventDispatcher()
{
    qputenv("QT_NO_THREADED_GLIB", "1");
}
