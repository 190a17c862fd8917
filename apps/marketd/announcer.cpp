#include "announcer.h"

#include "marketdlog.h"

#include <dates.h>
#include <lxbus/bustopics.h>

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSysInfo>

namespace {

constexpr int IntervalMs = 1000;

ServiceAnnouncement self()
{
    ServiceAnnouncement result;
    result.id = QString::number(QRandomGenerator::system()->generate64(), 36);
    result.host = QSysInfo::machineHostName();
    result.process = QCoreApplication::applicationPid();
    result.since = QDateTime::currentDateTime();
    return result;
}

} // namespace

Announcer::Announcer(std::function<ServiceAnnouncement()> describe)
    : m_describe(std::move(describe)), m_self(self()), m_publisher(LxBus::current()->openPublisher()),
      m_port(LxBus::current()->openService(this)),
      m_endpoint(LxBus::current()->openEndpoint(QStringLiteral("announcer"), this))
{
    m_endpoint->subscribe(LxBusTopics::presence);
    connect(&m_timer, &QTimer::timeout, this, [this] { announce(announcement()); });
}

Announcer::~Announcer()
{
    m_endpoint.reset();
    m_port.reset();
    ServiceAnnouncement last = announcement();
    last.isLeaving = true;
    announce(last);
}

void Announcer::start()
{
    announce(announcement());
    m_timer.start(IntervalMs);
}

ServiceAnnouncement Announcer::announcement() const
{
    ServiceAnnouncement result = m_describe();
    result.id = m_self.id;
    result.host = m_self.host;
    result.process = m_self.process;
    result.since = m_self.since;
    return result;
}

// Without a connection an announcement would be out of date when it arrived.
void Announcer::announce(const ServiceAnnouncement &announcement)
{
    const LxBusState::Kind state = LxBus::current()->connection().state().kind;
    if (state != LxBusState::Reconnecting && state != LxBusState::Closed)
        m_publisher->publish(LxBusTopics::presence, QString(), announcement.toBody());
}

QStringList Announcer::requestTypes() const
{
    return { LxBusTopics::presenceRequest };
}

void Announcer::handle(const LxBusRequest &request)
{
    m_port->publishTo(request, LxBusTopics::presence, announcement().toBody());
}

void Announcer::published(const QString &, const QString &, const QVariant &body)
{
    const std::optional<ServiceAnnouncement> other = ServiceAnnouncement::fromBody(body);
    if (!other || other->id == m_self.id)
        return;
    if (other->isLeaving || !other->publishes()) {
        m_reported.remove(other->id);
        return;
    }
    const ServiceAnnouncement own = announcement();
    if (!own.publishes() || m_reported.contains(other->id))
        return;
    m_reported.insert(other->id);
    qCWarning(lxMarketdLog,
              "another service publishes at the same time: process %lld on %s, since %s, replays %s (this one %s); "
              "clients receive the records of both",
              static_cast<long long>(other->process), qUtf8Printable(other->host),
              qUtf8Printable(other->since.toString(QStringLiteral("HH:mm:ss"))),
              qUtf8Printable(Dates::toString(other->day)), qUtf8Printable(Dates::toString(own.day)));
}
