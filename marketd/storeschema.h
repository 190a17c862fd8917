#pragma once

#include <QString>
#include <QVector>

/// What a store consists of: its tables, each filled from one CSV file of a folder of recorded data. The columns bear
/// the names that they have in the files.
namespace StoreSchema {

/// Marks a SQLite file as a store (its "application_id").
constexpr int ApplicationId = 0x4c584d53;
/// Of the tables' layout (the file's "user_version"); a store of another version has to be imported anew.
constexpr int Version = 1;

enum class Kind {
    Security, ///< a symbol that the row itself introduces
    Symbol, ///< a symbol, kept as the SymbolId of its security
    Date, ///< yyyyMMdd, kept as that number
    Time, ///< HHmmssSSS, kept as that number
    Number,
    Text
};

enum class Presence {
    Key, ///< part of the primary key
    Required, ///< a row without it is broken
    Optional ///< NULL where the cell is empty or the file has no such column
};

struct Column
{
    QString name; ///< in the file, and but for symbols in the table
    Kind kind;
    Presence presence;
};

struct Table
{
    QString name; ///< of the table; the file is <name>.csv or <name>.csv.gz
    QVector<Column> columns;

    QString createStatement() const;
    /// Inserts one row, with a placeholder for each column in order; a row whose key is there already is left out.
    QString insertStatement() const;
};

/// All tables, that of the securities first.
const QVector<Table> &tables();

} // namespace StoreSchema
