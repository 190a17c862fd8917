#include <lxdouble/recording.h>
#include <lxwidget/lxpluginbaseobject.h>

#include <QLibrary>
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

/// Loads the shared library as a host does, brings it up through its plug-in object and unloads it again.
class tst_unload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qInstallMessageHandler(&takeLog); }
    void cleanupTestCase() { qInstallMessageHandler(nullptr); }

    void loadedAndUnloadedWithoutUse();
    void broughtUpByItsPluginObjectAndUnloaded_data();
    void broughtUpByItsPluginObjectAndUnloaded();
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
    // The host came first; the handler's own initialisation finds the work done.
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
    LxDouble::forgetEverything();
    QVERIFY(library.unload());
    QVERIFY(LxDouble::presenters().isEmpty());
    QVERIFY(LxDouble::pluginObjects().isEmpty());
    LxDouble::waitForBus();
}

QTEST_GUILESS_MAIN(tst_unload)
#include "tst_unload.moc"
