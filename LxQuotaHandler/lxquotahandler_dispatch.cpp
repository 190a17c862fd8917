#include "lxquotahandler.h"

#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxrowreader_p.h"
#include "lxsymbolindex_p.h"

namespace {

const QString riseDaysKey(QLatin1String("days"));

} // namespace

void LxQuotaHandler::ProcQuotationMsg(QString, QVariant msgType, QVariant msgData)
{
    Q_EMIT sigRecvQuotaData(msgType, msgData);
}

void LxQuotaHandler::slotProcessQuotaMsg(const QVariant &type, const QVariant &data)
{
    // All other types are dropped: orders, options and tick answers are subscribed to, but not handled.
    const QString name = type.toString();
    if (name == LxMessageType::StockQuote) {
        processStockQuote(data);
    } else if (name == LxMessageType::KLineAnswer) {
        processKLineResponse(data);
    } else if (name == LxMessageType::IndexQuote) {
        processIndexQuote(data);
    } else if (name == LxMessageType::FutureQuote) {
        processFutureQuote(data);
    } else if (name == LxMessageType::IndicatorRanking) {
        Q_EMIT signalIndicatorRankingData(data);
    } else if (name == LxMessageType::UpDownAnalysis) {
        Q_EMIT signalUpDownAnalyzeData(data);
    } else if (name == LxMessageType::Transaction) {
        processTransaction(data);
    } else if (name == LxMessageType::PEAnswer) {
        LX_DEBUG("lxquotahandler", 1251) << "MSG_QUERY_P_E_RATIO_RESPONSE" << data;
        processPE(data);
    } else if (name == LxMessageType::QRRAnswer) {
        LX_DEBUG("lxquotahandler", 1267) << "MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE" << data;
        processQRR(data);
    } else if (name == LxMessageType::RiseDaysAnswer) {
        processRiseDays(data);
    }
}

void LxQuotaHandler::processStockQuote(const QVariant &data)
{
    StockQuotaData quote;
    AssembleStockQuotaData(data, quote);
    BaseQuotaData base;
    AssembleBaseQuotaData(quote, base);
    {
        QMutexLocker locker(m_pStockQuotaMutex);
        StockQuotaData &cached = m_stockQuotaIndex->entry(m_mapStockQuota, quote.Symbol);
        quote.LastTradeLots = cached.LastTradeLots; // the message does not carry it
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
    const int period = rows.constFirst().toMap().value(LxFieldKey::PeriodType).toInt();
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
        m_mapPEData[pe.Symbol] = pe;
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
        m_mapQRRData[qrr.Symbol] = qrr;
    }
    Q_EMIT signalStockDeepDataUpdate(QStringList { qrr.Symbol });
}

void LxQuotaHandler::processRiseDays(const QVariant &data)
{
    LxRowReader answer(data);
    if (answer.rowCount() < 2)
        return;
    answer.setCurrentRow(1);
    QString symbol;
    int days = 0;
    answer.read(LxFieldKey::Symbol, symbol);
    answer.read(riseDaysKey, days);
    {
        QWriteLocker locker(m_pRiseDayLock);
        m_mapRiseDays[symbol] = days;
    }
    Q_EMIT signalRiseDayData(symbol, days);
}
