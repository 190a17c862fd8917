#include <lxdefine/lxfields.h>
#include <summitdefines/summitfields.h>

#include <QtTest>

static QStringList keys()
{
    using namespace Summit_Fields::QuantizationInformationMsgCode;
    return { Orca_Fields::System::msgType,
             Orca_Fields::System::clientMsgID,
             Orca_Fields::System::requestExeStatus,
             Orca_Fields::System::subGroupNumber,
             Orca_Fields::Security::securityID,
             Orca_Fields::MDCFieldDefine::mdcSecurityType,
             Orca_Fields::UserAccount::SymbolPost,
             PluginPropety::PLUGININSTANCE_ID,
             Days,
             TradeDate,
             InitStartDate };
}

// Plug-ins are static objects: they read the constants before main() begins.
static const QStringList keysBeforeMain = keys();

class tst_Fields : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysDiffer();
    void constantsAreReadyBeforeMain();
    void success();
};

void tst_Fields::keysDiffer()
{
    const QStringList all = keys();
    QSet<QString> distinct;
    for (const QString &key : all) {
        QVERIFY(!key.isEmpty());
        distinct.insert(key);
    }
    QCOMPARE(distinct.size(), all.size());
}

void tst_Fields::constantsAreReadyBeforeMain()
{
    QCOMPARE(keysBeforeMain, keys());
}

void tst_Fields::success()
{
    QCOMPARE(Orca_Values::RequestExeStatus::success, QStringLiteral("0"));
}

QTEST_GUILESS_MAIN(tst_Fields)
#include "tst_fields.moc"
