#pragma once

#include <lxmsg/messagecommon.h>

#include <QString>

/// A request for an indicator of one symbol (PE, QRR, rising days). For the bus to own.
CMessageCommon *createIndicatorRequest(const QString &messageType, const QString &symbol, const QString &tradeDate);
