#pragma once

#include <QString>

class CMessageCommon;
class CPackMessageCommon;

/// Builds the messages that the library sends. They are allocated with new; the bus takes ownership. Any thread.
namespace LxRequests {

/// A message of `type` with the rows of `pack` as its body.
CMessageCommon *create(const QString &type, CPackMessageCommon &pack);
/// A request for an indicator of one symbol (PE, QRR, rising days).
CMessageCommon *createIndicatorQuery(const QString &type, const QString &symbol, const QString &tradeDate);

} // namespace LxRequests
