#include "watchcommand.h"

#include "figures.h"
#include "marketsession.h"
#include "quoteview.h"
#include "recordwriter.h"
#include "symboltable.h"
#include "watchcolumns.h"
#include "watchscreen.h"

#include <commandline.h>
#include <lxmsg/packedbody.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>
#include <terminal.h>
#include <translated.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <limits>
#include <utility>

namespace {

constexpr int StatusIntervalMs = 1000;
constexpr int QuietMs = 2000; // of a bus, after which it is said that nothing has come
constexpr int LastRecordsMs = 1000; // in which the latest records come from a bus on which nobody publishes
constexpr int JumpShownMs = 10000;
constexpr double DefaultSpeed = 60;
constexpr int RankingKinds = 3;
constexpr int RankingRowsShown = 5;

const QStringList kinds { QStringLiteral("quote"), QStringLiteral("trade"), QStringLiteral("ranking"),
                          QStringLiteral("updown") };

struct WatchSettings
{
    QStringList symbols;
    QStringList kinds { QStringLiteral("quote") };
    OutputSettings output;

    bool isTable() const { return output.format == OutputSettings::recordFormats().constFirst(); }
    bool hasUsualColumns() const { return isTable() && output.fields.isEmpty(); }
};

// The data rows of a message, each with the fields of the head row.
QVector<Record> recordsOf(const QString &type, const QVariant &data)
{
    const LxPackedBody body = LxPackedBody::fromVariant(data);
    QVector<Record> records;
    for (int i = 1; i < body.rowCount(); ++i) {
        Record record(type, QString());
        for (int row : { 0, i }) {
            const LxPackedRow &packed = *body.row(row);
            for (int column = 0; column < packed.values.size(); ++column)
                record.add(packed.layout->keys().at(column), packed.values.at(column));
        }
        records.append(record);
    }
    return records;
}

// Empty if no stock is ranked.
QString rankingText(const QVariant &data)
{
    const QString names[RankingKinds] { translated("top by change:"), translated("top by turnover:"),
                                        translated("top by amplitude:") };
    CUnPackMessageCommon ranking;
    ranking.SetUnPackMsg(data, false);
    if (ranking.GetRowCount() < 2)
        return QString();
    const QVariant none;
    const int kind = ranking.GetValue(QStringLiteral("RankingKind"), none).toInt();
    QString text = kind >= 1 && kind <= RankingKinds ? names[kind - 1] : QString();
    for (int row = 1; row < qMin(ranking.GetRowCount(), 1 + RankingRowsShown); ++row) {
        ranking.SetCurrentRow(row);
        const double value = ranking.GetValue(QStringLiteral("Value"), none).toDouble();
        text += QStringLiteral("  %1 %2").arg(ranking.GetValue(QStringLiteral("Symbol"), none).toString(),
                                              kind == 2 ? Figures::amount(value)
                                                        : Figures::signedText(value, 2) + QLatin1Char('%'));
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
        markets.append(translated("%1: %2 up (%3 limit), %4 down (%5 limit), %6 unchanged")
                           .arg(text("Market"), text("Rising"), text("LimitUp"), text("Falling"), text("LimitDown"),
                                text("Unchanged")));
    }
    return markets.join(QStringLiteral("   "));
}

// Receives the library's signals on the main thread and shows them.
class Watch : public QObject
{
public:
    Watch(MarketSession &session, const WatchSettings &settings, Output *output)
        : m_session(session), m_settings(settings), m_output(*output), m_writer(output, settings.output),
          m_columns(WatchColumns::fitting(std::numeric_limits<int>::max()))
    {
        if (settings.hasUsualColumns() && output->isStandardOutput() && Terminal::isInteractive())
            m_screen = WatchScreen::open(settings.symbols);
    }

