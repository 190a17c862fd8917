#include "codec/variantbits_p.h"
#include "codec/wireformat_p.h"
#include "codec/wireinput_p.h"

#include <QtEndian>

#include <limits>

using namespace LxWireForm;
using LxVariantBits::setNumber;

namespace {

// Reads a typed array of at most `max` numbers after its tag.
template<typename Bits>
bool readTypedArray(Input *in, QMetaType::Type type, QVariant *value, int max, int *count)
{
    quint64 size = 0;
    const char *bytes;
    if (!in->readHeadOf(Bytes, &size, "a typed array without bytes"))
        return false;
    if (size % sizeof(Bits) != 0)
        return in->fail("a typed array that ends within a number");
    if (size == 0)
        return in->fail("an empty typed array");
    if (size / sizeof(Bits) > static_cast<size_t>(max))
        return in->fail("a typed array of too many numbers");
    if (!in->readBytes(size, &bytes))
        return false;
    for (const char *end = bytes + size; bytes != end; bytes += sizeof(Bits), ++value)
        setNumber(value, type, qFromLittleEndian<Bits>(bytes));
    *count = static_cast<int>(size / sizeof(Bits));
    return true;
}

bool readInteger(Input *in, QVariant *value)
{
    Major major;
    quint64 number;
    if (!in->readHead(&major, &number))
        return false;
    if (number > static_cast<quint64>(std::numeric_limits<qint64>::max()))
        return in->fail("an integer of more than 64 bits");
    // CBOR encodes a negative integer n as -1 - n.
    setNumber(value, QMetaType::LongLong, major == Unsigned ? number : ~number);
    return true;
}

bool readString(Input *in, QVariant *value)
{
    QString string;
    if (!in->readString(NullString::Allowed, &string))
        return false;
    *value = string;
    return true;
}

bool readSimple(Input *in, QVariant *value)
{
    quint8 first;
    const char *bytes;
    if (!in->peek(&first))
        return false;
    switch (first) {
    case False:
    case True:
        *value = first == True;
        break;
    case Null:
        return readString(in, value);
    case Undefined:
        break;
    case Double:
        if (!in->readBytes(1 + sizeof(quint64), &bytes))
            return false;
        setNumber(value, QMetaType::Double, qFromBigEndian<quint64>(bytes + 1));
        return true;
    default:
        return in->fail("a value of an unknown type");
    }
    in->seek(in->at() + 1);
    return true;
}

bool readStringList(Input *in, QVariant *value)
{
    int count = 0;
    if (!in->readCount(Array, LxWireLimits::Values, &count, "a string list that is not an array")
        || !in->countValues(count))
        return false;
    QStringList strings;
    for (int i = 0; i < count; ++i) {
        QString string;
        if (!in->readString(NullString::Allowed, &string))
            return false;
        strings.append(string);
    }
    *value = strings;
    return true;
}

bool readList(Input *in, QVariant *value, int depth)
{
    int count = 0;
    if (depth == LxWireLimits::Depth)
        return in->fail("lists and maps that are too deep");
    if (!in->readCount(Array, LxWireLimits::Values, &count, "a list that is not an array") || !in->countValues(count))
        return false;
    QVariantList list;
    for (int i = 0; i < count; ++i) {
        list.append(QVariant());
        if (!readValue(in, &list.last(), depth + 1))
            return false;
    }
    *value = list;
    return true;
}

bool readMap(Input *in, QVariant *value, int depth)
{
    int count = 0;
    if (depth == LxWireLimits::Depth)
        return in->fail("lists and maps that are too deep");
    if (!in->readCount(Map, LxWireLimits::Values, &count, "not a map") || !in->countValues(count))
        return false;
    QVariantMap map;
    for (int i = 0; i < count; ++i) {
        QString key;
        if (!in->readString(NullString::Allowed, &key))
            return false;
        if (map.contains(key))
            return in->fail("a map with a duplicate key");
        if (!readValue(in, &*map.insert(key, QVariant()), depth + 1))
            return false;
    }
    *value = map;
    return true;
}

// Reads the value of a null variant after its tag.
bool readNull(Input *in, QVariant *value, int depth)
{
    const char *start = in->at();
    const char *after;
    if (in->peekTag(&after) == NullTag)
        return in->fail("a null tag within a null tag");
    if (!readValue(in, value, depth))
        return false;
    if (!value->isValid() || value->userType() == QMetaType::QString) {
        in->seek(start);
        return in->fail("a null tag on a type with a null value of its own");
    }
    LxVariantBits::markNull(value);
    return true;
}

bool readTagged(Input *in, QVariant *value, int depth)
{
    const char *start = in->at();
    Major major;
    quint64 tag;
    int count = 0;
    if (!in->readHead(&major, &tag))
        return false;
    switch (tag) {
    case IntsTag:
        return readTypedArray<quint32>(in, QMetaType::Int, value, 1, &count);
    case StringListTag:
        return readStringList(in, value);
    case NullTag:
        return readNull(in, value, depth);
    default:
        break;
    }
    in->seek(start);
    if (tag == Utf16Tag)
        return readString(in, value);
    return in->fail(tag == DoublesTag || tag == LongLongsTag ? "a run of numbers outside of a row" : "an unknown tag");
}

} // namespace

bool LxWireForm::readValue(Input *in, QVariant *value, int depth)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    switch (first & 0xe0) {
    case Unsigned:
    case Negative:
        return readInteger(in, value);
    case Text:
        return readString(in, value);
    case Array:
        return readList(in, value, depth);
    case Map:
        return readMap(in, value, depth);
    case Tag:
        return readTagged(in, value, depth);
    case Simple:
        return readSimple(in, value);
    default:
        return in->fail("bytes without a tag");
    }
}

bool LxWireForm::readRunOrValue(Input *in, QVariant *value, int max, int *count)
{
    const char *after;
    switch (in->peekTag(&after)) {
    case DoublesTag:
        in->seek(after);
        return readTypedArray<quint64>(in, QMetaType::Double, value, max, count);
    case LongLongsTag:
        in->seek(after);
        return readTypedArray<quint64>(in, QMetaType::LongLong, value, max, count);
    case IntsTag:
        in->seek(after);
        return readTypedArray<quint32>(in, QMetaType::Int, value, max, count);
    default:
        *count = 1;
        return readValue(in, value, 0);
    }
}
