#include "rowprinter.h"

#include "recordjson.h"
#include "terminal.h"

#include <QLocale>

namespace {

bool isNumber(const QVariant &value)
{
    return value.userType() == QMetaType::Double || value.userType() == QMetaType::Int
            || value.userType() == QMetaType::LongLong;
}

QString text(const QVariant &value)
{
    if (value.userType() == QMetaType::Double)
        return QString::number(value.toDouble(), 'f', QLocale::FloatingPointShortest);
    return value.toString();
}

QString csvCell(const QString &cell)
{
    static const QString special = QStringLiteral(",\"\n\r");
    const bool quoted =
        std::any_of(cell.cbegin(), cell.cend(), [](QChar character) { return special.contains(character); });
    if (!quoted)
        return cell;
    QString escaped = cell;
    escaped.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

} // namespace

const QStringList &RowPrinter::formats()
{
    static const QStringList all { QStringLiteral("table"), QStringLiteral("json"), QStringLiteral("csv") };
    return all;
}

void RowPrinter::print(const QString &format) const
{
    if (format == QLatin1String("json"))
        Terminal::out(json());
    else if (format == QLatin1String("csv"))
        Terminal::out(csv());
    else
        Terminal::out(table());
}

QString RowPrinter::table() const
{
    const auto cell = [](const QVariant &value) { return value.isValid() ? text(value) : QStringLiteral("-"); };
    QVector<int> widths;
    for (int column = 0; column < m_columns.size(); ++column) {
        int width = Terminal::width(m_columns.at(column));
        for (const auto &row : m_rows)
            width = qMax(width, Terminal::width(cell(row.at(column))));
        widths.append(width);
    }
    QStringList header;
    for (int column = 0; column < m_columns.size(); ++column) {
        const bool right = !m_rows.isEmpty() && isNumber(m_rows.constFirst().at(column));
        header.append(Terminal::fitted(m_columns.at(column), right ? -widths.at(column) : widths.at(column)));
    }
    const auto trimmedLine = [](const QStringList &cells) {
        QString line = cells.join(QStringLiteral("  "));
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        return line + QLatin1Char('\n');
    };
    QString lines = Terminal::coloured(trimmedLine(header), Terminal::Colour::Bold);
    for (const auto &row : m_rows) {
        QStringList cells;
        for (int column = 0; column < m_columns.size(); ++column) {
            const int width = widths.at(column);
            cells.append(Terminal::fitted(cell(row.at(column)), isNumber(row.at(column)) ? -width : width));
        }
        lines += trimmedLine(cells);
    }
    return lines;
}

QString RowPrinter::json() const
{
    RecordJson::Json array = RecordJson::Json::array();
    for (const auto &row : m_rows) {
        RecordJson::Json object = RecordJson::Json::object();
        for (int column = 0; column < m_columns.size(); ++column)
            object[m_columns.at(column).toStdString()] = RecordJson::fromValue(row.at(column));
        array.push_back(std::move(object));
    }
    return QString::fromStdString(array.dump(2)) + QLatin1Char('\n');
}

QString RowPrinter::csv() const
{
    QStringList lines { m_columns.join(QLatin1Char(',')) };
    for (const auto &row : m_rows) {
        QStringList cells;
        for (const QVariant &value : row)
            cells.append(csvCell(text(value)));
        lines.append(cells.join(QLatin1Char(',')));
    }
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
