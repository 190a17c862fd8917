#include <QProcess>
#include <QtTest>

/// Processes that use the library in different ways end by themselves, with their own exit code and without reports of
/// the sanitizers.
class tst_CleanExit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clientEndsCleanly_data();
    void clientEndsCleanly();
};

void tst_CleanExit::clientEndsCleanly_data()
{
    QTest::addColumn<QStringList>("command");

    const auto linked = [](const char *name, const char *mode) {
        QTest::newRow(name) << QStringList { QStringLiteral(LX_LINKED_CLIENT), QString::fromLatin1(mode) };
    };
    linked("linked, never used", "unused");
    linked("linked, exit right after instance()", "instance-only");
    linked("linked, exit after use", "used");
    linked("linked, exit() called while the application object lives", "exit-called");
    linked("linked, no application object at all", "no-application");
    linked("linked, exit while records keep coming", "busy");
    linked("linked, exit() called while records keep coming", "busy-exit-called");
    linked("linked, exit during paced indicator requests", "indicator-requests");
    linked("linked, exit during a deep-data query", "deep-requests");

    const auto loading = [](const char *name, const char *mode) {
        QTest::newRow(name) << QStringList { QStringLiteral(LX_LOADING_CLIENT), QString::fromLatin1(mode),
                                             QStringLiteral(LX_LIBRARY) };
    };
    loading("loaded, exit without use", "exit-unused");
    loading("loaded, exit after use", "exit-used");
    loading("loaded by the plug-in host, exit", "exit-host-loaded");
    loading("loaded, exit while records keep coming", "exit-busy");
    loading("unloaded without use", "close-unused");
    loading("unloaded after use", "close-used");
    loading("unloaded twice without use", "close-twice-unused");
    loading("unloaded twice after use", "close-twice-used");
    loading("unloaded while records keep coming", "close-busy");
}

void tst_CleanExit::clientEndsCleanly()
{
    QFETCH(QStringList, command);

    constexpr int TimeoutMs = 60000;
    QProcess client;
    client.setProgram(command.takeFirst());
    client.setArguments(command);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.debug=false"));
    // Overwrites memory that is freed, so that a use after free fails.
    environment.insert(QStringLiteral("MALLOC_PERTURB_"), QStringLiteral("90"));
    client.setProcessEnvironment(environment);
    client.start();
    const bool finished = client.waitForFinished(TimeoutMs);
    const QByteArray output = client.readAllStandardError();
    QVERIFY2(finished, "the client hangs:\n" + output);
    QVERIFY2(client.exitStatus() == QProcess::NormalExit, "the client crashed:\n" + output);
    QVERIFY2(client.exitCode() == 0, output);
    for (const char *complaint : { "Sanitizer", "runtime error:", "QThread:", "terminate called" })
        QVERIFY2(!output.contains(complaint), output);
}

QTEST_GUILESS_MAIN(tst_CleanExit)

#include "tst_clean_exit.moc"
