#include "snapshotcommand.h"

#include "answerwait.h"
#include "colours.h"
#include "figures.h"
#include "localservice.h"
#include "marketsession.h"
#include "recordwriter.h"
#include "symboltable.h"

#include <commandline.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>
#include <terminal.h>
#include <translated.h>

#include <QCoreApplication>
#include <QHash>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <optional>

namespace {

using Colours::Colour;
using Terminal::fitted;

constexpr int LastQuotesMs = 1000; // in which the latest quotes come from a bus on which nobody publishes
constexpr int NameWidth = 24;
constexpr int ValueWidth = -20;
constexpr int TradesMs = 1000; // for the last trades; without them the quotes have no last trade

QString ladderLine(const QString &level, const QVariant &price, const QVariant &quantity, const Record &quote)
{
    const double change = price.toDouble() - quote.value(QStringLiteral("PreClosePx")).toDouble();
    const int decimals = Figures::priceDecimals(quote.symbol);
    const QString none = QStringLiteral("-");
    return QStringLiteral("  %1 %2 %3\n")
        .arg(fitted(level, 7),
             Colours::apply(fitted(price.isValid() ? Figures::text(price.toDouble(), decimals) : none, -10),
                            price.isValid() ? Colours::ofChange(change) : Colour::Dim),
             fitted(price.isValid() ? Figures::count(quantity.toDouble()) : none, -14));
}

// The order book as a ladder: asks from the highest down, then bids from the best down.
QString ladder(const Record &quote)
{
    const QVariantList asks = quote.value(QStringLiteral("SellPrice")).toList();
    const QVariantList bids = quote.value(QStringLiteral("BuyPrice")).toList();
    const QVariantList asked = quote.value(QStringLiteral("SellOrderQty")).toList();
    const QVariantList bid = quote.value(QStringLiteral("BuyOrderQty")).toList();
    QString lines;
    for (int level = asks.size() - 1; level >= 0; --level)
        lines += ladderLine(translated("ask %1").arg(level + 1), asks.at(level), asked.value(level), quote);
    if (!asks.isEmpty())
        lines += QStringLiteral("  ") + QString(33, QLatin1Char('-')) + QLatin1Char('\n');
    for (int level = 0; level < bids.size(); ++level)
        lines += ladderLine(translated("bid %1").arg(level + 1), bids.at(level), bid.value(level), quote);
    return lines;
}

QString sheet(const Record &quote)
{
    const QString name = quote.value(QStringLiteral("SecurityName")).toString();
    QString lines =
        Colours::apply(Terminal::printable(quote.symbol + QLatin1Char(' ') + name), Colour::Bold) + QLatin1Char('\n');
    for (const Record::Field &field : quote.fields) {
        if (field.value.userType() == QMetaType::QVariantList) // the ladder shows the order book
            continue;
        const QString text = field.value.isValid()
            ? Figures::text(field.name, field.value, quote.symbol, Figures::ForPeople)
            : QString();
        lines += QStringLiteral("  %1 %2\n")
                     .arg(fitted(Figures::heading(field.name), NameWidth),
                          fitted(text.isEmpty() ? QStringLiteral("-") : text, ValueWidth));
    }
    return lines + ladder(quote) + QLatin1Char('\n');
}

class SnapshotCommand
{
    Q_DECLARE_TR_FUNCTIONS(SnapshotCommand)

public:
    SnapshotCommand(Options options, const BusSession::Settings *bus);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    static QString withoutFigures(const QString &reason);
    std::optional<Record> lastQuote(const QString &symbol) const;
    QStringList stocks() const;
    void stopWhenAllHaveCome(MarketSession *session, const QDeadlineTimer &deadline) const;
    void stopWhenNobodyPublishes(MarketSession *session) const;
    bool isComplete() const;
    void askFigures(BusSession *bus, const QDeadlineTimer &deadline) const;
    ExitCode print(QString *error) const;

