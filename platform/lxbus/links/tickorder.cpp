#include "links/tickorder_p.h"

#include <utility>

namespace {

constexpr size_t KnownEpochs = 4;
constexpr int Attempts = 21; // together about fifteen seconds
constexpr int UnansweredAttempts = 5; // what an attempt without any answer, which takes longer, counts as
constexpr int FirstDelayMs = 20; // a tick may arrive before the stream has it
constexpr int LongestDelayMs = 1000;

} // namespace

bool LxTickOrder::isKnown(const LxTick &tick) const
{
    const auto last = m_last.find(tick.epoch);
    if (last != m_last.end())
        return tick.sequence <= last->second;
    return m_last.size() == KnownEpochs && tick.epoch < m_last.begin()->first;
}

bool LxTickOrder::isNext(const Place &place) const
{
    const auto last = m_last.find(place.first);
    if (last != m_last.end())
        return place.second == last->second + 1;
    return m_last.empty() && (m_beginning == LatestTick || (m_streamIsEmpty && place.second == 1));
}

void LxTickOrder::arrived(const LxTick &tick)
{
    if (isKnown(tick))
        return;
    if (!m_fetching && isNext({ tick.epoch, tick.sequence })) {
        announce(tick);
        return;
    }
    hold(tick);
    if (m_streamIsAbsent)
        giveUp();
    else if (!m_fetching)
        begin();
}

void LxTickOrder::begin()
{
    m_fetching = true;
    m_gap = false;
    m_failures = 0;
    m_next = m_floor + 1;
    m_observer->fetch(m_next, 0);
}

void LxTickOrder::hold(const LxTick &tick)
{
    if (m_held.size() < HeldLimit)
        m_held.emplace(Place(tick.epoch, tick.sequence), tick);
    else
        m_overflowed = true;
}

void LxTickOrder::announce(const LxTick &tick)
{
    m_last[tick.epoch] = tick.sequence;
    if (m_last.size() > KnownEpochs)
        m_last.erase(m_last.begin());
    if (tick.floor > 0)
        m_floor = tick.floor;
    m_observer->announce(tick.body);
}

void LxTickOrder::announceHeld()
{
    while (!m_held.empty()) {
        const auto first = m_held.begin();
        if (!isKnown(first->second)) {
            if (!isNext(first->first))
                return;
            announce(first->second);
        }
        m_held.erase(first);
    }
}

void LxTickOrder::setStreamAbsent(bool absent)
{
    m_streamIsAbsent = absent;
    if (absent && m_fetching)
        giveUp();
}

void LxTickOrder::reconnected()
{
    if (m_fetching)
        begin();
}

void LxTickOrder::fetchedOther(quint64 position)
{
    if (!m_fetching)
        return;
    m_next = position + 1;
    m_observer->fetch(m_next, 0);
}

void LxTickOrder::fetched(const LxTick &tick, quint64 position)
{
    if (!m_fetching)
        return;
    m_next = position + 1;
    if (!isKnown(tick)) {
        // The stream has its ticks in the order of publication, so what it has first of a new publisher is the first.
        const bool isFirstOfEpoch = m_last.find(tick.epoch) == m_last.end() && !m_gap;
        if (isFirstOfEpoch && !m_last.empty() && tick.sequence > 1)
            m_observer->lost(tick.sequence - 1);
        if (isFirstOfEpoch || isNext({ tick.epoch, tick.sequence })) {
            m_failures = 0;
            announce(tick);
        } else {
            m_gap = true;
            hold(tick);
        }
    }
    if (!m_gap)
        m_floor = position;
    announceHeld();
    if (m_held.empty())
        end();
    else
        m_observer->fetch(m_next, 0);
}

void LxTickOrder::nothingFetched()
{
    if (!m_fetching)
        return;
    if (m_held.empty())
        end();
    else
        retry();
}

void LxTickOrder::fetchFailed()
{
    if (!m_fetching)
        return;
    m_failures += UnansweredAttempts - 1;
    retry();
}

void LxTickOrder::retry()
{
    if (++m_failures >= Attempts) {
        giveUp();
        return;
    }
    m_gap = false;
    m_next = m_floor + 1;
    m_observer->fetch(m_next, m_failures > 6 ? LongestDelayMs : FirstDelayMs << (m_failures - 1));
}

// Announces what is held back in spite of the gaps.
void LxTickOrder::giveUp()
{
    for (const auto &[place, tick] : m_held) {
        const auto last = m_last.find(place.first);
        if (last != m_last.end())
            m_observer->lost(place.second - last->second - 1);
        else if (!m_last.empty())
            m_observer->lost(place.second - 1);
        announce(tick);
    }
    m_held.clear();
    end();
}

void LxTickOrder::end()
{
    m_fetching = false;
    if (std::exchange(m_overflowed, false))
        m_observer->fetchLatest();
}
