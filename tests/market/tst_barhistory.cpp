#include "recordeddata.h"

#include <baraggregation.h>
#include <barhistory.h>

#include <QDate>
#include <QMap>
#include <QtTest>

#include <algorithm>
#include <cmath>

Q_DECLARE_METATYPE(LxKLine::Period)

namespace {

constexpr int LastMillisecond = 235959999;

double number(const RecordedRow &row, const char *column)
{
    return row.value(QString::fromLatin1(column)).toDouble();
}

int dateOf(const RecordedRow &row, const char *column = "MDDate")
{
    return row.value(QString::fromLatin1(column)).toInt();
}

} // namespace

/// Bars that are computed from the stored ones.
class tst_BarHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void referencePricesAreExact_data();
    void referencePricesAreExact();
    void pricesDoNotDropOnExDates_data();
    void pricesDoNotDropOnExDates();
    void forwardKeepsTheLastPriceAndBackwardTheFirst();
    void volumesAreNotAdjusted();
    void minuteBarsAreAdjusted();
    void recordedFactorsAreUsedWithoutComponents();
    void unknownRightsPriceIsAnError();
    void labelsOfMinutes_data();
    void labelsOfMinutes();
    void unknownVolumeOfAPartIsUnknown();
    void daysAreCombined_data();
    void daysAreCombined();
    void minutesAreCombined_data();
    void minutesAreCombined();
    void barsOfTheRangeAreComplete();

private:
    QVector<StoreBar> read(const char *symbol, LxKLine::Period period, LxKLine::Adjustment adjustment,
                           StoreMoment first = { 19900101 }, StoreMoment last = { 20991231, LastMillisecond });

    RecordedStore m_recorded;
    Store m_store;
    QVector<RecordedRow> m_dailyRows;
};

void tst_BarHistory::initTestCase()
{
    QString error;
    QVERIFY2(m_recorded.isValid(), qPrintable(m_recorded.errorString()));
    QVERIFY2(m_store.open(m_recorded.path(), &error), qPrintable(error));
    m_dailyRows = readRecordedRows(QStringLiteral("kline_daily.csv"));
}

QVector<StoreBar> tst_BarHistory::read(const char *symbol, LxKLine::Period period, LxKLine::Adjustment adjustment,
                                       StoreMoment first, StoreMoment last)
{
    QString error;
    const auto bars =
        readBarHistory(&m_store, nullptr, { QString::fromLatin1(symbol), period, adjustment, first, last }, &error);
    if (!bars)
        qFatal("%s", qPrintable(error));
    return *bars;
}

void tst_BarHistory::referencePricesAreExact_data()
{
    QTest::addColumn<int>("adjustment");
    QTest::newRow("forward") << int(LxKLine::Forward);
    QTest::newRow("backward") << int(LxKLine::Backward);
}

void tst_BarHistory::referencePricesAreExact()
{
    QFETCH(int, adjustment);
    int compared = 0;
    for (const RecordedRow &event : readRecordedRows(QStringLiteral("corporate_actions.csv"))) {
        const QByteArray symbol = event.value(QStringLiteral("Symbol"));
        const QVector<RecordedRow> rows = rowsOf(m_dailyRows, symbol);
        const int exDate = dateOf(event, "ExDate");
        const auto exDay = std::find_if(rows.cbegin(), rows.cend(),
                                        [exDate](const RecordedRow &row) { return dateOf(row) >= exDate; });
        if (exDay == rows.cbegin() || exDay == rows.cend())
            continue;
        const double rights = number(event, "RightsPerShare");
        const double value =
            number(*(exDay - 1), "ClosePx") - number(event, "CashPerShare") + number(event, "RightsPrice") * rights;
        const double shares = 1 + number(event, "BonusPerShare") + number(event, "ConversionPerShare") + rights;
        const long expected = std::lround(value / shares * 100 + 1e-7); // cents

        const QVector<StoreBar> bars =
            read(symbol.constData(), LxKLine::Day, static_cast<LxKLine::Adjustment>(adjustment));
        const int index = static_cast<int>(exDay - rows.cbegin());
        QCOMPARE(bars.at(index).date, dateOf(*exDay));
        // The adjusted previous close, on the scale of the ex-date.
        const double scale = number(*exDay, "ClosePx") / bars.at(index).close;
        const double reference = bars.at(index - 1).close * scale * 100;
        QVERIFY2(std::abs(reference - static_cast<double>(expected)) < 1e-6,
                 qPrintable(QStringLiteral("%1 %2: %3").arg(QString::fromUtf8(symbol)).arg(exDate).arg(reference)));
        ++compared;
    }
    QVERIFY2(compared >= 30, qPrintable(QString::number(compared)));
}

