#include "querycommands.h"

#include "arguments.h"
#include "querysession.h"
#include "rowprinter.h"
#include "terminal.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>

#include <QElapsedTimer>
#include <QMap>
#include <QThread>

#include <cstdlib>
#include <functional>

namespace {

// What has come so far, by symbol: a row to print, or an empty one where the service knows nothing.
using Answers = QMap<QString, QVector<QVariant>>;

/// A command that asks for figures of symbols.
struct FigureQuery
{
    const char *command;
    const char *description;
    QStringList columns; ///< the first is the symbol
    /// Sends the queries; calls `answered` on the main thread for each symbol whose answer has come.
    std::function<void(const QStringList &symbols, QObject *receiver,
                       const std::function<void(const QString &symbol, const QVector<QVariant> &row)> &answered)>
        send;
};

QVariant figure(double value)
{
    return value == QUOTA_INVALID_VALUE ? QVariant() : QVariant(value);
}

// Asks, waits, prints in the order of the arguments what has come, and names what has not.
int runFigureQuery(const FigureQuery &query, const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(query.description)
                                     + QStringLiteral("\nExit code 1 if the service knows nothing of a symbol, 3 if an "
                                                      "answer does not come in time."));
    parser.addPositionalArgument(QString::fromLatin1(query.command), QString());
    parser.addPositionalArgument(QStringLiteral("SYMBOL"), QStringLiteral("Symbols, for example 600000.SH."),
                                 QStringLiteral("SYMBOL..."));
    QuerySession::addOptions(parser);
    Arguments::addFormatOption(parser, RowPrinter::formats());
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, arguments, &exitCode))
        return exitCode;
    QString error;
    QString format;
    QuerySession::Options options;
    if (!QuerySession::readOptions(parser, &options, &error)
        || !Arguments::readFormat(parser, RowPrinter::formats(), &format, &error))
        return Arguments::usageError(error);
    QStringList symbols = parser.positionalArguments().mid(1);
    symbols.removeDuplicates();
    if (symbols.isEmpty())
        return Arguments::usageError(QStringLiteral("%1: no symbol given").arg(QLatin1String(query.command)));

    QuerySession session(options);
    if (const ExitCode code = session.open(&error))
        return Arguments::failure(code, error);
    Answers answers;
    AnswerWait wait(session);
    QObject receiver;
    query.send(symbols, &receiver, [&](const QString &symbol, const QVector<QVariant> &row) {
        answers.insert(symbol, row);
        if (std::all_of(symbols.cbegin(), symbols.cend(), [&](const QString &s) { return answers.contains(s); }))
            wait.finish();
    });
    if (wait.run() == ExitFailure)
        return ExitFailure;

    RowPrinter printer(query.columns);
    for (const QString &symbol : qAsConst(symbols)) {
        const auto answer = answers.constFind(symbol);
        if (answer == answers.constEnd()) {
            Terminal::err(QStringLiteral("lxquote: the answer for %1 did not come in time\n").arg(symbol));
            exitCode = ExitTimeout;
        } else if (answer->isEmpty()) {
            Terminal::err(QStringLiteral("lxquote: nothing known of %1\n").arg(symbol));
            exitCode = qMax<int>(exitCode, ExitFailure);
        } else {
            printer.add(*answer);
        }
    }
    printer.print(format);
    return exitCode;
}

// Indicator answers go through the library undigested by sigRecvQuotaData; what it keeps of them it does not hand out.
void readIndicatorAnswers(const QString &answerType, const QStringList &fields, QObject *receiver,
                          const std::function<void(const QString &, const QVector<QVariant> &)> &answered)
{
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::sigRecvQuotaData, receiver,
                     [=](const QVariant &type, const QVariant &data) {
                         if (type.toString() != answerType)
                             return;
                         CUnPackMessageCommon answer;
                         answer.SetUnPackMsg(data, false);
                         const QVariant none;
                         if (answer.GetRowCount() > 1)
                             answer.SetCurrentRow(1);
                         QVector<QVariant> row;
                         if (answer.GetRowCount() > 1) {
                             for (const QString &field : fields)
                                 row.append(answer.GetValue(field, none));
                         }
                         answered(answer.GetValue(QStringLiteral("Symbol"), none).toString(), row);
                     });
}

int runIndicatorQuery(FigureQuery query, const QString &answerType,
                      const std::function<void(const QStringList &symbols)> &ask, const QStringList &arguments)
{
    query.send = [&query, &answerType, &ask](const QStringList &symbols, QObject *receiver, const auto &answered) {
        readIndicatorAnswers(answerType, query.columns, receiver, answered);
        ask(symbols);
    };
    return runFigureQuery(query, arguments);
}

