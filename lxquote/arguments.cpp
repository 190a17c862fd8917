#include "arguments.h"

#include "terminal.h"

void Arguments::addFormatOption(QCommandLineParser &parser, const QStringList &formats)
{
    parser.addOption(
        { QStringLiteral("format"),
          QStringLiteral("One of: %1 (default: %2).").arg(formats.join(QStringLiteral(", ")), formats.first()),
          QStringLiteral("FORMAT"), formats.first() });
}

bool Arguments::readFormat(const QCommandLineParser &parser, const QStringList &formats, QString *format,
                           QString *error)
{
    *format = parser.value(QStringLiteral("format"));
    if (formats.contains(*format))
        return true;
    *error = QStringLiteral("\"%1\" is no format: %2").arg(*format, formats.join(QStringLiteral(" or ")));
    return false;
}

bool Arguments::parse(QCommandLineParser &parser, const QStringList &arguments, int *exitCode)
{
    const QCommandLineOption help = parser.addHelpOption();
    if (!parser.parse(arguments)) {
        *exitCode = usageError(parser.errorText());
        return false;
    }
    if (parser.isSet(help)) {
        Terminal::out(parser.helpText());
        *exitCode = ExitOk;
        return false;
    }
    return true;
}

int Arguments::usageError(const QString &reason)
{
    Terminal::err(QStringLiteral("lxquote: %1\nTry --help.\n").arg(reason));
    return ExitUsage;
}

int Arguments::failure(ExitCode code, const QString &reason)
{
    Terminal::err(QStringLiteral("lxquote: %1\n").arg(reason));
    return code;
}
