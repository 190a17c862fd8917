#include "lxbarseries.h"

#include "quoterows.h"

#include <QAbstractItemModelTester>

using namespace QuoteRows;

namespace {

QVariantMap bar(const QString &symbol, LxBarSeries::Period period, const QString &date, double close,
                const QString &time = QString())
{
    QVariantMap row { { u"Symbol"_s, symbol },    { u"PeriodType"_s, int(period) },  { u"MDDate"_s, date },
                      { u"OpenPx"_s, close - 1 }, { u"HighPx"_s, close + 1 },        { u"LowPx"_s, close - 2 },
                      { u"ClosePx"_s, close },    { u"TotalVolumeTrade"_s, 1000.0 }, { u"TotalValueTrade"_s, 2000.0 } };
    if (!time.isEmpty())
        row.insert(u"MDTime"_s, time);
    return row;
}

void answer(const QVector<QVariantMap> &rows)
{
    QVariantList list;
    for (const QVariantMap &row : rows)
        list.append(row);
    publish(u"KLineResponse"_s, QVariant(list));
}

QStringList times(const LxBarSeries &series)
{
    QStringList result;
    for (int row = 0; row < series.rowCount(); ++row)
        result.append(series.index(row, LxBarSeries::Time).data().toString());
    return result;
}

} // namespace

class tst_barseries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }
    void init() { LxDouble::forgetSent(); }

    void keepsTheContractOfModels();
    void loadRequestsBarsWithPeriodAndAdjustment();
    void requestEndsWithTheDayOfTheMarket();
    void answersOfOtherSymbolsAndPeriodsAreIgnored();
    void severalMessagesAreOneSeries();
    void liveDayFollowsThePast();
    void liveMinutesReplaceThoseOfTheService();
    void liveDayExtendsTheCurrentWeekAndMonth();
    void movingAverages();
    void loadingAgainBeginsAnew();
    void minutesSeenBeforeLoadingAreShown();
};

void tst_barseries::keepsTheContractOfModels()
{
    LxBarSeries series;
    QAbstractItemModelTester tester(&series, QAbstractItemModelTester::FailureReportingMode::QtTest);
    series.load(u"600000.SH"_s, LxBarSeries::OneMinute);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    double price = 10;
    for (const char *time : { "093001000", "093004000", "093101000", "093301000" }) {
        publishStock(stock(u"600000.SH"_s, price += 0.01, 10, QString::fromLatin1(time)));
        QVERIFY(changed.wait());
    }
    QCOMPARE(series.rowCount(), 3);
    series.load(QString(), LxBarSeries::Day);
    QCOMPARE(series.rowCount(), 0);
}

void tst_barseries::loadRequestsBarsWithPeriodAndAdjustment()
{
    LxBarSeries series;
    series.load(u"600010.SH"_s, LxBarSeries::FiveMinutes, LxBarSeries::Backward);
    waitForSender();
    const QVector<LxDouble::Sent> requests = LxDouble::sent(u"KLineRequest"_s);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.constFirst().thread, u"LxQuotaModels_Sender"_s);
    const QVariantMap row = requests.constFirst().body.row(0);
    QCOMPARE(row.value(u"Symbol"_s).toString(), u"600010.SH"_s);
    QCOMPARE(row.value(u"PeriodType"_s).toInt(), 3);
    QCOMPARE(row.value(u"ExrightsType"_s).toInt(), 13);
    LxDouble::forgetSent();
    series.load(QString(), LxBarSeries::Day);
    waitForSender();
    QCOMPARE(LxDouble::sent(u"KLineRequest"_s).size(), 0);
}

void tst_barseries::requestEndsWithTheDayOfTheMarket()
{
    LxBarSeries first;
    first.load(u"600000.SH"_s, LxBarSeries::Day);
    publishStock(stock(u"600000.SH"_s, 10)); // on 2021-12-01
    LxDouble::forgetSent();
    LxBarSeries series;
    series.load(u"600000.SH"_s, LxBarSeries::Day);
    waitForSender();
    const QVariantMap row = LxDouble::sent(u"KLineRequest"_s).constLast().body.row(0);
    QCOMPARE(row.value(u"StartTime"_s).toString(), u"20171201000000"_s);
    QCOMPARE(row.value(u"StopTime"_s).toString(), u"20211201235959"_s);
}

