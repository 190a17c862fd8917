#pragma once

#include "bussession.h"

class CommandLine;

/// Adds `lxquote snapshot`: all fields of the last quotes.
void addSnapshotCommand(CommandLine *commandLine, const BusSession::Settings *bus);