void tst_BarHistory::pricesDoNotDropOnExDates_data()
{
    QTest::addColumn<QByteArray>("symbol");
    QTest::addColumn<int>("exDates");
    QTest::addColumn<bool>("dropsUnadjusted"); // by more than the daily limit of 10 %
    QTest::newRow("600000.SH") << QByteArray("600000.SH") << 20 << true;
    QTest::newRow("000001.SZ") << QByteArray("000001.SZ") << 10 << true;
}

void tst_BarHistory::pricesDoNotDropOnExDates()
{
    QFETCH(QByteArray, symbol);
    QFETCH(int, exDates);
    QFETCH(bool, dropsUnadjusted);
    QString error;
    QVERIFY(m_store.exDates(QString::fromLatin1(symbol), &error).size() >= exDates);
    const auto greatestDrop = [&](LxKLine::Adjustment adjustment, int *date) {
        const QVector<StoreBar> bars = read(symbol.constData(), LxKLine::Day, adjustment);
        double greatest = 0;
        for (int i = 1; i < bars.size(); ++i) {
            const double drop = 1 - bars.at(i).close / bars.at(i - 1).close;
            if (drop > greatest) {
                greatest = drop;
                *date = bars.at(i).date;
            }
        }
        return greatest;
    };
    constexpr double Limit = 0.1025; // 10 % of a reference price that is rounded to the cent
    int date = 0;
    QCOMPARE(greatestDrop(LxKLine::Unadjusted, &date) > Limit, dropsUnadjusted);
    for (const LxKLine::Adjustment adjustment : { LxKLine::Forward, LxKLine::Backward }) {
        const double drop = greatestDrop(adjustment, &date);
        QVERIFY2(drop <= Limit, qPrintable(QStringLiteral("%1 on %2").arg(drop).arg(date)));
    }
}

void tst_BarHistory::forwardKeepsTheLastPriceAndBackwardTheFirst()
{
    const QVector<StoreBar> plain = read("600000.SH", LxKLine::Day, LxKLine::Unadjusted);
    const QVector<StoreBar> forward = read("600000.SH", LxKLine::Day, LxKLine::Forward);
    const QVector<StoreBar> backward = read("600000.SH", LxKLine::Day, LxKLine::Backward);
    QCOMPARE(forward.size(), plain.size());
    QCOMPARE(backward.size(), plain.size());
    QCOMPARE(forward.last().close, plain.last().close);
    QCOMPARE(backward.first().open, plain.first().open);
    QVERIFY(forward.first().close < plain.first().close / 5);
    QVERIFY(backward.last().close > plain.last().close * 5);
    // Both have the same returns.
    const double ratio = backward.first().close / forward.first().close;
    for (int i = 0; i < plain.size(); ++i)
        QVERIFY(std::abs(backward.at(i).close / forward.at(i).close / ratio - 1) < 1e-9);
}

void tst_BarHistory::volumesAreNotAdjusted()
{
    const QVector<StoreBar> plain = read("600000.SH", LxKLine::Day, LxKLine::Unadjusted);
    const QVector<StoreBar> forward = read("600000.SH", LxKLine::Day, LxKLine::Forward);
    for (int i = 0; i < plain.size(); ++i) {
        QCOMPARE(forward.at(i).volume, plain.at(i).volume);
        QCOMPARE(forward.at(i).value, plain.at(i).value);
    }
}

