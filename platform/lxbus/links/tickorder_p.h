#pragma once

#include <lxbus/lxbus_export.h>

#include <QVariant>

#include <map>
#include <utility>

/// A transaction or order of one symbol.
struct LxTick
{
    quint64 epoch = 0; ///< the publisher's run; a later one has a greater number
    quint64 sequence = 0; ///< within the epoch, from 1, without gaps
    quint64 floor = 0; ///< later ones of this publisher have higher positions in the stream than this; 0: not known
    QVariant body;
};

/// Announces the ticks of one symbol in order, each once. If one is missing, or a new publisher begins, those that
/// follow are held back while the missing ones are fetched from the stream, one after the other. What the stream does
/// not have after several attempts is counted as lost. Must be used on one thread.
class LXBUS_EXPORT LxTickOrder
{
public:
    class Observer
    {
    public:
        virtual void announce(const QVariant &body) = 0;
        /// Asks for the first tick at this position of the stream or a later one, after a delay. Answered by a call of
        /// fetched(), nothingFetched() or fetchFailed().
        virtual void fetch(quint64 position, int delayMs) = 0;
        /// Asks for the latest tick, which is passed to arrived().
        virtual void fetchLatest() = 0;
        virtual void lost(quint64 count) = 0;

    protected:
        ~Observer() = default;
    };

    /// The number of ticks held back. Later ones are fetched again.
    static constexpr size_t HeldLimit = 4096;

    enum Beginning {
        AllTicks, ///< those that the stream has already are announced, too
        LatestTick, ///< whatever arrives first is the first
    };

    explicit LxTickOrder(Observer *observer, Beginning beginning = AllTicks)
        : m_observer(observer), m_beginning(beginning)
    {
    }

    /// A tick that was published, or the latest one.
    void arrived(const LxTick &tick);
    /// The stream has no tick of the symbol.
    void streamIsEmpty() { m_streamIsEmpty = true; }
    /// The publisher has no stream, so that nothing can be fetched and nothing is held back; or it has one.
    void setStreamAbsent(bool absent);
    /// Answers to what was asked before will not come.
    void reconnected();
    /// The first tick at the position that was fetched, or a later one, and its position.
    void fetched(const LxTick &tick, quint64 position);
    /// The stream has no tick at the position that was fetched, or a later one.
    void nothingFetched();
    /// The stream has something else at this position.
    void fetchedOther(quint64 position);
    /// The broker does not answer.
    void fetchFailed();
    /// False while ticks are held back.
    bool isComplete() const { return !m_fetching; }

private:
    using Place = std::pair<quint64, quint64>; // epoch and sequence

    bool isKnown(const LxTick &tick) const;
    bool isNext(const Place &place) const;
    void hold(const LxTick &tick);
    void begin();
    void announce(const LxTick &tick);
    void announceHeld();
    void retry();
    void giveUp();
    void end();

    Observer *const m_observer;
    const Beginning m_beginning;
    std::map<quint64, quint64> m_last; // the last sequence announced of each of the latest epochs
    std::map<Place, LxTick> m_held;
    quint64 m_floor = 0; // everything up to this position has been announced
    quint64 m_next = 0; // the position to fetch next
    int m_failures = 0; // of fetching what is missing now
    bool m_fetching = false;
    bool m_gap = false; // the stream had a tick out of order since the fetch began
    bool m_overflowed = false; // some were not held back
    bool m_streamIsEmpty = false;
    bool m_streamIsAbsent = false;
};
