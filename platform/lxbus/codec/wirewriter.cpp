#include "wireform_p.h"
#include "wireformat.h"
#include "wireoutput_p.h"

#include <lxmsg/packedbody.h>

#include <QHash>
#include <QtEndian>

#include <cstring>

using namespace LxWireForm;

namespace {

// A layout, and the item that its keys are written as.
struct KeyBlock
{
    LxRowLayout::Pointer layout;
    QByteArray item;
};

// The end of the run of numbers of one type that begins with `value`. Anything else is a run of its own.
const QVariant *endOfRun(const QVariant *value, const QVariant *end)
{
    const QVariant::DataPtr &first = value->data_ptr();
    const auto type = first.type;
    ++value;
    if (first.is_null || (type != QMetaType::Double && type != QMetaType::LongLong && type != QMetaType::Int))
        return value;
    while (value != end && value->data_ptr().type == type && !value->data_ptr().is_null)
        ++value;
    return value;
}

// The bytes of a number, whichever it is: a double that is no number keeps them all.
template<typename Bits>
Bits bitsOf(const QVariant &value)
{
    Bits bits;
    std::memcpy(&bits, &value.data_ptr().data, sizeof(bits));
    return bits;
}

template<typename Bits>
void appendTypedArray(Output *out, quint64 tag, const QVariant *begin, const QVariant *end)
{
    const auto size = static_cast<size_t>(end - begin) * sizeof(Bits);
    char *at = out->room(2 * Output::MostHeadBytes + size);
    at = Output::writeHead(at, Tag, tag);
    at = Output::writeHead(at, Bytes, size);
    for (; begin != end; ++begin, at += sizeof(Bits))
        qToLittleEndian(bitsOf<Bits>(*begin), at);
    out->commit(at);
}

// Appends numbers of one type.
void appendRun(Output *out, const QVariant *begin, const QVariant *end)
{
    switch (begin->data_ptr().type) {
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
    // The negative numbers of CBOR count from -1 downwards.
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
    void forgetMessage();
    bool writeBody(const LxPackedBody &body);
    bool collectKeyBlocks(const LxPackedBody &body);
    bool encodeKeys(const LxRowLayout::Pointer &layout, QByteArray *item);
    int numberOf(const QByteArray &item);
    bool writeRow(const LxPackedRow &row, int block);
    bool writeValue(const QVariant &value, int depth);
    bool writeList(const QVariantList &list, int depth);
    bool writeMap(const QVariantMap &map, int depth);
    bool writeTexts(const QStringList &texts);
    bool writeText(Output *to, const QString &text);
    bool writeUtf8(Output *to, const QString &text);
    bool writeUtf16(Output *to, const QString &text);
    bool checkTextSize(int size);
    bool countValues(int count);
    bool fail(const QString &reason);

    Kept<KeyBlock> kept { LxWireLimits::KeyBlocksKept };
    QString error;

    // Of the message being written:
    Output out;
    int values = 0;
    QVector<QByteArray> items;      // its key blocks
    QHash<QByteArray, int> numbers; // of its key blocks, if there is more than one
    QVector<int> blocks;            // by row
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
    d->forgetMessage();
    return bytes;
}

void LxWireWriter::Private::forgetMessage()
{
    out.clear();
    values = 0;
    items.clear();
    numbers.clear();
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
    if (!writeText(&out, message.type) || !writeText(&out, message.client))
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

// Fills `items` and `blocks`. Layouts of equal keys become one block.
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
        const KeyBlock *known = kept.find([&layout](const KeyBlock &block) { return block.layout == layout; });
        QByteArray item = known ? known->item : QByteArray();
        if (!known && !encodeKeys(layout, &item))
            return false;
        blocks.append(numberOf(item));
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
        if (!writeText(&block, key))
            return false;
    }
    Output head;
    head.appendHead(Tag, EmbeddedTag);
    head.appendHead(Bytes, block.size());
    *item = head.copy() + block.copy();
    if (block.size() <= LxWireLimits::KeyBlockBytesKept)
        kept.keep({ layout, *item });
    return true;
}

// The number of a key block in this message.
int LxWireWriter::Private::numberOf(const QByteArray &item)
{
    if (!items.isEmpty()) {
        if (numbers.isEmpty())
            numbers.insert(items.constFirst(), 0);
        const auto known = numbers.constFind(item);
        if (known != numbers.constEnd())
            return *known;
        numbers.insert(item, items.size());
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
        const QVariant *const behind = endOfRun(value, end);
        if (behind - value > 1) {
            appendRun(&out, value, behind);
        } else if (!writeValue(*value, 0)) {
            const auto position = static_cast<int>(value - row.values.constBegin());
            error.prepend(QStringLiteral("\"%1\": ").arg(keys.at(position)));
            return false;
        }
        value = behind;
    }
    out.insertArrayHead(start, count);
    return true;
}

bool LxWireWriter::Private::writeValue(const QVariant &value, int depth)
{
    const int type = value.userType();
    const bool isMarked = value.data_ptr().is_null && type != QMetaType::UnknownType && type != QMetaType::QString;
    if (isMarked)
        out.appendHead(Tag, NullTag);
    switch (type) {
    case QMetaType::UnknownType:
        out.appendByte(Undefined);
        return true;
    case QMetaType::Bool:
        out.appendByte(value.data_ptr().data.b ? True : False);
        return true;
    case QMetaType::Int:
        appendRun(&out, &value, &value + 1);
        return true;
    case QMetaType::LongLong:
        appendLongLong(&out, value.data_ptr().data.ll);
        return true;
    case QMetaType::Double:
        appendDouble(&out, value);
        return true;
    case QMetaType::QString:
        return writeText(&out, *static_cast<const QString *>(value.constData()));
    case QMetaType::QStringList:
        return writeTexts(*static_cast<const QStringList *>(value.constData()));
    case QMetaType::QVariantList:
        return writeList(*static_cast<const QVariantList *>(value.constData()), depth);
    case QMetaType::QVariantMap:
        return writeMap(*static_cast<const QVariantMap *>(value.constData()), depth);
    default:
        return fail(QStringLiteral("a %1 cannot travel").arg(QString::fromLatin1(value.typeName())));
    }
}

bool LxWireWriter::Private::writeTexts(const QStringList &texts)
{
    if (!countValues(texts.size()))
        return false;
    out.appendHead(Tag, TextsTag);
    out.appendHead(Array, static_cast<quint64>(texts.size()));
    return std::all_of(texts.begin(), texts.end(), [this](const QString &text) { return writeText(&out, text); });
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
        if (!writeText(&out, entry.key()) || !writeValue(*entry, depth + 1))
            return false;
    }
    return true;
}

