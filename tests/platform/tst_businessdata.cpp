#include "bustesting.h"

#include <businessdatamanager/businessdatainterface.h>
#include <lxbusinessdata/businessdatabase.h>
#include <lxwidget/lxpresenterclass.h>

#include <QtTest>

using namespace BusTesting;

class tst_BusinessData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneInstance();
    void unknownSymbols();
    void loadsSecurities();
    void loadingReplacesTheTable();
    void badFileLeavesTheTable_data();
    void badFileLeavesTheTable();
    void recordedSecurities();
    void rankingSubscription_data();
    void rankingSubscription();
    void rankingRequestsThatCannotBeSent();

private:
    QString file(const QByteArray &content);

    QTemporaryDir m_folder;
    int m_files = 0;
};

QString tst_BusinessData::file(const QByteArray &content)
{
    QFile out(m_folder.filePath(QString::number(++m_files) + QLatin1String(".csv")));
    if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(out.fileName()));
    return out.fileName();
}

void tst_BusinessData::oneInstance()
{
    QVERIFY(CBusinessDataBase::GetInstance() != nullptr);
    QCOMPARE(CBusinessDataBase::GetInstance(), CBusinessDataBase::GetInstance());
}

void tst_BusinessData::unknownSymbols()
{
    CBusinessDataBase data;
    QVERIFY(data.GetSecurityTypeBySymbol(QStringLiteral("600000.SH")).isEmpty());
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("600000.SH"), QStringLiteral("无")), QStringLiteral("无"));
    QVERIFY(!data.HasSymbol(QStringLiteral("600000.SH")));
}

void tst_BusinessData::loadsSecurities()
{
    CBusinessDataBase data;
    QString error;
    // The columns are found by name, in whatever order.
    QVERIFY2(data.LoadSecurities(file("SecurityType,Symbol,Source,SecurityName\n"
                                      "stock,600000.SH,S1,浦发银行\n"
                                      "future,IF2312.CF,S2,\"沪深300,2312\"\n"),
                                 &error),
             qPrintable(error));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("600000.SH")), QStringLiteral("stock"));
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("600000.SH"), QString()), QStringLiteral("浦发银行"));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("IF2312.CF")), QStringLiteral("future"));
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("IF2312.CF"), QString()), QStringLiteral("沪深300,2312"));
    QVERIFY(data.HasSymbol(QStringLiteral("600000.SH")));
    QVERIFY(!data.HasSymbol(QStringLiteral("600000.sh")));
}

void tst_BusinessData::loadingReplacesTheTable()
{
    CBusinessDataBase data;
    QString error;
    QVERIFY(data.LoadSecurities(file("Symbol,SecurityName,SecurityType\nA,a,stock\nB,b,stock\n"), &error));
    QVERIFY(data.LoadSecurities(file("Symbol,SecurityName,SecurityType\nB,c,index\n"), &error));
    QVERIFY(!data.HasSymbol(QStringLiteral("A")));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("B")), QStringLiteral("index"));
}

void tst_BusinessData::badFileLeavesTheTable_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing.csv"));
    QTest::newRow("empty") << file("");
    QTest::newRow("no symbols") << file("SecurityName,SecurityType\nb,stock\n");
    QTest::newRow("no names") << file("Symbol,SecurityType\nB,stock\n");
    QTest::newRow("no types") << file("Symbol,SecurityName\nB,b\n");
    QTest::newRow("damaged") << file(QByteArray::fromHex("1f8b08000000000000030bce"));
}

void tst_BusinessData::badFileLeavesTheTable()
{
    QFETCH(QString, path);
    CBusinessDataBase data;
    QString error;
    QVERIFY(data.LoadSecurities(file("Symbol,SecurityName,SecurityType\nA,a,stock\n"), &error));
    QVERIFY(!data.LoadSecurities(path, &error));
    QVERIFY2(error.contains(path), qPrintable(error));
    QVERIFY(!data.LoadSecurities(path, nullptr));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("A")), QStringLiteral("stock"));
    QVERIFY(!data.HasSymbol(QStringLiteral("B")));
}

void tst_BusinessData::recordedSecurities()
{
    CBusinessDataBase data;
    QString error;
    QVERIFY2(data.LoadSecurities(QStringLiteral(LX_DATA_DIR "/securities.csv"), &error), qPrintable(error));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("000001.SH")), QStringLiteral("index"));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("000001.SZ")), QStringLiteral("stock"));
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("000001.SZ"), QString()), QStringLiteral("平安银行"));
}

void tst_BusinessData::rankingSubscription_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("change ratio") << 1;
    QTest::newRow("turnover value") << 2;
    QTest::newRow("amplitude") << 3;
}

void tst_BusinessData::rankingSubscription()
{
    QFETCH(int, kind);
    const QString topic = QStringLiteral("ADINDICATORSRANKINGRECORD");
    Bus bus;
    Service service(bus);
    LxPresenterClass presenter(QStringLiteral("presenter"), nullptr, IMessageInterface::BusThread);
    presenter.Sub(presenter.pluginPid(), topic, 1);
    QCOMPARE(BusinessDataInterface::SubscribeSecurityQuotation(&presenter, QStringList(), kind, 2), QString());
    for (int published = 1; published <= 3; ++published)
        QCOMPARE(service.publish(topic, QString::number(published), 1), published == kind ? 1 : 0);
    QCOMPARE(BusinessDataInterface::UnSubscribeSecurityQuotation(&presenter, QStringList(), kind, 2), QString());
    QCOMPARE(service.publish(topic, QString::number(kind), 2), 0);
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

void tst_BusinessData::rankingRequestsThatCannotBeSent()
{
    Bus bus;
    LxPresenterClass presenter(QStringLiteral("presenter"), nullptr, IMessageInterface::BusThread);
    QVERIFY(!BusinessDataInterface::SubscribeSecurityQuotation(nullptr, QStringList(), 1, 2).isEmpty());
    QVERIFY(!BusinessDataInterface::UnSubscribeSecurityQuotation(nullptr, QStringList(), 1, 2).isEmpty());
    for (const int kind : { 0, 4, -1 }) {
        QVERIFY(!BusinessDataInterface::SubscribeSecurityQuotation(&presenter, QStringList(), kind, 2).isEmpty());
        QVERIFY(!BusinessDataInterface::UnSubscribeSecurityQuotation(&presenter, QStringList(), kind, 2).isEmpty());
    }
    QCOMPARE(bus.droppedInAll(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_BusinessData)
#include "tst_businessdata.moc"
