#include "support.h"

#include <QtMath>

namespace {

const QString stockTopic = u"MDMARKETRECORD"_s;
const QString indexTopic = u"MDINDEXRECORD"_s;
const QString futureTopic = u"MDFUTURERECORD"_s;
const QString transactionTopic = u"MDTRANSACTIONRECORD"_s;
const QString kLineTopic = u"KLineResponse"_s;
const QString peTopic = u"MSG_QUERY_P_E_RATIO_RESPONSE"_s;
const QString qrrTopic = u"MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"_s;
const QString riseTopic = u"MSG_QUERY_UP_N_DAY_RESPONSE"_s;

QVariantMap quoteRow(const QString &symbol, double price)
{
    return { { u"Symbol"_s, symbol },       { u"LastPx"_s, price },  { u"PreClosePx"_s, 10.0 },
             { u"HighPx"_s, price },        { u"LowPx"_s, price },   { u"TotalVolumeTrade"_s, 100.0 },
             { u"TotalValueTrade"_s, 1.0 }, { u"Buy1Price"_s, 9.0 }, { u"Sell1Price"_s, 11.0 } };
}

} // namespace

class tst_dispatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup()
    {
        onIndicatorWorker([] {});
    } // so that its log lines stay with their test

    void busCallbackOnlyEmitsTheHandOver();
    void messagesAreProcessedOnTheWorkerInOrder();
    void stockQuoteIsCachedAndAnnounced();
    void futureQuoteIsAnnouncedButNotCached();
    void indexQuoteIsCachedAndAnnounced();
    void quoteSignalsComeInOrder_data();
    void quoteSignalsComeInOrder();
    void quoteIsCachedBeforeItIsAnnounced();
    void locksAreReleasedBeforeSignals_data();
    void locksAreReleasedBeforeSignals();
    void newStockHasNoTradeLots();
    void tradeLotsOfTheCacheSurviveTheNextQuote();
    void quoteWithoutSymbolIsStoredAndAnnounced();
    void haltedQuoteReplacesTheLastOne();
    void transactionAnnouncesItsSymbolOnly();
    void laterTransactionOverwritesEveryField();
    void kLineAnswerPassesItsRowsOn();
    void kLineAnswerWithoutPeriodHasPeriodZero();
    void emptyKLineAnswerIsDropped_data();
    void emptyKLineAnswerIsDropped();
    void rankingAndAnalysisArePassedOnUndecoded_data();
    void rankingAndAnalysisArePassedOnUndecoded();
    void indicatorAnswerIsStoredAndAnnounced_data();
    void indicatorAnswerIsStoredAndAnnounced();
    void indicatorAnswerIsLogged_data();
    void indicatorAnswerIsLogged();
    void indicatorAnswerWithoutSymbolIsDropped_data();
    void indicatorAnswerWithoutSymbolIsDropped();
    void riseDayAnswerStoresTheSecondRow();
    void riseDayAnswerOfOneRowIsDropped();
    void riseDayAnswerWithoutSymbolIsAnnounced();
    void otherTopicsAreDropped_data();
    void otherTopicsAreDropped();
    void messageTypeMayBeAnythingThatReadsAsItsName();
};

void tst_dispatch::initTestCase()
{
    startHandler();
    serveTradeDate(u"20230131"_s);
}

void tst_dispatch::busCallbackOnlyEmitsTheHandOver()
{
    // Although the worker is blocked, the call on the bus's thread returns, and nothing is cached yet.
    QSemaphore held;
    QSemaphore release;
    QMetaObject::invokeMethod(&handler(), [&] {
        held.release();
        release.acquire();
    });
    held.acquire();
    Emissions<QVariant, QVariant> received(&LxQuotaHandler::sigRecvQuotaData);
    QString thread;
    QMetaObject::Connection connection = QObject::connect(
        &handler(), &LxQuotaHandler::sigRecvQuotaData, [&thread] { thread = QThread::currentThread()->objectName(); });
    const QVariant body = LxDouble::packRows({ quoteRow(u"620000.SH"_s, 12.0) });
    LxDouble::publish(stockTopic, body);
    LxDouble::waitForBus();
    QObject::disconnect(connection);
    QCOMPARE(received.count(), 1);
    QCOMPARE(received.last<0>(), QVariant(stockTopic));
    QCOMPARE(LxDouble::bodyOf(received.last<1>()).rows, LxDouble::bodyOf(body).rows);
    QCOMPARE(thread, LxDouble::busThreadName());
    QVERIFY(handler().GetLastStockQuotaData(u"620000.SH"_s).Symbol.isEmpty());
    release.release();
    settle();
    QCOMPARE(handler().GetLastStockQuotaData(u"620000.SH"_s).LastPx, 12.0);
}

