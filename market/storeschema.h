#pragma once

#include <QString>
#include <QVector>

/// The tables of a store, each filled from one CSV file of a folder of recorded data. The columns have the same names
/// as in the files.
namespace StoreSchema {

/// Marks a SQLite file as a store (its "application_id").
constexpr int ApplicationId = 0x4c584d53;
/// Version of the schema (the file's "user_version"). A store of another version has to be imported again.
constexpr int Version = 2;

enum class Kind {
    Security, ///< the symbol of the security that this row adds
    Symbol, ///< a symbol, stored as the SymbolId of its security
    Date, ///< yyyyMMdd, stored as an integer of these digits
    Time, ///< HHmmssSSS, stored as an integer of these digits
    Number,
    Amount, ///< a number that is not negative
    Text
};

enum class Presence {
    Key, ///< part of the primary key
    Required, ///< a row without it is broken
    Optional ///< NULL if the cell is empty or the file lacks the column
};

struct Column
{
    QString name; ///< in the file; also in the table, except for symbols
    Kind kind;
    Presence presence;
};

struct Table
{
    QString name; ///< of the table; the file is <name>.csv or <name>.csv.gz
    QVector<Column> columns;

    QString createStatement() const;
    /// Inserts one row, with a placeholder for each column in order; ignores a row whose key is already in the table.
    QString insertStatement() const;
};

/// All tables, the securities first.
const QVector<Table> &tables();

} // namespace StoreSchema
