#include "support.h"

#include "lxquotahandlerobject_p.h"

#include <lxdefine/lxfields.h>

namespace {

using Subscription = void (LxQuotaHandler::*)(QStringList &, bool);

struct Case
{
    const char *name;
    Subscription call;
    int recordKind;
};

const Case cases[] { { "quotes", &LxQuotaHandler::SubscribeQuote, 1 },
                     { "transactions", &LxQuotaHandler::SubscribeRecordTransaction, 2 },
                     { "orders", &LxQuotaHandler::SubscribeRecordOrder, 3 } };

LxDouble::Sent subscribe(Subscription call, QStringList symbols, bool on = true)
{
    LxDouble::forgetSent();
    (handler().*call)(symbols, on);
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    return sent.size() == 1 ? sent.constFirst() : LxDouble::Sent();
}

} // namespace

class tst_subscriptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QThread::currentThread()->setObjectName(u"main"_s);
        startHandler();
    }
    void init() { LxDouble::forgetSent(); }

    void requestHasARowForEachSymbol_data();
    void requestHasARowForEachSymbol();
    void unsubscriptionHasActionTwo_data() { requestHasARowForEachSymbol_data(); }
    void unsubscriptionHasActionTwo();
    void oneSymbolOpensNoFurtherRow_data() { requestHasARowForEachSymbol_data(); }
    void oneSymbolOpensNoFurtherRow();
    void emptyListSendsAnEmptyBody_data() { requestHasARowForEachSymbol_data(); }
    void emptyListSendsAnEmptyBody();
    void duplicateSymbolsGiveDuplicateRows();
    void symbolsAreSentAsGiven();
    void listIsOnlyRead();
    void nothingIsRemembered();
    void requestIsPutFromTheCallersThread();
    void subscriptionsAreLogged_data();
    void subscriptionsAreLogged();
    void withoutPresenterTheRequestIsDropped();

    void rankingGoesToTheBusinessData_data();
    void rankingGoesToTheBusinessData();
    void rankingOfAnEmptyListIsHandedOver();
    void rankingIsLogged();
    void rankingWithoutPresenterIsRefused();
};

void tst_subscriptions::requestHasARowForEachSymbol_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < 3; ++i)
        QTest::newRow(cases[i].name) << i;
}

void tst_subscriptions::requestHasARowForEachSymbol()
{
    QFETCH(int, index);
    const QStringList symbols { u"600000.SH"_s, u"000001.SZ"_s, u"430001.BJ"_s };
    const LxDouble::Sent sent = subscribe(cases[index].call, symbols);
    QCOMPARE(sent.call, LxDouble::Sent::Put);
    QCOMPARE(sent.type, u"SubscribeRequest"_s);
    QCOMPARE(sent.body.rows.size(), 3);
    QCOMPARE(sent.body.addRowCalls, 2);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(sent.body.keys.at(i),
                 (QStringList { u"SubscribeType"_s, u"MDRecordTypes"_s, u"ActionType"_s, u"Symbol"_s,
                                Orca_Fields::System::msgType }));
        const QVariantMap row = sent.body.row(i);
        QCOMPARE(row.value(u"SubscribeType"_s), QVariant(2));
        QCOMPARE(row.value(u"MDRecordTypes"_s), QVariant(cases[index].recordKind));
        QCOMPARE(row.value(u"ActionType"_s), QVariant(1));
        QCOMPARE(row.value(u"Symbol"_s), QVariant(symbols.at(i)));
        QCOMPARE(row.value(Orca_Fields::System::msgType), QVariant(u"SubscribeRequest"_s));
        for (const QString &key : { u"SubscribeType"_s, u"MDRecordTypes"_s, u"ActionType"_s })
            QCOMPARE(row.value(key).userType(), int(QMetaType::Int));
    }
}

