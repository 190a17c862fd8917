#include "server.h"

#include "replaythread.h"
#include "requestservice.h"

#include <QDeadlineTimer>
#include <QLoggingCategory>

#include <algorithm>

Q_LOGGING_CATEGORY(lxServerLog, "lx.marketd")

namespace {

constexpr int ReadyTimeoutMs = 4000;
constexpr int ReadyCheckMs = 100;
constexpr int ProgressIntervalMs = 10000;

/// A service that answers nothing, to wait for the bus.
class Waiter final : public LxBusService
{
    QStringList requestTypes() const override { return {}; }
    void handle(const LxBusRequest &) override { }
};

QString text(const ReplayCount &count)
{
    return QStringLiteral("%1 records read, %2 published, %3 broken rows skipped")
        .arg(count.read)
        .arg(count.published)
        .arg(count.skipped);
}

} // namespace

Server::Server(Options options, QObject *parent) : QObject(parent), m_options(std::move(options))
{
    connect(&m_bus, &ProgramBus::stateChanged, this, &Server::noteState);
    connect(&m_progress, &QTimer::timeout, this, &Server::logProgress);
}

Server::~Server()
{
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
        qCInfo(lxServerLog, "the bus dropped %s", qUtf8Printable(drops));
}

bool Server::start(QString *error)
{
    BusSettings bus = m_options.bus;
    // One packet for many records where throughput counts, one for each where its delay does.
    bus.options.sendAtOnce = m_options.folder.isEmpty() || m_options.speed > 0;
    if (!m_bus.join(bus, error))
        return false;
    noteState(m_bus.state());
    if (!m_options.store.isEmpty()) {
        m_service = std::make_unique<RequestService>();
        if (!m_service->start(m_options.store, error))
            return false;
    }
    if (!m_options.folder.isEmpty() && !openReplay(error))
        return false;
    if (!waitUntilReady(error))
        return false;
    connect(&m_bus, &ProgramBus::failed, this, &Server::failed);
    qCInfo(lxServerLog, "ready");
    if (m_replay) {
        m_thread->start();
        m_sinceProgress.start();
        m_progress.start(ProgressIntervalMs);
    }
    return true;
}

// The broker knows of the services, and has refused what it refuses, when it has answered.
bool Server::waitUntilReady(QString *error)
{
    Waiter waiter;
    const auto port = LxBus::current()->openService(&waiter);
    const QDeadlineTimer deadline(ReadyTimeoutMs);
    while (!port->flush(ReadyCheckMs)) {
        if (!m_bus.check(error))
            return false;
        if (deadline.hasExpired()) {
            *error = QStringLiteral("the broker does not answer");
            return false;
        }
    }
    return m_bus.check(error);
}

bool Server::openReplay(QString *error)
{
    ReplayOptions options;
    options.folder = m_options.folder;
    options.date = m_options.date;
    options.speed = m_options.speed;
    options.waitForConsumers = [this] { waitForBroker(); };
    options.reportBrokenRow = [](const QString &file, qint64 line, const QString &reason) {
        qCWarning(lxServerLog, "%s:%lld: %s; row skipped", qUtf8Printable(file), static_cast<long long>(line),
                  qUtf8Printable(reason));
    };
    m_replay = std::make_unique<Replay>(std::move(options));
    if (!m_replay->open(error))
        return false;
    m_thread = std::make_unique<ReplayThread>([this] { replay(); });
    m_thread->setObjectName(QStringLiteral("Marketd_Replay"));
    return true;
}

// Replay's thread.
void Server::replay()
{
    QString error;
    quint64 read = 0;
    bool again = true;
    while (again) {
        qCInfo(lxServerLog, "replay begins: %s", qUtf8Printable(m_options.folder));
        m_replay->run(&error);
        const ReplayCount count = countInAll();
        qCInfo(lxServerLog, "replay ends: %s", qUtf8Printable(text(count)));
        // Where there is nothing to read, reading it again is no loop to be in.
        again = m_options.loop && error.isEmpty() && count.read > read;
        read = count.read;
        {
            QMutexLocker locker(&m_mutex);
            again = again && !m_stopping;
        }
        again = again && m_replay->rewind(&error);
    }
    QMetaObject::invokeMethod(
        this,
        [this, error] {
            m_progress.stop();
            if (!error.isEmpty())
                Q_EMIT failed(error);
        },
        Qt::QueuedConnection);
}

// Replay's thread, at full speed. The receivers behind a broker cannot be waited for, but the broker itself can: what
// is published while it is away would be lost.
void Server::waitForBroker()
{
    QMutexLocker locker(&m_mutex);
    while (m_brokerAway && !m_stopping)
        m_changed.wait(&m_mutex);
}

void Server::noteState(const LxBusState &state)
{
    qCInfo(lxServerLog, "bus %s", qUtf8Printable(state.text()));
    QMutexLocker locker(&m_mutex);
    m_brokerAway = state.kind == LxBusState::Reconnecting;
    m_changed.wakeAll();
}

void Server::logProgress()
{
    const quint64 read = countInAll().read;
    const auto milliseconds = static_cast<quint64>(m_sinceProgress.restart());
    qCInfo(lxServerLog, "replaying: %llu records read, %llu/s; %llu dropped", static_cast<unsigned long long>(read),
           static_cast<unsigned long long>((read - m_readAtProgress) * 1000 / std::max<quint64>(milliseconds, 1)),
           static_cast<unsigned long long>(LxBus::current()->statistics().droppedInAll()));
    m_readAtProgress = read;
}

ReplayCount Server::countInAll() const
{
    ReplayCount sum;
    for (int i = 0; i < RecordingKinds; ++i) {
        const ReplayCount count = m_replay->count(static_cast<RecordingKind>(i));
        sum.read += count.read;
        sum.published += count.published;
        sum.skipped += count.skipped;
    }
    return sum;
}
