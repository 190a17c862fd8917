#include "klinecommand.h"

#include "arguments.h"
#include "candlechart.h"
#include "querysession.h"
#include "rowprinter.h"
#include "terminal.h"

#include <lxquotahandler.h>

#include <QTimer>

namespace {

// An answer comes in messages of at most this many bars; a full one may be the last all the same.
constexpr int BarsPerMessage = 1000;
constexpr int LastMessageWaitMs = 500;
constexpr int ChartRows = 20;

struct KLineOptions
{
    QString symbol;
    EMD_KLINE_PERIOD period = EMD_KLINE_PERIOD_1DAY;
    QDate from;
    QDate to;
    bool cached = false;
};

QVector<QVariant> row(const QVariantMap &bar)
{
    QVector<QVariant> values;
    for (const char *key : { "Symbol", "MDDate", "MDTime", "OpenPx", "HighPx", "LowPx", "ClosePx", "TotalVolumeTrade",
                             "TotalValueTrade" })
        values.append(bar.value(QString::fromLatin1(key)));
    return values;
}

// Prices that a bar lacks stay without value.
QVariantMap toBar(const QDate &date, const StockPeriod1DInfo &info)
{
    return { { QStringLiteral("Symbol"), info.symbol },
             { QStringLiteral("MDDate"), date.toString(QStringLiteral("yyyyMMdd")) },
             { QStringLiteral("OpenPx"), info.openPx },
             { QStringLiteral("HighPx"), info.highPx },
             { QStringLiteral("LowPx"), info.lowPx },
             { QStringLiteral("ClosePx"), info.closePx },
             { QStringLiteral("TotalVolumeTrade"), info.totalVolumeTrade },
             { QStringLiteral("TotalValueTrade"), info.totalValueTrade } };
}

// Asks for the bars and gathers what signalKLineResponse brings.
ExitCode requestBars(const KLineOptions &options, QuerySession &session, QList<QVariantMap> *bars)
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    AnswerWait wait(session);
    QTimer lastMessage;
    lastMessage.setSingleShot(true);
    QObject::connect(&lastMessage, &QTimer::timeout, [&wait] { wait.finish(); });
    QObject receiver;
    QObject::connect(&quota, &LxQuotaHandler::signalKLineResponse, &receiver,
                     [&](const QList<QVariantMap> &list, EMD_KLINE_PERIOD) {
                         *bars += list;
                         if (list.size() < BarsPerMessage)
                             wait.finish();
                         else
                             lastMessage.start(LastMessageWaitMs);
                     });
    // Bars that are cached are not announced by it, and an empty answer by nothing at all; both come through here.
    QObject::connect(&quota, &LxQuotaHandler::sigRecvQuotaData, &receiver,
                     [&](const QVariant &type, const QVariant &data) {
                         if (type.toString() == QLatin1String("KLineResponse") && data.toList().isEmpty())
                             wait.finish();
                     });
    const QDateTime start(options.from, QTime(0, 0));
    // A daily bar stands at its day's midnight.
    const QDateTime stop(options.to, options.period == EMD_KLINE_PERIOD_1DAY ? QTime(0, 0) : QTime(23, 59, 59));
    quota.AsyncRequestKLineData(options.symbol, start, stop, options.period, EMD_EXRIGHTS_TYPE_DEFAULT);
    return wait.run();
}

// The road of the period query: the answer is handed to the period cache, as a plug-in may do by the slot's name, and
// the query is then answered from the cache.
ExitCode queryCachedBars(const KLineOptions &options, QuerySession &session, QList<QVariantMap> *bars)
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QObject filler;
    QObject::connect(&quota, &LxQuotaHandler::signalKLineResponse, &filler,
                     [&quota](const QList<QVariantMap> &list, EMD_KLINE_PERIOD period) {
                         QMetaObject::invokeMethod(&quota, "slotProcessPeriod1DKLineDate", Qt::QueuedConnection,
                                                   Q_ARG(QList<QVariantMap>, list), Q_ARG(EMD_KLINE_PERIOD, period));
                     });
    QList<QVariantMap> received;
    const ExitCode code = requestBars(options, session, &received);
    if (code != ExitOk || received.isEmpty())
        return code;
    // The slot has been queued behind the last message; this waits for it.
    QMetaObject::invokeMethod(
        &quota, [] {}, Qt::BlockingQueuedConnection);
    // A range that ends on days without bars would bring everything from its start on, and request the rest.
    const auto day = [](const QVariantMap &bar) {
        return QDate::fromString(bar.value(QStringLiteral("MDDate")).toString(), QStringLiteral("yyyyMMdd"));
    };
    QObject::connect(
        &quota, &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo, &filler,
        [bars](const QString &, const QMap<QDate, StockPeriod1DInfo> &data) {
            for (auto bar = data.cbegin(); bar != data.cend(); ++bar)
                bars->append(toBar(bar.key(), bar.value()));
        },
        Qt::DirectConnection);
    quota.QueryStockPeriod1DInfo(options.symbol, day(received.constFirst()), day(received.constLast()), false);
    return ExitOk;
}

