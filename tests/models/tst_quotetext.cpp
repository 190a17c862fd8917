#include "lxquotetext.h"

#include "lxquote.h"

#include <QtTest>

#include <limits>

class tst_quotetext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void prices();
    void changesHaveASignUnlessZero();
    void amountsAreShortened_data();
    void amountsAreShortened();
    void missingNumbersAreADash();
    void timesAndDates();
};

void tst_quotetext::prices()
{
    QCOMPARE(LxQuoteText::price(10.5), QStringLiteral("10.50"));
    QCOMPARE(LxQuoteText::price(0), QStringLiteral("0.00"));
    QCOMPARE(LxQuoteText::count(1234567), QStringLiteral("1,234,567"));
    QCOMPARE(LxQuoteText::percent(3.456), QStringLiteral("3.46%"));
}

void tst_quotetext::changesHaveASignUnlessZero()
{
    QCOMPARE(LxQuoteText::change(0.5), QStringLiteral("+0.50"));
    QCOMPARE(LxQuoteText::change(-0.5), QStringLiteral("-0.50"));
    QCOMPARE(LxQuoteText::change(0), QStringLiteral("0.00"));
    QCOMPARE(LxQuoteText::change(-0.001), QStringLiteral("0.00"));
    QCOMPARE(LxQuoteText::change(0.001), QStringLiteral("0.00"));
    QCOMPARE(LxQuoteText::changeRatio(9.99), QStringLiteral("+9.99%"));
}

void tst_quotetext::amountsAreShortened_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("international");
    QTest::addColumn<QString>("chinese");
    QTest::newRow("zero") << 0.0 << "0"
                          << "0";
    QTest::newRow("four digits") << 9999.0 << "9999"
                                 << "9999";
    QTest::newRow("five digits") << 12345.0 << "12.35K" << QStringLiteral("1.23万");
    QTest::newRow("millions") << 1234567.0 << "1.23M" << QStringLiteral("123.5万");
    QTest::newRow("hundreds of millions") << 234567890.0 << "234.6M" << QStringLiteral("2.35亿");
    QTest::newRow("billions") << 12345678901.0 << "12.35B" << QStringLiteral("123.5亿");
    QTest::newRow("trillions") << 2.5e12 << "2.50T" << QStringLiteral("2.50万亿");
    QTest::newRow("negative") << -12345.0 << "-12.35K" << QStringLiteral("-1.23万");
}

void tst_quotetext::amountsAreShortened()
{
    QFETCH(double, value);
    QTEST(LxQuoteText::amount(value, LxQuoteText::International), "international");
    QTEST(LxQuoteText::amount(value, LxQuoteText::Chinese), "chinese");
}

void tst_quotetext::missingNumbersAreADash()
{
    const QString dash = QStringLiteral("–");
    for (const double value : { LxNoValue, std::numeric_limits<double>::infinity() }) {
        QCOMPARE(LxQuoteText::price(value), dash);
        QCOMPARE(LxQuoteText::change(value), dash);
        QCOMPARE(LxQuoteText::changeRatio(value), dash);
        QCOMPARE(LxQuoteText::percent(value), dash);
        QCOMPARE(LxQuoteText::amount(value, LxQuoteText::Chinese), dash);
        QCOMPARE(LxQuoteText::count(value), dash);
    }
}

void tst_quotetext::timesAndDates()
{
    QCOMPARE(LxQuoteText::time(QStringLiteral("093003120")), QStringLiteral("09:30:03"));
    QCOMPARE(LxQuoteText::time(QStringLiteral("noon")), QStringLiteral("noon"));
    QCOMPARE(LxQuoteText::date(QStringLiteral("20211201")), QStringLiteral("2021-12-01"));
    QCOMPARE(LxQuoteText::date(QString()), QString());
    QCOMPARE(LxQuoteText::minute(9 * 60 + 5), QStringLiteral("09:05"));
}

QTEST_APPLESS_MAIN(tst_quotetext)

#include "tst_quotetext.moc"
