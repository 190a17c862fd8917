#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/// "nats://[user[:password]@]host[:port][,host[:port]...]" or "tls://...".
struct LxNatsUrl
{
    bool encrypted = false;
    QByteArray user;
    QByteArray password; ///< empty with a user: the user is a token
    QVector<QByteArray> servers; ///< "nats://host:port", without the secrets

    /// False, with the reason in `error`, if `text` is no such URL.
    static bool parse(const QString &text, LxNatsUrl *url, QString *error);
    static bool hasScheme(const QString &text);
    /// The hosts and ports, for messages.
    QString hosts() const;
};
