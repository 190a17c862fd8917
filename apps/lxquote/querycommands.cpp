#include "querycommands.h"

#include "answerwait.h"
#include "figures.h"
#include "querysession.h"
#include "recordwriter.h"
#include "symboltable.h"

#include <commandline.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>
#include <terminal.h>

#include <QCoreApplication>
#include <QHash>

#include <algorithm>
#include <functional>
#include <memory>

namespace {

/// A command that asks for figures of symbols.
struct FigureQuery
{
    /// Called on the main thread for each symbol whose answer has come; without a record if the service knows nothing.
    using Answered = std::function<void(const QString &symbol, const std::optional<Record> &record)>;

    const char *name; ///< of the command and of its records
    QString summary;
    QStringList fields; ///< the first is the symbol
    /// Calls `answered` with what comes from now on, as long as `receiver` lives.
    std::function<void(const FigureQuery &query, QObject *receiver, const Answered &answered)> connect;
    /// Sends the queries. Any thread; may block.
    std::function<void(const QStringList &symbols)> send;
};

class FigureCommand
{
    Q_DECLARE_TR_FUNCTIONS(FigureCommand)

public:
    FigureCommand(Options options, const BusSession::Settings *bus, FigureQuery query);
    ExitCode run(QString *error);

    static void add(CommandLine *commandLine, const BusSession::Settings *bus, const FigureQuery &query);

private:
    Options m_options;
    const BusSession::Settings &m_bus;
    const FigureQuery m_query;
    QuerySession::Settings m_settings;
    OutputSettings m_output;
    SymbolSettings m_symbolSettings;
    QStringList m_symbols;
};

void FigureCommand::add(CommandLine *commandLine, const BusSession::Settings *bus, const FigureQuery &query)
{
    const QString exitCodes =
        tr("Exit codes: 0; 1 if the service knows nothing of a symbol; 2 for a usage error; 3 if nobody answers.");
    commandLine->addCommand<FigureCommand>({ QString::fromLatin1(query.name), query.summary, exitCodes }, bus, query);
}

FigureCommand::FigureCommand(Options options, const BusSession::Settings *bus, FigureQuery query)
    : m_options(options), m_bus(*bus), m_query(std::move(query))
{
    m_settings.addOptions(&m_options);
    m_output.addOptions(&m_options, OutputSettings::recordFormats(), m_query.fields);
    m_symbolSettings.addOptions(&m_options);
}

// Prints the answers in the order of the arguments, and names the symbols without one.
ExitCode FigureCommand::run(QString *error)
{
    if (!QuerySession::Settings::check(m_bus.bus, m_options, error))
        return ExitUsage;
    SymbolTable table;
    if (!table.load(m_bus, error))
        return ExitUsage;
    m_symbols = m_symbolSettings.resolve(table, error);
    if (m_symbols.isEmpty())
        return ExitUsage;
    Output output;
    if (!output.open(m_output.path, error))
        return ExitFailure;
    QuerySession session(m_bus, m_settings);
    if (const ExitCode code = session.open(error))
        return code;
    QHash<QString, std::optional<Record>> answers;
    AnswerWait wait(&session.bus(), session.deadline());
    QObject receiver;
    const auto answered = [&](const QString &symbol, const std::optional<Record> &record) {
        answers.insert(symbol, record);
        if (std::all_of(m_symbols.cbegin(), m_symbols.cend(), [&](const QString &s) { return answers.contains(s); }))
            wait.finish();
    };
    m_query.connect(m_query, &receiver, answered);
    const ExitCode waited = wait.run([this] { m_query.send(m_symbols); }, error);
    if (waited == ExitFailure || answers.isEmpty())
        return waited;

    RecordWriter writer(&output, m_output);
    ExitCode code = ExitOk;
    for (const QString &symbol : qAsConst(m_symbols)) {
        const auto answer = answers.constFind(symbol);
        if (answer == answers.constEnd()) {
            Terminal::complain(tr("no answer for %1").arg(symbol));
            code = ExitTimeout;
        } else if (!answer->has_value()) {
            Terminal::complain(tr("nothing is known of %1").arg(symbol));
            code = std::max(code, ExitFailure);
        } else {
            writer.add(**answer);
        }
    }
    return writer.finish(error) ? code : ExitFailure;
}

// The library does not hand out the indicator figures that it keeps, so the answers are read on their way into it.
void readIndicatorAnswers(const FigureQuery &query, const QString &answerType, QObject *receiver,
                          const FigureQuery::Answered &answered)
{
    const auto read = [query, answerType, answered](const QVariant &type, const QVariant &data) {
        if (type.toString() != answerType)
            return;
        CUnPackMessageCommon answer;
        answer.SetUnPackMsg(data, false);
        const bool known = answer.GetRowCount() > 1;
        if (known)
            answer.SetCurrentRow(1);
        const QString symbol = answer.GetValue(query.fields.constFirst(), QVariant()).toString();
        Record record(QString::fromLatin1(query.name), symbol);
        for (const QString &field : query.fields)
            record.add(field, answer.GetValue(field, QVariant()));
        answered(symbol, known ? std::make_optional(record) : std::nullopt);
    };
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::sigRecvQuotaData, receiver, read);
}

