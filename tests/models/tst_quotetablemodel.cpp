#include "lxquotetablemodel.h"

#include "quoterows.h"

#include <QAbstractItemModelTester>

#include <atomic>

using namespace QuoteRows;
using Model = LxQuoteTableModel;

namespace {

QString text(const Model &model, int row, Model::Column column)
{
    return model.index(row, column).data().toString();
}

QStringList shownSymbols(const Model &model)
{
    QStringList result;
    for (int row = 0; row < model.rowCount(); ++row)
        result.append(model.symbolAt(row));
    return result;
}

// Runs the event loop until everything published so far is shown.
bool waitForFlush(Model *model)
{
    QSignalSpy flushed(model, &Model::flushed);
    return flushed.count() > 0 || flushed.wait();
}

} // namespace

class tst_quotetablemodel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // For the spies.
        qRegisterMetaType<QList<QPersistentModelIndex>>();
        qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>();
        qRegisterMetaType<LxQuoteTableModel::Status>();
        startHandler();
    }
    void init()
    {
        LxDouble::setSecurity(u"600000.SH"_s, u"stock"_s, u"浦发银行"_s);
        LxDouble::forgetSent();
    }
    void cleanup() { LxDouble::setRecordHook(nullptr); }

    void keepsTheContractOfModels();
    void rowsShowWhatATraderReads();
    void unitsFollowTheSetting();
    void nothingTradedShowsNothing();
    void indexAndFutureHaveTheirFigures();
    void rolesCarryNumbersColoursAndAlignment();
    void columnsHaveRoleNamesForQml();
    void burstIsShownOnceWithTheLatestQuotes();
    void fewRangesAnnounceManyRows();
    void unchangedQuoteChangesNothingButTheTime();
    void figuresOfDeepDataUpdateTheRow();
    void figuresAreRequestedOncePerStock();

    void subscriptionsAreSharedAmongModels();
    void secondModelShowsTheQuoteAtOnce();
    void replacedListKeepsCommonSubscriptions();
    void blockedSubscriptionDoesNotBlockTheCaller();
    void modelsComeAndGoWhileQuotesArrive();
    void duplicatesAndEmptySymbolsAreIgnored();
    void symbolsAreInsertedRemovedAndMoved();
    void symbolsAreInsertedIntoSortedRows();

    void sortingOrdersRowsAndKeepsMissingOnesLast();
    void orderFollowsTheValues();
    void orderKeepsPersistentIndexes();
    void sortingByTextAndBack();

    void statusIsLiveStaleOrWithoutService();
    void middayBreakDoesNotMakeStale();
};

void tst_quotetablemodel::keepsTheContractOfModels()
{
    Model model;
    model.setSortInterval(0);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QStringList all = symbols(50);
    model.setSymbols(all);
    for (int round = 0; round < 3; ++round) {
        QVector<QVariantMap> rows;
        for (int i = 0; i < all.size(); ++i)
            rows.append(stock(all.at(i), 10 + (i * 7 + round * 13) % 23));
        publishStocks(rows);
        QVERIFY(waitForFlush(&model));
        model.sort(round == 0 ? int(Model::Last) : -1, Qt::DescendingOrder);
        model.removeSymbols({ all.at(3), all.at(17) });
        model.insertSymbols(5, { all.at(3), all.at(17) });
        model.moveSymbol(0, 9);
        model.moveSymbol(9, 2);
    }
    model.setSymbols({});
    QCOMPARE(model.rowCount(), 0);
}

