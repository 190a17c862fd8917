#include "support.h"

#include "lxasyncindicatorqryobj_p.h"
#include "lxquotahandlerobject_p.h"

#include <lxdefine/lxfields.h>
#include <summitdefines/summitfields.h>

using namespace Summit_Fields;

namespace {

const QString peRequest = u"MSG_QUERY_P_E_RATIO_REQUEST"_s;
const QString qrrRequest = u"MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST"_s;
const QString riseRequest = u"MSG_QUERY_UP_N_DAY_REQUEST"_s;
const QString tradeDayRequest = u"181063"_s;
const QString knownDate = u"20230131"_s;

QStringList symbolsFrom(int first, int count)
{
    QStringList symbols;
    for (int i = 0; i < count; ++i)
        symbols.append(u"%1.SH"_s.arg(first + i));
    return symbols;
}

QStringList symbolsSent(const QString &type)
{
    QStringList symbols;
    for (const LxDouble::Sent &sent : LxDouble::sent(type))
        symbols.append(sent.body.row(0).value(u"Symbol"_s).toString());
    return symbols;
}

QVariant tradeDayAnswer(const QVariant &status, const QVariant &date)
{
    return LxDouble::packRows({ { { Orca_Fields::System::requestExeStatus, status } },
                                { { QuantizationInformationMsgCode::TradeDate, date } } });
}

void query(const QString &request, const QStringList &symbols)
{
    if (request == peRequest)
        handler().queryPEData(symbols);
    else if (request == qrrRequest)
        handler().queryQRRData(symbols);
    else
        handler().queryRiseDayData(symbols);
}

void publishIndicator(const QString &request, const QString &symbol)
{
    QString topic = request;
    publishAnswer(topic.replace(u"REQUEST"_s, u"RESPONSE"_s), { { u"Symbol"_s, symbol } });
}

} // namespace

// The trade date is fetched once per process: the tests up to allCachedStillFetchesTheTradeDate() run without a trade
// date, those after it with the date fetched there.
class tst_indicators : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QThread::currentThread()->setObjectName(u"main"_s);
        startHandler();
    }
    void init()
    {
        onIndicatorWorker([] {}); // the last test's burst, and the line that ends it
        LxDouble::forgetSent();
    }

    void tradeDayRequestCarriesItsFieldsInOrder();
    void tradeDayIsTrimmedAndLogged();
    void tradeDayOfAnInvalidDateIsEmpty();
    void tradeDayResults_data();
    void tradeDayResults();
    void tradeDayStatusIsComparedAsAVariant_data();
    void tradeDayStatusIsComparedAsAVariant();
    void tradeDayAnswerWithoutDataIsEmpty();
    void tradeDayWithoutPresenterIsEmpty();

    void emptyListSendsNothing_data();
    void emptyListSendsNothing();
    void withoutTradeDateNothingIsSentAndTheNextCallTriesAgain_data() { emptyListSendsNothing_data(); }
    void withoutTradeDateNothingIsSentAndTheNextCallTriesAgain();
    void allCachedStillFetchesTheTradeDate();
    void tradeDateIsNeverRefreshed_data() { emptyListSendsNothing_data(); }
    void tradeDateIsNeverRefreshed();

    void requestCarriesItsFieldsInOrder_data() { emptyListSendsNothing_data(); }
    void requestCarriesItsFieldsInOrder();
    void knownSymbolsAreNotAskedForAgain_data() { emptyListSendsNothing_data(); }
    void knownSymbolsAreNotAskedForAgain();
    void allKnownSymbolsSendNothing_data() { emptyListSendsNothing_data(); }
    void allKnownSymbolsSendNothing();
    void duplicatesAndOrderStay_data() { emptyListSendsNothing_data(); }
    void duplicatesAndOrderStay();
    void queriesSignalTheirSymbolsAndDate_data();
    void queriesSignalTheirSymbolsAndDate();
    void riseDayQueryIsLoggedForEachSymbol();
    void indicatorQueriesAreLoggedAtTheirEnd_data();
    void indicatorQueriesAreLoggedAtTheirEnd();
    void fortyFiveMessagesPauseTwice();
    void fortyMessagesPauseAfterTheLast();
    void batchesDoNotInterleave();
    void workerSendsNothingWithoutListOrDate_data();
    void workerSendsNothingWithoutListOrDate();
    void withoutPresenterRequestsAreLost();
};

