#pragma once

#include "bussession.h"

class CommandLine;

/// Adds the commands that ask for figures of symbols: `lxquote deep`, `pe`, `qrr` and `risedays`.
void addFigureCommands(CommandLine *commandLine, const BusSession::Settings *bus);
