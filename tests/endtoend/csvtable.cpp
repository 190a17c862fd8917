#include "csvtable.h"

#include <QFile>
#include <QSet>

#include <zlib.h>

QByteArray CsvRow::cell(const QByteArray &column) const
{
    const int number = m_table.column(column);
    return number < 0 ? QByteArray() : m_cells.at(number);
}

CsvTable::CsvTable(const QString &path)
{
    const gzFile file = gzopen(QFile::encodeName(path).constData(), "rb");
    if (!file)
        qFatal("cannot open %s", qPrintable(path));
    QByteArray text;
    char block[1 << 16];
    int count = 0;
    while ((count = gzread(file, block, sizeof block)) > 0)
        text.append(block, count);
    if (gzclose(file) != Z_OK || count < 0)
        qFatal("cannot read %s", qPrintable(path));

    QList<QByteArray> lines = text.split('\n');
    if (lines.constLast().isEmpty())
        lines.removeLast();
    m_header = lines.takeFirst().split(',');
    for (int i = 0; i < m_header.size(); ++i)
        m_columns.insert(m_header.at(i), i);
    m_lines = lines.toVector();
}

QStringList CsvTable::distinct(const QByteArray &name) const
{
    QStringList texts;
    QSet<QString> seen;
    for (int i = 0; i < rowCount(); ++i) {
        const QString text = row(i).text(name);
        if (!seen.contains(text)) {
            seen.insert(text);
            texts.append(text);
        }
    }
    return texts;
}
