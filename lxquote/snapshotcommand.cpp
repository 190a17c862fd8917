#include "snapshotcommand.h"

#include "arguments.h"
#include "marketsession.h"
#include "quoteview.h"
#include "recordfields.h"
#include "recordjson.h"
#include "terminal.h"

#include <lxquotahandler.h>

#include <QLocale>
#include <QTimer>

#include <algorithm>

namespace {

using Terminal::Colour;
using Terminal::fitted;

constexpr int NameWidth = 24;
constexpr int ValueWidth = -20;

const QStringList formats { QStringLiteral("table"), QStringLiteral("json") };

QString text(const QString &value)
{
    return value.isEmpty() ? QStringLiteral("-") : value;
}

QString text(double value)
{
    if (value == QUOTA_INVALID_VALUE)
        return QStringLiteral("-");
    return QLocale(QLocale::English).toString(value, 'f', QLocale::FloatingPointShortest);
}

QString text(qint64 value)
{
    return value == QUOTA_INVALID_VALUE ? QStringLiteral("-") : QLocale(QLocale::English).toString(value);
}

QString ladderLine(const QString &level, double price, qint64 quantity, double preClose)
{
    const Colour colour = price > 0 ? Terminal::colourOfChange(price - preClose) : Colour::Dim;
    return QStringLiteral("  %1 %2 %3\n")
        .arg(fitted(level, 7), Terminal::coloured(fitted(QuoteText::price(price), -10), colour),
             fitted(text(quantity), -14));
}

// The order book as a ladder: asks from the highest down, then bids from the best down.
QString ladder(const StockQuotaData &quote)
{
    QString lines;
    for (int level = STOCK_BOOK_LEVELS - 1; level >= 0; --level)
        lines += ladderLine(QStringLiteral("ask %1").arg(level + 1), quote.SellPrice[level], quote.SellOrderQty[level],
                            quote.PreClosePx);
    lines += QStringLiteral("  ") + QString(33, QLatin1Char('-')) + QLatin1Char('\n');
    for (int level = 0; level < STOCK_BOOK_LEVELS; ++level)
        lines += ladderLine(QStringLiteral("bid %1").arg(level + 1), quote.BuyPrice[level], quote.BuyOrderQty[level],
                            quote.PreClosePx);
    return lines;
}

struct FieldPrinter
{
    QString &lines;

    template<typename Value>
    void operator()(const char *name, const Value &value)
    {
        lines += QStringLiteral("  %1 %2\n")
                     .arg(fitted(QString::fromLatin1(name), NameWidth), fitted(text(value), ValueWidth));
    }

    // The order book stands in the ladder.
    template<typename Value, size_t Levels>
    void operator()(const char *, const Value (&)[Levels])
    {
    }
};

QString sheet(const StockQuotaData &quote)
{
    QString lines =
        Terminal::coloured(quote.Symbol + QLatin1Char(' ') + quote.SecurityName, Colour::Bold) + QLatin1Char('\n');
    visitFields(quote, FieldPrinter { lines });
    return lines + ladder(quote) + QLatin1Char('\n');
}

// Of a shared bus.
void stopWhenAllHaveCome(MarketSession *session, const QStringList &symbols, int timeoutMs)
{
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalStockQuotaUpdate, session, [session, symbols] {
        const auto hasCome = [](const QString &symbol) {
            return !LxQuotaHandler::instance().GetLastStockQuotaDataTotal(symbol).Symbol.isEmpty();
        };
        if (std::all_of(symbols.cbegin(), symbols.cend(), hasCome))
            session->stop();
    });
    QTimer::singleShot(timeoutMs, session, [session] { session->stop(); });
}

} // namespace

int snapshotCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the last quote of each symbol whole: all its fields and the order book as a ladder. A figure without "
        "a\n"
        "value is \"-\", or null in JSON. The quotes are those at the end of a replay of recorded market data, or the\n"
        "latest of a bus, which are waited for.\n"
        "Exit code 1 if a symbol has no quote or the bus fails, 3 if a quote of the bus does not come in time."));
    parser.addPositionalArgument(QStringLiteral("snapshot"), QString());
    parser.addPositionalArgument(QStringLiteral("SYMBOL"), QStringLiteral("Stock symbols, for example 600519.SH."),
                                 QStringLiteral("SYMBOL..."));
    MarketSession::addOptions(parser, QStringLiteral("max"));
    BusSession::addTimeoutOption(parser);
    Arguments::addFormatOption(parser, formats);
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, arguments, &exitCode))
        return exitCode;

    QString error;
    QString format;
    MarketSession::Options options;
    int timeoutMs = 0;
    if (!MarketSession::readOptions(parser, &options, &error) || !BusSession::readTimeout(parser, &timeoutMs, &error)
        || !Arguments::readFormat(parser, formats, &format, &error))
        return Arguments::usageError(error);
    QStringList symbols = parser.positionalArguments().mid(1);
    if (symbols.isEmpty())
        return Arguments::usageError(QStringLiteral("snapshot: no symbol given"));

    const bool isShared = options.bus.bus.isShared();
    if (!isShared && parser.isSet(QStringLiteral("timeout")))
        return Arguments::usageError(QStringLiteral("--timeout goes with a bus (--bus or LX_BUS_URL)"));

    MarketSession session(options);
    if (const ExitCode code = session.open(&error))
        return Arguments::failure(code, error);
    session.bus().warnOfUnknown(symbols);
    session.bus().printStates();
    if (isShared)
        stopWhenAllHaveCome(&session, symbols, timeoutMs);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    // The trades first: the quote is what is waited for, and the last trade is part of it.
    quota.SubscribeRecordTransaction(symbols, true);
    quota.SubscribeQuote(symbols, true);
    if (const ExitCode code = session.run(&error))
        return Arguments::failure(code, error);

    RecordJson::Json json = RecordJson::Json::array();
    for (const QString &symbol : qAsConst(symbols)) {
        const StockQuotaData quote = quota.GetLastStockQuotaDataTotal(symbol);
        if (quote.Symbol.isEmpty()) {
            exitCode = isShared
                ? Arguments::failure(ExitTimeout, QStringLiteral("no stock quote of %1 came").arg(symbol))
                : Arguments::failure(ExitFailure, QStringLiteral("no stock quote of %1").arg(symbol));
        } else if (format == formats.first()) {
            Terminal::out(sheet(quote));
        } else {
            json.push_back(RecordJson::fromRecord(quote));
        }
    }
    if (format != formats.first())
        Terminal::out(QString::fromStdString(json.dump(2)) + QLatin1Char('\n'));
    return exitCode;
}
