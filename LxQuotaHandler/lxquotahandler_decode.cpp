#include "lxquotahandler.h"

#include "lxconstants_p.h"
#include "lxrowreader_p.h"
#include "lxsymbolindex_p.h"

#include <lxbusinessdata/businessdatabase.h>
#include <summitutils/summitbusiutils.h>

#include <cmath>
#include <variant>

namespace {

const QString HALTED_PHASE_CODE(QLatin1String("8")); // the trading phase of a halted stock

// Keys have their characters on the heap and are constructed when the library is loaded; lxmessagetypes_p.h explains
// why.

// A member of a record and the key of its value in a message.
template<typename Record>
struct Field
{
    QString key;
    std::variant<QString Record::*, double Record::*, qint64 Record::*, int Record::*> member;
};

const Field<StockQuotaData> stockHead[] {
    { QLatin1String("TradingPhaseCode"), &StockQuotaData::TradingPhaseCode },
    { QLatin1String("PreClosePx"), &StockQuotaData::PreClosePx },
    { QLatin1String("Symbol"), &StockQuotaData::Symbol },
};
const Field<StockQuotaData> stockBeforeLastPx[] {
    { QLatin1String("ClosePx"), &StockQuotaData::ClosePx },
    { QLatin1String("HighPx"), &StockQuotaData::HighPx },
};
const Field<StockQuotaData> stockAfterLastPx[] {
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
    { QLatin1String("NumTrades"), &StockQuotaData::NumTrades },
};
const Field<StockQuotaData> stockTime[] {
    { QLatin1String("MDDate"), &StockQuotaData::MDDate },
    { QLatin1String("MDTime"), &StockQuotaData::MDTime },
};

const Field<FutureQuotaData> futureBeforeLastPx[] {
    { QLatin1String("ClosePx"), &FutureQuotaData::ClosePx },
    { QLatin1String("HighPx"), &FutureQuotaData::HighPx },
};
const Field<FutureQuotaData> futureAfterLastPx[] {
    { QLatin1String("LowPx"), &FutureQuotaData::LowPx },
    { QLatin1String("MaxPx"), &FutureQuotaData::MaxPx },
    { QLatin1String("MinPx"), &FutureQuotaData::MinPx },
    { QLatin1String("OpenPx"), &FutureQuotaData::OpenPx },
    { QLatin1String("PreClosePx"), &FutureQuotaData::PreClosePx },
    { QLatin1String("TotalValueTrade"), &FutureQuotaData::TotalValueTrade },
    { QLatin1String("TotalVolumeTrade"), &FutureQuotaData::TotalVolumeTrade },
    { QLatin1String("MDDate"), &FutureQuotaData::MDDate },
    { QLatin1String("MDTime"), &FutureQuotaData::MDTime },
    { QLatin1String("Symbol"), &FutureQuotaData::Symbol },
    { QLatin1String("TradingDate"), &FutureQuotaData::TradingDate },
    { QLatin1String("PreOpenInterest"), &FutureQuotaData::PreOpenInterest },
    { QLatin1String("PreSettlePrice"), &FutureQuotaData::PreSettlePrice },
    { QLatin1String("OpenInterest"), &FutureQuotaData::OpenInterest },
    { QLatin1String("SettlePrice"), &FutureQuotaData::SettlePrice },
    { QLatin1String("PreDelta"), &FutureQuotaData::PreDelta },
    { QLatin1String("CurrDelta"), &FutureQuotaData::CurrDelta },
};

const Field<IndexQuotaData> indexBeforeLastPx[] {
    { QLatin1String("ClosePx"), &IndexQuotaData::ClosePx },
    { QLatin1String("HighPx"), &IndexQuotaData::HighPx },
};
const Field<IndexQuotaData> indexAfterLastPx[] {
    { QLatin1String("LowPx"), &IndexQuotaData::LowPx },
    { QLatin1String("OpenPx"), &IndexQuotaData::OpenPx },
    { QLatin1String("PreClosePx"), &IndexQuotaData::PreClosePx },
    { QLatin1String("TotalValueTrade"), &IndexQuotaData::TotalValueTrade },
    { QLatin1String("TotalVolumeTrade"), &IndexQuotaData::TotalVolumeTrade },
    { QLatin1String("MDDate"), &IndexQuotaData::MDDate },
    { QLatin1String("MDTime"), &IndexQuotaData::MDTime },
    { QLatin1String("Symbol"), &IndexQuotaData::Symbol },
};

const Field<StockTransactionRecordData> transactionFields[] {
    { QLatin1String("MDDate"), &StockTransactionRecordData::MDDate },
    { QLatin1String("MDTime"), &StockTransactionRecordData::MDTime },
    { QLatin1String("Symbol"), &StockTransactionRecordData::Symbol },
    { QLatin1String("TradingPhaseCode"), &StockTransactionRecordData::TradingPhaseCode },
    // Fixed behaviour: the buy number also serves as the serial number.
    { QLatin1String("TradeBuyNo"), &StockTransactionRecordData::TradeSerialNo },
    { QLatin1String("TradeBuyNo"), &StockTransactionRecordData::TradeBuyNo },
    { QLatin1String("TradeSellNo"), &StockTransactionRecordData::TradeSellNo },
    { QLatin1String("TradeType"), &StockTransactionRecordData::TradeType },
    { QLatin1String("TradePrice"), &StockTransactionRecordData::TradePrice },
    { QLatin1String("TradeQty"), &StockTransactionRecordData::TradeQty },
    { QLatin1String("TradeMoney"), &StockTransactionRecordData::TradeMoney },
    { QLatin1String("TradeBSFlag"), &StockTransactionRecordData::TradeBSFlag },
};

const Field<PEData> peFields[] {
    { QLatin1String("Symbol"), &PEData::Symbol },     { QLatin1String("MDDate"), &PEData::MDDate },
    { QLatin1String("tradeDay"), &PEData::tradeDay }, { QLatin1String("ClosePx"), &PEData::ClosePx },
    { QLatin1String("eps"), &PEData::eps },           { QLatin1String("ttmEps"), &PEData::ttmEps },
    { QLatin1String("staticPE"), &PEData::staticPE }, { QLatin1String("dynamicPE"), &PEData::dynamicPE },
    { QLatin1String("ttmPE"), &PEData::ttmPE },
};

const Field<QRRData> qrrFields[] {
    { QLatin1String("Symbol"), &QRRData::Symbol },
    { QLatin1String("MDDate"), &QRRData::MDDate },
    { QLatin1String("last5DayVolumePerMinute"), &QRRData::last5DayVolumePerMinute },
};

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

template<typename Record, size_t Count>
void readFields(const LxRowReader &row, const Field<Record> (&fields)[Count], Record &out)
{
    for (const Field<Record> &field : fields)
        std::visit([&](auto member) { row.read(field.key, out.*member); }, field.member);
}

template<typename Type, size_t Levels>
void readLevels(const LxRowReader &row, const QString *keys, Type (&levels)[Levels])
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
        out.ChangeRatio = out.Change / out.PreClosePx * LxConstants::Percent;
}

