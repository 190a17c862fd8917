#include "storesources.h"

#include "storeconnection.h"
#include "translated.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace {

// Empty, with the reason in `error`, if the file cannot be read.
QString digestOf(const QString &path, QString *error)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly) && hash.addData(&file))
        return QString::fromLatin1(hash.result().toHex());
    *error = QStringLiteral("%1: %2").arg(path, file.errorString());
    return QString();
}

} // namespace

bool StoreSources::write(const QStringList &paths, StoreConnection *connection, QString *error)
{
    if (!connection->execute(QStringLiteral("CREATE TABLE sources (Path TEXT PRIMARY KEY, Size INTEGER NOT NULL, "
                                            "Sha256 TEXT NOT NULL) WITHOUT ROWID"),
                             error))
        return false;
    QSqlQuery insert(connection->database());
    insert.prepare(QStringLiteral("INSERT INTO sources VALUES (?, ?, ?)"));
    for (const QString &path : paths) {
        const QFileInfo file(path);
        if (!file.isFile()) // a pipe has no content to compare later
            continue;
        const QString digest = digestOf(path, error);
        if (digest.isEmpty())
            return false;
        insert.addBindValue(file.absoluteFilePath());
        insert.addBindValue(file.size());
        insert.addBindValue(digest);
        if (!insert.exec()) {
            *error = QStringLiteral("%1: %2").arg(connection->database().databaseName(), insert.lastError().text());
            return false;
        }
    }
    return true;
}

std::optional<QString> StoreSources::findChange(const StoreConnection &connection, QString *error)
{
    QSqlQuery query(connection.database());
    if (!query.exec(QStringLiteral("SELECT Path, Size, Sha256 FROM sources"))) {
        *error = query.lastError().text();
        return std::nullopt;
    }
    while (query.next()) {
        const QFileInfo file(query.value(0).toString());
        if (!file.dir().exists())
            continue;
        if (!file.exists())
            return translated("%1 has been removed").arg(file.filePath());
        QString reason;
        if (file.size() != query.value(1).toLongLong()
            || digestOf(file.filePath(), &reason) != query.value(2).toString())
            return reason.isEmpty() ? translated("%1 has changed").arg(file.filePath()) : reason;
    }
    return QString();
}
