#pragma once

#include <lxbus/codec/wireformat_p.h>
#include <lxmsg/packedbody.h>

#include <QString>
#include <QVariant>

#include <cstring>
#include <memory>

/// Helpers for tests of the codec. Comparisons are exact: they distinguish types, null strings and each bit of a
/// double.
namespace WireTesting {

/// A description of the first difference, or an empty string.
inline QString difference(const QString &a, const QString &b)
{
    return a == b && a.isNull() == b.isNull() ? QString() : QStringLiteral("strings \"%1\" and \"%2\"").arg(a, b);
}

inline QString difference(const QVariant &a, const QVariant &b);

template<typename List>
QString difference(const List &a, const List &b)
{
    if (a.size() != b.size())
        return QStringLiteral("%1 and %2 elements").arg(a.size()).arg(b.size());
    for (int i = 0; i < a.size(); ++i) {
        const QString found = difference(a.at(i), b.at(i));
        if (!found.isEmpty())
            return found;
    }
    return QString();
}

inline QString difference(const QVariantMap &a, const QVariantMap &b)
{
    const QString keys = difference(a.keys(), b.keys());
    return keys.isEmpty() ? difference(a.values(), b.values()) : keys;
}

inline QString difference(const LxPackedBody &a, const LxPackedBody &b)
{
    if (a.rowCount() != b.rowCount())
        return QStringLiteral("%1 and %2 rows").arg(a.rowCount()).arg(b.rowCount());
    for (int i = 0; i < a.rowCount(); ++i) {
        const LxPackedRow &left = *a.row(i);
        const LxPackedRow &right = *b.row(i);
        QString found = difference(left.layout->keys(), right.layout->keys());
        if (found.isEmpty())
            found = difference(left.values, right.values);
        if (!found.isEmpty())
            return QStringLiteral("row %1: %2").arg(i).arg(found);
    }
    return QString();
}

inline QString difference(const QVariant &a, const QVariant &b)
{
    if (a.userType() != b.userType())
        return QStringLiteral("types %1 and %2").arg(a.userType()).arg(b.userType());
    if (a.isNull() != b.isNull())
        return QStringLiteral("one %1 of two is null").arg(a.userType());
    switch (a.userType()) {
    case QMetaType::UnknownType:
        return QString();
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return a.toLongLong() == b.toLongLong() ? QString()
                                                : QStringLiteral("%1 and %2").arg(a.toLongLong()).arg(b.toLongLong());
    case QMetaType::Double:
        return std::memcmp(a.constData(), b.constData(), sizeof(double)) == 0
            ? QString()
            : QStringLiteral("doubles %1 and %2").arg(a.toDouble()).arg(b.toDouble());
    case QMetaType::QString:
        return difference(a.toString(), b.toString());
    case QMetaType::QStringList:
        return difference(a.toStringList(), b.toStringList());
    case QMetaType::QVariantList:
        return difference(a.toList(), b.toList());
    case QMetaType::QVariantMap:
        return difference(a.toMap(), b.toMap());
    default:
        break;
    }
    if (a.userType() == qMetaTypeId<LxPackedBody>())
        return difference(LxPackedBody::fromVariant(a), LxPackedBody::fromVariant(b));
    return QStringLiteral("type %1 cannot be encoded").arg(a.userType());
}

inline QString difference(const LxWireMessage &a, const LxWireMessage &b)
{
    if (a.epoch != b.epoch || a.sequence != b.sequence)
        return QStringLiteral("epochs or sequences");
    const QString texts = difference(QStringList { a.type, a.client }, QStringList { b.type, b.client });
    return texts.isEmpty() ? difference(a.body, b.body) : texts;
}

/// Decodes from memory that ends where the message ends, so that sanitizers detect reading beyond the end.
inline bool read(LxWireReader *reader, const QByteArray &bytes, LxWireMessage *message, QString *error)
{
    const auto size = static_cast<size_t>(bytes.size());
    const std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), bytes.constData(), size);
    return reader->read(copy.get(), size, message, error);
}

/// Checks how these bytes, which need not be a message, are decoded. Returns a description of the problem, or an empty
/// string. All readers, whatever they have read before, must decode the same message or report the same error, and a
/// message must not change when it is encoded and decoded again.
inline QString problem(const QByteArray &bytes, LxWireReader *usedReader, LxWireWriter *usedWriter)
{
    LxWireMessage message;
    QString error;
    const bool isMessage = read(usedReader, bytes, &message, &error);

    LxWireMessage again;
    QString errorAgain;
    if (read(std::make_unique<LxWireReader>().get(), bytes, &again, &errorAgain) != isMessage || errorAgain != error)
        return QStringLiteral("a new reader says \"%1\" instead of \"%2\"").arg(errorAgain, error);
    if (!isMessage)
        return error.isEmpty() ? QStringLiteral("refused without a reason") : QString();
    QString found = difference(message, again);
    if (!found.isEmpty())
        return QStringLiteral("to a new reader: ") + found;

    const QByteArray written = usedWriter->write(message, &error);
    if (written.isEmpty())
        return QStringLiteral("cannot be written: ") + error;
    if (!read(usedReader, written, &again, &error))
        return QStringLiteral("cannot be read again: ") + error;
    found = difference(message, again);
    if (!found.isEmpty())
        return QStringLiteral("written and read again: ") + found;
    if (LxWireWriter().write(again, &error) != written)
        return QStringLiteral("a new writer writes other bytes");
    return QString();
}

/// A body of rows, each with its keys and values.
inline QVariant body(const QVector<QPair<QVector<QString>, QVector<QVariant>>> &rows)
{
    QVector<LxPackedRow> packed;
    for (const auto &row : rows)
        packed.append({ LxRowLayout::create(row.first), row.second });
    return LxPackedBody(packed).toVariant();
}

} // namespace WireTesting
