#pragma once

#include "lxquotadata.h"
#include "lxquotahandler_export.h"

#include <lxutils/lxthread.h>

#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QReadWriteLock>
#include <QStringList>
#include <QTime>
#include <QVariant>

#include <atomic>
#include <memory>

class LxPresenterClass;
class LxQueryDeepHQThread;
class LxQuotaHandlerObject;

/// The one place through which a client's plug-ins get their market data.
///
/// A process-wide singleton that lives on a worker thread of its own, "LxQuotaHandler_Thread". Market records come from
/// the bus, are decoded and cached there and announced by signals; requests go out from the thread of the caller;
/// snapshot queries copy out of the caches on any thread.
///
///     LxQuotaHandler &quota = LxQuotaHandler::instance();
///     QObject::connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this, &View::showQuote);
///     QStringList symbols { QStringLiteral("600000.SH") };
///     quota.SubscribeQuote(symbols, true);
///
/// Symbols are texts of the form code, point, market suffix ("600000.SH").
///
/// The first call of instance() constructs the handler and starts it; its bus endpoint opens a moment later on the
/// worker thread. Every request first waits until that has happened, without time-out. The handler ends when the
/// library is unloaded. Nothing is thrown: a missing endpoint, an empty answer or a failed request is logged or
/// ignored, as each method says.
class LXQUOTAHANDLER_EXPORT LxQuotaHandler : public QObject
{
    Q_OBJECT

public:
    /// The handler; constructs it on the first call. Any thread.
    static LxQuotaHandler &instance();

    // --- Subscriptions. Any thread. The records arrive by signal; what is subscribed is not remembered here. ---

    /// Starts or stops the quotes of `symbols`. The list is only read.
    virtual void SubscribeQuote(QStringList &symbols, bool subscribe);
    /// Starts or stops the tick-by-tick transactions of `symbols`. The list is only read.
    virtual void SubscribeRecordTransaction(QStringList &symbols, bool subscribe);
    /// Starts or stops the tick-by-tick orders of `symbols`. The list is only read. Orders are subscribed on the bus,
    /// but not decoded.
    virtual void SubscribeRecordOrder(QStringList &symbols, bool subscribe);
    /// Starts or stops indicator rankings of `kind`, a number that the business-data service defines. 0, or -3 without
    /// an endpoint.
    int SubscribeRankingData(const QStringList &symbols, int kind, bool subscribe);

    // --- K-lines. Any thread. ---

    /// Requests the bars of `symbol` from `start` to `stop`. Returns the request's client message id at once; the bars
    /// come by signalKLineResponse.
    virtual QString AsyncRequestKLineData(const QString &symbol, const QDateTime &start, const QDateTime &stop,
                                          EMD_KLINE_PERIOD period, EMD_EXRIGHTS_TYPE exrights);

    // --- Entries of the bus. Bus threads; for the library's endpoint only. ---

    /// Hands a published message to the worker thread.
    virtual void ProcQuotationMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// Takes in the answer to an asynchronous request. Emits signalStockDeepDataUpdate on the calling thread.
    void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB);

    // --- Deep data: share capital and finance figures. Any thread. ---

    /// Appends to `out` what is known of `symbols`, in their order, and requests the rest, 100 symbols a request;
    /// signalStockDeepDataUpdate tells what has come. The flag is not used.
    virtual void QueryStockDeepData(const QStringList &symbols, QList<LxStockDeepData> &out, bool flag);
    /// Requests all of `symbols` from a thread of its own, 100 a request with pauses of 10 ms. Nothing is requested if
    /// `presenter` is null.
    void QueryStockDeepDataFromBackendService(LxPresenterClass *presenter, const QStringList &symbols);
    /// Sends one request for all of `symbols`, those without exactly one point left out.
    void QueryStockDeepDataFromBackendServiceImpl(const QStringList &symbols);

    /// The days from `start` to `end`, both included, by sigOnRspQueryStockPeriod1DInfo: what is cached at once, within
    /// the call; the days before and after it are requested. Nothing comes at once if the range and the cached span do
    /// not meet. With `wholeRangeOnly` only a range wholly inside the cached span is answered from the cache.
    ///
    /// A start that is no cached day gives an empty answer, an end that is none gives all that is cached from the start
    /// on. An answer to `wholeRangeOnly` leaves the daily cache locked: no later call that needs it returns.
    void QueryStockPeriod1DInfo(const QString &symbol, const QDate &start, const QDate &end, bool wholeRangeOnly);
    /// Requests the one-minute bars of the days from `start` to `end` (its midnight). The flag is not used.
    void QueryStockPeriod1MInfo(const QString &symbol, const QDate &start, const QDate &end, bool wholeRangeOnly);

    // --- Indicators and calendar. Any thread but a bus callback's. Symbols already answered are not asked again. ---

    /// Requests price-earnings data in the background; signalStockDeepDataUpdate tells what has come. The first call
    /// asks for the trade date and waits for it.
    void queryPEData(const QStringList &symbols);
    /// Requests quantity-relative-ratio data; as queryPEData.
    void queryQRRData(const QStringList &symbols);
    /// Requests the counts of consecutive rising days; signalRiseDayData brings them.
    void queryRiseDayData(QStringList symbols);
    /// The trading day `days` trading days from `date` (negative: before it), as the service writes it. Waits for the
    /// answer; empty if the date is invalid, and on time-out or failure.
    QString queryTradeDay(QDate date, int days);

    // --- Snapshots. Any thread. Nothing is requested; a symbol not seen yet gives a default record. ---

    IndexQuotaData GetLastIndexQuotaData(const QString &symbol);
    /// The last quote as decoded.
    StockQuotaData GetLastStockQuotaData(const QString &symbol);
    /// The same operation under a second name.
    StockQuotaData GetLastStockQuotaDataBrief(const QString &symbol);
    /// The last quote with PERatio and, from 09:30 local time on, QuantityRelativeRatio.
    StockQuotaData GetLastStockQuotaDataBase(const QString &symbol);
    /// As GetLastStockQuotaDataBase, with LastTradeLots.
    StockQuotaData GetLastStockQuotaDataTotal(const QString &symbol);

    // The order of signals and slots is their method index, and part of the interface, as are the parameters' names.
