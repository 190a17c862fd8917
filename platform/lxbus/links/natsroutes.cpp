#include "links/natsroutes_p.h"

#include "bustopics.h"
#include "links/natsstreams_p.h"
#include "links/natssubjects_p.h"

#include <QLoggingCategory>

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

Q_LOGGING_CATEGORY(lxNatsRoutesLog, "lx.bus.nats")

namespace {

constexpr int AnswerMs = 5000; // after which a request to a stream is repeated
constexpr int CurrentMs = 3000; // without an answer, after which a program does not wait for the latest records
constexpr int AskAgainMs = 1000; // a record that was just being stored is in the stream by then
constexpr int WakeAgainMs = 500;

} // namespace

struct LxNatsRoutes::Route final : LxTickOrder::Observer
{
    Route(LxNatsRoutes *routes, quint64 routeNumber, QString routeTopic, QString routeKey)
        : owner(routes), number(routeNumber), topic(std::move(routeTopic)), key(std::move(routeKey)),
          isTick(LxNatsStreams::isTick(topic)), subject(LxNatsSubjects::record(LxNatsSubjects::path(topic, key)))
    {
    }

    void announce(const QVariant &body) override { owner->m_observer->recordArrived(number, topic, key, body); }
    void fetch(quint64 wanted, int delayMs) override
    {
        position = wanted;
        ++request;
        if (delayMs > 0)
            owner->schedule(delayMs, { Task::Fetch, number, request });
        else
            owner->fetch(this);
    }
    void fetchLatest() override { owner->askForLatest(*this); }
    void lost(quint64 count) override { owner->m_observer->dropped(LxBusDrop::LostOnTheWay, topic, count); }

    LxNatsRoutes *const owner;
    const quint64 number;
    const QString topic;
    const QString key;
    const bool isTick;
    const QByteArray subject;

    // Receiving thread:
    quint64 epoch = 0; // of the last record received
    quint64 sequence = 0;
    LxTickOrder ticks { this, owner->m_options.ticksOfTheDay ? LxTickOrder::AllTicks : LxTickOrder::LatestTick };
    quint64 position = 0; // what was fetched last
    quint64 request = 0; // the number of that fetch
    bool isWatched = false; // a task checks that fetches are answered

    LxNatsSubscription subscription;
};

LxNatsRoutes::LxNatsRoutes(LxNatsConnection *connection, QByteArray inbox, const LxBusOptions &options,
                           LxLinkObserver *observer)
    : m_connection(connection), m_inbox(std::move(inbox)), m_options(options), m_observer(observer)
{
    m_time.start();
    m_clock = std::thread([this] { runClock(); });
}

LxNatsRoutes::~LxNatsRoutes()
{
    stop();
}

void LxNatsRoutes::stop()
{
    {
        const QMutexLocker locker(&m_taskMutex);
        m_stopping = true;
        m_tasksChanged.wakeAll();
    }
    if (m_clock.joinable())
        m_clock.join();
}

void LxNatsRoutes::open(quint64 number, const QString &topic, const QString &key)
{
    const auto route = std::make_shared<Route>(this, number, topic, key);
    const std::weak_ptr<Route> weak = route;
    route->subscription = m_connection->subscribe(route->subject, nullptr, [this, weak](const LxNatsMessage &message) {
        if (const std::shared_ptr<Route> open = weak.lock())
            receive(open.get(), message);
    });
    QMutexLocker locker(&m_mutex);
    m_routes.insert(number, route);
    askForLatest(*route);
}

void LxNatsRoutes::close(quint64 number)
{
    {
        QMutexLocker locker(&m_mutex);
        m_routes.remove(number);
    }
    noteAnswer(number);
}

std::shared_ptr<LxNatsRoutes::Route> LxNatsRoutes::routeOf(quint64 number)
{
    QMutexLocker locker(&m_mutex);
    return m_routes.value(number);
}

QByteArray LxNatsRoutes::streamOf(const Route &route) const
{
    return LxNatsStreams::name(route.isTick ? LxNatsStreams::Ticks : LxNatsStreams::Last, m_options.streamPrefix);
}

void LxNatsRoutes::askForLatest(const Route &route)
{
    if (route.key.isEmpty())
        return;
    {
        const QMutexLocker locker(&m_taskMutex);
        m_lastAsked = m_time.elapsed();
        m_unanswered.insert(route.number);
    }
    m_connection->publishRequest(LxNatsStreams::latestSubject(streamOf(route), route.subject),
                                 m_inbox + LxNatsSubjects::Own::latest + QByteArray::number(route.number),
                                 QByteArray());
}

