#include "servicepresence.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr qint64 MostBetweenChecksMs = 1000;
constexpr qint64 SilentAfterMs = 2000; // an announcement is missing
constexpr int MostServices = 100;

} // namespace

Moment Moment::now()
{
    return { QDeadlineTimer::current(Qt::PreciseTimer).deadline(), QDateTime::currentDateTime() };
}

ServicePresence::ServicePresence(const Moment &now) : m_checkedMs(now.ms) { }

std::optional<ServicePresence::Jump> ServicePresence::heard(const ServiceAnnouncement &announcement, const Moment &now)
{
    if (!m_services.contains(announcement.id) && m_services.size() >= MostServices)
        return std::nullopt;
    m_lastHeard = now.local;
    if (announcement.isLeaving) {
        m_services.remove(announcement.id);
        m_state = m_services.isEmpty() ? Absent : Present;
        return std::nullopt;
    }
    m_services.insert(announcement.id, { announcement, now.ms });
    m_state = Present;
    if (publisherCount() > 0)
        m_withoutPublisherMs = 0;
    return followMarketTime(announcement, now);
}

// A service is compared with itself, and one that replaces another with that one. Of several that publish at the same
// time the first is followed.
std::optional<ServicePresence::Jump> ServicePresence::followMarketTime(const ServiceAnnouncement &announcement,
                                                                       const Moment &now)
{
    const bool isOther = announcement.id != m_followed.id;
    const auto followed = m_services.constFind(m_followed.id);
    const bool isFollowedThere = followed != m_services.cend() && followed->announcement.publishes()
        && now.ms - followed->heardMs <= SilentAfterMs;
    if (!announcement.marketTime().isValid() || (isOther && isFollowedThere))
        return std::nullopt;
    const ServiceAnnouncement before = std::exchange(m_followed, announcement);
    const Jump jump { before.marketTime(), announcement.marketTime() };
    const bool beginsAgain = !isOther && announcement.round > before.round;
    return jump.from.isValid() && (jump.to < jump.from || beginsAgain) ? std::make_optional(jump) : std::nullopt;
}

void ServicePresence::nobodyServes()
{
    if (m_state == Unknown)
        m_state = Absent;
}

void ServicePresence::connectionRestored(const Moment &now)
{
    m_isConnected = true;
    for (Service &service : m_services)
        service.heardMs = now.ms;
}

void ServicePresence::check(const Moment &now)
{
    const qint64 elapsed = now.ms - m_checkedMs;
    m_checkedMs = now.ms;
    if (!m_isConnected)
        return;
    const qint64 counted = std::min(elapsed, MostBetweenChecksMs);
    for (auto service = m_services.begin(); service != m_services.end();) {
        service->heardMs = std::min(now.ms, service->heardMs + elapsed - counted);
        service = now.ms - service->heardMs > AbsentAfterMs ? m_services.erase(service) : std::next(service);
    }
    if (m_state == Unknown)
        m_quietMs += counted;
    else if (m_state == Present && publisherCount() == 0)
        m_withoutPublisherMs += counted;
    if ((m_state == Present && m_services.isEmpty()) || m_quietMs > AbsentAfterMs)
        m_state = m_services.isEmpty() ? Absent : Present;
}

const ServiceAnnouncement *ServicePresence::publisher() const
{
    const ServiceAnnouncement *found = nullptr;
    for (const Service &service : m_services) {
        const ServiceAnnouncement &one = service.announcement;
        const bool isBetter = !found || (one.publishes() && !found->publishes())
            || (one.publishes() == found->publishes() && one.since < found->since);
        if (one.day.isValid() && isBetter)
            found = &one;
    }
    return found;
}

int ServicePresence::publisherCount() const
{
    return static_cast<int>(std::count_if(m_services.cbegin(), m_services.cend(),
                                          [](const Service &service) { return service.announcement.publishes(); }));
}

ServicePresence::Publishing ServicePresence::publishing() const
{
    if (m_state == Absent || m_withoutPublisherMs > AbsentAfterMs)
        return Nobody;
    return publisherCount() > 0 ? Somebody : NotKnown;
}
