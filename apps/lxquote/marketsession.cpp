#include "marketsession.h"

#include "terminal.h"

#include <interrupt.h>
#include <lxquotahandler.h>
#include <replaythread.h>

namespace {

// Batches of records that may be on their way through the library at once, at full speed.
constexpr int BatchesAhead = 2;

} // namespace

void MarketSession::addOptions(QCommandLineParser &parser, const QString &defaultSpeed)
{
    BusSession::addOptions(parser);
    ProgramOptions::addReplayOptions(parser, defaultSpeed);
}

bool MarketSession::readOptions(const QCommandLineParser &parser, Options *options, QString *error)
{
    ReplayOptions replay;
    if (!BusSession::readOptions(parser, { QStringLiteral("date"), QStringLiteral("speed") }, &options->bus, error)
        || !ProgramOptions::readReplayOptions(parser, &replay, error))
        return false;
    options->date = replay.date;
    options->speed = replay.speed;
    return true;
}

MarketSession::MarketSession(Options options)
    : m_options(std::move(options)), m_bus(m_options.bus), m_room(BatchesAhead)
{
    connect(&m_bus, &BusSession::failed, this, [this](const QString &reason) { finish(ExitFailure, reason); });
}

MarketSession::~MarketSession()
{
    stop();
    if (!m_thread)
        return;
    m_thread->wait();
    // What is on its way through the library refers to this object.
    QMetaObject::invokeMethod(&LxQuotaHandler::instance(), [] {}, Qt::BlockingQueuedConnection);
}

ExitCode MarketSession::open(QString *error)
{
    if (const ExitCode code = m_bus.join(error))
        return code;
    if (!m_bus.isShared()) {
        ReplayOptions options;
        options.folder = m_bus.folder();
        options.date = m_options.date;
        options.speed = m_options.speed;
        options.waitForConsumers = [this] { waitForConsumers(); };
        options.reportBrokenRow = [](const QString &file, qint64 line, const QString &reason) {
            Terminal::err(QStringLiteral("lxquote: %1:%2: %3; row skipped\n").arg(file).arg(line).arg(reason));
        };
        m_replay = std::make_unique<Replay>(std::move(options));
        if (!m_replay->open(error))
            return ExitUsage;
    }
    return m_bus.loadLibrary(error);
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

// Replay's thread; holds it up while too many batches are on their way.
void MarketSession::waitForConsumers()
{
    constexpr int PollMs = 50;
    while (!m_room.tryAcquire(1, PollMs)) {
        if (m_stopping)
            return;
    }
    afterConsumers([this] { m_room.release(); });
}

// Calls `then` on this object's thread, behind every signal caused by what the library has been handed until now.
void MarketSession::afterConsumers(std::function<void()> then)
{
    QMetaObject::invokeMethod(
        &LxQuotaHandler::instance(),
        [this, then = std::move(then)] { QMetaObject::invokeMethod(this, then, Qt::QueuedConnection); },
        Qt::QueuedConnection);
}
