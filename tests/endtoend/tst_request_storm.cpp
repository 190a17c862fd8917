#include "market.h"

#include <lxbus/bus.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>
#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpresenterclass.h>
#include <summitdefines/summitfields.h>

#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QMutex>
#include <QRandomGenerator>
#include <QWaitCondition>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <map>
#include <thread>

namespace TradingDayFields = Summit_Fields::QuantizationInformationMsgCode;

namespace {

constexpr int Callers = 8;
constexpr int RequestTimeoutMs = 100;
constexpr int DrainTimeoutMs = 60000;
constexpr int StormTimeoutMs = 120000;
constexpr int StormRequests = 2000; // of the types that are not paced

const QString bars = QStringLiteral("KLineRequest");
const QString priceEarnings = QStringLiteral("MSG_QUERY_P_E_RATIO_REQUEST");
const QString volumeRatio = QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST");
const QString risingDays = QStringLiteral("MSG_QUERY_UP_N_DAY_REQUEST");
const QString tradingDay = QStringLiteral("181063");
const QString deepData = QStringLiteral("181027");

QVariant head(const QString &status)
{
    CPackMessageCommon pack;
    pack.AddVaule(Orca_Fields::System::requestExeStatus, status);
    return pack.GetPackedMsg(false);
}

// Counts by name, from any thread.
class Counter
{
public:
    void add(const QString &name, int count = 1)
    {
        QMutexLocker locker(&m_mutex);
        m_counts[name] += count;
    }
    int of(const QString &name) const
    {
        QMutexLocker locker(&m_mutex);
        return m_counts.value(name);
    }

private:
    mutable QMutex m_mutex;
    QHash<QString, int> m_counts;
};

// Answers immediately, late (and therefore out of order), twice, with errors, or not at all.
class UnreliableService final : public LxBusService
{
public:
    UnreliableService() : m_late([this] { answerLate(); }) { m_port = LxBus::current()->openService(this); }

    ~UnreliableService()
    {
        {
            QMutexLocker locker(&m_mutex);
            m_ending = true;
            m_changed.wakeAll();
        }
        m_late.join(); // sends the remaining answers
        m_port.reset();
    }

    QStringList requestTypes() const override
    {
        return { bars, priceEarnings, volumeRatio, risingDays, tradingDay, deepData };
    }

    void handle(const LxBusRequest &request) override
    {
        received.add(request.type);
        if (reliable)
            return answer(request, true);
        switch (m_random.bounded(6)) {
        case 0: // withheld
            return;
        case 1:
            return answer(request, false);
        case 2:
            answer(request, true);
            return answer(request, true);
        case 3:
        case 4: {
            QMutexLocker locker(&m_mutex);
            m_due.emplace(std::chrono::steady_clock::now()
                              + std::chrono::milliseconds(m_random.bounded(2 * RequestTimeoutMs)),
                          request);
            m_changed.wakeAll();
            return;
        }
        default:
            return answer(request, true);
        }
    }

    std::atomic<bool> reliable { true };
    Counter received; // requests, by type
    Counter announced; // what the library has to announce of the answers, by request type

private:
    void answer(const LxBusRequest &request, bool succeeds)
    {
        CUnPackMessageCommon fields;
        fields.SetUnPackMsg(request.body, false);
        const QString symbol = fields.GetValue(QStringLiteral("Symbol"), QVariant()).toString();
        if (request.type == bars) {
            const QVariantMap bar { { QStringLiteral("PeriodType"), 2 }, { QStringLiteral("Symbol"), symbol } };
            publish(request, QStringLiteral("KLineResponse"), succeeds ? QVariantList { bar } : QVariantList(),
                    succeeds);
        } else if (request.type == tradingDay) {
            CPackMessageCommon pack;
            pack.AddVaule(Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success);
            pack.AddRow();
            pack.AddVaule(TradingDayFields::TradeDate, QStringLiteral("20230201"));
            m_port->answer(request, QStringLiteral("181064"),
                           succeeds ? pack.GetPackedMsg(false) : head(QStringLiteral("1")));
        } else if (request.type == deepData) {
            m_port->answer(request, QStringLiteral("181028"),
                           succeeds ? deepAnswer(fields) : head(QStringLiteral("1")));
        } else {
            CPackMessageCommon pack;
            pack.AddVaule(Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success);
            pack.AddRow();
            pack.AddVaule(QStringLiteral("Symbol"), symbol);
            pack.AddVaule(QStringLiteral("days"), 3);
            QString type = request.type;
            type.replace(QStringLiteral("REQUEST"), QStringLiteral("RESPONSE"));
            publish(request, type, succeeds ? pack.GetPackedMsg(false) : head(QStringLiteral("1")), succeeds);
        }
    }

