#pragma once

#include "bus.h"

/// Connects to the NATS broker at `url`. Null, with the reason in `error`, if that fails.
std::shared_ptr<LxBusTransport> createNatsBus(const QString &url, const LxBusOptions &options, QString *error);