void tst_dispatch::messagesAreProcessedOnTheWorkerInOrder()
{
    Emissions<StockQuotaData> quotes(&LxQuotaHandler::signalStockQuotaUpdate);
    SignalLog log;
    for (int i = 0; i < 200; ++i)
        LxDouble::publish(stockTopic, LxDouble::packRows({ quoteRow(u"620001.SH"_s, i) }));
    settle();
    const auto all = quotes.all();
    QCOMPARE(all.size(), 200);
    for (int i = 0; i < 200; ++i)
        QCOMPARE(std::get<0>(all.at(i)).LastPx, double(i));
    QStringList threads = log.threads();
    threads.removeDuplicates();
    QCOMPARE(threads, QStringList { u"LxQuotaHandler_Thread"_s });
    QCOMPARE(handler().GetLastStockQuotaData(u"620001.SH"_s).LastPx, 199.0);
}

void tst_dispatch::stockQuoteIsCachedAndAnnounced()
{
    Emissions<StockQuotaData> quotes(&LxQuotaHandler::signalStockQuotaUpdate);
    Emissions<BaseQuotaData> condensed(&LxQuotaHandler::signalQuotaUpdate);
    Emissions<QString> ticks(&LxQuotaHandler::signalQuoteTickUpdate);
    publish(stockTopic, quoteRow(u"620002.SH"_s, 12.0));
    QCOMPARE(quotes.count(), 1);
    QCOMPARE(quotes.last().Symbol, u"620002.SH"_s);
    QCOMPARE(quotes.last().ChangeRatio, 20.0);
    QCOMPARE(condensed.count(), 1);
    QCOMPARE(condensed.last().RecordKind, 1);
    QCOMPARE(condensed.last().Symbol, u"620002.SH"_s);
    QCOMPARE(condensed.last().Buy1Price, 9.0);
    QCOMPARE(condensed.last().NumTrades, 0.0);
    QCOMPARE(ticks.count(), 1);
    QCOMPARE(ticks.last(), u"620002.SH"_s);
    QCOMPARE(handler().GetLastStockQuotaData(u"620002.SH"_s).ChangeRatio, 20.0);
}

void tst_dispatch::futureQuoteIsAnnouncedButNotCached()
{
    Emissions<FutureQuotaData> quotes(&LxQuotaHandler::signalFutureQuotaUpdate);
    Emissions<BaseQuotaData> condensed(&LxQuotaHandler::signalQuotaUpdate);
    Emissions<QString> ticks(&LxQuotaHandler::signalQuoteTickUpdate);
    publish(futureTopic, quoteRow(u"ag2107.SHF"_s, 11.0));
    QCOMPARE(quotes.count(), 1);
    QCOMPARE(quotes.last().Symbol, u"ag2107.SHF"_s);
    QCOMPARE(quotes.last().ChangeRatio, 10.0);
    QCOMPARE(condensed.last().RecordKind, 3);
    QCOMPARE(condensed.last().Sell1Price, 11.0);
    QCOMPARE(ticks.last(), u"ag2107.SHF"_s);
    QVERIFY(handler().GetLastStockQuotaData(u"ag2107.SHF"_s).Symbol.isEmpty());
    QVERIFY(handler().GetLastStockQuotaDataBrief(u"ag2107.SHF"_s).Symbol.isEmpty());
    QVERIFY(handler().GetLastStockQuotaDataBase(u"ag2107.SHF"_s).Symbol.isEmpty());
    QVERIFY(handler().GetLastStockQuotaDataTotal(u"ag2107.SHF"_s).Symbol.isEmpty());
    QVERIFY(handler().GetLastIndexQuotaData(u"ag2107.SHF"_s).Symbol.isEmpty());
}

