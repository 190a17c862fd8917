#include "csvtable.h"
#include "market.h"
#include "quotefields.h"
#include "securities.h"

#include <lxdefine/lxfields.h>
#include <lxquotahandler.h>
#include <summitdefines/summitfields.h>

#include <QThread>
#include <QtTest>

namespace {

const QString stock = QStringLiteral("600519.SH");
const QString tradeDate = QStringLiteral("20230131");

// A plug-in with a thread of its own, on which it records what it receives.
class PlugIn : public QObject
{
public:
    PlugIn()
    {
        moveToThread(&m_thread);
        m_thread.start();
    }
    ~PlugIn() override
    {
        m_thread.quit();
        m_thread.wait();
    }

    void note(const QString &text)
    {
        Q_ASSERT(QThread::currentThread() == &m_thread);
        m_notes.append(text);
    }

    /// What it has received of all that has happened until now.
    QStringList received()
    {
        Market::settle();
        QStringList notes;
        QMetaObject::invokeMethod(
            this, [&] { notes = std::exchange(m_notes, {}); }, Qt::BlockingQueuedConnection);
        return notes;
    }

    template<typename Signal, typename Text>
    void listen(Signal signal, Text text)
    {
        connect(&LxQuotaHandler::instance(), signal, this,
                [this, text](auto &&...arguments) { note(text(arguments...)); });
    }

private:
    QThread m_thread;
    QStringList m_notes;
};

QString textOf(const char *kind, const QString &symbol)
{
    return QLatin1String(kind) + QLatin1Char(' ') + symbol;
}

template<typename Quote>
QString quoteText(const Quote &quote)
{
    return quote.Symbol + QLatin1Char(' ') + quote.MDTime;
}

// Answers what the library asks before it sends indicator requests, and takes those.
class IndicatorService final : public LxBusService
{
public:
    IndicatorService() : m_port(LxBus::current()->openService(this)) { }

private:
    QStringList requestTypes() const override
    {
        return { QStringLiteral("181063"), QStringLiteral("MSG_QUERY_P_E_RATIO_REQUEST"),
                 QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST") };
    }
    void handle(const LxBusRequest &request) override
    {
        using namespace Summit_Fields;
        if (request.id == 0)
            return;
        const Market::Row head { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } };
        const Market::Row day { { QuantizationInformationMsgCode::TradeDate, tradeDate } };
        m_port->answer(request, request.type, Market::packed({ head, day }));
    }

    const std::unique_ptr<LxBusServicePort> m_port;
};

QVariant quoteBody(const QString &symbol, const QString &time)
{
    return Market::packed({ { { QStringLiteral("Symbol"), symbol },
                              { QStringLiteral("MDTime"), time },
                              { QStringLiteral("PreClosePx"), 10.0 },
                              { QStringLiteral("LastPx"), 11.0 } } });
}

QVariant answerBody(const Market::Row &data)
{
    const Market::Row head { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } };
    return Market::packed({ head, data });
}

QVariantMap dailyBar(const QString &symbol, const QString &date)
{
    return { { QStringLiteral("PeriodType"), static_cast<int>(EMD_KLINE_PERIOD_1DAY) },
             { QStringLiteral("Symbol"), symbol },
             { QStringLiteral("MDDate"), date },
             { QStringLiteral("ClosePx"), 10.5 } };
}

void subscribe(QStringList symbols, bool on)
{
    LxQuotaHandler::instance().SubscribeQuote(symbols, on);
    Market::settle();
}

} // namespace

/// Plug-ins that receive the library's signals on threads of their own.
class tst_Receivers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { Market::forgetRecords(); }
    void libraryRegistersItsOwnTypesOnly();
    void otherTypesAreNotQueuedUntilRegistered();
    void everySignalArrivesOnTheReceiversThread();
    void signalsOfAReplayArriveInOrder();
    void lateJoinerGetsTheLatestRecord();
    void onePlugInLeavesTheOtherStays();
};

void tst_Receivers::initTestCase()
{
    Market::startBus();
    QString error;
    QVERIFY2(loadSecurities(recording(QStringLiteral("securities.csv")), &error), qPrintable(error));
    LxQuotaHandler::instance();
}

