#pragma once

#include <mainwindow.h>
#include <markethost.h>

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// The board on the recorded morning of 30 stocks, replayed to its end at full speed within the process, and a
/// publisher of further quotes. A process has one.
class BoardFixture
{
public:
    BoardFixture();
    ~BoardFixture();

    /// Joins the bus and loads the library. False, with a reason in errorString().
    bool open();
    /// Replays the morning, for those who have subscribed, and starts the service of past bars. False, with a reason in
    /// errorString(), if they do not come up.
    bool replay();
    QString errorString() const { return m_error; }

    MarketHost &host() { return *m_host; }
    QString settingsPath() const { return m_folder.filePath(QStringLiteral("settings.ini")); }
    QString filePath(const QString &name) const { return m_folder.filePath(name); }
    void forgetSettings();

    /// A window of 1280 x 720 that is shown and active.
    std::unique_ptr<MainWindow> openWindow();

    /// Publishes a stock quote; the fields that are not given are missing.
    void publish(const QString &symbol, const QVariantMap &fields);

private:
    QTemporaryDir m_folder;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<MarketHost> m_host;
    std::unique_ptr<LxBusPublisher> m_publisher;
    QString m_error;
};

/// Facts about what is drawn.
namespace Screenshot {

/// Pixels of exactly this colour. The edges of letters are mixed with the background; for text see lean().
int count(const QImage &image, const QColor &color);
/// Pixels that are rather red less those that are rather green.
int lean(const QImage &image);
/// The share of pixels of exactly this colour, 0 to 1.
double share(const QImage &image, const QColor &color);
QImage of(QWidget *widget);

} // namespace Screenshot
