#pragma once

#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <vector>

/// The elements of an encoded message (docs/wire.md): CBOR (RFC 8949) with typed arrays (RFC 8746).
namespace LxWireForm {

constexpr quint64 Version = 1;
constexpr quint64 MessageItems = 6; // version, type, client, epoch, sequence, body

// Major types, as they are encoded in the first byte of an item.
enum Major : quint8 {
    Unsigned = 0x00,
    Negative = 0x20,
    Bytes = 0x40,
    Text = 0x60,
    Array = 0x80,
    Map = 0xa0,
    Tag = 0xc0,
    Simple = 0xe0,
};

// The other bits of the first byte: the number itself up to 23, otherwise a code for how many bytes of the number
// follow.
constexpr quint8 LargestInPlace = 23;
constexpr quint8 OneByte = 24;
constexpr quint8 TwoBytes = 25;
constexpr quint8 FourBytes = 26;
constexpr quint8 EightBytes = 27;

constexpr quint8 False = Simple | 20;
constexpr quint8 True = Simple | 21;
constexpr quint8 Null = Simple | 22; // a null string
constexpr quint8 Undefined = Simple | 23; // an invalid variant
constexpr quint8 Double = Simple | EightBytes;

constexpr quint64 EmbeddedTag = 24; // a byte string of CBOR: a key block
constexpr quint64 StringListTag = 41; // an array of values of one type: a QStringList
constexpr quint64 Utf16Tag = 69; // typed array, uint16 little-endian: a string with lone surrogates
constexpr quint64 IntsTag = 78; // typed array, sint32 little-endian
constexpr quint64 LongLongsTag = 79; // typed array, sint64 little-endian
constexpr quint64 DoublesTag = 86; // typed array, float64 little-endian

// Not registered; from the range that is assigned first come, first served.
constexpr quint64 PackedBodyTag = 0x4c585042;
constexpr quint64 NullTag = 0x4c584e55; // for a variant that has a type and is null

/// True for a string that UTF-8 cannot represent.
inline bool hasLoneSurrogate(const QString &string)
{
    for (int i = 0; i < string.size(); ++i) {
        if (!string.at(i).isSurrogate())
            continue;
        if (!string.at(i).isHighSurrogate() || i + 1 == string.size() || !string.at(i + 1).isLowSurrogate())
            return true;
        ++i;
    }
    return false;
}

/// A cache of the most recently used entries.
template<typename Entry>
class RecentlyUsed
{
public:
    explicit RecentlyUsed(size_t capacity) : m_capacity(capacity) { m_places.reserve(capacity); }

    /// The entry for which `matches` is true, or null. Valid until the next insert().
    template<typename Predicate>
    const Entry *find(Predicate matches)
    {
        if (m_last < m_places.size() && matches(m_places[m_last].entry))
            return &use(m_last);
        for (size_t i = 0; i < m_places.size(); ++i) {
            if (matches(m_places[i].entry))
                return &use(i);
        }
        return nullptr;
    }

    void insert(Entry entry)
    {
        if (m_places.size() < m_capacity) {
            m_places.push_back({ std::move(entry), 0 });
            use(m_places.size() - 1);
            return;
        }
        const auto oldest = std::min_element(m_places.begin(), m_places.end(),
                                             [](const Place &a, const Place &b) { return a.used < b.used; });
        oldest->entry = std::move(entry);
        use(static_cast<size_t>(oldest - m_places.begin()));
    }

private:
    struct Place
    {
        Entry entry;
        quint64 used; // the value of m_now at its last use
    };

    const Entry &use(size_t index)
    {
        m_last = index;
        m_places[index].used = ++m_now;
        return m_places[index].entry;
    }

    const size_t m_capacity;
    std::vector<Place> m_places;
    size_t m_last = 0;
    quint64 m_now = 0;
};

} // namespace LxWireForm
