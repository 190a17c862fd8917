#pragma once

#include "options.h"

#include <lxbus/bus.h>

#include <QString>

struct ReplayOptions;

/// The bus that a program joins.
struct BusSettings
{
    QString url; ///< empty if none was specified
    LxBusOptions options;

    /// True for a bus through a broker, on which other processes publish and answer requests.
    bool isShared() const;
};

/// Options that the programs share.
namespace ProgramOptions {

/// Adds --bus, --bus-ca and --bus-credentials; `otherwise`, a part of the help, says what happens if no bus is
/// specified.
void addBusOptions(Options *options, BusSettings *settings, const QString &otherwise);
/// Adds --date, --from, --to, --speed and --keep-pauses. The default of --speed is the speed in `replay`.
void addReplayOptions(Options *options, ReplayOptions *replay);

} // namespace ProgramOptions