void tst_quotetablemodel::rowsShowWhatATraderReads()
{
    Model model;
    model.setUnits(LxQuoteText::International);
    model.setSymbols({ u"600000.SH"_s });
    QCOMPARE(text(model, 0, Model::Name), u"浦发银行"_s);
    QCOMPARE(text(model, 0, Model::Last), u"–"_s);
    publishStock(stock(u"600000.SH"_s, 10.5, 10, u"093003120"_s,
                       { { u"HighPx"_s, 10.6 }, { u"LowPx"_s, 9.9 }, { u"OpenPx"_s, 10.1 } }));
    QVERIFY(waitForFlush(&model));
    const QVector<QPair<Model::Column, QString>> expected {
        { Model::Code, u"600000.SH"_s }, { Model::Name, u"浦发银行"_s },      { Model::Last, u"10.50"_s },
        { Model::Change, u"+0.50"_s },   { Model::ChangeRatio, u"+5.00%"_s }, { Model::Volume, u"100"_s },
        { Model::Amount, u"105.0K"_s },  { Model::Bid, u"10.49"_s },          { Model::BidQuantity, u"3"_s },
        { Model::Ask, u"10.50"_s },      { Model::AskQuantity, u"5"_s },      { Model::High, u"10.60"_s },
        { Model::Low, u"9.90"_s },       { Model::Open, u"10.10"_s },         { Model::PreviousClose, u"10.00"_s },
        { Model::Average, u"10.50"_s },  { Model::Amplitude, u"7.00%"_s },    { Model::Time, u"09:30:03"_s },
    };
    for (const auto &cell : expected)
        QCOMPARE(text(model, 0, cell.first), cell.second);
}

void tst_quotetablemodel::unitsFollowTheSetting()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s });
    publishStock(stock(u"600000.SH"_s, 10, 10, u"100000000"_s, { { u"TotalValueTrade"_s, 1234567890.0 } }));
    QVERIFY(waitForFlush(&model));
    model.setUnits(LxQuoteText::International);
    QCOMPARE(text(model, 0, Model::Amount), u"1.23B"_s);
    QSignalSpy changed(&model, &Model::dataChanged);
    model.setUnits(LxQuoteText::Chinese);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(text(model, 0, Model::Amount), u"12.35亿"_s);
}

void tst_quotetablemodel::nothingTradedShowsNothing()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s });
    publishStock({ { u"Symbol"_s, u"600000.SH"_s },
                   { u"MDDate"_s, day },
                   { u"MDTime"_s, u"091500000"_s },
                   { u"PreClosePx"_s, 10.0 },
                   { u"LastPx"_s, 0.0 },
                   { u"Buy1Price"_s, 0.0 } });
    QVERIFY(waitForFlush(&model));
    for (const Model::Column column : { Model::Last, Model::Change, Model::ChangeRatio, Model::Bid, Model::BidQuantity,
                                        Model::High, Model::Amplitude, Model::Average, Model::PERatio })
        QCOMPARE(text(model, 0, column), u"–"_s);
    QCOMPARE(text(model, 0, Model::PreviousClose), u"10.00"_s);
}

void tst_quotetablemodel::indexAndFutureHaveTheirFigures()
{
    Model model;
    model.setSymbols({ u"000001.SH"_s, u"IF2101.CF"_s });
    const QVariantMap common { { u"MDDate"_s, day }, { u"MDTime"_s, u"100000000"_s }, { u"PreClosePx"_s, 3000.0 } };
    QVariantMap index = common;
    index.insert(u"Symbol"_s, u"000001.SH"_s);
    index.insert(u"LastPx"_s, 3030.0);
    publish(u"MDINDEXRECORD"_s, index);
    QVariantMap future = common;
    future.insert(u"Symbol"_s, u"IF2101.CF"_s);
    future.insert(u"LastPx"_s, 2970.0);
    future.insert(u"Buy1Price"_s, 2969.8);
    future.insert(u"Buy1OrderQty"_s, 7);
    future.insert(u"TotalVolumeTrade"_s, 311.0);
    publish(u"MDFUTURERECORD"_s, future);
    QVERIFY(waitForFlush(&model));
    QCOMPARE(text(model, 0, Model::ChangeRatio), u"+1.00%"_s);
    QCOMPARE(text(model, 0, Model::Bid), u"–"_s);
    QCOMPARE(text(model, 1, Model::ChangeRatio), u"-1.00%"_s);
    QCOMPARE(text(model, 1, Model::Bid), u"2969.80"_s);
    QCOMPARE(text(model, 1, Model::BidQuantity), u"7"_s);
    QCOMPARE(text(model, 1, Model::Volume), u"311"_s);
    QCOMPARE(model.quoteAt(1).kind, LxQuote::Future);
}

