#pragma once

#include <lxmsg/lxmsg_export.h>
#include <lxmsg/rowlayout.h>

#include <QMetaType>
#include <QVarLengthArray>
#include <QVariant>
#include <QVector>

/// One row of a packed body: a layout and the values of its keys.
struct LxPackedRow
{
    LxRowLayout::Pointer layout;
    QVector<QVariant> values;
};

/// The packed body of a message: rows of keys and values. Rows of one kind share their layout (LxRowLayout).
///
/// Immutable; any thread. Messages contain it in a QVariant, whose copies all share the rows: publishing it to any
/// number of endpoints, queuing it and keeping it copies no row.
class LXMSG_EXPORT LxPackedBody
{
public:
    /// A body without rows.
    LxPackedBody() = default;
    explicit LxPackedBody(const QVector<LxPackedRow> &rows) { m_rows.append(rows.constData(), rows.size()); }
    /// A body of one row.
    static LxPackedBody ofRow(const LxPackedRow &row)
    {
        LxPackedBody body;
        body.m_rows.append(row);
        return body;
    }

    /// The body in `message`, or a body without rows if `message` holds something else. The reference is valid as long
    /// as `message` or a copy of it exists.
    static const LxPackedBody &fromVariant(const QVariant &message);
    QVariant toVariant() const { return QVariant::fromValue(*this); }

    int rowCount() const { return m_rows.size(); }
    /// The row, or null if `index` is out of range.
    const LxPackedRow *row(int index) const
    {
        return index >= 0 && index < m_rows.size() ? &m_rows.at(index) : nullptr;
    }

private:
    QVarLengthArray<LxPackedRow, 1> m_rows; // a market record is one row, which needs no allocation
};

// A larger type is reference-counted by QVariant. One that fits into the QVariant itself is copied by QMetaType under a
// lock that all threads share.
static_assert(sizeof(LxPackedBody) > sizeof(QVariant::Private::Data), "copies of a variant share the body");

Q_DECLARE_TYPEINFO(LxPackedRow, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(LxPackedBody)
