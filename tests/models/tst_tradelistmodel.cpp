#include "lxtradelistmodel.h"

#include "quoterows.h"

#include <QAbstractItemModelTester>

using namespace QuoteRows;
using Model = LxTradeListModel;

namespace {

void publishTrades(const QVector<QVariantMap> &rows)
{
    for (const QVariantMap &row : rows)
        LxDouble::publish(u"MDTRANSACTIONRECORD"_s, LxDouble::packRows({ row }));
    settle();
}

QVariantMap traded(const QString &symbol, double last, double volume, double bid, double ask)
{
    return stock(symbol, last, 10, u"100000000"_s,
                 { { u"TotalVolumeTrade"_s, volume }, { u"Buy1Price"_s, bid }, { u"Sell1Price"_s, ask } });
}

QString text(const Model &model, int row, Model::Column column)
{
    return model.index(row, column).data().toString();
}

} // namespace

class tst_tradelistmodel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qRegisterMetaType<LxTradeListModel::Source>(); // for the spy
        startHandler();
    }
    void init() { LxDouble::forgetSent(); }

    void keepsTheContractOfModels();
    void latestTransactionComesFirst();
    void sidesAreReadFromDigitsAndLetters_data();
    void sidesAreReadFromDigitsAndLetters();
    void capacityLimitsTheRows();
    void otherSymbolsAreLeftOut();
    void quotesGiveRowsUntilTransactionsCome();
    void lastTradesOfASubscribedSymbolAreKnown();
    void quotesAndTransactionsAreSubscribed();
};

void tst_tradelistmodel::keepsTheContractOfModels()
{
    Model model;
    model.setCapacity(5);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.setSymbol(u"600000.SH"_s);
    for (int i = 0; i < 4; ++i) {
        QSignalSpy inserted(&model, &Model::rowsInserted);
        publishTrades({ transaction(u"600000.SH"_s, 10 + i, 100, 1), transaction(u"600000.SH"_s, 11 + i, 100, 2) });
        QVERIFY(inserted.wait());
    }
    QCOMPARE(model.rowCount(), 5);
    model.setCapacity(2);
    QCOMPARE(model.rowCount(), 2);
    model.setSymbol(QString());
    QCOMPARE(model.rowCount(), 0);
}

void tst_tradelistmodel::latestTransactionComesFirst()
{
    Model model;
    model.setColors(Qt::red, Qt::green);
    model.setSymbol(u"600000.SH"_s);
    QSignalSpy inserted(&model, &Model::rowsInserted);
    publishTrades({ transaction(u"600000.SH"_s, 10.01, 350, 1, u"093001000"_s),
                    transaction(u"600000.SH"_s, 10.02, 1200000, 2, u"093002000"_s) });
    QVERIFY(inserted.wait());
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(text(model, 0, Model::Time), u"09:30:02"_s);
    QCOMPARE(text(model, 0, Model::Price), u"10.02"_s);
    QCOMPARE(text(model, 0, Model::Lots), u"12,000"_s);
    QCOMPARE(text(model, 0, Model::Side), u"Sell"_s);
    QCOMPARE(text(model, 1, Model::Lots), u"3"_s);
    QCOMPARE(model.index(0, Model::Price).data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::green));
    QCOMPARE(model.index(1, Model::Price).data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::red));
    QVERIFY(!model.index(1, Model::Time).data(Qt::ForegroundRole).isValid());
}

void tst_tradelistmodel::sidesAreReadFromDigitsAndLetters_data()
{
    QTest::addColumn<QVariant>("flag");
    QTest::addColumn<LxTrade::Side>("side");
    QTest::newRow("1") << QVariant(1) << LxTrade::Buy;
    QTest::newRow("2") << QVariant(2) << LxTrade::Sell;
    QTest::newRow("0") << QVariant(0) << LxTrade::UnknownSide;
    QTest::newRow("B") << QVariant(u"B"_s) << LxTrade::Buy;
    QTest::newRow("S") << QVariant(u"S"_s) << LxTrade::Sell;
    QTest::newRow("N") << QVariant(u"N"_s) << LxTrade::UnknownSide;
    QTest::newRow("nothing") << QVariant() << LxTrade::UnknownSide;
}

void tst_tradelistmodel::sidesAreReadFromDigitsAndLetters()
{
    QFETCH(QVariant, flag);
    Model model;
    model.setSymbol(u"600000.SH"_s);
    QSignalSpy inserted(&model, &Model::rowsInserted);
    publishTrades({ transaction(u"600000.SH"_s, 10, 100, flag) });
    QVERIFY(inserted.wait());
    QTEST(model.index(0, Model::Side).data(Model::RawRole).value<LxTrade::Side>(), "side");
}

