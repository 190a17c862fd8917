#pragma once

#include <QThread>

// The class of the recording double, as a platform may write it whose own code knows no restrictions of Qt.
class LxThread : public QThread
{
    Q_OBJECT

public:
    explicit LxThread(QObject *parent = nullptr);
    ~LxThread() override;

    void setName(const char *name) { setObjectName(name); }

signals:
    void named(const QString &name);

protected:
    void connectNotify(const QMetaMethod &signal) override;
};
