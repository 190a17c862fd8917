#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QHash>
#include <QString>
#include <QVector>

#include <atomic>
#include <memory>
#include <mutex>

/// The keys of a row, in order: what all records of one kind have in common.
///
/// Immutable and shared by the rows and bodies that use it; any thread. Readers look up the same keys in the same
/// order for every record, so a layout remembers which key was found after which and with which string: most look-ups
/// compare two addresses. Comparing characters instead passes a tenth fewer quotes per second from the bus callback to
/// the signals (./bench, stock-quotes).
class LXMSG_EXPORT LxRowLayout
{
public:
    using Pointer = std::shared_ptr<const LxRowLayout>;

    /// A layout of `keys`, in this order. A key that is repeated is found at its first index.
    static Pointer create(const QVector<QString> &keys);

    const QVector<QString> &keys() const { return m_keys; }

    /// The index of `key`, or -1. `previous` is the index that the reader's previous look-up found, -1 at first.
    int find(const QString &key, int previous) const
    {
        const int next = previous + 1;
        const auto guess = static_cast<size_t>(m_guesses[static_cast<size_t>(next)].load(std::memory_order_relaxed));
        const bool isKnown = m_knownCharacters[guess].load(std::memory_order_relaxed) == key.constData()
            && m_keys.at(static_cast<int>(guess)).size() == key.size();
        return isKnown ? static_cast<int>(guess) : findByCharacters(key, previous);
    }

private:
    explicit LxRowLayout(const QVector<QString> &keys);

    int findByCharacters(const QString &key, int previous) const;
    void remember(int index, const QString &key) const;

    const QVector<QString> m_keys;
    QHash<QString, int> m_indexes;
    // By previous index + 1: the index that was last found after it. Only a hint, so relaxed memory order suffices.
    std::unique_ptr<std::atomic<int>[]> m_guesses;
    // By index: the characters of a string that a reader has asked with. m_knownKeys keeps them alive and unchanged.
    // The last one stands for no key and is always null.
    std::unique_ptr<std::atomic<const QChar *>[]> m_knownCharacters;
    mutable std::mutex m_knownKeysMutex;
    mutable QVector<QString> m_knownKeys; // guarded by m_knownKeysMutex
};
