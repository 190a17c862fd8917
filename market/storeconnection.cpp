#include "storeconnection.h"

#include "translated.h"

#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

constexpr int BusyTimeoutMs = 1000;

static QString nextName()
{
    static std::atomic<int> last { 0 };
    return QStringLiteral("market.store.%1").arg(++last);
}

StoreConnection::StoreConnection() : m_name(nextName()) { }

StoreConnection::~StoreConnection()
{
    close();
}

bool StoreConnection::open(const QString &path, Mode mode, QString *error)
{
    close();
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    if (!m_database.isValid()) {
        *error = translated("Qt's SQLite driver is not installed");
        return false;
    }
    m_database.setDatabaseName(path);
    QString options = QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(BusyTimeoutMs);
    if (mode == ReadOnly)
        options += QStringLiteral(";QSQLITE_OPEN_READONLY");
    m_database.setConnectOptions(options);
    if (!m_database.open()) {
        *error = QStringLiteral("%1: %2").arg(path, m_database.lastError().text());
        return false;
    }
    return true;
}

void StoreConnection::close()
{
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_name);
}

bool StoreConnection::execute(const QString &statement, QString *error)
{
    QSqlQuery query(m_database);
    if (query.exec(statement))
        return true;
    *error = QStringLiteral("%1: %2").arg(m_database.databaseName(), query.lastError().text());
    return false;
}
