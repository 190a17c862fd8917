#include "natsbroker.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QUrl>

#include <csignal>

#include <nats/nats.h>

#include <sys/prctl.h>
#include <sys/types.h>

namespace {

constexpr int PatienceMs = 30000;
constexpr int PollMs = 5;

const QString configFile = QStringLiteral("nats-server.conf");
const QString address = QStringLiteral("127.0.0.1");
const QString logFile = QStringLiteral("log");

class Child final : public QProcess
{
    void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
};

QString program()
{
    const QString name = QStringLiteral("nats-server");
    const QString found = QStandardPaths::findExecutable(name);
    // Debian installs it in a folder that is not in every user's PATH.
    return found.isEmpty() ? QStandardPaths::findExecutable(name, { QStringLiteral("/usr/sbin") }) : found;
}

} // namespace

NatsBroker::NatsBroker(const QByteArray &config)
{
    configure(config);
}

void NatsBroker::configure(const QByteArray &config)
{
    const QByteArray text =
        config.contains("jetstream") ? config : config + "\njetstream { store_dir: \"jetstream\" }\n";
    QFile file(filePath(configFile));
    if (!m_folder.isValid() || !file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
}

NatsBroker::~NatsBroker()
{
    kill();
}

bool NatsBroker::start()
{
    kill();
    m_process = std::make_unique<Child>();
    m_process->setWorkingDirectory(folder());
    // A file, since a pipe that nothing reads would block the broker.
    m_process->setStandardOutputFile(filePath(logFile), QIODevice::Append);
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->start(program(),
                     { QStringLiteral("-c"), configFile, QStringLiteral("-a"), address, QStringLiteral("-p"),
                       QString::number(m_port > 0 ? m_port : -1), QStringLiteral("-m"), QStringLiteral("-1"),
                       QStringLiteral("--ports_file_dir"), folder() });
    if (!m_process->waitForStarted(PatienceMs))
        return false;
    const QDeadlineTimer deadline(PatienceMs);
    while (!readPort()) {
        if (deadline.hasExpired() || m_process->waitForFinished(PollMs) || m_process->state() == QProcess::NotRunning)
            return false;
    }
    return true;
}

// The broker writes the file when it has begun to listen.
bool NatsBroker::readPort()
{
    QFile file(filePath(QStringLiteral("nats-server_%1.ports").arg(m_process->processId())));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QJsonArray urls = QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("nats")).toArray();
    const int port = QUrl(urls.at(0).toString()).port(0);
    if (port > 0)
        m_port = port;
    return port > 0;
}

void NatsBroker::kill()
{
    if (!m_process)
        return;
    m_process->kill();
    m_process->waitForFinished(PatienceMs);
    m_process.reset();
}

void NatsBroker::forgetRecords()
{
    natsConnection *connection = nullptr;
    jsCtx *jetStream = nullptr;
    if (natsConnection_ConnectTo(&connection, qPrintable(url())) != NATS_OK
        || natsConnection_JetStream(&jetStream, connection, nullptr) != NATS_OK
        || js_PurgeStream(jetStream, "LX_LAST", nullptr, nullptr) != NATS_OK
        || js_PurgeStream(jetStream, "LX_TICKS", nullptr, nullptr) != NATS_OK)
        qFatal("cannot empty the streams");
    jsCtx_Destroy(jetStream);
    natsConnection_Destroy(connection);
}

void NatsBroker::freeze()
{
    ::kill(static_cast<pid_t>(m_process->processId()), SIGSTOP);
}

void NatsBroker::thaw()
{
    ::kill(static_cast<pid_t>(m_process->processId()), SIGCONT);
}

QString NatsBroker::url(const QString &user, const QString &scheme) const
{
    const QString prefix = user.isEmpty() ? QString() : user + QLatin1Char('@');
    return QStringLiteral("%1://%2%3:%4").arg(scheme, prefix, address, QString::number(m_port));
}

QByteArray NatsBroker::log() const
{
    QFile file(filePath(logFile));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("nats-server did not start");
}
