#pragma once

#include "bussession.h"

class CommandLine;

/// Adds `lxquote watch`: quotes as they change.
void addWatchCommand(CommandLine *commandLine, const BusSession::Settings *bus);
