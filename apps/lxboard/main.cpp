#include "mainwindow.h"
#include "markethost.h"

#include <eventdispatcher.h>
#include <exitcode.h>
#include <helpformatter_p.h>
#include <interrupt.h>
#include <logging.h>
#include <terminal.h>

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QSettings>
#include <QTranslator>

#include <memory>

namespace {

const QString languageKey = QStringLiteral("language");
constexpr double DefaultSpeed = 20;

// The texts and number formats of a language ("en", "zh_CN") while it lives.
class Language
{
public:
    explicit Language(const QString &name)
    {
        QLocale::setDefault(QLocale(name));
        if (m_texts.load(QLocale(name), QStringLiteral("lxboard"), QStringLiteral("_"), QStringLiteral(":/i18n")))
            QCoreApplication::installTranslator(&m_texts);
        if (m_qtTexts.load(QLocale(name), QStringLiteral("qtbase"), QStringLiteral("_"),
                           QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
            QCoreApplication::installTranslator(&m_qtTexts);
    }

private:
    QTranslator m_texts; // a translator that is destroyed is removed
    QTranslator m_qtTexts;
};

int fail(ExitCode code, const QString &error)
{
    Terminal::complain(error);
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    useUnixEventDispatcher();
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("lxboard"));
    QApplication::setApplicationVersion(QStringLiteral(LX_VERSION));
    Theme::setUpApplication();

    Logging::start(QStringLiteral("lxboard: %{if-category}%{category}: %{endif}%{message}"));
    Logging::setLevel(QStringLiteral("warning"));

    CLI::App commandLine("Shows a market: lists of quotes, and the book, transactions and charts of a symbol. Without "
                         "a bus it replays a "
                         "recorded day within the process.",
                         "lxboard");
    commandLine.formatter(std::make_shared<HelpFormatter>());
    commandLine.set_version_flag("--version", "lxboard " LX_VERSION, "Print the version and exit");
    Options common(&commandLine);
    MarketHost::Options options;
    options.replay.date = QStringLiteral("20211201");
    options.replay.speed = DefaultSpeed;
    options.replay.from = QTime(9, 30); // before it there are no trades to show
    QString settingsFile;
    QString language;
    common.addString(QStringLiteral("data"), QStringLiteral("DIR"), &options.folder,
                     QStringLiteral("Folder of the recordings; with --bus, of securities.csv only, for the names"));
    common.addString(QStringLiteral("language"), QStringLiteral("NAME"), &language,
                     QStringLiteral("en or zh_CN (default: the last one chosen, or the system's)"));
    common.addString(QStringLiteral("settings"), QStringLiteral("FILE"), &settingsFile,
                     QStringLiteral("File of the settings (default: the user's)"));
    ProgramOptions::addBusOptions(&common, &options.bus,
                                  QStringLiteral("without any, the program replays recordings by itself"));
    ProgramOptions::addReplayOptions(&common, &options.replay);
    try {
        commandLine.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return commandLine.exit(error) == 0 ? ExitOk : ExitUsage;
    }
    if (options.bus.isShared() && (common.isGiven(QStringLiteral("date")) || common.isGiven(QStringLiteral("speed"))))
        return fail(ExitUsage, QStringLiteral("--date and --speed cannot be combined with a bus"));

    const std::unique_ptr<QSettings> settings(settingsFile.isEmpty()
                                                  ? new QSettings(QSettings::IniFormat, QSettings::UserScope,
                                                                  QStringLiteral("lxboard"), QStringLiteral("lxboard"))
                                                  : new QSettings(settingsFile, QSettings::IniFormat));
    if (language.isEmpty())
        language = settings->value(languageKey, QLocale::system().name()).toString();

    QString error;
    MarketHost host(options);
    if (!host.open(&error))
        return fail(options.bus.isShared() ? ExitFailure : ExitUsage, error);

    Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::interrupted, &application, &QApplication::closeAllWindows);
    bool isStarted = false;
    QString nextLanguage;
    do {
        language = nextLanguage.isEmpty() ? language : nextLanguage;
        nextLanguage.clear();
        const Language texts(language);
        MainWindow window(&host, settings.get());
        QObject::connect(&window, &MainWindow::languageChosen, &window, [&](const QString &chosen) {
            settings->setValue(languageKey, chosen);
            nextLanguage = chosen;
            window.close();
        });
        window.show();
        if (!isStarted)
            host.start();
        isStarted = true;
        QApplication::exec();
    } while (!nextLanguage.isEmpty());
    return ExitOk;
}
