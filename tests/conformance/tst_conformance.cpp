// What the library relies on in a platform, one test function for each behaviour: directly at the platform's headers
// first, then as the library's users see it.

#include "hooks.h"

#include <lxquotahandler.h>

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxutils/lxthread.h>
#include <lxwidget/lxpresenterclass.h>
#include <summitdefines/summitfields.h>
#include <summitutils/summitbusiutils.h>

#include <QSemaphore>
#include <QtTest>

#include <atomic>

namespace {

const QString stockTopic = QStringLiteral("MDMARKETRECORD");
const QString symbol = QStringLiteral("600000.SH");
const QString other = QStringLiteral("000001.SZ");
const QString freeTopic = QStringLiteral("ADUPSDOWNSANALYSISRECORD"); // not routed by symbol
const QString dayRequest = QStringLiteral("181063");
const QString deepRequest = QStringLiteral("181027");
const QString deepAnswer = QStringLiteral("181028");

QVariant packed(const QVector<QVariantMap> &rows)
{
    CPackMessageCommon pack;
    for (int i = 0; i < rows.size(); ++i) {
        if (i > 0)
            pack.AddRow();
        for (auto field = rows.at(i).cbegin(); field != rows.at(i).cend(); ++field)
            pack.AddVaule(field.key(), field.value());
    }
    return pack.GetPackedMsg(false);
}

QVariantMap head()
{
    return { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } };
}

void publishQuote(const QString &ofSymbol, double price)
{
    LxConformance::publish(stockTopic, ofSymbol,
                           packed({ { { QStringLiteral("Symbol"), ofSymbol },
                                      { QStringLiteral("MDDate"), QStringLiteral("20230201") },
                                      { QStringLiteral("MDTime"), QStringLiteral("093000000") },
                                      { QStringLiteral("PreClosePx"), 10.0 },
                                      { QStringLiteral("LastPx"), price } } }));
}

// An endpoint that records what it receives.
class Endpoint final : public LxPresenterClass
{
public:
    Endpoint()
        : LxPresenterClass(QStringLiteral("Conformance"), nullptr, static_cast<IMessageInterface::ThreadType>(15))
    {
    }

    void ProcSubMsg(QString, QVariant, QVariant body) override
    {
        if (++inCall > 1)
            overlapped = true;
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        numbers.append(rows.GetValue(QStringLiteral("Number"), -1).toInt());
        --inCall;
        received.release();
        if (hold) {
            entered.release();
            released.acquire();
            left = true;
        }
    }

    std::atomic<int> inCall { 0 };
    std::atomic<bool> overlapped { false };
    std::atomic<bool> hold { false };
    std::atomic<bool> left { false };
    QVector<int> numbers; // read after `received`
    QSemaphore received;
    QSemaphore entered;
    QSemaphore released;
};

constexpr int PatienceMs = 20000;

} // namespace

class tst_Conformance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { LxConformance::stop(); }

    void messageKeepsTypeBodyAndSender();
    void packedRowsAreReadBack();
    void foreignBodyHasNoRows();
    void latestPriceIsTheFirstPositiveOne();
    void threadRunsAnEventLoop();
    void endpointsHaveAddressesOfTheirOwn();
    void messagesOfATopicKeepTheirOrder();
    void callsOfAnEndpointComeOneAtATime();
    void requestWithoutServiceFails();
    void synchronousRequestIsAnswered();

    void subscribedQuoteIsAnnounced();
    void quoteHasTheNameOfItsSecurity();
    void unsubscribedSymbolIsNotDelivered();
    void requestForBarsReachesAService();
    void answerWithBarsIsAnnounced();
    void tradingDayIsAnswered();
    void deepDataIsAnsweredAsynchronously();
    void rankingIsSubscribedAndAnnounced();
};

void tst_Conformance::initTestCase()
{
    QString error;
    QVERIFY2(LxConformance::start(&error), qPrintable(error));
    LxConformance::setSecurity(symbol, QStringLiteral("stock"), QStringLiteral(u"浦发银行"));
    LxConformance::setSecurity(other, QStringLiteral("stock"), QStringLiteral(u"平安银行"));
    QVERIFY2(LxConformance::load(QStringLiteral(LX_LIBRARY), &error), qPrintable(error));
    LxQuotaHandler::instance();
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");
}

void tst_Conformance::messageKeepsTypeBodyAndSender()
{
    CMessageCommon message;
    message.SetType(QStringLiteral("type"));
    message.SetMsg(7);
    message.SetSrcid(QStringLiteral("sender"));
    QCOMPARE(message.GetType().toString(), QStringLiteral("type"));
    QCOMPARE(message.GetMsg().toInt(), 7);
    QCOMPARE(message.GetSrcid(), QStringLiteral("sender"));
}

