#include "recordeddata.h"

#include <store.h>
#include <storefigures.h>

#include <QtTest>

#include <memory>

class tst_StoreFigures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void priceEarnings_data();
    void priceEarnings();
    void nothingKnown();
    void volumePerMinute_data();
    void volumePerMinute();
    void risingDays_data();
    void risingDays();

private:
    /// A store of 600000.SH; the rows are given without the symbol.
    std::unique_ptr<Store> storeOf(const QStringList &fundamentals, const QStringList &bars);

    RecordingFolder m_folder;
    QString m_error;
};

std::unique_ptr<Store> tst_StoreFigures::storeOf(const QStringList &fundamentals, const QStringList &bars)
{
    QByteArray rows = "Symbol,AsOfDate,TotalShare,ListedShare,EPS,PE\n";
    for (const QString &row : fundamentals)
        rows += "600000.SH," + row.toLatin1() + '\n';
    m_folder.write("fundamentals", rows);
    rows = "Symbol,MDDate,ClosePx,TotalVolumeTrade,OpenPx,HighPx,LowPx\n";
    for (const QString &row : bars)
        rows += "600000.SH," + row.toLatin1() + ",1,1,1\n";
    m_folder.write("kline_daily", rows);
    auto store = std::make_unique<Store>();
    const bool ready =
        importError(m_folder.path(), m_folder.store()).isEmpty() && store->open(m_folder.store(), &m_error);
    return ready ? std::move(store) : nullptr;
}

static QString text(const std::optional<double> &value)
{
    return value ? QString::number(*value) : QStringLiteral("-");
}

void tst_StoreFigures::priceEarnings_data()
{
    QTest::addColumn<QStringList>("fundamentals"); // date, shares, listed shares, earnings per share, ratio
    QTest::addColumn<QStringList>("bars"); // date, close, volume
    QTest::addColumn<QString>("figures"); // close, eps, ttmEps, staticPE, dynamicPE, ttmPE on 20230601
    const auto add = [](const char *name, const QStringList &fundamentals, const QStringList &bars,
                        const char *figures) {
        QTest::newRow(name) << fundamentals << bars << QString::fromLatin1(figures);
    };
    const QString bar = QStringLiteral("20230531,12,100");
    const QString yearEnd = QStringLiteral("20221231,9,9,2,");
    add("annual report", { yearEnd }, { bar }, "12 2 2 6 6 6");
    add("first quarter", { QStringLiteral("20230331,9,9,1,") }, { bar }, "12 1 - - 3 -");
    add("half year", { QStringLiteral("20220630,9,9,1,") }, { bar }, "12 1 - - 6 -");
    add("three quarters", { QStringLiteral("20220930,9,9,1.5,") }, { bar }, "12 1.5 - - 6 -");
    add("first quarter after an annual report", { yearEnd, QStringLiteral("20230331,9,9,1,") }, { bar },
        "12 1 - 6 3 -");
    add("four quarters known", { QStringLiteral("20220331,9,9,0.6,"), yearEnd, QStringLiteral("20230331,9,9,1,") },
        { bar }, "12 1 2.4 6 3 5");
    add("annual report of another year", { QStringLiteral("20211231,9,9,2,"), QStringLiteral("20230331,9,9,1,") },
        { bar }, "12 1 - - 3 -");
    add("loss", { QStringLiteral("20221231,9,9,-2,") }, { bar }, "12 -2 -2 - - -");
    add("no earnings", { QStringLiteral("20221231,9,9,0,") }, { bar }, "12 0 0 - - -");
    add("earnings unknown", { QStringLiteral("20221231,9,9,,") }, { bar }, "12 - - - - -");
    add("ratio of a day between reports", { QStringLiteral("20230419,9,9,1,5") },
        { QStringLiteral("20230419,10,100"), bar }, "12 1 - - 6 -");
    add("ratio of a day without a close", { QStringLiteral("20230419,9,9,1,5") },
        { QStringLiteral("20230418,10,100"), bar }, "12 1 - - - -");
    add("no ratio for a loss", { QStringLiteral("20230419,9,9,-1,0") }, { QStringLiteral("20230419,10,100"), bar },
        "12 -1 - - - -");
    add("last report before the day counts", { yearEnd, QStringLiteral("20230630,9,9,3,") }, { bar }, "12 2 2 6 6 6");
    add("report of the day itself counts", { yearEnd, QStringLiteral("20230601,9,9,3,") }, { bar }, "12 3 - 6 - -");
    add("latest report if all are later", { QStringLiteral("20230630,9,9,3,"), QStringLiteral("20231231,9,9,4,") },
        { bar }, "12 4 4 3 3 3");
    add("company without shares", { QStringLiteral("20221231,0,0,2,") }, { bar }, "12 - - - - -");
    add("no report", {}, { bar }, "12 - - - - -");
    add("no close", { yearEnd }, {}, "- 2 2 - - -");
    add("no close yet", { yearEnd }, { QStringLiteral("20230602,12,100") }, "- 2 2 - - -");
    add("close of the day itself", { yearEnd }, { bar, QStringLiteral("20230601,10,100") }, "10 2 2 5 5 5");
}

