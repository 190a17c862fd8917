#pragma once

#include <lxbus/bus.h>
#include <lxbus/bustopics.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <QDeadlineTimer>
#include <QMutex>
#include <QSet>
#include <QThread>
#include <QVector>
#include <QWaitCondition>

#include <atomic>
#include <functional>

/// Helpers for tests of the bus: a bus, clients that record what they receive, services that are implemented by a
/// function.
namespace BusTesting {

constexpr int PatienceMs = 20000; // how long a test waits for an event that must occur

/// Starts the process's bus, and stops it on destruction. A publisher's bus creates the streams of a broker.
class Bus
{
public:
    enum Role { Publishes, OnlyReads };

    explicit Bus(LxBusOptions options = {}, const QString &url = QStringLiteral("inproc:"), Role role = Publishes)
    {
        if (role == Publishes)
            options.streams = LxBusStreams();
        QString error;
        if (!LxBus::start(url, options, &error))
            qFatal("%s", qPrintable(error));
        m_bus = LxBus::current();
    }
    ~Bus() { LxBus::stop(); }

    LxBusTransport *operator->() const { return m_bus.get(); }
    quint64 dropped(LxBusDrop reason) const { return m_bus->statistics().dropped(reason); }
    quint64 totalDropped() const { return m_bus->statistics().totalDropped(); }

private:
    std::shared_ptr<LxBusTransport> m_bus;
};

struct Heard
{
    QString topic;
    QVariant body;
    int id = 0; ///< of an answer; 0 if published
    QThread *thread = nullptr;
};

inline QVariant numberBody(int number)
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Number"), number);
    return pack.GetPackedMsg(false);
}

inline int numberOf(const QVariant &body)
{
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(body, false);
    return rows.GetValue(QStringLiteral("Number"), -1).toInt();
}

enum Action { Subscribe = 1, Unsubscribe = 2 };

inline QVariant subscribeBody(const QVariant &kind, const QVariant &action, const QStringList &symbols)
{
    CPackMessageCommon pack;
    for (int i = 0; i < symbols.size(); ++i) {
        if (i > 0)
            pack.AddRow();
        pack.AddVaule(QStringLiteral("SubscribeType"), 2);
        pack.AddVaule(QStringLiteral("MDRecordTypes"), kind);
        pack.AddVaule(QStringLiteral("ActionType"), action);
        pack.AddVaule(QStringLiteral("Symbol"), symbols.at(i));
    }
    return pack.GetPackedMsg(false);
}

/// A client of the bus that records what its endpoint receives.
class Client final : public LxBusListener
{
public:
    Client(Bus &bus, const QString &name, std::function<void(const Heard &)> inCallback = {})
        : m_inCallback(std::move(inCallback)), endpoint(bus->openEndpoint(name, this))
    {
    }

    void published(const QString &, const QString &topic, const QVariant &body) override
    {
        hear({ topic, body, 0, QThread::currentThread() });
    }
    void answered(int id, const QString &, const QString &type, const QVariant &body) override
    {
        hear({ type, body, id, QThread::currentThread() });
    }

    void ask(LxRecordKind kind, Action action, const QStringList &symbols)
    {
        endpoint->put(LxBusTopics::subscribeRequest, subscribeBody(static_cast<int>(kind), action, symbols));
    }

    bool waitFor(int count) const
    {
        const QDeadlineTimer deadline(PatienceMs);
        QMutexLocker locker(&m_mutex);
        while (m_heard.size() < count && m_more.wait(&m_mutex, deadline)) { }
        return m_heard.size() >= count;
    }
    QVector<Heard> heard() const
    {
        QMutexLocker locker(&m_mutex);
        return m_heard;
    }
    QVector<int> numbers() const
    {
        QVector<int> numbers;
        for (const Heard &one : heard())
            numbers.append(numberOf(one.body));
        return numbers;
    }
    /// True if two callbacks ever ran at the same time.
    bool overlapped() const { return m_overlapped; }

private:
    void hear(const Heard &one)
    {
        if (m_inside.fetch_add(1) != 0)
            m_overlapped = true;
        if (m_inCallback)
            m_inCallback(one);
        m_inside.fetch_sub(1);
        // Recorded last: a test that closes the endpoint within the callback may end as soon as this is recorded.
        QMutexLocker locker(&m_mutex);
        m_heard.append(one);
        m_more.wakeAll();
    }

    const std::function<void(const Heard &)> m_inCallback;
    std::atomic<int> m_inside { 0 };
    std::atomic<bool> m_overlapped { false };
    mutable QMutex m_mutex; // guards m_heard
    mutable QWaitCondition m_more;
    QVector<Heard> m_heard;

public:
    std::unique_ptr<LxBusEndpoint> endpoint; // last, to be destroyed before the members that its callbacks use
};

/// A service that is implemented by a function.
class Service final : public LxBusService
{
public:
    using Handler = std::function<void(LxBusServicePort *port, const LxBusRequest &request)>;

    explicit Service(Bus &bus, const QStringList &types, Handler handler)
        : m_types(types), m_handler(std::move(handler))
    {
        QMutexLocker locker(&m_opening);
        port = bus->openService(this);
    }

    QStringList requestTypes() const override { return m_types; }
    void handle(const LxBusRequest &request) override
    {
        m_opening.lock(); // a request may arrive before the port is known
        m_opening.unlock();
        m_handler(port.get(), request);
    }

private:
    const QStringList m_types;
    const Handler m_handler;
    QMutex m_opening;

public:
    std::unique_ptr<LxBusServicePort> port;
};

/// A publisher of numbers.
class Publisher
{
public:
    explicit Publisher(Bus &bus) : port(bus->openPublisher()) { }

    int publish(const QString &topic, const QString &key, int number)
    {
        return port->publish(topic, key, numberBody(number));
    }
    bool flush() { return port->flush(PatienceMs); }

    std::unique_ptr<LxBusPublisher> port;
};

/// Runs functions on threads of their own, and waits for them at the end.
class Threads
{
public:
    ~Threads() { join(); }

    void run(std::function<void()> function)
    {
        m_threads.emplace_back(QThread::create(std::move(function)));
        m_threads.back()->start();
    }
    void join()
    {
        for (const auto &thread : m_threads)
            thread->wait();
        m_threads.clear();
    }

private:
    std::vector<std::unique_ptr<QThread>> m_threads;
};

} // namespace BusTesting
