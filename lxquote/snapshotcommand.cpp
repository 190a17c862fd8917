#include "snapshotcommand.h"

#include "arguments.h"
#include "interrupt.h"
#include "marketsession.h"
#include "quoteview.h"
#include "recordfields.h"
#include "recordjson.h"
#include "terminal.h"

#include <lxquotahandler.h>

#include <QCoreApplication>
#include <QLocale>

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
    return QStringLiteral("  %1 %2 %3\n").arg(fitted(level, 7), Terminal::coloured(fitted(QuoteText::price(price), -10), colour),
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
        lines += QStringLiteral("  %1 %2\n").arg(fitted(QString::fromLatin1(name), NameWidth),
                                                 fitted(text(value), ValueWidth));
    }

    // The order book stands in the ladder.
    template<typename Value, size_t Levels>
    void operator()(const char *, const Value (&)[Levels])
    {
    }
};

QString sheet(const StockQuotaData &quote)
{
    QString lines = Terminal::coloured(quote.Symbol + QLatin1Char(' ') + quote.SecurityName, Colour::Bold)
            + QLatin1Char('\n');
    visitFields(quote, FieldPrinter { lines });
    return lines + ladder(quote) + QLatin1Char('\n');
}

} // namespace

int snapshotCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Replays recorded market data and then prints the last quote of each symbol whole: all its fields and the\n"
        "order book as a ladder. A figure without a value is \"-\", or null in JSON.\n"
        "Exit code 1 if a symbol has no quote."));
    parser.addPositionalArgument(QStringLiteral("snapshot"), QString());
    parser.addPositionalArgument(QStringLiteral("SYMBOL"), QStringLiteral("Stock symbols, for example 600519.SH."),
                                 QStringLiteral("SYMBOL..."));
    Arguments::addSessionOptions(parser, QStringLiteral("max"));
    Arguments::addFormatOption(parser, formats);
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, arguments, &exitCode))
        return exitCode;

    QString error;
    QString format;
    MarketSession::Options options;
    if (!Arguments::readSessionOptions(parser, &options, &error)
        || !Arguments::readFormat(parser, formats, &format, &error))
        return Arguments::usageError(error);
    QStringList symbols = parser.positionalArguments().mid(1);
    if (symbols.isEmpty())
        return Arguments::usageError(QStringLiteral("snapshot: no symbol given"));

    MarketSession session(options);
    if (!session.open(&error)) {
        Terminal::err(QStringLiteral("lxquote: %1\n").arg(error));
        return ExitUsage;
    }
    session.warnOfUnknown(symbols);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    quota.SubscribeQuote(symbols, true);
    quota.SubscribeRecordTransaction(symbols, true);
    Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::interrupted, &session, &MarketSession::stop);
    QObject::connect(&session, &MarketSession::finished, qApp, [&error](const QString &reason) {
        error = reason;
        QCoreApplication::quit();
    });
    session.start();
    QCoreApplication::exec();
    if (!error.isEmpty()) {
        Terminal::err(QStringLiteral("lxquote: %1\n").arg(error));
        return ExitUsage;
    }

    RecordJson::Json json = RecordJson::Json::array();
    for (const QString &symbol : qAsConst(symbols)) {
        const StockQuotaData quote = quota.GetLastStockQuotaDataTotal(symbol);
        if (quote.Symbol.isEmpty()) {
            Terminal::err(QStringLiteral("lxquote: no stock quote of %1\n").arg(symbol));
            exitCode = ExitFailure;
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
