#include "requestservicetest.h"

namespace {

Fields barRequest(const QString &symbol, const QString &start, const QString &stop, int period)
{
    return { { QStringLiteral("Symbol"), symbol },
             { QStringLiteral("StartTime"), start },
             { QStringLiteral("StopTime"), stop },
             { QStringLiteral("ExrightsType"), 11 },
             { QStringLiteral("PeriodType"), period } };
}

} // namespace

class tst_RequestService : public RequestServiceTest
{
    Q_OBJECT

private Q_SLOTS:
    void startNeedsAStore();
    void dailyBarsHaveAllFields();
    void minuteBarsHaveAllFields();
    void barsComeInChunks_data();
    void barsComeInChunks();
    void barsWithoutMatchAreOneEmptyList_data();
    void barsWithoutMatchAreOneEmptyList();
    void answersReachOnlyWhoAsked();
    void malformedBarRequestsAreDropped_data();
    void malformedBarRequestsAreDropped();
    void requestsUnderWayAreAnsweredWhenTheServiceLeaves();
    void serviceMayLeaveInTheMiddleOfAFlood();
};

void tst_RequestService::startNeedsAStore()
{
    RequestService service;
    QString error;
    QVERIFY(!service.start(QStringLiteral(LX_DATA_DIR "/trading_days.csv"), &error));
    QVERIFY2(error.contains(QStringLiteral("not a store")), qPrintable(error));
}

void tst_RequestService::dailyBarsHaveAllFields()
{
    Client client;
    client->put(QStringLiteral("KLineRequest"),
                packed({ barRequest(QStringLiteral("600000.SH"), QStringLiteral("20230101000000"),
                                    QStringLiteral("20231231000000"), 2) }));
    const Client::Message answer = client.take();
    QCOMPARE(answer.type, bars);
    const QVariantList list = answer.body.toList();
    QCOMPARE(list.size(), 242);
    int i = 0;
    for (const RecordedRow &row : rowsOf(readRecordedRows(QStringLiteral("kline_daily.csv")), "600000.SH")) {
        if (!row.value(QStringLiteral("MDDate")).startsWith("2023"))
            continue;
        QVariantMap expected { { QStringLiteral("PeriodType"), 2 },
                               { QStringLiteral("Symbol"), QStringLiteral("600000.SH") },
                               { QStringLiteral("MDDate"), QString::fromUtf8(row.value(QStringLiteral("MDDate"))) } };
        for (const char *key : { "OpenPx", "HighPx", "LowPx", "ClosePx", "TotalVolumeTrade", "TotalValueTrade" })
            expected.insert(QString::fromLatin1(key), row.value(QString::fromLatin1(key)).toDouble());
        QCOMPARE(list.at(i++).toMap(), expected);
    }
    QCOMPARE(i, 242);
}

void tst_RequestService::minuteBarsHaveAllFields()
{
    Client client;
    client->put(QStringLiteral("KLineRequest"),
                packed({ barRequest(QStringLiteral("000001.SH"), QStringLiteral("20170306093200"),
                                    QStringLiteral("20170306093300"), 1) }));
    const QVariantList list = client.take().body.toList();
    QCOMPARE(list.size(), 2);
    for (const RecordedRow &row : readRecordedRows(QStringLiteral("kline_1min.csv"))) {
        const bool first = row.value(QStringLiteral("MDTime")) == "093200000";
        if (row.value(QStringLiteral("Symbol")) != "000001.SH" || row.value(QStringLiteral("MDDate")) != "20170306"
            || !(first || row.value(QStringLiteral("MDTime")) == "093300000"))
            continue;
        // The source has no volumes of this index.
        QVariantMap expected { { QStringLiteral("PeriodType"), 1 },
                               { QStringLiteral("Symbol"), QStringLiteral("000001.SH") },
                               { QStringLiteral("MDDate"), QStringLiteral("20170306") },
                               { QStringLiteral("MDTime"), QString::fromUtf8(row.value(QStringLiteral("MDTime"))) } };
        for (const char *key : { "OpenPx", "HighPx", "LowPx", "ClosePx", "TotalValueTrade" })
            expected.insert(QString::fromLatin1(key), row.value(QString::fromLatin1(key)).toDouble());
        QCOMPARE(list.at(first ? 0 : 1).toMap(), expected);
    }
}

