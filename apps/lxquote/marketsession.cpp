#include "marketsession.h"

#include <dates.h>
#include <interrupt.h>
#include <lxquotahandler.h>
#include <recordeddates.h>
#include <replaythread.h>
#include <terminal.h>

#include <algorithm>

namespace {

// The number of batches that the library may be processing at the same time, at full speed.
constexpr int BatchesAhead = 2;

// A date "yyyyMMdd" as yyyy-MM-dd.
QString isoDate(const QString &day)
{
    return Dates::toString(Dates::parseDate(day).value_or(QDate()));
}

QString text(RecordedDays::Kinds kinds)
{
    if (kinds == RecordedDays::Quotes)
        return MarketSession::tr("quotes");
    return kinds == RecordedDays::Transactions ? MarketSession::tr("transactions")
                                               : MarketSession::tr("quotes or transactions");
}

} // namespace

void MarketSession::Settings::addOptions(Options *options)
{
    ProgramOptions::addReplayOptions(options, &replay);
}

bool MarketSession::Settings::check(const BusSettings &bus, const Options &options, QString *error)
{
    const QStringList names { QStringLiteral("date"), QStringLiteral("from"), QStringLiteral("to"),
                              QStringLiteral("speed"), QStringLiteral("keep-pauses") };
    return checkOwnOptions(bus, options, names, error);
}

QStringList MarketSession::Settings::choose(const BusSession::Settings &bus, const SymbolTable &table,
                                            const SymbolSettings &wanted, RecordedDays::Kinds kinds, QString *error)
{
    if (bus.bus.isShared())
        return wanted.resolve(table, error);
    const std::optional<QStringList> named = wanted.named(table, error);
    if (!named)
        return {};
    if (!wanted.all && named->isEmpty()) {
        *error = SymbolTable::tr("no symbol is given");
        return {};
    }
    const std::optional<QString> day = RecordedDates::choose(bus.folder, replay.date, error);
    if (!day)
        return {};
    const QStringList sought = wanted.all ? QStringList() : *named;
    if (replay.date.isEmpty() && !chooseLatest(table.recordedDays(), sought, kinds, error))
        return {};
    if (replay.date.isEmpty())
        replay.date = *day;
    if (!wanted.all)
        return *named;
    QStringList symbols = table.recordedDays().symbolsOf(replay.date, kinds) + *named;
    symbols.removeDuplicates();
    if (symbols.isEmpty()) {
        QStringList days = table.recordedDays().days(kinds);
        std::transform(days.begin(), days.end(), days.begin(), isoDate);
        *error = tr("no %1 are recorded on %2; there are some of %3")
                     .arg(text(kinds), isoDate(replay.date),
                          days.isEmpty() ? tr("no date") : days.join(QStringLiteral(", ")));
    }
    return symbols;
}

// Sets the date to the latest day with records of one of `symbols` (of any symbol, if there are none); quotes are
// preferred to transactions. Does nothing if there is no such day. False, with the reason in `error`, if a recording
// that cannot be read may be of a later day.
bool MarketSession::Settings::chooseLatest(const RecordedDays &recorded, const QStringList &symbols,
                                           RecordedDays::Kinds kinds, QString *error)
{
    QString day;
    for (const RecordedDays::Kind kind : { RecordedDays::Quotes, RecordedDays::Transactions }) {
        const QStringList days = kinds.testFlag(kind) ? recorded.days(kind, symbols) : QStringList();
        if (day.isEmpty() && !days.isEmpty())
            day = days.constLast();
    }
    const QStringList faults = recorded.faults(day);
    if (!faults.isEmpty()) {
        *error = tr("%1\nThe latest recorded day is therefore unknown: specify one (--date), or remove what cannot be "
                    "read.")
                     .arg(faults.join(QLatin1Char('\n')));
        return false;
    }
    replay.date = day;
    return true;
}

