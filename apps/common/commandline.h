#pragma once

#include "exitcode.h"
#include "options.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

/// The command line of a program that has commands, as in `lxquote watch 600519.SH`.
///
///     CommandLine commandLine(QStringLiteral("Shows market data."), QStringLiteral("warning"));
///     commandLine.addCommand<WatchCommand>({ QStringLiteral("watch"), summary, details });
///     return commandLine.run(QCoreApplication::arguments());
///
/// Adds --help, --version, --config and --log-level. Values are taken, in this order of precedence, from the command
/// line, the environment (see environmentVariable()), the configuration file (see ConfigurationFile) and the default.
///
/// The program's name and version are those of the QCoreApplication, which must exist.
class CommandLine
{
public:
    struct Command
    {
        QString name;
        QString summary; ///< one line
        QString details; ///< printed at the end of the command's --help; may be empty
    };
    /// Runs a command. If the result is not ExitOk, `error` has the reason, unless that has already been printed.
    using Run = std::function<ExitCode(QString *error)>;

    /// `logLevel` is the default of --log-level.
    CommandLine(const QString &summary, const QString &logLevel);
    ~CommandLine();

    /// The options that all commands have in common.
    Options common();
    Options addCommand(const Command &command, Run run);
    /// Adds a command that is implemented by a class, which is constructed from its Options and `arguments` and has a
    /// function `ExitCode run(QString *error)`.
    template<typename Class, typename... Arguments>
    void addCommand(const Command &command, Arguments &&...arguments)
    {
        const auto object = std::make_shared<std::unique_ptr<Class>>();
        const Options options = addCommand(command, [object](QString *error) { return (*object)->run(error); });
        *object = std::make_unique<Class>(options, std::forward<Arguments>(arguments)...);
    }

    /// Parses `arguments`, which begin with the program's name, and runs the command that they name. Prints help,
    /// version and errors. Returns the exit code.
    int run(const QStringList &arguments);

private:
    struct Private;
    std::optional<ExitCode> parse(const QStringList &arguments);
    bool applySettings(QString *error);
    ExitCode usageError(const QString &reason) const;

    const std::unique_ptr<Private> d;
};