void tst_indicators::tradeDayRequestCarriesItsFieldsInOrder()
{
    LxDouble::setSyncAnswer(tradeDayRequest, 0, tradeDayAnswer(u"0"_s, u"20230203"_s));
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), 2), u"20230203"_s);
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.at(0).call, LxDouble::Sent::SyncRequest);
    QCOMPARE(sent.at(0).type, tradeDayRequest);
    QCOMPARE(sent.at(0).thread, u"main"_s);
    QCOMPARE(sent.at(0).sourceId, LxDouble::presenters().constFirst().pid);
    QCOMPARE(sent.at(0).body.rows.size(), 1);
    QCOMPARE(sent.at(0).body.keys.at(0),
             (QStringList { QuantizationInformationMsgCode::InitStartDate, QuantizationInformationMsgCode::Days,
                            Orca_Fields::System::msgType }));
    const QVariantMap row = sent.at(0).body.row(0);
    QCOMPARE(row.value(QuantizationInformationMsgCode::InitStartDate), QVariant(u"20230201"_s));
    QCOMPARE(row.value(QuantizationInformationMsgCode::Days).userType(), int(QMetaType::Int));
    QCOMPARE(row.value(QuantizationInformationMsgCode::Days).toInt(), 2);
    QCOMPARE(row.value(Orca_Fields::System::msgType), QVariant(tradeDayRequest));
    QCOMPARE(LxDouble::liveMessages(), 0);
}

void tst_indicators::tradeDayIsTrimmedAndLogged()
{
    LxDouble::setSyncAnswer(tradeDayRequest, 0, tradeDayAnswer(u"0"_s, u" \t2023-02-03 \n"_s));
    LogCapture log;
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), 2), u"2023-02-03"_s);
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().at(0).text, u"查询交易日  成功 \"2023-02-03\""_s);
    QCOMPARE(log.lines().at(0).type, QtDebugMsg);
    QCOMPARE(log.lines().at(0).file, u"lxquotahandler"_s);
    QCOMPARE(log.lines().at(0).line, 774);
    QVERIFY(log.lines().at(0).function.contains(u"LxQuotaHandler::queryTradeDay(QDate, int)"_s));
}

void tst_indicators::tradeDayOfAnInvalidDateIsEmpty()
{
    LogCapture log;
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 30), 2), QString());
    QVERIFY(LxDouble::sent().isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_indicators::tradeDayResults_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::newRow("time-out") << 1 << u"查询交易日 超时"_s << 761;
    QTest::newRow("no service") << -1 << u"查询交易日 消息体空"_s << 764;
    QTest::newRow("no presenter's number") << -3 << u"查询交易日 消息体空"_s << 764;
    QTest::newRow("anything greater") << 2 << QString() << 0;
}

void tst_indicators::tradeDayResults()
{
    QFETCH(int, result);
    QFETCH(QString, text);
    QFETCH(int, line);
    LxDouble::setSyncAnswer(tradeDayRequest, result, tradeDayAnswer(u"0"_s, knownDate));
    LogCapture log;
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), -1), QString());
    QCOMPARE(log.lines().size(), text.isEmpty() ? 0 : 1);
    if (!text.isEmpty()) {
        QCOMPARE(log.lines().at(0).text, text);
        QCOMPARE(log.lines().at(0).type, QtDebugMsg);
        QCOMPARE(log.lines().at(0).line, line);
        QCOMPARE(log.lines().at(0).file, u"lxquotahandler"_s);
        QVERIFY(log.lines().at(0).function.contains(u"queryTradeDay"_s));
    }
}

void tst_indicators::tradeDayStatusIsComparedAsAVariant_data()
{
    QTest::addColumn<QVariant>("status");
    QTest::addColumn<bool>("success");
    QTest::newRow("string 0") << QVariant(u"0"_s) << true;
    QTest::newRow("number 0") << QVariant(0) << true;
    QTest::newRow("string 1") << QVariant(u"1"_s) << false;
    QTest::newRow("number 1") << QVariant(1) << false;
    QTest::newRow("string 00") << QVariant(u"00"_s) << false;
    QTest::newRow("empty") << QVariant(QString()) << false;
}

