#include "support.h"

#include "lxasyncindicatorqryobj_p.h"

#include <lxdefine/lxfields.h>
#include <summitdefines/summitfields.h>

#include <QFile>
#include <QLoggingCategory>
#include <QThread>

#include <sys/syscall.h>
#include <unistd.h>

LxQuotaHandler &handler()
{
    return LxQuotaHandler::instance();
}

void startHandler()
{
    (handler().*(&Probe::waitForPresenterClassInit))();
}

void onWorker(const std::function<void()> &work)
{
    QMetaObject::invokeMethod(&handler(), work, Qt::BlockingQueuedConnection);
}

void onIndicatorWorker(const std::function<void()> &work)
{
    QMetaObject::invokeMethod(LxAsyncIndicatorQryObj::instance(), work, Qt::BlockingQueuedConnection);
}

void settle()
{
    LxDouble::waitForBus();
    onWorker([] {});
}

void publish(const QString &topic, const QVariant &data)
{
    LxDouble::publish(topic, data);
    settle();
}

void publish(const QString &topic, const QVariantMap &row)
{
    publish(topic, LxDouble::packRows({ row }));
}

void publishAnswer(const QString &topic, const QVariantMap &row)
{
    publish(topic, LxDouble::packRows({ {}, row }));
}

void answerAsync(const QVariant &type, const QVariant &body)
{
    LxDouble::answerAsync(1, u"service"_s, type, body);
    settle();
}

QVariantMap deepRow(const QString &code, const QString &suffix, const QString &item, const QVariant &value)
{
    return { { Orca_Fields::Security::securityID, code },
             { Orca_Fields::UserAccount::SymbolPost, suffix },
             { u"36046"_s, item },
             { u"36034"_s, value } };
}

void answerDeepData(const QVector<QVariantMap> &rows)
{
    answerAsync(
        u"181028"_s,
        LxDouble::packRows(QVector<QVariantMap> { { { Orca_Fields::System::requestExeStatus, u"0"_s } } } + rows));
}

LxStockDeepData knownDeepData(const QString &symbol)
{
    QList<LxStockDeepData> known;
    handler().QueryStockDeepData({ symbol }, known, false);
    return known.value(0);
}

void serveTradeDate(const QString &date)
{
    LxDouble::setSyncAnswer(
        u"181063"_s, 0,
        LxDouble::packRows({ { { Orca_Fields::System::requestExeStatus, Orca_Values::RequestExeStatus::success } },
                             { { Summit_Fields::QuantizationInformationMsgCode::TradeDate, date } } }));
}

bool returnsOnAnotherThread(const std::function<void()> &call)
{
    std::promise<void> promise;
    std::future<void> returned = promise.get_future();
    std::thread thread([&] {
        call();
        promise.set_value();
    });
    const bool inTime = returned.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    // The caller of this function holds what blocks the call, and releases it after the test has failed.
    if (inTime)
        thread.join();
    else
        thread.detach();
    return inTime;
}

int threadId()
{
    return static_cast<int>(syscall(SYS_gettid));
}

bool sleepsBefore(int threadId, const std::function<bool()> &ended)
{
    const QString current = QStringLiteral("/proc/self/task/%1/syscall").arg(threadId);
    const QByteArray sleeping = QByteArray::number(SYS_futex) + ' ';
    while (!ended()) {
        QFile file(current); // the number of the system call that the thread waits in, or "running"
        if (file.open(QIODevice::ReadOnly) && file.readAll().startsWith(sleeping))
            return true;
        QThread::yieldCurrentThread();
    }
    return false;
}

// --- BackgroundCall ---

BackgroundCall::BackgroundCall(std::function<void()> call)
    : m_thread([this, call = std::move(call)] {
          m_threadId = threadId();
          call();
          m_returned = true;
      })
{
}

BackgroundCall::~BackgroundCall()
{
    m_thread.join();
}

bool BackgroundCall::isBlocked()
{
    while (m_threadId == 0)
        QThread::yieldCurrentThread();
    return sleepsBefore(m_threadId, [this] { return m_returned.load(); });
}

