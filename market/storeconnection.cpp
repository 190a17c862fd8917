#include "storeconnection.h"

#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

static QString nextName()
{
    static std::atomic<int> last { 0 };
    return QStringLiteral("marketd.store.%1").arg(++last);
}

StoreConnection::StoreConnection() : m_name(nextName()) { }

StoreConnection::~StoreConnection()
{
    close();
}

bool StoreConnection::open(const QString &path, Mode mode)
{
    close();
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    if (!m_database.isValid()) {
        m_error = QStringLiteral("Qt's SQLite driver is not installed");
        return false;
    }
    m_database.setDatabaseName(path);
    if (mode == ReadOnly)
        m_database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
    if (!m_database.open()) {
        m_error = m_database.lastError().text();
        return false;
    }
    return true;
}

void StoreConnection::close()
{
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_name);
}

bool StoreConnection::execute(const QString &statement)
{
    QSqlQuery query(m_database);
    if (query.exec(statement))
        return true;
    m_error = query.lastError().text();
    return false;
}
