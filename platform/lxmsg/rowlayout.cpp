#include "rowlayout.h"

LxRowLayout::Pointer LxRowLayout::create(const QVector<QString> &keys)
{
    return Pointer(new LxRowLayout(keys));
}

LxRowLayout::LxRowLayout(const QVector<QString> &keys)
    : m_keys(keys), m_next(new std::atomic<int>[static_cast<size_t>(keys.size()) + 1])
{
    m_positions.reserve(keys.size());
    for (int i = 0; i < keys.size(); ++i) {
        if (!m_positions.contains(keys.at(i)))
            m_positions.insert(keys.at(i), i);
    }
    for (int i = 0; i <= keys.size(); ++i)
        m_next[static_cast<size_t>(i)].store(-1, std::memory_order_relaxed);
}
