#include "links/natsstreams_p.h"

#include "bustopics.h"
#include "links/natsconnection_p.h"
#include "links/natssubjects_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int AnswerTimeoutMs = 2500;
constexpr qint64 FullBytes = 64 * 1024; // a stream with less room than this is full
constexpr double NanosecondsPerHour = 3600e9;
constexpr double RepeatWindowNanoseconds = 30e9; // in which the broker recognises a record that is published again
constexpr int ExistsOtherwise = 10058; // "stream name already in use with a different configuration"

const QByteArray api = QByteArrayLiteral("$JS.API.");

const char *const lastTopics[] = { "MDMARKETRECORD", "MDINDEXRECORD", "MDFUTURERECORD", "MDOPTIONRECORD",
                                   "ADINDICATORSRANKINGRECORD" };
const char *const tickTopics[] = { "MDTRANSACTIONRECORD", "MDORDERRECORD" };

QJsonObject configurationOf(LxNatsStreams::Role role, const LxBusOptions &options)
{
    const LxBusStreams limits = options.streams.value_or(LxBusStreams());
    const bool last = role == LxNatsStreams::Last;
    QJsonArray subjects;
    const auto add = [&subjects](const char *topic) {
        subjects.append(QString::fromLatin1(LxNatsSubjects::record(topic) + ".>"));
    };
    if (last)
        std::for_each(std::begin(lastTopics), std::end(lastTopics), add);
    else
        std::for_each(std::begin(tickTopics), std::end(tickTopics), add);
    const LxBusStreams::Storage storage = last ? limits.lastStorage : limits.ticksStorage;
    return {
        { QStringLiteral("name"), QString::fromUtf8(LxNatsStreams::name(role, options.streamPrefix)) },
        { QStringLiteral("subjects"), subjects },
        { QStringLiteral("storage"),
          storage == LxBusStreams::Memory ? QStringLiteral("memory") : QStringLiteral("file") },
        { QStringLiteral("retention"), QStringLiteral("limits") },
        { QStringLiteral("discard"), QStringLiteral("new") },
        { QStringLiteral("max_bytes"), last ? limits.lastBytes : limits.ticksBytes },
        { QStringLiteral("max_msgs"), -1 },
        { QStringLiteral("max_msgs_per_subject"), last ? 1 : -1 },
        { QStringLiteral("max_msg_size"), -1 },
        { QStringLiteral("max_consumers"), -1 },
        { QStringLiteral("max_age"), last ? 0. : limits.ticksHours * NanosecondsPerHour },
        { QStringLiteral("duplicate_window"), RepeatWindowNanoseconds },
        { QStringLiteral("num_replicas"), limits.replicas },
        { QStringLiteral("allow_direct"), true },
    };
}

QString text(const QJsonValue &value)
{
    if (value.isDouble())
        return QString::number(value.toDouble(), 'f', 0);
    if (value.isArray())
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    return value.toVariant().toString();
}

// What distinguishes the stream that exists from the one that is wanted.
QString difference(const QJsonObject &existing, const QJsonObject &wanted)
{
    QStringList differences;
    for (auto it = wanted.begin(); it != wanted.end(); ++it) {
        if (existing.value(it.key()) != it.value())
            differences.append(
                QStringLiteral("%1 is %2, not %3").arg(it.key(), text(existing.value(it.key())), text(it.value())));
    }
    return differences.join(QStringLiteral("; "));
}

QJsonObject errorOf(const QJsonObject &answer)
{
    return answer.value(QStringLiteral("error")).toObject();
}

