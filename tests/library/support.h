#pragma once

#include "lxquotahandler.h"

#include <lxdouble/recording.h>

#include <QMessageLogContext>
#include <QMutex>
#include <QWaitCondition>
#include <QtTest>

#include <functional>
#include <future>

inline QString operator""_s(const char16_t *text, size_t size)
{
    return QString::fromUtf16(text, static_cast<int>(size));
}

constexpr double Invalid = -9999999.0;

/// Reaches the protected members of the handler, through member pointers.
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
/// Constructs the handler and waits until it is up.
void startHandler();

/// Runs `work` on the handler's thread and waits for it.
void onWorker(const std::function<void()> &work);
/// Runs `work` on the indicator worker's thread, behind the bursts that it has to send, and waits for it.
void onIndicatorWorker(const std::function<void()> &work);
/// Calls the protected decoder on the handler's thread.
template<typename Record>
Record decoded(void (LxQuotaHandler::*decoder)(const QVariant &, Record &), const QVariant &body, Record out = Record())
{
    onWorker([&] { (handler().*decoder)(body, out); });
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
/// Answers an asynchronous request and waits until the answer has been taken in.
void answerAsync(const QVariant &type, const QVariant &body);

/// A row of a deep-data answer.
QVariantMap deepRow(const QString &code, const QString &suffix, const QString &item, const QVariant &value);
/// Answers with these rows behind a head row of success.
void answerDeepData(const QVector<QVariantMap> &rows);
/// The known deep data of a symbol; a default record if there is none (a request goes out then).
LxStockDeepData knownDeepData(const QString &symbol);

/// Has the calendar service answer `date` to every request.
void serveTradeDate(const QString &date);

/// Whether `call`, made on another thread, returns.
bool returnsOnAnotherThread(const std::function<void()> &call);

struct LogLine
{
    QtMsgType type;
    QString text;
    QString file;
    int line;
    QString function;
};

/// Takes all log lines while it lives; one at a time.
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

/// Notes which signals of the handler are emitted, in order, and on which threads.
class SignalLog
{
public:
    SignalLog();
    ~SignalLog();
    Q_DISABLE_COPY(SignalLog)

    /// Names of the signals; sigRecvQuotaData, which every published message brings, is left out.
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

/// Keeps what a signal brought, and where.
template<typename... Values>
class Kept
{
public:
    template<typename Signal>
    explicit Kept(Signal signal)
    {
        m_connection = QObject::connect(&handler(), signal, [this](const Values &...values) {
            QMutexLocker locker(&m_mutex);
            m_kept.append(std::tuple<Values...>(values...));
            m_arrived.wakeAll();
        });
    }
    ~Kept() { QObject::disconnect(m_connection); }
    Q_DISABLE_COPY(Kept)

    QVector<std::tuple<Values...>> all() const
    {
        QMutexLocker locker(&m_mutex);
        return m_kept;
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
        while (m_kept.size() < count) {
            if (!m_arrived.wait(&m_mutex, 20000))
                return false;
        }
        return true;
    }

private:
    QMetaObject::Connection m_connection;
    mutable QMutex m_mutex;
    QWaitCondition m_arrived;
    QVector<std::tuple<Values...>> m_kept;
};
