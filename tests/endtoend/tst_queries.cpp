#include "csvtable.h"
#include "market.h"
#include "securities.h"

#include <importer.h>
#include <lxmsg/packmessagecommon.h>
#include <lxquotahandler.h>
#include <requestservice.h>

#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int Timeout = 30000;
const QString dateFormat = QStringLiteral("yyyyMMdd");

QString dataFile(const char *name)
{
    return QStringLiteral(LX_DATA_DIR "/") + QLatin1String(name);
}

} // namespace

/// The library's queries, answered by the service from a store of the recorded data.
class tst_Queries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void dailyBarsOfAYear();
    void minuteBarsComeInSeveralAnswers();
    void periodQueryAnswersFromTheCacheOnceTheSlotHasFilledIt();
    void tradingDaysAgreeWithTheCalendar();
    void tradingDayOutsideTheCalendarIsEmpty();
    void deepDataComesFromTheCacheTheSecondTime();
    void priceEarningsReachTheSnapshot();
    void risingDaysAreAnnounced();

private:
    QTemporaryDir m_folder;
    std::unique_ptr<RequestService> m_service;
};

void tst_Queries::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QString store = m_folder.filePath(QStringLiteral("store"));
    Importer importer(QStringLiteral(LX_DATA_DIR), store, nullptr);
    QString error;
    QVERIFY2(importer.run(&error), qPrintable(error));
    Market::startBus();
    m_service = std::make_unique<RequestService>();
    QVERIFY2(m_service->start(store, &error), qPrintable(error));
    QVERIFY(loadSecurities(dataFile("securities.csv"), &error));
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");
}

void tst_Queries::dailyBarsOfAYear()
{
    QObject receiver;
    QList<QVariantMap> bars;
    connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalKLineResponse, &receiver,
            [&](const QList<QVariantMap> &list, EMD_KLINE_PERIOD period) {
                QCOMPARE(period, EMD_KLINE_PERIOD_1DAY);
                bars = list;
            });
    LxQuotaHandler::instance().AsyncRequestKLineData(
        QStringLiteral("600000.SH"), QDateTime(QDate(2023, 1, 1), QTime(0, 0)),
        QDateTime(QDate(2023, 12, 31), QTime(0, 0)), EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
    QTRY_VERIFY_WITH_TIMEOUT(!bars.isEmpty(), Timeout);

    QCOMPARE(bars.size(), 242);
    const CsvTable table(dataFile("kline_daily.csv.gz"));
    int bar = 0;
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        if (row.text("Symbol") != QLatin1String("600000.SH") || !row.cell("MDDate").startsWith("2023"))
            continue;
        for (const char *key : { "OpenPx", "HighPx", "LowPx", "ClosePx", "TotalVolumeTrade", "TotalValueTrade" })
            QCOMPARE(bars.at(bar).value(QLatin1String(key)).toDouble(), row.number(key));
        QCOMPARE(bars.at(bar).value(QStringLiteral("MDDate")).toString(), row.text("MDDate"));
        ++bar;
    }
    QCOMPARE(bar, bars.size());
}

void tst_Queries::minuteBarsComeInSeveralAnswers()
{
    QObject receiver;
    QList<int> sizes;
    connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalKLineResponse, &receiver,
            [&](const QList<QVariantMap> &list, EMD_KLINE_PERIOD) { sizes.append(list.size()); });
    LxQuotaHandler::instance().QueryStockPeriod1MInfo(QStringLiteral("000001.SZ"), QDate(2018, 1, 1),
                                                      QDate(2018, 1, 31), false);
    QTRY_COMPARE_WITH_TIMEOUT(sizes, (QList<int> { 1000, 1000, 1000, 1000, 1000, 40 }), Timeout);
}

void tst_Queries::periodQueryAnswersFromTheCacheOnceTheSlotHasFilledIt()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QString symbol = QStringLiteral("000001.SZ");
    const QDate from(2020, 3, 2);
    const QDate to(2020, 3, 31);
    QObject filler;
    QSemaphore filled;
    connect(&quota, &LxQuotaHandler::signalKLineResponse, &filler,
            [&](const QList<QVariantMap> &list, EMD_KLINE_PERIOD period) {
                QVERIFY(QMetaObject::invokeMethod(&quota, "slotProcessPeriod1DKLineDate", Qt::BlockingQueuedConnection,
                                                  Q_ARG(QList<QVariantMap>, list), Q_ARG(EMD_KLINE_PERIOD, period)));
                filled.release();
            });
    quota.QueryStockPeriod1DInfo(symbol, from, to, false);
    QTRY_COMPARE_WITH_TIMEOUT(filled.available(), 1, Timeout);

    QMap<QDate, StockPeriod1DInfo> cached;
    connect(
        &quota, &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo, &filler,
        [&](const QString &, const QMap<QDate, StockPeriod1DInfo> &data) { cached = data; }, Qt::DirectConnection);
    quota.QueryStockPeriod1DInfo(symbol, from, to, false);
    const CsvTable table(dataFile("kline_daily.csv.gz"));
    int expected = 0;
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        if (row.text("Symbol") != symbol || !row.cell("MDDate").startsWith("202003"))
            continue;
        ++expected;
        QCOMPARE(cached.value(QDate::fromString(row.text("MDDate"), dateFormat)).closePx, row.number("ClosePx"));
    }
    QVERIFY(expected > 15);
    QCOMPARE(cached.size(), expected);
}

