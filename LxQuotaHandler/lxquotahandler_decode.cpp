#include "lxquotahandler.h"

#include "lxquotaindexes_p.h"
#include "lxrowreader_p.h"

#include <lxbusinessdata/businessdatabase.h>
#include <summitutils/summitbusiutils.h>

#include <cmath>

namespace {

constexpr double Percent = 100.0;
constexpr double Negligible = 1e-8;

// The phase code of a stock that is halted.
const QString HALTED_PHASE_CODE = QStringLiteral("8");

// Keys are texts of their own instead of literals: the platform may hold on to such a text and know it by its address.
// And they are constructed when the library is loaded: the worker thread still decodes when what is constructed on
// first use, and so later than the handler, has been destroyed at exit.
template<typename Record, typename Type>
struct Field
{
    QString key;
    Type Record::*member;
};

// The loops stay functions: inlined a dozen times into one decoder, they run slower.
template<typename Record, typename Type, size_t Count>
Q_NEVER_INLINE void readFields(const LxRowReader &row, const Field<Record, Type> (&fields)[Count], Record &out)
{
    for (const auto &field : fields)
        row.read(field.key, out.*field.member);
}

// The keys of the order book, level by level: "Buy1Price" is the best bid, at index 0.
struct BookKeys
{
    BookKeys()
    {
        for (int level = 0; level < STOCK_BOOK_LEVELS; ++level) {
            const QString number = QString::number(level + 1);
            buyPrice[level] = QLatin1String("Buy") + number + QLatin1String("Price");
            sellPrice[level] = QLatin1String("Sell") + number + QLatin1String("Price");
            sellQty[level] = QLatin1String("Sell") + number + QLatin1String("OrderQty");
            buyQty[level] = QLatin1String("Buy") + number + QLatin1String("OrderQty");
        }
    }