void tst_barseries::answersOfOtherSymbolsAndPeriodsAreIgnored()
{
    LxBarSeries series;
    series.load(u"600011.SH"_s, LxBarSeries::Day);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    answer({ bar(u"600012.SH"_s, LxBarSeries::Day, u"20211129"_s, 10) });
    answer({ bar(u"600011.SH"_s, LxBarSeries::Week, u"20211129"_s, 10) });
    answer({ bar(u"600011.SH"_s, LxBarSeries::Day, u"20211130"_s, 11) });
    QVERIFY(changed.wait());
    QCOMPARE(times(series), QStringList { u"2021-11-30"_s });
    QCOMPARE(series.bars().constFirst().close, 11.0);
    QCOMPARE(series.index(0, LxBarSeries::High).data(LxBarSeries::RawRole).toDouble(), 12.0);
    QCOMPARE(series.index(0, 0).data(LxBarSeries::LowRole).toDouble(), 9.0);
}

void tst_barseries::severalMessagesAreOneSeries()
{
    LxBarSeries series;
    series.load(u"600011.SH"_s, LxBarSeries::Day);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    answer({ bar(u"600011.SH"_s, LxBarSeries::Day, u"20211126"_s, 10),
             bar(u"600011.SH"_s, LxBarSeries::Day, u"20211129"_s, 11) });
    answer({ bar(u"600011.SH"_s, LxBarSeries::Day, u"20211129"_s, 11),
             bar(u"600011.SH"_s, LxBarSeries::Day, u"20211130"_s, 12) });
    QVERIFY(changed.wait());
    QCOMPARE(times(series), (QStringList { u"2021-11-26"_s, u"2021-11-29"_s, u"2021-11-30"_s }));
}

void tst_barseries::liveDayFollowsThePast()
{
    LxBarSeries series;
    series.load(u"600013.SH"_s, LxBarSeries::Day);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    answer({ bar(u"600013.SH"_s, LxBarSeries::Day, u"20211130"_s, 10),
             bar(u"600013.SH"_s, LxBarSeries::Day, u"20211201"_s, 99) });
    publishStock(stock(u"600013.SH"_s, 12, 10, u"100000000"_s, { { u"OpenPx"_s, 11.0 }, { u"HighPx"_s, 13.0 } }));
    QVERIFY(changed.wait());
    QCOMPARE(times(series), (QStringList { u"2021-11-30"_s, u"2021-12-01"_s }));
    QCOMPARE(series.bars().constLast().open, 11.0);
    QCOMPARE(series.bars().constLast().high, 13.0);
    QCOMPARE(series.bars().constLast().close, 12.0);
    QCOMPARE(series.bars().constLast().volume, 10000.0);
    QSignalSpy updated(&series, &LxBarSeries::dataChanged);
    publishStock(stock(u"600013.SH"_s, 12.5, 10, u"100003000"_s, { { u"OpenPx"_s, 11.0 } }));
    QVERIFY(changed.wait());
    QCOMPARE(updated.count(), 1);
    QCOMPARE(updated.constFirst().at(0).toModelIndex().row(), 1);
    QCOMPARE(series.bars().constLast().close, 12.5);
}

void tst_barseries::liveMinutesReplaceThoseOfTheService()
{
    LxBarSeries series;
    series.load(u"600014.SH"_s, LxBarSeries::OneMinute);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    publishStock(stock(u"600014.SH"_s, 10, 10, u"093130000"_s));
    answer({ bar(u"600014.SH"_s, LxBarSeries::OneMinute, u"20211130"_s, 8, u"150000000"_s),
             bar(u"600014.SH"_s, LxBarSeries::OneMinute, u"20211201"_s, 9, u"093100000"_s),
             bar(u"600014.SH"_s, LxBarSeries::OneMinute, u"20211201"_s, 99, u"093200000"_s) });
    QVERIFY(changed.wait());
    QCOMPARE(times(series), (QStringList { u"2021-11-30 15:00"_s, u"2021-12-01 09:31"_s, u"2021-12-01 09:32"_s }));
    QCOMPARE(series.bars().constLast().close, 10.0);
}

