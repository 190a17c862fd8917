#pragma once

class CommandLine;

/// Adds `marketd serve`, which answers requests and replays recordings on a bus until it is interrupted.
void addServeCommand(CommandLine *commandLine);
