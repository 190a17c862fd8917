#include "links/natsparts_p.h"

#include <QList>

namespace {

constexpr int NextPartTimeoutMs = 30000;
constexpr int WaitingLimit = 2 * LxNatsParts::MessageLimit; // bytes of all incomplete messages

} // namespace

QByteArray LxNatsParts::header(quint64 message, int index, int count)
{
    return QByteArray::number(message) + ' ' + QByteArray::number(index) + ' ' + QByteArray::number(count);
}

void LxNatsParts::forgetExpired()
{
    for (auto it = m_messages.begin(); it != m_messages.end();) {
        if (!it->second.deadline.hasExpired()) {
            ++it;
            continue;
        }
        m_bytes -= it->second.bytes.size();
        it = m_messages.erase(it);
    }
}

LxNatsParts::Result LxNatsParts::add(const QByteArray &subject, const QByteArray &part, const QByteArray &bytes,
                                     QByteArray *message)
{
    forgetExpired();
    const QList<QByteArray> fields = part.split(' ');
    const int index = fields.value(1).toInt();
    const int count = fields.value(2).toInt();
    const QByteArray key = subject + ' ' + fields.value(0);
    auto found = m_messages.find(key);
    const int expected = found == m_messages.end() ? 0 : found->second.next;
    const int size = found == m_messages.end() ? 0 : found->second.bytes.size();
    const bool fits = size + bytes.size() <= MessageLimit && m_bytes + bytes.size() <= WaitingLimit;
    if (fields.size() != 3 || index != expected || index >= count || bytes.isEmpty() || !fits) {
        m_bytes -= size;
        if (found != m_messages.end())
            m_messages.erase(found);
        return Lost;
    }
    if (found == m_messages.end())
        found = m_messages.emplace(key, Message()).first;
    found->second.bytes += bytes;
    m_bytes += bytes.size();
    found->second.next = index + 1;
    found->second.deadline = QDeadlineTimer(NextPartTimeoutMs);
    if (index + 1 < count)
        return Incomplete;
    *message = found->second.bytes;
    m_bytes -= message->size();
    m_messages.erase(found);
    return Complete;
}
