#include "tradingdaycommand.h"

#include "answerwait.h"
#include "querysession.h"
#include "recordwriter.h"

#include <commandline.h>
#include <dates.h>
#include <lxquotahandler.h>

#include <QCoreApplication>

#include <memory>

namespace {

constexpr int FlushTimeoutMs = 1000;

const QStringList fields { QStringLiteral("InitStartDate"), QStringLiteral("Days"), QStringLiteral("TradeDate") };

class TradingDayCommand
{
    Q_DECLARE_TR_FUNCTIONS(TradingDayCommand)

public:
    TradingDayCommand(Options options, const BusSession::Settings *bus);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    Options m_options;
    const BusSession::Settings &m_bus;
    QuerySession::Settings m_settings;
    OutputSettings m_output;
    QStringList m_date;
    QStringList m_days;
};

CommandLine::Command TradingDayCommand::description()
{
    return { QStringLiteral("tradeday"), tr("Print the trading day some days after a date, or before it"),
             tr("The date itself is not counted.\n"
                "Exit codes: 0; 1 if the calendar has no such day; 2 for a usage error; 3 if nobody answers.") };
}

TradingDayCommand::TradingDayCommand(Options options, const BusSession::Settings *bus) : m_options(options), m_bus(*bus)
{
    m_settings.addOptions(&m_options);
    m_output.addOptions(&m_options, OutputSettings::recordFormats(), fields);
    m_options.addArgument(QStringLiteral("DATE"), Options::One, &m_date, tr("yyyy-MM-dd or yyyyMMdd"));
    m_options.addArgument(QStringLiteral("N"), Options::One, &m_days,
                          tr("Number of trading days, for example 5 or -1"));
}

ExitCode TradingDayCommand::run(QString *error)
{
    if (!QuerySession::Settings::check(m_bus.bus, m_options, error))
        return ExitUsage;
    const std::optional<QDate> date = Dates::parseDate(m_date.constFirst());
    if (!date) {
        *error = tr("\"%1\" is not a date").arg(m_date.constFirst());
        return ExitUsage;
    }
    bool isNumber = false;
    const int days = m_days.constFirst().toInt(&isNumber);
    if (!isNumber) {
        *error = tr("\"%1\" is not a number of days").arg(m_days.constFirst());
        return ExitUsage;
    }
    Output output;
    if (!output.open(m_output.path, error))
        return ExitFailure;
    QuerySession session(m_bus, m_settings);
    if (const ExitCode code = session.open(error))
        return code;
    // Shared with the query, which outlives this call if nobody answers.
    const auto day = std::make_shared<QString>();
    AnswerWait wait(&session.bus(), session.deadline());
    QObject::connect(&wait, &AnswerWait::queryReturned, &wait, &AnswerWait::finish);
    const auto query = [day, date, days, bus = LxBus::current()] {
        *day = LxQuotaHandler::instance().queryTradeDay(*date, days);
        // A request that nobody serves returns just before the bus counts it.
        if (day->isEmpty())
            bus->openPublisher()->flush(FlushTimeoutMs);
    };
    if (const ExitCode code = wait.run(query, error))
        return code;
    if (day->isEmpty()) {
        *error = tr("no trading day is known %1 trading days from %2").arg(days).arg(Dates::toString(*date));
        return ExitFailure;
    }
    Record record(QStringLiteral("tradeday"), QString());
    const QVariant values[] { Dates::toCompactString(*date), days, *day };
    for (int i = 0; i < fields.size(); ++i)
        record.add(fields.at(i), values[i]);
    RecordWriter writer(&output, m_output);
    writer.add(record);
    return writer.finish(error) ? ExitOk : ExitFailure;
}

} // namespace

void addTradingDayCommand(CommandLine *commandLine, const BusSession::Settings *bus)
{
    commandLine->addCommand<TradingDayCommand>(TradingDayCommand::description(), bus);
}