void MarketSession::Settings::complainOfMissing(const RecordedDays &recorded, const QStringList &symbols,
                                                RecordedDays::Kinds kinds) const
{
    const QStringList present = recorded.symbolsOf(replay.date, kinds);
    for (const QString &symbol : symbols) {
        if (present.contains(symbol))
            continue;
        const QStringList days = recorded.days(kinds, { symbol });
        Terminal::complain(days.isEmpty()
                               ? tr("no %1 of %2 are recorded").arg(text(kinds), symbol)
                               : tr("no %1 of %2 are recorded on %3; the latest are of %4")
                                     .arg(text(kinds), symbol, isoDate(replay.date), isoDate(days.constLast())));
    }
}

MarketSession::MarketSession(const BusSession::Settings &bus, Settings settings)
    : m_settings(std::move(settings)), m_bus(bus), m_brokenRows(&Terminal::complain), m_room(BatchesAhead)
{
    connect(&m_bus, &BusSession::failed, this, [this](const QString &reason) { finish(ExitFailure, reason); });
}

MarketSession::~MarketSession()
{
    stop();
    if (!m_thread)
        return;
    m_thread->wait();
    // Calls that are queued in the library refer to this object.
    QMetaObject::invokeMethod(
        &LxQuotaHandler::instance(), [] {}, Qt::BlockingQueuedConnection);
}

ExitCode MarketSession::open(QString *error)
{
    if (const ExitCode code = m_bus.join(error))
        return code;
    if (!m_bus.isShared()) {
        ReplayOptions options = m_settings.replay;
        options.folder = m_bus.folder();
        options.waitForConsumers = [this] { waitForConsumers(); };
        options.reportBrokenRow = [this](const QString &file, qint64 line, const QString &reason) {
            m_brokenRows.add(file, line, tr("%1; row skipped").arg(reason));
        };
        m_replay = std::make_unique<Replay>(std::move(options));
        if (!m_replay->open(error))
            return ExitUsage;
    }
    return m_bus.loadLibrary(error);
}

QString MarketSession::day() const
{
    return isoDate(m_settings.replay.date);
}

ExitCode MarketSession::run(QString *error)
{
    Interrupt interrupt;
    connect(&interrupt, &Interrupt::interrupted, this, &MarketSession::stop);
    if (m_replay)
        startReplay();
    m_loop.exec();
    *error = m_error;
    return m_exitCode;
}

void MarketSession::startReplay()
{
    m_thread = std::make_unique<ReplayThread>([this] {
        QString error;
        m_replay->run(&error);
        m_brokenRows.writeCounts();
        afterConsumers([this, error] { finish(error.isEmpty() ? ExitOk : ExitUsage, error); });
    });
    m_thread->setObjectName(QStringLiteral("LxQuote_Replay"));
    m_thread->start();
}

void MarketSession::stop()
{
    m_stopping = true;
    if (m_replay)
        m_replay->stop(); // whose end finishes the session
    else
        m_loop.quit();
}

void MarketSession::finish(ExitCode code, const QString &error)
{
    m_exitCode = code;
    m_error = error;
    m_loop.quit();
}

quint64 MarketSession::dropped(RecordingKind kind) const
{
    return LxBus::current()->statistics().dropped(recordingKindInfo(kind).topic);
}

// On the replay's thread, which it blocks while too many batches are being processed.
void MarketSession::waitForConsumers()
{
    constexpr int PollMs = 50;
    while (!m_room.tryAcquire(1, PollMs)) {
        if (m_stopping)
            return;
    }
    afterConsumers([this] { m_room.release(); });
}

// Calls `then` on this object's thread, after all signals that the library emits for the records it holds now.
void MarketSession::afterConsumers(std::function<void()> then)
{
    QMetaObject::invokeMethod(
        &LxQuotaHandler::instance(),
        [this, then = std::move(then)] { QMetaObject::invokeMethod(this, then, Qt::QueuedConnection); },
        Qt::QueuedConnection);
}
