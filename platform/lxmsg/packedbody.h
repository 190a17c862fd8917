#pragma once

#include <lxmsg/lxmsg_export.h>
#include <lxmsg/rowlayout.h>

#include <QMetaType>
#include <QVariant>
#include <QVector>

/// One row of a packed body: a layout and as many values.
struct LxPackedRow
{
    LxRowLayout::Pointer layout;
    QVector<QVariant> values;
};

/// The packed body of a message: rows of keys and values. Rows of one kind share their layout (LxRowLayout).
///
/// Immutable. Messages carry it in a QVariant, whose copies all share it: publishing it to any number of endpoints,
/// queueing it and holding it copy no row. Any thread.
class LXMSG_EXPORT LxPackedBody
{
public:
    /// A body of no rows.
    LxPackedBody() = default;
    explicit LxPackedBody(QVector<LxPackedRow> rows);
    /// A body of one row.
    static LxPackedBody ofRow(LxPackedRow row);

    /// The body in `message`, or a body of no rows when `message` holds something else. Valid as long as `message` or a
    /// copy of it.
    static const LxPackedBody &fromVariant(const QVariant &message);
    QVariant toVariant() const & { return LxPackedBody(*this).toVariant(); }
    QVariant toVariant() &&;

    int rowCount() const { return m_rowCount; }
    /// The row, or null when the number is out of range.
    const LxPackedRow *row(int number) const
    {
        if (number < 0 || number >= m_rowCount)
            return nullptr;
        return number == 0 ? &m_head : &m_others.at(number - 1);
    }

private:
    // Market records are one row, and each step from one piece of memory to the next costs a reader on another core
    // more than reading it: the first row stands in the body itself.
    int m_rowCount = 0;
    LxPackedRow m_head;
    QVector<LxPackedRow> m_others;
};

// Larger than a pointer: a QVariant counts the owners of such a value itself. What is small enough to stand in the
// QVariant is copied by functions that are looked up under a lock which all threads share, for every copy.
static_assert(sizeof(LxPackedBody) > sizeof(QVariant::Private::Data), "copies of a variant share the body");

Q_DECLARE_TYPEINFO(LxPackedRow, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(LxPackedBody)
