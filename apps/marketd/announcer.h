#pragma once

#include <serviceannouncement.h>

#include <lxbus/bus.h>

#include <QObject>
#include <QSet>
#include <QTimer>

#include <functional>
#include <memory>

/// Announces the service on the bus once a second, to clients that ask, and when it leaves. Logs a warning if another
/// service publishes at the same time. Lives on the main thread.
class Announcer : public QObject, private LxBusService, private LxBusListener
{
public:
    /// Joins the process's bus. `describe` returns what is announced, except for what identifies the service; it is
    /// called on any thread.
    explicit Announcer(std::function<ServiceAnnouncement()> describe);
    /// Announces that the service leaves.
    ~Announcer() override;

    /// Begins to announce.
    void start();

private:
    QStringList requestTypes() const override;
    void handle(const LxBusRequest &request) override;
    void published(const QString &source, const QString &topic, const QVariant &body) override;
    void answered(int, const QString &, const QString &, const QVariant &) override { }

    ServiceAnnouncement announcement() const;
    void announce(const ServiceAnnouncement &announcement);

    const std::function<ServiceAnnouncement()> m_describe;
    const ServiceAnnouncement m_self;
    QTimer m_timer;
    QSet<QString> m_reported; // other publishers by id; used by the endpoint's callbacks only
    std::unique_ptr<LxBusPublisher> m_publisher;
    std::unique_ptr<LxBusServicePort> m_port;
    std::unique_ptr<LxBusEndpoint> m_endpoint;
};
