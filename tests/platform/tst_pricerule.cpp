#include <summitutils/summitbusiutils.h>

#include <QtTest>

#include <limits>

using Row = QMap<QString, QVariant>;
Q_DECLARE_METATYPE(Row)

class tst_PriceRule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lastPrice_data();
    void lastPrice();
};

void tst_PriceRule::lastPrice_data()
{
    QTest::addColumn<Row>("row");
    QTest::addColumn<double>("price");

    const QString last = QStringLiteral("LastPx");
    const QString settle = QStringLiteral("PreSettlePrice");
    const QString close = QStringLiteral("PreClosePx");
    const double nan = std::numeric_limits<double>::quiet_NaN();

    QTest::newRow("empty row") << Row() << 0.0;
    QTest::newRow("last price") << Row { { last, 10.5 }, { settle, 9.0 }, { close, 8.0 } } << 10.5;
    QTest::newRow("last price as a string") << Row { { last, QStringLiteral("10.5") }, { close, 8.0 } } << 10.5;
    QTest::newRow("before the first trade: stock") << Row { { last, 0.0 }, { close, 8.0 } } << 8.0;
    QTest::newRow("before the first trade: future") << Row { { last, 0.0 }, { settle, 9.0 }, { close, 8.0 } } << 9.0;
    QTest::newRow("no last price") << Row { { close, 8.0 } } << 8.0;
    QTest::newRow("last price is empty") << Row { { last, QString() }, { close, 8.0 } } << 8.0;
    QTest::newRow("last price is not a number") << Row { { last, nan }, { close, 8.0 } } << 8.0;
    QTest::newRow("last price is negative") << Row { { last, -1.0 }, { close, 8.0 } } << 8.0;
    QTest::newRow("settlement is empty") << Row { { last, 0.0 }, { settle, QString() }, { close, 8.0 } } << 8.0;
    QTest::newRow("settlement is 0") << Row { { last, 0.0 }, { settle, 0.0 }, { close, 8.0 } } << 8.0;
    QTest::newRow("settlement is negative") << Row { { last, 0.0 }, { settle, -1.0 }, { close, 8.0 } } << 8.0;
    QTest::newRow("close is negative") << Row { { last, 0.0 }, { close, -8.0 } } << 0.0;
    QTest::newRow("close is not a number") << Row { { close, nan } } << 0.0;
    QTest::newRow("close as a string") << Row { { close, QStringLiteral("8.25") } } << 8.25;
    QTest::newRow("no price at all") << Row { { last, 0.0 }, { settle, QString() }, { close, QString() } } << 0.0;
    QTest::newRow("other fields") << Row { { QStringLiteral("OpenPx"), 7.0 } } << 0.0;
}

void tst_PriceRule::lastPrice()
{
    QFETCH(Row, row);
    QFETCH(double, price);
    QCOMPARE(SummitBusiUtils::GetLastPriceFromTick(row), price);
}

QTEST_GUILESS_MAIN(tst_PriceRule)
#include "tst_pricerule.moc"
