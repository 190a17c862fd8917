#include "commandline.h"

#include "helpformatter_p.h"
#include "logging.h"
#include "output.h"
#include "suggestion.h"
#include "terminal.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

#include <map>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("CommandLine", text);
}

/// CLI11 prefers the configuration file to the environment. This reader therefore skips options that are set in the
/// environment.
class ConfigurationFile final : public CLI::ConfigBase
{
public:
    std::vector<CLI::ConfigItem> from_config(std::istream &input) const override
    {
        std::vector<CLI::ConfigItem> found = ConfigBase::from_config(input);
        const QString program = QCoreApplication::applicationName();
        const auto isInEnvironment = [&program](const CLI::ConfigItem &item) {
            const QString variable = environmentVariable(program, QString::fromStdString(item.name));
            return !qEnvironmentVariableIsEmpty(variable.toLatin1().constData());
        };
        found.erase(std::remove_if(found.begin(), found.end(), isInEnvironment), found.end());
        return found;
    }
};

// The configuration file named in the environment, otherwise the one in the standard directories; empty if none exists.
QString defaultConfiguration()
{
    const QString program = QCoreApplication::applicationName();
    const QString named =
        qEnvironmentVariable(environmentVariable(program, QStringLiteral("config")).toLatin1().constData());
    return named.isEmpty()
        ? QStandardPaths::locate(QStandardPaths::GenericConfigLocation, program + QStringLiteral(".conf"))
        : named;
}

QStringList optionNames(const CLI::App *app)
{
    QStringList names;
    for (; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option *option : app->get_options()) {
            for (const std::string &name : option->get_lnames())
                names.append(QStringLiteral("--") + QString::fromStdString(name));
        }
    }
    return names;
}

QString withSuggestion(const QString &reason, const QString &word, const QStringList &candidates)
{
    const QString suggestion = suggestionFor(word, candidates);
    return suggestion.isEmpty() ? reason : reason + tr("; did you mean \"%1\"?").arg(suggestion);
}

QString missingArguments(const CLI::App *app)
{
    QStringList names;
    for (const CLI::Option *option : app->get_options()) {
        if (option->get_required() && option->count() == 0)
            names.append(QString::fromStdString(option->get_name(true, false)));
    }
    return tr("missing argument: %1").arg(names.join(QLatin1Char(' ')));
}

ExitCode print(const QString &text)
{
    Output output;
    QString error;
    output.write(text);
    if (output.finish(&error))
        return ExitOk;
    Terminal::complain(error);
    return ExitFailure;
}

} // namespace

struct CommandLine::Private
{
    CLI::App app;
    std::map<const CLI::App *, Run> runs;
    QString logLevel;

    const CLI::App *command() const
    {
        const auto parsed = app.get_subcommands();
        return parsed.empty() ? nullptr : parsed.front();
    }
};

CommandLine::CommandLine(const QString &summary, const QString &logLevel) : d(std::make_unique<Private>())
{
    const std::string program = QCoreApplication::applicationName().toStdString();
    CLI::App &app = d->app;
    app.name(program);
    app.description(summary.toStdString());
    app.footer(tr("%1 COMMAND --help explains a command. An option --NAME can also be set in the environment (%2_NAME) "
                  "or in the configuration file (a line NAME=VALUE; for a single command, below a line [COMMAND]).")
                   .arg(QString::fromStdString(program), QString::fromStdString(program).toUpper())
                   .toStdString());
    app.formatter(std::make_shared<HelpFormatter>());
    app.config_formatter(std::make_shared<ConfigurationFile>());
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.allow_extras();
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.set_help_flag("-h,--help", tr("Print this help and exit").toStdString());
    app.set_version_flag("--version", program + ' ' + QCoreApplication::applicationVersion().toStdString(),
                         tr("Print the version and exit").toStdString());
    const QString configuration = defaultConfiguration();
    app.set_config("--config", configuration.toStdString(),
                   tr("Configuration file (default: %1.conf in ~/.config or /etc/xdg)")
                       .arg(QString::fromStdString(program))
                       .toStdString(),
                   !configuration.isEmpty());
    app.get_config_ptr()->option_text("FILE");
    for (CLI::Option *option : app.get_options())
        option->group(tr("Common options").toStdString());
    d->logLevel = logLevel;
    Options options(&app);
    options.beginGroup(tr("Common options"));
    options.addChoice(QStringLiteral("log-level"), QStringLiteral("LEVEL"), Logging::levels(), &d->logLevel,
                      tr("Minimum severity of the messages logged to standard error"));
}

