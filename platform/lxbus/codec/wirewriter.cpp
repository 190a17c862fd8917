#include "codec/variantbits_p.h"
#include "codec/wireform_p.h"
#include "codec/wireformat_p.h"
#include "codec/wireoutput_p.h"

#include <lxmsg/packedbody.h>

#include <QHash>
#include <QtEndian>

using namespace LxWireForm;
using LxVariantBits::bitsOf;
using LxVariantBits::isMarkedNull;
using LxVariantBits::typeOf;

namespace {

// A layout and its encoded keys.
struct KeyBlock
{
    LxRowLayout::Pointer layout;
    QByteArray item;
};

// The end of the run of numbers of one type that begins with `value`. Any other value is a run of one.
const QVariant *endOfRun(const QVariant *value, const QVariant *end)
{
    const auto type = typeOf(*value);
    const bool isNumber = type == QMetaType::Double || type == QMetaType::LongLong || type == QMetaType::Int;
    const QVariant *next = value + 1;
    if (!isNumber || isMarkedNull(*value))
        return next;
    while (next != end && typeOf(*next) == type && !isMarkedNull(*next))
        ++next;
    return next;
}

template<typename Bits>
void appendTypedArray(Output *out, quint64 tag, const QVariant *begin, const QVariant *end)
{
    const auto size = static_cast<size_t>(end - begin) * sizeof(Bits);
    char *at = out->room(2 * Output::MaxHeadBytes + size);
    at = Output::writeHead(at, Tag, tag);
    at = Output::writeHead(at, Bytes, size);
    for (; begin != end; ++begin, at += sizeof(Bits))
        qToLittleEndian(bitsOf<Bits>(*begin), at);
    out->commit(at);
}

// Appends a run of numbers of one type.
void appendRun(Output *out, const QVariant *begin, const QVariant *end)
{
    switch (typeOf(*begin)) {
    case QMetaType::Double:
        appendTypedArray<quint64>(out, DoublesTag, begin, end);
        break;
    case QMetaType::LongLong:
        appendTypedArray<quint64>(out, LongLongsTag, begin, end);
        break;
    default:
        appendTypedArray<quint32>(out, IntsTag, begin, end);
        break;
    }
}

void appendLongLong(Output *out, qint64 value)
{
    // CBOR encodes a negative integer n as -1 - n.
    if (value >= 0)
        out->appendHead(Unsigned, static_cast<quint64>(value));
    else
        out->appendHead(Negative, ~static_cast<quint64>(value));
}

void appendDouble(Output *out, const QVariant &value)
{
    char *at = out->room(1 + sizeof(quint64));
    *at++ = static_cast<char>(Double);
    qToBigEndian(bitsOf<quint64>(value), at);
    out->commit(at + sizeof(quint64));
}

} // namespace

struct LxWireWriter::Private
{
    bool writeMessage(const LxWireMessage &message);
    void reset();
    bool writeBody(const LxPackedBody &body);
    bool collectKeyBlocks(const LxPackedBody &body);
    bool encodeKeys(const LxRowLayout::Pointer &layout, QByteArray *item);
    int indexOfBlock(const QByteArray &item);
    bool writeRow(const LxPackedRow &row, int block);
    bool writeValue(const QVariant &value, int depth);
    bool writeList(const QVariantList &list, int depth);
    bool writeMap(const QVariantMap &map, int depth);
    bool writeStringList(const QStringList &strings);
    bool writeString(Output *to, const QString &string);
    bool writeUtf8(Output *to, const QString &string);
    bool writeUtf16(Output *to, const QString &string);
    bool checkStringSize(int size);
    bool countValues(int count);
    bool fail(const QString &reason);

    RecentlyUsed<KeyBlock> cache { LxWireLimits::CachedKeyBlocks };
    QString error;

    // Of the current message:
    Output out;
    int values = 0;
    QVector<QByteArray> items; // its key blocks
    QHash<QByteArray, int> blockIndexes; // indexes of its key blocks, if there is more than one
    QVector<int> blocks; // index of the key block, by row
};

LxWireWriter::LxWireWriter() : d(std::make_unique<Private>()) { }

LxWireWriter::~LxWireWriter() = default;

QByteArray LxWireWriter::write(const LxWireMessage &message, QString *error)
{
    QByteArray bytes;
    if (d->writeMessage(message))
        bytes = d->out.copy();
    else
        *error = d->error;
    d->reset();
    return bytes;
}

void LxWireWriter::Private::reset()
{
    out.clear();
    values = 0;
    items.clear();
    blockIndexes.clear();
    blocks.clear();
}

bool LxWireWriter::Private::fail(const QString &reason)
{
    error = reason;
    return false;
}

bool LxWireWriter::Private::countValues(int count)
{
    if (count > LxWireLimits::Values - values)
        return fail(QStringLiteral("more than %1 values").arg(LxWireLimits::Values));
    values += count;
    return true;
}

