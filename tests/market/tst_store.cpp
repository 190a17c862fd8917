#include "recordeddata.h"

#include <store.h>
#include <storeconnection.h>
#include <storeschema.h>

#include <QDate>
#include <QRandomGenerator>
#include <QtTest>

Q_DECLARE_METATYPE(StoreMoment)

namespace {

constexpr int LastMillisecond = 235959999;

QVector<StoreBar> read(Store *store, Store::Period period, const char *symbol, StoreMoment first, StoreMoment last)
{
    QVector<StoreBar> bars;
    const auto append = [&bars](const StoreBar &bar) {
        bars.append(bar);
        return true;
    };
    QString error;
    if (!store->readBars(period, QString::fromLatin1(symbol), first, last, append, &error))
        qFatal("%s", qPrintable(error));
    return bars;
}

QVector<int> datesOf(const QVector<StoreBar> &bars)
{
    QVector<int> dates;
    for (const StoreBar &bar : bars)
        dates.append(bar.date);
    return dates;
}

bool same(const std::optional<double> &value, const QByteArray &cell)
{
    return value.has_value() == !cell.isEmpty() && (!value || *value == cell.toDouble());
}

bool same(const StoreBar &bar, const RecordedRow &row)
{
    return bar.date == row.value(QStringLiteral("MDDate")).toInt()
        && bar.time == row.value(QStringLiteral("MDTime")).toInt()
        && bar.open == row.value(QStringLiteral("OpenPx")).toDouble()
        && bar.high == row.value(QStringLiteral("HighPx")).toDouble()
        && bar.low == row.value(QStringLiteral("LowPx")).toDouble()
        && bar.close == row.value(QStringLiteral("ClosePx")).toDouble()
        && same(bar.volume, row.value(QStringLiteral("TotalVolumeTrade")))
        && same(bar.value, row.value(QStringLiteral("TotalValueTrade")));
}

} // namespace

class tst_Store : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void openRefusesWhatIsNoStore_data();
    void openRefusesWhatIsNoStore();
    void damagedStoreReportsFailures();
    void dailyBarsOfAYear();
    void minuteBarsOfASymbol_data();
    void minuteBarsOfASymbol();
    void dailyBounds_data();
    void dailyBounds();
    void minuteBounds_data();
    void minuteBounds();
    void unknownSymbolHasNothing();
    void visitorEndsTheReading();
    void barsAreReadBackFromADay();
    void fundamentalsComeInOrder();
    void companiesWithoutSharesAreUnknown();
    void tradingDaysOfRandomDistances();
    void tradingDayEdges_data();
    void tradingDayEdges();
    void yearOfMinuteBars();

private:
    RecordedStore m_recorded;
    Store m_store;
    QString m_error;
};

void tst_Store::initTestCase()
{
    QVERIFY2(m_recorded.isValid(), qPrintable(m_recorded.errorString()));
    QString error;
    QVERIFY2(m_store.open(m_recorded.path(), &error), qPrintable(error));
}

void tst_Store::openRefusesWhatIsNoStore_data()
{
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << QString() << QStringLiteral("no such file");
    QTest::newRow("folder") << QStringLiteral("folder") << QStringLiteral("a folder, not a store");
    QTest::newRow("text") << QStringLiteral("text") << QStringLiteral("not a store");
    QTest::newRow("empty file") << QStringLiteral("empty") << QStringLiteral("not a store");
    QTest::newRow("another database") << QStringLiteral("application_id = 1") << QStringLiteral("not a store");
    QTest::newRow("another version") << QStringLiteral("user_version = 99")
                                     << QStringLiteral("a store of version 99, but version 2 is required");
}

void tst_Store::openRefusesWhatIsNoStore()
{
    QFETCH(QString, content);
    QFETCH(QString, reason);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store"));
    if (content == QStringLiteral("folder")) {
        QVERIFY(QDir().mkdir(path));
    } else if (content == QStringLiteral("text") || content == QStringLiteral("empty")) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        if (content == QStringLiteral("text"))
            file.write(QByteArray(5000, 'x'));
    } else if (!content.isEmpty()) {
        QVERIFY(QFile::copy(m_recorded.path(), path));
        StoreConnection connection;
        QString error;
        QVERIFY(connection.open(path, StoreConnection::ReadWrite, &error));
        QVERIFY(connection.execute(QStringLiteral("PRAGMA ") + content, &error));
    }
    Store store;
    QString error;
    QVERIFY(!store.open(path, &error));
    QVERIFY2(error.startsWith(path + QStringLiteral(": ") + reason), qPrintable(error));
}

