#pragma once

#include <lxbus/wireformat.h>
#include <lxmsg/packedbody.h>

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>

#include <cstring>

/// A second reader of the format, on Qt's CBOR, as a stranger would write one from docs/wire.md. It trusts the bytes.
namespace WireOracle {

inline double fromBits(quint64 bits)
{
    double number;
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

inline QString text(const QCborValue &value)
{
    if (value.isNull())
        return QString();
    if (value.isTag()) {
        const QByteArray units = value.taggedValue().toByteArray();
        QString text;
        for (int i = 0; i + 1 < units.size(); i += 2)
            text.append(QChar(static_cast<uchar>(units.at(i)), static_cast<uchar>(units.at(i + 1))));
        return text;
    }
    // Qt gives a null text for an empty one.
    return value.toString().isEmpty() ? QString::fromLatin1("") : value.toString();
}

inline QVariantList numbers(quint64 tag, const QByteArray &bytes)
{
    const int size = tag == 78 ? 4 : 8;
    QVariantList numbers;
    for (int at = 0; at < bytes.size(); at += size) {
        quint64 bits = 0;
        for (int i = size - 1; i >= 0; --i)
            bits = bits << 8 | static_cast<quint8>(bytes.at(at + i));
        if (tag == 78)
            numbers.append(static_cast<int>(static_cast<quint32>(bits)));
        else if (tag == 79)
            numbers.append(static_cast<qlonglong>(bits));
        else
            numbers.append(fromBits(bits));
    }
    return numbers;
}

inline QVariant value(const QCborValue &cbor)
{
    if (cbor.isUndefined())
        return QVariant();
    if (cbor.isBool())
        return cbor.toBool();
    if (cbor.isInteger())
        return static_cast<qlonglong>(cbor.toInteger());
    if (cbor.isDouble())
        return cbor.toDouble();
    if (cbor.isArray()) {
        QVariantList list;
        for (const QCborValue &element : cbor.toArray())
            list.append(value(element));
        return list;
    }
    if (cbor.isMap()) {
        const QCborMap entries = cbor.toMap();
        QVariantMap map;
        for (auto entry = entries.constBegin(); entry != entries.constEnd(); ++entry)
            map.insert(text(entry.key()), value(entry.value()));
        return map;
    }
    if (cbor.isTag()) {
        const auto tag = static_cast<quint64>(cbor.tag());
        if (tag == 41) {
            QStringList texts;
            for (const QCborValue &element : cbor.taggedValue().toArray())
                texts.append(text(element));
            return texts;
        }
        if (tag == 78)
            return numbers(tag, cbor.taggedValue().toByteArray()).value(0);
        if (tag == 0x4c584e55) {
            const int type = value(cbor.taggedValue()).userType();
            return QVariant(static_cast<QVariant::Type>(type));
        }
    }
    return text(cbor);
}

inline QVariant packedBody(const QCborArray &parts)
{
    QVector<LxRowLayout::Pointer> layouts;
    for (const QCborValue &block : parts.at(0).toArray()) {
        QVector<QString> keys;
        for (const QCborValue &key : QCborValue::fromCbor(block.taggedValue().toByteArray()).toArray())
            keys.append(text(key));
        layouts.append(LxRowLayout::create(keys));
    }
    QVector<LxPackedRow> rows;
    for (const QCborValue &cbor : parts.at(1).toArray()) {
        const QCborArray items = cbor.toArray();
        QVector<QVariant> values;
        for (int i = 1; i < items.size(); ++i) {
            const auto tag = items.at(i).isTag() ? static_cast<quint64>(items.at(i).tag()) : 0;
            if (tag == 78 || tag == 79 || tag == 86)
                values += numbers(tag, items.at(i).taggedValue().toByteArray()).toVector();
            else
                values.append(value(items.at(i)));
        }
        rows.append({ layouts.at(static_cast<int>(items.at(0).toInteger())), values });
    }
    return LxPackedBody(rows).toVariant();
}

inline LxWireMessage message(const QByteArray &bytes)
{
    const QCborArray items = QCborValue::fromCbor(bytes).toArray();
    LxWireMessage message;
    message.type = text(items.at(1));
    message.client = text(items.at(2));
    message.epoch = static_cast<quint64>(items.at(3).toInteger());
    message.sequence = static_cast<quint64>(items.at(4).toInteger());
    const QCborValue &body = items.at(5);
    message.body = body.isTag() && body.tag() == QCborTag(0x4c585042) ? packedBody(body.taggedValue().toArray())
                                                                       : value(body);
    return message;
}

} // namespace WireOracle
