#include "markethost.h"

#include <hostedlibrary.h>
#include <localservice.h>
#include <lxbusinessdata/businessdatabase.h>
#include <replaythread.h>

#include <QDir>

#include <algorithm>

MarketHost::MarketHost(Options options) : m_options(std::move(options))
{
    connect(&m_bus, &ProgramBus::stateChanged, this, &MarketHost::stateChanged);
    connect(&m_bus, &ProgramBus::failed, this, &MarketHost::failed);
}

MarketHost::~MarketHost()
{
    if (m_replay)
        m_replay->stop();
    if (m_replayThread)
        m_replayThread->wait();
    if (m_serviceThread)
        m_serviceThread->wait();
}

bool MarketHost::open(QString *error)
{
    BusSettings bus = m_options.bus;
    if (!isShared())
        bus.url = QStringLiteral("inproc:");
    if (!m_bus.join(bus, error))
        return false;
    if (!isShared()) {
        ReplayOptions replay = m_options.replay;
        replay.folder = m_options.folder;
        replay.waitForConsumers = HostedLibrary::waitUntilIdle;
        m_replay = std::make_unique<Replay>(std::move(replay));
        if (!m_replay->open(error))
            return false;
    }
    if (!HostedLibrary::load(m_options.folder, error))
        return false;
    if (isShared())
        m_presence = std::make_unique<PresenceWatch>();
    return true;
}

void MarketHost::start()
{
    if (isShared())
        return;
    m_replayThread = std::make_unique<ReplayThread>([this] {
        QString error;
        const bool isComplete = m_replay->run(&error);
        QMetaObject::invokeMethod(
            this,
            [this, isComplete, error] {
                if (isComplete)
                    Q_EMIT replayEnded();
                else if (!error.isEmpty())
                    Q_EMIT failed(error);
            },
            Qt::QueuedConnection);
    });
    m_replayThread->setObjectName(QStringLiteral("LxBoard_Replay"));
    m_replayThread->start();

    // The store may have to be built first, which takes some seconds.
    m_service = std::make_unique<LocalService>();
    m_serviceThread.reset(QThread::create([this] {
        QString error;
        const bool isStarted = m_service->start(m_options.folder, QString(), &error);
        QMetaObject::invokeMethod(
            this,
            [this, isStarted, error] {
                if (isStarted)
                    Q_EMIT serviceStarted();
                else
                    Q_EMIT serviceFailed(error);
            },
            Qt::QueuedConnection);
    }));
    m_serviceThread->setObjectName(QStringLiteral("LxBoard_Service"));
    m_serviceThread->start(QThread::LowPriority);
}

quint64 MarketHost::dropped() const
{
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    return statistics.totalDropped() - conflated() - statistics.dropped(LxBusDrop::NoService);
}

quint64 MarketHost::conflated() const
{
    return LxBus::current()->statistics().dropped(LxBusDrop::Conflated);
}

QVector<LxSecurity> MarketHost::securities() const
{
    QVector<LxSecurity> result;
    const QHash<QString, CBusinessDataBase::Security> all = CBusinessDataBase::GetInstance()->Securities();
    result.reserve(all.size());
    for (auto security = all.cbegin(); security != all.cend(); ++security)
        result.append({ security.key(), security->name, security->type });
    std::sort(result.begin(), result.end(),
              [](const LxSecurity &a, const LxSecurity &b) { return a.symbol < b.symbol; });
    return result;
}

QStringList MarketHost::replayedSymbols()
{
    if (isShared() || !m_replayedSymbols.isEmpty())
        return m_replayedSymbols;
    for (const QFileInfo &file : QDir(m_options.folder).entryInfoList(QDir::Files)) {
        const std::optional<RecordingKind> kind = CsvRecording::kindOfName(file.fileName());
        CsvRecording recording;
        QString error; // of a file that cannot be read, which the replay reports
        if (!kind || *kind > RecordingKind::FutureQuote
            || !recording.open(file.filePath(), *kind, m_options.replay.date, &error))
            continue;
        while (recording.next([](const QString &, qint64, const QString &) {}, &error)) {
            if (!m_replayedSymbols.contains(recording.row().symbol))
                m_replayedSymbols.append(recording.row().symbol);
        }
    }
    return m_replayedSymbols;
}