void tst_quotetablemodel::rolesCarryNumbersColoursAndAlignment()
{
    Model model;
    const QStringList three = symbols(3);
    model.setSymbols(three);
    Model::Colors colors;
    colors.rising = Qt::red;
    colors.falling = Qt::green;
    model.setColors(colors);
    publishStocks({ stock(three.at(0), 10.5), stock(three.at(1), 9.5), stock(three.at(2), 10) });
    QVERIFY(waitForFlush(&model));
    const auto cell = [&model](int row, Model::Column column, int role) { return model.index(row, column).data(role); };
    QCOMPARE(cell(0, Model::Last, Model::RawRole), QVariant(10.5));
    QCOMPARE(cell(0, Model::Code, Model::RawRole), QVariant(three.at(0)));
    QCOMPARE(cell(1, Model::Last, Model::SymbolRole), QVariant(three.at(1)));
    QCOMPARE(cell(0, Model::Last, Qt::ForegroundRole).value<QColor>(), QColor(Qt::red));
    QCOMPARE(cell(1, Model::ChangeRatio, Qt::ForegroundRole).value<QColor>(), QColor(Qt::green));
    QVERIFY(!cell(2, Model::Last, Qt::ForegroundRole).isValid());
    QVERIFY(!cell(0, Model::Volume, Qt::ForegroundRole).isValid());
    // A bid below the previous close is falling, even if the last price is not.
    QCOMPARE(cell(2, Model::Bid, Model::DirectionRole), QVariant(-1));
    QCOMPARE(cell(0, Model::Last, Model::DirectionRole), QVariant(1));
    QCOMPARE(cell(0, Model::Name, Qt::TextAlignmentRole).toInt(), int(Qt::AlignLeft | Qt::AlignVCenter));
    QCOMPARE(cell(0, Model::Last, Qt::TextAlignmentRole).toInt(), int(Qt::AlignRight | Qt::AlignVCenter));
    QVERIFY(!model.data(QModelIndex(), Qt::DisplayRole).isValid());
}

void tst_quotetablemodel::columnsHaveRoleNamesForQml()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s });
    publishStock(stock(u"600000.SH"_s, 10.5));
    QVERIFY(waitForFlush(&model));
    const QHash<int, QByteArray> names = model.roleNames();
    QCOMPARE(QSet<QByteArray>(names.cbegin(), names.cend()).size(), names.size());
    QCOMPARE(model.index(0, 0).data(names.key("changeRatio")).toString(), u"+5.00%"_s);
    QCOMPARE(model.index(0, 0).data(names.key("name")).toString(), u"浦发银行"_s);
    QCOMPARE(model.index(0, Model::Last).data(names.key("direction")).toInt(), 1);
    QVERIFY(names.key("status") > 0);
}

void tst_quotetablemodel::burstIsShownOnceWithTheLatestQuotes()
{
    Model model;
    const QStringList all = symbols(20);
    model.setSymbols(all);
    QSignalSpy flushed(&model, &Model::flushed);
    QSignalSpy changed(&model, &Model::dataChanged);
    QVector<QVariantMap> rows;
    for (int i = 0; i < 1000; ++i)
        rows.append(stock(all.at(i % all.size()), 10 + i / 1000.0));
    publishStocks(rows); // while no event of this thread is processed
    QCOMPARE(changed.count(), 0);
    QVERIFY(flushed.wait());
    QCOMPARE(flushed.count(), 1);
    QCOMPARE(flushed.constFirst().constFirst().toInt(), all.size());
    for (int i = 0; i < all.size(); ++i)
        QCOMPARE(model.quoteAt(i).last, 10 + (980 + i) / 1000.0);
}

