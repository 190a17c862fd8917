#pragma once

#include <QLoggingCategory>

/// The log of the service, "lx.marketd".
Q_DECLARE_LOGGING_CATEGORY(lxMarketdLog)
