#include "lxquotahandler.h"

#include "lxconstants_p.h"
#include "lxmessagetypes_p.h"
#include "lxrowreader_p.h"
#include "lxsymbolindex_p.h"

#include <lxdefine/lxfields.h>

#include <cmath>

namespace {

constexpr double SharesPerBusUnit = 10000.0; // the bus sends share capital in units of 10,000 shares

// Stores the figure that a row of the answer contains. An unknown item is ignored.
void storeFigure(const QString &item, double value, LxStockDeepData &deepData)
{
    if (item == LxDeepDataItem::NetAssets)
        deepData.NetAssets = value;
    else if (item == LxDeepDataItem::ListedShare)
        deepData.ListedShare = value * SharesPerBusUnit;
    else if (item == LxDeepDataItem::TotalShare)
        deepData.TotalShare = value * SharesPerBusUnit;
    else if (item == LxDeepDataItem::DividendRate)
        deepData.DividentRate = value * LxConstants::Percent;
}

// Updates those figures of a cached quote that are derived from `item`.
void updateQuote(const QString &item, const LxStockDeepData &deepData, StockQuotaData &quote)
{
    if (item == LxDeepDataItem::TotalShare) {
        // Fixed behaviour: relative to the total shares, not to the listed ones, as when a quote is decoded.
        if (deepData.TotalShare > 0.0)
            quote.TurnoverRate = quote.TotalVolumeTrade / deepData.TotalShare * LxConstants::Percent;
        quote.TotalMarketValue = quote.LastPx * deepData.TotalShare;
    } else if (item == LxDeepDataItem::NetAssets) {
        // Fixed behaviour: not the negation of the condition used when a quote is decoded. If the net assets are NaN,
        // the ratio becomes NaN here and the invalid mark there.
        const bool unknown =
            std::fabs(deepData.NetAssets) <= LxConstants::Negligible || deepData.NetAssets == QUOTA_INVALID_VALUE;
        quote.PBRatio = unknown ? QUOTA_INVALID_VALUE : quote.LastPx / deepData.NetAssets;
    } else if (item == LxDeepDataItem::ListedShare) {
        quote.CirculatingMarketValue = quote.LastPx * deepData.ListedShare;
    }
}

} // namespace

void LxQuotaHandler::ProcAsyncCallBack(int, QString, QVariant vA, QVariant vB)
{
    if (vA.toString() != LxMessageType::DeepDataAnswer)
        return;
    LxRowReader answer(vB);
    int status = 0;
    answer.read(Orca_Fields::System::requestExeStatus, status);
    if (status != 0)
        return;

    QMap<QString, int> touched; // used as a sorted set of the answer's symbols
    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        const int rowCount = answer.rowCount();
        for (int rowIndex = 1; rowIndex < rowCount; ++rowIndex) {
            answer.setCurrentRow(rowIndex);
            const QMap<QString, QVariant> row = answer.rowValue();
            const QString symbol = row.value(Orca_Fields::Security::securityID).toString() + QLatin1Char('.')
                + row.value(Orca_Fields::UserAccount::SymbolPost).toString();
            const QString item = row.value(LxFieldKey::DeepDataItem).toString();

            LxStockDeepData &deepData = m_stockDeepDataIndex->entry(m_mapStockDeepData, symbol);
            deepData.Symbol = symbol;
            storeFigure(item, row.value(LxFieldKey::DeepDataValue).toDouble(), deepData);
            {
                QMutexLocker quotaLocker(m_pStockQuotaMutex);
                if (StockQuotaData *quote = m_stockQuotaIndex->find(m_mapStockQuota, symbol))
                    updateQuote(item, deepData, *quote);
            }
            touched.insert(symbol, 1);
        }
    }
    if (!touched.isEmpty())
        Q_EMIT signalStockDeepDataUpdate(touched.keys());
}
