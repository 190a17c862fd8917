#include "helpformatter_p.h"
#include "terminal.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

constexpr int LineWidth = 80;
constexpr int IndentOfOptions = 26;

// A term and its explanation, which begins on the next line if the term is long.
std::string entry(const QString &term, const std::string &explanation)
{
    const QString indent(IndentOfOptions, QLatin1Char(' '));
    QString first = QStringLiteral("  ") + term;
    const bool isLong = Terminal::width(first) > IndentOfOptions - 2;
    const QStringList lines = Terminal::wrapped(QString::fromStdString(explanation), LineWidth - IndentOfOptions);
    first = isLong ? first + QLatin1Char('\n') + indent : Terminal::fitted(first, IndentOfOptions);
    return (first + lines.join(QLatin1Char('\n') + indent) + QLatin1Char('\n')).toStdString();
}

std::string paragraphs(const std::string &text)
{
    QStringList lines;
    for (const QString &paragraph : QString::fromStdString(text).split(QLatin1Char('\n')))
        lines += Terminal::wrapped(paragraph, LineWidth);
    return lines.join(QLatin1Char('\n')).toStdString();
}

std::string tr(const char *text)
{
    return QCoreApplication::translate("HelpFormatter", text).toStdString();
}

} // namespace

HelpFormatter::HelpFormatter()
{
    label("Usage", tr("Usage"));
    label("OPTIONS", tr("OPTIONS"));
    label("SUBCOMMAND", tr("COMMAND"));
    label("Positionals", tr("Arguments"));
}

std::string HelpFormatter::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const
{
    std::string help = make_usage(app, std::move(name)) + paragraphs(app->get_description()) + '\n';
    help += make_positionals(app) + make_subcommands(app, mode);
    help += make_groups(app, mode);
    if (app->get_parent() != nullptr)
        help += make_groups(app->get_parent(), mode);
    const std::string footer = app->get_footer();
    if (!footer.empty())
        help += '\n' + paragraphs(footer) + '\n';
    // CLI11 writes a blank line before each group and one after each group but the last.
    return QString::fromStdString(help).replace(QLatin1String("\n\n\n"), QLatin1String("\n\n")).toStdString();
}

std::string HelpFormatter::make_option(const CLI::Option *option, bool isPositional) const
{
    std::string name = option->get_name(isPositional, !isPositional);
    if (isPositional && option->get_expected_max() > 1)
        name += "...";
    if (!option->get_option_text().empty())
        name += ' ' + option->get_option_text();
    return entry(QString::fromStdString(name), option->get_description());
}

std::string HelpFormatter::make_subcommand(const CLI::App *command) const
{
    return entry(QString::fromStdString(command->get_name()), command->get_description());
}