void tst_RequestService::barsComeInChunks_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("chunks");
    QTest::newRow("one bar") << 1 << QVector<int> { 1 };
    QTest::newRow("one short of a chunk") << 999 << QVector<int> { 999 };
    QTest::newRow("a chunk") << 1000 << QVector<int> { 1000, 0 };
    QTest::newRow("one more than a chunk") << 1001 << QVector<int> { 1000, 1 };
    QTest::newRow("chunks") << 3000 << QVector<int> { 1000, 1000, 1000, 0 };
    QTest::newRow("all") << 4899 << QVector<int> { 1000, 1000, 1000, 1000, 899 };
}

void tst_RequestService::barsComeInChunks()
{
    QFETCH(int, count);
    QFETCH(QVector<int>, chunks);
    const QVector<RecordedRow> rows = rowsOf(readRecordedRows(QStringLiteral("kline_daily.csv")), "600000.SH");
    QVERIFY(rows.size() >= count);
    Client client;
    const QString stop = QString::fromUtf8(rows.at(count - 1).value(QStringLiteral("MDDate")) + "000000");
    client->put(QStringLiteral("KLineRequest"),
                packed({ barRequest(QStringLiteral("600000.SH"), QStringLiteral("19900101000000"), stop, 2) }));
    // The answer to the next request shows that nothing else came for this one.
    client->put(requestOf(risingDays), indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
    int position = 0;
    for (int size : std::as_const(chunks)) {
        const Client::Message message = client.take();
        QCOMPARE(message.type, bars);
        const QVariantList list = message.body.toList();
        QCOMPARE(list.size(), size);
        for (const QVariant &bar : list) {
            QCOMPARE(bar.toMap().value(QStringLiteral("MDDate")).toByteArray(),
                     rows.at(position++).value(QStringLiteral("MDDate")));
        }
    }
    QCOMPARE(client.take().type, responseOf(risingDays));
    QCOMPARE(position, count);
}

void tst_RequestService::barsWithoutMatchAreOneEmptyList_data()
{
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("stop");
    QTest::addColumn<int>("period");
    const QString known = QStringLiteral("600000.SH");
    const QString start = QStringLiteral("20230101000000");
    const QString stop = QStringLiteral("20231231000000");
    QTest::newRow("unknown symbol") << QStringLiteral("999999.XX") << start << stop << 2;
    QTest::newRow("holidays") << known << start << QStringLiteral("20230102000000") << 2;
    QTest::newRow("reversed") << known << stop << start << 2;
    QTest::newRow("no minute bars of the symbol") << known << start << stop << 1;
}

void tst_RequestService::barsWithoutMatchAreOneEmptyList()
{
    QFETCH(QString, symbol);
    QFETCH(QString, start);
    QFETCH(QString, stop);
    QFETCH(int, period);
    Client client;
    client->put(QStringLiteral("KLineRequest"), packed({ barRequest(symbol, start, stop, period) }));
    client->put(requestOf(risingDays), indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
    const Client::Message message = client.take();
    QCOMPARE(message.type, bars);
    QCOMPARE(message.body, QVariant(QVariantList()));
    QCOMPARE(client.take().type, responseOf(risingDays));
}

void tst_RequestService::answersReachOnlyWhoAsked()
{
    Client one;
    Client other;
    one->put(QStringLiteral("KLineRequest"),
             packed({ barRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103000000"),
                                 QStringLiteral("20230103000000"), 2) }));
    one->put(requestOf(priceEarnings), indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
    QCOMPARE(one.take().type, bars);
    QCOMPARE(one.take().type, responseOf(priceEarnings));
    // What went to both would have come to the other before its own answer.
    other->put(requestOf(risingDays), indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
    QCOMPARE(other.take().type, responseOf(risingDays));
}

void tst_RequestService::malformedBarRequestsAreDropped_data()
{
    QTest::addColumn<QVariant>("body");
    const Fields sound =
        barRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103000000"), QStringLiteral("20230103000000"), 2);
    const auto with = [&sound](const char *key, const QVariant &value) {
        Fields fields = sound;
        fields.insert(QString::fromLatin1(key), value);
        return packed({ fields });
    };
    QTest::newRow("nothing") << QVariant();
    QTest::newRow("text") << QVariant(QStringLiteral("600000.SH"));
    QTest::newRow("no rows") << packed({});
    QTest::newRow("no symbol") << with("Symbol", QString());
    QTest::newRow("no start") << with("StartTime", QVariant());
    QTest::newRow("start without time") << with("StartTime", QStringLiteral("20230103"));
    QTest::newRow("start on no day") << with("StartTime", QStringLiteral("20230230000000"));
    QTest::newRow("start at no time") << with("StartTime", QStringLiteral("20230103240000"));
    QTest::newRow("stop is text") << with("StopTime", QStringLiteral("tomorrow at ten"));
    QTest::newRow("stop is too long") << with("StopTime", QStringLiteral("202301030000000"));
    QTest::newRow("no period") << with("PeriodType", QVariant());
    QTest::newRow("unknown period") << with("PeriodType", 9);
    QTest::newRow("period zero") << with("PeriodType", 0);
    QTest::newRow("period is a fraction") << with("PeriodType", 1.5);
    QTest::newRow("period is not a number") << with("PeriodType", qQNaN());
    QTest::newRow("period is infinite") << with("PeriodType", qInf());
    QTest::newRow("period overflows") << with("PeriodType", (qint64(1) << 32) + 2);
    QTest::newRow("unknown adjustment") << with("ExrightsType", 14);
    QTest::newRow("adjustment is a fraction") << with("ExrightsType", 11.5);
    QTest::newRow("adjustment is not a number") << with("ExrightsType", qQNaN());
}

void tst_RequestService::malformedBarRequestsAreDropped()
{
    QFETCH(QVariant, body);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("dropped KLineRequest .* 1 so far")));
    Client client;
    client->put(QStringLiteral("KLineRequest"), body);
    client->put(requestOf(risingDays), indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
    QCOMPARE(client.take().type, responseOf(risingDays));
    QCOMPARE(m_service->droppedRequests(), quint64(1));
}

void tst_RequestService::requestsUnderWayAreAnsweredWhenTheServiceLeaves()
{
    Client client;
    const QVariant request = packed({ barRequest(QStringLiteral("600000.SH"), QStringLiteral("20050101000000"),
                                                 QStringLiteral("20251231000000"), 2) });
    // As the bus hands them over; the service leaves while most of them wait.
    for (int i = 0; i < 20; ++i)
        m_service->handle({ QStringLiteral("KLineRequest"), request, client->address(), 0 });
    m_service.reset();
    for (int i = 0; i < 20 * 5; ++i)
        QCOMPARE(client.take().type, bars);
    QVariant answer;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("dropped")));
    QCOMPARE(client->requestSync(QStringLiteral("181063"), QVariant(), &answer), int(LxBusEndpoint::NoService));
}

void tst_RequestService::serviceMayLeaveInTheMiddleOfAFlood()
{
    constexpr int count = 5000; // far more than the service takes from the bus at a time
    const QVariant request = indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103"));
    const auto flood = [&request](Client *client) {
        for (int i = 0; i < count; ++i)
            (*client)->put(requestOf(risingDays), request);
    };
    Client client;
    flood(&client);
    for (int i = 0; i < count; ++i)
        QCOMPARE(client.take().type, responseOf(risingDays));

    // Whether a call of the service is waiting for room just then is chance.
    for (int round = 0; round < 10; ++round) {
        flood(&client);
        m_service.reset();
        init();
    }

    // The bus is still usable.
    Client next;
    QCOMPARE(statusOf(ask(&next, risingDays, request)), success);
}

QTEST_GUILESS_MAIN(tst_RequestService)
#include "tst_requestservice.moc"
