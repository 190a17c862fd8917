#pragma once

#include <lxutils/lxutils_export.h>

#include <QThread>

/// The platform's thread base class.
///
/// A QThread whose event loop makes a system call only to fall asleep and to be woken, not for every event posted to it.
/// Started as a plain QThread (through its base class), it has Qt's own event loop.
class LXUTILS_EXPORT LxThread : public QThread
{
    Q_OBJECT

public:
    explicit LxThread(QObject *parent = nullptr);
    ~LxThread() override;

    /// As QThread::start().
    void start(Priority priority = InheritPriority);
};
