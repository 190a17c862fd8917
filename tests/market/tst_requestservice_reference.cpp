#include "requestservicetest.h"

#include <summitdefines/summitfields.h>

#include <QDate>
#include <QRandomGenerator>

#include <algorithm>

namespace TradingDayFields = Summit_Fields::QuantizationInformationMsgCode;

namespace {

QVariant deepRequest(const QStringList &symbols, const QStringList &figures)
{
    QVector<Fields> rows { { { Orca_Fields::System::msgType, QStringLiteral("181027") } } };
    for (const QString &figure : figures) {
        for (const QString &symbol : symbols) {
            const QStringList parts = symbol.split(QLatin1Char('.'));
            rows.append({ { Orca_Fields::MDCFieldDefine::mdcSecurityType, QStringLiteral("stock") },
                          { Orca_Fields::Security::securityID, parts.value(0) },
                          { QStringLiteral("36046"), figure },
                          { Orca_Fields::UserAccount::SymbolPost, parts.value(1) } });
        }
    }
    rows[0].insert(Orca_Fields::System::subGroupNumber, QString::number(rows.size() - 1));
    return packed(rows);
}

} // namespace

class tst_RequestServiceReference : public RequestServiceTest
{
    Q_OBJECT

private Q_SLOTS:
    void tradingDaysAgreeWithTheCalendar();
    void tradingDayStatus_data();
    void tradingDayStatus();
    void deepDataComesInTheClientsUnits();
    void deepDataOfDividends();
    void deepDataOfUnknownSymbolsAndFigures();
    void deepDataStatus_data();
    void deepDataStatus();
    void unreadableStoreIsAStatus();

private:
    QVector<Fields> askTradingDay(Client *client, const Fields &request);
    QVector<Fields> askDeepData(Client *client, const QVariant &body);
};

QVector<Fields> tst_RequestServiceReference::askTradingDay(Client *client, const Fields &request)
{
    QVariant answer;
    const int result = (*client)->requestSync(QStringLiteral("181063"), packed({ request }), &answer);
    return result == LxBusEndpoint::Ok ? unpacked(answer) : QVector<Fields>();
}

QVector<Fields> tst_RequestServiceReference::askDeepData(Client *client, const QVariant &body)
{
    if ((*client)->requestAsync(QStringLiteral("181027"), body) != LxBusEndpoint::Ok)
        return {};
    const Client::Message answer = client->take();
    return answer.type == QStringLiteral("181028") ? unpacked(answer.body) : QVector<Fields>();
}

void tst_RequestServiceReference::tradingDaysAgreeWithTheCalendar()
{
    QVector<int> days;
    for (const RecordedRow &row : readRecordedRows(QStringLiteral("trading_days.csv")))
        days.append(row.value(QStringLiteral("TradingDay")).toInt());
    QRandomGenerator random(181063);
    Client client;
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        const QString start = QDate(1990, 12, 19).addDays(random.bounded(13000)).toString(QStringLiteral("yyyyMMdd"));
        const int distance = (random.bounded(2) ? 1 : -1) * (1 + random.bounded(1500));
        const auto after = std::upper_bound(days.cbegin(), days.cend(), start.toInt());
        const auto notBefore = std::lower_bound(days.cbegin(), days.cend(), start.toInt());
        const qint64 index =
            distance > 0 ? (after - days.cbegin()) + distance - 1 : (notBefore - days.cbegin()) + distance;
        const QVector<Fields> answer = askTradingDay(
            &client, { { TradingDayFields::InitStartDate, start }, { TradingDayFields::Days, distance } });
        if (index < 0 || index >= days.size()) {
            QCOMPARE(statusOf(answer), QVariant(RequestStatus::notFound));
            QCOMPARE(answer.size(), 1);
            continue;
        }
        ++found;
        QCOMPARE(statusOf(answer), success);
        QCOMPARE(answer.size(), 2);
        QCOMPARE(answer.at(1), (Fields { { TradingDayFields::TradeDate, QString::number(days.at(int(index))) } }));
    }
    QVERIFY(found > 700 && found < 1000);
}