void tst_Conformance::packedRowsAreReadBack()
{
    const QString key = QStringLiteral("key");
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(
        packed({ { { key, 1.5 } }, { { key, QStringLiteral(u"中文") } }, { { key, Q_INT64_C(1) << 40 } } }), false);
    QCOMPARE(rows.GetRowCount(), 3);
    QCOMPARE(rows.GetValue(key, 0).toDouble(), 1.5);
    rows.SetCurrentRow(1);
    QCOMPARE(rows.GetValue(key, 0).toString(), QStringLiteral(u"中文"));
    QCOMPARE(rows.GetValue(QStringLiteral("absent"), 3).toInt(), 3);
    QVERIFY(!rows.GetRowValue().contains(QStringLiteral("absent")));
    rows.SetCurrentRow(2);
    QCOMPARE(rows.GetRowValue().value(key).toLongLong(), Q_INT64_C(1) << 40);
}

void tst_Conformance::foreignBodyHasNoRows()
{
    for (const QVariant &body : { QVariant(), QVariant(7), QVariant(QStringLiteral("text")) }) {
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        QCOMPARE(rows.GetRowCount(), 0);
        QVERIFY(rows.GetRowValue().isEmpty());
    }
}

void tst_Conformance::latestPriceIsTheFirstPositiveOne()
{
    const auto latest = [](double last, double settlement, double close) {
        return SummitBusiUtils::GetLastPriceFromTick({ { QStringLiteral("LastPx"), last },
                                                       { QStringLiteral("PreSettlePrice"), settlement },
                                                       { QStringLiteral("PreClosePx"), close } });
    };
    QCOMPARE(latest(11, 12, 13), 11.0);
    QCOMPARE(latest(0, 12, 13), 12.0);
    QCOMPARE(latest(0, 0, 13), 13.0);
}

void tst_Conformance::threadRunsAnEventLoop()
{
    LxThread thread;
    thread.start();
    QObject object;
    object.moveToThread(&thread);
    QThread *ran = nullptr;
    QMetaObject::invokeMethod(
        &object, [&ran] { ran = QThread::currentThread(); }, Qt::BlockingQueuedConnection);
    thread.quit();
    QVERIFY(thread.wait(PatienceMs));
    QCOMPARE(ran, &thread);
}

void tst_Conformance::endpointsHaveAddressesOfTheirOwn()
{
    const Endpoint one;
    const Endpoint two;
    QVERIFY(!one.pluginPid().isEmpty());
    QVERIFY(one.pluginPid() != two.pluginPid());
}

void tst_Conformance::messagesOfATopicKeepTheirOrder()
{
    Endpoint endpoint;
    endpoint.Sub(endpoint.pluginPid(), freeTopic, 0);
    constexpr int Messages = 100;
    QVector<int> expected;
    for (int i = 0; i < Messages; ++i) {
        LxConformance::publish(freeTopic, QString(), packed({ { { QStringLiteral("Number"), i } } }));
        expected.append(i);
    }
    QVERIFY(endpoint.received.tryAcquire(Messages, PatienceMs));
    QCOMPARE(endpoint.numbers, expected);
}

void tst_Conformance::callsOfAnEndpointComeOneAtATime()
{
    auto endpoint = std::make_unique<Endpoint>();
    endpoint->Sub(endpoint->pluginPid(), freeTopic, 0);
    endpoint->hold = true;
    LxConformance::publish(freeTopic, QString(), packed({ { { QStringLiteral("Number"), 0 } } }));
    LxConformance::publish(freeTopic, QString(), packed({ { { QStringLiteral("Number"), 1 } } }));
    QVERIFY(endpoint->entered.tryAcquire(1, PatienceMs));
    QVERIFY(!endpoint->entered.tryAcquire(1, 0));
    endpoint->hold = false;
    endpoint->released.release();
    QVERIFY(endpoint->received.tryAcquire(2, PatienceMs));
    QVERIFY(endpoint->left && !endpoint->overlapped);
}

void tst_Conformance::requestWithoutServiceFails()
{
    Endpoint endpoint;
    auto *message = new CMessageCommon;
    message->SetType(QStringLiteral("request that nobody answers"));
    QVariant answer;
    QVERIFY(endpoint.sendRequest_Sync(message, answer) != 0);
}

void tst_Conformance::synchronousRequestIsAnswered()
{
    const QString type = QStringLiteral("conformance request");
    LxConformance::serve(type, QStringLiteral("answer"), [](const QVariant &body) {
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        return packed({ { { QStringLiteral("Number"), rows.GetValue(QStringLiteral("Number"), 0).toInt() + 1 } } });
    });
    Endpoint endpoint;
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(packed({ { { QStringLiteral("Number"), 6 } } }));
    QVariant answer;
    QCOMPARE(endpoint.sendRequest_Sync(message, answer), 0);
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(answer, false);
    QCOMPARE(rows.GetValue(QStringLiteral("Number"), 0).toInt(), 7);
}