CommandLine::~CommandLine() = default;

Options CommandLine::common()
{
    return Options(&d->app);
}

Options CommandLine::addCommand(const Command &command, Run run)
{
    CLI::App *app = d->app.add_subcommand(command.name.toStdString(), command.summary.toStdString());
    app->footer(command.details.toStdString());
    app->group(tr("Commands").toStdString());
    app->set_help_flag("-h,--help", tr("Print this help and exit").toStdString())->group(std::string());
    d->runs.emplace(app, std::move(run));
    Options options(app);
    options.beginGroup(tr("Options"));
    return options;
}

int CommandLine::run(const QStringList &arguments)
{
    if (const std::optional<ExitCode> code = parse(arguments))
        return *code;
    Logging::setLevel(d->logLevel);
    QString error;
    const ExitCode code = d->runs.at(d->command())(&error);
    if (code != ExitOk && !error.isEmpty())
        Terminal::complain(error);
    return code;
}

// Returns the exit code if no command is to be run.
std::optional<ExitCode> CommandLine::parse(const QStringList &arguments)
{
    std::vector<std::string> words;
    for (int i = arguments.size() - 1; i > 0; --i) // CLI11 expects them in reverse order
        words.push_back(arguments.at(i).toStdString());
    QString missing;
    try {
        d->app.parse(std::move(words));
    } catch (const CLI::CallForHelp &) {
        return print(QString::fromStdString(d->app.help()));
    } catch (const CLI::CallForVersion &version) {
        return print(QString::fromUtf8(version.what()) + QLatin1Char('\n'));
    } catch (const CLI::ArgumentMismatch &mismatch) {
        return usageError(
            tr("%1 needs a value").arg(QString::fromUtf8(mismatch.what()).section(QLatin1Char(':'), 0, 0)));
    } catch (const CLI::RequiredError &) {
        missing = missingArguments(d->command());
    } catch (const CLI::FileError &) {
        return usageError(tr("the configuration file %1 cannot be read")
                              .arg(QString::fromStdString(d->app.get_config_ptr()->as<std::string>())));
    } catch (const CLI::ConfigError &error) {
        return usageError(tr("in the configuration file: %1").arg(QString::fromUtf8(error.what())));
    } catch (const CLI::ParseError &error) {
        return usageError(QString::fromUtf8(error.what()));
    }
    const std::vector<std::string> unknown = d->app.remaining(true);
    const QString first = unknown.empty() ? QString() : QString::fromStdString(unknown.front());
    const bool isOption = first.startsWith(QLatin1Char('-'));
    if (d->command() == nullptr && !isOption) {
        QStringList commands;
        for (const CLI::App *command : d->app.get_subcommands(nullptr))
            commands.append(QString::fromStdString(command->get_name()));
        return usageError(first.isEmpty() ? tr("a command is missing")
                                          : withSuggestion(tr("unknown command \"%1\"").arg(first), first, commands));
    }
    if (isOption) {
        const QString name = first.section(QLatin1Char('='), 0, 0);
        return usageError(withSuggestion(tr("unknown option %1").arg(name), name,
                                         optionNames(d->command() != nullptr ? d->command() : &d->app)));
    }
    if (!first.isEmpty())
        return usageError(tr("unexpected argument \"%1\"").arg(first));
    return missing.isEmpty() ? std::nullopt : std::make_optional(usageError(missing));
}

ExitCode CommandLine::usageError(const QString &reason) const
{
    const QString program = QCoreApplication::applicationName();
    const QString command =
        d->command() != nullptr ? QLatin1Char(' ') + QString::fromStdString(d->command()->get_name()) : QString();
    Terminal::complain(reason);
    Terminal::err(tr("Try \"%1 --help\".").arg(program + command) + QLatin1Char('\n'));
    return ExitUsage;
}
