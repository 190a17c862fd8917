#pragma once

#include "servicepresence.h"

#include <lxbus/bus.h>

#include <QObject>
#include <QTimer>

#include <memory>

/// Tells whether there are services on the program's bus, and what they publish. On a bus within the process the
/// service is the program itself, which needs no watch.
///
/// Listens to the announcements of the services, and asks once for one, which the broker answers at once if there is no
/// service. Lives on the main thread and emits its signals there.
class PresenceWatch : public QObject, private LxBusListener
{
    Q_OBJECT

public:
    /// Begins to watch the process's bus, which is one through a broker.
    explicit PresenceWatch(QObject *parent = nullptr);
    ~PresenceWatch() override;

    const ServicePresence &presence() const { return m_presence; }

    /// What is known, in the user's language: "no service since 10:31:07", or the time of the market and the number of
    /// records published; empty if nothing is known yet.
    QString text() const;
    /// That nobody publishes, in the user's language.
    QString absenceText() const;
    static QString text(const ServicePresence::Jump &jump);

Q_SIGNALS:
    /// An announcement has come, or ServicePresence::state() or publishing() has changed.
    void changed();
    void jumped(const ServicePresence::Jump &jump);

private:
    void published(const QString &source, const QString &topic, const QVariant &body) override; // bus threads
    void answered(int, const QString &, const QString &, const QVariant &) override { }

    void hear(const ServiceAnnouncement &announcement);
    void noteConnection(const LxBusState &state);
    void check();

    ServicePresence m_presence { Moment::now() };
    QTimer m_timer;
    std::unique_ptr<LxBusEndpoint> m_endpoint;
};