Q_SIGNALS:
    /// Worker thread; after each stock quote, once it is cached. Then signalQuotaUpdate and signalQuoteTickUpdate.
    void signalStockQuotaUpdate(const StockQuotaData &data);
    /// Worker thread; after each future quote. Then signalQuotaUpdate and signalQuoteTickUpdate.
    void signalFutureQuotaUpdate(const FutureQuotaData &data);
    /// Worker thread; after each index quote, once it is cached. Then signalQuotaUpdate and signalQuoteTickUpdate.
    void signalIndexQuotaUpdate(const IndexQuotaData &data);
    /// Declared for plug-ins; not emitted by the library.
    void signalStockOrderRecordUpdate(const StockOrderRecordData &data);
    /// Declared for plug-ins; not emitted by the library (see signalRecordTransactionUpdate).
    void signalStockTransactionRecordUpdate(const StockTransactionRecordData &data);
    /// Worker thread; each K-line answer, as it came. A queued receiver has to register EMD_KLINE_PERIOD.
    void signalKLineResponse(const QList<QVariantMap> &lstData, EMD_KLINE_PERIOD type);
    /// Worker thread; the second signal of each quote. A queued receiver has to register the argument's type.
    void signalQuotaUpdate(BaseQuotaData &record);
    /// Symbols whose PE, QRR (worker thread) or deep data (bus thread) have come.
    void signalStockDeepDataUpdate(QStringList strSymbol);
    /// Within the library: a message on its way from the bus to the worker thread.
    void sigRecvQuotaData(const QVariant &type, const QVariant &data);
    /// Daily period information: on the caller's thread from the cache, on the worker thread from an answer. Emitted
    /// while the daily cache is locked. A queued receiver has to register the map's type.
    void sigOnRspQueryStockPeriod1DInfo(const QString &symbol, const QMap<QDate, StockPeriod1DInfo> &data);
    /// Declared for plug-ins; not emitted by the library.
    void sigOnRspQueryStockPeriod1MInfo(const QString &symbol, const QMap<QDate, QMap<QTime, StockPeriod1DInfo>> &data);
    /// Worker thread; each indicator ranking, undecoded.
    void signalIndicatorRankingData(const QVariant &data);
    /// Worker thread; each analysis of rising and falling symbols, undecoded.
    void signalUpDownAnalyzeData(const QVariant &data);
    /// Worker thread; a count of consecutive rising days.
    void signalRiseDayData(const QString &symbol, const int &day);
    /// Worker thread; the third and last signal of each quote.
    void signalQuoteTickUpdate(const QString &symbol);
    /// Worker thread; after each transaction, once it is cached.
    void signalRecordTransactionUpdate(const QString &symbol);
    /// Within the library: work for the indicator worker.
    void sigQueryPEData(const QStringList &symbolList, const QString &tradeDate);
    void sigQueryQRRData(const QStringList &symbolList, const QString &tradeDate);
    /// Declared for plug-ins; not emitted by the library.
    void sigAsyncQryOver();
    /// Within the library: starts it up on the worker thread.
    void sigInitQuotaHandlerObject();