void tst_indicators::tradeDayStatusIsComparedAsAVariant()
{
    QFETCH(QVariant, status);
    QFETCH(bool, success);
    LxDouble::setSyncAnswer(tradeDayRequest, 0, tradeDayAnswer(status, knownDate));
    LogCapture log;
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), -1), success ? knownDate : QString());
    QCOMPARE(log.lines().size(), success ? 1 : 0);
}

void tst_indicators::tradeDayAnswerWithoutDataIsEmpty()
{
    LogCapture log;
    LxDouble::setSyncAnswer(tradeDayRequest, 0, QVariant());
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), -1), QString());
    QVERIFY(log.lines().isEmpty()); // an answer without a status is not a success
    LxDouble::setSyncAnswer(tradeDayRequest, 0,
                            LxDouble::packRows({ { { Orca_Fields::System::requestExeStatus, u"0"_s },
                                                   { QuantizationInformationMsgCode::TradeDate, knownDate } } }));
    QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), -1), QString());
}

void tst_indicators::tradeDayWithoutPresenterIsEmpty()
{
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    {
        LogCapture log;
        QCOMPARE(handler().queryTradeDay(QDate(2023, 2, 1), -1), QString());
        QCOMPARE(log.lines().size(), 1);
        QCOMPARE(log.lines().at(0).text, u"查询交易日 消息体空"_s);
    }
    LxPresenterClassMgr::instance()->setPresenterClass(presenter);
    QVERIFY(LxDouble::sent().isEmpty());
    LxDouble::deleteLiveMessages();
}

void tst_indicators::emptyListSendsNothing_data()
{
    QTest::addColumn<QString>("request");
    QTest::newRow("PE") << peRequest;
    QTest::newRow("QRR") << qrrRequest;
    QTest::newRow("rising days") << riseRequest;
}

void tst_indicators::emptyListSendsNothing()
{
    QFETCH(QString, request);
    SignalLog log;
    LogCapture lines;
    query(request, {});
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
}

void tst_indicators::withoutTradeDateNothingIsSentAndTheNextCallTriesAgain()
{
    QFETCH(QString, request);
    LxDouble::setSyncAnswer(tradeDayRequest, 1);
    SignalLog log;
    const QDate before = QDate::currentDate();
    query(request, { u"660000.SH"_s });
    const QDate after = QDate::currentDate();
    query(request, { u"660000.SH"_s });
    QCOMPARE(log.names(), QStringList());
    QCOMPARE(LxDouble::sent().size(), 2);
    QCOMPARE(LxDouble::sent(tradeDayRequest).size(), 2);
    // One trading day back from today.
    const QVariantMap row = LxDouble::sent().at(0).body.row(0);
    const QString from = row.value(QuantizationInformationMsgCode::InitStartDate).toString();
    QVERIFY(from == before.toString(u"yyyyMMdd"_s) || from == after.toString(u"yyyyMMdd"_s));
    QCOMPARE(row.value(QuantizationInformationMsgCode::Days).toInt(), -1);
}

void tst_indicators::allCachedStillFetchesTheTradeDate()
{
    publishIndicator(peRequest, u"660001.SH"_s);
    serveTradeDate(knownDate);
    SignalLog log;
    handler().queryPEData({ u"660001.SH"_s });
    QCOMPARE(LxDouble::sent().size(), 1);
    QCOMPARE(LxDouble::sent(tradeDayRequest).size(), 1);
    QCOMPARE(log.names(), QStringList());
}

void tst_indicators::tradeDateIsNeverRefreshed()
{
    QFETCH(QString, request);
    serveTradeDate(u"20991231"_s);
    query(request, { u"660002.SH"_s });
    QVERIFY(LxDouble::waitForSent(request, 1));
    QVERIFY(LxDouble::sent(tradeDayRequest).isEmpty());
    QCOMPARE(LxDouble::sent(request).at(0).body.row(0).value(u"MDDate"_s).toString(), knownDate);
}