    QString buyPrice[STOCK_BOOK_LEVELS];
    QString sellPrice[STOCK_BOOK_LEVELS];
    QString sellQty[STOCK_BOOK_LEVELS];
    QString buyQty[STOCK_BOOK_LEVELS];
};

const BookKeys bookKeys;

const QString stockPhaseCodeKey(QLatin1String("TradingPhaseCode"));
const QString stockPreCloseKey(QLatin1String("PreClosePx"));
const QString stockSymbolKey(QLatin1String("Symbol"));
const QString stockNumTradesKey(QLatin1String("NumTrades"));
const Field<StockQuotaData, double> stockBeforeLast[] {
    { QLatin1String("ClosePx"), &StockQuotaData::ClosePx },
    { QLatin1String("HighPx"), &StockQuotaData::HighPx },
};
const Field<StockQuotaData, double> stockAfterLast[] {
    { QLatin1String("LowPx"), &StockQuotaData::LowPx },
    { QLatin1String("MaxPx"), &StockQuotaData::MaxPx },
    { QLatin1String("MinPx"), &StockQuotaData::MinPx },
    { QLatin1String("OpenPx"), &StockQuotaData::OpenPx },
    { QLatin1String("TotalBidQty"), &StockQuotaData::TotalBidQty },
    { QLatin1String("TotalOfferQty"), &StockQuotaData::TotalOfferQty },
    { QLatin1String("TotalValueTrade"), &StockQuotaData::TotalValueTrade },
    { QLatin1String("TotalVolumeTrade"), &StockQuotaData::TotalVolumeTrade },
    { QLatin1String("WeightedAvgBidPx"), &StockQuotaData::WeightedAvgBidPx },
    { QLatin1String("WeightedAvgOfferPx"), &StockQuotaData::WeightedAvgOfferPx },
};
const Field<StockQuotaData, QString> stockStamps[] {
    { QLatin1String("MDDate"), &StockQuotaData::MDDate },
    { QLatin1String("MDTime"), &StockQuotaData::MDTime },
};

const Field<FutureQuotaData, double> futureBeforeLast[] {
    { QLatin1String("ClosePx"), &FutureQuotaData::ClosePx },
    { QLatin1String("HighPx"), &FutureQuotaData::HighPx },
};
const Field<FutureQuotaData, double> futureAfterLast[] {
    { QLatin1String("LowPx"), &FutureQuotaData::LowPx },
    { QLatin1String("MaxPx"), &FutureQuotaData::MaxPx },
    { QLatin1String("MinPx"), &FutureQuotaData::MinPx },
    { QLatin1String("OpenPx"), &FutureQuotaData::OpenPx },
    { QLatin1String("PreClosePx"), &FutureQuotaData::PreClosePx },
    { QLatin1String("TotalValueTrade"), &FutureQuotaData::TotalValueTrade },
    { QLatin1String("TotalVolumeTrade"), &FutureQuotaData::TotalVolumeTrade },
};
const Field<FutureQuotaData, QString> futureTexts[] {
    { QLatin1String("MDDate"), &FutureQuotaData::MDDate },
    { QLatin1String("MDTime"), &FutureQuotaData::MDTime },
    { QLatin1String("Symbol"), &FutureQuotaData::Symbol },
    { QLatin1String("TradingDate"), &FutureQuotaData::TradingDate },
};
const Field<FutureQuotaData, double> futureFigures[] {
    { QLatin1String("PreOpenInterest"), &FutureQuotaData::PreOpenInterest },
    { QLatin1String("PreSettlePrice"), &FutureQuotaData::PreSettlePrice },
    { QLatin1String("OpenInterest"), &FutureQuotaData::OpenInterest },
    { QLatin1String("SettlePrice"), &FutureQuotaData::SettlePrice },
    { QLatin1String("PreDelta"), &FutureQuotaData::PreDelta },
    { QLatin1String("CurrDelta"), &FutureQuotaData::CurrDelta },
};

const Field<IndexQuotaData, double> indexBeforeLast[] {
    { QLatin1String("ClosePx"), &IndexQuotaData::ClosePx },
    { QLatin1String("HighPx"), &IndexQuotaData::HighPx },
};
const Field<IndexQuotaData, double> indexAfterLast[] {
    { QLatin1String("LowPx"), &IndexQuotaData::LowPx },
    { QLatin1String("OpenPx"), &IndexQuotaData::OpenPx },
    { QLatin1String("PreClosePx"), &IndexQuotaData::PreClosePx },
    { QLatin1String("TotalValueTrade"), &IndexQuotaData::TotalValueTrade },
    { QLatin1String("TotalVolumeTrade"), &IndexQuotaData::TotalVolumeTrade },
};
const Field<IndexQuotaData, QString> indexTexts[] {
    { QLatin1String("MDDate"), &IndexQuotaData::MDDate },
    { QLatin1String("MDTime"), &IndexQuotaData::MDTime },
    { QLatin1String("Symbol"), &IndexQuotaData::Symbol },
};

const Field<StockTransactionRecordData, QString> transactionTexts[] {
    { QLatin1String("MDDate"), &StockTransactionRecordData::MDDate },
    { QLatin1String("MDTime"), &StockTransactionRecordData::MDTime },
    { QLatin1String("Symbol"), &StockTransactionRecordData::Symbol },
    { QLatin1String("TradingPhaseCode"), &StockTransactionRecordData::TradingPhaseCode },
};
const Field<StockTransactionRecordData, qint64> transactionNumbers[] {
    // The serial number is filled from the buy number too: meant.
    { QLatin1String("TradeBuyNo"), &StockTransactionRecordData::TradeSerialNo },
    { QLatin1String("TradeBuyNo"), &StockTransactionRecordData::TradeBuyNo },
    { QLatin1String("TradeSellNo"), &StockTransactionRecordData::TradeSellNo },
};
const QString tradeTypeKey(QLatin1String("TradeType"));
const QString tradePriceKey(QLatin1String("TradePrice"));
const QString tradeQtyKey(QLatin1String("TradeQty"));
const QString tradeMoneyKey(QLatin1String("TradeMoney"));
const QString tradeSideKey(QLatin1String("TradeBSFlag"));

const Field<PEData, QString> peTexts[] {
    { QLatin1String("Symbol"), &PEData::Symbol },
    { QLatin1String("MDDate"), &PEData::MDDate },
    { QLatin1String("tradeDay"), &PEData::tradeDay },
};
const Field<PEData, double> peFigures[] {
    { QLatin1String("ClosePx"), &PEData::ClosePx },     { QLatin1String("eps"), &PEData::eps },
    { QLatin1String("ttmEps"), &PEData::ttmEps },       { QLatin1String("staticPE"), &PEData::staticPE },
    { QLatin1String("dynamicPE"), &PEData::dynamicPE }, { QLatin1String("ttmPE"), &PEData::ttmPE },
};

const Field<QRRData, QString> qrrTexts[] {
    { QLatin1String("Symbol"), &QRRData::Symbol },
    { QLatin1String("MDDate"), &QRRData::MDDate },
};
const QString qrrVolumePerMinuteKey(QLatin1String("last5DayVolumePerMinute"));

template<typename Type, size_t Levels>
Q_NEVER_INLINE void readLevels(const LxRowReader &row, const QString *keys, Type (&levels)[Levels])
{
    for (size_t level = 0; level < Levels; ++level)
        row.read(keys[level], levels[level]);
}

template<typename Record>
void readBook(const LxRowReader &row, Record &out)
{
    readLevels(row, bookKeys.buyPrice, out.BuyPrice);
    readLevels(row, bookKeys.sellPrice, out.SellPrice);
    readLevels(row, bookKeys.sellQty, out.SellOrderQty);
    readLevels(row, bookKeys.buyQty, out.BuyOrderQty);
}

template<size_t Levels>
double sum(const qint64 (&quantities)[Levels])
{
    double total = 0.0;
    for (qint64 quantity : quantities)
        total += static_cast<double>(quantity);
    return total;
}

template<typename Record>
void deriveChange(Record &out)
{
    out.Change = out.LastPx - out.PreClosePx;
    if (out.PreClosePx > 0)
        out.ChangeRatio = out.Change / out.PreClosePx * Percent;
}

template<typename Record>
void readSecurityName(Record &out)
{
    out.SecurityName = CBusinessDataBase::GetInstance()->GetSecurityChineseName(out.Symbol, QString::fromLatin1(""));
}

double priceToBook(double price, double netAssets)
{
    const bool known = std::fabs(netAssets) > Negligible && netAssets != QUOTA_INVALID_VALUE;
    return known ? price / netAssets : QUOTA_INVALID_VALUE;
}

} // namespace

