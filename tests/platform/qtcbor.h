#pragma once

#include <lxbus/codec/wireformat_p.h>
#include <lxmsg/packedbody.h>

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QtEndian>

/// Messages in Qt's CBOR classes, as docs/wire.md describes them. Qt encodes them in the shortest form, as our writer
/// must.
///
/// Not for epochs and sequences above 2^63 - 1, which these classes cannot hold, nor for strings that begin with
/// U+FEFF.
namespace QtCbor {

inline QCborValue tagged(quint64 tag, const QCborValue &value)
{
    return QCborValue(static_cast<QCborTag>(tag), value);
}

inline QCborValue fromString(const QString &string)
{
    if (string.isNull())
        return QCborValue(nullptr);
    const QByteArray utf8 = string.toUtf8();
    if (QString::fromUtf8(utf8.constData(), utf8.size()) == string)
        return string;
    QByteArray utf16(2 * string.size(), Qt::Uninitialized);
    qToLittleEndian<quint16>(string.utf16(), string.size(), utf16.data());
    return tagged(69, utf16);
}

template<typename Strings>
QCborArray fromStrings(const Strings &strings)
{
    QCborArray array;
    for (const QString &string : strings)
        array.append(fromString(string));
    return array;
}

template<typename Number>
QCborValue typedArray(quint64 tag, const QVector<QVariant> &values)
{
    QByteArray bytes;
    for (const QVariant &value : values) {
        char number[sizeof(Number)];
        qToLittleEndian(value.value<Number>(), number);
        bytes.append(number, sizeof(Number));
    }
    return tagged(tag, bytes);
}

inline QCborValue fromVariant(const QVariant &value)
{
    const int type = value.userType();
    if (value.isNull() && value.isValid() && type != QMetaType::QString)
        return tagged(0x4c584e55, fromVariant(QVariant(type, value.constData())));
    switch (type) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
        return typedArray<qint32>(78, { value });
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QString:
        return fromString(value.toString());
    case QMetaType::QStringList:
        return tagged(41, fromStrings(value.toStringList()));
    case QMetaType::QVariantList: {
        QCborArray array;
        for (const QVariant &element : value.toList())
            array.append(fromVariant(element));
        return array;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap entries = value.toMap();
        QCborMap map;
        for (auto entry = entries.begin(); entry != entries.end(); ++entry)
            map.insert(fromString(entry.key()), fromVariant(*entry));
        return map;
    }
    default:
        return QCborValue(QCborValue::Undefined);
    }
}

inline QCborValue fromRun(const QVector<QVariant> &run)
{
    switch (run.first().userType()) {
    case QMetaType::Double:
        return typedArray<double>(86, run);
    case QMetaType::LongLong:
        return typedArray<qint64>(79, run);
    default:
        return typedArray<qint32>(78, run);
    }
}

/// Appends the values of a row: two or more numbers of one type as a run, all others one by one.
inline void appendValues(const QVector<QVariant> &values, QCborArray *row)
{
    const QVector<int> runTypes { QMetaType::Double, QMetaType::LongLong, QMetaType::Int };
    for (int begin = 0, end = 0; begin < values.size(); begin = end) {
        const int type = values.at(begin).userType();
        for (end = begin + 1; end < values.size() && runTypes.contains(type) && !values.at(begin).isNull()
             && values.at(end).userType() == type && !values.at(end).isNull();)
            ++end;
        row->append(end - begin > 1 ? fromRun(values.mid(begin, end - begin)) : fromVariant(values.at(begin)));
    }
}

inline QCborValue fromBody(const LxPackedBody &body)
{
    QVector<QVector<QString>> layouts;
    QCborArray keyBlocks;
    QCborArray rows;
    for (int i = 0; i < body.rowCount(); ++i) {
        const QVector<QString> &keys = body.row(i)->layout->keys();
        if (!layouts.contains(keys)) {
            layouts.append(keys);
            keyBlocks.append(tagged(24, QCborValue(fromStrings(keys)).toCbor()));
        }
        QCborArray row { layouts.indexOf(keys) };
        appendValues(body.row(i)->values, &row);
        rows.append(row);
    }
    return tagged(0x4c585042, QCborArray { keyBlocks, rows });
}

/// The encoded message.
inline QByteArray encode(const LxWireMessage &message)
{
    const bool isPacked = message.body.userType() == qMetaTypeId<LxPackedBody>();
    const QCborArray items { 1,
                             fromString(message.type),
                             fromString(message.client),
                             static_cast<qint64>(message.epoch),
                             static_cast<qint64>(message.sequence),
                             isPacked ? fromBody(LxPackedBody::fromVariant(message.body)) : fromVariant(message.body) };
    return QCborValue(items).toCbor();
}

} // namespace QtCbor
