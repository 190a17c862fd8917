#include "commandline.h"

#include "configurationfile.h"
#include "helpformatter_p.h"
#include "logging.h"
#include "output.h"
#include "suggestion.h"
#include "terminal.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <QStandardPaths>

#include <algorithm>
#include <map>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("CommandLine", text);
}

QString nameOf(const CLI::Option *option)
{
    return QString::fromStdString(option->get_name()).mid(2);
}

// The options of a command, those of all commands included, that can be set in the environment and in the configuration
// file.
std::vector<CLI::Option *> configurableOptions(CLI::App *command)
{
    std::vector<CLI::Option *> all;
    for (CLI::App *app : { command, command->get_parent() }) {
        for (CLI::Option *option : app->get_options()) {
            if (option->get_configurable() && !option->get_lnames().empty())
                all.push_back(option);
        }
    }
    return all;
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

// The value of a flag in the environment or in the configuration file.
std::optional<bool> flagValue(const QString &text)
{
    const QString lower = text.toLower();
    if (QStringList { QStringLiteral("yes"), QStringLiteral("true"), QStringLiteral("on"), QStringLiteral("1") }
            .contains(lower))
        return true;
    if (QStringList { QStringLiteral("no"), QStringLiteral("false"), QStringLiteral("off"), QStringLiteral("0") }
            .contains(lower))
        return false;
    return std::nullopt;
}

// What a configuration file sets for an option of a command; null if nothing. A line for the command goes before one
// for all commands.
const ConfigurationFile::Setting *find(const QVector<ConfigurationFile::Setting> &settings, const QString &command,
                                       const QString &name)
{
    const ConfigurationFile::Setting *found = nullptr;
    for (const ConfigurationFile::Setting &setting : settings) {
        if (setting.name == name && (setting.command == command || (setting.command.isEmpty() && found == nullptr)))
            found = &setting;
    }
    return found;
}

// Sets an option that is not on the command line. False, with the reason in `error`, if the value is invalid.
bool setOption(CLI::Option *option, const QString &value, QString *error)
{
    const bool isFlag = option->get_items_expected_max() == 0;
    const std::optional<bool> flag = flagValue(value);
    if (isFlag && !flag) {
        *error = tr("%1: \"%2\" is neither yes nor no").arg(QString::fromStdString(option->get_name()), value);
        return false;
    }
    try {
        option->add_result(isFlag ? (*flag ? "true" : "false") : value.toStdString());
        option->run_callback();
    } catch (const CLI::ParseError &invalid) {
        *error = QString::fromUtf8(invalid.what());
        return false;
    }
    return true;
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
    QString configuration;

    CLI::App *command() const
    {
        const auto parsed = app.get_subcommands();
        return parsed.empty() ? nullptr : parsed.front();
    }
    QStringList commandNames() const
    {
        QStringList names;
        for (const CLI::App *command : app.get_subcommands(nullptr))
            names.append(QString::fromStdString(command->get_name()));
        return names;
    }
    bool readConfiguration(QVector<ConfigurationFile::Setting> *settings, QString *error);
    bool check(const ConfigurationFile::Setting &setting, QString *error);
};

// Reads the configuration file that is specified, or the one in the standard directories if it exists.
bool CommandLine::Private::readConfiguration(QVector<ConfigurationFile::Setting> *settings, QString *error)
{
    const QString path = configuration.isEmpty()
        ? QStandardPaths::locate(QStandardPaths::GenericConfigLocation,
                                 QCoreApplication::applicationName() + QStringLiteral(".conf"))
        : configuration;
    ConfigurationFile file;
    if (!path.isEmpty() && !file.read(path, error))
        return false;
    for (const ConfigurationFile::Setting &setting : qAsConst(file.settings)) {
        QString reason;
        if (!check(setting, &reason)) {
            *error = setting.origin + QStringLiteral(": ") + reason;
            return false;
        }
    }
    *settings = file.settings;
    return true;
}

// False, with the reason in `error`, if there is no such command or it has no such option.
bool CommandLine::Private::check(const ConfigurationFile::Setting &setting, QString *error)
{
    if (!setting.command.isEmpty() && !commandNames().contains(setting.command)) {
        *error = withSuggestion(tr("unknown command \"%1\"").arg(setting.command), setting.command, commandNames());
        return false;
    }
    QStringList known;
    for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; })) {
        if (!setting.command.isEmpty() && setting.command != QString::fromStdString(command->get_name()))
            continue;
        for (const CLI::Option *option : configurableOptions(command))
            known.append(nameOf(option));
    }
    if (known.contains(setting.name))
        return true;
    *error = withSuggestion(tr("unknown option %1").arg(setting.name), setting.name, known);
    return false;
}