    void publish(const LxBusRequest &request, const QString &type, const QVariant &body, bool isAnnounced)
    {
        if (isAnnounced)
            announced.add(request.type);
        m_port->publishTo(request, type, body);
    }

    static QVariant deepAnswer(CUnPackMessageCommon &request)
    {
        CPackMessageCommon pack;
        pack.AddVaule(Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success);
        for (int row = 1; row < request.GetRowCount(); ++row) {
            request.SetCurrentRow(row);
            pack.AddRow();
            for (const QString &key :
                 { Orca_Fields::Security::securityID, Orca_Fields::UserAccount::SymbolPost, QStringLiteral("36046") })
                pack.AddVaule(key, request.GetValue(key, QVariant()));
            pack.AddVaule(QStringLiteral("36034"), 1.5);
        }
        return pack.GetPackedMsg(false);
    }

    void answerLate()
    {
        QMutexLocker locker(&m_mutex);
        for (;;) {
            if (m_due.empty()) {
                if (m_ending)
                    return;
                m_changed.wait(&m_mutex);
                continue;
            }
            const auto due = m_due.begin()->first;
            if (std::chrono::steady_clock::now() < due) {
                m_changed.wait(&m_mutex, QDeadlineTimer(due - std::chrono::steady_clock::now()));
                continue;
            }
            const LxBusRequest request = m_due.begin()->second;
            m_due.erase(m_due.begin());
            locker.unlock();
            answer(request, true);
            locker.relock();
        }
    }

    std::unique_ptr<LxBusServicePort> m_port;
    QRandomGenerator m_random { 4711 }; // one request at a time is handled
    QMutex m_mutex; // guards what follows
    QWaitCondition m_changed;
    std::multimap<std::chrono::steady_clock::time_point, LxBusRequest> m_due;
    bool m_ending = false;
    std::thread m_late;
};

// Messages of each type that a caller has caused the library to send.
void callAtRandom(int caller, LxPresenterClass *presenter, Counter &sent, const std::atomic<bool> &stop)
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QRandomGenerator random(static_cast<quint32>(caller));
    int number = 0;
    const auto symbols = [&](int count) {
        QStringList list;
        for (int i = 0; i < count; ++i)
            list.append(QStringLiteral("%1-%2.SH").arg(caller).arg(++number)); // never requested before
        return list;
    };
    const QDate day(2023, 2, 1);
    while (!stop) {
        switch (random.bounded(8)) {
        case 0:
            if (number % 16 == 0) { // the indicator worker sends 200 a second at most
                quota.queryPEData(symbols(1));
                sent.add(priceEarnings);
            }
            break;
        case 1:
            if (number % 16 == 0) {
                quota.queryQRRData(symbols(1));
                sent.add(volumeRatio);
            }
            break;
        case 2:
            quota.queryRiseDayData(symbols(2));
            sent.add(risingDays, 2);
            break;
        case 3: {
            const QString found = quota.queryTradeDay(day, 1);
            if (!found.isEmpty() && found != QLatin1String("20230201"))
                qFatal("a wrong trading day");
            sent.add(tradingDay);
            break;
        }
        case 4:
            quota.AsyncRequestKLineData(symbols(1).first(), QDateTime(day, QTime(0, 0)), QDateTime(day, QTime(0, 0)),
                                        EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
            sent.add(bars);
            break;
        case 5:
            quota.QueryStockPeriod1DInfo(symbols(1).first(), day, day.addDays(5), random.bounded(2) == 0);
            sent.add(bars);
            break;
        case 6: {
            QList<LxStockDeepData> known;
            quota.QueryStockDeepData(symbols(120), known, false);
            sent.add(deepData, 2);
            break;
        }
        case 7:
            quota.QueryStockDeepDataFromBackendService(presenter, symbols(120));
            sent.add(deepData, 2);
            break;
        }
    }
}

} // namespace

