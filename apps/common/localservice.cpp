#include "localservice.h"

#include <importer.h>
#include <requestservice.h>
#include <storestate.h>
#include <terminal.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

namespace {

// The path, in the user's cache, of the store of a folder.
QString cachedStore(const QString &folder)
{
    const QByteArray id =
        QCryptographicHash::hash(QFileInfo(folder).canonicalFilePath().toUtf8(), QCryptographicHash::Sha1);
    const QDir cache(QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
    return cache.filePath(QStringLiteral("%1.store").arg(QString::fromLatin1(id.toHex().left(16))));
}

// A store that the user specified is not rebuilt.
bool checkGiven(const QString &store, QString *error)
{
    const StoreState state = checkStore(store, error);
    if (state == StoreState::OtherVersion || state == StoreState::Damaged || state == StoreState::Outdated)
        *error = QCoreApplication::translate("LocalService", "%1 (marketd import DIR %2), or omit --store")
                     .arg(*error, store);
    return state == StoreState::Current;
}

} // namespace

QString LocalService::prepareStore(const QString &folder, QString *error)
{
    if (!QDir(folder).exists()) {
        *error = tr("no such folder: %1").arg(folder);
        return QString();
    }
    QString store = cachedStore(folder);
    QString reason;
    if (checkStore(store, &reason) == StoreState::Current)
        return store;
    QDir().mkpath(QFileInfo(store).path());
    // If another program is building the store, this one waits and uses the result.
    QLockFile building(store + QStringLiteral(".building"));
    building.setStaleLockTime(0); // only the lock of a process that has ended is stale
    building.lock();
    if (checkStore(store, &reason) == StoreState::Current)
        return store;
    Terminal::complain(tr("building a store of %1 ...").arg(folder));
    return ensureStore(folder, store, nullptr, error) ? store : QString();
}

LocalService::LocalService() : m_service(std::make_unique<RequestService>()) { }

LocalService::~LocalService() = default;

bool LocalService::start(const QString &folder, QString store, QString *error)
{
    if (store.isEmpty())
        store = prepareStore(folder, error);
    else if (!checkGiven(store, error))
        return false;
    return !store.isEmpty() && m_service->start(store, error);
}
