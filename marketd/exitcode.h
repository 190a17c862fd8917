#pragma once

/// Exit codes of the programs.
enum ExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2, ExitTimeout = 3 };
