#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

/// Prints rows of values as a table, as a JSON array of objects, or as CSV. An invalid QVariant is no value: "-", null or
/// an empty cell.
class RowPrinter
{
public:
    /// "table", "json", "csv"; the first is the default.
    static const QStringList &formats();

    explicit RowPrinter(const QStringList &columns) : m_columns(columns) { }

    void add(const QVector<QVariant> &row) { m_rows.append(row); }
    void print(const QString &format) const;

private:
    QString table() const;
    QString json() const;
    QString csv() const;

    const QStringList m_columns;
    QVector<QVector<QVariant>> m_rows;
};