void tst_BarHistory::minuteBarsAreAdjusted()
{
    const QVector<StoreBar> days = read("000001.SZ", LxKLine::Day, LxKLine::Forward, { 20180115 }, { 20180115 });
    const QVector<StoreBar> plainDays =
        read("000001.SZ", LxKLine::Day, LxKLine::Unadjusted, { 20180115 }, { 20180115 });
    const StoreMoment first { 20180115, 0 };
    const StoreMoment last { 20180115, LastMillisecond };
    const QVector<StoreBar> minutes = read("000001.SZ", LxKLine::OneMinute, LxKLine::Forward, first, last);
    const QVector<StoreBar> plain = read("000001.SZ", LxKLine::OneMinute, LxKLine::Unadjusted, first, last);
    QCOMPARE(minutes.size(), 240);
    const double factor = days.first().close / plainDays.first().close;
    QVERIFY(factor < 0.99);
    for (int i = 0; i < minutes.size(); ++i)
        QCOMPARE(minutes.at(i).low, plain.at(i).low * factor);
}

void tst_BarHistory::recordedFactorsAreUsedWithoutComponents()
{
    RecordingFolder folder;
    folder.append("kline_daily", "600000.SH,20230103,1,1,1,10,,,\n600000.SH,20230104,1,1,1,9,,,\n");
    // One before the first bar, one after the last: neither has a previous close and a later bar.
    folder.append("adjust_factors", "600000.SH,20230103,3\n600000.SH,20230104,1.25\n600000.SH,20230105,7\n");
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    Store store;
    QString error;
    QVERIFY(store.open(folder.store(), &error));
    const BarQuery query { QStringLiteral("600000.SH"), LxKLine::Day, LxKLine::Forward, { 20230101 }, { 20231231 } };
    const auto bars = readBarHistory(&store, nullptr, query, &error);
    QVERIFY2(bars, qPrintable(error));
    QCOMPARE(bars->at(0).close, 8.0);
    QCOMPARE(bars->at(1).close, 9.0);
}

void tst_BarHistory::unknownRightsPriceIsAnError()
{
    RecordingFolder folder;
    folder.append("kline_daily", "600000.SH,20230103,1,1,1,10,,,\n600000.SH,20230104,1,1,1,9,,,\n");
    folder.append("corporate_actions", "600000.SH,20230104,0,0,0,0.3,\n");
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    Store store;
    QString error;
    QVERIFY(store.open(folder.store(), &error));
    BarQuery query { QStringLiteral("600000.SH"), LxKLine::Day, LxKLine::Forward, { 20230101 }, { 20231231 } };
    QVERIFY(!readBarHistory(&store, nullptr, query, &error));
    QVERIFY2(error.contains(QStringLiteral("600000.SH on 2023-01-04")), qPrintable(error));
    query.adjustment = LxKLine::Unadjusted;
    error.clear();
    QVERIFY(readBarHistory(&store, nullptr, query, &error));
}

