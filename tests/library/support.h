#pragma once

#include "lxquotahandler.h"

#include <lxdouble/recording.h>
#include <recordfields.h>

#include <QMessageLogContext>
#include <QMutex>
#include <QWaitCondition>
#include <QtTest>

#include <atomic>
#include <functional>
#include <future>
#include <optional>
#include <thread>

inline QString operator""_s(const char16_t *text, size_t size)
{
    return QString::fromUtf16(text, static_cast<int>(size));
}

constexpr double Invalid = -9999999.0;

/// Gives access to protected members of the handler through member pointers.
struct Probe : LxQuotaHandler
{
    using LxQuotaHandler::AssembleBaseFutureQuotaData;
    using LxQuotaHandler::AssembleBaseIndexQuotaData;
    using LxQuotaHandler::AssembleBaseQuotaData;
    using LxQuotaHandler::AssembleFutureQuotaData;
    using LxQuotaHandler::AssembleIndexQuotaData;
    using LxQuotaHandler::AssemblePEData;
    using LxQuotaHandler::AssembleQRRData;
    using LxQuotaHandler::AssembleStockQuotaData;
    using LxQuotaHandler::AssembleStockTransactionRecordData;
    using LxQuotaHandler::Init;
    using LxQuotaHandler::waitForPresenterClassInit;
};

LxQuotaHandler &handler();
/// Constructs the handler and waits until it is initialised.
void startHandler();

/// Runs `work` on the handler's thread and waits for it.
void onWorker(const std::function<void()> &work);
/// Runs `work` on the indicator worker's thread, after the bursts that it has to send, and waits for it.
void onIndicatorWorker(const std::function<void()> &work);
/// Calls the protected decoder on the handler's thread.
template<typename Record>
Record decoded(void (LxQuotaHandler::*decoder)(const QVariant &, Record &), const QVariant &body, Record out = Record())
{
    onWorker([&] { (handler().*decoder)(body, out); });
    return out;
}

/// A record whose fields have the values that `row` has under their keys; "" or 0 if it has none.
template<typename Record>
Record recordOf(const QVariantMap &row, Record out = Record())
{
    struct Columns
    {
        const QVariantMap &row;
        QVariant cell(const QByteArray &key) const { return row.value(QString::fromLatin1(key)); }
        QString text(const QByteArray &key) const { return cell(key).toString(); }
        double number(const QByteArray &key) const { return cell(key).toDouble(); }
        qint64 integer(const QByteArray &key) const { return cell(key).toLongLong(); }
    };
    readRow(Columns { row }, &out);
    return out;
}

/// Waits until everything published so far has been processed.
void settle();
/// Publishes a message and waits until it has been processed.
void publish(const QString &topic, const QVariant &data);
/// Publishes a message whose body is this one row.
void publish(const QString &topic, const QVariantMap &row);
/// Publishes an answer whose row 0 is a head and row 1 this row.
void publishAnswer(const QString &topic, const QVariantMap &row);
/// Answers an asynchronous request and waits until the answer has been processed.
void answerAsync(const QVariant &type, const QVariant &body);

/// A row of a deep-data answer.
QVariantMap deepRow(const QString &code, const QString &suffix, const QString &item, const QVariant &value);
/// Answers with these rows after a head row of success.
void answerDeepData(const QVector<QVariantMap> &rows);
/// The cached deep data of a symbol; a default record if there is none (and a request is sent).
LxStockDeepData knownDeepData(const QString &symbol);

/// Makes the calendar service answer every request with `date`.
void serveTradeDate(const QString &date);

/// Returns whether `call`, made on another thread, returns.
bool returnsOnAnotherThread(const std::function<void()> &call);

/// The kernel's identifier of the calling thread.
int threadId();
/// Waits until the thread sleeps in a lock or a wait condition. False if it does not before `ended` holds.
bool sleepsBefore(int threadId, const std::function<bool()> &ended);

/// A call on a thread of its own. The destructor waits for its end.
class BackgroundCall
{
public:
    explicit BackgroundCall(std::function<void()> call);
    ~BackgroundCall();
    Q_DISABLE_COPY(BackgroundCall)

    /// Waits until the call has returned or is blocked. True if it is blocked.
    bool isBlocked();

private:
    std::atomic<int> m_threadId { 0 };
    std::atomic<bool> m_returned { false };
    std::thread m_thread;
};

struct LogLine
{
    QtMsgType type;
    QString text;
    QString file;
    int line;
    QString function;
    QString category;
};

/// Captures all log lines, those of the library's debug level included, while it exists. One at a time.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY(LogCapture)

    /// The lines that begin with `start`, in order.
    QVector<LogLine> lines(const QString &start = QString()) const;
    bool waitFor(const QString &start, int count);

private:
    static void take(QtMsgType type, const QMessageLogContext &context, const QString &text);

    static LogCapture *s_current;
    QtMessageHandler m_previous;
    mutable QMutex m_mutex;
    QWaitCondition m_arrived;
    QVector<LogLine> m_lines;
};

/// Records which signals of the handler are emitted, in order, and on which threads.
class SignalLog
{
public:
    SignalLog();
    ~SignalLog();
    Q_DISABLE_COPY(SignalLog)

    /// Names of the signals, without sigRecvQuotaData, which is emitted for every published message.
    QStringList names() const;
    QStringList threads() const;

private:
    template<typename Signal>
    void watch(const QString &name, Signal signal);

    QVector<QMetaObject::Connection> m_connections;
    mutable QMutex m_mutex;
    QStringList m_names;
    QStringList m_threads;
};

/// Records the arguments of a signal, in the order of its emissions.
template<typename... Values>
class Emissions
{
public:
    template<typename Signal>
    explicit Emissions(Signal signal)
    {
        m_connection = QObject::connect(&handler(), signal, [this](const Values &...values) {
            QMutexLocker locker(&m_mutex);
            m_emissions.append(std::tuple<Values...>(values...));
            m_arrived.wakeAll();
        });
    }
    ~Emissions() { QObject::disconnect(m_connection); }
    Q_DISABLE_COPY(Emissions)

    QVector<std::tuple<Values...>> all() const
    {
        QMutexLocker locker(&m_mutex);
        return m_emissions;
    }
    int count() const { return all().size(); }
    template<size_t Index = 0>
    auto last() const
    {
        return std::get<Index>(all().constLast());
    }
    bool waitFor(int count)
    {
        QMutexLocker locker(&m_mutex);
        while (m_emissions.size() < count) {
            if (!m_arrived.wait(&m_mutex, 20000))
                return false;
        }
        return true;
    }

private:
    QMetaObject::Connection m_connection;
    mutable QMutex m_mutex;
    QWaitCondition m_arrived;
    QVector<std::tuple<Values...>> m_emissions;
};
