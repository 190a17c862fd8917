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

#include <memory>

class LxPresenterClass;
class LxQueryDeepHQThread;
class LxQuotaHandlerObject;
template<typename Record>
class LxSymbolIndex;

/// The interface through which the client's plug-ins get market data.
///
/// A process-wide singleton. Market records arrive from the bus, are decoded and cached on the handler's worker thread,
/// "LxQuotaHandler_Thread", and announced by signals. Requests are sent from the caller's thread unless stated
/// otherwise. Snapshot queries return copies of cached records.
///
///     LxQuotaHandler &quota = LxQuotaHandler::instance();
///     QObject::connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this, &View::showQuote);
///     QStringList symbols { QStringLiteral("600000.SH") };
///     quota.SubscribeQuote(symbols, true);
///
/// A symbol is a security code, a dot and a market suffix ("600000.SH").
///
/// **Threads.** Public methods may be called from any thread unless stated otherwise. Signals are emitted on the worker
/// thread unless stated otherwise; the handler lives there, so an automatic connection to a receiver on another thread
/// is queued. No lock is held while a signal is emitted, except for sigOnRspQueryStockPeriod1DInfo.
///
/// **Errors.** Nothing is thrown. A missing bus endpoint, an empty answer or a failed request is logged or ignored, as
/// each method states.
///
/// **Lifetime.** The first call of instance() constructs the handler. Unless the host has initialised the library's
/// plug-in object before, the worker thread then opens the bus endpoint. Every request first waits until the endpoint
/// is open, without a time-out. The handler is destroyed when the library is unloaded or the process exits; it then
/// waits until the slot that its worker thread is executing has returned. Once the QCoreApplication has been destroyed,
/// no queued message is processed any more.
///
/// **Exit.** Before main() returns or the library is unloaded, the host must ensure that
/// - no other thread calls the handler any more: join such threads first;
/// - no signal is connected by Qt::BlockingQueuedConnection to a receiver on a thread that has left its event loop, for
///   example an object that outlives main(): the worker thread would wait for the receiver forever, and the exit for
///   the worker thread;
/// - slotProcessPeriod1DKLineDate() is not invoked after an answer to a `wholeRangeOnly` query has left the daily cache
///   locked (see QueryStockPeriod1DInfo()): the worker thread would block, and the exit with it.
///
/// The exit also waits for bus callbacks that are executing and for the threads of deep-data queries, which stop after
/// the request that they are sending. The list of indicator requests that is being sent delays the exit by up to 3
/// seconds; what is left of it then, and every list behind it, is discarded.
class LXQUOTAHANDLER_EXPORT LxQuotaHandler : public QObject
{
    Q_OBJECT

public:
    /// The handler, constructed by the first call.
    static LxQuotaHandler &instance();

    // --- Subscriptions. Records arrive by signal. The handler does not keep track of subscriptions. ---

    /// Subscribes to the quotes of `symbols`, or unsubscribes. The list is not modified.
    virtual void SubscribeQuote(QStringList &symbols, bool subscribe);
    /// Subscribes to the tick-by-tick transactions of `symbols`, or unsubscribes. The list is not modified.
    virtual void SubscribeRecordTransaction(QStringList &symbols, bool subscribe);
    /// Subscribes to the tick-by-tick orders of `symbols`, or unsubscribes. The list is not modified. The bus delivers
    /// the orders, but the handler drops them.
    virtual void SubscribeRecordOrder(QStringList &symbols, bool subscribe);
    /// Subscribes to indicator rankings, or unsubscribes. The platform's business-data interface defines the values of
    /// `kind`. Returns 0, or -3 if there is no bus endpoint.
    int SubscribeRankingData(const QStringList &symbols, int kind, bool subscribe);

    // --- K-lines ---

    /// Requests the bars of `symbol` from `start` to `stop`. Returns the client message id of the request without
    /// waiting for the answer, even if there is no bus endpoint; signalKLineResponse announces the bars.
    virtual QString AsyncRequestKLineData(const QString &symbol, const QDateTime &start, const QDateTime &stop,
                                          EMD_KLINE_PERIOD period, EMD_EXRIGHTS_TYPE exrights);

    // --- Called by the library's bus endpoint on bus threads ---

    /// Passes a published message on to the worker thread.
    virtual void ProcQuotationMsg(QString strSrc, QVariant msgType, QVariant msgData);
    /// Handles the answer to an asynchronous request; emits signalStockDeepDataUpdate on the calling thread.
    void ProcAsyncCallBack(int nId, QString str, QVariant vA, QVariant vB);

    // --- Deep data: share capital and finance figures. signalStockDeepDataUpdate announces what has arrived. ---

    /// Appends to `out` the cached records of `symbols`, in their order, and requests the missing ones, 100 symbols per
    /// request. `flag` has no meaning.
    virtual void QueryStockDeepData(const QStringList &symbols, QList<LxStockDeepData> &out, bool flag);
    /// Requests all of `symbols` from a new thread, 100 symbols per request with pauses of 10 ms. `presenter` is not
    /// used, but if it is null nothing is requested.
    void QueryStockDeepDataFromBackendService(LxPresenterClass *presenter, const QStringList &symbols);
    /// Sends one request for those of `symbols` that contain exactly one dot.
    void QueryStockDeepDataFromBackendServiceImpl(const QStringList &symbols);

