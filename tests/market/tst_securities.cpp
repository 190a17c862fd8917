#include "securities.h"

#include <lxbusinessdata/businessdatabase.h>

#include <QtTest>

class tst_Securities : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loadsSecurities();
    void replacesTheTable();
    void badFileLeavesTheTable_data();
    void badFileLeavesTheTable();
    void recordedSecurities();

private:
    QString file(const QByteArray &content);

    QTemporaryDir m_folder;
    int m_files = 0;
};

QString tst_Securities::file(const QByteArray &content)
{
    QFile out(m_folder.filePath(QString::number(++m_files) + QLatin1String(".csv")));
    if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(out.fileName()));
    return out.fileName();
}

void tst_Securities::loadsSecurities()
{
    CBusinessDataBase &data = *CBusinessDataBase::GetInstance();
    QString error;
    // The columns are found by name, in whatever order.
    QVERIFY2(loadSecurities(file("SecurityType,Symbol,Source,SecurityName\n"
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

void tst_Securities::replacesTheTable()
{
    CBusinessDataBase &data = *CBusinessDataBase::GetInstance();
    QString error;
    QVERIFY(loadSecurities(file("Symbol,SecurityName,SecurityType\nA,a,stock\nB,b,stock\n"), &error));
    QVERIFY(loadSecurities(file("Symbol,SecurityName,SecurityType\nB,c,index\n"), &error));
    QVERIFY(!data.HasSymbol(QStringLiteral("A")));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("B")), QStringLiteral("index"));
}

void tst_Securities::badFileLeavesTheTable_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing.csv"));
    QTest::newRow("empty") << file("");
    QTest::newRow("no symbols") << file("SecurityName,SecurityType\nb,stock\n");
    QTest::newRow("no names") << file("Symbol,SecurityType\nB,stock\n");
    QTest::newRow("no types") << file("Symbol,SecurityName\nB,b\n");
    QTest::newRow("damaged") << file(QByteArray::fromHex("1f8b08000000000000030bce"));
}

void tst_Securities::badFileLeavesTheTable()
{
    QFETCH(QString, path);
    CBusinessDataBase &data = *CBusinessDataBase::GetInstance();
    QString error;
    QVERIFY(loadSecurities(file("Symbol,SecurityName,SecurityType\nA,a,stock\n"), &error));
    QVERIFY(!loadSecurities(path, &error));
    QVERIFY2(error.contains(path), qPrintable(error));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("A")), QStringLiteral("stock"));
    QVERIFY(!data.HasSymbol(QStringLiteral("B")));
}

void tst_Securities::recordedSecurities()
{
    CBusinessDataBase &data = *CBusinessDataBase::GetInstance();
    QString error;
    QVERIFY2(loadSecurities(QStringLiteral(LX_DATA_DIR "/securities.csv"), &error), qPrintable(error));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("000001.SH")), QStringLiteral("index"));
    QCOMPARE(data.GetSecurityTypeBySymbol(QStringLiteral("000001.SZ")), QStringLiteral("stock"));
    QCOMPARE(data.GetSecurityChineseName(QStringLiteral("000001.SZ"), QString()), QStringLiteral("平安银行"));
}

QTEST_GUILESS_MAIN(tst_Securities)
#include "tst_securities.moc"
