#pragma once

#include <QStringList>

/// `marketd serve`: answers requests and replays recordings on a bus until it is interrupted. `arguments` are the
/// program's, its name and the subcommand's included. Returns the exit code (ExitCode).
int runServeCommand(const QStringList &arguments);
