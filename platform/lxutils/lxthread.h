#pragma once

#include <lxutils/lxutils_export.h>

#include <QThread>

/// The platform's thread base class: a QThread.
///
/// Its event loop uses the dispatcher that Qt chooses. With Debian's Qt that is GLib's, which makes a system call for
/// every posted event. If the host sets QT_NO_THREADED_GLIB in its environment before it starts the first thread, it is
/// Qt's own Unix dispatcher, which makes one system call per wake-up (docs/performance.md).
class LXUTILS_EXPORT LxThread : public QThread
{
    Q_OBJECT

public:
    /// As QThread; the thread is not started.
    explicit LxThread(QObject *parent = nullptr);
    ~LxThread() override;
};