public Q_SLOTS:
    /// Worker thread; ends and deletes a thread of QueryStockDeepDataFromBackendService.
    void slotDeepQuotaQueryThreadFinish(QThread *thread);
    /// Worker thread; decodes, caches and announces one published message.
    void slotProcessQuotaMsg(const QVariant &type, const QVariant &data);
    /// Takes K-line bars into the period caches. Nothing in the library drives it; invoke it by name.
    void slotProcessPeriod1DKLineDate(const QList<QVariantMap> &lstData, EMD_KLINE_PERIOD type);
    /// Worker thread; opens the bus endpoint.
    void slotInitQuotaHandlerObj();

protected:
    LxQuotaHandler();
    ~LxQuotaHandler() override;

    /// Worker thread; subscribes the topics. Called once, by the plug-in object.
    void Init();
    /// Any thread; waits until the bus endpoint is open.
    void waitForPresenterClassInit();

    // Decoders. Worker thread. `out` is a fresh record; `msg` is a message body as the bus delivers it. Absent keys
    // read as "" or 0, never as the invalid mark.
    void AssembleStockQuotaData(const QVariant &msg, StockQuotaData &out);
    void AssembleFutureQuotaData(const QVariant &msg, FutureQuotaData &out);
    void AssembleIndexQuotaData(const QVariant &msg, IndexQuotaData &out);
    void AssembleStockTransactionRecordData(const QVariant &msg, StockTransactionRecordData &out);
    void AssemblePEData(const QVariant &msg, PEData &out);
    void AssembleQRRData(const QVariant &msg, QRRData &out);
    void AssembleBaseQuotaData(const StockQuotaData &src, BaseQuotaData &dst);
    void AssembleBaseFutureQuotaData(const FutureQuotaData &src, BaseQuotaData &dst);
    void AssembleBaseIndexQuotaData(const IndexQuotaData &src, BaseQuotaData &dst);

private:
    friend class LxQuotaHandlerObject; // calls Init()

    // A one-minute bar with the time that it is filed under.
    struct Period1MInfo
    {
        StockPeriod1DInfo info;
        QTime time;
    };

    void processStockQuote(const QVariant &data);
    void processIndexQuote(const QVariant &data);
    void processFutureQuote(const QVariant &data);
    void processTransaction(const QVariant &data);
    void processKLineResponse(const QVariant &data);
    void processPE(const QVariant &data);
    void processQRR(const QVariant &data);
    void processRiseDays(const QVariant &data);
    void processPeriod1D(const QList<QVariantMap> &rows);
    void processPeriod1M(const QList<QVariantMap> &rows);

    void sendSubscribeRequest(const QStringList &symbols, int recordKind, bool subscribe);
    void sendDailyKLineRequest(const QString &symbol, const QDate &from, const QDate &to);
    QString tradeDate();
    bool deriveSnapshot(const QString &symbol, StockQuotaData &quote);
    void endDeepQueryThreads();

    // Each lock guards the container below it. One lock is taken at a time and released before a signal, but for
    // ProcAsyncCallBack, which takes the stock quotes inside the deep data, and the period caches, whose signals are
    // emitted under their mutex.
    QMutex *m_pStockDeepDataMutex;
    QMap<QString, LxStockDeepData> m_mapStockDeepData;
    QStringList m_lstDeepQueryFields; // constant after construction
    QMutex *m_pStockQuotaMutex;
    QMap<QString, StockQuotaData> m_mapStockQuota;
    QMutex *m_pIndexQuotaMutex;
    QMap<QString, IndexQuotaData> m_mapIndexQuota;
    QReadWriteLock *m_pTransactionLock;
    QHash<QString, StockTransactionRecordData> m_hashTransactionRecord;
    LxThread m_thread;
    QMutex m_period1DMutex;
    QHash<QString, QMap<QDate, StockPeriod1DInfo>> m_hashPeriod1DInfo;
    QMutex m_period1MMutex;
    QHash<QString, QMap<QDate, QMap<QTime, Period1MInfo>>> m_hashPeriod1MInfo;
    QReadWriteLock *m_pPELock;
    QMap<QString, PEData> m_mapPEData;
    QReadWriteLock *m_pQRRLock;
    QMap<QString, QRRData> m_mapQRRData;
    QReadWriteLock *m_pRiseDayLock;
    QMap<QString, int> m_mapRiseDays;
    QString m_strTradeDate; // written once, by the holder of the claim; read once known
    std::atomic_flag m_tradeDateClaimed = ATOMIC_FLAG_INIT;
    std::atomic<bool> m_tradeDateKnown { false };

    QMutex m_deepQueryThreadsMutex;
    QList<LxQueryDeepHQThread *> m_deepQueryThreads; // alive, for the destructor to end

    struct Indexes;
    const std::unique_ptr<Indexes> m_indexes; // of the caches, each guarded by the lock of its cache
};
