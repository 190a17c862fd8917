#include "watchcommand.h"

#include "arguments.h"
#include "marketsession.h"
#include "quoteview.h"
#include "recordjson.h"
#include "terminal.h"
#include "watchtable.h"

#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>

#include <QElapsedTimer>
#include <QTimer>

namespace {

constexpr int DrawIntervalMs = 50;
constexpr int RankingKinds = 3;
constexpr int RankingRowsShown = 5;

const QStringList formats { QStringLiteral("table"), QStringLiteral("ndjson") };
const QStringList kinds { QStringLiteral("quote"), QStringLiteral("trade"), QStringLiteral("ranking"),
                          QStringLiteral("updown") };

struct WatchOptions
{
    QStringList symbols;
    QStringList kinds;
    bool json = false;
};

// Empty if nobody is ranked.
QString rankingText(const QVariant &data)
{
    static const QString names[RankingKinds] { QStringLiteral("change"), QStringLiteral("turnover"),
                                               QStringLiteral("amplitude") };
    CUnPackMessageCommon ranking;
    ranking.SetUnPackMsg(data, false);
    if (ranking.GetRowCount() < 2)
        return QString();
    const QVariant none;
    const int kind = ranking.GetValue(QStringLiteral("RankingKind"), none).toInt();
    QString text = QStringLiteral("top by %1:").arg(kind >= 1 && kind <= RankingKinds ? names[kind - 1] : QString());
    for (int row = 1; row < qMin(ranking.GetRowCount(), 1 + RankingRowsShown); ++row) {
        ranking.SetCurrentRow(row);
        const double value = ranking.GetValue(QStringLiteral("Value"), none).toDouble();
        text += QStringLiteral("  %1 %2").arg(ranking.GetValue(QStringLiteral("Symbol"), none).toString(),
                                              kind == 2 ? QuoteText::amount(value) : QuoteText::percent(value));
    }
    return text;
}

QString upsDownsText(const QVariant &data)
{
    CUnPackMessageCommon analysis;
    analysis.SetUnPackMsg(data, false);
    const QVariant none;
    const auto text = [&](const char *key) { return analysis.GetValue(QString::fromLatin1(key), none).toString(); };
    QStringList markets;
    for (int row = 1; row < analysis.GetRowCount(); ++row) {
        analysis.SetCurrentRow(row);
        markets.append(QStringLiteral("%1: %2 up (%3 limit), %4 down (%5 limit), %6 unchanged")
                           .arg(text("Market"), text("Rising"), text("LimitUp"), text("Falling"), text("LimitDown"),
                                text("Unchanged")));
    }
    return markets.join(QStringLiteral("   "));
}

// Receives the library's signals on the main thread and shows them.
class Watch : public QObject
{
public:
    Watch(MarketSession &session, WatchOptions options)
        : m_session(session), m_options(std::move(options)), m_drawsTable(!m_options.json && Terminal::isInteractive()),
          m_table(m_options.symbols)
    {
    }

    void subscribe();
    /// Draws what is still waiting to be drawn.
    void finish();
    void printSummary(double seconds) const;

private:
    template<typename Quote>
    void showQuote(RecordingKind kind, const Quote &quote);
    void showTrade(const TradeView &trade);
    void showNote(const char *type, const QString &key, const QVariant &data, const QString &text);
    void countAnnounced(RecordingKind kind) { ++m_announced[static_cast<size_t>(kind)]; }
    void drawSoon();
    void draw();
    QString status() const;

