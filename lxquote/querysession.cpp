#include "querysession.h"

#include "terminal.h"

#include <importer.h>
#include <lxbus/bus.h>
#include <lxbusinessdata/businessdatabase.h>
#include <lxwidget/lxpluginhost.h>
#include <requestservice.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>

namespace {

constexpr double LongestTimeoutSeconds = 3600;

// A store in the user's cache for each folder of recordings.
QString cachedStore(const QString &folder)
{
    const QByteArray id =
        QCryptographicHash::hash(QFileInfo(folder).canonicalFilePath().toUtf8(), QCryptographicHash::Sha1);
    const QDir cache(QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
    return cache.filePath(QStringLiteral("%1.store").arg(QString::fromLatin1(id.toHex().left(16))));
}

bool isOlderThanItsData(const QString &store, const QString &folder)
{
    const QDateTime built = QFileInfo(store).lastModified();
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files);
    return std::any_of(files.cbegin(), files.cend(),
                       [&built](const QFileInfo &file) { return file.lastModified() > built; });
}

} // namespace

void QuerySession::addOptions(QCommandLineParser &parser)
{
    parser.addOption({ QStringLiteral("data"), QStringLiteral("Folder of the recordings (default: data)."),
                       QStringLiteral("DIR"), QStringLiteral("data") });
    parser.addOption({ QStringLiteral("store"),
                       QStringLiteral("Store built by marketd import (default: one built from the recordings when it is "
                                      "first needed, in the user's cache)."),
                       QStringLiteral("FILE") });
    parser.addOption({ QStringLiteral("timeout"),
                       QStringLiteral("Seconds to wait for answers (default: 10)."),
                       QStringLiteral("SECONDS"), QStringLiteral("10") });
}

bool QuerySession::readOptions(const QCommandLineParser &parser, Options *options, QString *error)
{
    options->folder = parser.value(QStringLiteral("data"));
    options->store = parser.value(QStringLiteral("store"));
    const QString timeout = parser.value(QStringLiteral("timeout"));
    bool isNumber = false;
    const double seconds = timeout.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0) || seconds > LongestTimeoutSeconds) {
        *error = QStringLiteral("\"%1\" is no time-out in seconds").arg(timeout);
        return false;
    }
    options->timeoutMs = static_cast<int>(seconds * 1000);
    return true;
}

QuerySession::QuerySession(Options options) : m_options(std::move(options)) { }

QuerySession::~QuerySession() = default;

bool QuerySession::prepareStore(QString *error)
{
    if (!m_options.store.isEmpty())
        return true;
    if (!QDir(m_options.folder).exists()) {
        *error = QStringLiteral("no such folder: %1").arg(m_options.folder);
        return false;
    }
    m_options.store = cachedStore(m_options.folder);
    if (QFileInfo::exists(m_options.store) && !isOlderThanItsData(m_options.store, m_options.folder))
        return true;
    Terminal::err(QStringLiteral("lxquote: building a store of %1 ...\n").arg(m_options.folder));
    QDir().mkpath(QFileInfo(m_options.store).path());
    Importer importer(m_options.folder, m_options.store, nullptr);
    if (importer.run() == Importer::Imported)
        return true;
    *error = importer.errorString();
    return false;
}

bool QuerySession::open(QString *error)
{
    if (!prepareStore(error))
        return false;
    LxBusOptions busOptions;
    busOptions.requestTimeoutMs = m_options.timeoutMs;
    if (!LxBus::start(QStringLiteral("inproc:"), busOptions, error))
        return false;
    m_service = std::make_unique<RequestService>();
    if (!m_service->start(m_options.store, error))
        return false;
    // Names and types; without them the answers are the same.
    const QString securities = QDir(m_options.folder).filePath(QStringLiteral("securities.csv"));
    if (QFileInfo::exists(securities) && !CBusinessDataBase::GetInstance()->LoadSecurities(securities, error))
        return false;
    return LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), error);
}

bool AnswerWait::run(int timeoutMs)
{
    QTimer::singleShot(timeoutMs, &m_loop, &QEventLoop::quit);
    if (!m_finished)
        m_loop.exec();
    return m_finished;
}

void AnswerWait::finish()
{
    m_finished = true;
    m_loop.quit();
}
