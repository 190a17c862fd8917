#include "arguments.h"

#include "terminal.h"

#include <QDate>

void Arguments::addSessionOptions(QCommandLineParser &parser, const QString &defaultSpeed)
{
    parser.addOption({ QStringLiteral("data"), QStringLiteral("Folder of the recordings (default: data)."),
                       QStringLiteral("DIR"), QStringLiteral("data") });
    parser.addOption({ QStringLiteral("date"),
                       QStringLiteral("Replay this date only; without it all dates, beside each other."),
                       QStringLiteral("yyyyMMdd") });
    parser.addOption({ QStringLiteral("speed"),
                       QStringLiteral("Factor of real time, or max (default: %1).").arg(defaultSpeed),
                       QStringLiteral("N|max"), defaultSpeed });
}

bool Arguments::readSessionOptions(const QCommandLineParser &parser, MarketSession::Options *options, QString *error)
{
    options->folder = parser.value(QStringLiteral("data"));
    options->date = parser.value(QStringLiteral("date"));
    if (!options->date.isEmpty() && !QDate::fromString(options->date, QStringLiteral("yyyyMMdd")).isValid()) {
        *error = QStringLiteral("\"%1\" is no date (yyyyMMdd)").arg(options->date);
        return false;
    }
    const QString speed = parser.value(QStringLiteral("speed"));
    options->speed = 0;
    if (speed != QLatin1String("max")) {
        bool isNumber = false;
        options->speed = speed.toDouble(&isNumber);
        if (!isNumber || !(options->speed > 0) || options->speed > 1e9) {
            *error = QStringLiteral("\"%1\" is no speed: a positive number, or max").arg(speed);
            return false;
        }
    }
    return true;
}

void Arguments::addFormatOption(QCommandLineParser &parser, const QStringList &formats)
{
    parser.addOption({ QStringLiteral("format"),
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
