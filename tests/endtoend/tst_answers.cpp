#include "../market/requestservicetest.h"
#include "natsbroker.h"
#include "runningprogram.h"

#include <lxdefine/lxkline.h>
#include <summitdefines/summitfields.h>

#include <QDir>

#include <csignal>
#include <limits>

namespace TradingDayFields = Summit_Fields::QuantizationInformationMsgCode;

namespace {

constexpr int PatienceMs = 120000; // a whole day is replayed, perhaps beside other tests
constexpr qint64 Scale = 1000000; // more decimals than any recorded price or ratio has

const QString barsRequest = QStringLiteral("KLineRequest");
const QString deepDataRequest = QStringLiteral("181027");
const QString tradingDayRequest = QStringLiteral("181063");
const QString symbol = QStringLiteral("600000.SH");

Fields barRequest(const QString &of, const QString &day, int period, int adjustment)
{
    return { { QStringLiteral("Symbol"), of },
             { QStringLiteral("StartTime"), day + QStringLiteral("000000") },
             { QStringLiteral("StopTime"), day + QStringLiteral("235959") },
             { QStringLiteral("PeriodType"), period },
             { QStringLiteral("ExrightsType"), adjustment } };
}

// A decimal number as a multiple of 1 / Scale, exactly.
qint64 scaled(const QByteArray &number)
{
    const QList<QByteArray> parts = number.split('.');
    return parts.at(0).toLongLong() * Scale + parts.value(1).leftJustified(6, '0').left(6).toLongLong();
}

// The exchanges' rule, in integers: (close - cash + rights price x rights) / (1 + bonus + conversion + rights), in
// cents, halves rounded up.
qint64 referencePrice(const QByteArray &close, const RecordedRow &event)
{
    const auto number = [&event](const char *column) { return scaled(event.value(QString::fromLatin1(column))); };
    const qint64 rights = number("RightsPerShare");
    const qint64 value = (scaled(close) - number("CashPerShare")) * Scale + number("RightsPrice") * rights;
    const qint64 shares = Scale + number("BonusPerShare") + number("ConversionPerShare") + rights;
    return (2 * 100 * value + shares * Scale) / (2 * shares * Scale);
}

} // namespace

/// Raw requests to the service, which runs in a process of its own, through a broker.
class tst_Answers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void impossibleNumbersAreRefused();
    void referencePricesAreThoseOfTheExchange_data();
    void referencePricesAreThoseOfTheExchange();
    void barsOfAReplayedDayEqualItsLastQuotes_data();
    void barsOfAReplayedDayEqualItsLastQuotes();

private:
    void serve(const QStringList &more);
    QVector<QVariantMap> askBars(const QString &of, const QString &first, const QString &last, int period,
                                 int adjustment);

    RecordedStore m_recorded;
    NatsBroker m_broker;
    std::unique_ptr<RunningProgram> m_service;
    std::unique_ptr<Client> m_client;
};

void tst_Answers::initTestCase()
{
    QVERIFY2(m_recorded.isValid(), qPrintable(m_recorded.errorString()));
    QVERIFY2(m_broker.start(), m_broker.log());
    QString error;
    QVERIFY2(LxBus::start(m_broker.url(), {}, &error), qPrintable(error));
    m_client = std::make_unique<Client>();
    QVERIFY(LxBus::current()->openPublisher()->flush(PatienceMs)); // the broker knows the subscriptions
}

void tst_Answers::cleanup()
{
    m_service->signal(SIGTERM);
    QCOMPARE(m_service->exitCode(), 0);
    m_service.reset();
}

void tst_Answers::cleanupTestCase()
{
    m_client.reset();
    LxBus::stop();
}

void tst_Answers::serve(const QStringList &more)
{
    m_service =
        std::make_unique<RunningProgram>(QStringLiteral(LX_MARKETD_PROGRAM),
                                         QStringList { QStringLiteral("serve"), QStringLiteral("--bus"), m_broker.url(),
                                                       QStringLiteral("--store"), m_recorded.path() }
                                             + more);
    QTRY_VERIFY_WITH_TIMEOUT(m_service->err().contains("marketd: ready\n"), PatienceMs);
}

// The bars from the beginning of `first` to the end of `last`.
QVector<QVariantMap> tst_Answers::askBars(const QString &of, const QString &first, const QString &last, int period,
                                          int adjustment)
{
    Fields request = barRequest(of, first, period, adjustment);
    request[QStringLiteral("StopTime")] = last + QStringLiteral("235959");
    (*m_client)->put(barsRequest, packed({ request }));
    QVector<QVariantMap> all;
    for (;;) {
        const Client::Message message = m_client->take();
        if (message.type != bars)
            return {};
        const QVariantList list = message.body.toList();
        for (const QVariant &bar : list)
            all.append(bar.toMap());
        if (list.size() < 1000)
            return all;
    }
}