void tst_dispatch::indexQuoteIsCachedAndAnnounced()
{
    Emissions<IndexQuotaData> quotes(&LxQuotaHandler::signalIndexQuotaUpdate);
    Emissions<BaseQuotaData> condensed(&LxQuotaHandler::signalQuotaUpdate);
    Emissions<QString> ticks(&LxQuotaHandler::signalQuoteTickUpdate);
    publish(indexTopic, quoteRow(u"000300.SH"_s, 10.5));
    publish(indexTopic, quoteRow(u"000300.SH"_s, 11.0));
    QCOMPARE(quotes.count(), 2);
    QCOMPARE(quotes.last().ChangeRatio, 10.0);
    QCOMPARE(condensed.last().RecordKind, 2);
    QCOMPARE(condensed.last().LastPx, 11.0);
    QCOMPARE(ticks.last(), u"000300.SH"_s);
    QCOMPARE(handler().GetLastIndexQuotaData(u"000300.SH"_s).LastPx, 11.0);
    QVERIFY(handler().GetLastStockQuotaData(u"000300.SH"_s).Symbol.isEmpty());
}

void tst_dispatch::quoteSignalsComeInOrder_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<QString>("first");
    QTest::newRow("stock") << stockTopic << u"signalStockQuotaUpdate"_s;
    QTest::newRow("index") << indexTopic << u"signalIndexQuotaUpdate"_s;
    QTest::newRow("future") << futureTopic << u"signalFutureQuotaUpdate"_s;
}

void tst_dispatch::quoteSignalsComeInOrder()
{
    QFETCH(QString, topic);
    QFETCH(QString, first);
    SignalLog log;
    publish(topic, quoteRow(u"620003.SH"_s, 12.0));
    QCOMPARE(log.names(), (QStringList { first, u"signalQuotaUpdate"_s, u"signalQuoteTickUpdate"_s }));
}

void tst_dispatch::quoteIsCachedBeforeItIsAnnounced()
{
    double cached = 0.0;
    const auto connection =
        QObject::connect(&handler(), &LxQuotaHandler::signalStockQuotaUpdate, [&cached](const StockQuotaData &quote) {
            cached = handler().GetLastStockQuotaData(quote.Symbol).LastPx;
        });
    publish(stockTopic, quoteRow(u"620004.SH"_s, 12.0));
    QObject::disconnect(connection);
    QCOMPARE(cached, 12.0);
}

void tst_dispatch::locksAreReleasedBeforeSignals_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<int>("row");
    QTest::newRow("stock") << stockTopic << 0;
    QTest::newRow("index") << indexTopic << 0;
    QTest::newRow("transaction") << transactionTopic << 0;
    QTest::newRow("PE") << peTopic << 1;
    QTest::newRow("QRR") << qrrTopic << 1;
    QTest::newRow("rising days") << riseTopic << 1;
}

void tst_dispatch::locksAreReleasedBeforeSignals()
{
    QFETCH(QString, topic);
    QFETCH(int, row);
    publish(stockTopic, quoteRow(u"620005.SH"_s, 12.0));
    // The locks are recursive, so it takes another thread to find one that is still held.
    bool allFree = true;
    int calls = 0;
    const auto readEverything = [&] {
        ++calls;
        allFree &= returnsOnAnotherThread([] {
            handler().GetLastIndexQuotaData(u"620005.SH"_s);
            handler().GetLastStockQuotaDataTotal(u"620005.SH"_s);
            handler().queryPEData({ u"620005.SH"_s });
            handler().queryQRRData({ u"620005.SH"_s });
            handler().queryRiseDayData({ u"620005.SH"_s });
            knownDeepData(u"620005.SH"_s);
        });
    };
    const QMetaObject::Connection connections[] {
        QObject::connect(&handler(), &LxQuotaHandler::signalStockQuotaUpdate, readEverything),
        QObject::connect(&handler(), &LxQuotaHandler::signalIndexQuotaUpdate, readEverything),
        QObject::connect(&handler(), &LxQuotaHandler::signalRecordTransactionUpdate, readEverything),
        QObject::connect(&handler(), &LxQuotaHandler::signalStockDeepDataUpdate, readEverything),
        QObject::connect(&handler(), &LxQuotaHandler::signalRiseDayData, readEverything),
    };
    QVector<QVariantMap> rows(row);
    rows.append(quoteRow(u"620005.SH"_s, 12.0));
    publish(topic, LxDouble::packRows(rows));
    for (const QMetaObject::Connection &connection : connections)
        QObject::disconnect(connection);
    QCOMPARE(calls, 1);
    QVERIFY(allFree);
}

void tst_dispatch::newStockHasNoTradeLots()
{
    Emissions<StockQuotaData> quotes(&LxQuotaHandler::signalStockQuotaUpdate);
    publish(stockTopic, quoteRow(u"620006.SH"_s, 12.0));
    QCOMPARE(quotes.last().LastTradeLots, Invalid);
    QCOMPARE(handler().GetLastStockQuotaData(u"620006.SH"_s).LastTradeLots, Invalid);
}

