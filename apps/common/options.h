#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

#include <functional>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// The options and arguments of a command. A value is taken from the command line, otherwise from the environment,
/// otherwise from the configuration file; otherwise the variable keeps its value, the default.
///
/// An invalid value is reported as a usage error before the command runs. The variables must outlive the command line.
class Options
{
public:
    /// Converts a value. False, with the reason in `error`, if it is invalid.
    using Parser = std::function<bool(const QString &value, QString *error)>;
    enum Arity { One, AtLeastOne, Any };

    explicit Options(CLI::App *app) : m_app(app) { }

    /// Sets the heading in --help for the options that are added from now on.
    void beginGroup(const QString &heading);

    void add(const QString &name, const QString &valueName, const QString &help, const Parser &parse,
             QChar shortName = QChar());
    void addString(const QString &name, const QString &valueName, QString *value, const QString &help);
    void addFlag(const QString &name, bool *value, const QString &help);
    void addChoice(const QString &name, const QString &valueName, const QStringList &choices, QString *value,
                   const QString &help);
    /// Adds an option that takes comma-separated values, each of them one of `choices`.
    void addChoices(const QString &name, const QString &valueName, const QStringList &choices, QStringList *values,
                    const QString &help);
    void addInteger(const QString &name, const QString &valueName, int least, int *value, const QString &help);
    /// Adds an option that takes a number of seconds, at most an hour.
    void addSeconds(const QString &name, int *milliseconds, const QString &help);

    /// Adds a positional argument. Arguments must be added in their order; only the last one may have another arity
    /// than `One`.
    void addArgument(const QString &name, Arity arity, QStringList *values, const QString &help);

    /// True if --`name` is given on the command line itself; an environment variable or configuration file does not
    /// count.
    bool isGiven(const QString &name) const;

private:
    CLI::App *m_app;
    std::string m_group;
};

/// The name of the environment variable that sets --`option` for the program.
QString environmentVariable(const QString &program, const QString &option);
