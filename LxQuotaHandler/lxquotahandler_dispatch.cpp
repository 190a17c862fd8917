#include "lxquotahandler.h"

#include "lxbrieflocker_p.h"
#include "lxlog_p.h"
#include "lxquotaindexes_p.h"
#include "lxrowreader_p.h"

#include <lxdefine/lxfields.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double SharesPerBusUnit = 10000.0; // the bus sends share capital in units of 10,000 shares
constexpr double Percent = 100.0;
constexpr double Negligible = 1e-8;

const QString deepDataAnswer = QStringLiteral("181028");
const QString itemKey = QStringLiteral("36046"); // which figure a row of the answer brings
const QString valueKey = QStringLiteral("36034");

// One of the figures that an answer brings: where it is kept, and what of a cached quote follows from it.
struct Figure
{
    QString name;
    void (*store)(double value, LxStockDeepData &deepData);
    void (*derive)(const LxStockDeepData &deepData, StockQuotaData &quote);

    // The figure, or null.
    static const Figure *named(const QString &name);
};

const Figure figures[] {
    { QStringLiteral("NetAssets"), [](double value, LxStockDeepData &deepData) { deepData.NetAssets = value; },
      [](const LxStockDeepData &deepData, StockQuotaData &quote) {
          // The test of a quote that arrives, the other way round: here net assets that are NaN give NaN. Meant.
          const double netAssets = deepData.NetAssets;
          const bool unknown = std::fabs(netAssets) <= Negligible || netAssets == QUOTA_INVALID_VALUE;
          quote.PBRatio = unknown ? QUOTA_INVALID_VALUE : quote.LastPx / netAssets;
      } },
    { QStringLiteral("ListedShare"),
      [](double value, LxStockDeepData &deepData) { deepData.ListedShare = value * SharesPerBusUnit; },
      [](const LxStockDeepData &deepData, StockQuotaData &quote) {
          quote.CirculatingMarketValue = quote.LastPx * deepData.ListedShare;
      } },
    { QStringLiteral("TotalShare"),
      [](double value, LxStockDeepData &deepData) { deepData.TotalShare = value * SharesPerBusUnit; },
      [](const LxStockDeepData &deepData, StockQuotaData &quote) {
          // On the total, not on the listed shares: meant, as for a quote that arrives.
          if (deepData.TotalShare > 0.0)
              quote.TurnoverRate = quote.TotalVolumeTrade / deepData.TotalShare * Percent;
          quote.TotalMarketValue = quote.LastPx * deepData.TotalShare;
      } },
    { QStringLiteral("DividentRate"),
      [](double value, LxStockDeepData &deepData) { deepData.DividentRate = value * Percent; },
      [](const LxStockDeepData &, StockQuotaData &) {} },
};

const Figure *Figure::named(const QString &name)
{
    const auto found = std::find_if(std::begin(figures), std::end(figures),
                                    [&name](const Figure &figure) { return figure.name == name; });
    return found == std::end(figures) ? nullptr : found;
}

// The texts of a record that is replaced. They have not been touched for long, so that giving each of them back waits
// for memory: fetched together they wait once, and not under the lock of the cache.
class ReplacedTexts
{
public:
    void take(StockQuotaData &quote)
    {
        QString *const texts[] { &quote.MDDate, &quote.MDTime, &quote.Symbol, &quote.TradingPhaseCode,
                                 &quote.SecurityName };
        static_assert(std::size(texts) == Count, "every text of a quote");
        for (size_t i = 0; i < Count; ++i) {
            m_texts[i].swap(*texts[i]);
#ifdef __GNUC__
            __builtin_prefetch(m_texts[i].data_ptr(), 1);
#endif
        }
    }

private:
    static constexpr size_t Count = 5;
    QString m_texts[Count];
};

// Their symbols, each once, in order.
QStringList symbolsOf(std::vector<const LxStockDeepData *> records)
{
    std::sort(records.begin(), records.end());
    records.erase(std::unique(records.begin(), records.end()), records.end());
    QStringList symbols;
    symbols.reserve(static_cast<int>(records.size()));
    for (const LxStockDeepData *record : records)
        symbols.append(record->Symbol);
    std::sort(symbols.begin(), symbols.end());
    return symbols;
}

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

    // Compared where it is: a copy would count the owners of the text, as the bus thread does at the same time.
    const bool isText = msgType.type() == QVariant::String;
    const QString converted = isText ? QString() : msgType.toString();
    const QString &type = isText ? *static_cast<const QString *>(msgType.constData()) : converted;
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
    ReplacedTexts replaced;
    const LxSymbolKey symbol(quote.Symbol);
    {
        LxBriefLocker locker(m_pStockQuotaMutex, LxBriefLocker::Write);
        StockQuotaData &cached = m_indexes->stockQuota.entry(m_mapStockQuota, symbol);
        quote.LastTradeLots = cached.LastTradeLots; // the decoder does not know it
        replaced.take(cached);
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
    LxRowReader answer(data);
    if (answer.rowCount() < 2)
        return;
    answer.setCurrentRow(1);
    QString symbol;
    int days = 0;
    answer.read(QStringLiteral("Symbol"), symbol);
    answer.read(QStringLiteral("days"), days);
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
    LxRowReader answer(vB);
    int status = 0;
    answer.read(Orca_Fields::System::requestExeStatus, status);
    if (status != 0)
        return;

    QStringList touched;
    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        std::vector<const LxStockDeepData *> stored; // one a row; entries stay where they are
        const int rowCount = answer.rowCount();
        stored.reserve(static_cast<size_t>(rowCount));
        QString code;
        QString market;
        QString symbol; // of the row; its memory serves one row after the other
        QString item;
        for (int number = 1; number < rowCount; ++number) {
            answer.setCurrentRow(number);
            answer.read(Orca_Fields::Security::securityID, code);
            answer.read(Orca_Fields::UserAccount::SymbolPost, market);
            symbol.resize(0);
            symbol.append(code).append(QLatin1Char('.')).append(market);
            const LxSymbolKey key(symbol);
            LxStockDeepData &deepData = m_indexes->stockDeepData.entry(m_mapStockDeepData, key);
            if (deepData.Symbol.isEmpty())
                deepData.Symbol = symbol;
            stored.push_back(&deepData);

            double value = 0.0;
            answer.read(itemKey, item);
            answer.read(valueKey, value);
            const Figure *figure = Figure::named(item);
            if (figure)
                figure->store(value, deepData);

            LxBriefLocker quotaLocker(m_pStockQuotaMutex, LxBriefLocker::Write);
            StockQuotaData *cached = m_indexes->stockQuota.find(m_mapStockQuota, key);
            if (cached && figure)
                figure->derive(deepData, *cached);
        }
        touched = symbolsOf(std::move(stored));
    }
    if (!touched.isEmpty())
        Q_EMIT signalStockDeepDataUpdate(touched);
}
