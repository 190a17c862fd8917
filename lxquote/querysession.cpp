#include "querysession.h"

#include "arguments.h"
#include "terminal.h"

#include <importer.h>
#include <requestservice.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>

namespace {

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
    BusSession::addOptions(parser);
    parser.addOption(
        { QStringLiteral("store"),
          QStringLiteral("Store built by marketd import (default: one built from the recordings when it is "
                         "first needed, in the user's cache)."),
          QStringLiteral("FILE") });
    BusSession::addTimeoutOption(parser);
}

bool QuerySession::readOptions(const QCommandLineParser &parser, Options *options, QString *error)
{
    options->store = parser.value(QStringLiteral("store"));
    return BusSession::readOptions(parser, { QStringLiteral("store") }, &options->bus, error)
        && BusSession::readTimeout(parser, &options->timeoutMs, error);
}

QuerySession::QuerySession(Options options) : m_options(std::move(options)), m_bus(m_options.bus) { }

QuerySession::~QuerySession() = default;

bool QuerySession::prepareStore(QString *error)
{
    if (!m_options.store.isEmpty())
        return true;
    if (!QDir(m_bus.folder()).exists()) {
        *error = QStringLiteral("no such folder: %1").arg(m_bus.folder());
        return false;
    }
    m_options.store = cachedStore(m_bus.folder());
    if (QFileInfo::exists(m_options.store) && !isOlderThanItsData(m_options.store, m_bus.folder()))
        return true;
    Terminal::err(QStringLiteral("lxquote: building a store of %1 ...\n").arg(m_bus.folder()));
    QDir().mkpath(QFileInfo(m_options.store).path());
    Importer importer(m_bus.folder(), m_options.store, nullptr);
    if (importer.run() == Importer::Imported)
        return true;
    *error = importer.errorString();
    return false;
}

ExitCode QuerySession::open(QString *error)
{
    if (!m_bus.isShared() && !prepareStore(error))
        return ExitUsage;
    if (const ExitCode code = m_bus.join(error, m_options.timeoutMs))
        return code;
    if (!m_bus.isShared()) {
        m_service = std::make_unique<RequestService>();
        if (!m_service->start(m_options.store, error))
            return ExitUsage;
    }
    m_bus.printStates();
    return m_bus.loadLibrary(error);
}

AnswerWait::AnswerWait(QuerySession &session) : m_session(session)
{
    connect(&session.bus(), &BusSession::failed, this,
            [this](const QString &reason) { end(static_cast<ExitCode>(Arguments::failure(ExitFailure, reason))); });
}

ExitCode AnswerWait::run()
{
    QTimer::singleShot(m_session.timeoutMs(), this, [this] { end(ExitTimeout); });
    if (!m_ended)
        m_loop.exec();
    return m_code;
}

void AnswerWait::end(ExitCode code)
{
    if (m_ended)
        return;
    m_ended = true;
    m_code = code;
    m_loop.quit();
}