bool LxWireWriter::Private::writeText(Output *to, const QString &text)
{
    if (text.isNull()) {
        to->appendByte(Null);
        return true;
    }
    // Nothing but texts makes a message of few values long: so it does not grow without end.
    if (to->size() > LxWireLimits::MessageBytes)
        return fail(QStringLiteral("more than %1 bytes").arg(LxWireLimits::MessageBytes));
    if (!checkTextSize(text.size()))
        return false;
    // Most texts are ASCII; whether this one is shows when it is written as such.
    const auto size = static_cast<size_t>(text.size());
    char *at = Output::writeHead(to->room(Output::MostHeadBytes + size), Text, size);
    const auto *characters = text.utf16();
    ushort all = 0;
    for (size_t i = 0; i < size; ++i) {
        all |= characters[i];
        at[i] = static_cast<char>(characters[i]);
    }
    if (all < 0x80) {
        to->commit(at + size);
        return true;
    }
    return hasLoneSurrogate(text) ? writeUtf16(to, text) : writeUtf8(to, text);
}

bool LxWireWriter::Private::writeUtf8(Output *to, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    if (!checkTextSize(utf8.size()))
        return false;
    to->appendHead(Text, static_cast<quint64>(utf8.size()));
    to->append(utf8.constData(), static_cast<size_t>(utf8.size()));
    return true;
}

bool LxWireWriter::Private::writeUtf16(Output *to, const QString &text)
{
    const int size = text.size() * static_cast<int>(sizeof(quint16));
    if (!checkTextSize(size))
        return false;
    to->appendHead(Tag, Utf16Tag);
    to->appendHead(Bytes, static_cast<quint64>(size));
    char *at = to->room(static_cast<size_t>(size));
    qToLittleEndian<quint16>(text.utf16(), text.size(), at);
    to->commit(at + size);
    return true;
}

bool LxWireWriter::Private::checkTextSize(int size)
{
    return size <= LxWireLimits::TextBytes
            || fail(QStringLiteral("a text of more than %1 bytes").arg(LxWireLimits::TextBytes));
}
