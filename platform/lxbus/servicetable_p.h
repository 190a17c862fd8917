#pragma once

#include "fairqueue_p.h"
#include "links/link_p.h"
#include "subscriptionbook_p.h"

#include <map>

/// The services of this process and the requests that they have not answered yet. Any thread.
class LxServiceTable
{
public:
    struct Service
    {
        QStringList types;
        std::shared_ptr<LxMailbox> mailbox; ///< receives an empty delivery for each entry of `waiting`
        LxFairQueue<LxBusRequest> waiting; ///< guarded by the table's lock
    };

    /// Requests that are not answered within `answerTimeoutMs` are removed.
    LxServiceTable(LxLink *link, const LxBusOptions &options, int answerTimeoutMs);

    /// If several services handle a type, the one added last receives the requests.
    void add(Service *service);
    void remove(Service *service);
    /// Removes and returns the requests that a removed service has not answered, without their bodies.
    std::vector<LxBusRequest> takeUnanswered(const Service *service);

    /// Queues a request unless it would exceed the limits of its sender or of all senders. Assigns it an id of this
    /// table if it awaits an answer.
    LxBusEndpoint::Result offer(LxArrivingRequest request, LxReception *reception);
    /// Removes and returns the next waiting request of a service. Senders are served in turn.
    LxBusRequest next(Service *service);
    /// Removes a request that is being answered. False if it does not await an answer, or no longer.
    bool takeAnswered(quint64 id);

private:
    struct Open
    {
        Service *service;
        LxBusRequest request; // without its body
        QString sender;
        QDeadlineTimer deadline;
    };

    std::map<quint64, Open>::iterator eraseOpen(std::map<quint64, Open>::iterator open); // under m_mutex

    LxLink *const m_link;
    const int m_answerTimeoutMs;
    const size_t m_senderLimit;
    const size_t m_senderByteLimit;

    QMutex m_mutex; // guards what follows; held while queuing, so that requests keep their order
    QHash<QString, QVector<Service *>> m_services; // by request type
    std::map<quint64, Open> m_open;
    std::map<QString, size_t> m_openOfSender;
    quint64 m_lastId = 0;
};
