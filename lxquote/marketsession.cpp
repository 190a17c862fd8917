#include "marketsession.h"

#include "terminal.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxquotahandler.h>
#include <lxutils/lxthread.h>
#include <lxwidget/lxpluginhost.h>

#include <QDir>
#include <QFile>

namespace {

// Batches of records that may be on their way through the library at once, at full speed.
constexpr int BatchesAhead = 2;

class ReplayThread : public LxThread
{
public:
    explicit ReplayThread(std::function<void()> work) : m_work(std::move(work)) { }

private:
    void run() override { m_work(); }

    const std::function<void()> m_work;
};

} // namespace

MarketSession::MarketSession(Options options, QObject *parent)
    : QObject(parent), m_options(std::move(options)), m_room(BatchesAhead)
{
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

bool MarketSession::open(QString *error)
{
    if (!LxBus::start(QStringLiteral("inproc:"), LxBusOptions(), error))
        return false;
    ReplayOptions options;
    options.folder = m_options.folder;
    options.date = m_options.date;
    options.speed = m_options.speed;
    options.waitForConsumers = [this] { waitForConsumers(); };
    options.reportBrokenRow = [](const QString &file, qint64 line, const QString &reason) {
        Terminal::err(QStringLiteral("lxquote: %1:%2: %3; row skipped\n").arg(file).arg(line).arg(reason));
    };
    m_replay = std::make_unique<Replay>(std::move(options));
    if (!m_replay->open(error))
        return false;
    const QString securities = QDir(m_options.folder).filePath(QStringLiteral("securities.csv"));
    if (QFile::exists(securities)) {
        if (!CBusinessDataBase::GetInstance()->LoadSecurities(securities, error))
            return false;
    } else {
        Terminal::err(QStringLiteral("lxquote: no %1: securities have no names\n").arg(securities));
    }
    return LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), error);
}

void MarketSession::warnOfUnknown(const QStringList &symbols) const
{
    for (const QString &symbol : symbols) {
        if (!CBusinessDataBase::GetInstance()->HasSymbol(symbol))
            Terminal::err(QStringLiteral("lxquote: warning: unknown symbol %1\n").arg(symbol));
    }
}

void MarketSession::start()
{
    m_thread = std::make_unique<ReplayThread>([this] {
        QString error;
        m_replay->run(&error);
        afterConsumers([this, error] { Q_EMIT finished(error); });
    });
    m_thread->setObjectName(QStringLiteral("LxQuote_Replay"));
    m_thread->start();
}

void MarketSession::stop()
{
    m_stopping = true;
    if (m_replay)
        m_replay->stop();
}

quint64 MarketSession::dropped(RecordingKind kind) const
{
    return LxBus::current()->statistics().dropped(recordingKindInfo(kind).topic);
}

quint64 MarketSession::droppedInAll() const
{
    return LxBus::current()->statistics().droppedInAll();
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