void tst_quotetablemodel::fewRangesAnnounceManyRows()
{
    Model model;
    const QStringList all = symbols(1000);
    model.setSymbols(all);
    const auto announced = [&](int step, int count) {
        QVector<QVariantMap> rows;
        static double price = 10;
        price += 0.01;
        for (int i = 0; i < count; ++i)
            rows.append(stock(all.at(i * step), price));
        publishStocks(rows);
        QSignalSpy changed(&model, &Model::dataChanged);
        QSignalSpy flushed(&model, &Model::flushed);
        QVector<QPair<int, int>> ranges;
        if (flushed.wait()) {
            for (const QList<QVariant> &range : changed) {
                if (range.at(2).value<QVector<int>>().isEmpty()) // changes of the status name their role
                    ranges.append({ range.at(0).toModelIndex().row(), range.at(1).toModelIndex().row() });
            }
        }
        return ranges;
    };
    announced(1, 1000);
    QCOMPARE(announced(1, 500), (QVector<QPair<int, int>> { { 0, 499 } }));
    QCOMPARE(announced(100, 3), (QVector<QPair<int, int>> { { 0, 0 }, { 100, 100 }, { 200, 200 } }));
    QCOMPARE(announced(2, 32).size(), 32);
    QCOMPARE(announced(2, 500), (QVector<QPair<int, int>> { { 0, 998 } }));
}

void tst_quotetablemodel::unchangedQuoteChangesNothingButTheTime()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s });
    publishStock(stock(u"600000.SH"_s, 10.5));
    QVERIFY(waitForFlush(&model));
    QSignalSpy changed(&model, &Model::dataChanged);
    publishStock(stock(u"600000.SH"_s, 10.5, 10, u"100003000"_s));
    QVERIFY(waitForFlush(&model));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.constFirst().at(0).toModelIndex().column(), int(Model::Time));
    QCOMPARE(changed.constFirst().at(1).toModelIndex().column(), int(Model::Time));
}

void tst_quotetablemodel::figuresOfDeepDataUpdateTheRow()
{
    Model model;
    model.setSymbols({ u"601398.SH"_s });
    publishStock(stock(u"601398.SH"_s, 10));
    QVERIFY(waitForFlush(&model));
    QCOMPARE(text(model, 0, Model::TotalMarketValue), u"–"_s);
    answerDeepData(
        { deepRow(u"601398"_s, u"SH"_s, u"TotalShare"_s, 100.0), deepRow(u"601398"_s, u"SH"_s, u"NetAssets"_s, 5.0) });
    QVERIFY(waitForFlush(&model));
    QCOMPARE(model.quoteAt(0).totalMarketValue, 10 * 100.0 * 10000);
    QCOMPARE(text(model, 0, Model::PBRatio), u"2.00"_s);
    publishAnswer(u"MSG_QUERY_P_E_RATIO_RESPONSE"_s, { { u"Symbol"_s, u"601398.SH"_s }, { u"eps"_s, 0.5 } });
    QVERIFY(waitForFlush(&model));
    QCOMPARE(text(model, 0, Model::PERatio), u"20.00"_s);
}

void tst_quotetablemodel::figuresAreRequestedOncePerStock()
{
    Model model;
    model.setSymbols({ u"601988.SH"_s });
    for (int i = 0; i < 3; ++i)
        publishStock(stock(u"601988.SH"_s, 10 + i));
    waitForSender();
    const QVector<LxDouble::Sent> requests = LxDouble::sent(u"181027"_s);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.constFirst().thread, u"LxQuotaModels_Sender"_s);
}

