#pragma once

#include <QStringList>

/// `lxquote watch`: shows the quotes of some symbols while a recording is replayed. `arguments` are those behind the
/// command. Returns the exit code.
int watchCommand(const QStringList &arguments);
