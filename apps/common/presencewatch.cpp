#include "presencewatch.h"

#include "translated.h"

#include <dates.h>
#include <lxbus/bustopics.h>

#include <QLocale>
#include <QStringList>

namespace {

constexpr int CheckIntervalMs = 250;

QString timeText(const QDateTime &time)
{
    return time.toString(QStringLiteral("HH:mm:ss"));
}

} // namespace

PresenceWatch::PresenceWatch(QObject *parent) : QObject(parent)
{
    const std::shared_ptr<LxBusTransport> bus = LxBus::current();
    connect(&bus->connection(), &LxBusConnection::stateChanged, this, &PresenceWatch::noteConnection);
    connect(&bus->connection(), &LxBusConnection::nobodyServes, this, [this] {
        m_presence.nobodyServes();
        Q_EMIT changed();
    });
    connect(&m_timer, &QTimer::timeout, this, &PresenceWatch::check);
    m_timer.start(CheckIntervalMs);
    m_endpoint = bus->openEndpoint(QStringLiteral("presence"), this);
    m_endpoint->subscribe(LxBusTopics::presence);
    m_endpoint->put(LxBusTopics::presenceRequest, QVariant());
}

PresenceWatch::~PresenceWatch() = default;

void PresenceWatch::published(const QString &, const QString &, const QVariant &body)
{
    if (const std::optional<ServiceAnnouncement> announcement = ServiceAnnouncement::fromBody(body))
        QMetaObject::invokeMethod(
            this, [this, announcement] { hear(*announcement); }, Qt::QueuedConnection);
}

void PresenceWatch::hear(const ServiceAnnouncement &announcement)
{
    const std::optional<ServicePresence::Jump> jump = m_presence.heard(announcement, Moment::now());
    if (jump)
        Q_EMIT jumped(*jump);
    Q_EMIT changed();
}

void PresenceWatch::noteConnection(const LxBusState &state)
{
    switch (state.kind) {
    case LxBusState::Connected:
    case LxBusState::SlowConsumer:
        m_presence.connectionRestored(Moment::now());
        break;
    case LxBusState::Reconnecting:
    case LxBusState::Closed:
        m_presence.connectionLost();
        break;
    }
}

void PresenceWatch::check()
{
    const auto state = m_presence.state();
    const auto publishing = m_presence.publishing();
    m_presence.check(Moment::now());
    if (m_presence.state() != state || m_presence.publishing() != publishing)
        Q_EMIT changed();
}

QString PresenceWatch::absenceText() const
{
    if (m_presence.state() == ServicePresence::Present) {
        const ServiceAnnouncement *publisher = m_presence.publisher();
        return publisher ? translated("the replay of %1 has ended").arg(Dates::toString(publisher->day))
                         : translated("no service publishes; requests are answered");
    }
    const QDateTime since = m_presence.absentSince();
    return since.isValid() ? translated("no service since %1").arg(timeText(since))
                           : translated("no service on the bus");
}

QString PresenceWatch::text() const
{
    if (m_presence.publishing() == ServicePresence::Nobody)
        return absenceText();
    const ServiceAnnouncement *publisher = m_presence.publisher();
    if (!publisher)
        return QString();
    QStringList parts { Dates::toString(publisher->day) };
    if (publisher->time.isValid())
        parts[0] += QLatin1Char(' ') + publisher->time.toString(QStringLiteral("HH:mm:ss"));
    parts.append(translated("%1 published").arg(QLocale(QLocale::English).toString(publisher->recordsPublished)));
    if (m_presence.publisherCount() > 1)
        parts.append(translated("by %1 services at the same time").arg(m_presence.publisherCount()));
    return parts.join(QStringLiteral(", "));
}

QString PresenceWatch::text(const ServicePresence::Jump &jump)
{
    if (jump.from.date() == jump.to.date())
        return translated("the market time has gone back from %1 to %2").arg(timeText(jump.from), timeText(jump.to));
    return translated("another day is replayed: %1 after %2")
        .arg(Dates::toString(jump.to.date()), Dates::toString(jump.from.date()));
}
