#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

/// Converts SIGINT (Ctrl-C) and SIGTERM to a Qt signal on the main thread. A second one terminates the program
/// immediately. Only one instance may exist at a time.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    explicit Interrupt(QObject *parent = nullptr);
    ~Interrupt() override;

Q_SIGNALS:
    void interrupted();

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};