void tst_Conformance::subscribedQuoteIsAnnounced()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    StockQuotaData announced;
    connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this,
            [&announced](const StockQuotaData &quote) { announced = quote; });
    QStringList symbols { symbol };
    quota.SubscribeQuote(symbols, true);
    publishQuote(symbol, 10.5);
    QTRY_COMPARE_WITH_TIMEOUT(announced.Symbol, symbol, PatienceMs);
    disconnect(&quota, nullptr, this, nullptr);
    QCOMPARE(announced.LastPx, 10.5);
    QCOMPARE(announced.Change, 0.5);
    QCOMPARE(quota.GetLastStockQuotaData(symbol).LastPx, 10.5);
}

void tst_Conformance::quoteHasTheNameOfItsSecurity()
{
    QCOMPARE(LxQuotaHandler::instance().GetLastStockQuotaData(symbol).SecurityName, QStringLiteral(u"浦发银行"));
}

void tst_Conformance::unsubscribedSymbolIsNotDelivered()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QStringList announced;
    connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this,
            [&announced](const StockQuotaData &quote) { announced.append(quote.Symbol); });
    QStringList ended { symbol };
    quota.SubscribeQuote(ended, false);
    QStringList begun { other };
    quota.SubscribeQuote(begun, true);
    publishQuote(symbol, 11);
    publishQuote(other, 12);
    QTRY_VERIFY_WITH_TIMEOUT(announced.contains(other), PatienceMs);
    disconnect(&quota, nullptr, this, nullptr);
    QCOMPARE(announced, QStringList { other });
}

void tst_Conformance::requestForBarsReachesAService()
{
    static QSemaphore arrived; // as long as the service
    static QString requested;
    LxConformance::receive(QStringLiteral("KLineRequest"), [](const QVariant &body) {
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        requested = rows.GetValue(QStringLiteral("Symbol"), QString()).toString();
        arrived.release();
    });
    const QDateTime day(QDate(2023, 2, 1), QTime(0, 0));
    LxQuotaHandler::instance().AsyncRequestKLineData(symbol, day, day, EMD_KLINE_PERIOD_1DAY,
                                                     EMD_EXRIGHTS_TYPE_DEFAULT);
    QVERIFY(arrived.tryAcquire(1, PatienceMs));
    QCOMPARE(requested, symbol);
}

void tst_Conformance::answerWithBarsIsAnnounced()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QList<QVariantMap> announced;
    connect(&quota, &LxQuotaHandler::signalKLineResponse, this,
            [&announced](const QList<QVariantMap> &bars) { announced = bars; });
    const QVariantMap bar { { QStringLiteral("Symbol"), symbol }, { QStringLiteral("PeriodType"), 2 } };
    LxConformance::publish(QStringLiteral("KLineResponse"), QString(), QVariantList { bar });
    QTRY_COMPARE_WITH_TIMEOUT(announced, QList<QVariantMap> { bar }, PatienceMs);
    disconnect(&quota, nullptr, this, nullptr);
}

void tst_Conformance::tradingDayIsAnswered()
{
    LxConformance::serve(dayRequest, QStringLiteral("181064"), [](const QVariant &) {
        return packed(
            { head(), { { Summit_Fields::QuantizationInformationMsgCode::TradeDate, QStringLiteral("20230203") } } });
    });
    QCOMPARE(LxQuotaHandler::instance().queryTradeDay(QDate(2023, 1, 20), 5), QStringLiteral("20230203"));
}

void tst_Conformance::deepDataIsAnsweredAsynchronously()
{
    LxConformance::serve(deepRequest, deepAnswer, [](const QVariant &) {
        return packed({ head(),
                        { { Orca_Fields::Security::securityID, QStringLiteral("600000") },
                          { Orca_Fields::UserAccount::SymbolPost, QStringLiteral("SH") },
                          { QStringLiteral("36046"), QStringLiteral("TotalShare") },
                          { QStringLiteral("36034"), 2.0 } } });
    });
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QList<LxStockDeepData> known;
    quota.QueryStockDeepData({ symbol }, known, false);
    QVERIFY(known.isEmpty());
    const auto shares = [&quota] {
        QList<LxStockDeepData> figures;
        quota.QueryStockDeepData({ symbol }, figures, false);
        return figures.value(0).TotalShare;
    };
    QTRY_COMPARE_WITH_TIMEOUT(shares(), 20000.0, PatienceMs);
}

void tst_Conformance::rankingIsSubscribedAndAnnounced()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QVariant announced;
    connect(&quota, &LxQuotaHandler::signalIndicatorRankingData, this,
            [&announced](const QVariant &ranking) { announced = ranking; });
    QCOMPARE(quota.SubscribeRankingData({ symbol }, 1, true), 0);
    LxConformance::publish(QStringLiteral("ADINDICATORSRANKINGRECORD"), QStringLiteral("1"),
                           packed({ { { QStringLiteral("RankingKind"), 1 } } }));
    QTRY_VERIFY_WITH_TIMEOUT(announced.isValid(), PatienceMs);
    disconnect(&quota, nullptr, this, nullptr);
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(announced, false);
    QCOMPARE(rows.GetValue(QStringLiteral("RankingKind"), 0).toInt(), 1);
}

QTEST_GUILESS_MAIN(tst_Conformance)
#include "tst_conformance.moc"
