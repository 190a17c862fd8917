#pragma once

#include <QString>

// Strings that the library passes to the platform.
//
// The platform may keep them after the library has been unloaded, so their characters are on the heap; QStringLiteral
// would leave them in the library's read-only data. They are constructed when the library is loaded, before the
// handler, and therefore outlive the handler's threads.

/// Topics and message types.
namespace LxMessageType {

// Topics, in the order in which they are subscribed.
extern const QString StockQuote;
extern const QString FutureQuote;
extern const QString IndexQuote;
extern const QString OptionQuote;
extern const QString Transaction;
extern const QString Order;
extern const QString StockTicks;
extern const QString FutureTicks;
extern const QString KLineAnswer;
extern const QString DeepDataAnswer;
extern const QString IndicatorRanking;
extern const QString UpDownAnalysis;
extern const QString PEAnswer;
extern const QString QRRAnswer;
extern const QString RiseDaysAnswer;

// Requests.
extern const QString SubscribeRequest;
extern const QString KLineRequest;
extern const QString PERequest;
extern const QString QRRRequest;
extern const QString RiseDaysRequest;
extern const QString TradeDayRequest;
extern const QString DeepDataRequest;

} // namespace LxMessageType

/// Keys of fields that several files use and for which the platform has no constant.
namespace LxFieldKey {

extern const QString Symbol;
extern const QString MDDate;
extern const QString PeriodType;
extern const QString DeepDataItem; // names the figure: an LxDeepDataItem
extern const QString DeepDataValue;

} // namespace LxFieldKey

/// The deep-data figures: values of LxFieldKey::DeepDataItem.
namespace LxDeepDataItem {

extern const QString TotalShare;
extern const QString ListedShare;
extern const QString NetAssets;
extern const QString DividendRate;

} // namespace LxDeepDataItem
