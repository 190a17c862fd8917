#pragma once

#include "bus.h"

#include <QByteArray>
#include <QString>

class LxNatsConnection;

/// The streams in which a broker keeps records for those who missed them: the last value of each symbol, and the
/// transactions and orders of the day ("ticks"). docs/operations.md describes them.
namespace LxNatsStreams {

enum Role { Last, Ticks };

/// True for a topic whose records are all kept, instead of the last one of each symbol.
bool isTick(const QString &topic);
QByteArray name(Role role, const QString &prefix);

/// Where the broker is asked for the latest record of `recordSubject`.
QByteArray latestSubject(const QByteArray &stream, const QByteArray &recordSubject);

/// Where the broker is asked for the first record of `recordSubject` at a position of the stream or later, and the
/// request.
QByteArray fetchSubject(const QByteArray &stream);
QByteArray fetchRequest(quint64 position, const QByteArray &recordSubject);

/// Where the broker is asked to forget the records up to a position, and the request.
QByteArray purgeSubject(const QByteArray &stream);
QByteArray purgeRequest(quint64 lastPosition);

/// Where the broker is asked to create a stream, and the request. It succeeds if the stream exists with the same
/// configuration.
QByteArray creationSubject(const QByteArray &stream);
QByteArray creationRequest(Role role, const LxBusOptions &options);
/// True, with the position of the stream's last record in `end`, if the stream exists now, by the broker's answer to
/// the request; otherwise false, with the reason in `error`.
bool readCreation(const QByteArray &stream, const QByteArray &answer, quint64 *end, QString *error);

/// What the broker says of a record that was published to a stream.
struct Acknowledgement
{
    quint64 position = 0; ///< in the stream
    QString error; ///< why it is not stored; otherwise empty
};
Acknowledgement readAcknowledgement(const QByteArray &bytes);

/// Creates the streams if they are missing, and writes the position of the last transaction or order. False, with the
/// reason in `error`, if the broker keeps no streams, has other ones for the same records, or one of them is full.
/// `inbox` is the beginning of subjects that this process may read. Must not be called from a handler of the
/// connection.
bool create(LxNatsConnection *connection, const QByteArray &inbox, const LxBusOptions &options, quint64 *ticksEnd,
            QString *error);

} // namespace LxNatsStreams
