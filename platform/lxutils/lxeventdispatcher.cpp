#include "lxeventdispatcher_p.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSocketNotifier>
#include <QTimerEvent>

#include <algorithm>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

short pollEvents(QSocketNotifier::Type type)
{
    switch (type) {
    case QSocketNotifier::Read:
        return POLLIN;
    case QSocketNotifier::Write:
        return POLLOUT;
    case QSocketNotifier::Exception:
        return POLLPRI;
    }
    return 0;
}

} // namespace

LxEventDispatcher::LxEventDispatcher() : m_wakeFile(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (m_wakeFile < 0)
        qFatal("LxEventDispatcher: no file to wake up by");
}

LxEventDispatcher::~LxEventDispatcher()
{
    close(m_wakeFile);
}

bool LxEventDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_interrupted = false;
    Q_EMIT awake();
    QCoreApplication::sendPostedEvents();

    // Whoever posts adds the event first and then sets the mark. So after the mark is taken down here, either the queue
    // is looked at again, by the next call, or nothing was added.
    const bool woken = m_woken.exchange(false);
    const bool mayBlock = flags.testFlag(QEventLoop::WaitForMoreEvents) && !woken && !m_interrupted;
    const bool withTimers = !flags.testFlag(QEventLoop::X11ExcludeTimers);
    std::vector<pollfd> files = watched(flags);
    if (mayBlock && files.empty() && (!withTimers || m_timers.empty()))
        waitForWakeUp();
    else if (mayBlock || !files.empty())
        wait(&files, mayBlock, withTimers);
    bool activated = !files.empty() && activateNotifiers(files);
    if (withTimers && !m_timers.empty())
        activated |= activateTimers();
    return woken || activated;
}

bool LxEventDispatcher::hasPendingEvents()
{
    return m_woken;
}

// The files of the notifiers, in their order.
std::vector<pollfd> LxEventDispatcher::watched(QEventLoop::ProcessEventsFlags flags) const
{
    std::vector<pollfd> files;
    if (flags.testFlag(QEventLoop::ExcludeSocketNotifiers))
        return files;
    for (const QSocketNotifier *notifier : m_notifiers)
        files.push_back({ static_cast<int>(notifier->socket()), pollEvents(notifier->type()), 0 });
    return files;
}

void LxEventDispatcher::waitForWakeUp()
{
    Q_EMIT aboutToBlock();
    // One that came as this thread decided not to sleep, the last time, is not needed any more.
    m_wakeSemaphore.tryAcquire(m_wakeSemaphore.available());
    m_sleeping = OnSemaphore;
    // Either the one who wakes up sees that this thread sleeps, or this thread sees the mark.
    if (!m_woken)
        m_wakeSemaphore.acquire();
    m_sleeping = Awake;
    m_woken = false; // the caller looks at the queue, and at its reason to leave, before it comes here again
}

void LxEventDispatcher::wait(std::vector<pollfd> *files, bool mayBlock, bool withTimers)
{
    timespec timeout {};
    const timespec *deadline = &timeout;
    if (mayBlock) {
        Q_EMIT aboutToBlock();
        deadline = nullptr;
        if (withTimers && !m_timers.empty()) {
            const auto first = std::min_element(m_timers.cbegin(), m_timers.cend(),
                                                [](const Timer &a, const Timer &b) { return a.due < b.due; });
            const auto rest = std::max(first->due - Clock::now(), Clock::duration::zero());
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
            timeout.tv_sec = seconds.count();
            timeout.tv_nsec = std::chrono::nanoseconds(rest - seconds).count();
            deadline = &timeout;
        }
        // Not as soon as it has woken this thread: what it was woken for comes first.
        if (m_wakeFileSet) {
            eventfd_t count = 0;
            eventfd_read(m_wakeFile, &count);
            m_wakeFileSet = false;
        }
        m_sleeping = OnFile;
        // Either the one who wakes up sees that this thread sleeps, or this thread sees the mark.
        if (m_woken) {
            timeout = {};
            deadline = &timeout;
        }
    }
    files->push_back({ m_wakeFile, POLLIN, 0 });
    const int ready = ppoll(files->data(), files->size(), deadline, nullptr);
    m_sleeping = Awake;
    m_wakeFileSet = m_wakeFileSet || files->back().revents != 0;
    files->pop_back();
    if (ready < 0) {
        for (pollfd &file : *files)
            file.revents = 0;
    }
    // The caller looks at the queue, and at its reason to leave, before it comes here again.
    if (mayBlock)
        m_woken = false;
}

