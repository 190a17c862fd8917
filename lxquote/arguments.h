#pragma once

#include "marketsession.h"

#include <QCommandLineParser>
#include <QStringList>

/// Exit codes of the program.
enum ExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2, ExitTimeout = 3 };

/// The options that the commands share, and what is wrong with them.
namespace Arguments {

/// Adds --data, --date and --speed.
void addSessionOptions(QCommandLineParser &parser, const QString &defaultSpeed);
/// Reads them. False, with the reason in `error`.
bool readSessionOptions(const QCommandLineParser &parser, MarketSession::Options *options, QString *error);

/// Adds --format with these values, the first being the default.
void addFormatOption(QCommandLineParser &parser, const QStringList &formats);
bool readFormat(const QCommandLineParser &parser, const QStringList &formats, QString *format, QString *error);

/// Parses the arguments behind the command's name. Handles --help. False if the program is to end with `exitCode`.
bool parse(QCommandLineParser &parser, const QStringList &arguments, int *exitCode);
/// Prints a usage error; returns ExitUsage.
int usageError(const QString &reason);

} // namespace Arguments