    void subscribe();
    /// True if nothing has come from a shared bus.
    bool isWithoutRecords() const { return m_session.bus().isShared() && !m_hasRecords; }
    /// Why nothing has come from a shared bus.
    QString whyNothing() const;
    /// True if the limit will not be reached, since nobody publishes.
    bool hasGivenUp() const { return m_hasGivenUp; }
    /// Shows what is not yet shown, and the summary. False, with the reason in `error`, if something was not printed.
    bool finish(double seconds, QString *error);

private:
    template<typename Quote>
    void showQuote(RecordingKind kind, const Quote &quote);
    void showTrade(const TradeView &trade);
    void showNote(const QString &type, const QString &key, const QVariant &data, const QString &text);
    void print(const Record &record, const QString &line);
    void countAnnounced(RecordingKind kind)
    {
        noteRecord();
        ++m_announced[static_cast<size_t>(kind)];
    }
    void noteRecord()
    {
        m_hasRecords = true;
        if (m_giveUpTimer.isActive())
            m_giveUpTimer.start();
    }
    void watchPresence();
    void notePresence();
    QString status() const;
    QString summary(double seconds) const;

    MarketSession &m_session;
    const WatchSettings &m_settings;
    Output &m_output;
    RecordWriter m_writer;
    int m_linesPrinted = 0; // of a table that is not drawn in place
    bool m_isComplete = false; // nothing more is to be printed
    const QVector<WatchColumns::Column> m_columns; // of those lines
    std::unique_ptr<WatchScreen> m_screen; // null: lines or records are printed
    QTimer m_statusTimer;
    ServicePresence::Publishing m_publishing = ServicePresence::NotKnown;
    QString m_absence; // what was said last of nobody publishing; empty if somebody does
    QString m_jump; // the latest one
    QTimer m_jumpTimer; // runs while it is shown
    QTimer m_giveUpTimer; // runs while nobody publishes, if there is a limit
    bool m_hasGivenUp = false;
    std::array<quint64, RecordingKinds> m_announced {};
    bool m_hasRecords = false;
};

QString nothingHasCome()
{
    return translated("nothing has come from the bus; perhaps nobody publishes this");
}

void Watch::subscribe()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QStringList symbols = m_settings.symbols;
    if (m_settings.kinds.contains(QStringLiteral("quote"))) {
        connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this,
                [this](const StockQuotaData &quote) { showQuote(RecordingKind::StockQuote, quote); });
        connect(&quota, &LxQuotaHandler::signalIndexQuotaUpdate, this,
                [this](const IndexQuotaData &quote) { showQuote(RecordingKind::IndexQuote, quote); });
        connect(&quota, &LxQuotaHandler::signalFutureQuotaUpdate, this,
                [this](const FutureQuotaData &quote) { showQuote(RecordingKind::FutureQuote, quote); });
        quota.SubscribeQuote(symbols, true);
    }
    if (m_settings.kinds.contains(QStringLiteral("trade"))) {
        connect(&quota, &LxQuotaHandler::signalRecordTransactionUpdate, this,
                [this] { countAnnounced(RecordingKind::Transaction); });
        // The library announces only the symbol of a trade, so the message is read on its way into the library.
        connect(&quota, &LxQuotaHandler::sigRecvQuotaData, this, [this](const QVariant &type, const QVariant &data) {
            if (type.toString() == QLatin1String("MDTRANSACTIONRECORD"))
                showTrade(TradeView(data));
        });
        quota.SubscribeRecordTransaction(symbols, true);
    }
    if (m_settings.kinds.contains(QStringLiteral("ranking"))) {
        connect(&quota, &LxQuotaHandler::signalIndicatorRankingData, this, [this](const QVariant &data) {
            const QString text = rankingText(data);
            showNote(QStringLiteral("ranking"), text.section(QStringLiteral("  "), 0, 0), data, text);
        });
        for (int kind = 1; kind <= RankingKinds; ++kind)
            quota.SubscribeRankingData(QStringList(), kind, true);
    }
    if (m_settings.kinds.contains(QStringLiteral("updown"))) {
        connect(&quota, &LxQuotaHandler::signalUpDownAnalyzeData, this, [this](const QVariant &data) {
            showNote(QStringLiteral("updown"), QStringLiteral("updown"), data, upsDownsText(data));
        });
    }
    if (!m_screen) {
        m_session.bus().printStates();
        QTimer::singleShot(QuietMs, this, [this] {
            if (isWithoutRecords() && m_publishing != ServicePresence::Nobody)
                Terminal::complain(nothingHasCome());
        });
    }
    if (m_session.bus().isShared())
        watchPresence();
    if (!m_screen)
        return;
    connect(m_screen.get(), &WatchScreen::quitRequested, &m_session, &MarketSession::stop);
    if (!m_session.bus().isShared()) {
        m_screen->setStatus(m_session.day());
        return;
    }
    const auto showStatus = [this] { m_screen->setStatus(status()); };
    connect(&m_session.bus(), &BusSession::stateChanged, this, showStatus);
    connect(&m_statusTimer, &QTimer::timeout, this, showStatus); // for what the bus drops
    m_statusTimer.start(StatusIntervalMs);
    showStatus();
}

