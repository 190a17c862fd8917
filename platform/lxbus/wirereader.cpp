#include "wireform_p.h"
#include "wireformat.h"

#include <lxmsg/packedbody.h>

#include <QTextCodec>
#include <QVarLengthArray>
#include <QtEndian>

#include <cstring>
#include <limits>

using namespace LxWireForm;

namespace {

constexpr char CutShort[] = "the message is cut short";

// The bytes of a message, and how far they have been read. Functions return false at the first error and note it.
class Input
{
public:
    Input(const char *bytes, size_t size) : m_begin(bytes), m_at(bytes), m_end(bytes + size) { }

    const char *at() const { return m_at; }
    size_t left() const { return static_cast<size_t>(m_end - m_at); }
    const char *reason() const { return m_reason; }
    size_t position() const { return static_cast<size_t>(m_at - m_begin); }

    bool fail(const char *reason)
    {
        if (!m_reason)
            m_reason = reason;
        return false;
    }

    // The first byte of the next item.
    bool peek(quint8 *byte)
    {
        if (m_at == m_end)
            return fail(CutShort);
        *byte = static_cast<quint8>(*m_at);
        return true;
    }

    bool readHead(Major *major, quint64 *number)
    {
        if (m_at == m_end)
            return fail(CutShort);
        const auto first = static_cast<quint8>(*m_at);
        const quint8 additional = first & 0x1f;
        *major = static_cast<Major>(first & 0xe0);
        if (additional <= LargestInPlace) {
            *number = additional;
            ++m_at;
            return true;
        }
        if (additional > EightBytes)
            return fail("a length that is not told in advance");
        const size_t size = size_t(1) << (additional - OneByte);
        if (left() - 1 < size)
            return fail(CutShort);
        quint64 value = 0;
        for (size_t i = 1; i <= size; ++i)
            value = value << 8 | static_cast<quint8>(m_at[i]);
        *number = value;
        m_at += 1 + size;
        return true;
    }

    // The number of an item of this major type; `reason` is the error if it is another one.
    bool readHeadOf(Major wanted, quint64 *number, const char *reason)
    {
        const char *start = m_at;
        Major major;
        if (!readHead(&major, number))
            return false;
        if (major == wanted)
            return true;
        m_at = start;
        return fail(reason);
    }

    // The number of elements of an array or map, which need a byte or more each.
    bool readCount(Major wanted, quint64 most, int *count, const char *reason)
    {
        quint64 number = 0;
        if (!readHeadOf(wanted, &number, reason))
            return false;
        if (number > most)
            return fail("too many elements");
        if (number > left())
            return fail(CutShort);
        *count = static_cast<int>(number);
        return true;
    }

    bool readBytes(quint64 size, const char **bytes)
    {
        if (size > left())
            return fail(CutShort);
        *bytes = m_at;
        m_at += size;
        return true;
    }

    void goTo(const char *at) { m_at = at; }

private:
    const char *const m_begin;
    const char *m_at;
    const char *const m_end;
    const char *m_reason = nullptr;
};

// A layout, and the bytes of the array that its keys were read from.
struct KeyBlock
{
    QByteArray bytes;
    LxRowLayout::Pointer layout;
};

bool readUtf8(Input *in, const char *bytes, size_t size, QString *text)
{
    QString ascii(static_cast<int>(size), Qt::Uninitialized);
    QChar *characters = ascii.data();
    quint8 all = 0;
    for (size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<quint8>(bytes[i]);
        all |= byte;
        characters[i] = QChar(ushort(byte));
    }
    if (all < 0x80) {
        *text = std::move(ascii);
        return true;
    }
    constexpr int Utf8Mib = 106;
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader); // a text may begin with U+FEFF
    *text = QTextCodec::codecForMib(Utf8Mib)->toUnicode(bytes, static_cast<int>(size), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return in->fail("a text is no UTF-8");
    return true;
}

bool readUtf16(Input *in, QString *text)
{
    quint64 size = 0;
    const char *bytes;
    if (!in->readHeadOf(Bytes, &size, "a typed array without bytes"))
        return false;
    if (size % sizeof(quint16) != 0)
        return in->fail("a typed array that ends within a number");
    if (size > LxWireLimits::TextBytes)
        return in->fail("a text is too long");
    if (!in->readBytes(size, &bytes))
        return false;
    const auto length = static_cast<int>(size / sizeof(quint16));
    QString result(length, Qt::Uninitialized);
    qFromLittleEndian<quint16>(bytes, length, result.data());
    if (!hasLoneSurrogate(result))
        return in->fail("a text in UTF-16 that UTF-8 could hold");
    *text = std::move(result);
    return true;
}

enum class NullText { Refused, Allowed };

bool readText(Input *in, NullText nullText, QString *text)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    if (first == Null && nullText == NullText::Allowed) {
        in->goTo(in->at() + 1);
        *text = QString();
        return true;
    }
    const char *start = in->at();
    Major major;
    quint64 number;
    if (!in->readHead(&major, &number))
        return false;
    if (major == Text) {
        const char *bytes;
        if (number > LxWireLimits::TextBytes)
            return in->fail("a text is too long");
        return in->readBytes(number, &bytes) && readUtf8(in, bytes, static_cast<size_t>(number), text);
    }
    if (major == Tag && number == Utf16Tag)
        return readUtf16(in, text);
    in->goTo(start);
    return in->fail("something else in the place of a text");
}

