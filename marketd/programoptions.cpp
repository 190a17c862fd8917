#include "programoptions.h"

#include "replay.h"

#include <QDate>

bool BusSettings::isShared() const
{
    return !url.isEmpty() && !url.startsWith(QLatin1String("inproc:"));
}

void ProgramOptions::addBusOptions(QCommandLineParser &parser, const QString &otherwise)
{
    parser.addOption(
        { QStringLiteral("bus"),
          QStringLiteral("Bus to join: nats://[user[:password]@]host:port, or tls://... (default: LX_BUS_URL "
                         "of the environment; %1).")
              .arg(otherwise),
          QStringLiteral("URL") });
    parser.addOption({ QStringLiteral("bus-ca"),
                       QStringLiteral("Certificates (PEM) of who may vouch for the broker (default: LX_BUS_CA of the "
                                      "environment, or the system's)."),
                       QStringLiteral("FILE") });
    parser.addOption({ QStringLiteral("bus-credentials"),
                       QStringLiteral("Credentials for the broker (default: LX_BUS_CREDENTIALS of the environment, or "
                                      "none)."),
                       QStringLiteral("FILE") });
}

BusSettings ProgramOptions::busSettings(const QCommandLineParser &parser)
{
    BusSettings settings;
    settings.url =
        parser.isSet(QStringLiteral("bus")) ? parser.value(QStringLiteral("bus")) : qEnvironmentVariable("LX_BUS_URL");
    settings.options.caFile = parser.value(QStringLiteral("bus-ca"));
    settings.options.credentialsFile = parser.value(QStringLiteral("bus-credentials"));
    return settings;
}

void ProgramOptions::addReplayOptions(QCommandLineParser &parser, const QString &defaultSpeed)
{
    parser.addOption({ QStringLiteral("date"),
                       QStringLiteral("Replay this date only; without it all dates, beside each other."),
                       QStringLiteral("yyyyMMdd") });
    parser.addOption({ QStringLiteral("speed"),
                       QStringLiteral("Factor of real time, or max (default: %1).").arg(defaultSpeed),
                       QStringLiteral("N|max"), defaultSpeed });
}

bool ProgramOptions::readReplayOptions(const QCommandLineParser &parser, ReplayOptions *options, QString *error)
{
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