void Watch::watchPresence()
{
    m_jumpTimer.setSingleShot(true);
    m_giveUpTimer.setSingleShot(true);
    m_giveUpTimer.setInterval(LastRecordsMs);
    connect(&m_giveUpTimer, &QTimer::timeout, this, [this] {
        m_hasGivenUp = true;
        m_session.stop();
    });
    m_session.bus().watchPresence();
    const PresenceWatch *presence = m_session.bus().presence();
    connect(presence, &PresenceWatch::changed, this, &Watch::notePresence);
    connect(presence, &PresenceWatch::jumped, this, [this](const ServicePresence::Jump &jump) {
        m_jump = PresenceWatch::text(jump);
        m_jumpTimer.start(JumpShownMs);
        if (!m_screen)
            Terminal::complain(m_jump);
    });
}

void Watch::notePresence()
{
    const PresenceWatch *presence = m_session.bus().presence();
    m_publishing = presence->presence().publishing();
    if (m_screen) {
        m_screen->setStatus(status());
        return;
    }
    QString absence = m_absence;
    if (m_publishing == ServicePresence::Nobody)
        absence = presence->absenceText();
    else if (m_publishing == ServicePresence::Somebody)
        absence.clear();
    if (absence != m_absence)
        Terminal::complain(absence.isEmpty() ? translated("a service publishes: %1").arg(presence->text()) : absence);
    m_absence = absence;
    if (m_publishing != ServicePresence::Nobody)
        m_giveUpTimer.stop();
    else if (m_settings.output.limit > 0 && !m_giveUpTimer.isActive())
        m_giveUpTimer.start();
}

QString Watch::whyNothing() const
{
    return m_publishing == ServicePresence::Nobody ? m_session.bus().presence()->absenceText() : nothingHasCome();
}

template<typename Quote>
void Watch::showQuote(RecordingKind kind, const Quote &quote)
{
    countAnnounced(kind);
    if (m_screen)
        m_screen->update(QuoteView(quote));
    else
        print(Record(quote), m_settings.isTable() ? WatchColumns::line(m_columns, QuoteView(quote)) : QString());
}

void Watch::showTrade(const TradeView &trade)
{
    if (m_screen)
        m_screen->addTrade(trade);
    else
        print(trade.toRecord(), WatchColumns::line(trade));
}

void Watch::showNote(const QString &type, const QString &key, const QVariant &data, const QString &text)
{
    if (text.isEmpty())
        return;
    noteRecord();
    if (m_screen) {
        m_screen->setNote(key, text);
    } else if (m_settings.hasUsualColumns()) {
        print(Record(), text);
    } else {
        for (const Record &record : recordsOf(type, data))
            print(record, QString());
    }
}

