#pragma once

#include <lxbus/lxbus_export.h>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

#include <map>

/// Reassembles messages that were sent in parts because they exceed the broker's limit. Their size is bounded. Must be
/// used on one thread.
class LXBUS_EXPORT LxNatsParts
{
public:
    /// The longest message, in bytes.
    static constexpr int MessageLimit = 32 * 1024 * 1024;

    enum Result {
        Incomplete,
        Complete,
        Lost, ///< a part is missing, or the message exceeds the bounds; what follows of it is lost, too
    };
    /// Takes the part of a message to `subject` whose header is `part`; writes the message if it is complete.
    Result add(const QByteArray &subject, const QByteArray &part, const QByteArray &bytes, QByteArray *message);

    /// The header of a part.
    static QByteArray header(quint64 message, int index, int count);

private:
    struct Message
    {
        QByteArray bytes;
        int next = 0;
        QDeadlineTimer deadline; // of the next part
    };

    void forgetExpired();

    std::map<QByteArray, Message> m_messages; // by subject and message
    int m_bytes = 0; // of all
};