void tst_subscriptions::unsubscriptionHasActionTwo()
{
    QFETCH(int, index);
    const LxDouble::Sent sent = subscribe(cases[index].call, { u"600000.SH"_s }, false);
    QCOMPARE(sent.body.row(0).value(u"ActionType"_s), QVariant(2));
    QCOMPARE(sent.body.row(0).value(u"SubscribeType"_s), QVariant(2));
    QCOMPARE(sent.body.row(0).value(u"MDRecordTypes"_s), QVariant(cases[index].recordKind));
}

void tst_subscriptions::oneSymbolOpensNoFurtherRow()
{
    QFETCH(int, index);
    const LxDouble::Sent sent = subscribe(cases[index].call, { u"600000.SH"_s });
    QCOMPARE(sent.body.rows.size(), 1);
    QCOMPARE(sent.body.addRowCalls, 0);
}

void tst_subscriptions::emptyListSendsAnEmptyBody()
{
    QFETCH(int, index);
    const LxDouble::Sent sent = subscribe(cases[index].call, {});
    QCOMPARE(sent.type, u"SubscribeRequest"_s);
    QCOMPARE(sent.body.rows.size(), 0);
    QCOMPARE(sent.body.addRowCalls, 0);
}

void tst_subscriptions::duplicateSymbolsGiveDuplicateRows()
{
    const LxDouble::Sent sent =
        subscribe(&LxQuotaHandler::SubscribeQuote, { u"600000.SH"_s, u"600000.SH"_s, u"600000.SH"_s });
    QCOMPARE(sent.body.rows.size(), 3);
    QCOMPARE(sent.body.rows.at(0), sent.body.rows.at(1));
    QCOMPARE(sent.body.rows.at(0), sent.body.rows.at(2));
}

void tst_subscriptions::symbolsAreSentAsGiven()
{
    const QStringList symbols { u"sh600000"_s, QString(), u" 600000.sh "_s, u"浦发"_s };
    const LxDouble::Sent sent = subscribe(&LxQuotaHandler::SubscribeQuote, symbols);
    for (int i = 0; i < symbols.size(); ++i)
        QCOMPARE(sent.body.row(i).value(u"Symbol"_s).toString(), symbols.at(i));
}

void tst_subscriptions::listIsOnlyRead()
{
    const QStringList symbols { u"600000.SH"_s, u"600000.SH"_s };
    for (const Case &one : cases) {
        QStringList list = symbols;
        (handler().*one.call)(list, true);
        QCOMPARE(list, symbols);
    }
}

void tst_subscriptions::nothingIsRemembered()
{
    QStringList symbols { u"600000.SH"_s };
    handler().SubscribeQuote(symbols, false); // never subscribed
    handler().SubscribeQuote(symbols, true);
    handler().SubscribeQuote(symbols, true);
    QCOMPARE(LxDouble::sent(u"SubscribeRequest"_s).size(), 3);
}

void tst_subscriptions::requestIsPutFromTheCallersThread()
{
    const LxDouble::Sent sent = subscribe(&LxQuotaHandler::SubscribeQuote, { u"600000.SH"_s });
    const LxDouble::Presenter presenter = LxDouble::presenters().constFirst();
    QCOMPARE(sent.thread, u"main"_s);
    QCOMPARE(sent.pid, presenter.pid);
    QCOMPARE(sent.sourceId, presenter.pid);
    QVERIFY(presenter.pid != presenter.name);
}

void tst_subscriptions::subscriptionsAreLogged_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("quotes") << 0 << QStringList { u"订阅证券: (\"600000.SH\", \"000001.SZ\")"_s };
    QTest::newRow("transactions") << 1 << QStringList { u"订阅逐笔成交 (\"600000.SH\", \"000001.SZ\")"_s };
    QTest::newRow("orders: nothing") << 2 << QStringList();
}

