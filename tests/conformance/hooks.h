#pragma once

#include <QString>
#include <QVariant>

#include <functional>

/// What the conformance tests need from a platform besides its libraries. Its implementer writes these functions, in
/// one source file; openplatform.cpp is the one for this repository's platform. All are called on the main thread.
namespace LxConformance {

/// Starts what the platform needs in the process. False, with the reason in `error`. Called once, first.
bool start(QString *error);
/// Enters a security into the platform's table (CBusinessDataBase).
void setSecurity(const QString &symbol, const QString &type, const QString &name);
/// Loads the library as the client loads a plug-in, and initialises its plug-in object. False, with the reason in
/// `error`.
bool load(const QString &library, QString *error);

/// Publishes `body` on `topic` as a service does. `symbol` is that of a market record, else empty. Whoever has
/// subscribed before has to receive it; it need not have arrived when this returns.
void publish(const QString &topic, const QString &symbol, const QVariant &body);
/// Answers requests of `type` from now on, synchronous and asynchronous ones, with the type `answerType` and the body
/// that `answer` returns for that of the request. `answer` may be called on any thread.
void serve(const QString &type, const QString &answerType, const std::function<QVariant(const QVariant &body)> &answer);
/// Passes the bodies of messages of `type` that await no answer (LxPresenterClass::Put) to `receive`, on any thread.
void receive(const QString &type, const std::function<void(const QVariant &body)> &receive);

/// Ends the platform in the process. Called once, last.
void stop();

} // namespace LxConformance
