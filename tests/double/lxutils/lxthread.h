#pragma once

#include <lxdouble/export.h>

#include <QThread>

class LXDOUBLE_EXPORT LxThread : public QThread
{
    Q_OBJECT

public:
    explicit LxThread(QObject *parent = nullptr);
    ~LxThread() override;

protected:
    void connectNotify(const QMetaMethod &signal) override;
};