// Makes an invalid variant one of a number, of which these are the bytes.
template<typename Bits>
void setNumber(QVariant *value, QMetaType::Type type, Bits bits)
{
    QVariant::DataPtr &data = value->data_ptr();
    std::memcpy(&data.data, &bits, sizeof(bits));
    data.type = type;
    data.is_null = false;
}

// Reads a typed array behind its tag, of at most `most` numbers, into the invalid variants from `value` on.
template<typename Bits>
bool readRun(Input *in, QMetaType::Type type, QVariant *value, int most, int *count)
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

// The beginning of a message, up to and with the version.
bool readVersion(Input *in)
{
    quint64 items = 0;
    quint64 version = 0;
    if (!in->readHeadOf(Array, &items, "no message") || !in->readHeadOf(Unsigned, &version, "no message"))
        return false;
    if (version != Version)
        return in->fail("a version that this reader does not know");
    return items == MessageItems || in->fail("a message of more or fewer than six items");
}

bool readStampNumbers(Input *in, quint64 *epoch, quint64 *sequence)
{
    return in->readHeadOf(Unsigned, epoch, "an epoch that is no number")
            && in->readHeadOf(Unsigned, sequence, "a sequence that is no number");
}

// Steps over a text without looking at it.
bool skipText(Input *in)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    Major major;
    quint64 number;
    const char *bytes;
    if (!in->readHead(&major, &number))
        return false;
    if (first == Null)
        return true;
    if (major == Tag && number == Utf16Tag)
        return in->readHeadOf(Bytes, &number, "a typed array without bytes") && in->readBytes(number, &bytes);
    return major == Text && in->readBytes(number, &bytes);
}

} // namespace

struct LxWireReader::Private
{
    bool readMessage(Input *in, LxWireMessage *message);
    bool readBody(Input *in, QVariant *body);
    bool readPackedBody(Input *in, QVariant *body);
    bool readKeyBlock(Input *in, LxRowLayout::Pointer *layout);
    bool readKeys(Input *in, LxRowLayout::Pointer *layout);
    bool readRow(Input *in, LxPackedRow *row);
    bool readItem(Input *in, QVariant *value, int most, int *count);
    bool readValue(Input *in, QVariant *value, int depth);
    bool readTagged(Input *in, QVariant *value, int depth);
    bool readNull(Input *in, QVariant *value, int depth);
    bool readTexts(Input *in, QVariant *value);
    bool readList(Input *in, QVariant *value, int depth);
    bool readMap(Input *in, QVariant *value, int depth);
    bool countValues(Input *in, int count);

    Kept<KeyBlock> kept { LxWireLimits::KeyBlocksKept };

    // Of the message being read:
    int values = 0;
    QVarLengthArray<LxRowLayout::Pointer, 8> layouts;
};

LxWireReader::LxWireReader() : d(std::make_unique<Private>()) { }

LxWireReader::~LxWireReader() = default;

bool LxWireReader::read(const char *bytes, size_t size, LxWireMessage *message, QString *error)
{
    Input in(bytes, size);
    LxWireMessage result;
    d->values = 0;
    const bool good = d->readMessage(&in, &result);
    d->layouts.clear();
    if (!good) {
        *error = QStringLiteral("byte %1: %2").arg(in.position()).arg(QString::fromLatin1(in.reason()));
        return false;
    }
    *message = std::move(result);
    return true;
}

bool LxWireReader::readStamp(const char *bytes, size_t size, quint64 *epoch, quint64 *sequence) const
{
    Input in(bytes, size);
    return readVersion(&in) && skipText(&in) && skipText(&in) && readStampNumbers(&in, epoch, sequence);
}

bool LxWireReader::Private::countValues(Input *in, int count)
{
    if (count > LxWireLimits::Values - values)
        return in->fail("too many values");
    values += count;
    return true;
}