void tst_RequestServiceReference::tradingDayStatus_data()
{
    QTest::addColumn<QVariant>("start");
    QTest::addColumn<QVariant>("days");
    QTest::addColumn<QString>("status");
    const QString &none = RequestStatus::notFound;
    const QString &bad = RequestStatus::badRequest;
    QTest::newRow("day itself") << QVariant(QStringLiteral("20230103")) << QVariant(0) << QStringLiteral("0");
    QTest::newRow("holiday itself") << QVariant(QStringLiteral("20230101")) << QVariant(0) << none;
    QTest::newRow("before the calendar") << QVariant(QStringLiteral("19900101")) << QVariant(1) << none;
    QTest::newRow("after the calendar") << QVariant(QStringLiteral("20270601")) << QVariant(-1) << none;
    QTest::newRow("out of the calendar") << QVariant(QStringLiteral("20261230")) << QVariant(5) << none;
    QTest::newRow("no start") << QVariant() << QVariant(1) << bad;
    QTest::newRow("no such day") << QVariant(QStringLiteral("20230229")) << QVariant(1) << bad;
    QTest::newRow("other format") << QVariant(QStringLiteral("2023-01-03")) << QVariant(1) << bad;
    QTest::newRow("no distance") << QVariant(QStringLiteral("20230103")) << QVariant() << bad;
    QTest::newRow("distance is text") << QVariant(QStringLiteral("20230103")) << QVariant(QStringLiteral("x")) << bad;
}

void tst_RequestServiceReference::tradingDayStatus()
{
    QFETCH(QVariant, start);
    QFETCH(QVariant, days);
    QFETCH(QString, status);
    Fields request { { Orca_Fields::System::msgType, QStringLiteral("181063") } };
    if (start.isValid())
        request.insert(TradingDayFields::InitStartDate, start);
    if (days.isValid())
        request.insert(TradingDayFields::Days, days);
    Client client;
    const QVector<Fields> answer = askTradingDay(&client, request);
    QCOMPARE(statusOf(answer), QVariant(status));
    QCOMPARE(answer.size(), status == QStringLiteral("0") ? 2 : 1);
}

void tst_RequestServiceReference::deepDataComesInTheClientsUnits()
{
    const QStringList symbols { QStringLiteral("600000.SH"), QStringLiteral("000001.SZ"), QStringLiteral("300027.SZ") };
    const QStringList figures { QStringLiteral("TotalShare"), QStringLiteral("ListedShare"),
                                QStringLiteral("NetAssets") };
    const QVector<RecordedRow> recorded = readRecordedRows(QStringLiteral("fundamentals.csv"));
    Client client;
    const QVector<Fields> answer = askDeepData(&client, deepRequest(symbols, figures));
    QCOMPARE(statusOf(answer), success);
    QCOMPARE(answer.size(), 10);
    QCOMPARE(answer.at(0).value(Orca_Fields::System::subGroupNumber), QVariant(QStringLiteral("9")));
    int row = 0;
    for (const QString &figure : figures) {
        for (const QString &symbol : symbols) {
            const double value = rowsOf(recorded, symbol.toUtf8()).last().value(figure).toDouble();
            const double unit = figure == QStringLiteral("NetAssets") ? 1 : 10000;
            QCOMPARE(answer.at(++row),
                     (Fields { { Orca_Fields::Security::securityID, symbol.left(6) },
                               { Orca_Fields::UserAccount::SymbolPost, symbol.mid(7) },
                               { QStringLiteral("36046"), figure },
                               { QStringLiteral("36034"), value / unit } }));
        }
    }
}

void tst_RequestServiceReference::deepDataOfDividends()
{
    RecordingFolder folder;
    folder.append("fundamentals", "600000.SH,20230419,100,50,1,3.5,2,6,\n");
    QCOMPARE(importError(folder.path(), folder.store()), QString());
    startService(folder.store());
    Client client;
    const QVector<Fields> answer =
        askDeepData(&client, deepRequest({ QStringLiteral("600000.SH") }, { QStringLiteral("DividentRate") }));
    QCOMPARE(answer.size(), 2);
    QCOMPARE(answer.at(1).value(QStringLiteral("36046")), QVariant(QStringLiteral("DividentRate")));
    QCOMPARE(answer.at(1).value(QStringLiteral("36034")), QVariant(3.5 / 100));
}

