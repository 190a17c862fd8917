#include "lxquotahandler.h"

#include "lxbrieflocker_p.h"
#include "lxlog_p.h"
#include "lxquotaindexes_p.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/unpackmessagecommon.h>

#include <cmath>

namespace {

constexpr double SharesPerBusUnit = 10000.0; // the bus sends share capital in units of 10,000 shares
constexpr double Percent = 100.0;
constexpr double Negligible = 1e-8;

const QString deepDataAnswer = QStringLiteral("181028");
const QString itemKey = QStringLiteral("36046"); // which figure a row of the answer brings
const QString valueKey = QStringLiteral("36034");

} // namespace

void LxQuotaHandler::ProcQuotationMsg(QString, QVariant msgType, QVariant msgData)
{
    Q_EMIT sigRecvQuotaData(msgType, msgData);
}

void LxQuotaHandler::slotProcessQuotaMsg(const QVariant &msgType, const QVariant &msgData)
{
    // In the order in which the types are compared. Whatever is not listed is dropped, though it may be subscribed.
    using Branch = void (LxQuotaHandler::*)(const QVariant &);
    struct Route
    {
        QString type;
        Branch branch;
        int logLine = 0; // of the line that logs the message; 0: none
    };
    static const Route routes[] {
        { QStringLiteral("MDMARKETRECORD"), &LxQuotaHandler::processStockQuote },
        { QStringLiteral("KLineResponse"), &LxQuotaHandler::processKLineResponse },
        { QStringLiteral("MDINDEXRECORD"), &LxQuotaHandler::processIndexQuote },
        { QStringLiteral("MDFUTURERECORD"), &LxQuotaHandler::processFutureQuote },
        { QStringLiteral("ADINDICATORSRANKINGRECORD"), &LxQuotaHandler::signalIndicatorRankingData },
        { QStringLiteral("ADUPSDOWNSANALYSISRECORD"), &LxQuotaHandler::signalUpDownAnalyzeData },
        { QStringLiteral("MDTRANSACTIONRECORD"), &LxQuotaHandler::processTransaction },
        { QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"), &LxQuotaHandler::processPE, 1251 },
        { QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"), &LxQuotaHandler::processQRR, 1267 },
        { QStringLiteral("MSG_QUERY_UP_N_DAY_RESPONSE"), &LxQuotaHandler::processRiseDays },
    };

    const QString type = msgType.toString();
    for (const Route &route : routes) {
        if (type == route.type) {
            if (route.logLine)
                LX_LOG("lxquotahandler", route.logLine).debug() << qUtf8Printable(type) << msgData;
            (this->*route.branch)(msgData);
            return;
        }
    }
}

void LxQuotaHandler::processStockQuote(const QVariant &data)
{
    StockQuotaData quote;
    AssembleStockQuotaData(data, quote);
    BaseQuotaData base;
    AssembleBaseQuotaData(quote, base);
    {
        LxBriefLocker locker(m_pStockQuotaMutex);
        StockQuotaData &cached = m_indexes->stockQuota.entry(m_mapStockQuota, quote.Symbol);
        quote.LastTradeLots = cached.LastTradeLots; // the decoder does not know it
        cached = quote;
    }
    Q_EMIT signalStockQuotaUpdate(quote);
    Q_EMIT signalQuotaUpdate(base);
    Q_EMIT signalQuoteTickUpdate(quote.Symbol);
}

void LxQuotaHandler::processIndexQuote(const QVariant &data)
{
    IndexQuotaData quote;
    AssembleIndexQuotaData(data, quote);
    BaseQuotaData base;
    AssembleBaseIndexQuotaData(quote, base);
    {
        QMutexLocker locker(m_pIndexQuotaMutex);
        m_mapIndexQuota[quote.Symbol] = quote;
    }
    Q_EMIT signalIndexQuotaUpdate(quote);
    Q_EMIT signalQuotaUpdate(base);
    Q_EMIT signalQuoteTickUpdate(quote.Symbol);
}

void LxQuotaHandler::processFutureQuote(const QVariant &data)
{
    FutureQuotaData quote;
    AssembleFutureQuotaData(data, quote);
    BaseQuotaData base;
    AssembleBaseFutureQuotaData(quote, base);
    Q_EMIT signalFutureQuotaUpdate(quote);
    Q_EMIT signalQuotaUpdate(base);
    Q_EMIT signalQuoteTickUpdate(quote.Symbol);
}

void LxQuotaHandler::processTransaction(const QVariant &data)
{
    StockTransactionRecordData record;
    AssembleStockTransactionRecordData(data, record);
    {
        QWriteLocker locker(m_pTransactionLock);
        m_hashTransactionRecord.insert(record.Symbol, record);
    }
    Q_EMIT signalRecordTransactionUpdate(record.Symbol);
}

void LxQuotaHandler::processKLineResponse(const QVariant &data)
{
    const QVariantList rows = data.toList();
    if (rows.isEmpty())
        return;
    const int period = rows.constFirst().toMap().value(QStringLiteral("PeriodType")).toInt();
    QList<QVariantMap> bars;
    bars.reserve(rows.size());
    for (const QVariant &row : rows)
        bars.append(row.toMap());
    Q_EMIT signalKLineResponse(bars, static_cast<EMD_KLINE_PERIOD>(period));
}

void LxQuotaHandler::processPE(const QVariant &data)
{
    PEData pe;
    AssemblePEData(data, pe);
    if (pe.Symbol.isEmpty())
        return;
    {
        QWriteLocker locker(m_pPELock);
        m_indexes->peData.entry(m_mapPEData, pe.Symbol) = pe;
    }
    Q_EMIT signalStockDeepDataUpdate(QStringList { pe.Symbol });
}

void LxQuotaHandler::processQRR(const QVariant &data)
{
    QRRData qrr;
    AssembleQRRData(data, qrr);
    if (qrr.Symbol.isEmpty())
        return;
    {
        QWriteLocker locker(m_pQRRLock);
        m_indexes->qrrData.entry(m_mapQRRData, qrr.Symbol) = qrr;
    }
    Q_EMIT signalStockDeepDataUpdate(QStringList { qrr.Symbol });
}

void LxQuotaHandler::processRiseDays(const QVariant &data)
{
    CUnPackMessageCommon answer;
    answer.SetUnPackMsg(data, false);
    if (answer.GetRowCount() < 2)
        return;
    answer.SetCurrentRow(1);
    const QVariant absent { QString::fromLatin1("") };
    const QString symbol = answer.GetValue(QStringLiteral("Symbol"), absent).toString();
    const int days = answer.GetValue(QStringLiteral("days"), absent).toInt();
    {
        QWriteLocker locker(m_pRiseDayLock);
        m_mapRiseDays[symbol] = days;
    }
    Q_EMIT signalRiseDayData(symbol, days);
}

void LxQuotaHandler::ProcAsyncCallBack(int, QString, QVariant vA, QVariant vB)
{
    if (vA.toString() != deepDataAnswer)
        return;
    CUnPackMessageCommon answer;
    answer.SetUnPackMsg(vB, false);
    const QVariant absent { QString::fromLatin1("") };
    if (answer.GetValue(Orca_Fields::System::requestExeStatus, absent).toInt() != 0)
        return;

    QMap<QString, int> touched;
    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        const int rowCount = answer.GetRowCount();
        for (int number = 1; number < rowCount; ++number) {
            answer.SetCurrentRow(number);
            const QString code = answer.GetValue(Orca_Fields::Security::securityID, absent).toString();
            const QString market = answer.GetValue(Orca_Fields::UserAccount::SymbolPost, absent).toString();
            QString symbol;
            symbol.reserve(code.size() + 1 + market.size());
            symbol.append(code).append(QLatin1Char('.')).append(market);
            LxStockDeepData &deepData = m_indexes->stockDeepData.entry(m_mapStockDeepData, symbol);
            if (deepData.Symbol.isEmpty())
                deepData.Symbol = symbol;

            const QString item = answer.GetValue(itemKey, absent).toString();
            const double value = answer.GetValue(valueKey, absent).toDouble();
            if (item == QLatin1String("NetAssets"))
                deepData.NetAssets = value;
            else if (item == QLatin1String("ListedShare"))
                deepData.ListedShare = value * SharesPerBusUnit;
            else if (item == QLatin1String("TotalShare"))
                deepData.TotalShare = value * SharesPerBusUnit;
            else if (item == QLatin1String("DividentRate"))
                deepData.DividentRate = value * Percent;

            applyDeepDataToCachedQuote(item, deepData);
            touched.insert(deepData.Symbol, 1);
        }
    }
    if (!touched.isEmpty())
        Q_EMIT signalStockDeepDataUpdate(touched.keys());
}

void LxQuotaHandler::applyDeepDataToCachedQuote(const QString &item, const LxStockDeepData &deepData)
{
    LxBriefLocker locker(m_pStockQuotaMutex);
    StockQuotaData *cached = m_indexes->stockQuota.find(m_mapStockQuota, deepData.Symbol);
    if (!cached)
        return;
    if (item == QLatin1String("TotalShare")) {
        // On the total, not on the listed shares: meant, as for a quote that arrives.
        if (deepData.TotalShare > 0.0)
            cached->TurnoverRate = cached->TotalVolumeTrade / deepData.TotalShare * Percent;
        cached->TotalMarketValue = cached->LastPx * deepData.TotalShare;
    } else if (item == QLatin1String("NetAssets")) {
        // The test of a quote that arrives, the other way round: here net assets that are NaN give NaN. Meant.
        const bool unknown = std::fabs(deepData.NetAssets) <= Negligible || deepData.NetAssets == QUOTA_INVALID_VALUE;
        cached->PBRatio = unknown ? QUOTA_INVALID_VALUE : cached->LastPx / deepData.NetAssets;
    } else if (item == QLatin1String("ListedShare")) {
        cached->CirculatingMarketValue = cached->LastPx * deepData.ListedShare;
    }
}
