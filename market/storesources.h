#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class StoreConnection;

/// The files that a store was built from: table `sources` of the store, with path, size and SHA-256 of each.
namespace StoreSources {

/// Writes the table. False, with the reason in `error`, if a file cannot be read or the store cannot be written.
bool write(const QStringList &paths, StoreConnection *connection, QString *error);

/// Describes the first change found, as in "DIR/x.csv has changed"; empty if no file has changed. Absent, with the
/// reason in `error`, if the store cannot be read. Files whose folder does not exist are ignored.
std::optional<QString> findChange(const StoreConnection &connection, QString *error);

} // namespace StoreSources
