#include "options.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>

#include <algorithm>

namespace {

constexpr double LongestSeconds = 3600;

QString tr(const char *text)
{
    return QCoreApplication::translate("Options", text);
}

QString withDefault(const QString &help, const QString &value)
{
    return value.isEmpty() ? help : help + QCoreApplication::translate("Options", " (default: %1)").arg(value);
}

// One of `choices`; otherwise false, with the reason in `error`.
bool isChoice(const QString &value, const QStringList &choices, QString *error)
{
    if (choices.contains(value))
        return true;
    *error = QCoreApplication::translate("Options", "\"%1\" is not one of %2")
                 .arg(value, choices.join(QStringLiteral(", ")));
    return false;
}

} // namespace

QString environmentVariable(const QString &program, const QString &option)
{
    // All programs read the settings of the bus from the same variables.
    if (option == QLatin1String("bus"))
        return QStringLiteral("LX_BUS_URL");
    const bool shared = option.startsWith(QLatin1String("bus-"));
    QString name = (shared ? QStringLiteral("LX") : program) + QLatin1Char('_') + option;
    return name.replace(QLatin1Char('-'), QLatin1Char('_')).toUpper();
}

void Options::beginGroup(const QString &heading)
{
    m_group = heading.toStdString();
}

void Options::add(const QString &name, const QString &valueName, const QString &help, const Parser &parse,
                  QChar shortName)
{
    const std::string flag = "--" + name.toStdString();
    CLI::Option *option =
        m_app->add_option((shortName.isNull() ? std::string() : std::string { '-', shortName.toLatin1(), ',' }) + flag,
                          [flag, parse](const CLI::results_t &values) {
                              QString error;
                              if (!parse(QString::fromStdString(values.front()), &error))
                                  throw CLI::ValidationError(flag + ": " + error.toStdString());
                              return true;
                          },
                          help.toStdString());
    option->option_text(valueName.toStdString());
    option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    if (!m_group.empty())
        option->group(m_group);
}

void Options::addString(const QString &name, const QString &valueName, QString *value, const QString &help)
{
    add(name, valueName, withDefault(help, *value), [value](const QString &string, QString *) {
        *value = string;
        return true;
    });
}

void Options::addFlag(const QString &name, bool *value, const QString &help)
{
    CLI::Option *option = m_app->add_flag("--" + name.toStdString(), *value, help.toStdString());
    if (!m_group.empty())
        option->group(m_group);
}

void Options::addChoice(const QString &name, const QString &valueName, const QStringList &choices, QString *value,
                        const QString &help)
{
    const QString all = tr("%1: %2").arg(help, choices.join(QStringLiteral(", ")));
    add(name, valueName, withDefault(all, *value), [choices, value](const QString &string, QString *error) {
        *value = string;
        return isChoice(string, choices, error);
    });
}

void Options::addChoices(const QString &name, const QString &valueName, const QStringList &choices, QStringList *values,
                         const QString &help)
{
    const QString all = tr("%1: %2").arg(help, choices.join(QStringLiteral(", ")));
    add(name, valueName, withDefault(all, values->join(QLatin1Char(','))),
        [choices, values](const QString &string, QString *error) {
            *values = string.split(QLatin1Char(','), Qt::SkipEmptyParts);
            if (values->isEmpty())
                *error = tr("a value is missing");
            return !values->isEmpty() && std::all_of(values->cbegin(), values->cend(), [&](const QString &value) {
                return isChoice(value, choices, error);
            });
        });
}

void Options::addInteger(const QString &name, const QString &valueName, int least, int *value, const QString &help)
{
    add(name, valueName, help, [least, value](const QString &string, QString *error) {
        bool isNumber = false;
        *value = string.toInt(&isNumber);
        if (isNumber && *value >= least)
            return true;
        *error = tr("\"%1\" is not an integer of at least %2").arg(string).arg(least);
        return false;
    });
}

void Options::addSeconds(const QString &name, int *milliseconds, const QString &help)
{
    add(name, QStringLiteral("SECONDS"), withDefault(help, QString::number(*milliseconds / 1000.0)),
        [milliseconds](const QString &string, QString *error) {
            bool isNumber = false;
            const double seconds = string.toDouble(&isNumber);
            if (!isNumber || !(seconds > 0) || seconds > LongestSeconds) {
                *error = tr("\"%1\" is not a number of seconds, at most %2").arg(string).arg(LongestSeconds);
                return false;
            }
            *milliseconds = std::max(1, static_cast<int>(seconds * 1000));
            return true;
        });
}

void Options::addArgument(const QString &name, Arity arity, QStringList *values, const QString &help)
{
    CLI::Option *option = m_app->add_option(
        name.toStdString(),
        [values](const CLI::results_t &results) {
            for (const std::string &result : results)
                values->append(QString::fromStdString(result));
            return true;
        },
        help.toStdString());
    if (arity != One)
        option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
    option->required(arity != Any);
}

bool Options::isGiven(const QString &name) const
{
    const auto &given = m_app->parse_order();
    return std::any_of(given.cbegin(), given.cend(), [flag = "--" + name.toStdString()](const CLI::Option *option) {
        return option->get_name() == flag;
    });
}
