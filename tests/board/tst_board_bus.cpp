// The board on a bus through a broker that is killed and restarted.

#include "boardfixture.h"

#include <natsbroker.h>
#include <quoteboardview.h>
#include <runningprogram.h>

#include <QApplication>
#include <QLabel>
#include <QLoggingCategory>

#include <csignal>

#define VERIFY_SOON(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60000)

class tst_board_bus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void firstStartShowsTheWholeMarket();
    void boardRecoversWhenTheBrokerReturns();

private:
    void serve(const char *options);

    NatsBroker m_broker;
    std::unique_ptr<RunningProgram> m_service;
    std::unique_ptr<MarketHost> m_host;
    QTemporaryDir m_folder;
};

void tst_board_bus::initTestCase()
{
    for (const char *name : { "LX_BUS_URL", "LX_BUS_CA", "LX_BUS_CREDENTIALS" })
        qunsetenv(name);
    QVERIFY2(m_broker.start(), m_broker.log());
    const QString data = QStringLiteral(LX_DATA_DIR);
    serve("--date 20211201 --speed 60");
    MarketHost::Options options;
    options.bus.url = m_broker.url();
    options.folder = data;
    m_host = std::make_unique<MarketHost>(options);
    QString error;
    QVERIFY2(m_host->open(&error), qPrintable(error));
    m_host->start();
}

void tst_board_bus::serve(const char *options)
{
    m_service.reset(new RunningProgram(QStringLiteral(LX_MARKETD_PROGRAM),
                                       QStringList { QStringLiteral("serve"), QStringLiteral("--bus"), m_broker.url(),
                                                     QStringLiteral("--data"), QStringLiteral(LX_DATA_DIR) }
                                           + QString::fromLatin1(options).split(QLatin1Char(' '))));
    VERIFY_SOON(m_service->err().contains("ready"));
}

void tst_board_bus::firstStartShowsTheWholeMarket()
{
    QSettings settings(m_folder.filePath(QStringLiteral("first.ini")), QSettings::IniFormat);
    MainWindow window(m_host.get(), &settings);
    window.show();
    QCOMPARE(window.quotes().rowCount(), m_host->securities().size());
    VERIFY_SOON(window.quotes().status() == LxQuoteTableModel::Live);
    // Of the few that trade, one comes first and is chosen.
    VERIFY_SOON(window.quotes().quoteAt(0).amount > 0);
    const auto chosen = [&window] { return window.quotes().rowOf(window.boardView()->currentSymbol()); };
    VERIFY_SOON(window.quotes().quoteAt(chosen()).kind == LxQuote::Stock);
}

void tst_board_bus::boardRecoversWhenTheBrokerReturns()
{
    QSettings settings(m_folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    WatchLists lists;
    lists.add(QStringLiteral("Mine"), { QStringLiteral("600332.SH"), QStringLiteral("600446.SH") });
    lists.save(&settings);
    MainWindow window(m_host.get(), &settings);
    window.show();
    const auto *connection = window.findChild<QLabel *>(QStringLiteral("connectionStatus"));
    QCOMPARE(connection->text(), QStringLiteral("Connected"));
    VERIFY_SOON(window.quotes().status() == LxQuoteTableModel::Live);

    m_broker.kill();
    VERIFY_SOON(connection->text().startsWith(QStringLiteral("Reconnecting since ")));
    QCOMPARE(window.quotes().status(), LxQuoteTableModel::NoService);
    const QString before = window.quotes().quoteAt(0).time;

    QVERIFY2(m_broker.start(), m_broker.log());
    VERIFY_SOON(connection->text() == QStringLiteral("Connected"));
    VERIFY_SOON(window.quotes().quoteAt(0).time > before);
    QCOMPARE(window.quotes().status(), LxQuoteTableModel::Live);

    const auto *service = window.findChild<QLabel *>(QStringLiteral("serviceStatus"));
    VERIFY_SOON(!service->text().startsWith(QStringLiteral("No service")));
    m_service->signal(SIGKILL);
    VERIFY_SOON(service->text().startsWith(QStringLiteral("No service since ")));
    serve("--date 20211201 --speed 60 --to 09:32 --loop");
    VERIFY_SOON(service->text().contains(QStringLiteral("The market time has gone back to ")));
    window.close(); // while the market runs
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    Theme::setUpApplication();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    tst_board_bus test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_board_bus.moc"