void LxQuotaHandler::AssembleStockQuotaData(const QVariant &msg, StockQuotaData &out)
{
    const LxRowReader row(msg);
    row.read(stockPhaseCodeKey, out.TradingPhaseCode);
    row.read(stockPreCloseKey, out.PreClosePx);
    row.read(stockSymbolKey, out.Symbol);
    const bool halted = out.TradingPhaseCode == HALTED_PHASE_CODE;

    // A halted quote keeps the marks of no value in its trading fields: meant.
    if (!halted) {
        readBook(row, out);
        const double bids = sum(out.BuyOrderQty);
        const double asks = sum(out.SellOrderQty);
        if (bids > 0 || asks > 0)
            out.BidAskRatio = (bids - asks) * Percent / (bids + asks);
        readFields(row, stockBeforeLast, out);
        out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
        readFields(row, stockAfterLast, out);
        row.read(stockNumTradesKey, out.NumTrades);
        deriveChange(out);
        // Unguarded: no volume or no previous close gives inf or NaN, which is meant.
        out.AvgPx = out.TotalValueTrade / out.TotalVolumeTrade;
        out.Amplitude = (out.HighPx - out.LowPx) / out.PreClosePx * Percent;
    }
    readFields(row, stockStamps, out);
    readSecurityName(out);

    QMutexLocker locker(m_pStockDeepDataMutex);
    const LxStockDeepData *deepData = m_indexes->stockDeepData.constFind(m_mapStockDeepData, out.Symbol);
    if (!deepData)
        return;
    // Shares that have not arrived enter as the invalid mark: meant.
    if (!halted)
        out.TurnoverRate = out.TotalVolumeTrade / deepData->TotalShare * Percent;
    const double price = halted ? out.PreClosePx : out.LastPx;
    out.TotalMarketValue = price * deepData->TotalShare;
    out.PBRatio = priceToBook(price, deepData->NetAssets);
    out.CirculatingMarketValue = price * deepData->ListedShare;
}

