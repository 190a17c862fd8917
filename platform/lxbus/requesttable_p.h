#pragma once

#include "bus.h"
#include "mailbox_p.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QWaitCondition>

#include <map>
#include <memory>
#include <optional>

/// A deep copy of a string that the bus keeps: the original may be a literal of a library that is unloaded before the
/// bus ends.
inline QString lxOwnCopy(const QString &string)
{
    return QString(string.constData(), string.size());
}

/// The requests of this process that await their answers. Any thread.
class LxRequestTable
{
public:
    /// Adds a request whose answer is posted to `client`, and returns its id. It expires at the deadline and is removed
    /// when a later request is added.
    quint64 addAsync(const QString &type, std::weak_ptr<LxMailbox> client, QDeadlineTimer deadline);
    /// Adds a request whose caller waits for the answer, and returns its id; wait() or remove() must follow.
    quint64 addSync(const QString &type, QDeadlineTimer deadline);
    /// Waits until the request has ended or its deadline has passed. Returns an LxBusEndpoint::Result; sets `answer` if
    /// it is Ok.
    int wait(quint64 id, QVariant *answer);
    /// Removes a request that could not be sent.
    void remove(quint64 id);

    struct Finished
    {
        QString type; ///< of the request
        bool asynchronous;
        std::weak_ptr<LxMailbox> client; ///< of an asynchronous request
    };
    /// Ends a request. Wakes the caller of a synchronous one; of an asynchronous one, the result says which client the
    /// answer is to be posted to. Absent if no such request awaits an answer.
    std::optional<Finished> finish(quint64 id, int result, const QVariant &answer);
    /// Ends all requests, and those added later, with the result Closed.
    void close();

private:
    struct Pending
    {
        QString type;
        QDeadlineTimer deadline;
        bool asynchronous = false;
        std::weak_ptr<LxMailbox> client;

        // Of a synchronous request:
        QWaitCondition finished;
        bool done = false;
        int result = LxBusEndpoint::TimedOut;
        QVariant answer;
    };

    Pending &add(const QString &type, QDeadlineTimer deadline); // under m_mutex

    QMutex m_mutex; // guards what follows
    std::map<quint64, Pending> m_pending;
    quint64 m_last = 0;
    bool m_closed = false;
};
