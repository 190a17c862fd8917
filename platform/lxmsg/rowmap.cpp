#include "rowmap_p.h"

#include "qtinternals_p.h"

#include <array>
#include <atomic>
#include <vector>

namespace {

using Map = QMap<QString, QVariant>;

constexpr size_t MaxMaps = 8; // more than the kinds of records that a thread handles at the same time

// Each answer of a service has a layout of its own, so maps of small rows would never be reused.
constexpr int MinKeys = 16;

Map newMap(const LxPackedRow &row)
{
    Map map;
    const QVector<QString> &keys = row.layout->keys();
    // Backwards, so that the first value of a repeated key remains, as in GetValue().
    for (int i = keys.size() - 1; i >= 0; --i)
        map.insert(keys.at(i), row.values.at(i));
    return map;
}

// The map of the latest row of one layout.
class ReusableMap
{
public:
    const LxRowLayout *layout() const { return m_layout.get(); }

    void reset(const LxRowLayout::Pointer &layout)
    {
        m_layout = layout;
        m_map.clear();
    }

    // False if the row has values that a map must not keep: the map may exist longer than the caller uses it.
    bool assign(const LxPackedRow &row)
    {
        if (m_map.isEmpty() || !m_map.isDetached())
            create();
        // The previous user may have released the map on another thread.
        std::atomic_thread_fence(std::memory_order_acquire);
        const QVariant *value = row.values.constData();
        for (QVariant *target : m_targets) {
            if (target && !assignValue(*value, target))
                return false;
            ++value;
        }
        return true;
    }

    const Map &map() const { return m_map; }

private:
    void create()
    {
        m_map.clear();
        m_targets.clear();
        for (const QString &key : m_layout->keys()) {
            const bool isRepeated = m_map.contains(key);
            // Pointers to the values stay valid as long as the map is not shared.
            m_targets.push_back(isRepeated ? nullptr : &*m_map.insert(key, QVariant()));
        }
    }

    static bool assignValue(const QVariant &value, QVariant *target)
    {
        if (LxQtInternals::isPlain(value)) {
            LxQtInternals::assign(value, target);
            return true;
        }
        if (value.userType() != QMetaType::QString)
            return false;
        assignString(*static_cast<const QString *>(value.constData()), target);
        return true;
    }

    // Copies the characters, if possible into the memory that `target` already has.
    static void assignString(const QString &string, QVariant *target)
    {
        if (target->userType() != QMetaType::QString || string.isEmpty())
            *target = string.isNull() ? QString() : QString::fromLatin1("");
        if (!string.isEmpty())
            static_cast<QString *>(target->data())->setUnicode(string.constData(), string.size());
    }

    LxRowLayout::Pointer m_layout;
    Map m_map;
    std::vector<QVariant *> m_targets; // by index of the layout, in m_map; null for a repeated key
};

struct ReusableMaps
{
    std::array<ReusableMap, MaxMaps> maps;
    size_t next = 0; // the one to replace
    bool *destroyed;

    explicit ReusableMaps(bool *flag) : destroyed(flag) { }
    ~ReusableMaps() { *destroyed = true; }

    ReusableMap &of(const LxPackedRow &row)
    {
        for (ReusableMap &map : maps) {
            if (map.layout() == row.layout.get())
                return map;
        }
        ReusableMap &map = maps[next];
        next = (next + 1) % maps.size();
        map.reset(row.layout);
        return map;
    }
};

} // namespace

QMap<QString, QVariant> LxRowMap::of(const LxPackedRow &row)
{
    if (row.values.size() < MinKeys)
        return newMap(row);
    // Libraries may read rows in destructors that run after this thread's variables were destroyed.
    thread_local bool destroyed = false;
    if (destroyed)
        return newMap(row);
    thread_local ReusableMaps maps(&destroyed);
    ReusableMap &map = maps.of(row);
    return map.assign(row) ? map.map() : newMap(row);
}
