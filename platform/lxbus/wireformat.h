#pragma once

#include <lxbus/lxbus_export.h>

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <memory>

/// A message of the bus as it travels between processes.
struct LxWireMessage
{
    QString type;         ///< topic, request type or answer type
    QString client;       ///< who asks, of requests; else empty
    quint64 epoch = 0;    ///< which run of a publisher, of published records; else 0
    quint64 sequence = 0; ///< the record's number within its topic and symbol
    QVariant body;        ///< an LxPackedBody, or a plain value
};

/// What a message may have at most. The writer refuses more, and the reader does, so that what is written can be read.
namespace LxWireLimits {

constexpr int MessageBytes = 64 * 1024 * 1024;
constexpr int TextBytes = 4 * 1024 * 1024; ///< of one text, as it is written
constexpr int KeyBlocks = 1024;            ///< different layouts of rows
constexpr int Keys = 4096;                 ///< of one row
constexpr int Rows = 1024 * 1024;
constexpr int Values = 4 * 1024 * 1024; ///< in all, those in lists and maps too
constexpr int Depth = 16;               ///< lists and maps within each other

constexpr int KeyBlocksKept = 64;           ///< by a reader or writer, from one message to the next
constexpr int KeyBlockBytesKept = 8 * 1024; ///< larger ones are read and written anew each time

} // namespace LxWireLimits

/// Turns messages into bytes; docs/wire.md describes them. Equal messages become equal bytes.
///
/// Carries packed bodies and plain values of text, int, 64-bit int, double, bool, lists of texts, lists and maps,
/// unchanged and with their types. Keeps the encoded keys of the last layouts. One thread at a time.
class LXBUS_EXPORT LxWireWriter
{
public:
    LxWireWriter();
    ~LxWireWriter();

    /// The bytes; empty, with the reason in `error`, if the message holds what cannot travel.
    QByteArray write(const LxWireMessage &message, QString *error);

private:
    struct Private;
    const std::unique_ptr<Private> d;
};

/// Turns bytes back into messages. Trusts no byte: whatever they are, it gives a message or a reason, and allocates in
/// proportion to their number.
///
/// Keeps the last layouts: rows with the same keys, of one message or of several, share theirs. One thread at a time.
class LXBUS_EXPORT LxWireReader
{
public:
    LxWireReader();
    ~LxWireReader();

    /// False, with the reason in `error`, if the bytes are not exactly one message; `message` is untouched then.
    bool read(const char *bytes, size_t size, LxWireMessage *message, QString *error);

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
