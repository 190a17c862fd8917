#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

/// Turns Ctrl-C (SIGINT) and SIGTERM into a signal of the main thread. A second Ctrl-C ends the program at once.
/// At most one at a time.
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