bool LxWireWriter::Private::writeMessage(const LxWireMessage &message)
{
    out.appendHead(Array, MessageItems);
    out.appendHead(Unsigned, Version);
    if (!writeString(&out, message.type) || !writeString(&out, message.client))
        return false;
    out.appendHead(Unsigned, message.epoch);
    out.appendHead(Unsigned, message.sequence);
    const bool isPacked = message.body.userType() == qMetaTypeId<LxPackedBody>();
    if (!(isPacked ? writeBody(*static_cast<const LxPackedBody *>(message.body.constData()))
                   : countValues(1) && writeValue(message.body, 0)))
        return false;
    if (out.size() > LxWireLimits::MessageBytes)
        return fail(QStringLiteral("more than %1 bytes").arg(LxWireLimits::MessageBytes));
    return true;
}

bool LxWireWriter::Private::writeBody(const LxPackedBody &body)
{
    if (body.rowCount() > LxWireLimits::Rows)
        return fail(QStringLiteral("more than %1 rows").arg(LxWireLimits::Rows));
    if (!collectKeyBlocks(body))
        return false;
    out.appendHead(Tag, PackedBodyTag);
    out.appendHead(Array, 2);
    out.appendHead(Array, static_cast<quint64>(items.size()));
    for (const QByteArray &item : std::as_const(items))
        out.append(item.constData(), static_cast<size_t>(item.size()));
    out.appendHead(Array, static_cast<quint64>(body.rowCount()));
    for (int i = 0; i < body.rowCount(); ++i) {
        if (!writeRow(*body.row(i), blocks.at(i))) {
            error.prepend(QStringLiteral("row %1: ").arg(i));
            return false;
        }
    }
    return true;
}

// Fills `items` and `blocks`. Layouts with equal keys become one block.
bool LxWireWriter::Private::collectKeyBlocks(const LxPackedBody &body)
{
    const LxRowLayout *last = nullptr;
    for (int i = 0; i < body.rowCount(); ++i) {
        const LxRowLayout::Pointer &layout = body.row(i)->layout;
        if (i > 0 && layout.get() == last) {
            blocks.append(blocks.constLast());
            continue;
        }
        last = layout.get();
        if (!layout)
            return fail(QStringLiteral("row %1 has no layout").arg(i));
        const KeyBlock *known = cache.find([&layout](const KeyBlock &block) { return block.layout == layout; });
        QByteArray item = known ? known->item : QByteArray();
        if (!known && !encodeKeys(layout, &item))
            return false;
        blocks.append(indexOfBlock(item));
        if (items.size() > LxWireLimits::KeyBlocks)
            return fail(QStringLiteral("rows of more than %1 layouts").arg(LxWireLimits::KeyBlocks));
    }
    return true;
}

bool LxWireWriter::Private::encodeKeys(const LxRowLayout::Pointer &layout, QByteArray *item)
{
    const QVector<QString> &keys = layout->keys();
    if (keys.size() > LxWireLimits::Keys)
        return fail(QStringLiteral("a row of more than %1 keys").arg(LxWireLimits::Keys));
    Output block;
    block.appendHead(Array, static_cast<quint64>(keys.size()));
    for (const QString &key : keys) {
        if (!writeString(&block, key))
            return false;
    }
    Output head;
    head.appendHead(Tag, EmbeddedTag);
    head.appendHead(Bytes, block.size());
    *item = head.copy() + block.copy();
    if (block.size() <= LxWireLimits::MaxCachedKeyBlockBytes)
        cache.insert({ layout, *item });
    return true;
}

// The index of a key block in this message.
int LxWireWriter::Private::indexOfBlock(const QByteArray &item)
{
    if (!items.isEmpty()) {
        if (blockIndexes.isEmpty())
            blockIndexes.insert(items.constFirst(), 0);
        const auto known = blockIndexes.constFind(item);
        if (known != blockIndexes.constEnd())
            return *known;
        blockIndexes.insert(item, items.size());
    }
    items.append(item);
    return items.size() - 1;
}

bool LxWireWriter::Private::writeRow(const LxPackedRow &row, int block)
{
    const QVector<QString> &keys = row.layout->keys();
    if (row.values.size() != keys.size())
        return fail(QStringLiteral("%1 values for %2 keys").arg(row.values.size()).arg(keys.size()));
    if (!countValues(row.values.size()))
        return false;
    const size_t start = out.size();
    out.appendHead(Unsigned, static_cast<quint64>(block));
    quint64 count = 1;
    const QVariant *const end = row.values.constEnd();
    for (const QVariant *value = row.values.constBegin(); value != end; ++count) {
        const QVariant *const after = endOfRun(value, end);
        if (after - value > 1) {
            appendRun(&out, value, after);
        } else if (!writeValue(*value, 0)) {
            const auto position = static_cast<int>(value - row.values.constBegin());
            error.prepend(QStringLiteral("\"%1\": ").arg(keys.at(position)));
            return false;
        }
        value = after;
    }
    out.insertArrayHead(start, count);
    return true;
}