// --- LogCapture ---

LogCapture *LogCapture::s_current = nullptr;

LogCapture::LogCapture()
{
    s_current = this;
    QLoggingCategory::setFilterRules(u"lx.quota.debug=true"_s);
    m_previous = qInstallMessageHandler(&LogCapture::take);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    QLoggingCategory::setFilterRules(QString());
}

void LogCapture::take(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker locker(&s_current->m_mutex);
    s_current->m_lines.append({ type, text, QString::fromUtf8(context.file), context.line,
                                QString::fromUtf8(context.function), QString::fromUtf8(context.category) });
    s_current->m_arrived.wakeAll();
}

QVector<LogLine> LogCapture::lines(const QString &start) const
{
    QMutexLocker locker(&m_mutex);
    QVector<LogLine> result;
    for (const LogLine &line : m_lines) {
        if (line.text.startsWith(start))
            result.append(line);
    }
    return result;
}

bool LogCapture::waitFor(const QString &start, int count)
{
    QMutexLocker locker(&m_mutex);
    const auto arrived = [&] {
        int found = 0;
        for (const LogLine &line : std::as_const(m_lines))
            found += line.text.startsWith(start);
        return found >= count;
    };
    while (!arrived()) {
        if (!m_arrived.wait(&m_mutex, 20000))
            return false;
    }
    return true;
}

// --- SignalLog ---

template<typename Signal>
void SignalLog::watch(const QString &name, Signal signal)
{
    m_connections.append(QObject::connect(&handler(), signal, [this, name](const auto &...) {
        QMutexLocker locker(&m_mutex);
        m_names.append(name);
        m_threads.append(QThread::currentThread()->objectName());
    }));
}

SignalLog::SignalLog()
{
    using H = LxQuotaHandler;
    watch(u"signalStockQuotaUpdate"_s, &H::signalStockQuotaUpdate);
    watch(u"signalFutureQuotaUpdate"_s, &H::signalFutureQuotaUpdate);
    watch(u"signalIndexQuotaUpdate"_s, &H::signalIndexQuotaUpdate);
    watch(u"signalStockOrderRecordUpdate"_s, &H::signalStockOrderRecordUpdate);
    watch(u"signalStockTransactionRecordUpdate"_s, &H::signalStockTransactionRecordUpdate);
    watch(u"signalKLineResponse"_s, &H::signalKLineResponse);
    watch(u"signalQuotaUpdate"_s, &H::signalQuotaUpdate);
    watch(u"signalStockDeepDataUpdate"_s, &H::signalStockDeepDataUpdate);
    watch(u"sigOnRspQueryStockPeriod1DInfo"_s, &H::sigOnRspQueryStockPeriod1DInfo);
    watch(u"sigOnRspQueryStockPeriod1MInfo"_s, &H::sigOnRspQueryStockPeriod1MInfo);
    watch(u"signalIndicatorRankingData"_s, &H::signalIndicatorRankingData);
    watch(u"signalUpDownAnalyzeData"_s, &H::signalUpDownAnalyzeData);
    watch(u"signalRiseDayData"_s, &H::signalRiseDayData);
    watch(u"signalQuoteTickUpdate"_s, &H::signalQuoteTickUpdate);
    watch(u"signalRecordTransactionUpdate"_s, &H::signalRecordTransactionUpdate);
    watch(u"sigQueryPEData"_s, &H::sigQueryPEData);
    watch(u"sigQueryQRRData"_s, &H::sigQueryQRRData);
    watch(u"sigAsyncQryOver"_s, &H::sigAsyncQryOver);
    watch(u"sigInitQuotaHandlerObject"_s, &H::sigInitQuotaHandlerObject);
}

SignalLog::~SignalLog()
{
    for (const QMetaObject::Connection &connection : std::as_const(m_connections))
        QObject::disconnect(connection);
}

QStringList SignalLog::names() const
{
    QMutexLocker locker(&m_mutex);
    return m_names;
}

QStringList SignalLog::threads() const
{
    QMutexLocker locker(&m_mutex);
    return m_threads;
}
