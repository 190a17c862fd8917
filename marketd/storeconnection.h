#pragma once

#include <QSqlDatabase>
#include <QString>

/// A connection to one SQLite file, under a name of its own. Belongs to the thread that opens it, and is closed there;
/// queries made on it must be gone by then.
class StoreConnection
{
public:
    enum Mode { ReadOnly, ReadWrite };

    StoreConnection();
    ~StoreConnection();
    StoreConnection(const StoreConnection &) = delete;
    StoreConnection &operator=(const StoreConnection &) = delete;

    /// False, with errorString() set, if the file cannot be opened; reading it may fail later still.
    bool open(const QString &path, Mode mode);
    void close();
    /// Runs a statement that brings no rows. False with errorString() set if it fails.
    bool execute(const QString &statement);

    const QSqlDatabase &database() const { return m_database; }
    QString errorString() const { return m_error; }

private:
    const QString m_name;
    QSqlDatabase m_database;
    QString m_error;
};