    // --- Period information ---

    /// Answers with the daily bars from `start` to `end`, inclusive, by sigOnRspQueryStockPeriod1DInfo.
    ///
    /// The cache covers the days from its first to its last bar of `symbol`. The part of the range that it covers is
    /// announced before the call returns; the days before and after that part are requested. If it covers nothing of
    /// the range, the whole range is requested and nothing is announced. The bars of a request arrive by
    /// signalKLineResponse, and are cached and announced only if a plug-in passes them to
    /// slotProcessPeriod1DKLineDate(). With `wholeRangeOnly` the cache answers only if it
    /// covers the whole range; otherwise the whole range is requested.
    ///
    /// If there is no cached bar of the first day, the answer is empty; if there is none of the last day, the answer
    /// contains everything cached from the first day on.
    ///
    /// \warning An answer to a `wholeRangeOnly` query leaves the daily cache locked forever. Every later call of this
    /// method, and every later daily answer in slotProcessPeriod1DKLineDate(), then blocks.
    void QueryStockPeriod1DInfo(const QString &symbol, const QDate &start, const QDate &end, bool wholeRangeOnly);
    /// Requests the one-minute bars from 00:00 on `start` to 00:00 on `end`. `wholeRangeOnly` has no meaning.
    void QueryStockPeriod1MInfo(const QString &symbol, const QDate &start, const QDate &end, bool wholeRangeOnly);

    // --- Indicators and calendar. These calls may wait for an answer: do not call them on a bus thread. ---

    /// Requests price-earnings data in the background for those of `symbols` that are not cached;
    /// signalStockDeepDataUpdate announces what has arrived. The first call waits for the trade date, which is kept
    /// until the process ends; if it cannot be obtained, nothing is requested and the next call tries again.
    void queryPEData(const QStringList &symbols);
    /// Like queryPEData, for quantity-relative-ratio data.
    void queryQRRData(const QStringList &symbols);
    /// Requests the numbers of consecutive rising days for those of `symbols` that are not cached; signalRiseDayData
    /// announces them. The first call waits for the trade date, as that of queryPEData does.
    void queryRiseDayData(QStringList symbols);
    /// Returns the day that the calendar service answers for `days` trading days from `date` (negative: before it), in
    /// the format of the service. Waits for the answer. Returns an empty string if the date is invalid, on time-out and
    /// on failure.
    QString queryTradeDay(QDate date, int days);

    // --- Snapshots. Nothing is requested: for a symbol without a cached record they return a default record. ---

    /// The last quote of an index as decoded.
    IndexQuotaData GetLastIndexQuotaData(const QString &symbol);
    /// The last quote as decoded.
    StockQuotaData GetLastStockQuotaData(const QString &symbol);
    /// Same as GetLastStockQuotaData.
    StockQuotaData GetLastStockQuotaDataBrief(const QString &symbol);
    /// The last quote with PERatio and, after 09:30 local time, QuantityRelativeRatio.
    StockQuotaData GetLastStockQuotaDataBase(const QString &symbol);
    /// Like GetLastStockQuotaDataBase, with LastTradeLots.
    StockQuotaData GetLastStockQuotaDataTotal(const QString &symbol);

