#include "programoptions.h"

#include "dates.h"
#include "replay.h"

#include <QCoreApplication>
#include <QDate>
#include <QRegularExpression>

namespace {

constexpr double GreatestSpeed = 1e9;

QString tr(const char *text)
{
    return QCoreApplication::translate("ProgramOptions", text);
}

bool parseSpeed(const QString &value, double *speed, QString *error)
{
    *speed = 0;
    if (value == QLatin1String("max"))
        return true;
    bool isNumber = false;
    *speed = value.toDouble(&isNumber);
    if (isNumber && *speed > 0 && *speed <= GreatestSpeed)
        return true;
    *error = tr("\"%1\" is neither a positive number nor max").arg(value);
    return false;
}

} // namespace

bool BusSettings::isShared() const
{
    return !url.isEmpty() && !url.startsWith(QLatin1String("inproc:"));
}

void ProgramOptions::addBusOptions(Options *options, BusSettings *settings, const QString &otherwise)
{
    options->beginGroup(tr("Bus options"));
    options->addString(QStringLiteral("bus"), QStringLiteral("URL"), &settings->url,
                       tr("Bus to join: nats://[USER[:PASSWORD]@]HOST:PORT, or tls://... with encryption (default: the "
                          "environment variable LX_BUS_URL; %1)")
                           .arg(otherwise));
    options->addString(
        QStringLiteral("bus-ca"), QStringLiteral("FILE"), &settings->options.caFile,
        tr("Trusted CA certificates, PEM (default: the environment variable LX_BUS_CA, or the system's)"));
    options->addString(QStringLiteral("bus-credentials"), QStringLiteral("FILE"), &settings->options.credentialsFile,
                       tr("NATS credentials file (default: the environment variable LX_BUS_CREDENTIALS, or none)"));
    QString *const prefix = &settings->options.streamPrefix;
    options->add(QStringLiteral("bus-streams"), QStringLiteral("NAME"),
                 tr("Name of the broker's streams, to which _LAST and _TICKS are added (default: %1)").arg(*prefix),
                 [prefix](const QString &value, QString *error) {
                     static const QRegularExpression name(QStringLiteral("^[A-Za-z0-9_-]{1,32}$"));
                     *prefix = value;
                     if (name.match(value).hasMatch())
                         return true;
                     *error = tr("\"%1\" is not a name of at most 32 letters, digits, - and _").arg(value);
                     return false;
                 });
}

// An option whose value is a time of day.
static void addTime(Options *options, const QString &name, const QString &help, QTime *time)
{
    options->add(name, QStringLiteral("TIME"), help, [time](const QString &value, QString *error) {
        const std::optional<QTime> parsed = Dates::parseTime(value);
        if (!parsed)
            *error = tr("\"%1\" is not a time of day").arg(value);
        *time = parsed.value_or(QTime());
        return parsed.has_value();
    });
}

void ProgramOptions::addReplayOptions(Options *options, ReplayOptions *replay)
{
    options->beginGroup(tr("Replay options"));
    options->add(QStringLiteral("date"), QStringLiteral("DATE"),
                 tr("Replay this date, yyyy-MM-dd or yyyyMMdd (default: %1)")
                     .arg(replay->date.isEmpty() ? tr("the latest recorded date") : replay->date),
                 [replay](const QString &value, QString *error) {
                     const std::optional<QDate> date = Dates::parseDate(value);
                     if (!date) {
                         *error = tr("\"%1\" is not a date").arg(value);
                         return false;
                     }
                     replay->date = Dates::toCompactString(*date);
                     return true;
                 });
    addTime(options, QStringLiteral("from"),
            tr("Replay records of this time of day and later, HH:mm or HH:mm:ss (default: %1)")
                .arg(replay->from.isValid() ? replay->from.toString(QStringLiteral("HH:mm")) : tr("the first one")),
            &replay->from);
    addTime(options, QStringLiteral("to"), tr("Replay records of this time of day and earlier"), &replay->to);
    options->addFlag(QStringLiteral("keep-pauses"), &replay->keepPauses,
                     tr("Do not skip pauses, such as the lunch break"));
    const QString speed = replay->speed > 0 ? QString::number(replay->speed) : QStringLiteral("max");
    options->add(QStringLiteral("speed"), QStringLiteral("N|max"), tr("Multiple of real time (default: %1)").arg(speed),
                 [replay](const QString &value, QString *error) { return parseSpeed(value, &replay->speed, error); });
}
