#include "requestservicetest.h"

#include <QDate>
#include <QRandomGenerator>

class tst_RequestServiceIndicators : public RequestServiceTest
{
    Q_OBJECT

private Q_SLOTS:
    void indicatorsAgreeWithTheRecordedData_data();
    void indicatorsAgreeWithTheRecordedData();
    void priceEarningsOfBothReports();
    void indicatorsOfUnknownSymbolsHaveNoRow_data();
    void indicatorsOfUnknownSymbolsHaveNoRow();
    void malformedIndicatorRequestsAreRefused_data();
    void malformedIndicatorRequestsAreRefused();
};

void tst_RequestServiceIndicators::indicatorsAgreeWithTheRecordedData_data()
{
    QTest::addColumn<QByteArray>("symbol");
    for (const char *symbol : { "600000.SH", "000001.SZ", "000001.SH", "300550.SZ", "000300.SH" })
        QTest::newRow(symbol) << QByteArray(symbol);
}

void tst_RequestServiceIndicators::indicatorsAgreeWithTheRecordedData()
{
    QFETCH(QByteArray, symbol);
    const QVector<RecordedRow> rows = rowsOf(readRecordedRows(QStringLiteral("kline_daily.csv")), symbol);
    const QString name = QString::fromUtf8(symbol);
    const auto number = [&rows](int row, const char *key) {
        return rows.at(row).value(QString::fromLatin1(key)).toDouble();
    };
    QRandomGenerator random(600000);
    Client client;
    int longest = 0;
    for (int i = 0; i < 60; ++i) {
        // Days between the bars count as the bar before, so ask on the day after.
        const int last = i < 6 ? i : random.bounded(rows.size());
        const QDate barDay = QDate::fromString(QString::fromUtf8(rows.at(last).value(QStringLiteral("MDDate"))),
                                               QStringLiteral("yyyyMMdd"));
        const bool onNextDay = last + 1 == rows.size()
            || rows.at(last + 1).value(QStringLiteral("MDDate")).toInt()
                > barDay.addDays(1).toString(QStringLiteral("yyyyMMdd")).toInt();
        const QString date = barDay.addDays(onNextDay ? 1 : 0).toString(QStringLiteral("yyyyMMdd"));

        double volume = 0;
        int days = 0;
        for (int row = last; row >= 0 && days < 5; --row, ++days)
            volume += number(row, "TotalVolumeTrade");
        QVector<Fields> answer = ask(&client, volumeRatio, indicatorRequest(name, date));
        QCOMPARE(statusOf(answer), success);
        QCOMPARE(answer.size(), 2);
        QCOMPARE(answer.at(1),
                 (Fields { { QStringLiteral("Symbol"), name },
                           { QStringLiteral("MDDate"), date },
                           { QStringLiteral("last5DayVolumePerMinute"), volume / (days * 240.0) } }));

        int rising = 0;
        while (last - rising > 0 && number(last - rising, "ClosePx") > number(last - rising - 1, "ClosePx"))
            ++rising;
        longest = qMax(longest, rising);
        answer = ask(&client, risingDays, indicatorRequest(name, date));
        QCOMPARE(statusOf(answer), success);
        QCOMPARE(answer.size(), 2);
        QCOMPARE(answer.at(1),
                 (Fields { { QStringLiteral("Symbol"), name },
                           { QStringLiteral("MDDate"), date },
                           { QStringLiteral("days"), rising } }));

        answer = ask(&client, priceEarnings, indicatorRequest(name, date));
        QCOMPARE(statusOf(answer), success);
        QCOMPARE(answer.at(1).value(QStringLiteral("tradeDay")).toByteArray(),
                 rows.at(last).value(QStringLiteral("MDDate")));
        QCOMPARE(answer.at(1).value(QStringLiteral("ClosePx")), QVariant(number(last, "ClosePx")));
    }
    QVERIFY(longest >= 2);
}