void tst_Store::damagedStoreReportsFailures()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store"));
    QVERIFY(QFile::copy(m_recorded.path(), path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(4096)); // the first page says what the tables are
    file.write(QByteArray(int(file.size()) - 4096, '\xff'));
    file.close();
    Store store;
    QString error;
    QVERIFY2(store.open(path, &error), qPrintable(error));
    const auto ignore = [](const StoreBar &) { return true; };
    QVERIFY(!store.readBars(Store::Daily, QStringLiteral("600000.SH"), { 0 }, { 99999999 }, ignore, &error));
    QVERIFY2(error.startsWith(path), qPrintable(error));
    error.clear();
    QVERIFY(!store.tradingDay(20230103, 1, &error));
    QVERIFY2(error.startsWith(path), qPrintable(error));
}

void tst_Store::dailyBarsOfAYear()
{
    const QVector<StoreBar> bars = read(&m_store, Store::Daily, "600000.SH", { 20230101 }, { 20231231 });
    QVector<RecordedRow> rows;
    for (const RecordedRow &row : rowsOf(readRecordedRows(QStringLiteral("kline_daily.csv")), "600000.SH")) {
        if (row.value(QStringLiteral("MDDate")).startsWith("2023"))
            rows.append(row);
    }
    QCOMPARE(bars.size(), 242);
    QCOMPARE(rows.size(), 242);
    for (int i = 0; i < bars.size(); ++i)
        QVERIFY2(same(bars.at(i), rows.at(i)), rows.at(i).value(QStringLiteral("MDDate")).constData());
}

void tst_Store::minuteBarsOfASymbol_data()
{
    QTest::addColumn<QByteArray>("symbol");
    for (const char *symbol : { "000001.SZ", "000001.SH", "IF2003.CF" })
        QTest::newRow(symbol) << QByteArray(symbol);
}

void tst_Store::minuteBarsOfASymbol()
{
    QFETCH(QByteArray, symbol);
    const QVector<StoreBar> bars =
        read(&m_store, Store::Minute, symbol.constData(), { 20000101 }, { 20991231, LastMillisecond });
    const QVector<RecordedRow> rows = rowsOf(readRecordedRows(QStringLiteral("kline_1min.csv")), symbol);
    QVERIFY(!rows.isEmpty());
    QCOMPARE(bars.size(), rows.size());
    for (int i = 0; i < bars.size(); ++i)
        QVERIFY2(same(bars.at(i), rows.at(i)), rows.at(i).value(QStringLiteral("MDTime")).constData());
}

void tst_Store::dailyBounds_data()
{
    QTest::addColumn<StoreMoment>("first");
    QTest::addColumn<StoreMoment>("last");
    QTest::addColumn<QVector<int>>("dates");
    const auto add = [](const char *name, StoreMoment first, StoreMoment last, const QVector<int> &dates) {
        QTest::newRow(name) << first << last << dates;
    };
    // Trading days around the turn of the year: 20221230, 20230103, 20230104.
    add("both ends at midnight", { 20221230 }, { 20230103 }, { 20221230, 20230103 });
    add("one day", { 20230103 }, { 20230103 }, { 20230103 });
    add("starts after midnight", { 20221230, 1 }, { 20230103 }, { 20230103 });
    add("ends late", { 20230103 }, { 20230104, 150000000 }, { 20230103, 20230104 });
    add("ends before midnight", { 20230103 }, { 20230103, LastMillisecond }, { 20230103 });
    add("starts after midnight of the last of a month", { 20221231, 1 }, { 20230103 }, { 20230103 });
    add("holidays", { 20221231 }, { 20230102 }, {});
    add("reversed", { 20230104 }, { 20221230 }, {});
    add("before everything", { 19900101 }, { 20041231 }, {});
    add("after everything", { 20250806 }, { 20991231 }, {});
    add("first day", { 19900101 }, { 20050104 }, { 20050104 });
    add("last day", { 20250805 }, { 20991231 }, { 20250805 });
}

void tst_Store::dailyBounds()
{
    QFETCH(StoreMoment, first);
    QFETCH(StoreMoment, last);
    QFETCH(QVector<int>, dates);
    QCOMPARE(datesOf(read(&m_store, Store::Daily, "600000.SH", first, last)), dates);
}

