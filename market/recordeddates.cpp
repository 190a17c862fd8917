#include "recordeddates.h"

#include "csvreader.h"
#include "csvrecording.h"
#include "datafolder.h"
#include "dates.h"
#include "translated.h"

#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

bool addDatesOfRows(const QString &path, QSet<QDate> *dates, QString *error)
{
    CsvReader reader;
    if (!reader.open(path, error))
        return false;
    const int column = reader.column(QStringLiteral("MDDate"));
    QByteArray last;
    while (reader.next(error)) {
        const QByteArray cell = reader.cells().value(column);
        if (cell == last)
            continue;
        last = cell;
        if (const std::optional<QDate> date = Dates::parseCompactDate(cell)) // rows without a valid date are broken
            dates->insert(*date);
    }
    return error->isEmpty();
}

} // namespace

std::optional<QDate> RecordedDates::ofName(const QString &name)
{
    const QStringList parts = name.split(QLatin1Char('_'));
    if (parts.size() > 1 && Dates::parseCompactDate(parts.at(parts.size() - 2).toLatin1()))
        return std::nullopt;
    return Dates::parseCompactDate(parts.constLast().toLatin1());
}

std::optional<QVector<QDate>> RecordedDates::inFolder(const QString &path, QString *error)
{
    DataFolder folder;
    if (!folder.open(path, error))
        return std::nullopt;
    bool found = false;
    QSet<QDate> dates;
    const QStringList names = folder.names();
    for (const QString &name : names) {
        if (!CsvRecording::kindOfName(name))
            continue;
        const std::optional<QString> file = folder.file(name, error);
        if (!file)
            return std::nullopt;
        found = true;
        if (const std::optional<QDate> date = ofName(name))
            dates.insert(*date);
        else if (!addDatesOfRows(*file, &dates, error))
            return std::nullopt;
    }
    if (!found) {
        *error = translated("%1: no recordings in this folder").arg(path);
        return std::nullopt;
    }
    QVector<QDate> ordered(dates.cbegin(), dates.cend());
    std::sort(ordered.begin(), ordered.end());
    return ordered;
}

std::optional<QString> RecordedDates::choose(const QString &folder, const QString &wanted, QString *error)
{
    const std::optional<QVector<QDate>> dates = inFolder(folder, error);
    if (!dates)
        return std::nullopt;
    QStringList strings;
    for (const QDate date : *dates) {
        if (Dates::toCompactString(date) == wanted)
            return wanted;
        strings.append(Dates::toString(date));
    }
    if (wanted.isEmpty() && !dates->isEmpty())
        return Dates::toCompactString(dates->constLast());
    const std::optional<QDate> date = Dates::parseDate(wanted);
    *error = translated("%1: no recordings of %2; there are recordings of %3")
                 .arg(folder, date ? Dates::toString(*date) : translated("any date"),
                      strings.isEmpty() ? translated("no date") : strings.join(QStringLiteral(", ")));
    return std::nullopt;
}
