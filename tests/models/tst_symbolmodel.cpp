#include "lxsymbolmodel.h"

#include <QAbstractItemModelTester>
#include <QtTest>

namespace {

const QVector<LxSecurity> securities {
    { QStringLiteral("000001.SZ"), QStringLiteral("平安银行"), QStringLiteral("stock") },
    { QStringLiteral("000001.SH"), QStringLiteral("上证综指"), QStringLiteral("index") },
    { QStringLiteral("600036.SH"), QStringLiteral("招商银行"), QStringLiteral("stock") },
    { QStringLiteral("601318.SH"), QStringLiteral("中国平安"), QStringLiteral("stock") },
    { QStringLiteral("000002.SZ"), QStringLiteral("万  科Ａ"), QStringLiteral("stock") },
    { QStringLiteral("IF2101.CF"), QStringLiteral("IF2101"), QStringLiteral("future") },
};

} // namespace

class tst_symbolmodel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initialsOfNames_data();
    void initialsOfNames();
    void rowsShowTheSecurities();
    void findsByCodeInitialsAndName_data();
    void findsByCodeInitialsAndName();
    void keepsTheContractOfModels();
};

void tst_symbolmodel::initialsOfNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("initials");
    QTest::newRow("plain") << QStringLiteral("贵州茅台") << QStringLiteral("GZMT");
    QTest::newRow("bank") << QStringLiteral("平安银行") << QStringLiteral("PAYH");
    QTest::newRow("two words with other readings") << QStringLiteral("成都银行") << QStringLiteral("CDYH");
    QTest::newRow("long") << QStringLiteral("长江电力") << QStringLiteral("CJDL");
    QTest::newRow("Chongqing") << QStringLiteral("重庆啤酒") << QStringLiteral("CQPJ");
    QTest::newRow("heavy") << QStringLiteral("大连重工") << QStringLiteral("DLZG");
    QTest::newRow("Xiamen") << QStringLiteral("厦门空港") << QStringLiteral("XMKG");
    QTest::newRow("space and full-width letter") << QStringLiteral("万  科Ａ") << QStringLiteral("WKA");
    QTest::newRow("letters and digits") << QStringLiteral("*ST海润2") << QStringLiteral("STHR2");
    QTest::newRow("Latin") << QStringLiteral("if2101") << QStringLiteral("IF2101");
    QTest::newRow("empty") << QString() << QString();
}

void tst_symbolmodel::initialsOfNames()
{
    QFETCH(QString, name);
    QTEST(LxSymbolModel::initialsOf(name), "initials");
}

void tst_symbolmodel::rowsShowTheSecurities()
{
    LxSymbolModel model;
    model.setSecurities(securities);
    QCOMPARE(model.rowCount(), securities.size());
    QCOMPARE(model.index(0, LxSymbolModel::Code).data().toString(), QStringLiteral("000001.SZ"));
    QCOMPARE(model.index(0, LxSymbolModel::Name).data().toString(), QStringLiteral("平安银行"));
    QCOMPARE(model.index(0, LxSymbolModel::Initials).data().toString(), QStringLiteral("PAYH"));
    QCOMPARE(model.index(1, 0).data(LxSymbolModel::TypeRole).toString(), QStringLiteral("index"));
}

void tst_symbolmodel::findsByCodeInitialsAndName_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QStringList>("symbols");
    QTest::newRow("nothing") << QString() << QStringList();
    QTest::newRow("code") << QStringLiteral("000001")
                          << QStringList { QStringLiteral("000001.SH"), QStringLiteral("000001.SZ") };
    QTest::newRow("code, contained ones last")
        << QStringLiteral("6") << QStringList { QStringLiteral("600036.SH"), QStringLiteral("601318.SH") };
    QTest::newRow("middle of a code") << QStringLiteral("1318") << QStringList { QStringLiteral("601318.SH") };
    QTest::newRow("code and market") << QStringLiteral("000001.sz") << QStringList { QStringLiteral("000001.SZ") };
    QTest::newRow("initials, those that begin so first")
        << QStringLiteral("pa") << QStringList { QStringLiteral("000001.SZ"), QStringLiteral("601318.SH") };
    QTest::newRow("initials of two banks")
        << QStringLiteral("yh") << QStringList { QStringLiteral("000001.SZ"), QStringLiteral("600036.SH") };
    QTest::newRow("name") << QStringLiteral("平安")
                          << QStringList { QStringLiteral("000001.SZ"), QStringLiteral("601318.SH") };
    QTest::newRow("name without its white space")
        << QStringLiteral("万科") << QStringList { QStringLiteral("000002.SZ") };
    QTest::newRow("none") << QStringLiteral("zzzz") << QStringList();
}

void tst_symbolmodel::findsByCodeInitialsAndName()
{
    QFETCH(QString, pattern);
    LxSymbolModel model;
    model.setSecurities(securities);
    LxSymbolFilterModel filter;
    filter.setSourceModel(&model);
    filter.setPattern(pattern);
    QStringList found;
    for (int row = 0; row < filter.rowCount(); ++row)
        found.append(filter.index(row, 0).data(LxSymbolModel::SymbolRole).toString());
    QTEST(found, "symbols");
}

void tst_symbolmodel::keepsTheContractOfModels()
{
    LxSymbolModel model;
    LxSymbolFilterModel filter;
    filter.setSourceModel(&model);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QAbstractItemModelTester filterTester(&filter, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.setSecurities(securities);
    for (const char *pattern : { "0", "00", "p", "", "zz" })
        filter.setPattern(QString::fromLatin1(pattern));
    model.setSecurities({});
}

QTEST_APPLESS_MAIN(tst_symbolmodel)

#include "tst_symbolmodel.moc"
