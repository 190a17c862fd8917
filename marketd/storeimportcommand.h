#pragma once

#include <QStringList>

/// `marketd import DIR STORE`. `arguments` are the program's, its name and the subcommand's included. Returns the exit
/// code: 0; 1 if the store cannot be written; 2 for a usage error or a folder that cannot be read.
int runImportCommand(const QStringList &arguments);