void tst_Answers::impossibleNumbersAreRefused()
{
    serve({});
    const double infinity = std::numeric_limits<double>::infinity();
    const QVariantList impossible {
        1.5,
        std::numeric_limits<double>::quiet_NaN(),
        infinity,
        -infinity,
        1e300,
        -1e300,
        4294967298.0, // 2 if it is cut to 32 bits
        qint64(4294967298),
        std::numeric_limits<qint64>::max(),
        std::numeric_limits<qint64>::min(),
        QStringLiteral("1.5"),
        QStringLiteral("nan"),
        QStringLiteral("inf"),
        QStringLiteral("4294967298"),
        QStringLiteral("99999999999999999999"),
        QStringLiteral("2e0"),
        QString(),
    };
    const auto describe = [](const QString &field, const QVariant &value) {
        return qPrintable(
            QStringLiteral("%1: %2 %3").arg(field, QString::fromLatin1(value.typeName()), value.toString()));
    };
    const QVariant bad(RequestStatus::badRequest);
    const Fields bar = barRequest(symbol, QStringLiteral("20230103"), LxKLine::Day, LxKLine::Unadjusted);
    // Sound numbers of any type are answered, so that it is the numbers that are refused below.
    for (const QVariant &day : { QVariant(2), QVariant(2.0), QVariant(qint64(2)), QVariant(QStringLiteral("2")) }) {
        Fields request = bar;
        request[QStringLiteral("PeriodType")] = day;
        (*m_client)->put(barsRequest, packed({ request }));
        QCOMPARE(m_client->take().body.toList().size(), 1);
    }

    for (const QVariant &value : impossible) {
        // A bar request that is refused has no answer; the next request's answer comes first.
        for (const char *name : { "StartTime", "StopTime", "PeriodType", "ExrightsType" }) {
            const QString field = QString::fromLatin1(name);
            Fields request = bar;
            request[field] = value;
            (*m_client)->put(barsRequest, packed({ request }));
            (*m_client)->put(requestOf(risingDays), indicatorRequest(symbol, QStringLiteral("20230103")));
            QVERIFY2(m_client->take().type == responseOf(risingDays), describe(field, value));
        }
        for (const QString &indicator : { priceEarnings, volumeRatio, risingDays }) {
            const Fields request { { QStringLiteral("Symbol"), symbol }, { QStringLiteral("MDDate"), value } };
            (*m_client)->put(requestOf(indicator), packed({ request }));
            const Client::Message answer = m_client->take();
            QVERIFY2(answer.type == responseOf(indicator), describe(indicator, value));
            QVERIFY2(statusOf(unpacked(answer.body)) == bad, describe(indicator, value));
        }
        for (const QString &field : { TradingDayFields::InitStartDate, TradingDayFields::Days }) {
            Fields request { { TradingDayFields::InitStartDate, QStringLiteral("20230103") },
                             { TradingDayFields::Days, 2 } };
            request[field] = value;
            QVariant answer;
            QCOMPARE((*m_client)->requestSync(tradingDayRequest, packed({ request }), &answer), int(LxBusEndpoint::Ok));
            QVERIFY2(statusOf(unpacked(answer)) == bad, describe(field, value));
        }
        const QVector<Fields> deepData { { { Orca_Fields::System::msgType, deepDataRequest },
                                           { Orca_Fields::System::subGroupNumber, value } },
                                         { { Orca_Fields::Security::securityID, QStringLiteral("600000") },
                                           { Orca_Fields::UserAccount::SymbolPost, QStringLiteral("SH") },
                                           { QStringLiteral("36046"), QStringLiteral("TotalShare") } },
                                         { { Orca_Fields::Security::securityID, QStringLiteral("600000") },
                                           { Orca_Fields::UserAccount::SymbolPost, QStringLiteral("SH") },
                                           { QStringLiteral("36046"), QStringLiteral("ListedShare") } } };
        QVariant answer;
        QCOMPARE((*m_client)->requestSync(deepDataRequest, packed(deepData), &answer), int(LxBusEndpoint::Ok));
        QVERIFY2(statusOf(unpacked(answer)) == bad, describe(Orca_Fields::System::subGroupNumber, value));
    }
}

void tst_Answers::referencePricesAreThoseOfTheExchange_data()
{
    QTest::addColumn<int>("adjustment");
    QTest::newRow("forward") << int(LxKLine::Forward);
    QTest::newRow("backward") << int(LxKLine::Backward);
}

