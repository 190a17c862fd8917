#include "rowlayout.h"

#include "qtinternals_p.h"

namespace {

// A layout may outlive the library whose read-only memory holds the literals that it was created from.
QVector<QString> deepCopies(const QVector<QString> &keys)
{
    QVector<QString> copies;
    copies.reserve(keys.size());
    for (const QString &key : keys)
        copies.append(QString(key.constData(), key.size()));
    return copies;
}

} // namespace

LxRowLayout::Pointer LxRowLayout::create(const QVector<QString> &keys)
{
    return Pointer(new LxRowLayout(keys));
}

LxRowLayout::LxRowLayout(const QVector<QString> &keys)
    : m_keys(deepCopies(keys)), m_guesses(new std::atomic<int>[static_cast<size_t>(keys.size()) + 1]),
      m_knownCharacters(new std::atomic<const QChar *>[static_cast<size_t>(keys.size()) + 1])
{
    m_indexes.reserve(m_keys.size());
    for (int i = m_keys.size() - 1; i >= 0; --i)
        m_indexes.insert(m_keys.at(i), i);
    for (int i = 0; i <= m_keys.size(); ++i) {
        m_guesses[static_cast<size_t>(i)] = i;
        m_knownCharacters[static_cast<size_t>(i)] = nullptr;
    }
}

int LxRowLayout::findByCharacters(const QString &key, int previous) const
{
    std::atomic<int> &guess = m_guesses[static_cast<size_t>(previous + 1)];
    const int guessed = guess.load(std::memory_order_relaxed);
    const int found = guessed < m_keys.size() && m_keys.at(guessed) == key ? guessed : m_indexes.value(key, -1);
    if (found >= 0) {
        guess.store(found, std::memory_order_relaxed);
        remember(found, key);
    }
    return found;
}

void LxRowLayout::remember(int index, const QString &key) const
{
    std::atomic<const QChar *> &known = m_knownCharacters[static_cast<size_t>(index)];
    // Other characters may change under the string: those of a literal when its library is unloaded.
    if (known.load(std::memory_order_relaxed) || !LxQtInternals::ownsCharacters(key))
        return;
    const std::lock_guard<std::mutex> locker(m_knownKeysMutex);
    if (known.load(std::memory_order_relaxed))
        return;
    m_knownKeys.append(key);
    known.store(key.constData(), std::memory_order_relaxed);
}
