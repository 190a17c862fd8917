#pragma once

#include <QByteArray>
#include <QString>

/// The subjects under which a bus's messages travel through a NATS broker; docs/wire.md lists them.
///
/// Names become parts of subjects with all bytes that mean something there written as "%XX". The dots of a symbol stay:
/// "600519.SH" is two parts, so that a wildcard takes a whole market.
namespace LxNatsSubjects {

/// Any name as one part of a subject.
QByteArray part(const QString &name);
/// Topic and symbol as the end of a subject.
QByteArray path(const QString &topic, const QString &symbol);

QByteArray record(const QByteArray &path);
/// Where the publisher of a symbol is asked for its latest record.
QByteArray recap(const QByteArray &path);
QByteArray request(const QString &type);
/// What a client's own subjects begin with.
QByteArray client(const QString &address);
/// True of the subjects where an answer may be asked to: a client's own, and those that the NATS library makes for
/// requests. At any other one, services would publish for clients what these may not publish themselves.
bool isReturnAddress(const QByteArray &subject);

/// What follows client().
namespace Own {
const char message[] = ".m";         ///< published to this client alone
const char answer[] = ".a.";         ///< then the request's number
const char recap[] = ".l.";          ///< then the record's path
const char nothingAwaited[] = ".n."; ///< then the request's type: where the broker tells that nobody serves it
} // namespace Own

const char servicesGroup[] = "lx.services";
const char publishersGroup[] = "lx.publishers";

} // namespace LxNatsSubjects
