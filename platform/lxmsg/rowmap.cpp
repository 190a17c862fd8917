#include "rowmap_p.h"

#include "variantcopy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

using Map = QMap<QString, QVariant>;

constexpr size_t LayoutsKept = 8; // more than there are kinds of records at the same time

// Answers of a service come with a layout of their own each; small rows are made faster than remembered.
constexpr int FewestKeysKept = 16;

Map newMap(const LxPackedRow &row)
{
    Map map;
    const QVector<QString> &keys = row.layout->keys();
    // Backwards, so that of a repeated key the first one stands, as in GetValue.
    for (int i = keys.size() - 1; i >= 0; --i)
        map.insert(keys.at(i), row.values.at(i));
    return map;
}

bool isText(const QVariant &value)
{
    return value.data_ptr().type == QVariant::String;
}

// Copies the characters, into the memory of the text that `target` has.
void copyText(const QString &text, QVariant *target)
{
    if (text.isEmpty()) {
        *target = text.isNull() ? QString() : QString::fromLatin1("");
        return;
    }
    if (!isText(*target))
        *target = QString();
    auto *own = static_cast<QString *>(target->data());
    if (own->size() != text.size())
        own->resize(text.size());
    std::memcpy(own->data(), text.constData(), static_cast<size_t>(text.size()) * sizeof(QChar));
}

class KeptMap
{
public:
    bool isOf(const LxPackedRow &row) const { return m_layout == row.layout; }

    void begin(const LxPackedRow &row)
    {
        m_layout = row.layout;
        m_map = {};
    }

    // The row as a map. False if it has values that cannot be kept.
    bool write(const LxPackedRow &row)
    {
        if (m_map.isEmpty() || !m_map.isDetached())
            makeMap();
        // Whoever held the map before has let go of it, perhaps on another thread.
        std::atomic_thread_fence(std::memory_order_acquire);
        const QVariant *value = row.values.constData();
        for (QVariant *target : m_targets) {
            if (LxVariantCopy::arePlain(*value, *target))
                LxVariantCopy::assignPlain(*value, target);
            else if (!writeOther(*value, target))
                return false;
            ++value;
        }
        return true;
    }

    const Map &map() const { return m_map; }

private:
    void makeMap()
    {
        const QVector<QString> &keys = m_layout->keys();
        m_map = {};
        for (const QString &key : keys)
            m_map.insert(key, QVariant());
        // A value stays where it is as long as the map is not shared. Of a repeated key the first position counts.
        m_targets.assign(static_cast<size_t>(keys.size()), &m_unused);
        for (int i = keys.size() - 1; i >= 0; --i) {
            QVariant *const target = &m_map.find(keys.at(i)).value();
            std::replace(m_targets.begin(), m_targets.end(), target, &m_unused);
            m_targets[static_cast<size_t>(i)] = target;
        }
    }

    static bool writeOther(const QVariant &value, QVariant *target)
    {
        if (LxVariantCopy::isPlain(value))
            *target = value;
        else if (isText(value))
            copyText(*static_cast<const QString *>(value.constData()), target);
        else
            return false;
        return true;
    }

    LxRowLayout::Pointer m_layout;
    Map m_map;
    std::vector<QVariant *> m_targets; // by position: the value in m_map, or m_unused
    QVariant m_unused;                 // where the values of repeated keys go
};

struct KeptMaps
{
    std::array<KeptMap, LayoutsKept> maps;
    size_t oldest = 0;
    bool *closed;

    explicit KeptMaps(bool *closedFlag) : closed(closedFlag) { }
    ~KeptMaps() { *closed = true; }

    KeptMap &of(const LxPackedRow &row)
    {
        for (KeptMap &map : maps) {
            if (map.isOf(row))
                return map;
        }
        KeptMap &map = maps[oldest];
        oldest = (oldest + 1) % maps.size();
        map.begin(row);
        return map;
    }
};

} // namespace

QMap<QString, QVariant> LxRowMap::of(const LxPackedRow &row)
{
    if (row.values.size() < FewestKeysKept)
        return newMap(row);
    // Libraries may read rows from destructors that run after those of this thread's variables.
    thread_local bool closed = false;
    if (closed)
        return newMap(row);
    thread_local KeptMaps kept(&closed);
    KeptMap &map = kept.of(row);
    return map.write(row) ? map.map() : newMap(row);
}