void tst_Receivers::libraryRegistersItsOwnTypesOnly()
{
    for (const char *type : { "StockQuotaData", "FutureQuotaData", "IndexQuotaData", "StockOrderRecordData",
                              "StockTransactionRecordData", "QList<QVariantMap>", "QThread*" })
        QVERIFY2(QMetaType::type(type) != QMetaType::UnknownType, type);
    // These are for the plug-ins that queue them.
    for (const char *type : { "BaseQuotaData&", "EMD_KLINE_PERIOD", "QMap<QDate,StockPeriod1DInfo>",
                              "QMap<QDate,QMap<QTime,StockPeriod1DInfo> >" })
        QVERIFY2(QMetaType::type(type) == QMetaType::UnknownType, type);
}

void tst_Receivers::otherTypesAreNotQueuedUntilRegistered()
{
    PlugIn plugIn;
    plugIn.listen(&LxQuotaHandler::signalQuotaUpdate, [](const BaseQuotaData &quote) { return quoteText(quote); });
    plugIn.listen(&LxQuotaHandler::signalQuoteTickUpdate, [](const QString &symbol) { return symbol; });
    subscribe({ stock }, true);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("Cannot queue arguments of type 'BaseQuotaData&'")));
    LxBus::current()->openPublisher()->publish(QStringLiteral("MDMARKETRECORD"), stock,
                                               quoteBody(stock, QStringLiteral("093000000")));
    QCOMPARE(plugIn.received(), QStringList { stock });
    subscribe({ stock }, false);

    // What such a plug-in has to do.
    qRegisterMetaType<BaseQuotaData>("BaseQuotaData&");
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");
    qRegisterMetaType<QMap<QDate, StockPeriod1DInfo>>("QMap<QDate,StockPeriod1DInfo>");
}