void tst_quotetablemodel::subscriptionsAreSharedAmongModels()
{
    auto first = std::make_unique<Model>();
    auto second = std::make_unique<Model>();
    first->setSymbols({ u"600000.SH"_s, u"600001.SH"_s });
    second->setSymbols({ u"600001.SH"_s, u"600002.SH"_s });
    waitForSender();
    QCOMPARE(subscriptions(), (QStringList { u"+1600000.SH"_s, u"+1600001.SH"_s, u"+1600002.SH"_s }));
    LxDouble::forgetSent();
    first.reset();
    waitForSender();
    QCOMPARE(subscriptions(), QStringList { u"-1600000.SH"_s });
    LxDouble::forgetSent();
    second.reset(); // the last one: the feed ends once everything is sent
    QCOMPARE(subscriptions(), (QStringList { u"-1600001.SH"_s, u"-1600002.SH"_s }));
}

void tst_quotetablemodel::secondModelShowsTheQuoteAtOnce()
{
    Model first;
    first.setSymbols({ u"600000.SH"_s });
    publishStock(stock(u"600000.SH"_s, 10.5));
    Model second;
    second.setSymbols({ u"600000.SH"_s });
    QCOMPARE(text(second, 0, Model::Last), u"10.50"_s);
}

void tst_quotetablemodel::replacedListKeepsCommonSubscriptions()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s, u"600001.SH"_s });
    waitForSender();
    LxDouble::forgetSent();
    model.setSymbols({ u"600001.SH"_s, u"600002.SH"_s });
    waitForSender();
    QCOMPARE(subscriptions(), (QStringList { u"+1600002.SH"_s, u"-1600000.SH"_s }));
}

void tst_quotetablemodel::blockedSubscriptionDoesNotBlockTheCaller()
{
    QSemaphore blocked;
    QSemaphore goOn;
    LxDouble::setRecordHook([&] {
        blocked.release();
        goOn.acquire();
    });
    {
        Model model;
        model.setSymbols(symbols(100));
        blocked.acquire(); // the request is on its way, and stuck
        model.setSymbols(symbols(50));
        publishStock(stock(symbols(1).constFirst(), 10.5));
        QVERIFY(waitForFlush(&model));
        QCOMPARE(text(model, 0, Model::Last), u"10.50"_s);
        LxDouble::setRecordHook(nullptr);
        goOn.release(1000);
    }
    QCOMPARE(LxDouble::sent(u"SubscribeRequest"_s).constFirst().thread, u"LxQuotaModels_Sender"_s);
}

void tst_quotetablemodel::modelsComeAndGoWhileQuotesArrive()
{
    // The library's threads announce quotes throughout.
    std::atomic<bool> stop { false };
    const std::unique_ptr<QThread> market(QThread::create([&stop] {
        const QVector<QVariantMap> burst(50, stock(u"600000.SH"_s, 10));
        while (!stop)
            publishStocks(burst);
    }));
    market->start();
    constexpr int Models = 2000;
    for (int i = 0; i < Models; ++i) {
        Model model;
        model.setSymbols({ u"600000.SH"_s });
    }
    stop = true;
    market->wait();
    Model model;
    model.setSymbols({ u"600000.SH"_s });
    publishStock(stock(u"600000.SH"_s, 10.5));
    QVERIFY(waitForFlush(&model));
    QCOMPARE(text(model, 0, Model::Last), u"10.50"_s);
}

void tst_quotetablemodel::duplicatesAndEmptySymbolsAreIgnored()
{
    Model model;
    model.setSymbols({ u"600000.SH"_s, QString(), u"600000.SH"_s, u"600001.SH"_s });
    QCOMPARE(model.symbols(), (QStringList { u"600000.SH"_s, u"600001.SH"_s }));
    model.insertSymbols(0, { u"600001.SH"_s, u"600002.SH"_s, u"600002.SH"_s, QString() });
    QCOMPARE(model.symbols(), (QStringList { u"600002.SH"_s, u"600000.SH"_s, u"600001.SH"_s }));
    waitForSender();
    QCOMPARE(subscriptions(), (QStringList { u"+1600000.SH"_s, u"+1600001.SH"_s, u"+1600002.SH"_s }));
}

