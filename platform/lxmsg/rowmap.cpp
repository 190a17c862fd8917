#include "rowmap_p.h"

#include "variantcopy.h"

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
        for (Target &target : m_targets) {
            // As a rule a cell has the type that it had in the row before.
            if (LxVariantCopy::kindOf(*value) == target.kind)
                LxVariantCopy::assignSameKind(*value, target.value);
            else if (!writeOther(*value, &target))
                return false;
            ++value;
        }
        return true;
    }

    const Map &map() const { return m_map; }

private:
    struct Target
    {
        QVariant *value = nullptr; // in m_map; none for a repeated key
        LxVariantCopy::Kind kind = LxVariantCopy::NoKind; // of the value, if it is plain
    };

    void makeMap()
    {
        const QVector<QString> &keys = m_layout->keys();
        m_map = {};
        for (const QString &key : keys)
            m_map.insert(key, QVariant());
        // A value stays where it is as long as the map is not shared. Of a repeated key the first position counts.
        m_targets.assign(static_cast<size_t>(keys.size()), Target());
        for (int i = keys.size() - 1; i >= 0; --i) {
            QVariant *const value = &m_map.find(keys.at(i)).value();
            for (Target &target : m_targets) {
                if (target.value == value)
                    target.value = nullptr;
            }
            m_targets[static_cast<size_t>(i)].value = value;
        }
    }

    static bool writeOther(const QVariant &value, Target *target)
    {
        const bool plain = LxVariantCopy::isPlain(value);
        if (!target->value)
            return plain || isText(value);
        target->kind = plain ? LxVariantCopy::kindOf(value) : LxVariantCopy::NoKind;
        if (plain)
            *target->value = value;
        else if (isText(value))
            copyText(*static_cast<const QString *>(value.constData()), target->value);
        else
            return false;
        return true;
    }

    LxRowLayout::Pointer m_layout;
    Map m_map;
    std::vector<Target> m_targets; // by position
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
