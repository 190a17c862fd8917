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
/// The name that became this part.
QString nameOf(const QByteArray &part);
/// Topic and symbol as the end of a subject.
QByteArray path(const QString &topic, const QString &symbol);

QByteArray record(const QByteArray &path);
/// Requests of a user; a broker can permit each user its own.
QByteArray request(const QString &user, const QString &type);
/// Where a service receives them.
QByteArray requests(const QString &type);
/// The user of a request's subject.
QString userOf(const QByteArray &requestSubject);
/// The user of those who have not logged in by name.
QString anyUser();
/// The part of a return address that names the inbox.
QString ownerOf(const QByteArray &returnAddress);
/// False of a subject that is too long for a broker's protocol line.
bool isSendable(const QByteArray &subject);
/// A new inbox: what the subjects of one process begin with. It cannot be guessed, and a broker can reserve those of a
/// user for this user.
QByteArray inbox(const QString &user);
/// True if answers to this user may be sent to this subject: in an inbox of the user. At any other one, services would
/// publish for a client what it may not publish itself.
bool isReturnAddress(const QByteArray &subject, const QString &user);

/// What follows the inbox.
namespace Own {
const char answer[] = ".a."; ///< then the request's number
const char message[] = ".m."; ///< then the client and the type of its request: messages for this client alone
const char latest[] = ".l."; ///< then the route's number: its latest record, from a stream
const char fetched[] = ".t."; ///< then the route's number and that of the request: a record that was missing
const char wake[] = ".w"; ///< tasks are due
const char echo[] = ".e";
const char barrier[] = ".b";
} // namespace Own

/// Of a part of a message: "ID INDEX COUNT". All but the last have the same size.
const char partHeader[] = "Lx-Part";
/// Of a transaction or order: later ones of its publisher have higher positions in the stream than this.
const char floorHeader[] = "Lx-Floor";
/// By this the broker recognises a record that is published again.
const char idHeader[] = "Nats-Msg-Id";
/// Of an answer without a body: the LxBusEndpoint::Result that says why there is none.
const char refusalHeader[] = "Lx-Refusal";

const char servicesGroup[] = "lx.services";

} // namespace LxNatsSubjects