void LxNatsRoutes::noteAnswer(quint64 route)
{
    const QMutexLocker locker(&m_taskMutex);
    if (m_unanswered.remove(route) && m_unanswered.isEmpty())
        m_answered.wakeAll();
}

bool LxNatsRoutes::waitUntilCurrent(QDeadlineTimer deadline)
{
    const QMutexLocker locker(&m_taskMutex);
    while (!m_unanswered.isEmpty()) {
        const qint64 patience = m_lastAsked + CurrentMs - m_time.elapsed();
        const qint64 rest = deadline.isForever() ? patience : std::min(patience, deadline.remainingTime());
        if (patience <= 0)
            m_unanswered.clear();
        else if (rest <= 0)
            return false;
        else
            m_answered.wait(&m_taskMutex, static_cast<unsigned long>(rest));
    }
    return true;
}

void LxNatsRoutes::askAgain()
{
    QMutexLocker locker(&m_mutex);
    for (const std::shared_ptr<Route> &route : std::as_const(m_routes)) {
        askForLatest(*route);
        if (!route->isTick)
            continue;
        schedule(0, { Task::FetchAgain, route->number, 0 });
        schedule(AskAgainMs, { Task::AskLatest, route->number, 0 });
    }
}

bool LxNatsRoutes::read(const LxNatsMessage &message, const Route &route, const char *what, LxWireMessage *record)
{
    QString error;
    if (!m_reader.read(message.bytes(), message.size(), record, &error)) {
        qCDebug(lxNatsRoutesLog).noquote() << "cannot read a record of" << route.topic << '-' << error;
        m_observer->dropped(LxBusDrop::Malformed, what ? QString::fromLatin1(what) : route.topic);
        return false;
    }
    if (record->type == route.topic && record->client == route.key)
        return true;
    m_observer->dropped(LxBusDrop::Malformed, route.topic);
    return false;
}

void LxNatsRoutes::receive(Route *route, const LxNatsMessage &message)
{
    LxWireMessage record;
    if (!read(message, *route, nullptr, &record))
        return;
    if (route->isTick)
        receiveTick(route, message, record);
    else
        receiveQuote(route, record, false);
}

static LxTick tickOf(const LxNatsMessage &message, const LxWireMessage &record)
{
    const char *const floor = message.header(LxNatsSubjects::floorHeader);
    return { record.epoch, record.sequence, QByteArray(floor).toULongLong(), record.body };
}

void LxNatsRoutes::receiveTick(Route *route, const LxNatsMessage &message, const LxWireMessage &record)
{
    // A publisher that does not create the stream adds no header.
    route->ticks.setStreamAbsent(message.header(LxNatsSubjects::floorHeader) == nullptr);
    route->ticks.arrived(tickOf(message, record));
}

void LxNatsRoutes::receiveQuote(Route *route, const LxWireMessage &record, bool isLatest)
{
    if (!route->key.isEmpty()) {
        const auto position = std::tie(record.epoch, record.sequence);
        const bool known = isLatest ? position <= std::tie(route->epoch, route->sequence)
                                    : record.epoch == route->epoch && record.sequence <= route->sequence;
        if (known)
            return;
        // Numbers of one run of a publisher have no gaps.
        if (record.epoch == route->epoch)
            m_observer->dropped(LxBusDrop::LostOnTheWay, route->topic, record.sequence - route->sequence - 1);
        else if (record.epoch < route->epoch)
            warnOfTwoPublishers(*route);
        route->epoch = record.epoch;
        route->sequence = record.sequence;
    }
    m_observer->recordArrived(route->number, route->topic, route->key, record.body);
}

// A publisher that has been replaced sends nothing any more, so its records follow those of a newer one only if both
// are running.
void LxNatsRoutes::warnOfTwoPublishers(const Route &route)
{
    if (const auto suppressed = m_publishersLog.admit()) {
        qCWarning(lxNatsRoutesLog).noquote()
            << "two services publish" << route.topic << "of" << route.key << "- clients receive the records of both -"
            << *suppressed << "similar before";
    }
}

