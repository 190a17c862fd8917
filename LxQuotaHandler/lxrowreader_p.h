#pragma once

#include <lxmsg/unpackmessagecommon.h>

#include <QString>
#include <QVariant>

/// What a field converts to, without a call for what most fields are: a number of the right type, or the empty text of
/// an absent or empty field, which is 0.
namespace LxFieldValue {

inline bool isEmptyText(const QVariant &value)
{
    return value.data_ptr().type == QVariant::String && static_cast<const QString *>(value.constData())->isEmpty();
}

inline double toDouble(const QVariant &value)
{
    const QVariant::DataPtr &data = value.data_ptr();
    if (data.type == QVariant::Double)
        return data.data.d;
    return isEmptyText(value) ? 0.0 : value.toDouble();
}

inline qint64 toLongLong(const QVariant &value)
{
    const QVariant::DataPtr &data = value.data_ptr();
    if (data.type == QVariant::LongLong)
        return data.data.ll;
    return isEmptyText(value) ? 0 : value.toLongLong();
}

} // namespace LxFieldValue

/// Reads the rows of a message by key, row 0 at first. An absent key reads as "", hence as "" or 0, whatever the field.
/// Not thread-safe.
class LxRowReader
{
public:
    explicit LxRowReader(const QVariant &msg) { m_unpack.SetUnPackMsg(msg, false); }

    void read(const QString &key, QString &field) const { Value(m_unpack, key).moveTo(field); }
    void read(const QString &key, double &field) const { field = LxFieldValue::toDouble(*Value(m_unpack, key)); }
    void read(const QString &key, qint64 &field) const { field = LxFieldValue::toLongLong(*Value(m_unpack, key)); }
    void read(const QString &key, int &field) const { field = (*Value(m_unpack, key)).toInt(); }

    int rowCount() const { return m_unpack.GetRowCount(); }
    void setCurrentRow(int row) { m_unpack.SetCurrentRow(row); }
    QMap<QString, QVariant> rowValue() const { return m_unpack.GetRowValue(); }

private:
    // A value that is read and dropped: Qt's destructor is called for those only that hold more than a number.
    class Value
    {
    public:
        Value(const CUnPackMessageCommon &row, const QString &key) : m_value(row.GetValue(key, absentField)) { }
        ~Value()
        {
            if (m_value.data_ptr().type > QVariant::Char)
                m_value.~QVariant();
        }
        Q_DISABLE_COPY(Value)

        const QVariant &operator*() const { return m_value; }

        // Spares the count of the text's owners a way up and down.
        void moveTo(QString &field)
        {
            if (m_value.data_ptr().type != QVariant::String) {
                field = m_value.toString();
                return;
            }
            auto *text = static_cast<QString *>(const_cast<void *>(m_value.constData()));
            field.swap(*text);
            text->~QString();
            m_value.data_ptr().type = QVariant::Invalid; // nothing is left to destroy
        }

    private:
        union {
            QVariant m_value;
        };
    };

    inline static const QVariant absentField { QString::fromLatin1("") };

    CUnPackMessageCommon m_unpack;
};