void LxQuotaHandler::AssembleFutureQuotaData(const QVariant &msg, FutureQuotaData &out)
{
    const LxRowReader row(msg);
    readBook(row, out);
    // Test and order of the operations differ from those of a stock: meant.
    const double bids = sum(out.BuyOrderQty);
    const double asks = sum(out.SellOrderQty);
    if (bids + asks > 0)
        out.BidAskRatio = (bids - asks) / (bids + asks) * Percent;
    readFields(row, futureBeforeLast, out);
    out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
    readFields(row, futureAfterLast, out);
    readFields(row, futureTexts, out);
    readFields(row, futureFigures, out);
    readSecurityName(out);
    deriveChange(out);

    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        const LxStockDeepData *deepData = m_indexes->stockDeepData.constFind(m_mapStockDeepData, out.Symbol);
        if (deepData) {
            // A plain ratio, where a stock has a percentage: meant.
            out.TurnoverRate = out.TotalVolumeTrade / deepData->TotalShare;
            out.TotalMarketValue = deepData->TotalShare * out.LastPx;
            out.PBRatio = priceToBook(out.LastPx, deepData->NetAssets);
            out.CirculatingMarketValue = deepData->ListedShare * out.LastPx;
        }
    }
    out.AvgPx = out.TotalValueTrade / out.TotalVolumeTrade;
}

void LxQuotaHandler::AssembleIndexQuotaData(const QVariant &msg, IndexQuotaData &out)
{
    const LxRowReader row(msg);
    readFields(row, indexBeforeLast, out);
    out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
    readFields(row, indexAfterLast, out);
    readFields(row, indexTexts, out);
    readSecurityName(out);
    deriveChange(out);
}

void LxQuotaHandler::AssembleStockTransactionRecordData(const QVariant &msg, StockTransactionRecordData &out)
{
    const LxRowReader row(msg);
    readFields(row, transactionTexts, out);
    readFields(row, transactionNumbers, out);
    row.read(tradeTypeKey, out.TradeType);
    row.read(tradePriceKey, out.TradePrice);
    row.read(tradeQtyKey, out.TradeQty);
    row.read(tradeMoneyKey, out.TradeMoney);
    row.read(tradeSideKey, out.TradeBSFlag);
}

void LxQuotaHandler::AssemblePEData(const QVariant &msg, PEData &out)
{
    LxRowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, peTexts, out);
    readFields(row, peFigures, out);
}

void LxQuotaHandler::AssembleQRRData(const QVariant &msg, QRRData &out)
{
    LxRowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, qrrTexts, out);
    row.read(qrrVolumePerMinuteKey, out.last5DayVolumePerMinute);
}

void LxQuotaHandler::AssembleBaseQuotaData(const StockQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_STOCK;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.MaxPx = src.MaxPx;
    dst.MinPx = src.MinPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.NumTrades = static_cast<double>(src.NumTrades);
    dst.TotalBidQty = src.TotalBidQty;
    dst.TotalOfferQty = src.TotalOfferQty;
    dst.Buy1Price = src.BuyPrice[0];
    dst.Sell1Price = src.SellPrice[0];
    dst.Symbol = src.Symbol;
}

void LxQuotaHandler::AssembleBaseFutureQuotaData(const FutureQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_FUTURE;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.MaxPx = src.MaxPx;
    dst.MinPx = src.MinPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.Buy1Price = src.BuyPrice[0];
    dst.Sell1Price = src.SellPrice[0];
    dst.Symbol = src.Symbol;
}

void LxQuotaHandler::AssembleBaseIndexQuotaData(const IndexQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_INDEX;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.Symbol = src.Symbol;
}
