#include "server.h"

#include "announcer.h"
#include "marketdlog.h"
#include "metrics.h"
#include "replaythread.h"
#include "requestservice.h"
#include "storestate.h"

#include <dates.h>

#include <algorithm>

namespace {

constexpr int ProgressIntervalMs = 10000;

QString toString(const ReplayCount &count)
{
    return QStringLiteral("%1 records read, %2 published, %3 broken rows skipped")
        .arg(count.read)
        .arg(count.published)
        .arg(count.skipped);
}

} // namespace

Server::Server(Settings settings, QObject *parent)
    : QObject(parent), m_settings(std::move(settings)),
      m_brokenRows([](const QString &line) { qCWarning(lxMarketdLog, "%s", qUtf8Printable(line)); })
{
    connect(&m_bus, &ProgramBus::stateChanged, this, &Server::noteState);
    connect(&m_progress, &QTimer::timeout, this, &Server::logProgress);
}

Server::~Server()
{
    m_announcer.reset();
    if (m_metrics)
        m_metrics->close();
    {
        QMutexLocker locker(&m_mutex);
        m_stopping = true;
        m_changed.wakeAll();
    }
    if (m_replay)
        m_replay->stop();
    if (m_thread)
        m_thread->wait();
    const QString drops = ProgramBus::dropsText();
    if (!drops.isEmpty())
        qCInfo(lxMarketdLog, "the bus dropped %s", qUtf8Printable(drops));
}

bool Server::start(QString *error)
{
    BusSettings bus = m_settings.bus;
    // At full speed many records share a packet, for throughput; otherwise each is sent at once, for latency.
    bus.options.sendAtOnce = m_settings.replay.folder.isEmpty() || m_settings.replay.speed > 0;
    if (!m_bus.join(bus, error))
        return false;
    noteState(m_bus.state());
    if (!m_settings.metrics.isEmpty())
        createMetrics();
    if (!m_settings.store.isEmpty()) {
        if (checkStore(m_settings.store, error) != StoreState::Current)
            return false;
        m_service = std::make_unique<RequestService>(&m_currentDay);
        m_service->setObserver([this](const RequestOutcome &outcome) {
            ++m_requestsAnswered;
            if (m_metrics)
                m_metrics->addRequest(outcome);
        });
        if (!m_service->start(m_settings.store, error))
            return false;
    }
    if (!m_settings.replay.folder.isEmpty() && !openReplay(error))
        return false;
    m_announcer = std::make_unique<Announcer>([this] { return announcement(); });
    if (!m_bus.waitUntilReady(error))
        return false;
    connect(&m_bus, &ProgramBus::failed, this, &Server::failed);
    if (m_metrics && !m_metrics->listen(m_settings.metrics, error))
        return false;
    qCInfo(lxMarketdLog, "ready");
    m_announcer->start();
    m_systemd.ready();
    if (m_replay) {
        m_thread->start();
        m_sinceProgress.start();
        m_progress.start(ProgressIntervalMs);
    }
    return true;
}

void Server::createMetrics()
{
    Metrics::Sources sources;
    sources.isConnected = [this] { return isConnected(); };
    if (!m_settings.replay.folder.isEmpty())
        sources.replayCount = [this](RecordingKind kind) { return m_replay->count(kind); };
    if (!m_settings.store.isEmpty())
        sources.waitingRequests = [this] { return m_service->waitingRequests(); };
    m_metrics = std::make_unique<Metrics>(std::move(sources));
}

// Any thread.
ServiceAnnouncement Server::announcement() const
{
    ServiceAnnouncement result;
    result.answers = m_service != nullptr;
    result.messagesDropped = static_cast<qint64>(LxBus::current()->statistics().totalDropped());
    result.requestsAnswered = m_requestsAnswered;
    if (!m_replay)
        return result;
    result.day = Dates::parseDate(m_settings.replay.date).value_or(QDate());
    result.round = m_round;
    if (m_replay->totalCount().read > m_readBeforeRound) // otherwise the position is that of the round before
        result.time = m_replay->position().time();
    result.hasEnded = m_hasEnded;
    result.recordsPublished = static_cast<qint64>(m_replay->totalCount().published);
    return result;
}

