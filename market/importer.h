#pragma once

#include "storeschema.h"

#include <QHash>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

class CsvReader;
class QSqlQuery;
class StoreConnection;

/// Receives the progress of an import. Called from Importer::run().
class ImportObserver
{
public:
    /// Approximately `percent` of the file has been read. Called when the number changes.
    virtual void progress(const QString &file, int percent) = 0;
    /// A row cannot be imported.
    virtual void brokenRow(const QString &file, qint64 line, const QString &reason) = 0;
    virtual void fileDone(const QString &file, qint64 rows) = 0;

protected:
    ~ImportObserver() = default;
};

/// Builds a store from a folder of recorded data.
///
/// The new store is built in a separate file next to the old one and replaces it atomically once it is complete and
/// synchronised to the disk: an import that fails or is interrupted leaves the old store unchanged. If a file has
/// broken rows, the import fails. The same folder always results in the same bytes. A service that has the old store
/// open continues to read it.
class Importer
{
public:
    /// `observer` may be null.
    Importer(const QString &folder, const QString &store, ImportObserver *observer);
    ~Importer();

    /// False, with the reason in `error`, if the folder is not a folder of recorded data. run() also checks this.
    bool findFiles(QString *error);
    /// Builds the store. False, with the reason in `error`, if the recorded data is invalid or the store cannot be
    /// written.
    bool run(QString *error);

private:
    /// The index of a table's column in the file; -1 if the file does not have it.
    struct Field
    {
        const StoreSchema::Column *column;
        int index;
    };
    enum class RowResult { Inserted, Broken, DatabaseFailed };

    bool mayReplaceStore(QString *error) const;
    bool build(const QString &path, QString *error);
    bool importTable(const StoreSchema::Table &table, StoreConnection *connection, QString *error);
    /// Inserts the reader's current row. The reason of any result other than Inserted goes to `error`.
    RowResult importRow(const CsvReader &reader, const QVector<Field> &fields, QSqlQuery *insert, QString *error);
    /// Converts a cell that is not empty. False if it is not a value of that kind.
    static bool readCell(const QByteArray &cell, StoreSchema::Kind kind, QVariant *value);
    /// The SymbolId of `symbol`, which is added to the securities if it is new. Absent, with the reason in `error`, if
    /// the store cannot be written.
    std::optional<QVariant> symbolId(const QByteArray &symbol, QString *error);
    bool replaceStore(const QString &built, QString *error);

    const QString m_folder;
    const QString m_store;
    ImportObserver *const m_observer;
    QHash<QString, QString> m_paths; // of the files, by name of the table
    QHash<QByteArray, QVariant> m_symbols; // SymbolIds
    std::unique_ptr<QSqlQuery> m_insertSymbol; // while the store is built
};

/// Builds the store at `path` from a folder of recorded data unless it is up to date. For a file that belongs to the
/// caller, such as a cache: a file that is not a store is replaced, too, unless it cannot be read. False, with the
/// reason in `error`, on failure.
bool ensureStore(const QString &folder, const QString &path, ImportObserver *observer, QString *error);
