#pragma once

#include "storeschema.h"

#include <QHash>
#include <QString>
#include <QVariant>

#include <memory>

class CsvReader;
class QSqlQuery;
class StoreConnection;

/// Hears how an import goes. Called from Importer::run().
class ImportObserver
{
public:
    /// `percent` of the file has been read, as far as its size tells. Called when the number changes.
    virtual void progress(const QString &file, int percent) = 0;
    /// A row was left out.
    virtual void brokenRow(const QString &file, qint64 line, const QString &reason) = 0;
    virtual void fileDone(const QString &file, qint64 rows, qint64 broken) = 0;

protected:
    ~ImportObserver() = default;
};

/// Builds a store from a folder of recorded data.
///
/// The new store grows in a file of its own beside the old one and takes its place in one step once it is complete and
/// on the disk: an import that fails or is cut off leaves the old store as it was. The same folder always gives the
/// same bytes. A service that has the old store open goes on reading it.
class Importer
{
public:
    enum Result {
        Imported,
        BadInput, ///< the folder or a file of it cannot be read
        BadStore ///< the store cannot be written, or the file in its place is none
    };

    /// `observer` may be null.
    Importer(const QString &folder, const QString &store, ImportObserver *observer);
    ~Importer();

    Result run();
    /// The reason of a result other than Imported.
    QString errorString() const { return m_error; }

private:
    /// Where a column of a table stands in the file; -1 where it does not.
    struct Field
    {
        const StoreSchema::Column *column;
        int position;
    };

    Result fail(Result result, const QString &reason);
    bool findFiles();
    Result build(const QString &path);
    Result importTable(const StoreSchema::Table &table, StoreConnection *connection);
    /// Inserts the reader's current row. Returns what is wrong with it, empty if nothing is.
    QString importRow(const CsvReader &reader, const QVector<Field> &fields, QSqlQuery *insert);
    /// The SymbolId of `symbol`, which becomes a security if it is none yet.
    QVariant symbolId(const QByteArray &symbol);
    Result replaceStore(const QString &built);

    const QString m_folder;
    const QString m_store;
    ImportObserver *const m_observer;
    QHash<QString, QString> m_paths; // of the files, by table
    QHash<QByteArray, QVariant> m_symbols; // SymbolIds
    std::unique_ptr<QSqlQuery> m_insertSymbol; // while the store is built
    QString m_databaseError; // of the row that could not be written
    QString m_error;
};