void tst_subscriptions::subscriptionsAreLogged()
{
    QFETCH(int, index);
    QFETCH(QStringList, texts);
    QStringList symbols { u"600000.SH"_s, u"000001.SZ"_s };
    const Subscription call = cases[index].call;
    LogCapture log;
    (handler().*call)(symbols, true);
    QStringList logged;
    for (const LogLine &line : log.lines()) {
        logged.append(line.text);
        QCOMPARE(line.type, QtDebugMsg);
        QCOMPARE(line.file, u"lxquotahandler"_s);
        QVERIFY(line.function.contains(u"LxQuotaHandler::Subscribe"_s));
    }
    QCOMPARE(logged, texts);
}

void tst_subscriptions::withoutPresenterTheRequestIsDropped()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    manager->setPresenterClass(nullptr);
    QStringList symbols { u"600000.SH"_s };
    {
        LogCapture log;
        handler().SubscribeRecordOrder(symbols, true);
        QVERIFY(log.lines().isEmpty());
    }
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxDouble::liveMessages(), 1); // leaked
    LxDouble::deleteLiveMessages();
    manager->setPresenterClass(presenter);
    handler().SubscribeQuote(symbols, true);
    QCOMPARE(LxDouble::sent().size(), 1);
    QCOMPARE(LxDouble::liveMessages(), 0);
}

void tst_subscriptions::rankingGoesToTheBusinessData_data()
{
    QTest::addColumn<bool>("on");
    QTest::addColumn<int>("kind");
    QTest::newRow("subscribe") << true << 7;
    QTest::newRow("unsubscribe") << false << 7;
    QTest::newRow("any kind") << true << -12345;
}

void tst_subscriptions::rankingGoesToTheBusinessData()
{
    QFETCH(bool, on);
    QFETCH(int, kind);
    const QStringList symbols { u"600000.SH"_s, u"000001.SZ"_s };
    QCOMPARE(handler().SubscribeRankingData(symbols, kind, on), 0);
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.at(0).call, on ? LxDouble::Sent::RankingSubscribe : LxDouble::Sent::RankingUnsubscribe);
    QCOMPARE(sent.at(0).presenter, LxDouble::presenters().constFirst().object);
    QCOMPARE(sent.at(0).symbols.userType(), int(QMetaType::QStringList));
    QCOMPARE(sent.at(0).symbols.toStringList(), symbols);
    QCOMPARE(sent.at(0).kind, kind);
    QCOMPARE(sent.at(0).mode, 2);
    QCOMPARE(sent.at(0).thread, u"main"_s);
}

void tst_subscriptions::rankingOfAnEmptyListIsHandedOver()
{
    QCOMPARE(handler().SubscribeRankingData({}, 1, true), 0);
    QCOMPARE(LxDouble::sent().size(), 1);
    QCOMPARE(LxDouble::sent().at(0).symbols, QVariant(QStringList()));
}

void tst_subscriptions::rankingIsLogged()
{
    LogCapture log;
    handler().SubscribeRankingData({ u"600000.SH"_s }, 7, true);
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().at(0).text, u"SubscribeRankingData (\"600000.SH\") 7"_s);
    QCOMPARE(log.lines().at(0).type, QtDebugMsg);
    QCOMPARE(log.lines().at(0).file, u"lxquotahandler"_s);
}

void tst_subscriptions::rankingWithoutPresenterIsRefused()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    manager->setPresenterClass(nullptr);
    QCOMPARE(handler().SubscribeRankingData({ u"600000.SH"_s }, 7, true), -3);
    QCOMPARE(handler().SubscribeRankingData({ u"600000.SH"_s }, 7, false), -3);
    QVERIFY(LxDouble::sent().isEmpty());
    // The lock is free again: it can be taken for writing.
    QVERIFY(returnsOnAnotherThread([&] { manager->setPresenterClass(presenter); }));
    QCOMPARE(handler().SubscribeRankingData({ u"600000.SH"_s }, 7, true), 0);
    QVERIFY(returnsOnAnotherThread([&] { manager->setPresenterClass(presenter); }));
}

QTEST_GUILESS_MAIN(tst_subscriptions)
#include "tst_subscriptions.moc"