Record deepRecord(const FigureQuery &query, const LxStockDeepData &data)
{
    Record record(QString::fromLatin1(query.name), data.Symbol);
    record.add(QStringLiteral("Symbol"), data.Symbol);
    record.add(QStringLiteral("TotalShare"), data.TotalShare);
    record.add(QStringLiteral("ListedShare"), data.ListedShare);
    record.add(QStringLiteral("NetAssets"), data.NetAssets);
    record.add(QStringLiteral("DividentRate"), data.DividentRate);
    return record;
}

void readDeepData(const FigureQuery &query, QObject *receiver, const FigureQuery::Answered &answered)
{
    QObject::connect(
        &LxQuotaHandler::instance(), &LxQuotaHandler::signalStockDeepDataUpdate, receiver,
        [query, answered](const QStringList &symbols) {
            QList<LxStockDeepData> known;
            LxQuotaHandler::instance().QueryStockDeepData(symbols, known, false);
            for (const LxStockDeepData &data : qAsConst(known)) {
                const bool isKnown = Figures::isKnown(data.TotalShare) || Figures::isKnown(data.ListedShare)
                    || Figures::isKnown(data.NetAssets) || Figures::isKnown(data.DividentRate);
                answered(data.Symbol, isKnown ? std::make_optional(deepRecord(query, data)) : std::nullopt);
            }
        });
}

QStringList names(const char *string)
{
    return QString::fromLatin1(string).split(QLatin1Char(' '));
}

} // namespace

void addFigureCommands(CommandLine *commandLine, const BusSession::Settings *bus)
{
    const auto tr = [](const char *string) { return QCoreApplication::translate("FigureCommand", string); };
    const auto indicator = [](const char *answerType) {
        return [type = QString::fromLatin1(answerType)](const FigureQuery &query, QObject *receiver,
                                                        const FigureQuery::Answered &answered) {
            readIndicatorAnswers(query, type, receiver, answered);
        };
    };
    FigureCommand::add(commandLine, bus,
                       { "deep", tr("Print the share capital and the net assets per share of symbols"),
                         names("Symbol TotalShare ListedShare NetAssets DividentRate"), readDeepData,
                         [](const QStringList &symbols) {
                             QList<LxStockDeepData> known;
                             LxQuotaHandler::instance().QueryStockDeepData(symbols, known, false);
                         } });
    FigureCommand::add(commandLine, bus,
                       { "pe", tr("Print the price-earnings figures of symbols"),
                         names("Symbol MDDate tradeDay ClosePx eps ttmEps staticPE dynamicPE ttmPE"),
                         indicator("MSG_QUERY_P_E_RATIO_RESPONSE"),
                         [](const QStringList &symbols) { LxQuotaHandler::instance().queryPEData(symbols); } });
    FigureCommand::add(commandLine, bus,
                       { "qrr", tr("Print the average volume per trading minute of the last five days of symbols"),
                         names("Symbol MDDate last5DayVolumePerMinute"),
                         indicator("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"),
                         [](const QStringList &symbols) { LxQuotaHandler::instance().queryQRRData(symbols); } });
    FigureCommand::add(commandLine, bus,
                       { "risedays", tr("Print the counts of consecutive rising days of symbols"),
                         names("Symbol MDDate days"), indicator("MSG_QUERY_UP_N_DAY_RESPONSE"),
                         [](const QStringList &symbols) { LxQuotaHandler::instance().queryRiseDayData(symbols); } });
}
