#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

class CsvTable;

/// One row of a table, by column names. A missing column reads as an empty string; the number in an empty cell is 0.
class CsvRow
{
public:
    CsvRow(const CsvTable &table, const QByteArray &line) : m_table(table), m_cells(line.split(',')) { }

    QByteArray cell(const QByteArray &column) const;
    QString text(const QByteArray &column) const { return QString::fromUtf8(cell(column)); }
    double number(const QByteArray &column) const { return cell(column).toDouble(); }
    qint64 integer(const QByteArray &column) const { return cell(column).toLongLong(); }

private:
    const CsvTable &m_table;
    QList<QByteArray> m_cells;
};

/// A CSV file in memory, plain or gzip, for expected values. It is read with zlib and QByteArray only, so that it does
/// not share mistakes with the reader under test. Quoted cells are not supported; the recordings have none.
class CsvTable
{
public:
    /// Ends the program if the file cannot be read.
    explicit CsvTable(const QString &path);

    int rowCount() const { return m_lines.size(); }
    CsvRow row(int number) const { return CsvRow(*this, m_lines.at(number)); }
    const QList<QByteArray> &header() const { return m_header; }
    const QVector<QByteArray> &lines() const { return m_lines; }
    int column(const QByteArray &name) const { return m_columns.value(name, -1); }

    /// The distinct strings of a column, in order of appearance.
    QStringList distinct(const QByteArray &name) const;

private:
    QList<QByteArray> m_header;
    QHash<QByteArray, int> m_columns;
    QVector<QByteArray> m_lines;
};