void tst_dispatch::tradeLotsOfTheCacheSurviveTheNextQuote()
{
    // The snapshot stores the lots in its copy only; the cached record and the next quote keep their value.
    publish(stockTopic, quoteRow(u"620007.SH"_s, 12.0));
    publish(transactionTopic, QVariantMap { { u"Symbol"_s, u"620007.SH"_s }, { u"TradeQty"_s, 300 } });
    QCOMPARE(handler().GetLastStockQuotaDataTotal(u"620007.SH"_s).LastTradeLots, 3.0);
    QVariantMap row = quoteRow(u"620007.SH"_s, 13.0);
    row.insert(u"LastTradeLots"_s, 99.0);
    Emissions<StockQuotaData> quotes(&LxQuotaHandler::signalStockQuotaUpdate);
    publish(stockTopic, row);
    QCOMPARE(quotes.last().LastPx, 13.0);
    QCOMPARE(quotes.last().LastTradeLots, Invalid);
    QCOMPARE(handler().GetLastStockQuotaData(u"620007.SH"_s).LastTradeLots, Invalid);
}

void tst_dispatch::quoteWithoutSymbolIsStoredAndAnnounced()
{
    Emissions<QString> ticks(&LxQuotaHandler::signalQuoteTickUpdate);
    publish(stockTopic, QVariantMap { { u"LastPx"_s, 3.0 } });
    QCOMPARE(ticks.count(), 1);
    QVERIFY(ticks.last().isEmpty());
    QCOMPARE(handler().GetLastStockQuotaData(QString()).LastPx, 3.0);
}

void tst_dispatch::haltedQuoteReplacesTheLastOne()
{
    publish(stockTopic, quoteRow(u"620008.SH"_s, 12.0));
    QVariantMap halted = quoteRow(u"620008.SH"_s, 12.0);
    halted.insert(u"TradingPhaseCode"_s, u"8"_s);
    publish(stockTopic, halted);
    const StockQuotaData quote = handler().GetLastStockQuotaData(u"620008.SH"_s);
    QCOMPARE(quote.TradingPhaseCode, u"8"_s);
    QCOMPARE(quote.LastPx, Invalid);
    QCOMPARE(quote.BuyPrice[0], Invalid);
}

void tst_dispatch::transactionAnnouncesItsSymbolOnly()
{
    SignalLog log;
    Emissions<QString> symbols(&LxQuotaHandler::signalRecordTransactionUpdate);
    publish(transactionTopic, QVariantMap { { u"Symbol"_s, u"620009.SH"_s }, { u"TradeQty"_s, 300 } });
    QCOMPARE(log.names(), QStringList { u"signalRecordTransactionUpdate"_s });
    QCOMPARE(symbols.last(), u"620009.SH"_s);
}

void tst_dispatch::laterTransactionOverwritesEveryField()
{
    publish(stockTopic, quoteRow(u"620010.SH"_s, 12.0));
    publish(transactionTopic, QVariantMap { { u"Symbol"_s, u"620010.SH"_s }, { u"TradeQty"_s, 300 } });
    publish(transactionTopic, QVariantMap { { u"Symbol"_s, u"620010.SH"_s } });
    QCOMPARE(handler().GetLastStockQuotaDataTotal(u"620010.SH"_s).LastTradeLots, 0.0);
}

void tst_dispatch::kLineAnswerPassesItsRowsOn()
{
    const QVariantMap first { { u"PeriodType"_s, 2 }, { u"Symbol"_s, u"B.SH"_s }, { u"Any"_s, 1.5 } };
    const QVariantMap second { { u"PeriodType"_s, 1 }, { u"Symbol"_s, u"A.SH"_s } };
    SignalLog log;
    Emissions<QList<QVariantMap>, EMD_KLINE_PERIOD> answers(&LxQuotaHandler::signalKLineResponse);
    publish(kLineTopic, QVariant(QVariantList { first, second }));
    QCOMPARE(log.names(), QStringList { u"signalKLineResponse"_s });
    QCOMPARE(answers.last<0>(), (QList<QVariantMap> { first, second }));
    QCOMPARE(static_cast<int>(answers.last<1>()), 2);
    publish(kLineTopic, QVariant(QVariantList { QVariantMap { { u"PeriodType"_s, 77 } } }));
    QCOMPARE(static_cast<int>(answers.last<1>()), 77);
}

