#include "storestate.h"

#include "storeconnection.h"
#include "storeschema.h"
#include "storesources.h"
#include "translated.h"

#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace {

// Result codes of SQLite.
constexpr int Busy = 5;
constexpr int Corrupt = 11;
constexpr int NotADatabase = 26;

StoreState stateOfError(const QSqlError &error, QString *reason)
{
    switch (error.nativeErrorCode().toInt()) {
    case Busy:
        *reason = translated("locked by another process");
        return StoreState::Unreadable;
    case Corrupt:
        *reason = translated("the store is damaged (%1); import the data again").arg(error.text());
        return StoreState::Damaged;
    case NotADatabase:
        *reason = translated("not a store");
        return StoreState::NotAStore;
    default:
        *reason = error.text();
        return StoreState::Unreadable;
    }
}

// Reads the single value of a pragma.
StoreState readPragma(const StoreConnection &connection, const QString &name, QVariant *value, QString *reason)
{
    QSqlQuery query(connection.database());
    if (!query.exec(QStringLiteral("PRAGMA ") + name) || !query.next())
        return stateOfError(query.lastError(), reason);
    *value = query.value(0);
    return StoreState::Current;
}

StoreState checkHead(const StoreConnection &connection, QString *reason)
{
    QVariant value;
    StoreState state = readPragma(connection, QStringLiteral("application_id"), &value, reason);
    if (state != StoreState::Current)
        return state;
    if (value.toInt() != StoreSchema::ApplicationId) {
        *reason = translated("not a store");
        return StoreState::NotAStore;
    }
    state = readPragma(connection, QStringLiteral("user_version"), &value, reason);
    if (state == StoreState::Current && value.toInt() != StoreSchema::Version) {
        *reason = translated("a store of version %1, but version %2 is required; import the data again")
                      .arg(value.toInt())
                      .arg(StoreSchema::Version);
        return StoreState::OtherVersion;
    }
    return state;
}

StoreState checkContent(const StoreConnection &connection, QString *reason)
{
    QVariant result;
    const StoreState state = readPragma(connection, QStringLiteral("quick_check(1)"), &result, reason);
    if (state != StoreState::Current)
        return state;
    if (result.toString() != QLatin1String("ok")) {
        *reason = translated("the store is damaged (%1); import the data again").arg(result.toString().simplified());
        return StoreState::Damaged;
    }
    const std::optional<QString> change = StoreSources::findChange(connection, reason);
    if (!change)
        return StoreState::Damaged;
    if (!change->isEmpty()) {
        *reason = translated("%1 since the store was built; import the data again").arg(*change);
        return StoreState::Outdated;
    }
    return StoreState::Current;
}

} // namespace

StoreState openStore(const QString &path, StoreConnection *connection, QString *error)
{
    const auto result = [&](StoreState state, const QString &reason) {
        connection->close();
        *error = QStringLiteral("%1: %2").arg(path, reason);
        return state;
    };
    const QFileInfo file(path);
    if (!file.exists())
        return result(StoreState::Missing, translated("no such file"));
    if (file.isDir())
        return result(StoreState::NotAStore, translated("a folder, not a store"));
    if (!file.isReadable())
        return result(StoreState::Unreadable, translated("the file cannot be read (permission denied)"));
    if (!connection->open(path, StoreConnection::ReadOnly, error))
        return StoreState::Unreadable;
    QString reason;
    const StoreState state = checkHead(*connection, &reason);
    return state == StoreState::Current ? state : result(state, reason);
}

StoreState checkStore(const QString &path, QString *error)
{
    StoreConnection connection;
    StoreState state = openStore(path, &connection, error);
    if (state != StoreState::Current)
        return state;
    QString reason;
    state = checkContent(connection, &reason);
    if (state != StoreState::Current)
        *error = QStringLiteral("%1: %2").arg(path, reason);
    return state;
}
