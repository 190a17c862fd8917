#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <optional>

/// What a service says about itself on the bus (LxBusTopics::presence) once a second (docs/messages.md).
struct ServiceAnnouncement
{
    QString id; ///< of this run of the service
    QString host;
    qint64 process = 0;
    QDateTime since; ///< when the service began, local time
    bool answers = false; ///< requests of the library
    bool isLeaving = false; ///< the last announcement

    QDate day; ///< of the records that are published; invalid: none are published
    QTime time; ///< of the latest record of this round; invalid before the first
    qint64 round = 0; ///< how often the day has been begun
    bool hasEnded = false; ///< nothing more will be published

    // Since the service began:
    qint64 recordsPublished = 0;
    qint64 messagesDropped = 0; ///< by the bus in the process of the service
    qint64 requestsAnswered = 0;

    bool publishes() const { return day.isValid() && !hasEnded; }
    /// The time of the market; invalid before the first record.
    QDateTime marketTime() const { return day.isValid() && time.isValid() ? QDateTime(day, time) : QDateTime(); }

    QVariant toBody() const;
    /// Nothing if the body is not an announcement. Texts are shortened and have no control characters.
    static std::optional<ServiceAnnouncement> fromBody(const QVariant &body);
};