void tst_Receivers::everySignalArrivesOnTheReceiversThread()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QString index = QStringLiteral("000001.SH");
    const QString future = QStringLiteral("IF2302.CF");
    const QString time = QStringLiteral("100000000");

    PlugIn plugIn;
    plugIn.listen(&LxQuotaHandler::signalStockQuotaUpdate,
                  [](const StockQuotaData &quote) { return textOf("stock", quoteText(quote)); });
    plugIn.listen(&LxQuotaHandler::signalIndexQuotaUpdate,
                  [](const IndexQuotaData &quote) { return textOf("index", quoteText(quote)); });
    plugIn.listen(&LxQuotaHandler::signalFutureQuotaUpdate,
                  [](const FutureQuotaData &quote) { return textOf("future", quoteText(quote)); });
    plugIn.listen(&LxQuotaHandler::signalQuotaUpdate, [](const BaseQuotaData &quote) {
        return QStringLiteral("condensed %1 %2 %3").arg(quote.RecordKind).arg(quoteText(quote)).arg(quote.LastPx);
    });
    plugIn.listen(&LxQuotaHandler::signalQuoteTickUpdate, [](const QString &symbol) { return textOf("tick", symbol); });
    plugIn.listen(&LxQuotaHandler::signalRecordTransactionUpdate,
                  [](const QString &symbol) { return textOf("transaction", symbol); });
    plugIn.listen(&LxQuotaHandler::signalKLineResponse, [](const QList<QVariantMap> &bars, EMD_KLINE_PERIOD period) {
        return QStringLiteral("bars %1 of period %2").arg(bars.size()).arg(period);
    });
    plugIn.listen(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo,
                  [](const QString &symbol, const QMap<QDate, StockPeriod1DInfo> &days) {
                      return QStringLiteral("days of %1: %2").arg(symbol).arg(days.size());
                  });
    plugIn.listen(&LxQuotaHandler::signalIndicatorRankingData,
                  [](const QVariant &) { return QStringLiteral("ranking"); });
    plugIn.listen(&LxQuotaHandler::signalUpDownAnalyzeData,
                  [](const QVariant &) { return QStringLiteral("ups and downs"); });
    plugIn.listen(&LxQuotaHandler::signalRiseDayData, [](const QString &symbol, int days) {
        return QStringLiteral("%1 rises %2 days").arg(symbol).arg(days);
    });
    plugIn.listen(&LxQuotaHandler::signalStockDeepDataUpdate,
                  [](const QStringList &symbols) { return textOf("figures", symbols.join(QLatin1Char(' '))); });
    plugIn.listen(&LxQuotaHandler::sigQueryPEData, [](const QStringList &symbols, const QString &date) {
        return textOf("PE query", symbols.join(QLatin1Char(' ')) + QLatin1Char(' ') + date);
    });
    plugIn.listen(&LxQuotaHandler::sigQueryQRRData, [](const QStringList &symbols, const QString &date) {
        return textOf("QRR query", symbols.join(QLatin1Char(' ')) + QLatin1Char(' ') + date);
    });
    // This one is emitted on the bus's threads, so its place among the others is not certain.
    PlugIn onlooker;
    onlooker.listen(&LxQuotaHandler::sigRecvQuotaData,
                    [](const QVariant &type, const QVariant &) { return type.toString(); });

    subscribe({ stock, index, future }, true);
    QStringList trades { stock };
    quota.SubscribeRecordTransaction(trades, true);
    QCOMPARE(quota.SubscribeRankingData({}, 1, true), 0);
    plugIn.received();
    onlooker.received();

    const auto publisher = LxBus::current()->openPublisher();
    QStringList topics;
    const auto publish = [&](const char *topic, const QString &key, const QVariant &body) {
        topics.append(QString::fromLatin1(topic));
        QCOMPARE(publisher->publish(topics.constLast(), key, body), 1);
    };
    const QString none;
    publish("MDMARKETRECORD", stock, quoteBody(stock, time));
    publish("MDINDEXRECORD", index, quoteBody(index, time));
    publish("MDFUTURERECORD", future, quoteBody(future, time));
    publish("MDTRANSACTIONRECORD", stock, quoteBody(stock, time));
    publish("KLineResponse", none,
            QVariantList { dailyBar(stock, QStringLiteral("20230130")), dailyBar(stock, QStringLiteral("20230131")) });
    publish("ADINDICATORSRANKINGRECORD", QStringLiteral("1"), quoteBody(stock, time));
    publish("ADUPSDOWNSANALYSISRECORD", none, quoteBody(stock, time));
    publish("MSG_QUERY_UP_N_DAY_RESPONSE", none,
            answerBody({ { QStringLiteral("Symbol"), stock }, { QStringLiteral("days"), 4 } }));
    publish("MSG_QUERY_P_E_RATIO_RESPONSE", none, answerBody({ { QStringLiteral("Symbol"), stock } }));
    publish("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE", none, answerBody({ { QStringLiteral("Symbol"), stock } }));
    QCOMPARE(plugIn.received(),
             (QStringList {
                 QStringLiteral("stock 600519.SH 100000000"),
                 QStringLiteral("condensed 1 600519.SH 100000000 11"),
                 QStringLiteral("tick 600519.SH"),
                 QStringLiteral("index 000001.SH 100000000"),
                 QStringLiteral("condensed 2 000001.SH 100000000 11"),
                 QStringLiteral("tick 000001.SH"),
                 QStringLiteral("future IF2302.CF 100000000"),
                 QStringLiteral("condensed 3 IF2302.CF 100000000 11"),
                 QStringLiteral("tick IF2302.CF"),
                 QStringLiteral("transaction 600519.SH"),
                 QStringLiteral("bars 2 of period 2"),
                 QStringLiteral("ranking"),
                 QStringLiteral("ups and downs"),
                 QStringLiteral("600519.SH rises 4 days"),
                 QStringLiteral("figures 600519.SH"),
                 QStringLiteral("figures 600519.SH"),
             }));
    QCOMPARE(onlooker.received(), topics);

    // These are not caused by what is published.
    QMetaObject::invokeMethod(&quota, "slotProcessPeriod1DKLineDate", Qt::QueuedConnection,
                              Q_ARG(QList<QVariantMap>, { dailyBar(stock, QStringLiteral("20230131")) }),
                              Q_ARG(EMD_KLINE_PERIOD, EMD_KLINE_PERIOD_1DAY));
    QCOMPARE(plugIn.received(), QStringList { QStringLiteral("days of 600519.SH: 1") });
    quota.ProcAsyncCallBack(1, none, QStringLiteral("181028"),
                            answerBody({ { Orca_Fields::Security::securityID, QStringLiteral("600519") },
                                         { Orca_Fields::UserAccount::SymbolPost, QStringLiteral("SH") },
                                         { QStringLiteral("36046"), QStringLiteral("NetAssets") },
                                         { QStringLiteral("36034"), 5.0 } }));
    QCOMPARE(plugIn.received(), QStringList { QStringLiteral("figures 600519.SH") });
    const IndicatorService service;
    quota.queryPEData({ index, future });
    quota.queryQRRData({ index });
    QCOMPARE(plugIn.received(),
             (QStringList { QStringLiteral("PE query 000001.SH IF2302.CF ") + tradeDate,
                            QStringLiteral("QRR query 000001.SH ") + tradeDate }));

    subscribe({ stock, index, future }, false);
    quota.SubscribeRecordTransaction(trades, false);
    quota.SubscribeRankingData({}, 1, false);
}

