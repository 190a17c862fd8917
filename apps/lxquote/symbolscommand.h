#pragma once

#include "bussession.h"

class CommandLine;

/// Adds `lxquote symbols`: searches for securities and lists the data available for them.
void addSymbolsCommand(CommandLine *commandLine, const BusSession::Settings *bus);
