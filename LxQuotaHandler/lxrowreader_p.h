#pragma once

#include <lxmsg/unpackmessagecommon.h>

#include <QString>
#include <QVariant>

#if QT_VERSION_MAJOR != 5
#error "This header relies on the layout of QVariant in Qt 5."
#endif

/// Reads fields by key from the current row of a message; row 0 at first.
///
/// An absent field reads as an empty string; a value that cannot be converted reads as "" or 0. Not thread-safe.
///
/// A number of the field's own type, as nearly all are, is read without a call into Qt: the only place of this library
/// that relies on Qt's internals. Without it a tenth fewer quotes per second pass from the bus callback to the signals
/// (./bench, stock-quotes).
class LxRowReader
{
public:
    explicit LxRowReader(const QVariant &msg) { m_unpack.SetUnPackMsg(msg, false); }

    int rowCount() const { return m_unpack.GetRowCount(); }
    void setCurrentRow(int row) { m_unpack.SetCurrentRow(row); }

    void read(const QString &key, QString &field) const { field = value(key).toString(); }
    void read(const QString &key, double &field) const
    {
        const QVariant number = value(key);
        const QVariant::DataPtr &data = number.data_ptr();
        field = data.type == QVariant::Double ? data.data.d : isEmptyString(number) ? 0.0 : number.toDouble();
    }
    void read(const QString &key, qint64 &field) const
    {
        const QVariant number = value(key);
        const QVariant::DataPtr &data = number.data_ptr();
        field = data.type == QVariant::LongLong ? data.data.ll : isEmptyString(number) ? 0 : number.toLongLong();
    }
    void read(const QString &key, int &field) const { field = value(key).toInt(); }
    QVariant value(const QString &key) const { return m_unpack.GetValue(key, absentField); }

    /// All fields of the current row.
    QMap<QString, QVariant> rowValue() const { return m_unpack.GetRowValue(); }

private:
    // True for an absent field, among others. As a number it is 0; a conversion by Qt takes twice as long as reading a
    // number.
    static bool isEmptyString(const QVariant &value)
    {
        return value.data_ptr().type == QVariant::String && static_cast<const QString *>(value.constData())->isEmpty();
    }

    inline static const QVariant absentField { QString::fromLatin1("") };

    CUnPackMessageCommon m_unpack;
};