void tst_RequestServiceIndicators::priceEarningsOfBothReports()
{
    const QVector<RecordedRow> reports = rowsOf(readRecordedRows(QStringLiteral("fundamentals.csv")), "600000.SH");
    const auto figure = [&reports](int report, const char *key) {
        return reports.at(report).value(QString::fromLatin1(key)).toDouble();
    };
    const auto closeOf = [](const QByteArray &date) {
        for (const RecordedRow &row : rowsOf(readRecordedRows(QStringLiteral("kline_daily.csv")), "600000.SH")) {
            if (row.value(QStringLiteral("MDDate")) == date)
                return row.value(QStringLiteral("ClosePx")).toDouble();
        }
        return qQNaN();
    };
    const QString symbol = QStringLiteral("600000.SH");
    Client client;

    // Between the two records: that of 30 September 2011, of three quarters.
    const QVector<Fields> early = ask(&client, priceEarnings, indicatorRequest(symbol, QStringLiteral("20170418")));
    QCOMPARE(statusOf(early), success);
    QCOMPARE(early.size(), 2);
    QCOMPARE(early.at(1).keys(),
             (QStringList { QStringLiteral("ClosePx"), QStringLiteral("MDDate"), QStringLiteral("Symbol"),
                            QStringLiteral("dynamicPE"), QStringLiteral("eps"), QStringLiteral("tradeDay") }));
    QCOMPARE(early.at(1).value(QStringLiteral("MDDate")), QVariant(QStringLiteral("20170418")));
    QCOMPARE(early.at(1).value(QStringLiteral("eps")), QVariant(figure(0, "EPS")));
    QCOMPARE(early.at(1).value(QStringLiteral("dynamicPE")).toDouble(),
             closeOf("20170418") / (figure(0, "EPS") / 3 * 4));

    // On the second record's day the ratio is the one published, afterwards it follows the price.
    const QVector<Fields> published = ask(&client, priceEarnings, indicatorRequest(symbol, QStringLiteral("20170419")));
    QCOMPARE(published.at(1).value(QStringLiteral("eps")), QVariant(figure(1, "EPS")));
    QCOMPARE(published.at(1).value(QStringLiteral("dynamicPE")).toDouble(), figure(1, "PE"));
    const QVector<Fields> later = ask(&client, priceEarnings, indicatorRequest(symbol, QStringLiteral("20170420")));
    QCOMPARE(later.at(1).value(QStringLiteral("dynamicPE")).toDouble(),
             closeOf("20170420") / (closeOf("20170419") / figure(1, "PE")));

    // A company without bars has nothing but its earnings.
    const QVector<Fields> unpriced =
        ask(&client, priceEarnings, indicatorRequest(QStringLiteral("603999.SH"), QStringLiteral("20230103")));
    QCOMPARE(unpriced.at(1).keys(),
             (QStringList { QStringLiteral("MDDate"), QStringLiteral("Symbol"), QStringLiteral("eps") }));
    const RecordedRow report = rowsOf(readRecordedRows(QStringLiteral("fundamentals.csv")), "603999.SH").last();
    QCOMPARE(unpriced.at(1).value(QStringLiteral("eps")), QVariant(report.value(QStringLiteral("EPS")).toDouble()));
}

void tst_RequestServiceIndicators::indicatorsOfUnknownSymbolsHaveNoRow_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<QString>("date");
    for (const QString &pattern : { priceEarnings, volumeRatio, risingDays }) {
        const QByteArray name = pattern.toLatin1();
        QTest::addRow("%s unknown symbol", name.constData())
            << pattern << QStringLiteral("999999.XX") << QStringLiteral("20230103");
        QTest::addRow("%s security without data", name.constData())
            << pattern << QStringLiteral("000002.SH") << QStringLiteral("20230103");
    }
    for (const QString &pattern : { volumeRatio, risingDays }) {
        QTest::addRow("%s before the first bar", pattern.toLatin1().constData())
            << pattern << QStringLiteral("600000.SH") << QStringLiteral("20050103");
    }
}

void tst_RequestServiceIndicators::indicatorsOfUnknownSymbolsHaveNoRow()
{
    QFETCH(QString, pattern);
    QFETCH(QString, symbol);
    QFETCH(QString, date);
    Client client;
    const QVector<Fields> answer = ask(&client, pattern, indicatorRequest(symbol, date));
    QCOMPARE(answer.size(), 1);
    QCOMPARE(statusOf(answer), QVariant(RequestStatus::notFound));
    QCOMPARE(answer.at(0).value(QStringLiteral("Symbol")).toString(), symbol);
}

void tst_RequestServiceIndicators::malformedIndicatorRequestsAreRefused_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QVariant>("body");
    for (const QString &pattern : { priceEarnings, volumeRatio, risingDays }) {
        const QByteArray name = pattern.toLatin1();
        QTest::addRow("%s nothing", name.constData()) << pattern << QVariant();
        QTest::addRow("%s no rows", name.constData()) << pattern << packed({});
        QTest::addRow("%s no symbol", name.constData())
            << pattern << indicatorRequest(QString(), QStringLiteral("20230103"));
        QTest::addRow("%s no date", name.constData())
            << pattern << indicatorRequest(QStringLiteral("600000.SH"), QString());
        QTest::addRow("%s no such day", name.constData())
            << pattern << indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230229"));
    }
}

void tst_RequestServiceIndicators::malformedIndicatorRequestsAreRefused()
{
    QFETCH(QString, pattern);
    QFETCH(QVariant, body);
    Client client;
    const QVector<Fields> answer = ask(&client, pattern, body);
    QCOMPARE(answer.size(), 1);
    QCOMPARE(statusOf(answer), QVariant(RequestStatus::badRequest));
    QCOMPARE(m_service->droppedRequests(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_RequestServiceIndicators)
#include "tst_requestservice_indicators.moc"
