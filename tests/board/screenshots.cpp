// Renders the board on the recorded morning, light in English and dark in Chinese: "board_screenshots FOLDER".
// scripts/screenshots runs it.

#include "boardfixture.h"

#include <chartpanel.h>
#include <quoteboardview.h>

#include <QApplication>
#include <QTextStream>
#include <QTranslator>

namespace {

struct Picture
{
    QString file;
    Theme::Style style;
    QString symbol;
    int chart;
    bool isChinese;
};

const Picture pictures[] {
    { QStringLiteral("board-light.png"), Theme::Light, QStringLiteral("600332.SH"), 0, false },
    { QStringLiteral("board-dark.png"), Theme::Dark, QStringLiteral("600446.SH"), 1, true },
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication application(argc, argv);
    Theme::setUpApplication();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    QTextStream err(stderr);
    if (argc != 2) {
        err << "usage: board_screenshots FOLDER\n";
        return 2;
    }
    BoardFixture fixture;
    // Subscribed before the replay begins, so that the models see the whole morning; until the last picture.
    const auto subscribe = [&fixture](LxQuoteTableModel *model) {
        model->setSymbols(fixture.host().replayedSymbols());
    };
    if (!fixture.open()) {
        err << "board_screenshots: " << fixture.errorString() << '\n';
        return 1;
    }
    LxQuoteTableModel watched;
    subscribe(&watched);
    if (!fixture.replay()) {
        err << "board_screenshots: " << fixture.errorString() << '\n';
        return 1;
    }
    watched.requestFigures(); // the service was not there with the first quotes
    for (const Picture &picture : pictures) {
        QTranslator translator;
        if (picture.isChinese && translator.load(QStringLiteral(LX_TRANSLATION)))
            QCoreApplication::installTranslator(&translator);
        QLocale::setDefault(QLocale(picture.isChinese ? QStringLiteral("zh_CN") : QStringLiteral("en")));
        fixture.forgetSettings();
        const std::unique_ptr<MainWindow> window = fixture.openWindow();
        window->setStyle(picture.style, true);
        window->setCurrentSymbol(picture.symbol);
        window->chartPanel()->setChartIndex(picture.chart);
        QTest::qWait(1500); // for past bars, figures and the counters of the status bar
        const QString path = QDir(QString::fromLocal8Bit(argv[1])).filePath(picture.file);
        if (!window->grab().save(path)) {
            err << "board_screenshots: cannot write " << path << '\n';
            return 1;
        }
        QCoreApplication::removeTranslator(&translator);
    }
    return 0;
}
