#pragma once

class CommandLine;

/// Adds `marketd import DIR STORE`. Exit codes: ExitFailure if a file is invalid or the store cannot be written;
/// ExitUsage also if DIR is not a folder of recorded data.
void addImportCommand(CommandLine *commandLine);