void tst_quotetablemodel::symbolsAreInsertedRemovedAndMoved()
{
    Model model;
    const QStringList all = symbols(5);
    model.setSymbols(all);
    QSignalSpy listChanged(&model, &Model::symbolsChanged);
    model.moveSymbol(0, 3);
    QCOMPARE(shownSymbols(model), (QStringList { all.at(1), all.at(2), all.at(3), all.at(0), all.at(4) }));
    model.moveSymbol(3, 0);
    QCOMPARE(shownSymbols(model), all);
    model.moveSymbol(0, 5);
    QCOMPARE(shownSymbols(model), all);
    model.removeSymbols({ all.at(1), u"unknown"_s });
    QCOMPARE(shownSymbols(model), (QStringList { all.at(0), all.at(2), all.at(3), all.at(4) }));
    model.insertSymbols(1, { all.at(1) });
    QCOMPARE(shownSymbols(model), all);
    model.insertSymbols(99, { u"600099.SH"_s });
    QCOMPARE(model.rowOf(u"600099.SH"_s), 5);
    QCOMPARE(model.rowOf(u"unknown"_s), -1);
    QCOMPARE(listChanged.count(), 5);
}

void tst_quotetablemodel::symbolsAreInsertedIntoSortedRows()
{
    Model model;
    const QStringList all = symbols(4);
    model.setSymbols({ all.at(0), all.at(1), all.at(3) });
    publishStocks({ stock(all.at(0), 13), stock(all.at(1), 12), stock(all.at(3), 10) });
    QVERIFY(waitForFlush(&model));
    model.sort(Model::Last);
    QCOMPARE(shownSymbols(model), (QStringList { all.at(3), all.at(1), all.at(0) }));
    Model other; // from which the new symbol's quote is known
    other.setSymbols({ all.at(2) });
    publishStock(stock(all.at(2), 11));
    model.insertSymbols(0, { all.at(2) });
    QCOMPARE(shownSymbols(model), (QStringList { all.at(3), all.at(2), all.at(1), all.at(0) }));
    model.moveSymbol(0, 2);
    QCOMPARE(model.symbols(), (QStringList { all.at(0), all.at(1), all.at(2), all.at(3) }));
    QCOMPARE(shownSymbols(model), (QStringList { all.at(3), all.at(2), all.at(1), all.at(0) }));
    model.removeSymbols({ all.at(1) });
    QCOMPARE(shownSymbols(model), (QStringList { all.at(3), all.at(2), all.at(0) }));
    model.sort(-1);
    QCOMPARE(shownSymbols(model), (QStringList { all.at(0), all.at(2), all.at(3) }));
}

void tst_quotetablemodel::sortingOrdersRowsAndKeepsMissingOnesLast()
{
    Model model;
    const QStringList all = symbols(4);
    model.setSymbols(all);
    publishStocks({ stock(all.at(0), 11), stock(all.at(2), 12), stock(all.at(3), 9) });
    QVERIFY(waitForFlush(&model));
    model.sort(Model::ChangeRatio, Qt::DescendingOrder);
    QCOMPARE(shownSymbols(model), (QStringList { all.at(2), all.at(0), all.at(3), all.at(1) }));
    QCOMPARE(model.sortColumn(), int(Model::ChangeRatio));
    model.sort(Model::ChangeRatio, Qt::AscendingOrder);
    QCOMPARE(shownSymbols(model), (QStringList { all.at(3), all.at(0), all.at(2), all.at(1) }));
    QCOMPARE(model.symbols(), all);
    QCOMPARE(model.rowOf(all.at(2)), 2);
}