void tst_Store::minuteBounds_data()
{
    QTest::addColumn<StoreMoment>("first");
    QTest::addColumn<StoreMoment>("last");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("firstTime");
    QTest::addColumn<int>("lastTime");
    const auto add = [](const char *name, StoreMoment first, StoreMoment last, int count, int firstTime, int lastTime) {
        QTest::newRow(name) << first << last << count << firstTime << lastTime;
    };
    add("both ends are bars", { 20180102, 93100000 }, { 20180102, 93300000 }, 3, 93100000, 93300000);
    add("both ends lie between bars", { 20180102, 93100001 }, { 20180102, 93259999 }, 1, 93200000, 93200000);
    add("a day", { 20180102 }, { 20180102, LastMillisecond }, 240, 93100000, 150000000);
    add("ends at midnight", { 20180102 }, { 20180103 }, 240, 93100000, 150000000);
    add("over a night", { 20180102, 150000000 }, { 20180103, 93100000 }, 2, 150000000, 93100000);
    add("midnight alone", { 20180103 }, { 20180103 }, 0, 0, 0);
    add("reversed", { 20180103, 93100000 }, { 20180102, 150000000 }, 0, 0, 0);
}

void tst_Store::minuteBounds()
{
    QFETCH(StoreMoment, first);
    QFETCH(StoreMoment, last);
    QFETCH(int, count);
    QFETCH(int, firstTime);
    QFETCH(int, lastTime);
    const QVector<StoreBar> bars = read(&m_store, Store::Minute, "000001.SZ", first, last);
    QCOMPARE(bars.size(), count);
    if (count > 0) {
        QCOMPARE(bars.first().time, firstTime);
        QCOMPARE(bars.last().time, lastTime);
    }
}

void tst_Store::unknownSymbolHasNothing()
{
    QCOMPARE(read(&m_store, Store::Daily, "999999.XX", { 0 }, { 99999999 }).size(), 0);
    QCOMPARE(read(&m_store, Store::Minute, "999999.XX", { 0 }, { 99999999 }).size(), 0);
    QString error;
    QCOMPARE(m_store.fundamentals(QStringLiteral("999999.XX"), &error).size(), 0);
    const auto fail = [](const StoreBar &) {
        qFatal("a bar of an unknown symbol");
        return false;
    };
    QVERIFY(m_store.readDailyBarsBack(QStringLiteral("999999.XX"), 99999999, fail, &error));
    QCOMPARE(error, QString());
}

void tst_Store::visitorEndsTheReading()
{
    int seen = 0;
    QString error;
    QVERIFY(m_store.readBars(
        Store::Minute, QStringLiteral("000001.SZ"), { 0 }, { 99999999 },
        [&seen](const StoreBar &) { return ++seen < 3; }, &error));
    QCOMPARE(seen, 3);
}

void tst_Store::barsAreReadBackFromADay()
{
    QVector<StoreBar> bars;
    const auto append = [&bars](const StoreBar &bar) {
        bars.append(bar);
        return bars.size() < 3;
    };
    QString error;
    QVERIFY(m_store.readDailyBarsBack(QStringLiteral("600000.SH"), 20230102, append, &error));
    QCOMPARE(datesOf(bars), (QVector<int> { 20221230, 20221229, 20221228 }));
}

void tst_Store::fundamentalsComeInOrder()
{
    QString error;
    const QVector<StoreFundamentals> records = m_store.fundamentals(QStringLiteral("600000.SH"), &error);
    const QVector<RecordedRow> rows = rowsOf(readRecordedRows(QStringLiteral("fundamentals.csv")), "600000.SH");
    QCOMPARE(records.size(), 2);
    QCOMPARE(rows.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(records.at(i).asOf, rows.at(i).value(QStringLiteral("AsOfDate")).toInt());
        QVERIFY(same(records.at(i).totalShare, rows.at(i).value(QStringLiteral("TotalShare"))));
        QVERIFY(same(records.at(i).listedShare, rows.at(i).value(QStringLiteral("ListedShare"))));
        QVERIFY(same(records.at(i).netAssets, rows.at(i).value(QStringLiteral("NetAssets"))));
        QVERIFY(same(records.at(i).eps, rows.at(i).value(QStringLiteral("EPS"))));
        QVERIFY(same(records.at(i).pe, rows.at(i).value(QStringLiteral("PE"))));
        QVERIFY(!records.at(i).dividentRate);
    }
    QVERIFY(records.at(0).asOf < records.at(1).asOf);
}

void tst_Store::companiesWithoutSharesAreUnknown()
{
    const QVector<RecordedRow> rows = readRecordedRows(QStringLiteral("fundamentals.csv"));
    int without = 0;
    for (const RecordedRow &row : rows) {
        const bool none =
            row.value(QStringLiteral("TotalShare")) == "0" && row.value(QStringLiteral("ListedShare")) == "0";
        const QString symbol = QString::fromUtf8(row.value(QStringLiteral("Symbol")));
        if (none) {
            ++without;
            QCOMPARE(m_store.fundamentals(symbol, &m_error).size(), 0);
        }
    }
    QCOMPARE(without, 23);
}

