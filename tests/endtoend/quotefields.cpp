#include "quotefields.h"

#include <cmath>

namespace {

template<typename Record>
Record readRecord(const CsvRow &row)
{
    Record record;
    readRow(row, &record);
    // Before the first trade the latest price is the reference price.
    if (!(record.LastPx > 0))
        record.LastPx = row.number(row.cell("PreSettlePrice").isEmpty() ? "PreClosePx" : "PreSettlePrice");
    record.SecurityName = securityNames().value(record.Symbol);
    record.Change = record.LastPx - record.PreClosePx;
    if (record.PreClosePx > 0)
        record.ChangeRatio = (record.LastPx - record.PreClosePx) / record.PreClosePx * 100;
    return record;
}

// The imbalance of an order book; the mark of no value if it is empty.
template<typename Record>
void deriveBidAskRatio(Record *record)
{
    double bids = 0;
    double asks = 0;
    for (qint64 quantity : record->BuyOrderQty)
        bids += static_cast<double>(quantity);
    for (qint64 quantity : record->SellOrderQty)
        asks += static_cast<double>(quantity);
    if (bids + asks > 0)
        record->BidAskRatio = 100 * (bids - asks) / (bids + asks);
}

} // namespace

const QHash<QString, QString> &securityNames()
{
    static const QHash<QString, QString> names = [] {
        QHash<QString, QString> all;
        const CsvTable table(QStringLiteral(LX_DATA_DIR "/securities.csv"));
        for (int i = 0; i < table.rowCount(); ++i) {
            const CsvRow row = table.row(i);
            all.insert(row.text("Symbol"), row.text("SecurityName"));
        }
        return all;
    }();
    return names;
}

StockQuotaData expectedStock(const CsvRow &row)
{
    auto quote = readRecord<StockQuotaData>(row);
    deriveBidAskRatio(&quote);
    // No volume gives NaN or infinity, no previous close as well.
    quote.AvgPx = quote.TotalValueTrade / quote.TotalVolumeTrade;
    quote.Amplitude = 100 * ((quote.HighPx - quote.LowPx) / quote.PreClosePx);
    return quote;
}

FutureQuotaData expectedFuture(const CsvRow &row)
{
    auto quote = readRecord<FutureQuotaData>(row);
    deriveBidAskRatio(&quote);
    quote.AvgPx = quote.TotalValueTrade / quote.TotalVolumeTrade;
    return quote;
}

IndexQuotaData expectedIndex(const CsvRow &row)
{
    return readRecord<IndexQuotaData>(row);
}

void applyDeepData(const LxStockDeepData &deepData, StockQuotaData *quote)
{
    quote->TurnoverRate = 100 * (quote->TotalVolumeTrade / deepData.TotalShare);
    quote->TotalMarketValue = deepData.TotalShare * quote->LastPx;
    quote->CirculatingMarketValue = deepData.ListedShare * quote->LastPx;
    const bool hasAssets = deepData.NetAssets != QUOTA_INVALID_VALUE && std::fabs(deepData.NetAssets) > 1e-8;
    quote->PBRatio = hasAssets ? quote->LastPx / deepData.NetAssets : QUOTA_INVALID_VALUE;
}