// Ends the session when nothing more is to be printed.
void Watch::print(const Record &record, const QString &line)
{
    if (m_isComplete) // records that came before the session stopped
        return;
    if (!m_settings.isTable()) {
        m_isComplete = !m_writer.add(record);
    } else {
        const QString text = m_settings.hasUsualColumns() ? line + QLatin1Char('\n') : m_writer.tableLine(record);
        m_isComplete = !m_output.write(text) || ++m_linesPrinted == m_settings.output.limit;
    }
    if (!m_isComplete)
        return;
    m_giveUpTimer.stop();
    m_session.stop();
}

QString Watch::status() const
{
    const LxBusState bus = m_session.bus().state();
    QStringList parts;
    parts.append(m_session.bus().presence()->text());
    if (m_jumpTimer.isActive() && m_publishing != ServicePresence::Nobody)
        parts.append(m_jump);
    if (isWithoutRecords() && m_publishing != ServicePresence::Nobody)
        parts.append(nothingHasCome());
    parts.removeAll(QString());
    // What is wrong with the bus matters most, otherwise what it carries.
    parts.insert(bus.kind == LxBusState::Connected ? parts.size() : 0, translated("bus %1").arg(ProgramBus::text(bus)));
    const QString drops = ProgramBus::dropsText();
    if (!drops.isEmpty())
        parts.append(translated("dropped by the bus: %1").arg(drops));
    return parts.join(QStringLiteral("; "));
}

QString Watch::summary(double seconds) const
{
    using Terminal::fitted;
    constexpr int NameColumns = 14;
    constexpr int NumberColumns = -11;
    const auto number = [](quint64 value) { return fitted(Figures::count(static_cast<double>(value)), NumberColumns); };
    // What a shared bus publishes is not known here.
    const bool replayed = !m_session.bus().isShared();
    QString text = fitted(QString(), NameColumns);
    if (replayed)
        text += fitted(translated("read"), NumberColumns) + fitted(translated("published"), NumberColumns);
    text += fitted(translated("announced"), NumberColumns) + fitted(translated("dropped"), NumberColumns);
    if (replayed)
        text += fitted(translated("skipped"), NumberColumns);
    text += QLatin1Char('\n');
    quint64 total = 0;
    for (int i = 0; i < RecordingKinds; ++i) {
        const auto kind = static_cast<RecordingKind>(i);
        const ReplayCount count = m_session.count(kind);
        const quint64 announced = m_announced[static_cast<size_t>(i)];
        const quint64 dropped = m_session.dropped(kind);
        if (replayed ? count.read + count.skipped == 0 : announced + dropped == 0)
            continue;
        total += announced;
        text += fitted(translated(qUtf8Printable(recordingKindInfo(kind).name)), NameColumns);
        if (replayed)
            text += number(count.read) + number(count.published);
        text += number(announced) + number(dropped);
        if (replayed)
            text += number(count.skipped);
        text += QLatin1Char('\n');
    }
    if (replayed)
        text += m_session.day() + QStringLiteral(": ");
    text += translated("%1 records announced in %2 s (%3/s)")
                .arg(Figures::count(static_cast<double>(total)), QString::number(seconds, 'f', 2),
                     Figures::count(seconds > 0 ? static_cast<double>(total) / seconds : 0))
        + QLatin1Char('\n');
    const QString drops = ProgramBus::dropsText();
    if (!drops.isEmpty())
        text += translated("dropped by the bus: %1").arg(drops) + QLatin1Char('\n');
    return text;
}

bool Watch::finish(double seconds, QString *error)
{
    if (m_screen) {
        const QString list = m_screen->toText(Terminal::columns());
        m_screen.reset(); // back to the normal screen
        m_output.write(list);
    }
    const QString text = summary(seconds);
    if (m_settings.isTable() && m_output.isStandardOutput())
        m_output.write(QLatin1Char('\n') + text);
    else
        Terminal::err(text);
    return m_writer.finish(error);
}

