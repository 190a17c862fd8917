#include "marketsession.h"

#include "symboltable.h"

#include <dates.h>
#include <interrupt.h>
#include <lxquotahandler.h>
#include <recordeddates.h>
#include <replaythread.h>
#include <terminal.h>

namespace {

// The number of batches that the library may be processing at the same time, at full speed.
constexpr int BatchesAhead = 2;

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

ExitCode MarketSession::open(const QStringList &symbols, QString *error)
{
    if (!m_bus.isShared() && !chooseDate(symbols, error))
        return ExitUsage;
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

bool MarketSession::chooseDate(const QStringList &symbols, QString *error)
{
    QString &date = m_settings.replay.date;
    if (date.isEmpty()) {
        const QHash<QString, QStringList> recorded = recordedDates(m_bus.folder());
        for (const QString &symbol : symbols) {
            for (const QString &day : recorded.value(symbol))
                date = std::max(date, day);
        }
    }
    const std::optional<QString> chosen = RecordedDates::choose(m_bus.folder(), date, error);
    date = chosen.value_or(QString());
    return chosen.has_value();
}

QString MarketSession::day() const
{
    return Dates::toString(Dates::parseDate(m_settings.replay.date).value_or(QDate()));
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
