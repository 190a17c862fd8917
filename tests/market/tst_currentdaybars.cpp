#include "requestservicetest.h"

#include <csvrecording.h>
#include <currentdaybars.h>

#include <QDir>
#include <QtTest>

namespace {

const QString symbol = QStringLiteral("600519.SH");

CsvRecording::Row quote(int hour, int minute, int second, double last, double volume, double high = 0, double low = 0)
{
    CsvRecording::Row row;
    row.date = QDate(2023, 2, 1);
    row.time = QTime(hour, minute, second);
    row.symbol = symbol;
    row.quote.lastPx = last;
    row.quote.openPx = last > 0 ? 10 : 0;
    row.quote.highPx = high > 0 ? high : last;
    row.quote.lowPx = low > 0 ? low : last;
    row.quote.totalVolumeTrade = volume;
    row.quote.totalValueTrade = volume * 10;
    return row;
}

} // namespace

/// Bars of the current day, from recorded quotes and in the answers of the service.
class tst_CurrentDayBars : public RequestServiceTest
{
    Q_OBJECT

private Q_SLOTS:
    void barsEqualTheLastQuotes_data();
    void barsEqualTheLastQuotes();
    void quotesBelongToTheirMinutes_data();
    void quotesBelongToTheirMinutes();
    void extremesBetweenQuotesAreFound();
    void nothingBeforeTheFirstTrade();
    void volumeBeforeTheFirstQuoteIsUnknown();
    void newDateReplacesTheOld();
    void serviceAnswersToTheLastMinute();
};

void tst_CurrentDayBars::barsEqualTheLastQuotes_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files =
        QDir(QStringLiteral(LX_DATA_DIR)).entryList({ QStringLiteral("stock_snapshots_*.csv.gz") }, QDir::Files);
    QVERIFY(files.size() >= 4);
    for (const QString &file : files)
        QTest::newRow(qPrintable(file)) << file.chopped(int(qstrlen(".gz")));
}

void tst_CurrentDayBars::barsEqualTheLastQuotes()
{
    QFETCH(QString, file);
    CurrentDayBars live;
    CsvRecording recording;
    QString error;
    QVERIFY2(recording.open(QStringLiteral(LX_DATA_DIR "/") + file + QStringLiteral(".gz"), RecordingKind::StockQuote,
                            QString(), &error),
             qPrintable(error));
    while (recording.next([](const QString &, qint64, const QString &) {}, &error))
        live.observe(recording.row());
    QCOMPARE(error, QString());

    QHash<QByteArray, RecordedRow> last;
    for (const RecordedRow &row : readRecordedRows(file))
        last.insert(row.value(QStringLiteral("Symbol")), row);
    QVERIFY(last.size() >= 2);
    for (auto row = last.cbegin(); row != last.cend(); ++row) {
        const QString name = QString::fromUtf8(row.key());
        const auto number = [&row](const char *column) { return row->value(QString::fromLatin1(column)).toDouble(); };
        const QVector<StoreBar> days = live.bars(Store::Daily, name);
        QCOMPARE(days.size(), 1);
        QCOMPARE(days.first().open, number("OpenPx"));
        QCOMPARE(days.first().high, number("HighPx"));
        QCOMPARE(days.first().low, number("LowPx"));
        QCOMPARE(days.first().close, number("LastPx"));
        QCOMPARE(days.first().volume, std::optional<double>(number("TotalVolumeTrade")));
        QCOMPARE(days.first().value, std::optional<double>(number("TotalValueTrade")));

        const QVector<StoreBar> minutes = live.bars(Store::Minute, name);
        QVERIFY(!minutes.isEmpty() && minutes.size() <= 240);
        double volume = 0;
        double high = 0;
        double low = 1e9;
        int time = 0;
        for (const StoreBar &minute : minutes) {
            QVERIFY(minute.time > time);
            QVERIFY(minute.volume && *minute.volume >= 0);
            QVERIFY(minute.low <= std::min(minute.open, minute.close));
            QVERIFY(minute.high >= std::max(minute.open, minute.close));
            time = minute.time;
            volume += *minute.volume;
            high = std::max(high, minute.high);
            low = std::min(low, minute.low);
        }
        QCOMPARE(volume, number("TotalVolumeTrade"));
        QCOMPARE(minutes.first().open, number("OpenPx"));
        QCOMPARE(high, number("HighPx"));
        QCOMPARE(low, number("LowPx"));
        QCOMPARE(minutes.last().close, number("LastPx"));
    }
}

void tst_CurrentDayBars::quotesBelongToTheirMinutes_data()
{
    QTest::addColumn<QTime>("time");
    QTest::addColumn<int>("label");
    QTest::newRow("opening auction") << QTime(9, 25) << 93100000;
    QTest::newRow("open") << QTime(9, 30) << 93100000;
    QTest::newRow("within the first minute") << QTime(9, 30, 59, 999) << 93100000;
    QTest::newRow("end of the first minute") << QTime(9, 31) << 93100000;
    QTest::newRow("after the first minute") << QTime(9, 31, 0, 1) << 93200000;
    QTest::newRow("end of the morning") << QTime(11, 30) << 113000000;
    QTest::newRow("lunch") << QTime(11, 31) << 113000000;
    QTest::newRow("end of lunch") << QTime(13, 0) << 113000000;
    QTest::newRow("afternoon") << QTime(13, 0, 1) << 130100000;
    QTest::newRow("close") << QTime(15, 0) << 150000000;
    QTest::newRow("after the close") << QTime(15, 40) << 150000000;
}

