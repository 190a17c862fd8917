#pragma once

#include <QString>

class StoreConnection;

/// Whether requests can be answered from the file of a store.
enum class StoreState {
    Current,
    Missing,
    Unreadable, ///< not permitted, or locked by another process; it may be a store
    NotAStore,
    OtherVersion,
    Damaged,
    Outdated ///< the files that it was built from have changed
};

/// Opens a store for reading. For any state other than Current, `error` receives the reason. Reads only the beginning
/// of the file: does not detect Outdated, nor every Damaged store.
StoreState openStore(const QString &path, StoreConnection *connection, QString *error);

/// Checks the whole store, and compares the files that it was built from by size and content. Files in a folder that
/// does not exist, as on another machine, are not compared. For any state other than Current, `error` receives the
/// reason.
StoreState checkStore(const QString &path, QString *error);
