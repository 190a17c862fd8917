#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QHash>
#include <QString>
#include <QVector>

#include <atomic>
#include <bitset>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

/// The keys of a row, in order: what all records of one kind have in common.
///
/// Immutable and shared between the rows and bodies that have it. Readers ask for the same keys in the same order,
/// record after record; the layout remembers which positions were asked for after which, for two readers of different
/// habits, and with which text. So a look-up is one comparison of two addresses for whoever came first with a text of
/// its own, and of two texts for everybody else. Any thread.
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
        if (isHeldAt(previous + 1, key)) // as it is when keys are asked for in the order of the layout
            return previous + 1;
        const quint32 guesses = m_next[static_cast<size_t>(previous + 1)].load(std::memory_order_relaxed);
        const int guess = static_cast<int>(guesses & GuessMask);
        return isHeldAt(guess, key) || isAt(guess, key) ? guess : findElsewhere(key, previous);
    }

private:
    // The text of a key, out of m_keys. One more at the end is no key's.
    struct Text
    {
        const QChar *characters = nullptr;
        int size = -1;
    };

    static constexpr int GuessBits = 16;
    static constexpr quint32 GuessMask = (1u << GuessBits) - 1;
    static constexpr size_t Marks = 512;

    explicit LxRowLayout(const QVector<QString> &keys);

    // Equal without a look at either text: what is held can neither change nor go.
    bool isHeldAt(int position, const QString &key) const
    {
        return m_heldTexts[static_cast<size_t>(position)].load(std::memory_order_relaxed) == addressOf(key);
    }

    static const void *addressOf(const QString &text) { return const_cast<QString &>(text).data_ptr(); }

    bool isAt(int position, const QString &key) const
    {
        const Text &text = m_texts[static_cast<size_t>(position)];
        return text.size == key.size() && isSameText(text.characters, key.constData(), text.size);
    }

    static bool isSameText(const QChar *a, const QChar *b, int size)
    {
        constexpr int Step = sizeof(quint64) / sizeof(QChar);
        const auto difference = [a, b](int at) {
            quint64 left;
            quint64 right;
            std::memcpy(&left, a + at, sizeof(left));
            std::memcpy(&right, b + at, sizeof(right));
            return left ^ right;
        };
        // Most keys: two or four steps that overlap, without a loop.
        if (size >= 2 * Step && size <= 4 * Step) {
            return (difference(0) | difference(Step) | difference(size - 2 * Step) | difference(size - Step)) == 0;
        }
        if (size >= Step && size < 2 * Step)
            return (difference(0) | difference(size - Step)) == 0;
        return std::memcmp(a, b, static_cast<size_t>(size) * sizeof(QChar)) == 0;
    }

    int findElsewhere(const QString &key, int previous) const;
    void hold(int position, const QString &key) const;

    const QVector<QString> m_keys;
    QHash<QString, int> m_positions;
    std::unique_ptr<Text[]> m_texts;
    // By previous position + 1: two positions that were asked for next, the newer one in the lower half. As long as
    // there is none, the position behind the last key. Layouts too large for that remember nothing.
    std::unique_ptr<std::atomic<quint32>[]> m_next;
    std::bitset<Marks> m_marks; // of the keys; most absent keys have a mark that none of these has
    // By position: a reader's text of the key, and its address; null as long as none is held. One more as in m_texts.
    std::unique_ptr<std::atomic<const void *>[]> m_heldTexts;
    mutable std::mutex m_holdMutex;
    mutable std::vector<QString> m_held; // guarded by m_holdMutex
};
