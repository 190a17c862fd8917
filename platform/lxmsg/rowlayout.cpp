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
    : m_keys(deepCopies(keys)), m_known(new std::atomic<const Known *>[static_cast<size_t>(keys.size())]),
      m_next(new std::atomic<const Known *>[static_cast<size_t>(keys.size()) + 1])
{
    m_indexes.reserve(m_keys.size());
    for (int i = m_keys.size() - 1; i >= 0; --i)
        m_indexes.insert(m_keys.at(i), i);
    const auto count = static_cast<size_t>(m_keys.size());
    m_own.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const QString &key = m_keys.at(static_cast<int>(i));
        m_own.push_back({ key, m_indexes.value(key) });
        m_known[i] = m_next[i] = &m_own[i];
    }
    m_next[count] = nullptr;
}

int LxRowLayout::findByCharacters(const QString &key, int previous) const
{
    std::atomic<const Known *> &next = m_next[static_cast<size_t>(previous + 1)];
    const Known *guess = next.load(std::memory_order_acquire);
    const int found = guess && guess->key == key ? guess->index : m_indexes.value(key, -1);
    if (found >= 0)
        next.store(remember(found, key), std::memory_order_release);
    return found;
}

// The entry of `index`, from now on with this string if it is the first of a reader.
const LxRowLayout::Known *LxRowLayout::remember(int index, const QString &key) const
{
    std::atomic<const Known *> &known = m_known[static_cast<size_t>(index)];
    const Known *const own = &m_own[static_cast<size_t>(index)];
    // Other characters may change under the string: those of a literal when its library is unloaded.
    if (known.load(std::memory_order_acquire) == own && LxQtInternals::ownsCharacters(key)) {
        const std::lock_guard<std::mutex> locker(m_mutex);
        if (known.load(std::memory_order_relaxed) == own) {
            m_readers.push_back({ key, index });
            known.store(&m_readers.back(), std::memory_order_release);
        }
    }
    return known.load(std::memory_order_acquire);
}
