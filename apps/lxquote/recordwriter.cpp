#include "recordwriter.h"

#include "colours.h"
#include "figures.h"

#include <suggestion.h>
#include <terminal.h>

#include <nlohmann/json.hpp>

#include <QCoreApplication>

#include <algorithm>

namespace {

using Json = nlohmann::ordered_json;

QString tr(const char *text)
{
    return QCoreApplication::translate("RecordWriter", text);
}

Json toJson(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return nullptr;
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::QVariantList: {
        Json array = Json::array();
        for (const QVariant &item : value.toList())
            array.push_back(toJson(item));
        return array;
    }
    default:
        return value.toString().toStdString();
    }
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

// A cell of a table.
QString cellOf(const Record &record, const Record::Field &field)
{
    return field.value.isValid()
        ? Terminal::printable(Figures::text(field.name, field.value, record.symbol, Figures::ForPeople))
        : QStringLiteral("-");
}

QString trimmedLine(const QStringList &cells)
{
    QString line = cells.join(QStringLiteral("  "));
    while (line.endsWith(QLatin1Char(' ')))
        line.chop(1);
    return line + QLatin1Char('\n');
}

} // namespace

const QStringList &OutputSettings::recordFormats()
{
    static const QStringList all { QStringLiteral("table"), QStringLiteral("json"), QStringLiteral("ndjson"),
                                   QStringLiteral("csv") };
    return all;
}

void OutputSettings::addOptions(Options *options, const QStringList &formats, const QStringList &fieldNames)
{
    format = formats.constFirst();
    options->beginGroup(tr("Output options"));
    options->addChoice(QStringLiteral("format"), QStringLiteral("FORMAT"), formats, &format, tr("One of"));
    options->add(
        QStringLiteral("fields"), QStringLiteral("NAMES"), tr("Print these fields only, separated by commas"),
        [this, fieldNames](const QString &value, QString *error) {
            fields = value.split(QLatin1Char(','), Qt::SkipEmptyParts);
            for (const QString &name : qAsConst(fields)) {
                if (fieldNames.contains(name))
                    continue;
                const QString suggestion = suggestionFor(name, fieldNames);
                *error = suggestion.isEmpty()
                    ? tr("\"%1\" is not a field; the fields are %2").arg(name, fieldNames.join(QLatin1Char(' ')))
                    : tr("\"%1\" is not a field; did you mean \"%2\"?").arg(name, suggestion);
                return false;
            }
            return true;
        });
    options->addInteger(QStringLiteral("limit"), QStringLiteral("N"), 1, &limit, tr("End after N records"));
    const auto setPath = [this](const QString &value, QString *) {
        path = value;
        return true;
    };
    options->add(QStringLiteral("output"), QStringLiteral("FILE"), tr("Write into FILE instead of standard output"),
                 setPath, QLatin1Char('o'));
}

RecordWriter::RecordWriter(Output *output, const OutputSettings &settings) : m_output(output), m_settings(settings) { }

bool RecordWriter::add(const Record &record)
{
    if (isFull())
        return false;
    const Record wanted = selected(record);
    if (m_settings.format == QLatin1String("json"))
        addJson(wanted, false);
    else if (m_settings.format == QLatin1String("ndjson"))
        addJson(wanted, true);
    else if (m_settings.format == QLatin1String("csv"))
        addCsv(wanted);
    else
        m_rows.append(wanted);
    ++m_count;
    return m_error.isEmpty() && m_output->isUsable() && !isFull();
}

bool RecordWriter::finish(QString *error)
{
    if (m_settings.format == QLatin1String("json"))
        m_output->write(m_count > 0 ? QStringLiteral("\n]\n") : QStringLiteral("[]\n"));
    else if (!m_rows.isEmpty())
        m_output->write(table());
    *error = m_error;
    return m_error.isEmpty() && m_output->finish(error);
}

Record RecordWriter::selected(const Record &record) const
{
    if (m_settings.fields.isEmpty())
        return record;
    Record wanted(record.type, record.symbol);
    for (const QString &name : m_settings.fields)
        wanted.fields.append({ name, record.value(name) });
    return wanted;
}

void RecordWriter::addJson(const Record &record, bool onOneLine)
{
    Json object = Json::object();
    object["type"] = record.type.toStdString();
    for (const Record::Field &field : record.fields)
        object[field.name.toStdString()] = toJson(field.value);
    const auto dump = [&object](int indent) {
        return QByteArray::fromStdString(object.dump(indent, ' ', false, Json::error_handler_t::replace));
    };
    if (onOneLine)
        m_output->write(dump(-1) + '\n');
    else
        m_output->write((m_count > 0 ? QByteArray(",\n") : QByteArray("[\n")) + dump(2));
}

void RecordWriter::addCsv(const Record &record)
{
    if (m_count == 0) {
        m_columns = record.names();
        m_type = record.type;
        m_output->write(m_columns.join(QLatin1Char(',')) + QLatin1Char('\n'));
    } else if (record.type != m_type && m_settings.fields.isEmpty()) {
        m_error = tr("CSV output holds records of one type: select fields (--fields), or use --format ndjson");
        return;
    }
    QStringList cells;
    for (const Record::Field &field : record.fields)
        cells.append(csvCell(Figures::text(field.name, field.value, record.symbol, Figures::ForPrograms)));
    m_output->write(cells.join(QLatin1Char(',')) + QLatin1Char('\n'));
}

QString RecordWriter::tableLine(const Record &record)
{
    constexpr int UsualWidth = 12; // of a symbol or a time
    const Record wanted = selected(record);
    QStringList headings;
    QStringList cells;
    for (const Record::Field &field : wanted.fields) {
        const QString heading = Figures::heading(field.name);
        const QString cell = cellOf(wanted, field);
        const int width = std::max(UsualWidth, Terminal::width(heading));
        const int side = Figures::isNumber(field.value) ? -1 : 1; // numbers are flush right
        headings.append(Terminal::fitted(heading, side * width));
        cells.append(Terminal::fitted(cell, side * std::max(width, Terminal::width(cell))));
    }
    const bool isFirst = m_count++ == 0;
    return (isFirst ? Colours::apply(trimmedLine(headings), Colours::Bold) : QString()) + trimmedLine(cells);
}

QString RecordWriter::table() const
{
    const QStringList columns = m_rows.constFirst().names();
    const auto cell = [](const Record &record, int column) { return cellOf(record, record.fields.at(column)); };
    QStringList header;
    QVector<int> widths; // negative: flush right
    for (int column = 0; column < columns.size(); ++column) {
        const QString heading = Figures::heading(columns.at(column));
        int width = Terminal::width(heading);
        bool isNumber = false;
        for (const Record &record : m_rows) {
            width = qMax(width, Terminal::width(cell(record, column)));
            isNumber = isNumber || Figures::isNumber(record.fields.at(column).value);
        }
        widths.append(isNumber ? -width : width);
        header.append(Terminal::fitted(heading, widths.constLast()));
    }
    QString lines =
        m_output->isStandardOutput() ? Colours::apply(trimmedLine(header), Colours::Bold) : trimmedLine(header);
    for (const Record &record : m_rows) {
        QStringList cells;
        for (int column = 0; column < columns.size(); ++column)
            cells.append(Terminal::fitted(cell(record, column), widths.at(column)));
        lines += trimmedLine(cells);
    }
    return lines;
}
