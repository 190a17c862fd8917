#pragma once

/// Exit codes of the programs.
enum ExitCode {
    ExitOk = 0,
    ExitFailure = 1, ///< the program ran and failed
    ExitUsage = 2, ///< the command line, or the data that it names, is invalid
    ExitTimeout = 3, ///< no answer arrived in time
};