void tst_RequestServiceReference::deepDataOfUnknownSymbolsAndFigures()
{
    Client client;
    const QVector<Fields> answer = askDeepData(
        &client,
        deepRequest({ QStringLiteral("999999.XX"), QStringLiteral("600000.SH"), QStringLiteral("002865.SZ") },
                    { QStringLiteral("TotalShare"), QStringLiteral("DividentRate"), QStringLiteral("Luck") }));
    QCOMPARE(statusOf(answer), success);
    QCOMPARE(answer.size(), 4);
    QCOMPARE(answer.at(0).value(Orca_Fields::System::subGroupNumber), QVariant(QStringLiteral("3")));
    const auto row = [&](const char *code) {
        const auto isOfCode = [&](const Fields &fields) {
            return fields.value(Orca_Fields::Security::securityID) == QVariant(QString::fromLatin1(code));
        };
        return *std::find_if(answer.cbegin() + 1, answer.cend(), isOfCode);
    };
    QCOMPARE(row("600000").value(QStringLiteral("36046")), QVariant(QStringLiteral("TotalShare")));
    // Rows without a figure.
    QVERIFY(!row("999999").contains(QStringLiteral("36046")) && !row("999999").contains(QStringLiteral("36034")));
    QVERIFY(!row("002865").contains(QStringLiteral("36046")) && !row("002865").contains(QStringLiteral("36034")));
}

void tst_RequestServiceReference::deepDataStatus_data()
{
    QTest::addColumn<QVariant>("body");
    QTest::addColumn<QString>("status");
    QTest::newRow("nothing") << QVariant() << RequestStatus::badRequest;
    QTest::newRow("no rows") << packed({}) << RequestStatus::badRequest;
    QTest::newRow("head alone") << deepRequest({}, {}) << QStringLiteral("0");
    QTest::newRow("head without a count")
        << packed({ { { Orca_Fields::System::msgType, QStringLiteral("181027") } } }) << QStringLiteral("0");
    QTest::newRow("fewer rows than the count says")
        << packed({ { { Orca_Fields::System::subGroupNumber, QStringLiteral("3") } } }) << RequestStatus::badRequest;
}

void tst_RequestServiceReference::deepDataStatus()
{
    QFETCH(QVariant, body);
    QFETCH(QString, status);
    Client client;
    const QVector<Fields> answer = askDeepData(&client, body);
    QCOMPARE(answer.size(), 1);
    QCOMPARE(statusOf(answer), QVariant(status));
}

void tst_RequestServiceReference::unreadableStoreIsAStatus()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store"));
    QVERIFY(QFile::copy(m_recorded.path(), path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(4096)); // the first page says what the tables are
    file.write(QByteArray(int(file.size()) - 4096, '\xff'));
    file.close();
    startService(path);

    const QVariant failed(RequestStatus::storeFailure);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot answer"))); // at most once per second
    Client client;
    for (const QString &pattern : { priceEarnings, volumeRatio, risingDays }) {
        const QVector<Fields> answer =
            ask(&client, pattern, indicatorRequest(QStringLiteral("600000.SH"), QStringLiteral("20230103")));
        QCOMPARE(answer.size(), 1);
        QCOMPARE(statusOf(answer), failed);
    }
    const Fields day { { TradingDayFields::InitStartDate, QStringLiteral("20230103") }, { TradingDayFields::Days, 1 } };
    QCOMPARE(statusOf(askTradingDay(&client, day)), failed);
    QCOMPARE(
        statusOf(askDeepData(&client, deepRequest({ QStringLiteral("600000.SH") }, { QStringLiteral("TotalShare") }))),
        failed);
}

QTEST_GUILESS_MAIN(tst_RequestServiceReference)
#include "tst_requestservice_reference.moc"