void tst_StoreFigures::priceEarnings()
{
    QFETCH(QStringList, fundamentals);
    QFETCH(QStringList, bars);
    QFETCH(QString, figures);
    const auto store = storeOf(fundamentals, bars);
    QVERIFY(store);
    const auto found = StoreFigures::priceEarnings(store.get(), QStringLiteral("600000.SH"), 20230601, &m_error);
    QVERIFY(found);
    const QStringList texts { text(found->close),    text(found->eps),       text(found->ttmEps),
                              text(found->staticPE), text(found->dynamicPE), text(found->ttmPE) };
    QCOMPARE(texts.join(QLatin1Char(' ')), figures);
    QCOMPARE(found->tradeDay.has_value(), found->close.has_value());
}

void tst_StoreFigures::nothingKnown()
{
    const auto store = storeOf({ QStringLiteral("20221231,9,9,2,") }, { QStringLiteral("20230531,12,100") });
    QVERIFY(store);
    const QString symbol = QStringLiteral("600004.SH");
    QVERIFY(!StoreFigures::priceEarnings(store.get(), symbol, 20230601, &m_error));
    QVERIFY(!StoreFigures::volumePerMinute(store.get(), symbol, 20230601, &m_error));
    QVERIFY(!StoreFigures::risingDays(store.get(), symbol, 20230601, &m_error));
    QVERIFY(!StoreFigures::volumePerMinute(store.get(), QStringLiteral("600000.SH"), 20230530, &m_error));
    QVERIFY(!StoreFigures::risingDays(store.get(), QStringLiteral("600000.SH"), 20230530, &m_error));
    QCOMPARE(m_error, QString());
}

void tst_StoreFigures::volumePerMinute_data()
{
    QTest::addColumn<QStringList>("bars");
    QTest::addColumn<double>("expected");
    const QStringList seven { QStringLiteral("20230524,1,1"),   QStringLiteral("20230525,1,240"),
                              QStringLiteral("20230526,1,480"), QStringLiteral("20230529,1,720"),
                              QStringLiteral("20230530,1,960"), QStringLiteral("20230601,1,1200"),
                              QStringLiteral("20230602,1,9") };
    QTest::newRow("five days up to the day itself") << seven << 3.0;
    QTest::newRow("fewer days") << QStringList(seven.mid(3)) << 4.0;
    QTest::newRow("one day") << QStringList(seven.mid(5)) << 5.0;
    QTest::newRow("day without trade counts")
        << QStringList { QStringLiteral("20230531,1,0"), QStringLiteral("20230601,1,480") } << 1.0;
    QTest::newRow("day of unknown volume does not count")
        << QStringList { QStringLiteral("20230531,1,480"), QStringLiteral("20230601,1,") } << 2.0;
}

void tst_StoreFigures::volumePerMinute()
{
    QFETCH(QStringList, bars);
    QFETCH(double, expected);
    const auto store = storeOf({}, bars);
    QVERIFY(store);
    const auto found = StoreFigures::volumePerMinute(store.get(), QStringLiteral("600000.SH"), 20230601, &m_error);
    QVERIFY(found);
    QCOMPARE(*found, expected);
}

void tst_StoreFigures::risingDays_data()
{
    QTest::addColumn<QStringList>("closes"); // of 20230525 and the days that follow
    QTest::addColumn<int>("expected"); // on 20230528
    const auto add = [](const char *name, const char *closes, int expected) {
        QTest::newRow(name) << QString::fromLatin1(closes).split(QLatin1Char(' ')) << expected;
    };
    add("three days from the first bar", "1 2 3 4", 3);
    add("two after a fall", "5 2 3 4", 2);
    add("two after a standstill", "2 2 3 4", 2);
    add("fell last", "1 2 3 2", 0);
    add("stood still last", "1 2 3 3", 0);
    add("one bar", "1", 0);
    add("ends before the day", "1 2 3", 2);
    add("later bars do not count", "1 2 3 2 3", 0);
}

void tst_StoreFigures::risingDays()
{
    QFETCH(QStringList, closes);
    QFETCH(int, expected);
    QStringList bars;
    for (int i = 0; i < closes.size(); ++i)
        bars.append(QStringLiteral("%1,%2,1").arg(20230525 + i).arg(closes.at(i)));
    const auto store = storeOf({}, bars);
    QVERIFY(store);
    QCOMPARE(StoreFigures::risingDays(store.get(), QStringLiteral("600000.SH"), 20230528, &m_error).value_or(-1),
             expected);
}

QTEST_GUILESS_MAIN(tst_StoreFigures)
#include "tst_storefigures.moc"
