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
    void securities();
    void rankingSubscription_data();
    void rankingSubscription();
    void rankingRequestsThatCannotBeSent();
};

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

void tst_BusinessData::securities()
{
    CBusinessDataBase data;
    data.SetSecurities({ { QStringLiteral("A"), { QStringLiteral("a"), QStringLiteral("stock") } },
                         { QStringLiteral("B"), { QStringLiteral("b"), QStringLiteral("stock") } } });
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("A")), QStringLiteral("stock"));
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("A"), QString()), QStringLiteral("a"));
    QVERIFY(data.HasSymbol(QStringLiteral("B")));
    QVERIFY(!data.HasSymbol(QStringLiteral("b")));

    // A new table replaces the previous one.
    data.SetSecurities({ { QStringLiteral("B"), { QStringLiteral("c"), QStringLiteral("index") } } });
    QVERIFY(!data.HasSymbol(QStringLiteral("A")));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("B")), QStringLiteral("index"));
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
    Publisher publisher(bus);
    LxPresenterClass presenter(QStringLiteral("presenter"), nullptr, IMessageInterface::BusThread);
    presenter.Sub(presenter.pluginPid(), topic, 1);
    QCOMPARE(BusinessDataInterface::SubscribeSecurityQuotation(&presenter, QStringList(), kind, 2), QString());
    for (int published = 1; published <= 3; ++published)
        QCOMPARE(publisher.publish(topic, QString::number(published), 1), published == kind ? 1 : 0);
    QCOMPARE(BusinessDataInterface::UnSubscribeSecurityQuotation(&presenter, QStringList(), kind, 2), QString());
    QCOMPARE(publisher.publish(topic, QString::number(kind), 2), 0);
    QCOMPARE(bus.totalDropped(), quint64(0));
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
    QCOMPARE(bus.totalDropped(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_BusinessData)
#include "tst_businessdata.moc"