void tst_indicators::requestCarriesItsFieldsInOrder()
{
    QFETCH(QString, request);
    query(request, { u"any text"_s, u"660003.SH"_s });
    QVERIFY(LxDouble::waitForSent(request, 2));
    for (int i = 0; i < 2; ++i) {
        const LxDouble::Sent sent = LxDouble::sent(request).at(i);
        QCOMPARE(sent.call, LxDouble::Sent::Put);
        QCOMPARE(sent.pid, LxDouble::presenters().constFirst().pid);
        QCOMPARE(sent.sourceId, LxDouble::presenters().constFirst().pid);
        QCOMPARE(sent.body.rows.size(), 1);
        QCOMPARE(sent.body.addRowCalls, 0);
        QCOMPARE(sent.body.keys.at(0), (QStringList { u"Symbol"_s, u"MDDate"_s }));
        QCOMPARE(sent.body.row(0).value(u"Symbol"_s), QVariant(i == 0 ? u"any text"_s : u"660003.SH"_s));
        QCOMPARE(sent.body.row(0).value(u"MDDate"_s), QVariant(knownDate));
        QCOMPARE(sent.thread, request == riseRequest ? u"main"_s : u"LxAsyncIndicatorQryObj_Thread"_s);
    }
}

void tst_indicators::knownSymbolsAreNotAskedForAgain()
{
    QFETCH(QString, request);
    publishIndicator(request, u"660004.SH"_s);
    query(request, { u"660005.SH"_s, u"660004.SH"_s, u"660006.SH"_s });
    QVERIFY(LxDouble::waitForSent(request, 2));
    onIndicatorWorker([] {});
    QCOMPARE(symbolsSent(request), (QStringList { u"660005.SH"_s, u"660006.SH"_s }));
    // Asked for but not answered: asked for again.
    query(request, { u"660005.SH"_s });
    QVERIFY(LxDouble::waitForSent(request, 3));
}

void tst_indicators::allKnownSymbolsSendNothing()
{
    QFETCH(QString, request);
    publishIndicator(request, u"660007.SH"_s);
    SignalLog log;
    LogCapture lines;
    query(request, { u"660007.SH"_s, u"660007.SH"_s });
    onIndicatorWorker([] {});
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(log.names(), QStringList());
    QVERIFY(lines.lines().isEmpty());
}

void tst_indicators::duplicatesAndOrderStay()
{
    QFETCH(QString, request);
    const QStringList symbols { u"660009.SH"_s, u"660008.SH"_s, u"660009.SH"_s };
    query(request, symbols);
    QVERIFY(LxDouble::waitForSent(request, 3));
    QCOMPARE(symbolsSent(request), symbols);
}

void tst_indicators::queriesSignalTheirSymbolsAndDate_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("signal");
    QTest::newRow("PE") << peRequest << u"sigQueryPEData"_s;
    QTest::newRow("QRR") << qrrRequest << u"sigQueryQRRData"_s;
}

void tst_indicators::queriesSignalTheirSymbolsAndDate()
{
    QFETCH(QString, request);
    QFETCH(QString, signal);
    SignalLog log;
    Emissions<QStringList, QString> pe(&LxQuotaHandler::sigQueryPEData);
    Emissions<QStringList, QString> qrr(&LxQuotaHandler::sigQueryQRRData);
    const QStringList symbols { u"660011.SH"_s, u"660010.SH"_s };
    query(request, symbols);
    QCOMPARE(log.names(), QStringList { signal });
    QCOMPARE(log.threads(), QStringList { u"main"_s });
    const auto &kept = request == peRequest ? pe : qrr;
    QCOMPARE(kept.last<0>(), symbols);
    QCOMPARE(kept.last<1>(), knownDate);
    QVERIFY(LxDouble::waitForSent(request, 2));
}

void tst_indicators::riseDayQueryIsLoggedForEachSymbol()
{
    SignalLog signalLog;
    LogCapture log;
    handler().queryRiseDayData({ u"660012.SH"_s, u"660013.SH"_s });
    QCOMPARE(log.lines().size(), 2);
    QCOMPARE(log.lines().at(0).text, u"查询连涨天数 \"660012.SH\" \"20230131\""_s);
    QCOMPARE(log.lines().at(1).text, u"查询连涨天数 \"660013.SH\" \"20230131\""_s);
    QCOMPARE(log.lines().at(0).type, QtDebugMsg);
    QCOMPARE(log.lines().at(0).file, u"lxquotahandler"_s);
    QCOMPARE(log.lines().at(0).line, 736);
    QVERIFY(log.lines().at(0).function.contains(u"LxQuotaHandler::queryRiseDayData(QStringList)"_s));
    QCOMPARE(signalLog.names(), QStringList());
    QCOMPARE(LxDouble::sent(riseRequest).size(), 2); // sent within the call
}