bool LxEventDispatcher::activateNotifiers(const std::vector<pollfd> &files)
{
    struct Ready
    {
        QSocketNotifier *notifier;
        bool invalid;
    };
    std::vector<Ready> ready;
    for (size_t i = 0; i < files.size(); ++i) {
        if (files[i].revents != 0)
            ready.push_back({ m_notifiers[i], (files[i].revents & POLLNVAL) != 0 });
    }
    for (const Ready &each : ready) {
        // One before it may have taken it away.
        if (std::find(m_notifiers.cbegin(), m_notifiers.cend(), each.notifier) == m_notifiers.cend())
            continue;
        if (each.invalid) {
            qWarning() << "LxEventDispatcher: socket" << each.notifier->socket() << "is not open; disabled";
            each.notifier->setEnabled(false);
            continue;
        }
        QEvent event(QEvent::SockAct);
        QCoreApplication::sendEvent(each.notifier, &event);
    }
    return !ready.empty();
}

bool LxEventDispatcher::activateTimers()
{
    const Clock::time_point now = Clock::now();
    struct Due
    {
        Clock::time_point time;
        int id;
    };
    std::vector<Due> due;
    for (const Timer &each : m_timers) {
        if (each.due <= now && !each.firing)
            due.push_back({ each.due, each.id });
    }
    std::stable_sort(due.begin(), due.end(), [](const Due &a, const Due &b) { return a.time < b.time; });
    for (const Due &each : due) {
        // One before it may have stopped it, started it anew, or fired it from a nested loop.
        auto fired = timer(each.id);
        if (fired == m_timers.end() || fired->due != each.time || fired->firing)
            continue;
        fired->due = std::max(fired->due + fired->interval, now);
        fired->firing = true;
        QTimerEvent event(each.id);
        QCoreApplication::sendEvent(fired->object, &event);
        fired = timer(each.id);
        if (fired != m_timers.end())
            fired->firing = false;
    }
    return !due.empty();
}

void LxEventDispatcher::registerSocketNotifier(QSocketNotifier *notifier)
{
    m_notifiers.push_back(notifier);
}

void LxEventDispatcher::unregisterSocketNotifier(QSocketNotifier *notifier)
{
    m_notifiers.erase(std::remove(m_notifiers.begin(), m_notifiers.end(), notifier), m_notifiers.end());
}

void LxEventDispatcher::registerTimer(int id, int interval, Qt::TimerType type, QObject *object)
{
    const std::chrono::milliseconds period(interval);
    m_timers.push_back({ id, period, type, object, Clock::now() + period, false });
}

bool LxEventDispatcher::unregisterTimer(int id)
{
    const auto found = timer(id);
    if (found == m_timers.end())
        return false;
    m_timers.erase(found);
    return true;
}

bool LxEventDispatcher::unregisterTimers(QObject *object)
{
    const auto end =
        std::remove_if(m_timers.begin(), m_timers.end(), [object](const Timer &each) { return each.object == object; });
    const bool any = end != m_timers.end();
    m_timers.erase(end, m_timers.end());
    return any;
}

QList<QAbstractEventDispatcher::TimerInfo> LxEventDispatcher::registeredTimers(QObject *object) const
{
    QList<TimerInfo> timers;
    for (const Timer &each : m_timers) {
        if (each.object == object)
            timers.append(TimerInfo(each.id, static_cast<int>(each.interval.count()), each.type));
    }
    return timers;
}

int LxEventDispatcher::remainingTime(int id)
{
    const auto found = timer(id);
    if (found == m_timers.end())
        return -1;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(found->due - Clock::now());
    return static_cast<int>(std::max(rest, std::chrono::milliseconds::zero()).count());
}

void LxEventDispatcher::wakeUp()
{
    if (m_woken.exchange(true))
        return;
    switch (m_sleeping.load()) {
    case Awake:
        break;
    case OnSemaphore:
        m_wakeSemaphore.release();
        break;
    case OnFile:
        eventfd_write(m_wakeFile, 1);
        break;
    }
}

void LxEventDispatcher::interrupt()
{
    m_interrupted = true;
    wakeUp();
}

void LxEventDispatcher::closingDown()
{
    m_notifiers.clear();
    m_timers.clear();
}

std::vector<LxEventDispatcher::Timer>::iterator LxEventDispatcher::timer(int id)
{
    return std::find_if(m_timers.begin(), m_timers.end(), [id](const Timer &each) { return each.id == id; });
}