bool createOne(LxNatsStreams::Role role, LxNatsConnection *connection, const QByteArray &reply,
               const LxBusOptions &options, quint64 *end, QString *error)
{
    const QByteArray stream = LxNatsStreams::name(role, options.streamPrefix);
    QString reason;
    const auto ask = [&](const QByteArray &subject, const QByteArray &request) {
        return connection->askJetStream(subject, reply, request, AnswerTimeoutMs, &reason);
    };
    const QByteArray answer =
        ask(LxNatsStreams::creationSubject(stream), LxNatsStreams::creationRequest(role, options));
    if (answer.isEmpty()) {
        *error =
            QStringLiteral("the broker refuses to create the stream %1: %2").arg(QString::fromUtf8(stream), reason);
        return false;
    }
    const bool exists = LxNatsStreams::readCreation(stream, answer, end, error);
    const QJsonObject object = QJsonDocument::fromJson(answer).object();
    if (errorOf(object).value(QStringLiteral("err_code")).toInt() == ExistsOtherwise) {
        const QJsonObject existing = QJsonDocument::fromJson(ask(api + "STREAM.INFO." + stream, {})).object();
        *error =
            QStringLiteral("the broker has a stream %1 with another configuration: %2")
                .arg(QString::fromUtf8(stream),
                     difference(existing.value(QStringLiteral("config")).toObject(), configurationOf(role, options)));
    }
    if (!exists)
        return false;
    const double limit =
        object.value(QStringLiteral("config")).toObject().value(QStringLiteral("max_bytes")).toDouble();
    const double bytes = object.value(QStringLiteral("state")).toObject().value(QStringLiteral("bytes")).toDouble();
    if (limit - bytes >= FullBytes)
        return true;
    *error = QStringLiteral("the stream %1 is full: %2 of %3 bytes")
                 .arg(QString::fromUtf8(stream), QString::number(bytes, 'f', 0), QString::number(limit, 'f', 0));
    return false;
}

} // namespace

namespace LxNatsStreams {

bool isTick(const QString &topic)
{
    const int kind = LxBusTopics::routingKind(topic);
    return kind == static_cast<int>(LxRecordKind::Transaction) || kind == static_cast<int>(LxRecordKind::Order);
}

QByteArray name(Role role, const QString &prefix)
{
    return prefix.toUtf8() + (role == Last ? "_LAST" : "_TICKS");
}

QByteArray latestSubject(const QByteArray &stream, const QByteArray &recordSubject)
{
    return api + "DIRECT.GET." + stream + '.' + recordSubject;
}

QByteArray fetchSubject(const QByteArray &stream)
{
    return api + "DIRECT.GET." + stream;
}

QByteArray fetchRequest(quint64 position, const QByteArray &recordSubject)
{
    return "{\"seq\":" + QByteArray::number(position) + ",\"next_by_subj\":\"" + recordSubject + "\"}";
}

QByteArray purgeSubject(const QByteArray &stream)
{
    return api + "STREAM.PURGE." + stream;
}

QByteArray purgeRequest(quint64 lastPosition)
{
    return "{\"seq\":" + QByteArray::number(lastPosition + 1) + '}';
}

QByteArray creationSubject(const QByteArray &stream)
{
    return api + "STREAM.CREATE." + stream;
}

QByteArray creationRequest(Role role, const LxBusOptions &options)
{
    return QJsonDocument(configurationOf(role, options)).toJson(QJsonDocument::Compact);
}

bool readCreation(const QByteArray &stream, const QByteArray &answer, quint64 *end, QString *error)
{
    const QJsonObject object = QJsonDocument::fromJson(answer).object();
    const QJsonObject state = object.value(QStringLiteral("state")).toObject();
    *end = static_cast<quint64>(state.value(QStringLiteral("last_seq")).toDouble());
    if (object.contains(QStringLiteral("created")))
        return true;
    *error = QStringLiteral("the broker refuses to create the stream %1: %2")
                 .arg(QString::fromUtf8(stream), errorOf(object).value(QStringLiteral("description")).toString());
    return false;
}

// Tens of thousands arrive in a second, so those without an error are not parsed as JSON.
Acknowledgement readAcknowledgement(const QByteArray &bytes)
{
    if (!bytes.contains("\"error\"")) {
        const QByteArray key = QByteArrayLiteral("\"seq\":");
        const int at = bytes.indexOf(key);
        return { at < 0 ? 0 : std::strtoull(bytes.constData() + at + key.size(), nullptr, 10), QString() };
    }
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    const QString reason = errorOf(object).value(QStringLiteral("description")).toString();
    const QString stream = object.value(QStringLiteral("stream")).toString();
    return { 0,
             reason.isEmpty() ? QString()
                              : QStringLiteral("the stream %1 does not accept a record: %2").arg(stream, reason) };
}

bool create(LxNatsConnection *connection, const QByteArray &inbox, const LxBusOptions &options, quint64 *ticksEnd,
            QString *error)
{
    quint64 lastEnd = 0;
    return createOne(Last, connection, inbox + ".l", options, &lastEnd, error)
        && createOne(Ticks, connection, inbox + ".t", options, ticksEnd, error);
}

} // namespace LxNatsStreams