void tst_indicators::indicatorQueriesAreLoggedAtTheirEnd_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("function");
    QTest::newRow("PE") << peRequest << u"查询市盈率结束"_s << 46 << u"slotQueryPEData"_s;
    QTest::newRow("QRR") << qrrRequest << u"查询量比结束"_s << 72 << u"slotQueryQRRData"_s;
}

void tst_indicators::indicatorQueriesAreLoggedAtTheirEnd()
{
    QFETCH(QString, request);
    QFETCH(QString, text);
    QFETCH(int, line);
    QFETCH(QString, function);
    LogCapture log;
    query(request, { u"660014.SH"_s, u"660015.SH"_s });
    QVERIFY(log.waitFor(text, 1));
    QCOMPARE(LxDouble::sent(request).size(), 2); // all sent before the line
    QCOMPARE(log.lines().size(), 1);
    const LogLine logged = log.lines().at(0);
    QCOMPARE(logged.text, text + u" \"20230131\""_s);
    QCOMPARE(logged.type, QtDebugMsg);
    QCOMPARE(logged.file, u"lxasyncindicatorqryobj"_s);
    QCOMPARE(logged.line, line);
    QVERIFY(logged.function.contains(u"LxAsyncIndicatorQryObj::"_s + function));
}

void tst_indicators::fortyFiveMessagesPauseTwice()
{
    const QStringList symbols = symbolsFrom(661000, 45);
    handler().queryPEData(symbols);
    QVERIFY(LxDouble::waitForSent(peRequest, 45));
    QCOMPARE(symbolsSent(peRequest), symbols);
    const QVector<LxDouble::Sent> sent = LxDouble::sent(peRequest);
    QVERIFY(sent.at(20).nsecs - sent.at(19).nsecs >= 100 * 1000000LL);
    QVERIFY(sent.at(40).nsecs - sent.at(39).nsecs >= 100 * 1000000LL);
}

void tst_indicators::fortyMessagesPauseAfterTheLast()
{
    handler().queryPEData(symbolsFrom(662000, 40));
    handler().queryQRRData({ u"662000.SH"_s }); // delayed by the pauses of the other kind
    QVERIFY(LxDouble::waitForSent(qrrRequest, 1));
    const QVector<LxDouble::Sent> sent = LxDouble::sent(peRequest);
    QCOMPARE(sent.size(), 40);
    QVERIFY(sent.at(20).nsecs - sent.at(19).nsecs >= 100 * 1000000LL);
    QVERIFY(LxDouble::sent(qrrRequest).at(0).nsecs - sent.at(39).nsecs >= 100 * 1000000LL);
}

void tst_indicators::batchesDoNotInterleave()
{
    handler().queryQRRData(symbolsFrom(663000, 30));
    handler().queryPEData(symbolsFrom(663000, 30));
    QVERIFY(LxDouble::waitForSent(peRequest, 30));
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), 60);
    for (int i = 0; i < 60; ++i)
        QCOMPARE(sent.at(i).type, i < 30 ? qrrRequest : peRequest);
}

void tst_indicators::workerSendsNothingWithoutListOrDate_data()
{
    QTest::addColumn<QStringList>("symbols");
    QTest::addColumn<QString>("date");
    QTest::newRow("no date") << QStringList { u"660016.SH"_s } << QString();
    QTest::newRow("no symbols") << QStringList() << knownDate;
}

void tst_indicators::workerSendsNothingWithoutListOrDate()
{
    QFETCH(QStringList, symbols);
    QFETCH(QString, date);
    LogCapture log;
    onIndicatorWorker([&] {
        LxAsyncIndicatorQryObj::instance()->slotQueryQRRData(symbols, date);
        LxAsyncIndicatorQryObj::instance()->slotQueryPEData(symbols, date);
    });
    QVERIFY(LxDouble::sent().isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_indicators::withoutPresenterRequestsAreLost()
{
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    {
        LogCapture log;
        handler().queryPEData({ u"660017.SH"_s });
        handler().queryRiseDayData({ u"660017.SH"_s });
        QVERIFY(log.waitFor(u"查询市盈率结束"_s, 1)); // logged as if all requests had been sent
    }
    LxPresenterClassMgr::instance()->setPresenterClass(presenter);
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxDouble::liveMessages(), 2);
    LxDouble::deleteLiveMessages();
}

QTEST_GUILESS_MAIN(tst_indicators)
#include "tst_indicators.moc"
