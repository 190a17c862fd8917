#include "wireformat.h"
#include "wireinput_p.h"

#include <QtEndian>

#include <cstring>
#include <limits>

using namespace LxWireForm;

namespace {

// Makes an invalid variant one of a number, of which these are the bytes.
template<typename Bits>
void setNumber(QVariant *value, QMetaType::Type type, Bits bits)
{
    QVariant::DataPtr &data = value->data_ptr();
    std::memcpy(&data.data, &bits, sizeof(bits));
    data.type = type;
    data.is_null = false;
}

// Reads a typed array behind its tag, of at most `most` numbers.
template<typename Bits>
bool readTypedArray(Input *in, QMetaType::Type type, QVariant *value, int most, int *count)
{
    quint64 size = 0;
    const char *bytes;
    if (!in->readHeadOf(Bytes, &size, "a typed array without bytes"))
        return false;
    if (size % sizeof(Bits) != 0)
        return in->fail("a typed array that ends within a number");
    if (size == 0)
        return in->fail("a typed array of no numbers");
    if (size / sizeof(Bits) > static_cast<size_t>(most))
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
    // Negative ones count from -1 downwards.
    setNumber(value, QMetaType::LongLong, major == Unsigned ? number : ~number);
    return true;
}

bool readText(Input *in, QVariant *value)
{
    QString text;
    if (!in->readText(NullText::Allowed, &text))
        return false;
    *value = text;
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
        return readText(in, value);
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
    in->goTo(in->at() + 1);
    return true;
}

bool readTexts(Input *in, QVariant *value)
{
    int count = 0;
    if (!in->readCount(Array, LxWireLimits::Values, &count, "texts that are no array") || !in->countValues(count))
        return false;
    QStringList texts;
    for (int i = 0; i < count; ++i) {
        QString text;
        if (!in->readText(NullText::Allowed, &text))
            return false;
        texts.append(text);
    }
    *value = texts;
    return true;
}

bool readList(Input *in, QVariant *value, int depth)
{
    int count = 0;
    if (depth == LxWireLimits::Depth)
        return in->fail("lists and maps that are too deep");
    if (!in->readCount(Array, LxWireLimits::Values, &count, "a list that is no array") || !in->countValues(count))
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
    if (!in->readCount(Map, LxWireLimits::Values, &count, "a map that is none") || !in->countValues(count))
        return false;
    QVariantMap map;
    for (int i = 0; i < count; ++i) {
        QString key;
        if (!in->readText(NullText::Allowed, &key))
            return false;
        if (map.contains(key))
            return in->fail("a map with a key twice");
        if (!readValue(in, &*map.insert(key, QVariant()), depth + 1))
            return false;
    }
    *value = map;
    return true;
}

// Reads the value of a variant that counts as null, behind its tag.
bool readNull(Input *in, QVariant *value, int depth)
{
    const char *start = in->at();
    const char *behind;
    if (in->peekTag(&behind) == NullTag)
        return in->fail("a null that is null");
    if (!readValue(in, value, depth))
        return false;
    if (!value->isValid() || value->userType() == QMetaType::QString) {
        in->goTo(start);
        return in->fail("a null of a type that has one of its own");
    }
    value->data_ptr().is_null = true;
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
    case TextsTag:
        return readTexts(in, value);
    case NullTag:
        return readNull(in, value, depth);
    default:
        break;
    }
    in->goTo(start);
    if (tag == Utf16Tag)
        return readText(in, value);
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
        return readText(in, value);
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

bool LxWireForm::readRunOrValue(Input *in, QVariant *value, int most, int *count)
{
    const char *behind;
    switch (in->peekTag(&behind)) {
    case DoublesTag:
        in->goTo(behind);
        return readTypedArray<quint64>(in, QMetaType::Double, value, most, count);
    case LongLongsTag:
        in->goTo(behind);
        return readTypedArray<quint64>(in, QMetaType::LongLong, value, most, count);
    case IntsTag:
        in->goTo(behind);
        return readTypedArray<quint32>(in, QMetaType::Int, value, most, count);
    default:
        *count = 1;
        return readValue(in, value, 0);
    }
}
