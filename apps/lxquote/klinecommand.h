#pragma once

#include "bussession.h"

class CommandLine;

/// Adds `lxquote kline`: the bars of a symbol.
void addKLineCommand(CommandLine *commandLine, const BusSession::Settings *bus);
