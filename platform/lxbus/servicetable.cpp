#include "servicetable_p.h"

#include <limits>

namespace {

// Bytes of the requests that wait for one service: from all senders, and from each.
constexpr size_t WaitingByteLimit = size_t { 64 } * 1024 * 1024;
constexpr size_t SenderByteLimit = size_t { 16 } * 1024 * 1024;
// Number of unanswered requests, whether waiting or being handled: from all senders, and from each.
constexpr size_t OpenLimit = size_t { 64 } * 1024;
constexpr size_t SenderOpenLimit = size_t { 8 } * 1024;
constexpr size_t Unlimited = std::numeric_limits<size_t>::max();

} // namespace

LxServiceTable::LxServiceTable(LxLink *link, const LxBusOptions &options, int answerTimeoutMs)
    : m_link(link), m_answerTimeoutMs(answerTimeoutMs),
      m_senderLimit(link->isLocal() ? Unlimited : static_cast<size_t>(options.requestLimit)),
      m_senderByteLimit(link->isLocal() ? Unlimited : SenderByteLimit)
{
}

void LxServiceTable::add(Service *service)
{
    QMutexLocker locker(&m_mutex);
    for (const QString &type : std::as_const(service->types)) {
        QVector<Service *> &services = m_services[type];
        services.append(service);
        if (services.size() == 1)
            m_link->openService(type);
    }
}

void LxServiceTable::remove(Service *service)
{
    QMutexLocker locker(&m_mutex);
    for (const QString &type : std::as_const(service->types)) {
        const auto services = m_services.find(type);
        services->removeOne(service);
        if (services->isEmpty()) {
            m_services.erase(services);
            m_link->closeService(type);
        }
    }
}

std::vector<LxBusRequest> LxServiceTable::takeUnanswered(const Service *service)
{
    std::vector<LxBusRequest> unanswered;
    QMutexLocker locker(&m_mutex);
    for (auto it = m_open.begin(); it != m_open.end();) {
        if (it->second.service == service) {
            unanswered.push_back(it->second.request);
            it = eraseOpen(it);
        } else {
            ++it;
        }
    }
    return unanswered;
}

LxBusEndpoint::Result LxServiceTable::offer(LxArrivingRequest request, LxReception *reception)
{
    QMutexLocker locker(&m_mutex);
    const auto services = m_services.constFind(request.type);
    if (services == m_services.constEnd())
        return LxBusEndpoint::NoService;
    Service *const service = services->last();
    const bool awaitsAnswer = request.id != 0;
    while (!m_open.empty() && m_open.begin()->second.deadline.hasExpired())
        eraseOpen(m_open.begin());
    const auto openOfSender = m_openOfSender.find(request.sender);
    const bool tooManyOpen = m_open.size() >= OpenLimit
        || (openOfSender != m_openOfSender.end() && openOfSender->second >= SenderOpenLimit && !m_link->isLocal());
    if (tooManyOpen || service->waiting.bytes() + request.bytes > WaitingByteLimit) {
        reception->add(service->mailbox, LxMailbox::Fate::Refused);
        return LxBusEndpoint::QueueFull;
    }
    request.type = services.key(); // the deep copy that the bus keeps
    if (awaitsAnswer)
        request.id = ++m_lastId;
    LxBusRequest head = request;
    head.body = QVariant();
    // The request is queued before the delivery that will take one, both under the lock.
    LxMailbox::Fate fate = LxMailbox::Fate::Refused;
    if (service->waiting.push(request.sender, request, request.bytes, m_senderLimit, m_senderByteLimit)) {
        fate = service->mailbox->offer({ LxDelivery::Request, request.type, QVariant(), 0 });
        if (fate == LxMailbox::Fate::Refused || fate == LxMailbox::Fate::Closed)
            service->waiting.removeLast(request.sender);
    }
    reception->add(service->mailbox, fate);
    if (fate == LxMailbox::Fate::Closed)
        return LxBusEndpoint::Closed;
    if (fate == LxMailbox::Fate::Refused)
        return LxBusEndpoint::QueueFull;
    if (awaitsAnswer) {
        m_open.emplace(request.id, Open { service, head, request.sender, QDeadlineTimer(m_answerTimeoutMs) });
        ++m_openOfSender[request.sender];
    }
    return LxBusEndpoint::Ok;
}

LxBusRequest LxServiceTable::next(Service *service)
{
    QMutexLocker locker(&m_mutex);
    return service->waiting.pop();
}

bool LxServiceTable::takeAnswered(quint64 id)
{
    QMutexLocker locker(&m_mutex);
    const auto found = m_open.find(id);
    if (found == m_open.end())
        return false;
    eraseOpen(found);
    return true;
}

std::map<quint64, LxServiceTable::Open>::iterator LxServiceTable::eraseOpen(std::map<quint64, Open>::iterator open)
{
    const auto ofSender = m_openOfSender.find(open->second.sender);
    if (--ofSender->second == 0)
        m_openOfSender.erase(ofSender);
    return m_open.erase(open);
}