QString candles(const QList<QVariantMap> &bars, const QString &symbol)
{
    const auto number = [](const QVariantMap &bar, const char *key) {
        return bar.value(QString::fromLatin1(key)).toDouble();
    };
    QVector<Candle> candles;
    for (const QVariantMap &bar : bars) {
        const QString time = bar.value(QStringLiteral("MDTime")).toString();
        QString label = QDate::fromString(bar.value(QStringLiteral("MDDate")).toString(), QStringLiteral("yyyyMMdd"))
                            .toString(Qt::ISODate);
        if (!time.isEmpty())
            label += QLatin1Char(' ') + time.mid(0, 2) + QLatin1Char(':') + time.mid(2, 2);
        candles.append(
            { label, number(bar, "OpenPx"), number(bar, "HighPx"), number(bar, "LowPx"), number(bar, "ClosePx") });
    }
    const int rows = std::min(ChartRows, Terminal::rows() - 4);
    return QStringLiteral("%1, %2 bars\n").arg(symbol).arg(bars.size())
        + drawCandles(candles, Terminal::columns(), rows);
}

} // namespace

int klineCommand(const QStringList &arguments)
{
    static const QString chart = QStringLiteral("candles");
    const QStringList formats = RowPrinter::formats() + QStringList { chart };
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the bars of a symbol, or draws them as candles: red up, green down. Candles are the default on a\n"
        "terminal, a table elsewhere. Exit code 1 if there are no bars, 3 if the answer does not come in time."));
    parser.addPositionalArgument(QStringLiteral("kline"), QString());
    parser.addPositionalArgument(QStringLiteral("SYMBOL"), QStringLiteral("The symbol, for example 600000.SH."));
    parser.addOption({ QStringLiteral("period"), QStringLiteral("1d or 1m (default: 1d)."), QStringLiteral("PERIOD"),
                       QStringLiteral("1d") });
    parser.addOption({ QStringLiteral("from"), QStringLiteral("First day, yyyy-MM-dd."), QStringLiteral("DATE") });
    parser.addOption({ QStringLiteral("to"), QStringLiteral("Last day, yyyy-MM-dd."), QStringLiteral("DATE") });
    parser.addOption({ QStringLiteral("cached"),
                       QStringLiteral("Take the daily bars by way of the library's period query and its cache.") });
    QuerySession::addOptions(parser);
    Arguments::addFormatOption(parser, formats);
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, arguments, &exitCode))
        return exitCode;

    QString error;
    QString format;
    KLineOptions options;
    QuerySession::Options sessionOptions;
    if (!QuerySession::readOptions(parser, &sessionOptions, &error)
        || !Arguments::readFormat(parser, formats, &format, &error))
        return Arguments::usageError(error);
    if (!parser.isSet(QStringLiteral("format")) && Terminal::isInteractive())
        format = chart;
    if (parser.positionalArguments().size() != 2)
        return Arguments::usageError(QStringLiteral("kline: give one symbol"));
    options.symbol = parser.positionalArguments().at(1);
    options.from = QDate::fromString(parser.value(QStringLiteral("from")), Qt::ISODate);
    options.to = QDate::fromString(parser.value(QStringLiteral("to")), Qt::ISODate);
    if (!options.from.isValid() || !options.to.isValid() || options.to < options.from)
        return Arguments::usageError(QStringLiteral("kline: give --from and --to as yyyy-MM-dd, in order"));
    const QString period = parser.value(QStringLiteral("period"));
    if (period != QLatin1String("1d") && period != QLatin1String("1m"))
        return Arguments::usageError(QStringLiteral("\"%1\" is no period: 1d or 1m").arg(period));
    options.period = period == QLatin1String("1m") ? EMD_KLINE_PERIOD_1MIN : EMD_KLINE_PERIOD_1DAY;
    options.cached = parser.isSet(QStringLiteral("cached"));
    if (options.cached && options.period == EMD_KLINE_PERIOD_1MIN)
        return Arguments::usageError(QStringLiteral("--cached: only daily bars can be asked for from the cache"));

    QuerySession session(sessionOptions);
    if (const ExitCode code = session.open(&error))
        return Arguments::failure(code, error);
    // Queued connections with these arguments are for those who make them to prepare.
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");
    QList<QVariantMap> bars;
    const ExitCode code =
        options.cached ? queryCachedBars(options, session, &bars) : requestBars(options, session, &bars);
    if (code == ExitTimeout)
        return Arguments::failure(code, QStringLiteral("the bars of %1 did not come in time").arg(options.symbol));
    if (code != ExitOk)
        return code;
    if (bars.isEmpty())
        return Arguments::failure(ExitFailure, QStringLiteral("no bars of %1 in this range").arg(options.symbol));
    if (format == chart) {
        Terminal::out(candles(bars, options.symbol));
        return ExitOk;
    }
    RowPrinter printer({ QStringLiteral("Symbol"), QStringLiteral("MDDate"), QStringLiteral("MDTime"),
                         QStringLiteral("OpenPx"), QStringLiteral("HighPx"), QStringLiteral("LowPx"),
                         QStringLiteral("ClosePx"), QStringLiteral("TotalVolumeTrade"),
                         QStringLiteral("TotalValueTrade") });
    for (const QVariantMap &bar : qAsConst(bars))
        printer.add(row(bar));
    printer.print(format);
    return ExitOk;
}
