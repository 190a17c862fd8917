#include "symbolscommand.h"

#include "localservice.h"
#include "recordwriter.h"
#include "symboltable.h"

#include <commandline.h>
#include <store.h>
#include <terminal.h>

#include <QCoreApplication>

namespace {

const QStringList fields { QStringLiteral("Symbol"),       QStringLiteral("SecurityName"),
                           QStringLiteral("SecurityType"), QStringLiteral("Initials"),
                           QStringLiteral("RecordedDays"), QStringLiteral("FirstRecorded"),
                           QStringLiteral("LastRecorded"), QStringLiteral("DailyBars"),
                           QStringLiteral("FirstBar"),     QStringLiteral("LastBar"),
                           QStringLiteral("MinuteBars") };

class SymbolsCommand
{
    Q_DECLARE_TR_FUNCTIONS(SymbolsCommand)

public:
    SymbolsCommand(Options options, const BusSession::Settings *bus);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    bool addBars(Store::Period period, Record *record, QString *error);

    Options m_options;
    const BusSession::Settings &m_bus;
    OutputSettings m_output;
    QStringList m_text;
    Store m_store;
};

CommandLine::Command SymbolsCommand::description()
{
    return { QStringLiteral("symbols"), tr("Search securities, and tell what data there is of them"),
             tr("Without TEXT: the securities of which there are recordings or bars. The data are those of the folder, "
                "even if there is a bus. Recorded days can be replayed.\n"
                "Exit codes: 0; 1 if nothing is found; 2 for a usage error.") };
}

SymbolsCommand::SymbolsCommand(Options options, const BusSession::Settings *bus) : m_options(options), m_bus(*bus)
{
    m_output.addOptions(&m_options, OutputSettings::recordFormats(), fields);
    m_options.addArgument(QStringLiteral("TEXT"), Options::Any, &m_text,
                          tr("Part of a symbol, of a name or of its pinyin initials"));
}

ExitCode SymbolsCommand::run(QString *error)
{
    BusSession::Settings settings = m_bus;
    settings.bus.url.clear();
    SymbolTable table;
    Output output;
    if (!table.load(settings, error))
        return ExitUsage;
    if (!output.open(m_output.path, error))
        return ExitFailure;
    const QString store = LocalService::prepareStore(m_bus.folder, error);
    if (store.isEmpty() || !m_store.open(store, error))
        return ExitUsage;

    const QString text = m_text.join(QLatin1Char(' '));
    const RecordedDays &recorded = table.recordedDays();
    for (const QString &fault : recorded.faults())
        Terminal::complain(fault);
    RecordWriter writer(&output, m_output);
    bool found = false;
    for (const SymbolTable::Security &security : table.find(text)) {
        Record record(QStringLiteral("symbol"), security.symbol);
        record.add(QStringLiteral("Symbol"), security.symbol);
        record.add(QStringLiteral("SecurityName"), security.name);
        record.add(QStringLiteral("SecurityType"), security.type);
        record.add(QStringLiteral("Initials"), security.initials);
        const QStringList days = recorded.days(RecordedDays::AnyKind, { security.symbol });
        const bool isRecorded = !days.isEmpty();
        record.add(QStringLiteral("RecordedDays"), isRecorded ? QVariant(days.size()) : QVariant());
        record.add(QStringLiteral("FirstRecorded"), isRecorded ? QVariant(days.constFirst()) : QVariant());
        record.add(QStringLiteral("LastRecorded"), isRecorded ? QVariant(days.constLast()) : QVariant());
        if (!addBars(Store::Daily, &record, error) || !addBars(Store::Minute, &record, error))
            return ExitFailure;
        const bool hasData = isRecorded || record.value(QStringLiteral("DailyBars")).isValid()
            || record.value(QStringLiteral("MinuteBars")).isValid();
        if (text.isEmpty() && !hasData)
            continue;
        found = true;
        if (!writer.add(record))
            break;
    }
    if (!found)
        Terminal::complain(tr("nothing matches \"%1\"").arg(text));
    if (!writer.finish(error))
        return ExitFailure;
    return found ? ExitOk : ExitFailure;
}

// The number of bars, and of daily bars the first and the last day.
bool SymbolsCommand::addBars(Store::Period period, Record *record, QString *error)
{
    int count = 0;
    int first = 0;
    int last = 0;
    const auto use = [&](const StoreBar &bar) {
        if (count++ == 0)
            first = bar.date;
        last = bar.date;
        return true;
    };
    if (!m_store.readBars(period, record->symbol, { 0, 0 }, { 99991231, 235959999 }, use, error))
        return false;
    const auto known = [count](int value) { return count > 0 ? QVariant(value) : QVariant(); };
    record->add(period == Store::Daily ? QStringLiteral("DailyBars") : QStringLiteral("MinuteBars"), known(count));
    if (period == Store::Daily) {
        const auto day = [&](int date) { return count > 0 ? QVariant(QString::number(date)) : QVariant(); };
        record->add(QStringLiteral("FirstBar"), day(first));
        record->add(QStringLiteral("LastBar"), day(last));
    }
    return true;
}

} // namespace

void addSymbolsCommand(CommandLine *commandLine, const BusSession::Settings *bus)
{
    commandLine->addCommand<SymbolsCommand>(SymbolsCommand::description(), bus);
}