void tst_tradelistmodel::capacityLimitsTheRows()
{
    Model model;
    model.setCapacity(10);
    model.setSymbol(u"600000.SH"_s);
    QSignalSpy inserted(&model, &Model::rowsInserted);
    QVector<QVariantMap> rows;
    for (int i = 1; i <= 95; ++i)
        rows.append(transaction(u"600000.SH"_s, i, 100, 1));
    publishTrades(rows);
    QVERIFY(inserted.wait());
    QCOMPARE(model.rowCount(), 10);
    QCOMPARE(text(model, 0, Model::Price), u"95.00"_s);
    QCOMPARE(text(model, 9, Model::Price), u"86.00"_s);
}

void tst_tradelistmodel::otherSymbolsAreLeftOut()
{
    Model other;
    other.setSymbol(u"600001.SH"_s);
    Model model;
    model.setSymbol(u"600001.SH"_s);
    model.setSymbol(u"600000.SH"_s);
    QSignalSpy inserted(&model, &Model::rowsInserted);
    publishTrades({ transaction(u"600001.SH"_s, 10, 100, 1), transaction(u"600000.SH"_s, 20, 100, 1) });
    QVERIFY(inserted.wait());
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(text(model, 0, Model::Price), u"20.00"_s);
}

void tst_tradelistmodel::quotesGiveRowsUntilTransactionsCome()
{
    Model model;
    model.setSymbol(u"600007.SH"_s);
    QSignalSpy inserted(&model, &Model::rowsInserted);
    QSignalSpy sourceChanged(&model, &Model::sourceChanged);
    publishStocks({ traded(u"600007.SH"_s, 10.00, 1000, 10.00, 10.01),
                    traded(u"600007.SH"_s, 10.01, 1500, 10.00, 10.02), traded(u"600007.SH"_s, 10.00, 1800, 9.99, 10.00),
                    traded(u"600007.SH"_s, 10.00, 1800, 9.99, 10.00),
                    traded(u"600007.SH"_s, 9.995, 2000, 9.99, 10.00) });
    QVERIFY(inserted.wait());
    QCOMPARE(model.source(), Model::Quotes);
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(text(model, 2, Model::Lots), u"5"_s);
    QCOMPARE(text(model, 2, Model::Side), u"Buy"_s); // at the ask of the quote before
    QCOMPARE(text(model, 1, Model::Lots), u"3"_s);
    QCOMPARE(text(model, 1, Model::Side), u"Sell"_s);
    QCOMPARE(text(model, 0, Model::Side), QString()); // between bid and ask
    publishTrades({ transaction(u"600007.SH"_s, 12, 700, 1) });
    QVERIFY(sourceChanged.wait());
    QCOMPARE(model.source(), Model::Transactions);
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(text(model, 0, Model::Lots), u"7"_s);
    publishStocks({ traded(u"600007.SH"_s, 10.00, 9000, 9.99, 10.00) });
    publishTrades({ transaction(u"600007.SH"_s, 13, 100, 1) });
    QVERIFY(inserted.wait());
    QCOMPARE(model.rowCount(), 2);
    model.setSymbol(u"600008.SH"_s);
    QCOMPARE(model.source(), Model::Quotes);
}

void tst_tradelistmodel::lastTradesOfASubscribedSymbolAreKnown()
{
    LxTradeListModel first; // has the symbol subscribed
    first.setSymbol(u"600020.SH"_s);
    QVector<QVariantMap> rows;
    for (int i = 0; i <= 60; ++i)
        rows.append(traded(u"600020.SH"_s, 10, 1000 + 100 * i * i, 9.99, 10));
    publishStocks(rows);
    Model model;
    QSignalSpy inserted(&model, &Model::rowsInserted);
    model.setSymbol(u"600020.SH"_s);
    QVERIFY(inserted.wait());
    QCOMPARE(model.rowCount(), 20);
    QCOMPARE(text(model, 0, Model::Lots), u"119"_s); // 60 * 60 - 59 * 59
}

void tst_tradelistmodel::quotesAndTransactionsAreSubscribed()
{
    {
        Model model;
        model.setSymbol(u"600000.SH"_s);
        Model second;
        second.setSymbol(u"600000.SH"_s);
        waitForSender();
        QCOMPARE(subscriptions(), (QStringList { u"+1600000.SH"_s, u"+2600000.SH"_s }));
        LxDouble::forgetSent();
    }
    QCOMPARE(subscriptions(), (QStringList { u"-1600000.SH"_s, u"-2600000.SH"_s }));
}

QTEST_GUILESS_MAIN(tst_tradelistmodel)

#include "tst_tradelistmodel.moc"