void LxNatsRoutes::receiveLatest(const QByteArray &about, const LxNatsMessage &message)
{
    const quint64 number = about.toULongLong();
    const std::shared_ptr<Route> route = routeOf(number);
    LxWireMessage record;
    if (!route || message.isNoResponders()) {
        // closed, or a broker without streams
    } else if (message.header("Status")) { // there is none: most symbols are published on few topics
        if (route->isTick)
            route->ticks.streamIsEmpty();
    } else if (read(message, *route, "latest record", &record)) {
        if (route->isTick)
            receiveTick(route.get(), message, record);
        else
            receiveQuote(route.get(), record, true);
    }
    if (!route || route->ticks.isComplete())
        noteAnswer(number);
}

void LxNatsRoutes::fetch(Route *route)
{
    m_connection->publishRequest(LxNatsStreams::fetchSubject(streamOf(*route)),
                                 m_inbox + LxNatsSubjects::Own::fetched + QByteArray::number(route->number) + '.'
                                     + QByteArray::number(route->request),
                                 LxNatsStreams::fetchRequest(route->position, route->subject));
    if (!std::exchange(route->isWatched, true))
        schedule(AnswerMs, { Task::CheckFetch, route->number, route->request });
}

void LxNatsRoutes::receiveFetched(const QByteArray &about, const LxNatsMessage &message)
{
    const int dot = about.indexOf('.');
    const std::shared_ptr<Route> route = routeOf(about.left(dot).toULongLong());
    if (!route || about.mid(dot + 1).toULongLong() != route->request)
        return;
    const quint64 position = message.lastHeader("Nats-Sequence").toULongLong();
    LxWireMessage record;
    if (message.header("Status"))
        route->ticks.nothingFetched();
    else if (position < route->position)
        m_observer->dropped(LxBusDrop::Malformed, route->topic);
    else if (read(message, *route, nullptr, &record))
        route->ticks.fetched(tickOf(message, record), position);
    else
        route->ticks.fetchedOther(position);
    if (route->ticks.isComplete())
        noteAnswer(route->number);
}

void LxNatsRoutes::schedule(int delayMs, const Task &task)
{
    const QMutexLocker locker(&m_taskMutex);
    m_tasks.emplace(m_time.elapsed() + delayMs, task);
    m_tasksChanged.wakeAll();
}

// The tasks are performed on the receiving thread, which is told by a message to itself.
void LxNatsRoutes::runClock()
{
    QMutexLocker locker(&m_taskMutex);
    while (!m_stopping) {
        if (m_tasks.empty()) {
            m_tasksChanged.wait(&m_taskMutex);
            continue;
        }
        const qint64 rest = m_tasks.begin()->first - m_time.elapsed();
        if (rest > 0) {
            m_tasksChanged.wait(&m_taskMutex, static_cast<unsigned long>(rest));
            continue;
        }
        m_woken = true;
        locker.unlock();
        m_connection->publish(m_inbox + LxNatsSubjects::Own::wake, QByteArray());
        locker.relock();
        const QDeadlineTimer again(WakeAgainMs); // it may be lost with the connection
        while (m_woken && !m_stopping && m_tasksChanged.wait(&m_taskMutex, again)) { }
    }
}

void LxNatsRoutes::wake()
{
    std::vector<Task> due;
    {
        const QMutexLocker locker(&m_taskMutex);
        const auto end = m_tasks.upper_bound(m_time.elapsed());
        for (auto task = m_tasks.begin(); task != end; ++task)
            due.push_back(task->second);
        m_tasks.erase(m_tasks.begin(), end);
        m_woken = false;
        m_tasksChanged.wakeAll();
    }
    for (const Task &task : due)
        perform(task);
}

void LxNatsRoutes::perform(const Task &task)
{
    const std::shared_ptr<Route> route = routeOf(task.route);
    if (!route)
        return;
    switch (task.kind) {
    case Task::AskLatest:
        askForLatest(*route);
        break;
    case Task::FetchAgain:
        route->ticks.reconnected();
        break;
    case Task::Fetch:
        if (task.request == route->request)
            fetch(route.get());
        break;
    case Task::CheckFetch:
        route->isWatched = !route->ticks.isComplete();
        if (!route->isWatched)
            break;
        schedule(AnswerMs, { Task::CheckFetch, route->number, route->request });
        if (task.request == route->request)
            route->ticks.fetchFailed();
        break;
    }
}