QStringList names(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

int deepCommand(const QStringList &arguments)
{
    FigureQuery query { "deep",
                        "Prints the share capital and net assets per share of symbols, from the library's cache.",
                        names("Symbol TotalShare ListedShare NetAssets DividentRate"),
                        {} };
    query.send = [](const QStringList &symbols, QObject *receiver, const auto &answered) {
        LxQuotaHandler &quota = LxQuotaHandler::instance();
        const auto readCache = [answered](const QStringList &known) {
            QList<LxStockDeepData> cached;
            LxQuotaHandler::instance().QueryStockDeepData(known, cached, false);
            for (const LxStockDeepData &data : qAsConst(cached))
                answered(data.Symbol,
                         { data.Symbol, figure(data.TotalShare), figure(data.ListedShare), figure(data.NetAssets),
                           figure(data.DividentRate) });
        };
        QObject::connect(&quota, &LxQuotaHandler::signalStockDeepDataUpdate, receiver, readCache);
        readCache(symbols);
    };
    return runFigureQuery(query, arguments);
}

int priceEarningsCommand(const QStringList &arguments)
{
    return runIndicatorQuery(
        { "pe",
          "Prints the price-earnings figures of symbols.",
          names("Symbol MDDate tradeDay ClosePx eps ttmEps staticPE dynamicPE ttmPE"),
          {} },
        QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"),
        [](const QStringList &symbols) { LxQuotaHandler::instance().queryPEData(symbols); }, arguments);
}

int volumeRatioCommand(const QStringList &arguments)
{
    return runIndicatorQuery(
        { "qrr",
          "Prints the average volume a trading minute of the last five days of symbols.",
          names("Symbol MDDate last5DayVolumePerMinute"),
          {} },
        QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"),
        [](const QStringList &symbols) { LxQuotaHandler::instance().queryQRRData(symbols); }, arguments);
}

int risingDaysCommand(const QStringList &arguments)
{
    return runIndicatorQuery(
        { "risedays", "Prints the counts of consecutive rising days of symbols.", names("Symbol MDDate days"), {} },
        QStringLiteral("MSG_QUERY_UP_N_DAY_RESPONSE"),
        [](const QStringList &symbols) { LxQuotaHandler::instance().queryRiseDayData(symbols); }, arguments);
}

int tradingDayCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the trading day N trading days after DATE (before it if N is negative). DATE itself is not counted.\n"
        "Exit code 1 if the calendar has no such day, 3 if the answer does not come in time."));
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    parser.addPositionalArgument(QStringLiteral("tradeday"), QString());
    parser.addPositionalArgument(QStringLiteral("DATE"), QStringLiteral("yyyy-MM-dd."));
    parser.addPositionalArgument(QStringLiteral("N"), QStringLiteral("Number of trading days, for example 5 or -1."));
    QuerySession::addOptions(parser);
    Arguments::addFormatOption(parser, RowPrinter::formats());
    // A negative number is no option.
    QStringList parsed;
    QString number;
    for (const QString &argument : arguments) {
        bool isNumber = false;
        argument.toInt(&isNumber);
        if (isNumber && number.isEmpty() && argument.startsWith(QLatin1Char('-')))
            number = argument;
        else
            parsed.append(argument);
    }
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, parsed, &exitCode))
        return exitCode;
    QString error;
    QString format;
    QuerySession::Options options;
    if (!QuerySession::readOptions(parser, &options, &error)
        || !Arguments::readFormat(parser, RowPrinter::formats(), &format, &error))
        return Arguments::usageError(error);
    QStringList positional = parser.positionalArguments().mid(1);
    if (!number.isEmpty())
        positional.append(number);
    if (positional.size() != 2)
        return Arguments::usageError(QStringLiteral("tradeday: give a date and a number of trading days"));
    const QDate date = QDate::fromString(positional.at(0), Qt::ISODate);
    bool isNumber = false;
    const int days = positional.at(1).toInt(&isNumber);
    if (!date.isValid() || !isNumber)
        return Arguments::usageError(
            QStringLiteral("tradeday: \"%1\" \"%2\" are no date and number").arg(positional.at(0), positional.at(1)));

    QuerySession session(options);
    if (const ExitCode code = session.open(&error))
        return Arguments::failure(code, error);
    // The query blocks, and the bus may fail meanwhile.
    QString day;
    AnswerWait wait(session);
    const std::unique_ptr<QThread> thread(
        QThread::create([&] { day = LxQuotaHandler::instance().queryTradeDay(date, days); }));
    QObject::connect(thread.get(), &QThread::finished, &wait, [&wait] { wait.finish(); });
    QElapsedTimer clock;
    clock.start();
    thread->start();
    const ExitCode code = wait.run();
    if (code == ExitFailure)
        std::_Exit(code); // what the query still waits for cannot be called off
    thread->wait();
    // The library tells a failure from a time-out only by how long it takes.
    if (code == ExitTimeout || (day.isEmpty() && clock.hasExpired(session.timeoutMs())))
        return Arguments::failure(ExitTimeout, QStringLiteral("the trading day did not come in time"));
    if (day.isEmpty() && LxBus::current()->statistics().dropped(LxBusDrop::NoService) > 0)
        return Arguments::failure(ExitTimeout, QStringLiteral("nobody on the bus answers"));
    if (day.isEmpty()) {
        return Arguments::failure(
            ExitFailure,
            QStringLiteral("no trading day known %1 trading days from %2").arg(days).arg(date.toString(Qt::ISODate)));
    }
    RowPrinter printer(names("InitStartDate Days TradeDate"));
    printer.add({ date.toString(QStringLiteral("yyyyMMdd")), days, day });
    printer.print(format);
    return ExitOk;
}
