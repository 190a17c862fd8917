#pragma once

#include <QStringList>

/// `lxquote snapshot`: replays a recording at full speed and prints the last quote of some symbols whole. `arguments` are
/// those behind the command. Returns the exit code.
int snapshotCommand(const QStringList &arguments);
