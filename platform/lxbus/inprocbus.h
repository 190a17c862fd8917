#pragma once

#include "bus.h"

/// The transport within one process.
std::shared_ptr<LxBusTransport> createInprocBus(const LxBusOptions &options);
