#include "lxmarkethost.h"

#include "hostedlibrary.h"

#include <csvrecording.h>
#include <datafolder.h>
#include <dates.h>
#include <localservice.h>
#include <programbus.h>
#include <recordeddates.h>
#include <replay.h>
#include <replaythread.h>

#include <algorithm>
#include <optional>

struct LxMarketHost::Private
{
    BusSettings settings;
    QString folder;
    QString date;
    ProgramBus bus;
    std::optional<LocalService> service;
    std::unique_ptr<Replay> replay;
    std::unique_ptr<ReplayThread> thread;
};

namespace {

// The latest date of a recording of stock quotes, yyyyMMdd. Absent, with the reason in `error`.
std::optional<QString> latestQuotes(const QString &path, QString *error)
{
    DataFolder folder;
    if (!folder.open(path, error))
        return std::nullopt;
    QDate latest;
    for (const QString &name : folder.names()) {
        if (CsvRecording::kindOfName(name) == RecordingKind::StockQuote)
            latest = std::max(latest, RecordedDates::ofName(name).value_or(latest));
    }
    if (latest.isValid())
        return Dates::toCompactString(latest);
    *error = QStringLiteral("%1: no recordings of stock quotes in this folder").arg(path);
    return std::nullopt;
}

} // namespace

LxMarketHost::LxMarketHost() : d(std::make_unique<Private>())
{
    d->settings.url = qEnvironmentVariable("LX_BUS_URL", QStringLiteral("inproc:"));
    d->folder = qEnvironmentVariable("LX_DATA_DIR", DataFolder::standard());
    connect(&d->bus, &ProgramBus::failed, this, &LxMarketHost::failed);
}

LxMarketHost::~LxMarketHost()
{
    if (d->replay)
        d->replay->stop();
    if (d->thread)
        d->thread->wait();
}

bool LxMarketHost::open(QString *error)
{
    if (!d->settings.isShared()) {
        const std::optional<QString> date = latestQuotes(d->folder, error);
        if (!date)
            return false;
        d->date = *date;
    }
    return d->bus.join(d->settings, error) && HostedLibrary::load(d->folder, error);
}

bool LxMarketHost::serveHistory(QString *error)
{
    if (d->settings.isShared())
        return true;
    d->service.emplace();
    return d->service->start(d->folder, QString(), error);
}

void LxMarketHost::start(double speed)
{
    if (d->settings.isShared())
        return;
    ReplayOptions options;
    options.folder = d->folder;
    options.date = d->date;
    options.speed = speed;
    options.from = QTime(9, 30);
    options.waitForConsumers = HostedLibrary::waitUntilIdle;
    d->replay = std::make_unique<Replay>(std::move(options));
    d->thread = std::make_unique<ReplayThread>([this] {
        QString error;
        if (d->replay->open(&error) && d->replay->run(&error))
            Q_EMIT ended();
        else if (!error.isEmpty())
            Q_EMIT failed(error);
    });
    d->thread->setObjectName(QStringLiteral("LxMarketHost_Replay"));
    d->thread->start();
}