bool LxWireReader::Private::readMessage(Input *in, LxWireMessage *message)
{
    if (in->left() > LxWireLimits::MessageBytes)
        return in->fail("a message that is too long");
    if (!readVersion(in) || !readText(in, NullText::Allowed, &message->type)
        || !readText(in, NullText::Allowed, &message->client)
        || !readStampNumbers(in, &message->epoch, &message->sequence) || !readBody(in, &message->body))
        return false;
    return in->left() == 0 || in->fail("bytes behind the message");
}

bool LxWireReader::Private::readBody(Input *in, QVariant *body)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    if ((first & 0xe0) == Tag) {
        const char *start = in->at();
        Major major;
        quint64 tag;
        if (!in->readHead(&major, &tag))
            return false;
        if (tag == PackedBodyTag)
            return readPackedBody(in, body);
        in->goTo(start);
    }
    return countValues(in, 1) && readValue(in, body, 0);
}

bool LxWireReader::Private::readPackedBody(Input *in, QVariant *body)
{
    quint64 parts = 0;
    if (!in->readHeadOf(Array, &parts, "a packed body that is no array"))
        return false;
    if (parts != 2)
        return in->fail("a packed body of more or fewer than two parts");
    int blockCount = 0;
    if (!in->readCount(Array, LxWireLimits::KeyBlocks, &blockCount, "key blocks that are no array"))
        return false;
    for (int i = 0; i < blockCount; ++i) {
        LxRowLayout::Pointer layout;
        if (!readKeyBlock(in, &layout))
            return false;
        layouts.append(std::move(layout));
    }
    int rowCount = 0;
    if (!in->readCount(Array, LxWireLimits::Rows, &rowCount, "rows that are no array"))
        return false;
    QVector<LxPackedRow> rows(rowCount);
    for (LxPackedRow &row : rows) {
        if (!readRow(in, &row))
            return false;
    }
    *body = LxPackedBody(std::move(rows)).toVariant();
    return true;
}

bool LxWireReader::Private::readKeyBlock(Input *in, LxRowLayout::Pointer *layout)
{
    quint64 tag = 0;
    quint64 size = 0;
    const char *bytes;
    if (!in->readHeadOf(Tag, &tag, "a key block without a tag"))
        return false;
    if (tag != EmbeddedTag)
        return in->fail("a key block with an unknown tag");
    if (!in->readHeadOf(Bytes, &size, "a key block without bytes"))
        return false;
    const char *start = in->at();
    if (!in->readBytes(size, &bytes))
        return false;
    const auto length = static_cast<size_t>(size);
    const KeyBlock *known = kept.find([bytes, length](const KeyBlock &block) {
        return static_cast<size_t>(block.bytes.size()) == length
                && std::memcmp(block.bytes.constData(), bytes, length) == 0;
    });
    if (known) {
        *layout = known->layout;
        return true;
    }
    const char *end = in->at();
    in->goTo(start);
    if (!readKeys(in, layout))
        return false;
    if (in->at() != end)
        return in->fail("a key block that does not end with its keys");
    if (length <= LxWireLimits::KeyBlockBytesKept)
        kept.keep({ QByteArray(bytes, static_cast<int>(length)), *layout });
    return true;
}

bool LxWireReader::Private::readKeys(Input *in, LxRowLayout::Pointer *layout)
{
    int count = 0;
    if (!in->readCount(Array, LxWireLimits::Keys, &count, "keys that are no array"))
        return false;
    QVector<QString> keys(count);
    for (QString &key : keys) {
        if (!readText(in, NullText::Refused, &key))
            return false;
    }
    *layout = LxRowLayout::create(keys);
    return true;
}

bool LxWireReader::Private::readRow(Input *in, LxPackedRow *row)
{
    quint64 items = 0;
    quint64 block = 0;
    if (!in->readHeadOf(Array, &items, "a row that is no array"))
        return false;
    if (items == 0)
        return in->fail("a row without a key block");
    if (!in->readHeadOf(Unsigned, &block, "a row without a key block"))
        return false;
    if (block >= static_cast<quint64>(layouts.size()))
        return in->fail("a row with a key block that is not there");
    row->layout = layouts.at(static_cast<int>(block));
    const int count = row->layout->keys().size();
    if (static_cast<size_t>(count) > in->left())
        return in->fail(CutShort);
    if (!countValues(in, count))
        return false;
    row->values.resize(count);
    QVariant *value = row->values.data();
    QVariant *const end = value + count;
    for (--items; items > 0; --items) {
        int read = 0;
        if (value == end)
            return in->fail("a row of more values than keys");
        if (!readItem(in, value, static_cast<int>(end - value), &read))
            return false;
        value += read;
    }
    return value == end || in->fail("a row of fewer values than keys");
}

