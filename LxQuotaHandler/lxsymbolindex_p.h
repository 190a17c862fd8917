#pragma once

#include <QHash>
#include <QMap>
#include <QString>

#include <vector>

/// The short way to the entries of a cache that is a QMap by symbol: one comparison of texts, instead of one at each
/// level of the tree.
///
/// Remembers where entries stand. Those of a map stay where they are as long as none is removed and the map is not
/// copied, which holds for the caches: they are private and only grow. What the index does not know is looked for in
/// the map, so an entry that was inserted without it is found all the same.
///
/// Guarded by the lock of its map.
template<typename Record>
class LxSymbolIndex
{
public:
    using Map = QMap<QString, Record>;

    /// The record of `symbol`, or null.
    const Record *constFind(const Map &map, const QString &symbol) const
    {
        const Slot &slot = m_slots[placeOf(symbol, hashOf(symbol))];
        const auto known = slot.used ? typename Map::const_iterator(slot.entry) : map.constFind(symbol);
        Q_ASSERT(known == map.constFind(symbol));
        return known == map.constEnd() ? nullptr : &*known;
    }
    Record *find(Map &map, const QString &symbol)
    {
        const Slot &slot = m_slots[placeOf(symbol, hashOf(symbol))];
        const auto known = slot.used ? slot.entry : map.find(symbol);
        Q_ASSERT(known == map.find(symbol));
        return known == map.end() ? nullptr : &*known;
    }

    /// The record of `symbol`; a new one, value-initialised, if there is none.
    Record &entry(Map &map, const QString &symbol)
    {
        const uint hash = hashOf(symbol);
        size_t place = placeOf(symbol, hash);
        if (!m_slots[place].used) {
            if (2 * ++m_count > m_slots.size()) {
                grow();
                place = placeOf(symbol, hash);
            }
            auto entry = map.lowerBound(symbol);
            if (entry == map.end() || entry.key() != symbol)
                entry = map.insert(entry, symbol, Record());
            m_slots[place] = { entry, hash, true };
        }
        Q_ASSERT(m_slots[place].entry == map.find(symbol));
        return *m_slots[place].entry;
    }

private:
    struct Slot
    {
        typename Map::iterator entry;
        uint hash = 0;
        bool used = false;
    };

    static constexpr size_t FirstSlots = 16; // a power of two, as all further numbers of them

    static uint hashOf(const QString &symbol) { return qHash(symbol, 0); }

    // The slot of the symbol, or the free one where it belongs. At least half of them are free.
    size_t placeOf(const QString &symbol, uint hash) const
    {
        const size_t last = m_slots.size() - 1;
        size_t place = hash & last;
        while (m_slots[place].used && (m_slots[place].hash != hash || m_slots[place].entry.key() != symbol))
            place = (place + 1) & last;
        return place;
    }

    void grow()
    {
        std::vector<Slot> old(2 * m_slots.size());
        old.swap(m_slots);
        for (const Slot &slot : old) {
            if (slot.used)
                m_slots[placeOf(slot.entry.key(), slot.hash)] = slot;
        }
    }

    std::vector<Slot> m_slots = std::vector<Slot>(FirstSlots);
    size_t m_count = 0;
};