// Any thread.
bool Server::isConnected()
{
    QMutexLocker locker(&m_mutex);
    return !m_reconnecting;
}

bool Server::openReplay(QString *error)
{
    ReplayOptions options = m_settings.replay;
    if (m_service)
        options.observeQuote = [this](const CsvRecording::Row &row) { m_currentDay.observe(row); };
    options.waitForConsumers = [this] { waitForConnection(); };
    options.reportBrokenRow = [this](const QString &file, qint64 line, const QString &reason) {
        m_brokenRows.add(file, line, reason + QStringLiteral("; row skipped"));
    };
    m_replay = std::make_unique<Replay>(std::move(options));
    if (!m_replay->open(error))
        return false;
    m_thread = std::make_unique<ReplayThread>([this] { replay(); });
    m_thread->setObjectName(QStringLiteral("Marketd_Replay"));
    return true;
}

// On the replay's thread.
void Server::replay()
{
    QString error;
    while (replayRound(&error)) { }
    m_hasEnded = true;
    QMetaObject::invokeMethod(
        this,
        [this, error] {
            m_progress.stop();
            if (!error.isEmpty())
                Q_EMIT failed(error);
        },
        Qt::QueuedConnection);
}

// Returns true if there is to be another round.
bool Server::replayRound(QString *error)
{
    const quint64 readBefore = m_replay->totalCount().read;
    // A short recording can be repeated thousands of times per second.
    const std::optional<quint64> unlogged = m_roundLog.admit();
    if (unlogged) {
        const QString others = *unlogged > 0 ? QStringLiteral(" (%1 rounds not logged)").arg(*unlogged) : QString();
        qCInfo(lxMarketdLog, "replay begins: %s, %s%s", qUtf8Printable(m_settings.replay.folder),
               qUtf8Printable(m_settings.replay.date), qUtf8Printable(others));
    }
    m_currentDay.clear();
    m_readBeforeRound = readBefore;
    ++m_round;
    LxBus::current()->openPublisher()->beginDay();
    m_replay->run(error);
    const ReplayCount count = m_replay->totalCount();
    // A replay without records is not repeated, which would be a busy loop.
    bool again = m_settings.loop && error->isEmpty() && count.read > readBefore;
    {
        QMutexLocker locker(&m_mutex);
        again = again && !m_stopping;
    }
    again = again && m_replay->rewind(error);
    if (unlogged || !again) {
        m_brokenRows.writeCounts();
        qCInfo(lxMarketdLog, "replay ends: %s", qUtf8Printable(toString(count)));
    }
    return again;
}

// On the replay's thread, at full speed. Records that are published while the broker cannot be reached would be lost.
void Server::waitForConnection()
{
    QMutexLocker locker(&m_mutex);
    while (m_reconnecting && !m_stopping)
        m_changed.wait(&m_mutex);
}

void Server::noteState(const LxBusState &state)
{
    qCInfo(lxMarketdLog, "bus %s", qUtf8Printable(state.text()));
    QMutexLocker locker(&m_mutex);
    m_reconnecting = state.kind == LxBusState::Reconnecting;
    m_changed.wakeAll();
}

void Server::logProgress()
{
    const quint64 read = m_replay->totalCount().read;
    const auto milliseconds = static_cast<quint64>(m_sinceProgress.restart());
    qCInfo(lxMarketdLog, "replaying: %s, %llu records read, %llu/s; %llu dropped",
           qUtf8Printable(m_replay->position().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))),
           static_cast<unsigned long long>(read),
           static_cast<unsigned long long>((read - m_readAtProgress) * 1000 / std::max<quint64>(milliseconds, 1)),
           static_cast<unsigned long long>(LxBus::current()->statistics().totalDropped()));
    m_readAtProgress = read;
}
