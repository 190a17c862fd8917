#include "rowlayout.h"

LxRowLayout::Pointer LxRowLayout::create(const QVector<QString> &keys)
{
    return Pointer(new LxRowLayout(keys));
}

namespace {

// Layouts travel in bodies, which may outlive the library whose memory holds the literals that the keys are.
QVector<QString> ownCopies(const QVector<QString> &keys)
{
    QVector<QString> copies;
    copies.reserve(keys.size());
    for (const QString &key : keys)
        copies.append(QString(key.constData(), key.size()));
    return copies;
}

// A number that equal texts share.
size_t markOf(const QString &text)
{
    if (text.isEmpty())
        return 0;
    const auto at = [&text](int index) { return static_cast<size_t>(text.at(index).unicode()); };
    return static_cast<size_t>(text.size()) + at(0) * 37 + at(text.size() / 2) * 11 + at(text.size() - 1) * 5;
}

} // namespace

LxRowLayout::LxRowLayout(const QVector<QString> &keys) : m_keys(ownCopies(keys))
{
    const auto count = static_cast<size_t>(m_keys.size());
    m_positions.reserve(m_keys.size());
    m_texts = std::make_unique<Text[]>(count + 1);
    for (int i = 0; i < m_keys.size(); ++i) {
        const QString &key = m_keys.at(i);
        m_texts[static_cast<size_t>(i)] = { key.constData(), key.size() };
        m_marks.set(markOf(key) % Marks);
        if (!m_positions.contains(key))
            m_positions.insert(key, i);
    }

    const auto none = static_cast<quint32>(count) & GuessMask;
    const quint32 noGuess = count <= GuessMask ? none | none << GuessBits : 0;
    m_next = std::make_unique<std::atomic<quint32>[]>(count + 1);
    for (size_t i = 0; i <= count; ++i)
        m_next[i].store(noGuess, std::memory_order_relaxed);
    m_heldTexts = std::make_unique<std::atomic<const void *>[]>(count + 1);
    for (size_t i = 0; i <= count; ++i)
        m_heldTexts[i].store(nullptr, std::memory_order_relaxed);
}

int LxRowLayout::findElsewhere(const QString &key, int previous) const
{
    std::atomic<quint32> &next = m_next[static_cast<size_t>(previous + 1)];
    const quint32 guesses = next.load(std::memory_order_relaxed);
    const int olderGuess = static_cast<int>(guesses >> GuessBits);
    if (isAt(olderGuess, key))
        return olderGuess;
    if (!m_marks.test(markOf(key) % Marks))
        return -1;
    const int found = m_positions.value(key, -1);
    if (found >= 0 && m_keys.size() <= static_cast<int>(GuessMask)) {
        next.store(guesses << GuessBits | static_cast<quint32>(found), std::memory_order_relaxed);
        hold(found, key);
    }
    return found;
}

void LxRowLayout::hold(int position, const QString &key) const
{
    // Characters that are not the text's own may change under it: those of a literal when its library is unloaded and
    // another one loaded in its place, raw ones at any time.
    const QStringData *data = const_cast<QString &>(key).data_ptr();
    if (data->ref.isStatic() || data->offset != sizeof(QStringData))
        return;
    const std::lock_guard<std::mutex> locker(m_holdMutex);
    std::atomic<const void *> &held = m_heldTexts[static_cast<size_t>(position)];
    if (held.load(std::memory_order_relaxed))
        return;
    m_held.push_back(key);
    held.store(addressOf(key), std::memory_order_relaxed);
}
