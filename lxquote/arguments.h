#pragma once

#include <exitcode.h>

#include <QCommandLineParser>
#include <QStringList>

/// The options that the commands share, and what is wrong with them.
namespace Arguments {

/// Adds --format with these values, the first being the default.
void addFormatOption(QCommandLineParser &parser, const QStringList &formats);
bool readFormat(const QCommandLineParser &parser, const QStringList &formats, QString *format, QString *error);

/// Parses the arguments behind the command's name. Handles --help. False if the program is to end with `exitCode`.
bool parse(QCommandLineParser &parser, const QStringList &arguments, int *exitCode);
/// Prints a usage error; returns ExitUsage.
int usageError(const QString &reason);
/// Prints why the program ends with `code`; returns it.
int failure(ExitCode code, const QString &reason);

} // namespace Arguments
