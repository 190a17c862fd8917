#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpluginhost.h>

#include <QtTest>

class tst_Plugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void propertyTable();
    void propertiesFromManyThreads();
    void registryFollowsLifeTimes();
    void loadErrors_data();
    void loadErrors();
    void loadInitialisesThePluginsOfTheLibrary();
};

static const QString initialized = QStringLiteral("initialized");

void tst_Plugin::propertyTable()
{
    const QString id = QStringLiteral("PLUGININSTANCE_ID");
    LxPluginBaseObject plugin;
    QVERIFY(!plugin.getPluginObjectPropety(id).isValid());
    plugin.setPluginObjectPropety(id, QStringLiteral("object"));
    QCOMPARE(plugin.getPluginObjectPropety(id).toString(), QStringLiteral("object"));
    plugin.setPluginWidgetPropety(id, QStringLiteral("widget"));
    QCOMPARE(plugin.getPluginObjectPropety(id).toString(), QStringLiteral("widget"));

    LxPluginBaseObject another;
    QVERIFY(!another.getPluginObjectPropety(id).isValid());
    another.initialize();
    another.doBeforeClose();
}

void tst_Plugin::propertiesFromManyThreads()
{
    LxPluginBaseObject plugin;
    std::vector<std::unique_ptr<QThread>> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back(QThread::create([&plugin, thread] {
            for (int i = 0; i < 500; ++i) {
                const QString key = QString::number(thread * 500 + i);
                plugin.setPluginObjectPropety(key, i);
                plugin.getPluginObjectPropety(key);
            }
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        thread->wait();
    for (int key = 0; key < 2000; ++key)
        QCOMPARE(plugin.getPluginObjectPropety(QString::number(key)), QVariant(key % 500));
}

void tst_Plugin::registryFollowsLifeTimes()
{
    const QVector<LxPluginBaseObject *> before = LxPluginHost::plugins();
    {
        LxPluginBaseObject first;
        LxPluginBaseObject second;
        QCOMPARE(LxPluginHost::plugins(), before + (QVector<LxPluginBaseObject *> { &first, &second }));
    }
    QCOMPARE(LxPluginHost::plugins(), before);
}

void tst_Plugin::loadErrors_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("missing") << QStringLiteral("/no/such/library.so");
    QTest::newRow("not a library") << QFINDTESTDATA("tst_plugin.cpp");
    QTest::newRow("no plug-in object") << QStringLiteral(LX_PLUGIN_NONE);
}

void tst_Plugin::loadErrors()
{
    QFETCH(QString, file);
    QString error;
    QVERIFY(!LxPluginHost::load(file, &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(!LxPluginHost::load(file));
}

void tst_Plugin::loadInitialisesThePluginsOfTheLibrary()
{
    const QVector<LxPluginBaseObject *> before = LxPluginHost::plugins();
    QString error;
    QVERIFY2(LxPluginHost::load(QStringLiteral(LX_PLUGIN_TWO), &error), qPrintable(error));
    const QVector<LxPluginBaseObject *> brought = LxPluginHost::plugins().mid(before.size());
    QCOMPARE(brought.size(), 2);
    QCOMPARE(brought.at(0)->objectName(), QStringLiteral("first"));
    QCOMPARE(brought.at(1)->objectName(), QStringLiteral("second"));
    for (LxPluginBaseObject *plugin : brought)
        QCOMPARE(plugin->getPluginObjectPropety(initialized).toInt(), 1);

    // A library that is loaded again has no new plug-in objects, and none is initialised twice.
    QVERIFY(!LxPluginHost::load(QStringLiteral(LX_PLUGIN_TWO), &error));
    QVERIFY2(error.contains(QStringLiteral(LX_PLUGIN_TWO)), qPrintable(error));
    for (LxPluginBaseObject *plugin : brought)
        QCOMPARE(plugin->getPluginObjectPropety(initialized).toInt(), 1);
}

QTEST_GUILESS_MAIN(tst_Plugin)
#include "tst_plugin.moc"