void tst_Queries::tradingDaysAgreeWithTheCalendar()
{
    const CsvTable table(dataFile("trading_days.csv"));
    QVector<QDate> calendar;
    for (int i = 0; i < table.rowCount(); ++i)
        calendar.append(QDate::fromString(table.row(i).text("TradingDay"), dateFormat));
    QRandomGenerator random(20230201);
    for (int i = 0; i < 1000; ++i) {
        const QDate date = calendar.first().addDays(random.bounded(int(calendar.first().daysTo(calendar.last()))));
        const int days = random.bounded(1, 300) * (random.bounded(2) ? 1 : -1);
        // Counted one by one: the days after the date, or before it.
        const auto after = std::upper_bound(calendar.cbegin(), calendar.cend(), date);
        const auto onOrAfter = std::lower_bound(calendar.cbegin(), calendar.cend(), date);
        const qint64 index = days > 0 ? (after - calendar.cbegin()) + days - 1 : (onOrAfter - calendar.cbegin()) + days;
        const QString expected =
            index >= 0 && index < calendar.size() ? calendar.at(int(index)).toString(dateFormat) : QString();
        QCOMPARE(LxQuotaHandler::instance().queryTradeDay(date, days), expected);
    }
}

void tst_Queries::tradingDayOutsideTheCalendarIsEmpty()
{
    QCOMPARE(LxQuotaHandler::instance().queryTradeDay(QDate(2030, 1, 1), 1), QString());
    QCOMPARE(LxQuotaHandler::instance().queryTradeDay(QDate(2026, 12, 31), 1), QString());
}

void tst_Queries::deepDataComesFromTheCacheTheSecondTime()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QStringList symbols { QStringLiteral("600000.SH"), QStringLiteral("000002.SZ") };
    QSemaphore updated;
    connect(
        &quota, &LxQuotaHandler::signalStockDeepDataUpdate, this, [&] { updated.release(); }, Qt::DirectConnection);
    QList<LxStockDeepData> first;
    quota.QueryStockDeepData(symbols, first, false);
    QVERIFY(first.isEmpty());
    QVERIFY(updated.tryAcquire(1, Timeout));
    disconnect(&quota, nullptr, this, nullptr);

    QList<LxStockDeepData> second;
    quota.QueryStockDeepData(symbols, second, false);
    QCOMPARE(second.size(), 2);

    // The latest figures in the table.
    const CsvTable table(dataFile("fundamentals.csv"));
    for (const LxStockDeepData &data : qAsConst(second)) {
        QByteArray latest;
        for (int i = 0; i < table.rowCount(); ++i) {
            const CsvRow row = table.row(i);
            if (row.text("Symbol") != data.Symbol || row.cell("AsOfDate") < latest)
                continue;
            latest = row.cell("AsOfDate");
            if (latest == "20110930") // single precision in its source
                continue;
            QCOMPARE(data.TotalShare, row.number("TotalShare"));
            QCOMPARE(data.ListedShare, row.number("ListedShare"));
            QCOMPARE(data.NetAssets, row.number("NetAssets"));
        }
        QVERIFY(!latest.isEmpty());
        QCOMPARE(data.DividentRate, double(QUOTA_INVALID_VALUE));
    }
}

void tst_Queries::priceEarningsReachTheSnapshot()
{
    // Indicator queries ask for the trading day before today.
    if (QDate::currentDate() > QDate(2026, 12, 31))
        QSKIP("the recorded calendar has ended");
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QString symbol = QStringLiteral("600519.SH");
    QSemaphore updated;
    connect(
        &quota, &LxQuotaHandler::signalStockDeepDataUpdate, this,
        [&](const QStringList &symbols) {
            if (symbols == QStringList { symbol })
                updated.release();
        },
        Qt::DirectConnection);
    quota.queryPEData({ symbol });
    QVERIFY(updated.tryAcquire(1, Timeout));
    disconnect(&quota, nullptr, this, nullptr);

    double eps = 0;
    const CsvTable table(dataFile("fundamentals.csv"));
    for (int i = 0; i < table.rowCount(); ++i) {
        const CsvRow row = table.row(i);
        if (row.text("Symbol") == symbol)
            eps = row.number("EPS"); // the later record follows the earlier one
    }
    QVERIFY(eps > 0);
    CPackMessageCommon quote;
    quote.AddVaule(QStringLiteral("Symbol"), symbol);
    quote.AddVaule(QStringLiteral("LastPx"), 1844.97);
    QMetaObject::invokeMethod(
        &quota, [&] { quota.slotProcessQuotaMsg(QStringLiteral("MDMARKETRECORD"), quote.GetPackedMsg(false)); },
        Qt::BlockingQueuedConnection);
    QCOMPARE(quota.GetLastStockQuotaDataBase(symbol).PERatio, 1844.97 / eps);
}

void tst_Queries::risingDaysAreAnnounced()
{
    // Indicator queries ask for the trading day before today.
    if (QDate::currentDate() > QDate(2026, 12, 31))
        QSKIP("the recorded calendar has ended");
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QString symbol = QStringLiteral("600000.SH");
    int announced = -1;
    QObject receiver;
    connect(&quota, &LxQuotaHandler::signalRiseDayData, &receiver, [&](const QString &s, int days) {
        if (s == symbol)
            announced = days;
    });
    quota.queryRiseDayData({ symbol });
    QTRY_VERIFY_WITH_TIMEOUT(announced >= 0, Timeout);

    QVector<double> closes;
    const CsvTable table(dataFile("kline_daily.csv.gz"));
    for (int i = 0; i < table.rowCount(); ++i) {
        if (table.row(i).text("Symbol") == symbol)
            closes.append(table.row(i).number("ClosePx"));
    }
    int days = 0;
    while (days + 1 < closes.size() && closes.at(closes.size() - 1 - days) > closes.at(closes.size() - 2 - days))
        ++days;
    QCOMPARE(announced, days);
}

QTEST_GUILESS_MAIN(tst_Queries)
#include "tst_queries.moc"
