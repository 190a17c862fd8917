#pragma once

#include <lxbus/bus.h>

#include <QCommandLineParser>
#include <QString>

struct ReplayOptions;

/// Which bus a program joins, and how.
struct BusSettings
{
    QString url; ///< empty: none was named
    LxBusOptions options;

    /// True of a bus through a broker, where others serve.
    bool isShared() const;
};

/// Options that the programs share.
namespace ProgramOptions {

/// Adds --bus, --bus-ca and --bus-credentials; `otherwise` says what happens when no bus is named.
void addBusOptions(QCommandLineParser &parser, const QString &otherwise);
/// Reads them; the bus is the one of --bus, or else of LX_BUS_URL in the environment.
BusSettings busSettings(const QCommandLineParser &parser);

/// Adds --date and --speed.
void addReplayOptions(QCommandLineParser &parser, const QString &defaultSpeed);
/// Reads them. False, with the reason in `error`.
bool readReplayOptions(const QCommandLineParser &parser, ReplayOptions *options, QString *error);

} // namespace ProgramOptions
