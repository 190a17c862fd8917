#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QHash>
#include <QString>
#include <QVector>

#include <atomic>
#include <memory>

/// The keys of a row, in order: what all records of one kind have in common.
///
/// Immutable and shared between the rows and bodies that have it. Readers ask for the same keys in the same order,
/// record after record; the layout remembers which position was asked for after which, so that a look-up is one
/// comparison of two texts. Any thread.
class LXMSG_EXPORT LxRowLayout
{
public:
    using Pointer = std::shared_ptr<const LxRowLayout>;

    /// A layout of `keys`, in this order. A key that is repeated is found at its first position.
    static Pointer create(const QVector<QString> &keys);

    const QVector<QString> &keys() const { return m_keys; }

    /// Position of `key`, or -1. `previous` is the position found by the reader's previous look-up, -1 at first.
    int find(const QString &key, int previous) const
    {
        std::atomic<int> &guess = m_next[static_cast<size_t>(previous + 1)];
        const int guessed = guess.load(std::memory_order_relaxed);
        if (guessed >= 0 && m_keys.at(guessed) == key)
            return guessed;
        const int found = m_positions.value(key, -1);
        if (found >= 0)
            guess.store(found, std::memory_order_relaxed);
        return found;
    }

private:
    explicit LxRowLayout(const QVector<QString> &keys);

    const QVector<QString> m_keys;
    QHash<QString, int> m_positions;
    std::unique_ptr<std::atomic<int>[]> m_next; // by previous position + 1: the position asked for next, -1 unknown
};
