#pragma once

#include <replay.h>

#include <lxbus/bus.h>

#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

/// A folder of recordings for one test: some of the recorded ones, and files that the test writes.
class RecordingFolder
{
public:
    RecordingFolder();
    explicit RecordingFolder(const QStringList &recordings);

    /// Links a file of the recorded data.
    void link(const QString &name);
    void write(const QString &name, const QByteArray &content);
    /// Writes `content` compressed; only its first `bytes` bytes, if given.
    void writeGzip(const QString &name, const QByteArray &content, int bytes = -1);

    QString path() const { return m_folder.path(); }
    QString filePath(const QString &name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
};

/// The path of a recorded file.
QString recording(const QString &name);

/// The bus and the quotation library, as a client has them.
namespace Market {

using Row = QMap<QString, QVariant>;

/// True if this run is to use a bus through a broker: LX_TEST_BUS is "nats".
bool isBehindBroker();
/// Starts the bus of this run, within the process or through a broker of the test's own that ends with the application.
void startBus(LxBusOptions options = {});
/// Empties the streams of the broker, if there is one, so that late joiners do not get the records of other tests.
void forgetRecords();

/// Waits until the bus has delivered everything published so far, and the latest records of new subscriptions.
void flushBus();
/// Waits until the library has processed, on its thread, everything published so far. Afterwards data that directly
/// connected slots have written can be read.
void settle();

/// The result of a replay.
struct Outcome
{
    bool ok = false;
    QString error;
    QMap<RecordingKind, ReplayCount> counts;
    QStringList brokenRows; ///< "file:line: reason"
};
/// Replays onto the bus; returns when the bus has delivered everything.
Outcome replayOntoBus(ReplayOptions options);
/// Replays a folder at full speed through the bus and the library, and settles.
Outcome replay(const QString &folder, const QString &date = QString());

/// A body of these rows.
QVariant packed(const QVector<Row> &rows);

} // namespace Market
