#pragma once

#include <lxutils/lxutils_export.h>

#include <QThread>

/// The platform's thread base class.
class LXUTILS_EXPORT LxThread : public QThread
{
    Q_OBJECT

public:
    explicit LxThread(QObject *parent = nullptr);
    ~LxThread() override;
};
