#pragma once

#include <QString>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <utility>

/// A queue of entries from several senders that takes one entry from each sender in turn, so that a sender of many
/// entries does not delay the others. Bounded for each sender. Not thread-safe.
template<typename Entry>
class LxFairQueue
{
public:
    /// Appends an entry of size `bytes`. False, with nothing queued, if `sender` would exceed one of the limits.
    bool push(const QString &sender, Entry entry, size_t bytes, size_t entryLimit, size_t byteLimit)
    {
        Sender &waiting = m_senders[sender];
        if (waiting.entries.size() >= entryLimit || waiting.bytes + bytes > byteLimit) {
            if (waiting.entries.empty())
                m_senders.erase(sender);
            return false;
        }
        if (waiting.entries.empty())
            m_turns.push_back(sender);
        waiting.entries.emplace_back(std::move(entry), bytes);
        waiting.bytes += bytes;
        m_bytes += bytes;
        return true;
    }

    /// The next entry. The queue must not be empty.
    Entry pop()
    {
        const QString sender = std::move(m_turns.front());
        m_turns.pop_front();
        const auto found = m_senders.find(sender);
        Sender &waiting = found->second;
        Entry entry = std::move(waiting.entries.front().first);
        const size_t bytes = waiting.entries.front().second;
        waiting.entries.pop_front();
        waiting.bytes -= bytes;
        m_bytes -= bytes;
        if (waiting.entries.empty())
            m_senders.erase(found);
        else
            m_turns.push_back(sender);
        return entry;
    }

    /// Removes the entry that `sender` pushed last. There must be one.
    void removeLast(const QString &sender)
    {
        const auto found = m_senders.find(sender);
        Sender &waiting = found->second;
        waiting.bytes -= waiting.entries.back().second;
        m_bytes -= waiting.entries.back().second;
        waiting.entries.pop_back();
        if (waiting.entries.empty()) {
            m_turns.erase(std::find(m_turns.begin(), m_turns.end(), sender));
            m_senders.erase(found);
        }
    }

    bool isEmpty() const { return m_turns.empty(); }
    /// The size of all entries together.
    size_t bytes() const { return m_bytes; }

private:
    struct Sender
    {
        std::deque<std::pair<Entry, size_t>> entries;
        size_t bytes = 0;
    };

    std::map<QString, Sender> m_senders; // only those that have entries
    std::deque<QString> m_turns; // the same senders, in the order in which they are served
    size_t m_bytes = 0;
};