    Options m_options;
    const BusSession::Settings &m_bus;
    MarketSession::Settings m_settings;
    OutputSettings m_output;
    SymbolSettings m_symbolSettings;
    QStringList m_symbols;
    QHash<QString, FutureQuotaData> m_futures; // the latest by symbol; the library does not keep them
    QString m_day; // of the replay
    QString m_absence; // that nobody publishes on the bus; empty if somebody does
    int m_timeoutMs = 10000;
};

CommandLine::Command SnapshotCommand::description()
{
    return { QStringLiteral("snapshot"), tr("Print the last quotes whole, with the order book"),
             tr("The quotes are those at the end of a replay of recordings, or the latest of a bus, which are waited "
                "for. A figure that is unknown is \"-\", or null in JSON.\n"
                "Exit codes: 0; 1 if a symbol has no quote or the bus fails; 2 for a usage error; 3 if a quote of the "
                "bus does not come in time.") };
}

SnapshotCommand::SnapshotCommand(Options options, const BusSession::Settings *bus) : m_options(options), m_bus(*bus)
{
    m_options.addSeconds(QStringLiteral("timeout"), &m_timeoutMs, tr("Longest time to wait for quotes of a bus"));
    m_settings.addOptions(&m_options);
    m_output.addOptions(&m_options, OutputSettings::recordFormats(),
                        Record(StockQuotaData()).names() + Record(FutureQuotaData()).names());
    m_symbolSettings.addOptions(&m_options);
}

QString SnapshotCommand::withoutFigures(const QString &reason)
{
    return tr("PE, PB, turnover rate and market values are unknown: %1").arg(reason);
}

ExitCode SnapshotCommand::run(QString *error)
{
    if (!MarketSession::Settings::check(m_bus.bus, m_options, error))
        return ExitUsage;
    SymbolTable table;
    if (!table.load(m_bus, error))
        return ExitUsage;
    m_symbols = m_settings.choose(m_bus, table, m_symbolSettings, RecordedDays::Quotes, error);
    if (m_symbols.isEmpty())
        return ExitUsage;
    BusSession::Settings bus = m_bus;
    bus.bus.options.ticksOfTheDay = false;
    MarketSession session(bus, m_settings);
    if (const ExitCode code = session.open(error))
        return code;
    session.bus().printStates();
    const QDeadlineTimer deadline = m_bus.deadline(m_timeoutMs);
    if (m_bus.bus.isShared())
        stopWhenAllHaveCome(&session, deadline);
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QObject::connect(&quota, &LxQuotaHandler::signalFutureQuotaUpdate, &session,
                     [this](const FutureQuotaData &quote) { m_futures.insert(quote.Symbol, quote); });
    // The trades first: the quote is what is waited for, and the last trade is part of it. Different streams have them.
    quota.SubscribeRecordTransaction(m_symbols, true);
    if (m_bus.bus.isShared())
        LxBus::current()->openPublisher()->flush(
            static_cast<int>(std::min<qint64>(TradesMs, deadline.remainingTime())));
    quota.SubscribeQuote(m_symbols, true);
    stopWhenNobodyPublishes(&session);
    if (const ExitCode code = session.run(error))
        return code;
    m_day = session.day();
    const PresenceWatch *presence = session.bus().presence();
    if (presence && presence->presence().publishing() == ServicePresence::Nobody)
        m_absence = presence->absenceText();
    if (stocks().isEmpty())
        return print(error);
    if (m_bus.bus.isShared()) {
        askFigures(&session.bus(), deadline);
        return print(error);
    }
    LocalService service;
    QString reason;
    if (service.start(m_bus.folder, QString(), &reason))
        askFigures(&session.bus(), QDeadlineTimer(m_timeoutMs, Qt::PreciseTimer));
    else
        Terminal::complain(withoutFigures(reason));
    return print(error);
}

ExitCode SnapshotCommand::print(QString *error) const
{
    Output output;
    if (!output.open(m_output.path, error))
        return ExitFailure;
    RecordWriter writer(&output, m_output);
    const bool isTable = m_output.format == OutputSettings::recordFormats().constFirst();
    ExitCode code = ExitOk;
    if (!m_absence.isEmpty() && !isComplete())
        Terminal::complain(m_absence);
    int sheets = 0;
    for (const QString &symbol : m_symbols) {
        if (writer.isFull() || (m_output.limit > 0 && sheets == m_output.limit))
            break;
        const std::optional<Record> quote = lastQuote(symbol);
        if (!quote) {
            Terminal::complain(m_day.isEmpty()
                                   ? tr("no quote of %1 has come from the bus; perhaps nobody publishes it").arg(symbol)
                                   : tr("no quote of %1 on %2").arg(symbol, m_day));
            code = m_bus.bus.isShared() ? ExitTimeout : ExitFailure;
        } else if (isTable && m_output.fields.isEmpty()) {
            output.write(sheet(*quote));
            ++sheets;
        } else {
            writer.add(*quote);
        }
    }
    return writer.finish(error) ? code : ExitFailure;
}

// The latest quote of a stock, an index or a future.
std::optional<Record> SnapshotCommand::lastQuote(const QString &symbol) const
{
    const StockQuotaData stock = LxQuotaHandler::instance().GetLastStockQuotaDataTotal(symbol);
    if (!stock.Symbol.isEmpty())
        return Record(stock);
    const IndexQuotaData index = LxQuotaHandler::instance().GetLastIndexQuotaData(symbol);
    if (!index.Symbol.isEmpty())
        return Record(index);
    const auto future = m_futures.constFind(symbol);
    return future == m_futures.constEnd() ? std::nullopt : std::make_optional(Record(*future));
}

bool SnapshotCommand::isComplete() const
{
    return std::all_of(m_symbols.cbegin(), m_symbols.cend(),
                       [this](const QString &symbol) { return lastQuote(symbol).has_value(); });
}

// The symbols that have turned out to be stocks.
QStringList SnapshotCommand::stocks() const
{
    QStringList found;
    for (const QString &symbol : m_symbols) {
        if (!LxQuotaHandler::instance().GetLastStockQuotaData(symbol).Symbol.isEmpty())
            found.append(symbol);
    }
    return found;
}

// Asks for what the quotes are combined with to PE, PB, turnover rate and market values.
void SnapshotCommand::askFigures(BusSession *bus, const QDeadlineTimer &deadline) const
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    AnswerWait wait(bus, deadline);
    const QStringList symbols = stocks();
    QSet<QString> unanswered; // a symbol and what is asked
    for (const QString &symbol : symbols)
        unanswered += { symbol + QStringLiteral("/deep"), symbol + QStringLiteral("/pe") };
    const auto answered = [&](const QString &key) {
        unanswered.remove(key);
        if (unanswered.isEmpty())
            wait.finish();
    };
    QObject receiver;
    QObject::connect(&quota, &LxQuotaHandler::signalStockDeepDataUpdate, &receiver, [&](const QStringList &changed) {
        for (const QString &symbol : changed) {
            QList<LxStockDeepData> known;
            quota.QueryStockDeepData({ symbol }, known, false);
            if (!known.isEmpty())
                answered(symbol + QStringLiteral("/deep"));
        }
    });
    QObject::connect(
        &quota, &LxQuotaHandler::sigRecvQuotaData, &receiver, [&](const QVariant &type, const QVariant &data) {
            if (type.toString() != QLatin1String("MSG_QUERY_P_E_RATIO_RESPONSE"))
                return;
            // The library's worker was handed this answer first, and has cached it once it has nothing left to do.
            QMetaObject::invokeMethod(
                &quota, [] {}, Qt::BlockingQueuedConnection);
            CUnPackMessageCommon answer;
            answer.SetUnPackMsg(data, false);
            answer.SetCurrentRow(answer.GetRowCount() > 1 ? 1 : 0);
            answered(answer.GetValue(QStringLiteral("Symbol"), QVariant()).toString() + QStringLiteral("/pe"));
        });
    QString reason;
    const auto query = [symbols] {
        QList<LxStockDeepData> known;
        LxQuotaHandler::instance().QueryStockDeepData(symbols, known, false);
        LxQuotaHandler::instance().queryPEData(symbols);
    };
    if (wait.run(query, &reason) != ExitOk)
        Terminal::complain(withoutFigures(reason));
}