void tst_barseries::liveDayExtendsTheCurrentWeekAndMonth()
{
    LxBarSeries week;
    LxBarSeries month;
    week.load(u"600015.SH"_s, LxBarSeries::Week);
    month.load(u"600015.SH"_s, LxBarSeries::Month);
    answer({ bar(u"600015.SH"_s, LxBarSeries::Week, u"20211130"_s, 10) });
    answer({ bar(u"600015.SH"_s, LxBarSeries::Month, u"20211130"_s, 10) });
    publishStock(stock(u"600015.SH"_s, 20, 10));
    // 2021-12-01 is a Wednesday: in the week of 30 November, but in another month.
    QTRY_COMPARE(times(week), QStringList { u"2021-12-01"_s });
    QCOMPARE(week.bars().constFirst().open, 9.0);
    QCOMPARE(week.bars().constFirst().high, 20.0);
    QCOMPARE(week.bars().constFirst().low, 8.0);
    QCOMPARE(week.bars().constFirst().close, 20.0);
    QCOMPARE(week.bars().constFirst().volume, 11000.0);
    QTRY_COMPARE(times(month), (QStringList { u"2021-11-30"_s, u"2021-12-01"_s }));
}

void tst_barseries::movingAverages()
{
    LxBarSeries series;
    series.load(u"600016.SH"_s, LxBarSeries::Day);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    QVector<QVariantMap> rows;
    for (int i = 1; i <= 4; ++i)
        rows.append(bar(u"600016.SH"_s, LxBarSeries::Day, u"2021110%1"_s.arg(i), i));
    answer(rows);
    QVERIFY(changed.wait());
    const QVector<double> averages = series.movingAverage(3);
    QVERIFY(qIsNaN(averages.at(0)));
    QVERIFY(qIsNaN(averages.at(1)));
    QCOMPARE(averages.at(2), 2.0);
    QCOMPARE(averages.at(3), 3.0);
    QCOMPARE(series.movingAverage(1).at(0), 1.0);
    QVERIFY(qIsNaN(series.movingAverage(5).constLast()));
}

void tst_barseries::loadingAgainBeginsAnew()
{
    LxBarSeries series;
    series.load(u"600017.SH"_s, LxBarSeries::Day);
    QSignalSpy changed(&series, &LxBarSeries::changed);
    answer({ bar(u"600017.SH"_s, LxBarSeries::Day, u"20211130"_s, 10) });
    QVERIFY(changed.wait());
    series.load(u"600018.SH"_s, LxBarSeries::Day);
    QCOMPARE(series.rowCount(), 0);
    answer({ bar(u"600017.SH"_s, LxBarSeries::Day, u"20211130"_s, 10) });
    answer({ bar(u"600018.SH"_s, LxBarSeries::Day, u"20211129"_s, 10) });
    QVERIFY(changed.wait());
    QCOMPARE(times(series), QStringList { u"2021-11-29"_s });
}

void tst_barseries::minutesSeenBeforeLoadingAreShown()
{
    LxBarSeries first; // has the symbol subscribed
    first.load(u"600019.SH"_s, LxBarSeries::Day);
    publishStocks({ stock(u"600019.SH"_s, 10, 10, u"093001000"_s), stock(u"600019.SH"_s, 11, 10, u"093101000"_s) });
    LxBarSeries series;
    series.load(u"600019.SH"_s, LxBarSeries::OneMinute);
    QCOMPARE(times(series), (QStringList { u"2021-12-01 09:31"_s, u"2021-12-01 09:32"_s }));
}

QTEST_GUILESS_MAIN(tst_barseries)

#include "tst_barseries.moc"
