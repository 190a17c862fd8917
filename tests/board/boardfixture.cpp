#include "boardfixture.h"

#include <lxbus/bus.h>
#include <lxmsg/packmessagecommon.h>

BoardFixture::BoardFixture() = default;

BoardFixture::~BoardFixture()
{
    m_publisher.reset();
    m_host.reset();
}

bool BoardFixture::open()
{
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("cache"))));
    for (const char *name : { "LX_BUS_URL", "LX_BUS_CA", "LX_BUS_CREDENTIALS" })
        qunsetenv(name);
    MarketHost::Options options;
    options.folder = QStringLiteral(LX_DATA_DIR);
    options.replay.date = QStringLiteral("20211201");
    options.replay.speed = 0;
    m_host = std::make_unique<MarketHost>(options);
    forgetSettings();
    return m_host->open(&m_error);
}

bool BoardFixture::replay()
{
    QSignalSpy ended(m_host.get(), &MarketHost::replayEnded);
    QSignalSpy started(m_host.get(), &MarketHost::serviceStarted);
    m_host->start();
    constexpr int PatienceMs = 120000;
    const bool isReady = QTest::qWaitFor([&] { return !ended.isEmpty() && !started.isEmpty(); }, PatienceMs);
    if (!isReady)
        m_error = QStringLiteral("the replay does not end or the service does not start");
    m_publisher = LxBus::current()->openPublisher();
    return isReady;
}

void BoardFixture::forgetSettings()
{
    m_settings.reset();
    QFile::remove(settingsPath());
    m_settings = std::make_unique<QSettings>(settingsPath(), QSettings::IniFormat);
}

std::unique_ptr<MainWindow> BoardFixture::openWindow()
{
    auto window = std::make_unique<MainWindow>(m_host.get(), m_settings.get());
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get()))
        return nullptr;
    return window;
}

void BoardFixture::publish(const QString &symbol, const QVariantMap &fields)
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbol);
    for (auto field = fields.cbegin(); field != fields.cend(); ++field)
        pack.AddVaule(field.key(), field.value());
    m_publisher->publish(QStringLiteral("MDMARKETRECORD"), symbol, pack.GetPackedMsg(false));
}

namespace {

// The sum of `value` over all pixels.
template<typename Value>
int sum(const QImage &image, Value value)
{
    const QImage plain = image.convertToFormat(QImage::Format_RGB32);
    int result = 0;
    for (int y = 0; y < plain.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(plain.constScanLine(y));
        for (int x = 0; x < plain.width(); ++x)
            result += value(line[x]);
    }
    return result;
}

} // namespace

int Screenshot::count(const QImage &image, const QColor &color)
{
    return sum(image, [wanted = color.rgb()](QRgb pixel) { return pixel == wanted ? 1 : 0; });
}

int Screenshot::lean(const QImage &image)
{
    constexpr int Difference = 30;
    return sum(image, [](QRgb pixel) {
        const int difference = qRed(pixel) - qGreen(pixel);
        return difference > Difference ? 1 : difference < -Difference ? -1 : 0;
    });
}

double Screenshot::share(const QImage &image, const QColor &color)
{
    return static_cast<double>(count(image, color)) / (image.width() * image.height());
}

QImage Screenshot::of(QWidget *widget)
{
    return widget->grab().toImage();
}