void tst_BarHistory::labelsOfMinutes_data()
{
    QTest::addColumn<LxKLine::Period>("period");
    QTest::addColumn<bool>("byStart");
    QTest::addColumn<int>("time");
    QTest::addColumn<int>("label");
    const auto add = [](LxKLine::Period period, bool byStart, int time, int label) {
        QTest::addRow("%d %d of %d", byStart, time, int(period))
            << period << byStart << time * 100000 << label * 100000;
    };
    add(LxKLine::FiveMinutes, false, 931, 935);
    add(LxKLine::FiveMinutes, false, 935, 935);
    add(LxKLine::FiveMinutes, false, 936, 940);
    add(LxKLine::FiveMinutes, false, 925, 935);
    add(LxKLine::FiveMinutes, false, 1130, 1130);
    add(LxKLine::FiveMinutes, false, 1301, 1305);
    add(LxKLine::FiveMinutes, false, 1500, 1500);
    add(LxKLine::FiveMinutes, false, 1501, 1500);
    add(LxKLine::FiveMinutes, true, 930, 930);
    add(LxKLine::FiveMinutes, true, 934, 930);
    add(LxKLine::FiveMinutes, true, 935, 935);
    add(LxKLine::FiveMinutes, true, 1129, 1125);
    add(LxKLine::FiveMinutes, true, 1300, 1300);
    add(LxKLine::FiveMinutes, true, 1459, 1455);
    add(LxKLine::FiveMinutes, true, 1500, 1455);
    add(LxKLine::FifteenMinutes, false, 945, 945);
    add(LxKLine::ThirtyMinutes, false, 1001, 1030);
    add(LxKLine::SixtyMinutes, false, 1030, 1030);
    add(LxKLine::SixtyMinutes, false, 1031, 1130);
    add(LxKLine::SixtyMinutes, false, 1301, 1400);
    add(LxKLine::SixtyMinutes, true, 1031, 1030);
    add(LxKLine::SixtyMinutes, true, 1300, 1300);
}

void tst_BarHistory::labelsOfMinutes()
{
    QFETCH(LxKLine::Period, period);
    QFETCH(bool, byStart);
    QFETCH(int, time);
    QFETCH(int, label);
    StoreBar bar;
    bar.date = 20230103;
    bar.time = time;
    const QVector<StoreBar> bars = BarAggregation::aggregate({ bar }, period, byStart);
    QCOMPARE(bars.size(), 1);
    QCOMPARE(bars.first().time, label);
}

void tst_BarHistory::unknownVolumeOfAPartIsUnknown()
{
    StoreBar known;
    known.date = 20230103;
    known.volume = 100;
    known.value = 1000;
    StoreBar unknown = known;
    unknown.date = 20230104;
    unknown.volume.reset();
    const QVector<StoreBar> bars = BarAggregation::aggregate({ known, unknown, known }, LxKLine::Week, false);
    QCOMPARE(bars.size(), 1);
    QVERIFY(!bars.first().volume);
    QCOMPARE(bars.first().value, std::optional<double>(3000));
}

void tst_BarHistory::daysAreCombined_data()
{
    QTest::addColumn<LxKLine::Period>("period");
    QTest::addColumn<QByteArray>("symbol");
    for (const char *symbol : { "600000.SH", "000001.SH", "000300.SH" }) {
        QTest::addRow("weeks of %s", symbol) << LxKLine::Week << QByteArray(symbol);
        QTest::addRow("months of %s", symbol) << LxKLine::Month << QByteArray(symbol);
    }
}

void tst_BarHistory::daysAreCombined()
{
    QFETCH(LxKLine::Period, period);
    QFETCH(QByteArray, symbol);
    QMap<int, QVector<RecordedRow>> groups; // by year and month or week
    for (const RecordedRow &row : rowsOf(m_dailyRows, symbol)) {
        const QDate date =
            QDate::fromString(QString::fromUtf8(row.value(QStringLiteral("MDDate"))), QStringLiteral("yyyyMMdd"));
        int year = date.year();
        const int week = date.weekNumber(&year);
        groups[period == LxKLine::Week ? year * 100 + week : date.year() * 100 + date.month()].append(row);
    }
    const QVector<StoreBar> bars = read(symbol.constData(), period, LxKLine::Unadjusted);
    QCOMPARE(bars.size(), groups.size());
    int i = 0;
    for (const QVector<RecordedRow> &rows : std::as_const(groups)) {
        const StoreBar &bar = bars.at(i++);
        double high = 0;
        double low = 1e9;
        double volume = 0;
        for (const RecordedRow &row : rows) {
            high = std::max(high, number(row, "HighPx"));
            low = std::min(low, number(row, "LowPx"));
            volume += number(row, "TotalVolumeTrade");
        }
        QCOMPARE(bar.date, dateOf(rows.last()));
        QCOMPARE(bar.open, number(rows.first(), "OpenPx"));
        QCOMPARE(bar.high, high);
        QCOMPARE(bar.low, low);
        QCOMPARE(bar.close, number(rows.last(), "ClosePx"));
        QCOMPARE(bar.volume, std::optional<double>(volume));
    }
}

