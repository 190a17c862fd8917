#pragma once

#include <lxmsg/lxmsg_export.h>
#include <lxmsg/rowlayout.h>

#include <QMetaType>
#include <QSharedData>
#include <QVariant>
#include <QVector>

/// One row of a packed body: a layout and as many values.
struct LxPackedRow
{
    LxRowLayout::Pointer layout;
    QVector<QVariant> values;
};

/// The packed body of a message: rows of keys and values.
///
/// An immutable, implicitly shared value of one pointer's size: publishing it to any number of endpoints, queueing it
/// and holding it in a QVariant copy no row. Rows of one kind share their layout (LxRowLayout). Any thread.
class LXMSG_EXPORT LxPackedBody
{
public:
    /// A body of no rows.
    LxPackedBody() = default;
    explicit LxPackedBody(QVector<LxPackedRow> rows);

    /// The body in `message`, or a body of no rows when `message` holds something else.
    static LxPackedBody fromVariant(const QVariant &message);
    QVariant toVariant() const;

    int rowCount() const { return d ? d->rowCount : 0; }
    /// The row, or null when the number is out of range.
    const LxPackedRow *row(int number) const
    {
        if (!d || number < 0 || number >= d->rowCount)
            return nullptr;
        return number == 0 ? &d->head : &d->others.at(number - 1);
    }

private:
    // Market records are one row, and each step from one piece of memory to the next costs a reader on another core more
    // than reading it: the first row stands in the body itself.
    struct Data : QSharedData
    {
        explicit Data(QVector<LxPackedRow> &&rows);

        int rowCount;
        LxPackedRow head;
        QVector<LxPackedRow> others;
    };
    QExplicitlySharedDataPointer<const Data> d;
};

Q_DECLARE_TYPEINFO(LxPackedRow, Q_MOVABLE_TYPE);
Q_DECLARE_TYPEINFO(LxPackedBody, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(LxPackedBody)