    MarketSession &m_session;
    const WatchOptions m_options;
    const bool m_drawsTable;
    WatchTable m_table;
    bool m_drawPending = false;
    std::array<quint64, RecordingKinds> m_announced {};
};

void Watch::subscribe()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QStringList symbols = m_options.symbols;
    if (m_options.kinds.contains(QStringLiteral("quote"))) {
        connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this,
                [this](const StockQuotaData &quote) { showQuote(RecordingKind::StockQuote, quote); });
        connect(&quota, &LxQuotaHandler::signalIndexQuotaUpdate, this,
                [this](const IndexQuotaData &quote) { showQuote(RecordingKind::IndexQuote, quote); });
        connect(&quota, &LxQuotaHandler::signalFutureQuotaUpdate, this,
                [this](const FutureQuotaData &quote) { showQuote(RecordingKind::FutureQuote, quote); });
        quota.SubscribeQuote(symbols, true);
    }
    if (m_options.kinds.contains(QStringLiteral("trade"))) {
        connect(&quota, &LxQuotaHandler::signalRecordTransactionUpdate, this,
                [this] { countAnnounced(RecordingKind::Transaction); });
        // The library announces a trade by its symbol; the rest is read from the message on its way into the library.
        connect(&quota, &LxQuotaHandler::sigRecvQuotaData, this, [this](const QVariant &type, const QVariant &data) {
            if (type.toString() == QLatin1String("MDTRANSACTIONRECORD"))
                showTrade(TradeView(data));
        });
        quota.SubscribeRecordTransaction(symbols, true);
    }
    if (m_options.kinds.contains(QStringLiteral("ranking"))) {
        connect(&quota, &LxQuotaHandler::signalIndicatorRankingData, this, [this](const QVariant &data) {
            const QString text = rankingText(data);
            showNote("ranking", text.section(QLatin1Char(':'), 0, 0), data, text);
        });
        for (int kind = 1; kind <= RankingKinds; ++kind)
            quota.SubscribeRankingData(QStringList(), kind, true);
    }
    if (m_options.kinds.contains(QStringLiteral("updown"))) {
        connect(&quota, &LxQuotaHandler::signalUpDownAnalyzeData, this, [this](const QVariant &data) {
            showNote("updown", QStringLiteral("updown"), data, upsDownsText(data));
        });
    }
    if (m_drawsTable) {
        connect(&m_session.bus(), &BusSession::stateChanged, this, [this] { drawSoon(); });
        draw();
    } else {
        m_session.bus().printStates();
    }
}

template<typename Quote>
void Watch::showQuote(RecordingKind kind, const Quote &quote)
{
    countAnnounced(kind);
    if (m_options.json) {
        Terminal::out(QString::fromUtf8(RecordJson::line(RecordJson::fromRecord(quote))));
    } else if (m_drawsTable) {
        m_table.update(QuoteView(quote));
        drawSoon();
    } else {
        Terminal::out(WatchTable::line(QuoteView(quote)) + QLatin1Char('\n'));
    }
}

void Watch::showTrade(const TradeView &trade)
{
    if (m_options.json) {
        static const char *const sides[] { nullptr, "buy", "sell" };
        const char *side = sides[trade.side];
        const RecordJson::Json json { { "type", "trade" },
                                      { "Symbol", trade.symbol.toStdString() },
                                      { "MDTime", trade.time.toStdString() },
                                      { "TradePrice", RecordJson::fromNumber(trade.price) },
                                      { "lots", trade.lots },
                                      { "side", side ? RecordJson::Json(side) : RecordJson::Json(nullptr) } };
        Terminal::out(QString::fromUtf8(RecordJson::line(json)));
    } else if (m_drawsTable) {
        m_table.addTrade(trade);
        drawSoon();
    } else {
        Terminal::out(WatchTable::line(trade) + QLatin1Char('\n'));
    }
}

void Watch::showNote(const char *type, const QString &key, const QVariant &data, const QString &text)
{
    if (m_options.json) {
        const RecordJson::Json json { { "type", type }, { "rows", RecordJson::fromBody(data) } };
        Terminal::out(QString::fromUtf8(RecordJson::line(json)));
    } else if (text.isEmpty()) {
        return;
    } else if (m_drawsTable) {
        m_table.setNote(key, text);
        drawSoon();
    } else {
        Terminal::out(text + QLatin1Char('\n'));
    }
}

void Watch::drawSoon()
{
    if (m_drawPending)
        return;
    m_drawPending = true;
    QTimer::singleShot(DrawIntervalMs, this, [this] { finish(); });
}

void Watch::finish()
{
    if (m_drawPending)
        draw();
    m_drawPending = false;
}

void Watch::draw()
{
    if (m_session.bus().isShared())
        m_table.setStatus(status());
    m_table.draw();
}

QString Watch::status() const
{
    QString text = QStringLiteral("bus ") + m_session.bus().state().text();
    const QString drops = ProgramBus::dropsText();
    return drops.isEmpty() ? text : text + QStringLiteral("; dropped ") + drops;
}

