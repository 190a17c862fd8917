#pragma once

#include <QString>

/// The quotation library as a plug-in of a program that plays a recording.
namespace HostedLibrary {

/// Reads the names of securities from the folder's securities.csv, if there is one, and loads and initialises the
/// library. False, with the reason in `error`, on failure.
bool load(const QString &folder, QString *error);

/// Returns when the library has processed what it has received so far. A replay at full speed that calls it before each
/// batch is never more than one batch ahead.
void waitUntilIdle();

} // namespace HostedLibrary
