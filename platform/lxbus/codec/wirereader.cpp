#include "codec/wireform_p.h"
#include "codec/wireformat_p.h"
#include "codec/wireinput_p.h"

#include <lxmsg/packedbody.h>

#include <QVarLengthArray>

#include <cstring>

using namespace LxWireForm;

namespace {

// A layout and the bytes that its keys were decoded from.
struct KeyBlock
{
    QByteArray bytes;
    LxRowLayout::Pointer layout;
};

// Reads the start of a message, up to and including the version.
bool readVersion(Input *in)
{
    quint64 items = 0;
    quint64 version = 0;
    if (!in->readHeadOf(Array, &items, "not a message") || !in->readHeadOf(Unsigned, &version, "not a message"))
        return false;
    if (version != Version)
        return in->fail("an unknown version");
    return items == MessageItems || in->fail("a message of more or fewer than six items");
}

bool readStampNumbers(Input *in, quint64 *epoch, quint64 *sequence)
{
    return in->readHeadOf(Unsigned, epoch, "an epoch that is not a number")
        && in->readHeadOf(Unsigned, sequence, "a sequence that is not a number");
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

    RecentlyUsed<KeyBlock> cache { LxWireLimits::CachedKeyBlocks };

    QVarLengthArray<LxRowLayout::Pointer, 8> layouts; // of the current message
};

LxWireReader::LxWireReader() : d(std::make_unique<Private>()) { }

LxWireReader::~LxWireReader() = default;

bool LxWireReader::read(const char *bytes, size_t size, LxWireMessage *message, QString *error)
{
    Input in(bytes, size);
    LxWireMessage result;
    const bool good = d->readMessage(&in, &result);
    d->layouts.clear();
    if (!good) {
        *error = QStringLiteral("byte %1: %2").arg(in.position()).arg(QString::fromLatin1(in.reason()));
        return false;
    }
    *message = std::move(result);
    return true;
}

bool LxWireReader::Private::readMessage(Input *in, LxWireMessage *message)
{
    if (in->remaining() > LxWireLimits::MessageBytes)
        return in->fail("a message that is too long");
    if (!readVersion(in) || !in->readString(NullString::Allowed, &message->type)
        || !in->readString(NullString::Allowed, &message->client)
        || !readStampNumbers(in, &message->epoch, &message->sequence) || !readBody(in, &message->body))
        return false;
    return in->remaining() == 0 || in->fail("bytes after the message");
}

bool LxWireReader::Private::readBody(Input *in, QVariant *body)
{
    const char *after;
    if (in->peekTag(&after) == PackedBodyTag) {
        in->seek(after);
        return readPackedBody(in, body);
    }
    return in->countValues(1) && readValue(in, body, 0);
}

bool LxWireReader::Private::readPackedBody(Input *in, QVariant *body)
{
    quint64 parts = 0;
    if (!in->readHeadOf(Array, &parts, "a packed body that is not an array"))
        return false;
    if (parts != 2)
        return in->fail("a packed body of more or fewer than two parts");
    int blockCount = 0;
    if (!in->readCount(Array, LxWireLimits::KeyBlocks, &blockCount, "key blocks that are not an array"))
        return false;
    for (int i = 0; i < blockCount; ++i) {
        LxRowLayout::Pointer layout;
        if (!readKeyBlock(in, &layout))
            return false;
        layouts.append(std::move(layout));
    }
    int rowCount = 0;
    if (!in->readCount(Array, LxWireLimits::Rows, &rowCount, "rows that are not an array"))
        return false;
    if (rowCount == 1) {
        LxPackedRow row;
        if (!readRow(in, &row))
            return false;
        *body = LxPackedBody::ofRow(row).toVariant();
        return true;
    }
    QVector<LxPackedRow> rows(rowCount);
    for (LxPackedRow &row : rows) {
        if (!readRow(in, &row))
            return false;
    }
    *body = LxPackedBody(rows).toVariant();
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
    const KeyBlock *known = cache.find([bytes, length](const KeyBlock &block) {
        return static_cast<size_t>(block.bytes.size()) == length
            && std::memcmp(block.bytes.constData(), bytes, length) == 0;
    });
    if (known) {
        *layout = known->layout;
        return true;
    }
    const char *end = in->at();
    in->seek(start);
    if (!readKeys(in, layout))
        return false;
    if (in->at() != end)
        return in->fail("a key block that does not end with its keys");
    if (length <= LxWireLimits::MaxCachedKeyBlockBytes)
        cache.insert({ QByteArray(bytes, static_cast<int>(length)), *layout });
    return true;
}

bool LxWireReader::Private::readKeys(Input *in, LxRowLayout::Pointer *layout)
{
    int count = 0;
    if (!in->readCount(Array, LxWireLimits::Keys, &count, "keys that are not an array"))
        return false;
    QVector<QString> keys(count);
    for (QString &key : keys) {
        if (!in->readString(NullString::Refused, &key))
            return false;
    }
    *layout = LxRowLayout::create(keys);
    return true;
}

bool LxWireReader::Private::readRow(Input *in, LxPackedRow *row)
{
    quint64 items = 0;
    quint64 block = 0;
    if (!in->readHeadOf(Array, &items, "a row that is not an array"))
        return false;
    if (items == 0)
        return in->fail("a row without a key block");
    if (!in->readHeadOf(Unsigned, &block, "a row without a key block"))
        return false;
    if (block >= static_cast<quint64>(layouts.size()))
        return in->fail("a row of a missing key block");
    row->layout = layouts.at(static_cast<int>(block));
    const int count = row->layout->keys().size();
    if (static_cast<size_t>(count) > in->remaining())
        return in->fail(Truncated);
    if (!in->countValues(count))
        return false;
    row->values.resize(count);
    QVariant *value = row->values.data();
    QVariant *const end = value + count;
    for (--items; items > 0; --items) {
        int read = 0;
        if (value == end)
            return in->fail("a row of more values than keys");
        if (!readRunOrValue(in, value, static_cast<int>(end - value), &read))
            return false;
        value += read;
    }
    return value == end || in->fail("a row of fewer values than keys");
}