void Watch::printSummary(double seconds) const
{
    using Terminal::fitted;
    constexpr int NameColumns = 14;
    constexpr int NumberColumns = -11;
    const auto number = [](quint64 value) {
        return fitted(QuoteText::count(static_cast<double>(value)), NumberColumns);
    };
    // What a shared bus publishes is not known here.
    const bool replayed = !m_session.bus().isShared();
    QString text = fitted(QString(), NameColumns);
    for (const char *column : { "read", "published", "announced", "dropped", "skipped" }) {
        if (replayed || qstrcmp(column, "announced") == 0 || qstrcmp(column, "dropped") == 0)
            text += fitted(QString::fromLatin1(column), NumberColumns);
    }
    text += QLatin1Char('\n');
    quint64 inAll = 0;
    for (int i = 0; i < RecordingKinds; ++i) {
        const auto kind = static_cast<RecordingKind>(i);
        const ReplayCount count = m_session.count(kind);
        const quint64 announced = m_announced[static_cast<size_t>(i)];
        const quint64 dropped = m_session.dropped(kind);
        if (replayed ? count.read + count.skipped == 0 : announced + dropped == 0)
            continue;
        inAll += announced;
        text += fitted(recordingKindInfo(kind).name, NameColumns);
        if (replayed)
            text += number(count.read) + number(count.published);
        text += number(announced) + number(dropped);
        if (replayed)
            text += number(count.skipped);
        text += QLatin1Char('\n');
    }
    text += QStringLiteral("%1 records announced in %2 s (%3/s)\n")
                .arg(QuoteText::count(static_cast<double>(inAll)).trimmed(), QString::number(seconds, 'f', 2),
                     QuoteText::count(seconds > 0 ? static_cast<double>(inAll) / seconds : 0));
    const QString drops = ProgramBus::dropsText();
    if (!drops.isEmpty())
        text += QStringLiteral("dropped by the bus: %1\n").arg(drops);
    if (m_drawsTable || !m_options.json)
        Terminal::out(QLatin1Char('\n') + text);
    else
        Terminal::err(text);
}

} // namespace

int watchCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Shows the quotes of the symbols as they change, of a bus or of a replay of recorded market data: a table "
        "that\n"
        "updates in place on a terminal, else a line an update. Ends with the recording or on Ctrl-C, with a summary:\n"
        "records read; published, that is of the symbols watched; announced by the library; dropped by the bus;\n"
        "skipped as broken. Of a bus it knows what it was sent only: records announced and dropped.\n"
        "Exit code 1 if the bus fails."));
    parser.addPositionalArgument(QStringLiteral("watch"), QString());
    parser.addPositionalArgument(QStringLiteral("SYMBOL"), QStringLiteral("Symbols, for example 600519.SH."),
                                 QStringLiteral("SYMBOL..."));
    MarketSession::addOptions(parser, QStringLiteral("60"));
    Arguments::addFormatOption(parser, formats);
    parser.addOption({ QStringLiteral("kinds"),
                       QStringLiteral("What to show: any of %1, comma-separated (default: quote).")
                           .arg(kinds.join(QStringLiteral(", "))),
                       QStringLiteral("KINDS"), QStringLiteral("quote") });
    int exitCode = ExitOk;
    if (!Arguments::parse(parser, arguments, &exitCode))
        return exitCode;

    QString error;
    QString format;
    MarketSession::Options sessionOptions;
    if (!MarketSession::readOptions(parser, &sessionOptions, &error)
        || !Arguments::readFormat(parser, formats, &format, &error))
        return Arguments::usageError(error);
    WatchOptions options;
    options.symbols = parser.positionalArguments().mid(1);
    options.symbols.removeDuplicates();
    if (options.symbols.isEmpty())
        return Arguments::usageError(QStringLiteral("watch: no symbol given"));
    options.kinds = parser.value(QStringLiteral("kinds")).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (options.kinds.isEmpty())
        return Arguments::usageError(QStringLiteral("watch: no kind given"));
    for (const QString &kind : qAsConst(options.kinds)) {
        if (!kinds.contains(kind))
            return Arguments::usageError(
                QStringLiteral("\"%1\" is no kind: %2").arg(kind, kinds.join(QStringLiteral(", "))));
    }
    options.json = format == formats.last();

    MarketSession session(sessionOptions);
    if (const ExitCode code = session.open(&error))
        return Arguments::failure(code, error);
    session.bus().warnOfUnknown(options.symbols);
    Watch watch(session, options);
    watch.subscribe();

    QElapsedTimer clock;
    clock.start();
    const ExitCode code = session.run(&error);

    watch.finish();
    watch.printSummary(static_cast<double>(clock.elapsed()) / 1000.0);
    return code == ExitOk ? ExitOk : Arguments::failure(code, error);
}