void tst_quotetablemodel::orderFollowsTheValues()
{
    Model model;
    model.setSortInterval(50);
    const QStringList all = symbols(3);
    model.setSymbols(all);
    model.sort(Model::Last, Qt::DescendingOrder);
    QSignalSpy laidOut(&model, &Model::layoutChanged);
    publishStocks({ stock(all.at(0), 11), stock(all.at(1), 12), stock(all.at(2), 13) });
    QTRY_COMPARE(shownSymbols(model), (QStringList { all.at(2), all.at(1), all.at(0) }));
    QCOMPARE(laidOut.count(), 1);
    publishStock(stock(all.at(0), 14));
    QTRY_COMPARE(shownSymbols(model), (QStringList { all.at(0), all.at(2), all.at(1) }));
    QCOMPARE(laidOut.count(), 2);
    // Values that change without changing the order leave the layout alone.
    publishStock(stock(all.at(0), 15));
    QVERIFY(waitForFlush(&model));
    QTest::qWait(2 * model.sortInterval());
    QCOMPARE(laidOut.count(), 2);
}

void tst_quotetablemodel::orderKeepsPersistentIndexes()
{
    Model model;
    const QStringList all = symbols(3);
    model.setSymbols(all);
    publishStocks({ stock(all.at(0), 11), stock(all.at(1), 13), stock(all.at(2), 12) });
    QVERIFY(waitForFlush(&model));
    const QPersistentModelIndex index = model.index(0, Model::Bid);
    model.sort(Model::Last, Qt::DescendingOrder);
    QCOMPARE(index.row(), 2);
    QCOMPARE(index.column(), int(Model::Bid));
    QCOMPARE(model.symbolAt(index.row()), all.at(0));
}

void tst_quotetablemodel::sortingByTextAndBack()
{
    Model model;
    model.setSymbols({ u"600002.SH"_s, u"600000.SH"_s, u"600001.SH"_s });
    model.sort(Model::Code);
    QCOMPARE(shownSymbols(model), (QStringList { u"600000.SH"_s, u"600001.SH"_s, u"600002.SH"_s }));
    model.sort(-1);
    QCOMPARE(shownSymbols(model), (QStringList { u"600002.SH"_s, u"600000.SH"_s, u"600001.SH"_s }));
}

void tst_quotetablemodel::statusIsLiveStaleOrWithoutService()
{
    Model model;
    const QStringList two = symbols(2);
    model.setSymbols(two);
    QSignalSpy changed(&model, &Model::statusChanged);
    const auto rowStatus = [&](int row) { return model.index(row, 0).data(Model::StatusRole).value<Model::Status>(); };
    QCOMPARE(model.status(), Model::NoService);
    publishStock(stock(two.at(0), 10, 10, u"093000000"_s));
    QTRY_COMPARE(model.status(), Model::Live);
    QCOMPARE(rowStatus(0), Model::Live);
    QCOMPARE(rowStatus(1), Model::NoService);
    publishStock(stock(two.at(1), 10, 10, u"093101000"_s)); // 61 seconds later
    QTRY_COMPARE(rowStatus(1), Model::Live);
    QTRY_COMPARE(rowStatus(0), Model::Stale);
    QCOMPARE(model.status(), Model::Live);
    model.setStaleAfter(120);
    QCOMPARE(rowStatus(0), Model::Live);
    model.setServiceAvailable(false);
    QCOMPARE(model.status(), Model::NoService);
    QCOMPARE(rowStatus(1), Model::NoService);
    model.setServiceAvailable(true);
    QCOMPARE(model.status(), Model::Live);
    QCOMPARE(changed.count(), 3);
    model.setSymbols({});
    QCOMPARE(model.status(), Model::NoService);
}

void tst_quotetablemodel::middayBreakDoesNotMakeStale()
{
    Model model;
    const QStringList two = symbols(2);
    model.setSymbols(two);
    publishStocks({ stock(two.at(0), 10, 10, u"112959000"_s), stock(two.at(1), 10, 10, u"130058000"_s) });
    QTRY_COMPARE(model.status(), Model::Live);
    QCOMPARE(model.index(0, 0).data(Model::StatusRole).value<Model::Status>(), Model::Live);
}

QTEST_GUILESS_MAIN(tst_quotetablemodel)

#include "tst_quotetablemodel.moc"