CommandLine::CommandLine(const QString &summary, const QString &logLevel) : d(std::make_unique<Private>())
{
    const std::string program = QCoreApplication::applicationName().toStdString();
    CLI::App &app = d->app;
    app.name(program);
    app.description(summary.toStdString());
    app.footer(tr("%1 COMMAND --help explains a command. An option --NAME can also be set in the environment (%2_NAME) "
                  "or in the configuration file (a line NAME=VALUE; for one command only, below a line [COMMAND]).")
                   .arg(QString::fromStdString(program), QString::fromStdString(program).toUpper())
                   .toStdString());
    app.formatter(std::make_shared<HelpFormatter>());
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.allow_extras();
    app.set_help_flag("-h,--help", tr("Print this help and exit").toStdString());
    app.set_version_flag("--version", program + ' ' + QCoreApplication::applicationVersion().toStdString(),
                         tr("Print the version and exit").toStdString());
    for (CLI::Option *option : app.get_options())
        option->group(tr("Common options").toStdString());
    d->logLevel = logLevel;
    Options options(&app);
    options.beginGroup(tr("Common options"));
    options.addString(
        QStringLiteral("config"), QStringLiteral("FILE"), &d->configuration,
        tr("Configuration file (default: %1.conf in ~/.config or /etc/xdg)").arg(QString::fromStdString(program)));
    app.get_option("--config")->configurable(false);
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
    } catch (const CLI::ParseError &error) {
        return usageError(QString::fromUtf8(error.what()));
    }
    std::vector<std::string> unknown = d->app.remaining(true);
    // CLI11 keeps the "--" after which everything is an argument.
    const auto marker = std::find(unknown.begin(), unknown.end(), "--");
    if (marker != unknown.end())
        unknown.erase(marker);
    const QString first = unknown.empty() ? QString() : QString::fromStdString(unknown.front());
    const bool isOption = first.startsWith(QLatin1Char('-'));
    if (d->command() == nullptr && !isOption) {
        return usageError(first.isEmpty()
                              ? tr("a command is missing")
                              : withSuggestion(tr("unknown command \"%1\"").arg(first), first,
                                               QStringList { QStringLiteral("--help") } + d->commandNames()));
    }
    if (isOption) {
        const QString name = first.section(QLatin1Char('='), 0, 0);
        const QStringList known = optionNames(d->command() != nullptr ? d->command() : &d->app);
        return usageError(known.contains(name) ? tr("%1 must follow the command").arg(name)
                                               : withSuggestion(tr("unknown option %1").arg(name), name, known));
    }
    if (!first.isEmpty())
        return usageError(tr("unexpected argument \"%1\"").arg(first));
    if (!missing.isEmpty())
        return usageError(missing);
    QString error;
    return applySettings(&error) ? std::nullopt : std::make_optional(usageError(error));
}

// Sets the options of the command that are not on the command line from the environment, otherwise from the
// configuration file. CLI11 would set those of all commands, which may have different options of the same name. False,
// with the reason in `error`, if a value is invalid.
bool CommandLine::applySettings(QString *error)
{
    const QString command = QString::fromStdString(d->command()->get_name());
    QVector<ConfigurationFile::Setting> settings;
    const auto apply = [&](CLI::Option *option) {
        if (option->count() > 0)
            return true;
        const QString name = nameOf(option);
        QString origin = environmentVariable(QCoreApplication::applicationName(), name);
        QString value = qEnvironmentVariable(origin.toLatin1().constData());
        if (value.isEmpty()) {
            const ConfigurationFile::Setting *setting = find(settings, command, name);
            if (setting == nullptr)
                return true;
            origin = setting->origin;
            value = setting->value;
        }
        QString reason;
        if (setOption(option, value, &reason))
            return true;
        *error = origin + QStringLiteral(": ") + reason;
        return false;
    };
    // The environment may specify the configuration file.
    if (!apply(d->app.get_option("--config")) || !d->readConfiguration(&settings, error))
        return false;
    const std::vector<CLI::Option *> options = configurableOptions(d->command());
    return std::all_of(options.cbegin(), options.cend(), apply);
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
