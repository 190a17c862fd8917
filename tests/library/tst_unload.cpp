#include <lxdefine/lxfields.h>
#include <lxdouble/recording.h>
#include <lxwidget/lxpluginbaseobject.h>
#include <summitdefines/summitfields.h>

#include <QLibrary>
#include <QLoggingCategory>
#include <QMutex>
#include <QtTest>

namespace {

QMutex logMutex;
QStringList logged;

void takeLog(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker locker(&logMutex);
    logged.append(QStringLiteral("%1:%2 %3").arg(QString::fromUtf8(context.file)).arg(context.line).arg(text));
}

int logCount(const QString &line)
{
    QMutexLocker locker(&logMutex);
    return logged.count(line);
}

} // namespace

/// Loads the shared library as a host does, initialises it through its plug-in object and unloads it again.
class tst_unload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("lx.quota.debug=true"));
        qInstallMessageHandler(&takeLog);
    }
    void cleanupTestCase() { qInstallMessageHandler(nullptr); }

    void loadedAndUnloadedWithoutUse();
    void broughtUpByItsPluginObjectAndUnloaded_data();
    void broughtUpByItsPluginObjectAndUnloaded();
    void platformMayKeepWhatItWasGiven();
};

void tst_unload::loadedAndUnloadedWithoutUse()
{
    QLibrary library(QStringLiteral(LX_DOUBLE_LIBRARY));
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    QCOMPARE(LxDouble::pluginObjects().size(), 1);
    QCOMPARE(QByteArray(LxDouble::pluginObjects().at(0)->metaObject()->className()),
             QByteArray("LxQuotaHandlerObject"));
    QVERIFY(LxDouble::presenters().isEmpty());
    QVERIFY(library.unload());
    QVERIFY(LxDouble::pluginObjects().isEmpty());
    QVERIFY(LxDouble::sent().isEmpty());
}

void tst_unload::broughtUpByItsPluginObjectAndUnloaded_data()
{
    QTest::addColumn<bool>("busy");
    QTest::newRow("idle") << false;
    QTest::newRow("with messages under way") << true;
}

void tst_unload::broughtUpByItsPluginObjectAndUnloaded()
{
    QFETCH(bool, busy);
    QLibrary library(QStringLiteral(LX_DOUBLE_LIBRARY));
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    LxPluginBaseObject *const plugin = LxDouble::pluginObjects().at(0);
    const QString already = QStringLiteral("lxquotahandlerobject:22 LxQuotaHandlerObject::initialize already inited");
    const int before = logCount(already);
    plugin->initialize();
    // The host has initialised the library first, so the handler's own initialisation has no effect.
    QTRY_COMPARE(logCount(already), before + 1);
    QCOMPARE(LxDouble::presenters().size(), 1);
    QCOMPARE(LxDouble::presenters().at(0).name, QStringLiteral("LXApp.LxQuotaHandlerObject"));
    QCOMPARE(LxDouble::presenters().at(0).parent, static_cast<QObject *>(plugin));
    QCOMPARE(LxDouble::sent().size(), 15);
    if (busy) {
        const QVariant body = LxDouble::packRows({ {}, { { QStringLiteral("Symbol"), QStringLiteral("600000.SH") } } });
        for (int i = 0; i < 1000; ++i) {
            LxDouble::publish(QStringLiteral("MDMARKETRECORD"), body);
            LxDouble::answerAsync(i, QString(), QStringLiteral("181028"), body);
        }
    }
    LxDouble::forgetSent();
    QVERIFY(library.unload());
    QVERIFY(LxDouble::presenters().isEmpty());
    QVERIFY(LxDouble::pluginObjects().isEmpty());
    LxDouble::waitForBus();
}

// The platform still holds every string, key and value of every message when the library is no longer mapped.
void tst_unload::platformMayKeepWhatItWasGiven()
{
    LxDouble::forgetSent();
    LxDouble::setSyncAnswer(QStringLiteral("181063"), 0,
                            LxDouble::packRows({ { { Orca_Fields::System::requestExeStatus, QStringLiteral("0") } },
                                                 { { Summit_Fields::QuantizationInformationMsgCode::TradeDate,
                                                     QStringLiteral("20230131") } } }));
    QLibrary client(QStringLiteral(LX_UNLOAD_CLIENT));
    QVERIFY2(client.load(), qPrintable(client.errorString()));
    const auto sendEveryRequest = reinterpret_cast<void (*)()>(client.resolve("sendEveryRequest"));
    QVERIFY(sendEveryRequest);
    sendEveryRequest();
    QVERIFY(LxDouble::waitForSent(QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST"), 2));
    QVERIFY(LxDouble::waitForSent(QStringLiteral("181027"), 2));
    LxDouble::publish(QStringLiteral("MDMARKETRECORD"), LxDouble::packRows({ {} }));
    QTRY_VERIFY(!LxDouble::namesAskedFor().isEmpty());
    QVERIFY(client.unload());
    QVERIFY(LxDouble::pluginObjects().isEmpty()); // the library is gone

    QString kept;
    QDebug print(&kept);
    for (const LxDouble::Sent &sent : LxDouble::sent())
        print << sent.type << sent.pid << sent.sourceId << sent.thread << sent.body.keys << sent.body.rows
              << sent.symbols;
    for (const LxDouble::PropertyWrite &write : LxDouble::propertyWrites())
        print << write.key << write.value;
    print << LxDouble::namesAskedFor();
    for (const char *part : { "MDMARKETRECORD",
                              "MSG_QUERY_UP_N_DAY_RESPONSE",
                              "SubscribeRequest",
                              "SubscribeType",
                              "MDRecordTypes",
                              "ActionType",
                              "KLineRequest",
                              "StartTime",
                              "StopTime",
                              "ExrightsType",
                              "PeriodType",
                              "MSG_QUERY_P_E_RATIO_REQUEST",
                              "MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST",
                              "MSG_QUERY_UP_N_DAY_REQUEST",
                              "MDDate",
                              "181063",
                              "181027",
                              "36046",
                              "TotalShare",
                              "ListedShare",
                              "NetAssets",
                              "LxQuotaHandler_Thread",
                              "LxQueryDeepHQ_Thread",
                              "LxAsyncIndicatorQryObj_Thread",
                              "LXApp.LxQuotaHandlerObject" })
        QVERIFY2(kept.contains(QLatin1String(part)), part);
}

QTEST_GUILESS_MAIN(tst_unload)
#include "tst_unload.moc"