void tst_Store::tradingDaysOfRandomDistances()
{
    QVector<int> days;
    for (const RecordedRow &row : readRecordedRows(QStringLiteral("trading_days.csv")))
        days.append(row.value(QStringLiteral("TradingDay")).toInt());
    QCOMPARE(days.size(), 8797);

    QRandomGenerator random(20230201);
    const QDate first(1990, 12, 19);
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        const QDate date = first.addDays(random.bounded(int(first.daysTo(QDate(2026, 12, 31))) + 1));
        const int start = date.toString(QStringLiteral("yyyyMMdd")).toInt();
        const int distance = random.bounded(-2000, 2001);
        // Walk the days one by one from the start.
        std::optional<int> expected;
        if (distance == 0 && days.contains(start))
            expected = start;
        int left = qAbs(distance);
        if (distance > 0) {
            for (auto day = days.cbegin(); day != days.cend() && left > 0; ++day) {
                if (*day > start && --left == 0)
                    expected = *day;
            }
        } else if (distance < 0) {
            for (auto day = days.crbegin(); day != days.crend() && left > 0; ++day) {
                if (*day < start && --left == 0)
                    expected = *day;
            }
        }
        found += expected.has_value();
        QVERIFY2(m_store.tradingDay(start, distance, &m_error) == expected,
                 qPrintable(QStringLiteral("%1 %2").arg(start).arg(distance)));
    }
    QVERIFY(found > 600 && found < 1000); // distances that leave the calendar are among them
}

void tst_Store::tradingDayEdges_data()
{
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("days");
    QTest::addColumn<int>("expected"); // 0: none
    QTest::newRow("next from a trading day") << 20230103 << 1 << 20230104;
    QTest::newRow("previous from a trading day") << 20230103 << -1 << 20221230;
    QTest::newRow("next from a holiday") << 20230101 << 1 << 20230103;
    QTest::newRow("previous from a holiday") << 20230101 << -1 << 20221230;
    QTest::newRow("none from a trading day") << 20230103 << 0 << 20230103;
    QTest::newRow("none from a holiday") << 20230101 << 0 << 0;
    QTest::newRow("first day of the calendar") << 19901219 << 0 << 19901219;
    QTest::newRow("before the calendar's first day") << 19901219 << -1 << 0;
    QTest::newRow("into the calendar") << 19901218 << 1 << 0;
    QTest::newRow("to the calendar's last day") << 20261230 << 1 << 20261231;
    QTest::newRow("beyond the calendar's last day") << 20261231 << 1 << 0;
    QTest::newRow("back into the calendar") << 20270101 << -1 << 0;
    QTest::newRow("furthest") << 20230103 << std::numeric_limits<int>::max() << 0;
    QTest::newRow("furthest back") << 20230103 << std::numeric_limits<int>::min() << 0;
}

void tst_Store::tradingDayEdges()
{
    QFETCH(int, start);
    QFETCH(int, days);
    QFETCH(int, expected);
    QCOMPARE(m_store.tradingDay(start, days, &m_error).value_or(0), expected);
}

void tst_Store::yearOfMinuteBars()
{
    // The recorded minute bars of one day, repeated on every trading day of a year.
    const QVector<RecordedRow> rows =
        rowsOf(readRecordedRows(QStringLiteral("kline_1min.csv")), "000001.SZ").mid(0, 240);
    RecordingFolder folder;
    QByteArray text;
    int days = 0;
    for (const RecordedRow &day : readRecordedRows(QStringLiteral("trading_days.csv"))) {
        const QByteArray date = day.value(QStringLiteral("TradingDay"));
        if (!date.startsWith("2023"))
            continue;
        ++days;
        for (const RecordedRow &row : rows) {
            text += "000001.SZ," + date;
            for (const char *column : { "MDTime", "OpenPx", "HighPx", "LowPx", "ClosePx", "TotalVolumeTrade",
                                        "TotalValueTrade", "OpenInterest" })
                text += ',' + row.value(QString::fromLatin1(column));
            text += '\n';
        }
    }
    QVERIFY(folder.append("kline_1min", text));
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    Store store;
    QVERIFY(store.open(folder.store(), &m_error));
    QCOMPARE(days, 242);
    QCOMPARE(read(&store, Store::Minute, "000001.SZ", { 20230101 }, { 20231231, LastMillisecond }).size(), days * 240);
}

QTEST_GUILESS_MAIN(tst_Store)
#include "tst_store.moc"
