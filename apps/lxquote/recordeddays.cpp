#include "recordeddays.h"

#include <csvreader.h>
#include <csvrecording.h>
#include <datafolder.h>
#include <dates.h>
#include <recordeddates.h>

#include <algorithm>

namespace {

// The last date of the name of a recording (x_20181203_20190201); empty if there is none.
QString lastDayOfName(const QString &name)
{
    const QString last = name.section(QLatin1Char('_'), -1);
    return Dates::parseCompactDate(last.toLatin1()) ? last : QString();
}

} // namespace

RecordedDays::RecordedDays(const QString &path)
{
    DataFolder folder;
    QString error;
    if (!folder.open(path, &error)) {
        m_faults.append({ QString(), error });
        return;
    }
    for (const QString &name : folder.names()) {
        const std::optional<RecordingKind> kind = CsvRecording::kindOfName(name);
        if (!kind || *kind == RecordingKind::Order)
            continue;
        error.clear();
        const std::optional<QDate> onlyDate = RecordedDates::ofName(name);
        if (const std::optional<QString> file = folder.file(name, &error))
            read(*file, onlyDate ? Dates::toCompactString(*onlyDate) : QString(),
                 *kind == RecordingKind::Transaction ? Transactions : Quotes, &error);
        if (!error.isEmpty())
            m_faults.append({ lastDayOfName(name), error });
    }
}

// `day` is that of all rows, if it is not empty.
void RecordedDays::read(const QString &path, const QString &day, Kind kind, QString *error)
{
    CsvReader reader;
    if (!reader.open(path, error))
        return;
    const int symbol = reader.column(QStringLiteral("Symbol"));
    const int date = reader.column(QStringLiteral("MDDate"));
    QByteArray last; // of the row before, whose symbol and date are often the same
    while (symbol >= 0 && date >= 0 && reader.next(error)) {
        const QByteArray key = reader.cells().value(symbol) + reader.cells().value(date);
        if (key == last)
            continue;
        last = key;
        const QString ofRow = day.isEmpty() ? QString::fromLatin1(reader.cells().value(date)) : day;
        m_days[QString::fromUtf8(reader.cells().value(symbol))][ofRow] |= kind;
    }
}

QStringList RecordedDays::symbols() const
{
    QStringList all = m_days.keys();
    all.sort();
    return all;
}

QStringList RecordedDays::symbolsOf(const QString &day, Kinds kinds) const
{
    QStringList found;
    for (auto symbol = m_days.cbegin(); symbol != m_days.cend(); ++symbol) {
        if (symbol->value(day) & kinds)
            found.append(symbol.key());
    }
    found.sort();
    return found;
}

QStringList RecordedDays::days(Kinds kinds, const QStringList &symbols) const
{
    const QStringList wanted = symbols.isEmpty() ? RecordedDays::symbols() : symbols;
    QStringList found;
    for (const QString &symbol : wanted) {
        const KindsByDay days = m_days.value(symbol);
        for (auto day = days.cbegin(); day != days.cend(); ++day) {
            if ((day.value() & kinds) && !found.contains(day.key()))
                found.append(day.key());
        }
    }
    found.sort();
    return found;
}

QStringList RecordedDays::faults(const QString &day) const
{
    QStringList reasons;
    for (const Fault &fault : m_faults) {
        if (fault.lastDay.isEmpty() || fault.lastDay >= day)
            reasons.append(fault.reason);
    }
    return reasons;
}