void tst_CurrentDayBars::quotesBelongToTheirMinutes()
{
    QFETCH(QTime, time);
    QFETCH(int, label);
    CurrentDayBars live;
    CsvRecording::Row row = quote(0, 0, 0, 10, 100);
    row.time = time;
    live.observe(row);
    QCOMPARE(live.bars(Store::Minute, symbol).value(0).time, label);
    // Bars of futures are labelled by the start of the same minute.
    row.symbol = QStringLiteral("IF2302.CF");
    live.observe(row);
    const int start = live.bars(Store::Minute, row.symbol).value(0).time;
    QCOMPARE(QTime(start / 10000000, start / 100000 % 100).addSecs(60), QTime(label / 10000000, label / 100000 % 100));
}

void tst_CurrentDayBars::extremesBetweenQuotesAreFound()
{
    CurrentDayBars live;
    live.observe(quote(9, 30, 10, 10, 100));
    live.observe(quote(9, 31, 10, 11, 150, 13, 8)); // 13 and 8 were traded between the two quotes
    live.observe(quote(9, 32, 10, 11.5, 250, 13, 8));
    const QVector<StoreBar> minutes = live.bars(Store::Minute, symbol);
    QCOMPARE(minutes.size(), 3);
    QCOMPARE(minutes.at(1).open, 11.0);
    QCOMPARE(minutes.at(1).high, 13.0);
    QCOMPARE(minutes.at(1).low, 8.0);
    QCOMPARE(minutes.at(1).volume, std::optional<double>(50));
    QCOMPARE(minutes.at(2).high, 11.5);
    QCOMPARE(minutes.at(2).low, 11.5);
    QCOMPARE(minutes.at(2).volume, std::optional<double>(100));
    QCOMPARE(minutes.at(2).value, std::optional<double>(1000));
}

void tst_CurrentDayBars::nothingBeforeTheFirstTrade()
{
    CurrentDayBars live;
    live.observe(quote(9, 15, 0, 0, 0));
    QVERIFY(live.bars(Store::Daily, symbol).isEmpty());
    QVERIFY(live.bars(Store::Minute, symbol).isEmpty());
    live.observe(quote(10, 14, 30, 10, 300));
    const QVector<StoreBar> minutes = live.bars(Store::Minute, symbol);
    QCOMPARE(minutes.size(), 1);
    QCOMPARE(minutes.first().time, 101500000);
    QCOMPARE(minutes.first().volume, std::optional<double>(300));
}

void tst_CurrentDayBars::volumeBeforeTheFirstQuoteIsUnknown()
{
    CurrentDayBars live;
    live.observe(quote(10, 0, 0, 10, 5000));
    live.observe(quote(10, 1, 0, 10, 5100));
    const QVector<StoreBar> minutes = live.bars(Store::Minute, symbol);
    QCOMPARE(minutes.size(), 2);
    QVERIFY(!minutes.at(0).volume);
    QCOMPARE(minutes.at(1).volume, std::optional<double>(100));
    QCOMPARE(live.bars(Store::Daily, symbol).first().volume, std::optional<double>(5100));
}

void tst_CurrentDayBars::newDateReplacesTheOld()
{
    CurrentDayBars live;
    live.observe(quote(15, 0, 0, 10, 5000));
    CsvRecording::Row next = quote(9, 30, 0, 11, 100);
    next.date = QDate(2023, 2, 2);
    live.observe(next);
    QCOMPARE(live.bars(Store::Minute, symbol).size(), 1);
    QCOMPARE(live.bars(Store::Daily, symbol).first().date, 20230202);
    live.clear();
    QVERIFY(live.bars(Store::Daily, symbol).isEmpty());
}

void tst_CurrentDayBars::serviceAnswersToTheLastMinute()
{
    m_service.reset();
    CurrentDayBars live;
    m_service = std::make_unique<RequestService>(&live);
    QString error;
    QVERIFY2(m_service->start(m_recorded.path(), &error), qPrintable(error));
    Client client;
    const auto ask = [&client](const char *name, int period) {
        client->put(QStringLiteral("KLineRequest"),
                    packed({ { { QStringLiteral("Symbol"), QString::fromLatin1(name) },
                               { QStringLiteral("StartTime"), QStringLiteral("20230131000000") },
                               { QStringLiteral("StopTime"), QStringLiteral("20230202000000") },
                               { QStringLiteral("PeriodType"), period } } }));
        return client.take().body.toList();
    };
    QCOMPARE(ask("600519.SH", 1).size(), 0);
    live.observe(quote(9, 30, 0, 10, 100));
    live.observe(quote(9, 31, 30, 12, 300, 12, 10));
    const QVariantList minutes = ask("600519.SH", 1);
    QCOMPARE(minutes.size(), 2);
    QCOMPARE(minutes.at(1).toMap().value(QStringLiteral("MDTime")), QVariant(QStringLiteral("093200000")));
    QCOMPARE(minutes.at(1).toMap().value(QStringLiteral("TotalVolumeTrade")), QVariant(200.0));
    const QVariantList five = ask("600519.SH", 3);
    QCOMPARE(five.size(), 1);
    QCOMPARE(five.at(0).toMap().value(QStringLiteral("TotalVolumeTrade")), QVariant(300.0));

    // Today's bar takes its place among the stored ones.
    CsvRecording::Row row = quote(9, 30, 0, 7.5, 100);
    row.symbol = QStringLiteral("600000.SH");
    live.observe(row);
    const QVariantList days = ask("600000.SH", 2);
    QCOMPARE(days.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(days.at(i).toMap().value(QStringLiteral("MDDate")).toString(),
                 QString::number(20230131 + (i > 0 ? 69 + i : 0)));
        QCOMPARE(days.at(i).toMap().value(QStringLiteral("ClosePx")) == QVariant(7.5), i == 1);
    }
    m_service.reset();
}

QTEST_GUILESS_MAIN(tst_CurrentDayBars)
#include "tst_currentdaybars.moc"