class tst_RequestStorm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingSentArrivesAndEveryAnswerIsAnnounced();
};

void tst_RequestStorm::everythingSentArrivesAndEveryAnswerIsAnnounced()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    LxBusOptions options;
    options.requestTimeoutMs = RequestTimeoutMs;
    Market::startBus(options);
    UnreliableService service;
    LxQuotaHandler &quota = LxQuotaHandler::instance();

    Counter announced;
    QObject counting;
    connect(
        &quota, &LxQuotaHandler::signalKLineResponse, &counting, [&] { announced.add(bars); }, Qt::DirectConnection);
    connect(
        &quota, &LxQuotaHandler::signalRiseDayData, &counting, [&] { announced.add(risingDays); },
        Qt::DirectConnection);
    // PE and QRR answers are announced on the handler's thread, deep data on the bus's.
    connect(
        &quota, &LxQuotaHandler::signalStockDeepDataUpdate, &counting,
        [&] {
            if (QThread::currentThread() == quota.thread())
                announced.add(priceEarnings);
        },
        Qt::DirectConnection);

    // The trade date has to be known before the storm: queries without it send nothing.
    quota.queryRiseDayData({ QStringLiteral("first.SH") });
    QTRY_COMPARE_WITH_TIMEOUT(service.received.of(risingDays), 1, DrainTimeoutMs);
    service.reliable = false;

    Counter sent;
    sent.add(risingDays);
    sent.add(tradingDay);
    LxPresenterClass presenter(QStringLiteral("Client"), nullptr, IMessageInterface::BusThread);
    std::atomic<bool> stop { false };
    std::vector<std::thread> callers;
    for (int i = 0; i < Callers; ++i)
        callers.emplace_back(callAtRandom, i, &presenter, std::ref(sent), std::cref(stop));
    const bool isLongEnough = QTest::qWaitFor(
        [&sent] {
            return sent.of(bars) >= StormRequests && sent.of(deepData) >= StormRequests
                && sent.of(risingDays) >= StormRequests && sent.of(priceEarnings) > 0 && sent.of(volumeRatio) > 0;
        },
        StormTimeoutMs);
    stop = true;
    for (std::thread &caller : callers)
        caller.join();

    for (const QString &type : service.requestTypes())
        QTRY_COMPARE_WITH_TIMEOUT(service.received.of(type), sent.of(type), DrainTimeoutMs);
    QVERIFY(isLongEnough);

    QTRY_COMPARE_WITH_TIMEOUT(announced.of(bars), service.announced.of(bars), DrainTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(announced.of(risingDays), service.announced.of(risingDays), DrainTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(announced.of(priceEarnings),
                              service.announced.of(priceEarnings) + service.announced.of(volumeRatio), DrainTimeoutMs);
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    QCOMPARE(statistics.totalDropped(), statistics.dropped(LxBusDrop::LateAnswer));
    qInfo() << "sent" << sent.of(bars) << "K-line," << sent.of(deepData) << "deep-data," << sent.of(tradingDay)
            << "trading-day," << sent.of(priceEarnings) + sent.of(volumeRatio)
            << "indicator requests; late answers dropped:" << statistics.totalDropped();
}

QTEST_GUILESS_MAIN(tst_RequestStorm)
#include "tst_request_storm.moc"