void tst_Answers::referencePricesAreThoseOfTheExchange()
{
    QFETCH(int, adjustment);
    serve({});
    QHash<QByteArray, QVector<RecordedRow>> closes;
    for (const RecordedRow &row : readRecordedRows(QStringLiteral("kline_daily.csv")))
        closes[row.value(QStringLiteral("Symbol"))].append(row);
    const QString dateKey = QStringLiteral("MDDate");
    const QString closeKey = QStringLiteral("ClosePx");
    int compared = 0;
    for (const RecordedRow &event : readRecordedRows(QStringLiteral("corporate_actions.csv"))) {
        const QByteArray of = event.value(QStringLiteral("Symbol"));
        const QByteArray exDate = event.value(QStringLiteral("ExDate"));
        const QVector<RecordedRow> days = closes.value(of);
        const auto exDay = std::find_if(days.cbegin(), days.cend(),
                                        [&](const RecordedRow &row) { return row.value(dateKey) >= exDate; });
        if (exDay == days.cbegin() || exDay == days.cend())
            continue;
        const RecordedRow &before = *(exDay - 1);
        const QVector<QVariantMap> answer = askBars(QString::fromUtf8(of), QString::fromUtf8(before.value(dateKey)),
                                                    QString::fromUtf8(exDay->value(dateKey)), LxKLine::Day, adjustment);
        QCOMPARE(answer.size(), 2);
        QCOMPARE(answer.at(1).value(dateKey).toByteArray(), exDay->value(dateKey));
        // The adjusted close of the day before, on the scale of the ex-date, is the reference price.
        const double scale = exDay->value(closeKey).toDouble() / answer.at(1).value(closeKey).toDouble();
        const double cents = answer.at(0).value(closeKey).toDouble() * scale * 100;
        const auto expected = static_cast<double>(referencePrice(before.value(closeKey), event));
        QVERIFY2(std::abs(cents - expected) < 1e-6,
                 qPrintable(QStringLiteral("%1 %2: %3 instead of %4")
                                .arg(QString::fromUtf8(of), QString::fromUtf8(exDate))
                                .arg(cents, 0, 'f', 8)
                                .arg(expected)));
        ++compared;
    }
    QCOMPARE(compared, 43);
}

void tst_Answers::barsOfAReplayedDayEqualItsLastQuotes_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files =
        QDir(QStringLiteral(LX_DATA_DIR)).entryList({ QStringLiteral("stock_snapshots_*") }, QDir::Files);
    QVERIFY(files.size() >= 4);
    for (const QString &file : files)
        QTest::newRow(qPrintable(file)) << file;
}

void tst_Answers::barsOfAReplayedDayEqualItsLastQuotes()
{
    QFETCH(QString, file);
    QHash<QByteArray, RecordedRow> last;
    for (const RecordedRow &row : readRecordedRows(file.chopped(int(qstrlen(".gz")))))
        last.insert(row.value(QStringLiteral("Symbol")), row);
    QVERIFY(last.size() >= 2);
    const QString date = QString::fromUtf8(last.begin()->value(QStringLiteral("MDDate")));
    QTemporaryDir folder; // of the quotes alone
    QVERIFY(QFile::link(QStringLiteral(LX_DATA_DIR "/") + file, folder.filePath(file)));
    serve({ QStringLiteral("--data"), folder.path(), QStringLiteral("--date"), date, QStringLiteral("--speed"),
            QStringLiteral("max") });
    QTRY_VERIFY_WITH_TIMEOUT(m_service->err().contains("replay ends: "), PatienceMs);

    for (auto quote = last.cbegin(); quote != last.cend(); ++quote) {
        const QString of = QString::fromUtf8(quote.key());
        const auto number = [&quote](const char *column) {
            return quote->value(QString::fromLatin1(column)).toDouble();
        };
        const auto field = [](const QVariantMap &bar, const char *name) {
            return bar.value(QString::fromLatin1(name)).toDouble();
        };
        const QVector<QVariantMap> days = askBars(of, date, date, LxKLine::Day, LxKLine::Unadjusted);
        QCOMPARE(days.size(), 1);
        for (const char *column : { "OpenPx", "HighPx", "LowPx", "TotalVolumeTrade", "TotalValueTrade" })
            QCOMPARE(field(days.first(), column), number(column));
        QCOMPARE(field(days.first(), "ClosePx"), number("LastPx"));

        const QVector<QVariantMap> minutes = askBars(of, date, date, LxKLine::OneMinute, LxKLine::Unadjusted);
        QVERIFY(minutes.size() > 50);
        double volume = 0;
        for (const QVariantMap &minute : minutes)
            volume += field(minute, "TotalVolumeTrade");
        QCOMPARE(volume, number("TotalVolumeTrade"));
        QCOMPARE(field(minutes.last(), "ClosePx"), number("LastPx"));
    }
}

QTEST_GUILESS_MAIN(tst_Answers)

#include "tst_answers.moc"
