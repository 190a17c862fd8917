#pragma once

#include "csvrecording.h"

#include <lxbus/bus.h>

#include <QFile>
#include <QMutex>
#include <QObject>
#include <QStringList>

#include <array>
#include <memory>
#include <vector>

/// Writes the records that the bus carries as recordings, which Replay publishes again as they were.
///
///     Recorder recorder(folder);
///     connect(&recorder, &Recorder::failed, ...);
///     recorder.start(symbols);
///     // run the event loop
///     if (!recorder.finish(&error)) ...
///
/// There is a file for each kind and date, such as stock_snapshots_20230201.csv, and a further one with a number,
/// stock_snapshots_2_20230201.csv, for records that have other fields or if there is such a file already. Rows have the
/// order in which the records came. The first record of a symbol is the latest one that the bus knows, which may have
/// been published before.
///
/// A NaN or an infinity, which no recording may hold, becomes an empty cell. What is not a record, for lack of a
/// symbol, a date or a time, is dropped and counted.
class Recorder : public QObject, private LxBusListener
{
    Q_OBJECT

public:
    /// `folder` must exist.
    explicit Recorder(const QString &folder);
    ~Recorder() override;

    /// Subscribes to quotes, transactions and orders of these symbols on the running bus.
    void start(const QStringList &symbols);
    /// Hands what has been recorded to the operating system.
    void flush();
    /// Leaves the bus and closes the files. False, with the reason in `error`, if something could not be written.
    bool finish(QString *error);

    /// Records written. Any thread.
    quint64 count(RecordingKind kind) const;
    quint64 dropped() const;

Q_SIGNALS:
    /// A file is begun; if its name has a number, `taken` is the file that has the name without one, otherwise empty.
    /// Emitted on a thread of the bus.
    void fileBegun(const QString &path, const QString &taken);
    /// A file cannot be written; nothing more is recorded. Emitted once, on a thread of the bus or in flush().
    void failed(const QString &reason);

private:
    struct File
    {
        RecordingKind kind;
        QString date;
        LxRowLayout::Pointer layout;
        QFile file;
    };

    void published(const QString &source, const QString &topic, const QVariant &body) override;
    void answered(int, const QString &, const QString &, const QVariant &) override { }
    // With m_mutex locked:
    File *fileFor(RecordingKind kind, const QString &date, const LxRowLayout::Pointer &layout);
    bool write(File *file, const QByteArray &line);
    void fail(const QFile &file);

    const QString m_folder;
    std::unique_ptr<LxBusEndpoint> m_endpoint;

    mutable QMutex m_mutex; // guards the following
    std::vector<std::unique_ptr<File>> m_files; // the latest last
    std::array<quint64, RecordingKinds> m_counts {};
    quint64 m_dropped = 0;
    QString m_error;
};