template<typename Record>
void readSecurityName(Record &out)
{
    out.SecurityName = CBusinessDataBase::GetInstance()->GetSecurityChineseName(out.Symbol, QString::fromLatin1(""));
}

double priceToBook(double price, double netAssets)
{
    const bool known = std::fabs(netAssets) > LxConstants::Negligible && netAssets != QUOTA_INVALID_VALUE;
    return known ? price / netAssets : QUOTA_INVALID_VALUE;
}

} // namespace

void LxQuotaHandler::AssembleStockQuotaData(const QVariant &msg, StockQuotaData &out)
{
    const LxRowReader row(msg);
    readFields(row, stockHead, out);
    const bool halted = out.TradingPhaseCode == HALTED_PHASE_CODE;

    // Fixed behaviour: the trading fields of a halted stock keep the invalid mark.
    if (!halted) {
        readBook(row, out);
        const double bids = sum(out.BuyOrderQty);
        const double asks = sum(out.SellOrderQty);
        if (bids > 0 || asks > 0)
            out.BidAskRatio = (bids - asks) * LxConstants::Percent / (bids + asks);
        readFields(row, stockBeforeLastPx, out);
        out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
        readFields(row, stockAfterLastPx, out);
        deriveChange(out);
        // Fixed behaviour: without volume or previous close the result is inf or NaN.
        out.AvgPx = out.TotalValueTrade / out.TotalVolumeTrade;
        out.Amplitude = (out.HighPx - out.LowPx) / out.PreClosePx * LxConstants::Percent;
    }
    readFields(row, stockTime, out);
    readSecurityName(out);

    QMutexLocker locker(m_pStockDeepDataMutex);
    const LxStockDeepData *deepData = m_stockDeepDataIndex->find(m_mapStockDeepData, out.Symbol);
    if (!deepData)
        return;
    // Fixed behaviour: an unknown share capital enters the calculations as the invalid mark.
    if (!halted)
        out.TurnoverRate = out.TotalVolumeTrade / deepData->TotalShare * LxConstants::Percent;
    const double price = halted ? out.PreClosePx : out.LastPx;
    out.TotalMarketValue = price * deepData->TotalShare;
    out.PBRatio = priceToBook(price, deepData->NetAssets);
    out.CirculatingMarketValue = price * deepData->ListedShare;
}

void LxQuotaHandler::AssembleFutureQuotaData(const QVariant &msg, FutureQuotaData &out)
{
    const LxRowReader row(msg);
    readBook(row, out);
    // Fixed behaviour: the condition and the order of operations differ from those for a stock, so the last bit of the
    // result may differ, too.
    const double bids = sum(out.BuyOrderQty);
    const double asks = sum(out.SellOrderQty);
    if (bids + asks > 0)
        out.BidAskRatio = (bids - asks) / (bids + asks) * LxConstants::Percent;
    readFields(row, futureBeforeLastPx, out);
    out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
    readFields(row, futureAfterLastPx, out);
    readSecurityName(out);
    deriveChange(out);

    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        if (const LxStockDeepData *deepData = m_stockDeepDataIndex->find(m_mapStockDeepData, out.Symbol)) {
            // Fixed behaviour: a plain ratio, where a stock has a percentage.
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
    readFields(row, indexBeforeLastPx, out);
    out.LastPx = SummitBusiUtils::GetLastPriceFromTick(row.rowValue());
    readFields(row, indexAfterLastPx, out);
    readSecurityName(out);
    deriveChange(out);
}

void LxQuotaHandler::AssembleStockTransactionRecordData(const QVariant &msg, StockTransactionRecordData &out)
{
    readFields(LxRowReader(msg), transactionFields, out);
}

void LxQuotaHandler::AssemblePEData(const QVariant &msg, PEData &out)
{
    LxRowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, peFields, out);
}

void LxQuotaHandler::AssembleQRRData(const QVariant &msg, QRRData &out)
{
    LxRowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, qrrFields, out);
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