void tst_BarHistory::minutesAreCombined_data()
{
    QTest::addColumn<LxKLine::Period>("period");
    QTest::addColumn<int>("minutes");
    QTest::newRow("5") << LxKLine::FiveMinutes << 5;
    QTest::newRow("15") << LxKLine::FifteenMinutes << 15;
    QTest::newRow("30") << LxKLine::ThirtyMinutes << 30;
    QTest::newRow("60") << LxKLine::SixtyMinutes << 60;
}

void tst_BarHistory::minutesAreCombined()
{
    QFETCH(LxKLine::Period, period);
    QFETCH(int, minutes);
    // Both have all 240 minutes of each of these days, one labelled by their ends, the other by their starts.
    for (const char *symbol : { "000001.SZ", "IF2003.CF" }) {
        const QVector<RecordedRow> all = rowsOf(readRecordedRows(QStringLiteral("kline_1min.csv")), symbol);
        const bool stock = symbol[0] == '0';
        const int day = stock ? 20180115 : 20200110;
        QVector<RecordedRow> rows;
        for (const RecordedRow &row : all) {
            if (dateOf(row) == day)
                rows.append(row);
        }
        QCOMPARE(rows.size(), 240);
        const QVector<StoreBar> bars = read(symbol, period, LxKLine::Unadjusted, { day }, { day, LastMillisecond });
        QCOMPARE(bars.size(), 240 / minutes);
        for (int i = 0; i < bars.size(); ++i) {
            const QVector<RecordedRow> part = rows.mid(i * minutes, minutes);
            double high = 0;
            double volume = 0;
            for (const RecordedRow &row : part) {
                high = std::max(high, number(row, "HighPx"));
                volume += number(row, "TotalVolumeTrade");
            }
            QCOMPARE(bars.at(i).time, dateOf(stock ? part.last() : part.first(), "MDTime"));
            QCOMPARE(bars.at(i).open, number(part.first(), "OpenPx"));
            QCOMPARE(bars.at(i).high, high);
            QCOMPARE(bars.at(i).close, number(part.last(), "ClosePx"));
            QCOMPARE(bars.at(i).volume, std::optional<double>(volume));
        }
    }
}

void tst_BarHistory::barsOfTheRangeAreComplete()
{
    // 2023-02-01 is a Wednesday; the week before was a holiday.
    const QVector<StoreBar> weeks =
        read("600000.SH", LxKLine::Week, LxKLine::Unadjusted, { 20230201 }, { 20230209, LastMillisecond });
    QCOMPARE(weeks.size(), 1); // that of 10 February ends after the range
    QCOMPARE(weeks.first().date, 20230203);
    QCOMPARE(weeks.first().open,
             read("600000.SH", LxKLine::Day, LxKLine::Unadjusted, { 20230130 }, { 20230130 }).first().open);

    const QVector<StoreBar> hours =
        read("000001.SZ", LxKLine::SixtyMinutes, LxKLine::Unadjusted, { 20180115, 101500000 }, { 20180115, 140000000 });
    QCOMPARE(hours.size(), 3);
    QCOMPARE(hours.first().time, 103000000);
    const QVector<StoreBar> minutes =
        read("000001.SZ", LxKLine::OneMinute, LxKLine::Unadjusted, { 20180115 }, { 20180115, LastMillisecond });
    QCOMPARE(hours.first().open, minutes.first().open);
}

QTEST_GUILESS_MAIN(tst_BarHistory)
#include "tst_barhistory.moc"