// Reads a value or a run of numbers.
bool LxWireReader::Private::readItem(Input *in, QVariant *value, int most, int *count)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    if ((first & 0xe0) == Tag) {
        const char *start = in->at();
        Major major;
        quint64 tag;
        if (!in->readHead(&major, &tag))
            return false;
        switch (tag) {
        case DoublesTag:
            return readRun<quint64>(in, QMetaType::Double, value, most, count);
        case LongLongsTag:
            return readRun<quint64>(in, QMetaType::LongLong, value, most, count);
        case IntsTag:
            return readRun<quint32>(in, QMetaType::Int, value, most, count);
        default:
            in->goTo(start);
        }
    }
    *count = 1;
    return readValue(in, value, 0);
}

// Reads into an invalid variant.
bool LxWireReader::Private::readValue(Input *in, QVariant *value, int depth)
{
    quint8 first;
    if (!in->peek(&first))
        return false;
    switch (first & 0xe0) {
    case Unsigned:
    case Negative: {
        Major major;
        quint64 number;
        if (!in->readHead(&major, &number))
            return false;
        if (number > static_cast<quint64>(std::numeric_limits<qint64>::max()))
            return in->fail("an integer of more than 64 bits");
        setNumber(value, QMetaType::LongLong, major == Unsigned ? number : ~number);
        return true;
    }
    case Text: {
        QString text;
        if (!readText(in, NullText::Refused, &text))
            return false;
        *value = text;
        return true;
    }
    case Array:
        return readList(in, value, depth);
    case Map:
        return readMap(in, value, depth);
    case Tag:
        return readTagged(in, value, depth);
    default:
        break;
    }
    const char *bytes;
    switch (first) {
    case False:
    case True:
        *value = first == True;
        break;
    case Null:
        *value = QString();
        break;
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

bool LxWireReader::Private::readTagged(Input *in, QVariant *value, int depth)
{
    const char *start = in->at();
    Major major;
    quint64 tag;
    int count = 0;
    if (!in->readHead(&major, &tag))
        return false;
    switch (tag) {
    case IntsTag:
        return readRun<quint32>(in, QMetaType::Int, value, 1, &count);
    case TextsTag:
        return readTexts(in, value);
    case NullTag:
        return readNull(in, value, depth);
    case Utf16Tag: {
        QString text;
        if (!readUtf16(in, &text))
            return false;
        *value = text;
        return true;
    }
    default:
        in->goTo(start);
        return in->fail("an unknown tag");
    }
}

// Reads the value of a variant that counts as null.
bool LxWireReader::Private::readNull(Input *in, QVariant *value, int depth)
{
    // Texts and invalid variants have a null of their own, and nothing is null twice.
    quint8 first;
    if (!in->peek(&first))
        return false;
    const char *start = in->at();
    if ((first & 0xe0) == Tag) {
        Major major;
        quint64 tag;
        if (!in->readHead(&major, &tag))
            return false;
        in->goTo(start);
        if (tag == NullTag)
            return in->fail("a null that is null");
    }
    if (!readValue(in, value, depth))
        return false;
    if (!value->isValid() || value->userType() == QMetaType::QString) {
        in->goTo(start);
        return in->fail("a null of a type that has none");
    }
    value->data_ptr().is_null = true;
    return true;
}

bool LxWireReader::Private::readTexts(Input *in, QVariant *value)
{
    int count = 0;
    if (!in->readCount(Array, LxWireLimits::Values, &count, "texts that are no array") || !countValues(in, count))
        return false;
    QStringList texts;
    for (int i = 0; i < count; ++i) {
        QString text;
        if (!readText(in, NullText::Allowed, &text))
            return false;
        texts.append(text);
    }
    *value = texts;
    return true;
}

bool LxWireReader::Private::readList(Input *in, QVariant *value, int depth)
{
    int count = 0;
    if (depth == LxWireLimits::Depth)
        return in->fail("lists and maps that are too deep");
    if (!in->readCount(Array, LxWireLimits::Values, &count, "a list that is no array") || !countValues(in, count))
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

bool LxWireReader::Private::readMap(Input *in, QVariant *value, int depth)
{
    int count = 0;
    if (depth == LxWireLimits::Depth)
        return in->fail("lists and maps that are too deep");
    if (!in->readCount(Map, LxWireLimits::Values, &count, "a map that is none") || !countValues(in, count))
        return false;
    QVariantMap map;
    for (int i = 0; i < count; ++i) {
        QString key;
        if (!readText(in, NullText::Allowed, &key))
            return false;
        if (map.contains(key))
            return in->fail("a map with a key twice");
        if (!readValue(in, &*map.insert(key, QVariant()), depth + 1))
            return false;
    }
    *value = map;
    return true;
}
