#include "requesttable_p.h"

LxRequestTable::Pending &LxRequestTable::add(const QString &type, QDeadlineTimer deadline)
{
    // All asynchronous requests have the same time-out, so the first one that has not expired ends the search.
    for (auto it = m_pending.begin(); it != m_pending.end();) {
        if (!it->second.asynchronous) {
            ++it;
        } else if (it->second.deadline.hasExpired()) {
            it = m_pending.erase(it);
        } else {
            break;
        }
    }
    Pending &pending = m_pending[++m_last];
    pending.type = lxOwnCopy(type);
    pending.deadline = deadline;
    return pending;
}

quint64 LxRequestTable::addAsync(const QString &type, std::weak_ptr<LxMailbox> client, QDeadlineTimer deadline)
{
    QMutexLocker locker(&m_mutex);
    Pending &pending = add(type, deadline);
    pending.asynchronous = true;
    pending.client = std::move(client);
    return m_last;
}

quint64 LxRequestTable::addSync(const QString &type, QDeadlineTimer deadline)
{
    QMutexLocker locker(&m_mutex);
    Pending &pending = add(type, deadline);
    if (m_closed) {
        pending.done = true;
        pending.result = LxBusEndpoint::Closed;
    }
    return m_last;
}

int LxRequestTable::wait(quint64 id, QVariant *answer)
{
    QMutexLocker locker(&m_mutex);
    const auto found = m_pending.find(id);
    Pending &pending = found->second;
    while (!pending.done && pending.finished.wait(&m_mutex, pending.deadline)) { }
    const int result = pending.result;
    if (result == LxBusEndpoint::Ok)
        *answer = pending.answer;
    m_pending.erase(found);
    return result;
}

void LxRequestTable::remove(quint64 id)
{
    QMutexLocker locker(&m_mutex);
    m_pending.erase(id);
}

std::optional<LxRequestTable::Finished> LxRequestTable::finish(quint64 id, int result, const QVariant &answer)
{
    QMutexLocker locker(&m_mutex);
    const auto found = m_pending.find(id);
    if (found == m_pending.end() || found->second.done)
        return std::nullopt;
    Pending &pending = found->second;
    const Finished finished { pending.type, pending.asynchronous, pending.client };
    if (pending.asynchronous) {
        m_pending.erase(found);
    } else {
        pending.result = result;
        pending.answer = answer;
        pending.done = true;
        pending.finished.wakeOne();
    }
    return finished;
}

void LxRequestTable::close()
{
    QMutexLocker locker(&m_mutex);
    m_closed = true;
    for (auto &[id, pending] : m_pending) {
        if (pending.done)
            continue;
        pending.done = true;
        pending.result = LxBusEndpoint::Closed;
        pending.finished.wakeOne();
    }
}
