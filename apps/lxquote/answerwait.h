#pragma once

#include "bussession.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QObject>
#include <QThread>

#include <functional>
#include <memory>
#include <optional>

/// Waits for the answers to queries of the library.
class AnswerWait : public QObject
{
    Q_OBJECT

public:
    AnswerWait(BusSession *bus, const QDeadlineTimer &deadline);
    /// Waits for the end of the query. Unless everything has been answered, ends the bus first, which the program then
    /// has no more use of.
    ~AnswerWait() override;

    /// Calls `query` on a separate thread, since queries of the library may block, and runs the main thread's event
    /// loop until finish(). ExitTimeout, with the reason in `error`, if no service handles the requests or the deadline
    /// has passed; ExitFailure if the bus has failed.
    ExitCode run(std::function<void()> query, QString *error);
    /// Main thread.
    void finish() { end(ExitOk, QString()); }

Q_SIGNALS:
    /// The query of run() has returned.
    void queryReturned();

private:
    void checkService();
    void end(ExitCode code, const QString &reason);

    const QDeadlineTimer m_deadline;
    std::unique_ptr<QThread> m_thread;
    QEventLoop m_loop;
    std::optional<ExitCode> m_code;
    QString m_reason;
};