bool LxWireWriter::Private::writeValue(const QVariant &value, int depth)
{
    const int type = value.userType();
    const bool isMarked = isMarkedNull(value) && type != QMetaType::UnknownType && type != QMetaType::QString;
    if (isMarked)
        out.appendHead(Tag, NullTag);
    switch (type) {
    case QMetaType::UnknownType:
        out.appendByte(Undefined);
        return true;
    case QMetaType::Bool:
        out.appendByte(value.toBool() ? True : False);
        return true;
    case QMetaType::Int:
        appendRun(&out, &value, &value + 1);
        return true;
    case QMetaType::LongLong:
        appendLongLong(&out, value.toLongLong());
        return true;
    case QMetaType::Double:
        appendDouble(&out, value);
        return true;
    case QMetaType::QString:
        return writeString(&out, *static_cast<const QString *>(value.constData()));
    case QMetaType::QStringList:
        return writeStringList(*static_cast<const QStringList *>(value.constData()));
    case QMetaType::QVariantList:
        return writeList(*static_cast<const QVariantList *>(value.constData()), depth);
    case QMetaType::QVariantMap:
        return writeMap(*static_cast<const QVariantMap *>(value.constData()), depth);
    default:
        return fail(QStringLiteral("a %1 cannot be sent").arg(QString::fromLatin1(value.typeName())));
    }
}

bool LxWireWriter::Private::writeStringList(const QStringList &strings)
{
    if (!countValues(strings.size()))
        return false;
    out.appendHead(Tag, StringListTag);
    out.appendHead(Array, static_cast<quint64>(strings.size()));
    return std::all_of(strings.begin(), strings.end(),
                       [this](const QString &string) { return writeString(&out, string); });
}

bool LxWireWriter::Private::writeList(const QVariantList &list, int depth)
{
    if (depth == LxWireLimits::Depth)
        return fail(QStringLiteral("lists and maps deeper than %1").arg(LxWireLimits::Depth));
    if (!countValues(list.size()))
        return false;
    out.appendHead(Array, static_cast<quint64>(list.size()));
    return std::all_of(list.begin(), list.end(),
                       [this, depth](const QVariant &value) { return writeValue(value, depth + 1); });
}

bool LxWireWriter::Private::writeMap(const QVariantMap &map, int depth)
{
    if (depth == LxWireLimits::Depth)
        return fail(QStringLiteral("lists and maps deeper than %1").arg(LxWireLimits::Depth));
    if (!countValues(map.size()))
        return false;
    out.appendHead(Map, static_cast<quint64>(map.size()));
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        if (!writeString(&out, entry.key()) || !writeValue(*entry, depth + 1))
            return false;
    }
    return true;
}

bool LxWireWriter::Private::writeString(Output *to, const QString &string)
{
    if (string.isNull()) {
        to->appendByte(Null);
        return true;
    }
    // Only strings can make a message of few values long, so checking here bounds the memory of a message.
    if (to->size() > LxWireLimits::MessageBytes)
        return fail(QStringLiteral("more than %1 bytes").arg(LxWireLimits::MessageBytes));
    if (!checkStringSize(string.size()))
        return false;
    // Most strings are ASCII: encode the string as ASCII and check afterwards whether it was.
    const auto size = static_cast<size_t>(string.size());
    char *at = Output::writeHead(to->room(Output::MaxHeadBytes + size), Text, size);
    const auto *characters = string.utf16();
    ushort all = 0;
    for (size_t i = 0; i < size; ++i) {
        all |= characters[i];
        at[i] = static_cast<char>(characters[i]);
    }
    if (all < 0x80) {
        to->commit(at + size);
        return true;
    }
    return hasLoneSurrogate(string) ? writeUtf16(to, string) : writeUtf8(to, string);
}

bool LxWireWriter::Private::writeUtf8(Output *to, const QString &string)
{
    const QByteArray utf8 = string.toUtf8();
    if (!checkStringSize(utf8.size()))
        return false;
    to->appendHead(Text, static_cast<quint64>(utf8.size()));
    to->append(utf8.constData(), static_cast<size_t>(utf8.size()));
    return true;
}

bool LxWireWriter::Private::writeUtf16(Output *to, const QString &string)
{
    const int size = string.size() * static_cast<int>(sizeof(quint16));
    if (!checkStringSize(size))
        return false;
    to->appendHead(Tag, Utf16Tag);
    to->appendHead(Bytes, static_cast<quint64>(size));
    char *at = to->room(static_cast<size_t>(size));
    qToLittleEndian<quint16>(string.utf16(), string.size(), at);
    to->commit(at + size);
    return true;
}

bool LxWireWriter::Private::checkStringSize(int size)
{
    return size <= LxWireLimits::StringBytes
        || fail(QStringLiteral("a string of more than %1 bytes").arg(LxWireLimits::StringBytes));
}
