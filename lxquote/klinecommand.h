#pragma once

#include <QStringList>

/// `lxquote kline`: prints or draws the bars of a symbol. `arguments` are those behind the command. Returns the exit code.
int klineCommand(const QStringList &arguments);