class WatchCommand
{
    Q_DECLARE_TR_FUNCTIONS(WatchCommand)

public:
    WatchCommand(Options options, const BusSession::Settings *bus);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    Options m_options;
    const BusSession::Settings &m_bus;
    MarketSession::Settings m_session;
    WatchSettings m_settings;
    SymbolSettings m_symbols;
};

CommandLine::Command WatchCommand::description()
{
    return { QStringLiteral("watch"), tr("Show quotes and trades as they change"),
             tr("A table that updates in place on a terminal, else a line per update. Ends with the recording or on "
                "Ctrl-C, with a summary: records read; published, that is, of the symbols watched; announced by the "
                "library; dropped by the bus; skipped as broken. Of a bus only what it delivered is known: records "
                "announced and dropped. With --limit it ends when nobody publishes.\n"
                "Exit codes: 0; 1 if the bus or the output fails; 2 for a usage error; 3 if nothing has come from the "
                "bus, or nobody publishes before the limit is reached.") };
}

WatchCommand::WatchCommand(Options options, const BusSession::Settings *bus) : m_options(options), m_bus(*bus)
{
    m_session.replay.speed = DefaultSpeed;
    m_options.addChoices(QStringLiteral("kinds"), QStringLiteral("KINDS"), kinds, &m_settings.kinds,
                         tr("What to show, separated by commas"));
    m_session.addOptions(&m_options);
    QStringList fields = TradeView().toRecord().names();
    for (const Record &record : { Record(StockQuotaData()), Record(IndexQuotaData()), Record(FutureQuotaData()) })
        fields += record.names();
    fields += { QStringLiteral("RankingKind"), QStringLiteral("Rank"),    QStringLiteral("Value"),
                QStringLiteral("Market"),      QStringLiteral("Rising"),  QStringLiteral("Falling"),
                QStringLiteral("Unchanged"),   QStringLiteral("LimitUp"), QStringLiteral("LimitDown") };
    m_settings.output.addOptions(&m_options, OutputSettings::recordFormats(), fields);
    m_symbols.addOptions(&m_options);
}

ExitCode WatchCommand::run(QString *error)
{
    if (!MarketSession::Settings::check(m_bus.bus, m_options, error))
        return ExitUsage;
    SymbolTable table;
    if (!table.load(m_bus, error))
        return ExitUsage;
    RecordedDays::Kinds recorded;
    for (const QString &kind : qAsConst(m_settings.kinds))
        recorded |= kind == QLatin1String("trade") ? RecordedDays::Transactions : RecordedDays::Quotes;
    const bool choosesDay = !m_bus.bus.isShared() && m_session.replay.date.isEmpty();
    m_settings.symbols = m_session.choose(m_bus, table, m_symbols, recorded, error);
    if (m_settings.symbols.isEmpty())
        return ExitUsage;
    if (choosesDay)
        m_session.complainOfMissing(table.recordedDays(), m_settings.symbols, recorded);
    Output output;
    if (!output.open(m_settings.output.path, error))
        return ExitFailure;
    MarketSession session(m_bus, m_session);
    if (const ExitCode code = session.open(error))
        return code;
    Watch watch(session, m_settings, &output);
    watch.subscribe();

    QElapsedTimer clock;
    clock.start();
    const ExitCode code = session.run(error);
    QString outputError;
    const bool printed = watch.finish(static_cast<double>(clock.elapsed()) / 1000.0, &outputError);
    if (code != ExitOk)
        return code;
    if (!printed) {
        *error = outputError;
        return ExitFailure;
    }
    if (watch.hasGivenUp())
        *error = tr("nobody publishes; --limit %1 has not been reached").arg(m_settings.output.limit);
    else if (watch.isWithoutRecords())
        *error = watch.whyNothing();
    return error->isEmpty() ? ExitOk : ExitTimeout;
}

} // namespace

void addWatchCommand(CommandLine *commandLine, const BusSession::Settings *bus)
{
    commandLine->addCommand<WatchCommand>(WatchCommand::description(), bus);
}