void tst_dispatch::kLineAnswerWithoutPeriodHasPeriodZero()
{
    Emissions<QList<QVariantMap>, EMD_KLINE_PERIOD> answers(&LxQuotaHandler::signalKLineResponse);
    publish(
        kLineTopic,
        QVariant(QVariantList { QVariantMap { { u"Symbol"_s, u"A.SH"_s } }, QVariantMap { { u"PeriodType"_s, 2 } } }));
    QCOMPARE(answers.count(), 1);
    QCOMPARE(static_cast<int>(answers.last<1>()), 0);
    QCOMPARE(answers.last<0>().size(), 2);
}

void tst_dispatch::emptyKLineAnswerIsDropped_data()
{
    QTest::addColumn<QVariant>("data");
    QTest::newRow("empty list") << QVariant(QVariantList());
    QTest::newRow("no value") << QVariant();
    QTest::newRow("a packed body") << LxDouble::packRows({ { { u"PeriodType"_s, 2 } } });
    QTest::newRow("a number") << QVariant(5);
}

void tst_dispatch::emptyKLineAnswerIsDropped()
{
    QFETCH(QVariant, data);
    SignalLog log;
    LogCapture lines;
    publish(kLineTopic, data);
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
}

void tst_dispatch::rankingAndAnalysisArePassedOnUndecoded_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<QString>("signal");
    QTest::newRow("ranking") << u"ADINDICATORSRANKINGRECORD"_s << u"signalIndicatorRankingData"_s;
    QTest::newRow("analysis") << u"ADUPSDOWNSANALYSISRECORD"_s << u"signalUpDownAnalyzeData"_s;
}

void tst_dispatch::rankingAndAnalysisArePassedOnUndecoded()
{
    QFETCH(QString, topic);
    QFETCH(QString, signal);
    SignalLog log;
    Emissions<QVariant> rankings(&LxQuotaHandler::signalIndicatorRankingData);
    Emissions<QVariant> analyses(&LxQuotaHandler::signalUpDownAnalyzeData);
    const QVariant data(QVariantList { 1, u"zwei"_s, QVariant() });
    publish(topic, data);
    QCOMPARE(log.names(), QStringList { signal });
    QCOMPARE(rankings.count() ? rankings.last() : analyses.last(), data);
}

void tst_dispatch::indicatorAnswerIsStoredAndAnnounced_data()
{
    QTest::addColumn<QString>("topic");
    QTest::newRow("PE") << peTopic;
    QTest::newRow("QRR") << qrrTopic;
}

void tst_dispatch::indicatorAnswerIsStoredAndAnnounced()
{
    QFETCH(QString, topic);
    const bool isPE = topic == peTopic;
    const auto ask = [isPE] {
        return isPE ? handler().queryPEData({ u"620011.SH"_s }) : handler().queryQRRData({ u"620011.SH"_s });
    };
    SignalLog before;
    ask();
    QCOMPARE(before.names().size(), 1); // not stored yet: it is asked for
    SignalLog log;
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    publishAnswer(topic, { { u"Symbol"_s, u"620011.SH"_s } });
    QCOMPARE(log.names(), QStringList { u"signalStockDeepDataUpdate"_s });
    QCOMPARE(symbols.last(), QStringList { u"620011.SH"_s });
    ask();
    QCOMPARE(log.names().size(), 1); // stored: it is not asked for again
}

void tst_dispatch::indicatorAnswerIsLogged_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<int>("line");
    QTest::newRow("PE") << peTopic << 1251;
    QTest::newRow("QRR") << qrrTopic << 1267;
}

void tst_dispatch::indicatorAnswerIsLogged()
{
    QFETCH(QString, topic);
    QFETCH(int, line);
    LogCapture log;
    publish(topic, QVariant(u"the data"_s)); // emitted even if the answer is then dropped
    const QVector<LogLine> lines = log.lines();
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.at(0).type, QtDebugMsg);
    QCOMPARE(lines.at(0).text, topic + u" QVariant(QString, \"the data\")"_s);
    QCOMPARE(lines.at(0).file, u"lxquotahandler"_s);
    QCOMPARE(lines.at(0).line, line);
    QVERIFY2(lines.at(0).function.contains(u"LxQuotaHandler::slotProcessQuotaMsg(const QVariant&, const QVariant&)"_s),
             qPrintable(lines.at(0).function));
}

