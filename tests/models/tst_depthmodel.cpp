#include "lxdepthmodel.h"

#include "quoterows.h"

#include <QAbstractItemModelTester>

using namespace QuoteRows;

namespace {

QVariantMap book(const QString &symbol, int levels, double middle = 10)
{
    QVariantMap row = stock(symbol, middle);
    for (int level = 1; level <= levels; ++level) {
        row.insert(u"Buy%1Price"_s.arg(level), middle - level / 100.0);
        row.insert(u"Sell%1Price"_s.arg(level), middle + level / 100.0);
        row.insert(u"Buy%1OrderQty"_s.arg(level), 100 * level);
        row.insert(u"Sell%1OrderQty"_s.arg(level), 200 * level);
    }
    return row;
}

QString text(const LxDepthModel &model, int row, int column)
{
    return model.index(row, column).data().toString();
}

} // namespace

class tst_depthmodel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        startHandler();
        LxDouble::setSecurity(u"IF2101.CF"_s, u"future"_s, u"IF2101"_s);
        LxDouble::setSecurity(u"000001.SH"_s, u"index"_s, u"上证综指"_s);
    }

    void keepsTheContractOfModels();
    void ladderRunsFromTheHighestAskToTheLowestBid();
    void missingLevelsAreEmpty();
    void futuresHaveFiveLevels();
    void indexHasNoBook();
    void rolesDescribeTheLevels();
    void nextSymbolReplacesTheBook();
};

void tst_depthmodel::keepsTheContractOfModels()
{
    LxDepthModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    model.setSymbol(u"600000.SH"_s);
    publishStock(book(u"600000.SH"_s, 10));
    QVERIFY(shown.wait());
    model.setSymbol(u"IF2101.CF"_s);
    model.setSymbol(u"000001.SH"_s);
    model.setSymbol(QString());
    QCOMPARE(model.rowCount(), 0);
}

void tst_depthmodel::ladderRunsFromTheHighestAskToTheLowestBid()
{
    LxDepthModel model;
    model.setSymbol(u"600000.SH"_s);
    QCOMPARE(model.rowCount(), 20);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    publishStock(book(u"600000.SH"_s, 10));
    QVERIFY(shown.wait());
    QCOMPARE(text(model, 0, LxDepthModel::Level), u"Ask 10"_s);
    QCOMPARE(text(model, 0, LxDepthModel::Price), u"10.10"_s);
    QCOMPARE(text(model, 0, LxDepthModel::Quantity), u"20"_s);
    QCOMPARE(text(model, 9, LxDepthModel::Price), u"10.01"_s);
    QCOMPARE(text(model, 10, LxDepthModel::Level), u"Bid 1"_s);
    QCOMPARE(text(model, 10, LxDepthModel::Price), u"9.99"_s);
    QCOMPARE(text(model, 19, LxDepthModel::Price), u"9.90"_s);
    QCOMPARE(text(model, 19, LxDepthModel::Quantity), u"10"_s);
}

void tst_depthmodel::missingLevelsAreEmpty()
{
    LxDepthModel model;
    model.setSymbol(u"600001.SH"_s);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    publishStock(book(u"600001.SH"_s, 3));
    QVERIFY(shown.wait());
    QCOMPARE(text(model, 0, LxDepthModel::Price), u"–"_s);
    QCOMPARE(text(model, 0, LxDepthModel::Quantity), u"–"_s);
    QCOMPARE(model.index(0, 0).data(LxDepthModel::FractionRole).toDouble(), 0.0);
    QCOMPARE(text(model, 7, LxDepthModel::Price), u"10.03"_s);
}

void tst_depthmodel::futuresHaveFiveLevels()
{
    LxDepthModel model;
    model.setSymbol(u"IF2101.CF"_s);
    QCOMPARE(model.rowCount(), 10);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    publish(u"MDFUTURERECORD"_s, book(u"IF2101.CF"_s, 5, 5000));
    QVERIFY(shown.wait());
    QCOMPARE(model.rowCount(), 10);
    QCOMPARE(text(model, 5, LxDepthModel::Level), u"Bid 1"_s);
    QCOMPARE(text(model, 5, LxDepthModel::Quantity), u"100"_s); // lots already
}

void tst_depthmodel::indexHasNoBook()
{
    LxDepthModel model;
    model.setSymbol(u"000001.SH"_s);
    QCOMPARE(model.rowCount(), 0);
    // A security of unknown type is taken for a stock until its first quote tells otherwise.
    model.setSymbol(u"000300.SH"_s);
    QCOMPARE(model.rowCount(), 20);
    QSignalSpy reset(&model, &LxDepthModel::modelReset);
    publish(u"MDINDEXRECORD"_s,
            { { u"Symbol"_s, u"000300.SH"_s }, { u"MDTime"_s, u"100000000"_s }, { u"LastPx"_s, 5000.0 } });
    QVERIFY(reset.wait());
    QCOMPARE(model.rowCount(), 0);
}

void tst_depthmodel::rolesDescribeTheLevels()
{
    LxDepthModel model;
    model.setColors(Qt::red, Qt::green);
    model.setSymbol(u"600002.SH"_s);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    publishStock(book(u"600002.SH"_s, 10));
    QVERIFY(shown.wait());
    const auto role = [&model](int row, int column, int wanted) { return model.index(row, column).data(wanted); };
    QCOMPARE(role(0, 0, LxDepthModel::IsAskRole), QVariant(true));
    QCOMPARE(role(10, 0, LxDepthModel::IsAskRole), QVariant(false));
    QCOMPARE(role(10, 0, LxDepthModel::LevelRole), QVariant(1));
    QCOMPARE(role(0, 0, LxDepthModel::FractionRole).toDouble(), 1.0);
    QCOMPARE(role(19, 0, LxDepthModel::FractionRole).toDouble(), 0.5);
    QCOMPARE(role(0, LxDepthModel::Price, Qt::ForegroundRole).value<QColor>(), QColor(Qt::red));
    QCOMPARE(role(19, LxDepthModel::Price, Qt::ForegroundRole).value<QColor>(), QColor(Qt::green));
    QVERIFY(!role(0, LxDepthModel::Quantity, Qt::ForegroundRole).isValid());
}

void tst_depthmodel::nextSymbolReplacesTheBook()
{
    LxDepthModel model;
    model.setSymbol(u"600000.SH"_s);
    QSignalSpy shown(&model, &LxDepthModel::quoteChanged);
    publishStock(book(u"600000.SH"_s, 10));
    QVERIFY(shown.wait());
    model.setSymbol(u"600009.SH"_s);
    QCOMPARE(text(model, 9, LxDepthModel::Price), u"–"_s);
    shown.clear();
    publishStocks({ book(u"600000.SH"_s, 10, 20), book(u"600009.SH"_s, 10, 30) });
    QVERIFY(shown.wait());
    QCOMPARE(text(model, 9, LxDepthModel::Price), u"30.01"_s);
}

QTEST_GUILESS_MAIN(tst_depthmodel)

#include "tst_depthmodel.moc"
