#pragma once

#include <QMap>
#include <QString>

#include <cstring>
#include <vector>

/// A symbol and its hash, for look-ups in more than one index. Valid as long as the text.
struct LxSymbolKey
{
    LxSymbolKey(const QString &symbol) : text(symbol), hash(hashOf(symbol)) { }

    /// Eight bytes at a time, the last ones of a long text perhaps twice: three steps for a symbol.
    static quint32 hashOf(const QString &text)
    {
        constexpr auto Step = static_cast<int>(sizeof(quint64));
        const auto *bytes = reinterpret_cast<const char *>(text.constData());
        const int size = text.size() * static_cast<int>(sizeof(QChar));
        quint64 hash = static_cast<quint64>(size);
        for (int at = 0; at + Step <= size; at += Step)
            hash = mixed(hash, bytes + at, Step);
        if (size >= Step)
            hash = mixed(hash, bytes + size - Step, Step);
        else
            hash = mixed(hash, bytes, size);
        return static_cast<quint32>(hash * Factor >> 32); // the upper half depends on all of it
    }

    const QString &text;
    const quint32 hash;

private:
    static constexpr quint64 Factor = Q_UINT64_C(0x9e3779b97f4a7c15);

    static quint64 mixed(quint64 hash, const char *bytes, int size)
    {
        quint64 step = 0;
        std::memcpy(&step, bytes, static_cast<size_t>(size));
        hash = (hash ^ step) * Factor;
        return hash ^ hash >> 32;
    }
};

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
    const Record *constFind(const Map &map, const LxSymbolKey &symbol) const
    {
        const Slot &slot = m_slots[placeOf(symbol)];
        const auto known = slot.used ? typename Map::const_iterator(slot.entry) : map.constFind(symbol.text);
        Q_ASSERT(known == map.constFind(symbol.text));
        return known == map.constEnd() ? nullptr : &*known;
    }
    Record *find(Map &map, const LxSymbolKey &symbol)
    {
        const Slot &slot = m_slots[placeOf(symbol)];
        const auto known = slot.used ? slot.entry : map.find(symbol.text);
        Q_ASSERT(known == map.find(symbol.text));
        return known == map.end() ? nullptr : &*known;
    }

    /// The record of `symbol`; a new one, value-initialised, if there is none.
    Record &entry(Map &map, const LxSymbolKey &symbol)
    {
        size_t place = placeOf(symbol);
        if (!m_slots[place].used) {
            if (2 * ++m_count > m_slots.size()) {
                grow();
                place = placeOf(symbol);
            }
            auto entry = map.lowerBound(symbol.text);
            if (entry == map.end() || entry.key() != symbol.text)
                entry = map.insert(entry, symbol.text, Record());
            m_slots[place] = { entry, symbol.hash, true };
        }
        Q_ASSERT(m_slots[place].entry == map.find(symbol.text));
        return *m_slots[place].entry;
    }

private:
    struct Slot
    {
        typename Map::iterator entry;
        quint32 hash = 0;
        bool used = false;
    };

    static constexpr size_t FirstSlots = 16; // a power of two, as all further numbers of them

    // The slot of the symbol, or the free one where it belongs. At least half of them are free.
    size_t placeOf(const LxSymbolKey &symbol) const
    {
        const size_t last = m_slots.size() - 1;
        size_t place = symbol.hash & last;
        while (m_slots[place].used && (m_slots[place].hash != symbol.hash || m_slots[place].entry.key() != symbol.text))
            place = (place + 1) & last;
        return place;
    }

    void grow()
    {
        std::vector<Slot> old(2 * m_slots.size());
        old.swap(m_slots);
        for (const Slot &slot : old) {
            if (slot.used)
                m_slots[placeOf(slot.entry.key())] = slot;
        }
    }

    std::vector<Slot> m_slots = std::vector<Slot>(FirstSlots);
    size_t m_count = 0;
};