void tst_dispatch::indicatorAnswerWithoutSymbolIsDropped_data()
{
    indicatorAnswerIsStoredAndAnnounced_data();
}

void tst_dispatch::indicatorAnswerWithoutSymbolIsDropped()
{
    QFETCH(QString, topic);
    SignalLog log;
    publishAnswer(topic, { { u"Symbol"_s, QString() }, { u"eps"_s, 1.0 } });
    publish(topic, QVariantMap { { u"Symbol"_s, u"620012.SH"_s } }); // a head row only
    QCOMPARE(log.names(), QStringList());
}

void tst_dispatch::riseDayAnswerStoresTheSecondRow()
{
    SignalLog log;
    Emissions<QString, int> days(&LxQuotaHandler::signalRiseDayData);
    publish(riseTopic,
            LxDouble::packRows({ { { u"Symbol"_s, u"620013.SH"_s }, { u"days"_s, 1 } },
                                 { { u"Symbol"_s, u"620014.SH"_s }, { u"days"_s, u"-4"_s } },
                                 { { u"Symbol"_s, u"620015.SH"_s }, { u"days"_s, 9 } } }));
    QCOMPARE(log.names(), QStringList { u"signalRiseDayData"_s });
    QCOMPARE(days.last<0>(), u"620014.SH"_s);
    QCOMPARE(days.last<1>(), -4);
    LxDouble::forgetSent();
    handler().queryRiseDayData({ u"620013.SH"_s, u"620014.SH"_s, u"620015.SH"_s });
    const auto asked = LxDouble::sent(u"MSG_QUERY_UP_N_DAY_REQUEST"_s);
    QCOMPARE(asked.size(), 2);
    QCOMPARE(asked.at(0).body.row(0).value(u"Symbol"_s).toString(), u"620013.SH"_s);
    QCOMPARE(asked.at(1).body.row(0).value(u"Symbol"_s).toString(), u"620015.SH"_s);
}

void tst_dispatch::riseDayAnswerOfOneRowIsDropped()
{
    SignalLog log;
    LogCapture lines;
    publish(riseTopic, QVariantMap { { u"Symbol"_s, u"620016.SH"_s }, { u"days"_s, 1 } });
    publish(riseTopic, QVariant());
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
}

void tst_dispatch::riseDayAnswerWithoutSymbolIsAnnounced()
{
    Emissions<QString, int> days(&LxQuotaHandler::signalRiseDayData);
    publishAnswer(riseTopic, {});
    QCOMPARE(days.count(), 1);
    QVERIFY(days.last<0>().isEmpty());
    QCOMPARE(days.last<1>(), 0);
}

void tst_dispatch::otherTopicsAreDropped_data()
{
    QTest::addColumn<QString>("topic");
    for (const char *topic : { "MDORDERRECORD", "MDOPTIONRECORD", "TickResponse", "TickFutureResponse", "181028" })
        QTest::newRow(topic) << QString::fromLatin1(topic); // subscribed
    for (const char *topic : { "mdmarketrecord", "Mdindexrecord", "klineresponse", "MDMARKETRECORD ", "MDMARKET",
                               "msg_query_p_e_ratio_response" })
        QTest::newRow(topic) << QString::fromLatin1(topic);
    QTest::newRow("empty") << QString();
}

void tst_dispatch::otherTopicsAreDropped()
{
    QFETCH(QString, topic);
    SignalLog log;
    LogCapture lines;
    publish(topic, quoteRow(u"620017.SH"_s, 12.0));
    onWorker([&] { handler().slotProcessQuotaMsg(topic, LxDouble::packRows({ {}, quoteRow(u"620017.SH"_s, 12.0) })); });
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
    QVERIFY(handler().GetLastStockQuotaData(u"620017.SH"_s).Symbol.isEmpty());
}

void tst_dispatch::messageTypeMayBeAnythingThatReadsAsItsName()
{
    Emissions<QString> ticks(&LxQuotaHandler::signalQuoteTickUpdate);
    onWorker([] {
        handler().slotProcessQuotaMsg(QByteArrayLiteral("MDMARKETRECORD"),
                                      LxDouble::packRows({ quoteRow(u"620018.SH"_s, 12.0) }));
    });
    QCOMPARE(ticks.count(), 1);
}

QTEST_GUILESS_MAIN(tst_dispatch)
#include "tst_dispatch.moc"