void tst_Receivers::signalsOfAReplayArriveInOrder()
{
    const QString file = QStringLiteral("stock_snapshots_20230202.csv.gz");
    const CsvTable table(recording(file));
    const RecordingFolder folder({ file });
    const QStringList symbols = table.distinct("Symbol");
    subscribe(symbols, true);

    PlugIn plugIn;
    plugIn.listen(&LxQuotaHandler::signalStockQuotaUpdate,
                  [](const StockQuotaData &quote) { return textOf("stock", quoteText(quote)); });
    plugIn.listen(&LxQuotaHandler::signalQuotaUpdate,
                  [](const BaseQuotaData &quote) { return textOf("condensed", quoteText(quote)); });
    plugIn.listen(&LxQuotaHandler::signalQuoteTickUpdate, [](const QString &symbol) { return textOf("tick", symbol); });
    const Market::Outcome outcome = Market::replay(folder.path());
    subscribe(symbols, false);
    QVERIFY2(outcome.ok, qPrintable(outcome.error));

    const QStringList received = plugIn.received();
    QCOMPARE(received.size(), 3 * table.rowCount());
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        const QString quote = row.text("Symbol") + QLatin1Char(' ') + row.text("MDTime");
        QCOMPARE(received.at(3 * i), textOf("stock", quote));
        QCOMPARE(received.at(3 * i + 1), textOf("condensed", quote));
        QCOMPARE(received.at(3 * i + 2), textOf("tick", row.text("Symbol")));
    }
}

void tst_Receivers::lateJoinerGetsTheLatestRecord()
{
    const QString file = QStringLiteral("stock_snapshots_20220601.csv.gz");
    const CsvTable table(recording(file));
    const RecordingFolder folder({ file });
    const QString symbol = QStringLiteral("300122.SZ");
    QVERIFY2(Market::replay(folder.path()).ok, "nobody listens, the replay goes on all the same");
    QCOMPARE(LxQuotaHandler::instance().GetLastStockQuotaData(symbol).Symbol, QString());

    int last = -1;
    for (int i = 0; i < table.rowCount(); ++i) {
        if (table.row(i).text("Symbol") == symbol)
            last = i;
    }
    PlugIn plugIn;
    plugIn.listen(&LxQuotaHandler::signalStockQuotaUpdate,
                  [](const StockQuotaData &quote) { return quoteText(quote); });
    subscribe({ symbol }, true);
    QCOMPARE(plugIn.received(), QStringList { symbol + QLatin1Char(' ') + table.row(last).text("MDTime") });
    const QString found =
        difference(LxQuotaHandler::instance().GetLastStockQuotaData(symbol), expectedStock(table.row(last)));
    QVERIFY2(found.isEmpty(), qPrintable(found));
    subscribe({ symbol }, false);
}

void tst_Receivers::onePlugInLeavesTheOtherStays()
{
    const QString symbol = QStringLiteral("600000.SH");
    const QString other = QStringLiteral("600004.SH");
    // Both ask through the library's one endpoint.
    PlugIn leaving;
    PlugIn staying;
    const auto quoteNote = [](const StockQuotaData &quote) { return quoteText(quote); };
    leaving.listen(&LxQuotaHandler::signalStockQuotaUpdate, quoteNote);
    staying.listen(&LxQuotaHandler::signalStockQuotaUpdate, quoteNote);
    subscribe({ symbol, other }, true);
    subscribe({ symbol }, true);

    const auto publisher = LxBus::current()->openPublisher();
    const auto publish = [&](const char *time) {
        for (const QString &key : { symbol, other })
            publisher->publish(QStringLiteral("MDMARKETRECORD"), key, quoteBody(key, QString::fromLatin1(time)));
    };
    publish("093000000");
    const QStringList both { symbol + QStringLiteral(" 093000000"), other + QStringLiteral(" 093000000") };
    QCOMPARE(leaving.received(), both);
    QCOMPARE(staying.received(), both);

    // One unsubscribes what it subscribed, and stops listening.
    QObject::disconnect(&LxQuotaHandler::instance(), nullptr, &leaving, nullptr);
    subscribe({ symbol, other }, false);
    publish("093001000");
    QCOMPARE(staying.received(), QStringList { symbol + QStringLiteral(" 093001000") });
    QCOMPARE(leaving.received(), QStringList());

    subscribe({ symbol }, false);
    publish("093002000");
    QCOMPARE(staying.received(), QStringList());
}

QTEST_GUILESS_MAIN(tst_Receivers)

#include "tst_receivers.moc"