    // The order of signals and slots (their method index) and the names of their parameters are part of the interface.
Q_SIGNALS:
    /// After each stock quote has been cached; signalQuotaUpdate and signalQuoteTickUpdate follow.
    void signalStockQuotaUpdate(const StockQuotaData &data);
    /// After each future quote; signalQuotaUpdate and signalQuoteTickUpdate follow.
    void signalFutureQuotaUpdate(const FutureQuotaData &data);
    /// After each index quote has been cached; signalQuotaUpdate and signalQuoteTickUpdate follow.
    void signalIndexQuotaUpdate(const IndexQuotaData &data);
    /// Never emitted.
    void signalStockOrderRecordUpdate(const StockOrderRecordData &data);
    /// Never emitted; see signalRecordTransactionUpdate.
    void signalStockTransactionRecordUpdate(const StockTransactionRecordData &data);
    /// The bars of each K-line answer, unchanged. A queued receiver must register EMD_KLINE_PERIOD as a meta-type.
    void signalKLineResponse(const QList<QVariantMap> &lstData, EMD_KLINE_PERIOD type);
    /// The second signal of each quote. A queued receiver must register the argument's type.
    void signalQuotaUpdate(BaseQuotaData &record);
    /// PE or QRR data (worker thread) or deep data (bus thread) of these symbols have been cached.
    void signalStockDeepDataUpdate(QStringList strSymbol);
    /// Internal: passes a message from a bus thread to the worker thread. Emitted on the bus thread.
    void sigRecvQuotaData(const QVariant &type, const QVariant &data);
    /// Daily bars of a symbol: after a query, on the caller's thread, those that are cached; after an answer has been
    /// stored, on the thread that stored it, all of the symbol. Emitted while the daily cache is locked. A queued
    /// receiver must register the type of the map.
    void sigOnRspQueryStockPeriod1DInfo(const QString &symbol, const QMap<QDate, StockPeriod1DInfo> &data);
    /// Never emitted.
    void sigOnRspQueryStockPeriod1MInfo(const QString &symbol, const QMap<QDate, QMap<QTime, StockPeriod1DInfo>> &data);
    /// Each indicator ranking, undecoded.
    void signalIndicatorRankingData(const QVariant &data);
    /// Each analysis of rising and falling symbols, undecoded.
    void signalUpDownAnalyzeData(const QVariant &data);
    /// A number of consecutive rising days has been cached.
    void signalRiseDayData(const QString &symbol, const int &day);
    /// The third and last signal of each quote.
    void signalQuoteTickUpdate(const QString &symbol);
    /// After each transaction has been cached.
    void signalRecordTransactionUpdate(const QString &symbol);
    /// Internal: passes work to the indicator worker. Emitted on the caller's thread.
    void sigQueryPEData(const QStringList &symbolList, const QString &tradeDate);
    /// Internal: like sigQueryPEData.
    void sigQueryQRRData(const QStringList &symbolList, const QString &tradeDate);
    /// Never emitted.
    void sigAsyncQryOver();
    /// Internal: starts the initialisation on the worker thread.
    void sigInitQuotaHandlerObject();

public Q_SLOTS:
    /// Internal: joins and deletes a thread of QueryStockDeepDataFromBackendService.
    void slotDeepQuotaQueryThreadFinish(QThread *thread);
    /// Internal: decodes, caches and announces a published message.
    void slotProcessQuotaMsg(const QVariant &type, const QVariant &data);
    /// Stores K-line bars in the period caches. The library does not connect this slot to signalKLineResponse; a
    /// plug-in invokes it by name with the answers whose bars are to be cached.
    void slotProcessPeriod1DKLineDate(const QList<QVariantMap> &lstData, EMD_KLINE_PERIOD type);
    /// Internal: opens the bus endpoint.
    void slotInitQuotaHandlerObj();

protected:
    LxQuotaHandler();
    ~LxQuotaHandler() override;

    /// Subscribes the topics. Called once, by the plug-in object.
    void Init();
    /// Waits until the bus endpoint is open.
    void waitForPresenterClassInit();

    // Decoders; called on the worker thread. `msg` is a message body as delivered by the bus, `out` a
    // default-constructed record. Absent keys read as "" or 0, never as the invalid mark.

    /// Decodes a stock quote.
    void AssembleStockQuotaData(const QVariant &msg, StockQuotaData &out);
    /// Decodes a future quote.
    void AssembleFutureQuotaData(const QVariant &msg, FutureQuotaData &out);
    /// Decodes an index quote.
    void AssembleIndexQuotaData(const QVariant &msg, IndexQuotaData &out);
    /// Decodes a transaction.
    void AssembleStockTransactionRecordData(const QVariant &msg, StockTransactionRecordData &out);
    /// Decodes a price-earnings answer.
    void AssemblePEData(const QVariant &msg, PEData &out);
    /// Decodes a quantity-relative-ratio answer.
    void AssembleQRRData(const QVariant &msg, QRRData &out);
    /// Copies what quotes of all kinds have in common from a stock quote.
    void AssembleBaseQuotaData(const StockQuotaData &src, BaseQuotaData &dst);
    /// Copies what quotes of all kinds have in common from a future quote.
    void AssembleBaseFutureQuotaData(const FutureQuotaData &src, BaseQuotaData &dst);
    /// Copies what quotes of all kinds have in common from an index quote.
    void AssembleBaseIndexQuotaData(const IndexQuotaData &src, BaseQuotaData &dst);

private:
    friend class LxQuotaHandlerObject; // calls Init()
    class Singleton;

    // A one-minute bar and the key that it is stored under.
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
    // Joins the worker thread and the deep-query threads. Called twice at exit, since a bus callback may have started a
    // deep-data query before the bus endpoint was closed.
    void endOwnThreads();

    // Each lock guards the container below it. A thread holds one lock at a time, with one exception: ProcAsyncCallBack
    // locks the stock quotes while it holds the deep data.
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
    QString m_strTradeDate; // guarded by m_tradeDateMutex

    // Each index is guarded by the lock of its cache.
    const std::unique_ptr<LxSymbolIndex<LxStockDeepData>> m_stockDeepDataIndex;
    const std::unique_ptr<LxSymbolIndex<StockQuotaData>> m_stockQuotaIndex;
    QMutex m_tradeDateMutex;
    QMutex m_deepQueryThreadsMutex;
    QList<LxQueryDeepHQThread *> m_deepQueryThreads; // those that have not ended, for the destructor to join
};
