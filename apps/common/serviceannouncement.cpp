#include "serviceannouncement.h"

#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <algorithm>

namespace {

constexpr int TextLimit = 64;

const QString dateFormat = QStringLiteral("yyyyMMdd");
const QString timeFormat = QStringLiteral("HHmmsszzz");

} // namespace

QVariant ServiceAnnouncement::toBody() const
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("ServiceID"), id);
    pack.AddVaule(QStringLiteral("Host"), host);
    pack.AddVaule(QStringLiteral("ProcessID"), process);
    pack.AddVaule(QStringLiteral("StartTime"), since.toMSecsSinceEpoch());
    pack.AddVaule(QStringLiteral("Answers"), answers);
    pack.AddVaule(QStringLiteral("Leaving"), isLeaving);
    pack.AddVaule(QStringLiteral("MDDate"), day.toString(dateFormat));
    pack.AddVaule(QStringLiteral("MDTime"), time.toString(timeFormat));
    pack.AddVaule(QStringLiteral("Round"), round);
    pack.AddVaule(QStringLiteral("Ended"), hasEnded);
    pack.AddVaule(QStringLiteral("RecordsPublished"), recordsPublished);
    pack.AddVaule(QStringLiteral("MessagesDropped"), messagesDropped);
    pack.AddVaule(QStringLiteral("RequestsAnswered"), requestsAnswered);
    return pack.GetPackedMsg(false);
}

std::optional<ServiceAnnouncement> ServiceAnnouncement::fromBody(const QVariant &body)
{
    CUnPackMessageCommon pack;
    pack.SetUnPackMsg(body, false);
    const auto value = [&pack](const char *key) { return pack.GetValue(QString::fromLatin1(key), QVariant()); };
    const auto text = [&value](const char *key) {
        QString result = value(key).toString().left(TextLimit);
        const auto end =
            std::remove_if(result.begin(), result.end(), [](QChar character) { return !character.isPrint(); });
        result.truncate(static_cast<int>(end - result.begin()));
        return result;
    };
    ServiceAnnouncement announcement;
    announcement.id = text("ServiceID");
    if (announcement.id.isEmpty())
        return std::nullopt;
    announcement.host = text("Host");
    announcement.process = value("ProcessID").toLongLong();
    announcement.since = QDateTime::fromMSecsSinceEpoch(value("StartTime").toLongLong());
    announcement.answers = value("Answers").toBool();
    announcement.isLeaving = value("Leaving").toBool();
    announcement.day = QDate::fromString(text("MDDate"), dateFormat);
    announcement.time = QTime::fromString(text("MDTime"), timeFormat);
    announcement.round = value("Round").toLongLong();
    announcement.hasEnded = value("Ended").toBool();
    announcement.recordsPublished = value("RecordsPublished").toLongLong();
    announcement.messagesDropped = value("MessagesDropped").toLongLong();
    announcement.requestsAnswered = value("RequestsAnswered").toLongLong();
    return announcement;
}
