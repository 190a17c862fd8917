#include "market.h"

#include <lxmsg/packmessagecommon.h>
#include <lxquotahandler.h>
#include <natsbroker.h>

#include <QCoreApplication>
#include <QFile>

#include <zlib.h>

namespace {

constexpr int PatienceMs = 60000;

// The broker of this process.
std::unique_ptr<NatsBroker> &broker()
{
    static std::unique_ptr<NatsBroker> instance;
    return instance;
}

// The library's thread has processed everything that was queued to it before.
void waitForLibrary()
{
    QMetaObject::invokeMethod(
        &LxQuotaHandler::instance(), [] {}, Qt::BlockingQueuedConnection);
}

} // namespace

RecordingFolder::RecordingFolder()
{
    if (!m_folder.isValid())
        qFatal("%s", qPrintable(m_folder.errorString()));
}

RecordingFolder::RecordingFolder(const QStringList &recordings) : RecordingFolder()
{
    for (const QString &name : recordings)
        link(name);
}

void RecordingFolder::link(const QString &name)
{
    if (!QFile::exists(recording(name)) || !QFile::link(recording(name), filePath(name)))
        qFatal("cannot link %s", qPrintable(name));
}

void RecordingFolder::write(const QString &name, const QByteArray &content)
{
    QFile file(filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(name));
}

void RecordingFolder::writeGzip(const QString &name, const QByteArray &content, int bytes)
{
    const QByteArray path = QFile::encodeName(filePath(name));
    const gzFile file = gzopen(path.constData(), "wb");
    if (!file || gzwrite(file, content.constData(), static_cast<unsigned>(content.size())) != content.size()
        || gzclose(file) != Z_OK)
        qFatal("cannot write %s", path.constData());
    if (bytes >= 0 && !QFile::resize(filePath(name), bytes))
        qFatal("cannot truncate %s", path.constData());
}

QString recording(const QString &name)
{
    return QStringLiteral(LX_DATA_DIR "/") + name;
}

bool Market::isBehindBroker()
{
    return qgetenv("LX_TEST_BUS") == "nats";
}

void Market::startBus(LxBusOptions options)
{
    if (isBehindBroker() && !broker()) {
        broker() = std::make_unique<NatsBroker>();
        if (!broker()->start())
            qFatal("%s", broker()->log().constData());
        qAddPostRoutine([] { broker().reset(); });
    }
    options.streams = LxBusStreams();
    QString error;
    if (!LxBus::start(broker() ? broker()->url() : QStringLiteral("inproc:"), options, &error))
        qFatal("%s", qPrintable(error));
    forgetRecords();
}

void Market::forgetRecords()
{
    if (isBehindBroker())
        broker()->forgetRecords();
}

void Market::flushBus()
{
    const auto publisher = LxBus::current()->openPublisher();
    if (!publisher->flush(PatienceMs))
        qFatal("the bus does not deliver");
}

void Market::settle()
{
    flushBus();
    waitForLibrary();
}

Market::Outcome Market::replayOntoBus(ReplayOptions options)
{
    Outcome outcome;
    options.reportBrokenRow = [&outcome](const QString &file, qint64 line, const QString &reason) {
        outcome.brokenRows.append(QStringLiteral("%1:%2: %3").arg(file).arg(line).arg(reason));
    };
    Replay replay(std::move(options));
    outcome.ok = replay.open(&outcome.error) && replay.run(&outcome.error);
    for (int i = 0; i < RecordingKinds; ++i)
        outcome.counts.insert(static_cast<RecordingKind>(i), replay.count(static_cast<RecordingKind>(i)));
    return outcome;
}

Market::Outcome Market::replay(const QString &folder, const QString &date)
{
    ReplayOptions options;
    options.folder = folder;
    options.date = date;
    options.waitForConsumers = waitForLibrary;
    const Outcome outcome = replayOntoBus(std::move(options));
    settle();
    return outcome;
}

QVariant Market::packed(const QVector<Row> &rows)
{
    CPackMessageCommon pack;
    for (int i = 0; i < rows.size(); ++i) {
        if (i > 0)
            pack.AddRow();
        for (auto cell = rows.at(i).cbegin(); cell != rows.at(i).cend(); ++cell)
            pack.AddVaule(cell.key(), cell.value());
    }
    return pack.GetPackedMsg(false);
}
