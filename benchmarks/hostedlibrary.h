#pragma once

#include <lxquotahandler.h>

/// The library. The first call, after the bus has been started, loads and initialises it as a host does.
LxQuotaHandler &hostedLibrary();