// Of a shared bus.
void SnapshotCommand::stopWhenAllHaveCome(MarketSession *session, const QDeadlineTimer &deadline) const
{
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalQuoteTickUpdate, session, [this, session] {
        if (isComplete())
            session->stop();
    });
    QTimer::singleShot(static_cast<int>(deadline.remainingTime()), Qt::PreciseTimer, session,
                       [session] { session->stop(); });
}

// Without publishers, only the latest quotes can come.
void SnapshotCommand::stopWhenNobodyPublishes(MarketSession *session) const
{
    session->bus().watchPresence();
    const PresenceWatch *presence = session->bus().presence();
    if (!presence)
        return;
    auto *silence = new QTimer(session);
    silence->setSingleShot(true);
    silence->setInterval(LastQuotesMs);
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalQuoteTickUpdate, silence, [silence] {
        if (silence->isActive())
            silence->start();
    });
    QObject::connect(presence, &PresenceWatch::changed, silence, [presence, silence] {
        if (presence->presence().publishing() != ServicePresence::Nobody)
            silence->stop();
        else if (!silence->isActive())
            silence->start();
    });
    QObject::connect(silence, &QTimer::timeout, session, [session] { session->stop(); });
}

} // namespace

void addSnapshotCommand(CommandLine *commandLine, const BusSession::Settings *bus)
{
    commandLine->addCommand<SnapshotCommand>(SnapshotCommand::description(), bus);
}
