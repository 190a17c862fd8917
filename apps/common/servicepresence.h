#pragma once

#include "serviceannouncement.h"

#include <QHash>

/// A moment, by a clock that never jumps and by that of the user.
struct Moment
{
    qint64 ms = 0; ///< since any fixed moment
    QDateTime local;

    static Moment now();
};

/// What a client knows of the services on a bus through a broker, from their announcements. Has no clock of its own.
class ServicePresence
{
public:
    /// A service that has not announced itself for this time has gone.
    static constexpr int AbsentAfterMs = 3000;

    enum State {
        Unknown, ///< nothing has been heard yet
        Absent,
        Present,
    };
    enum Publishing {
        NotKnown,
        Nobody, ///< nothing more will come as long as no other service begins
        Somebody,
    };
    /// Market time has gone back, to another day or to a new beginning of the same.
    struct Jump
    {
        QDateTime from;
        QDateTime to;
    };

    /// `now`: when the client has joined the bus.
    explicit ServicePresence(const Moment &now);

    /// Takes an announcement into account. Returns the jump of market time that it tells of.
    std::optional<Jump> heard(const ServiceAnnouncement &announcement, const Moment &now);
    /// The broker knows no service. Decides only for a client that has not heard of any: one that is known may still be
    /// reconnecting.
    void nobodyServes();
    /// While the connection is lost nothing is heard, which says nothing about the services.
    void connectionLost() { m_isConnected = false; }
    void connectionRestored(const Moment &now);
    /// To be called a few times per second. Time in which it was not called, because this program was stopped or busy,
    /// does not count.
    void check(const Moment &now);

    State state() const { return m_state; }
    /// If absent: when a service was heard of for the last time; invalid if there never was one.
    QDateTime absentSince() const { return m_lastHeard; }
    Publishing publishing() const;
    /// The service that publishes, or has done so until its end; null if there is none. Of several the one that has
    /// published for the longest time.
    const ServiceAnnouncement *publisher() const;
    /// How many services are publishing.
    int publisherCount() const;

private:
    struct Service
    {
        ServiceAnnouncement announcement;
        qint64 heardMs = 0;
    };

    std::optional<Jump> followMarketTime(const ServiceAnnouncement &announcement, const Moment &now);

    QHash<QString, Service> m_services; // by id
    State m_state = Unknown;
    bool m_isConnected = true;
    qint64 m_checkedMs;
    qint64 m_quietMs = 0; // how long nothing has been heard, before the first announcement
    qint64 m_withoutPublisherMs = 0; // how long only services have been heard that do not publish
    QDateTime m_lastHeard;
    ServiceAnnouncement m_followed; // the latest one of the service whose market time is followed
};
