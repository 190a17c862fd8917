#pragma once

#include <QSqlDatabase>
#include <QString>

/// A connection to one SQLite file, under a unique name. Must be used and closed on the thread that opens it; queries
/// on it must be destroyed before it is closed.
class StoreConnection
{
public:
    enum Mode { ReadOnly, ReadWrite };

    StoreConnection();
    ~StoreConnection();
    StoreConnection(const StoreConnection &) = delete;
    StoreConnection &operator=(const StoreConnection &) = delete;

    /// False, with the reason in `error`, if the file cannot be opened. A damaged file may fail only when it is read.
    bool open(const QString &path, Mode mode, QString *error);
    void close();
    /// Runs a statement without result rows. False, with the reason in `error`, if it fails.
    bool execute(const QString &statement, QString *error);

    const QSqlDatabase &database() const { return m_database; }

private:
    const QString m_name;
    QSqlDatabase m_database;
};
