#include "lxmessagetypes_p.h"

const QString LxMessageType::StockQuote(QLatin1String("MDMARKETRECORD"));
const QString LxMessageType::FutureQuote(QLatin1String("MDFUTURERECORD"));
const QString LxMessageType::IndexQuote(QLatin1String("MDINDEXRECORD"));
const QString LxMessageType::OptionQuote(QLatin1String("MDOPTIONRECORD"));
const QString LxMessageType::Transaction(QLatin1String("MDTRANSACTIONRECORD"));
const QString LxMessageType::Order(QLatin1String("MDORDERRECORD"));
const QString LxMessageType::StockTicks(QLatin1String("TickResponse"));
const QString LxMessageType::FutureTicks(QLatin1String("TickFutureResponse"));
const QString LxMessageType::KLineAnswer(QLatin1String("KLineResponse"));
const QString LxMessageType::DeepDataAnswer(QLatin1String("181028"));
const QString LxMessageType::IndicatorRanking(QLatin1String("ADINDICATORSRANKINGRECORD"));
const QString LxMessageType::UpDownAnalysis(QLatin1String("ADUPSDOWNSANALYSISRECORD"));
const QString LxMessageType::PEAnswer(QLatin1String("MSG_QUERY_P_E_RATIO_RESPONSE"));
const QString LxMessageType::QRRAnswer(QLatin1String("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"));
const QString LxMessageType::RiseDaysAnswer(QLatin1String("MSG_QUERY_UP_N_DAY_RESPONSE"));

const QString LxMessageType::SubscribeRequest(QLatin1String("SubscribeRequest"));
const QString LxMessageType::KLineRequest(QLatin1String("KLineRequest"));
const QString LxMessageType::PERequest(QLatin1String("MSG_QUERY_P_E_RATIO_REQUEST"));
const QString LxMessageType::QRRRequest(QLatin1String("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST"));
const QString LxMessageType::RiseDaysRequest(QLatin1String("MSG_QUERY_UP_N_DAY_REQUEST"));
const QString LxMessageType::TradeDayRequest(QLatin1String("181063"));
const QString LxMessageType::DeepDataRequest(QLatin1String("181027"));

const QString LxFieldKey::Symbol(QLatin1String("Symbol"));
const QString LxFieldKey::MDDate(QLatin1String("MDDate"));
const QString LxFieldKey::PeriodType(QLatin1String("PeriodType"));
const QString LxFieldKey::DeepDataItem(QLatin1String("36046"));
const QString LxFieldKey::DeepDataValue(QLatin1String("36034"));

const QString LxDeepDataItem::TotalShare(QLatin1String("TotalShare"));
const QString LxDeepDataItem::ListedShare(QLatin1String("ListedShare"));
const QString LxDeepDataItem::NetAssets(QLatin1String("NetAssets"));
const QString LxDeepDataItem::DividendRate(QLatin1String("DividentRate")); // as the service spells it
