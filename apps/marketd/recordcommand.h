#pragma once

class CommandLine;

/// Adds `marketd record`, which writes what the bus carries as recordings until it is interrupted.
void addRecordCommand(CommandLine *commandLine);
