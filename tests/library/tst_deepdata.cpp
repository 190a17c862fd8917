#include "support.h"

#include "lxquerydeephqthread_p.h"
#include "lxquotahandlerobject_p.h"

#include <lxdefine/lxfields.h>
#include <lxdouble/threads.h>

#include <QPointer>

namespace {

const QString requestType = u"181027"_s;
const QStringList deepFields { u"TotalShare"_s, u"ListedShare"_s, u"NetAssets"_s };

QStringList symbolsFrom(int first, int count)
{
    QStringList symbols;
    for (int i = 0; i < count; ++i)
        symbols.append(u"%1.SH"_s.arg(first + i));
    return symbols;
}

// The symbols of a request's first field, put together again.
QStringList symbolsOf(const LxDouble::Sent &sent)
{
    QStringList symbols;
    for (int i = 1; i <= (sent.body.rows.size() - 1) / 3; ++i) {
        const QVariantMap row = sent.body.row(i);
        symbols.append(row.value(Orca_Fields::Security::securityID).toString() + u'.'
                       + row.value(Orca_Fields::UserAccount::SymbolPost).toString());
    }
    return symbols;
}

QVector<int> requestSizes()
{
    QVector<int> sizes;
    for (const LxDouble::Sent &sent : LxDouble::sent(requestType))
        sizes.append(symbolsOf(sent).size());
    return sizes;
}

LxPresenterClass *presenter()
{
    return LxDouble::presenters().constFirst().object;
}

// Waits until the handler has deleted every thread that has signalled its end.
void settleThreads()
{
    onWorker([] {});
}

} // namespace

class tst_deepdata : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QThread::currentThread()->setObjectName(u"main"_s);
        startHandler();
    }
    void init() { LxDouble::forgetSent(); }
    void cleanup() { LxDouble::setAsyncResult(0); }

    void requestHasAHeadAndARowForEachFieldAndSymbol();
    void symbolsWithoutExactlyOnePointMakeNoRow_data();
    void symbolsWithoutExactlyOnePointMakeNoRow();
    void skippedSymbolsAreNotCounted();
    void requestOfNoSymbolsHasAHeadOnly();
    void resultOfARequestIsIgnored();
    void withoutPresenterARequestIsDropped();

    void cachedRecordsAreReturnedAndTheRestRequested();
    void cachedSymbolIsNeverRequested();
    void resultIsAppended();
    void returnedRecordsAreCopies();
    void flagMakesNoDifference();
    void queryOfNoSymbolsSendsNothing();
    void queryBatches_data();
    void queryBatches();

    void workerBatches_data();
    void workerBatches();
    void workerRequestsKnownSymbolsToo();
    void workerPausesBetweenFullBatches();
    void workerSendsFromItsOwnThread();
    void workersMayRunAtOnce();
    void workerFinishesOnceAfterItsLastRequest();
    void workerIsDeletedByTheHandler();
    void workerWithoutPresenterSendsAndTellsNothing();
    void finishSlotTakesNoThread();
    void finishSlotEndsAnyThread();
    void threadIsListedAndStartedInOneStep();
};

void tst_deepdata::requestHasAHeadAndARowForEachFieldAndSymbol()
{
    LxDouble::setSecurity(u"670000.SH"_s, u"stock type"_s, QString());
    LxDouble::setSecurity(u"670001.SZ"_s, u"fund type"_s, QString());
    handler().QueryStockDeepDataFromBackendServiceImpl({ u"670000.SH"_s, u"670001.SZ"_s });
    const QVector<LxDouble::Sent> all = LxDouble::sent();
    QCOMPARE(all.size(), 1);
    const LxDouble::Sent sent = all.at(0);
    QCOMPARE(sent.call, LxDouble::Sent::AsyncRequest);
    QCOMPARE(sent.type, requestType);
    QCOMPARE(sent.sourceId, LxDouble::presenters().constFirst().pid);
    QCOMPARE(sent.thread, u"main"_s);
    QCOMPARE(sent.body.rows.size(), 7);
    QCOMPARE(sent.body.addRowCalls, 6);
    QCOMPARE(sent.body.keys.at(0), (QStringList { Orca_Fields::System::msgType, Orca_Fields::System::subGroupNumber }));
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::msgType), QVariant(requestType));
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::subGroupNumber), QVariant(u"6"_s));
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::subGroupNumber).userType(), int(QMetaType::QString));
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(sent.body.keys.at(i + 1),
                 (QStringList { Orca_Fields::MDCFieldDefine::mdcSecurityType, Orca_Fields::Security::securityID,
                                u"36046"_s, Orca_Fields::UserAccount::SymbolPost }));
        const QVariantMap row = sent.body.row(i + 1);
        const bool first = i % 2 == 0;
        QCOMPARE(row.value(Orca_Fields::MDCFieldDefine::mdcSecurityType),
                 QVariant(first ? u"stock type"_s : u"fund type"_s));
        QCOMPARE(row.value(Orca_Fields::Security::securityID), QVariant(first ? u"670000"_s : u"670001"_s));
        QCOMPARE(row.value(u"36046"_s), QVariant(deepFields.at(i / 2)));
        QCOMPARE(row.value(Orca_Fields::UserAccount::SymbolPost), QVariant(first ? u"SH"_s : u"SZ"_s));
    }
}

void tst_deepdata::symbolsWithoutExactlyOnePointMakeNoRow_data()
{
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<bool>("isSent");
    QTest::newRow("a bare code") << u"600000"_s << false;
    QTest::newRow("two points") << u"600000.SH.X"_s << false;
    QTest::newRow("two points in a row") << u"600000..SH"_s << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("no suffix") << u"600000."_s << true;
    QTest::newRow("no code") << u".SH"_s << true;
    QTest::newRow("a point alone") << u"."_s << true;
    QTest::newRow("one point") << u"600000.SH"_s << true;
}

void tst_deepdata::symbolsWithoutExactlyOnePointMakeNoRow()
{
    QFETCH(QString, symbol);
    QFETCH(bool, isSent);
    handler().QueryStockDeepDataFromBackendServiceImpl({ symbol });
    const LxDouble::Sent sent = LxDouble::sent(requestType).value(0);
    QCOMPARE(sent.body.rows.size(), isSent ? 4 : 1);
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::subGroupNumber).toString(), isSent ? u"3"_s : u"0"_s);
    if (isSent)
        QCOMPARE(symbolsOf(sent), QStringList { symbol });
}

void tst_deepdata::skippedSymbolsAreNotCounted()
{
    handler().QueryStockDeepDataFromBackendServiceImpl({ u"a"_s, u"b.c"_s, u"d.e.f"_s, u"g.h"_s });
    const LxDouble::Sent sent = LxDouble::sent(requestType).value(0);
    QCOMPARE(symbolsOf(sent), (QStringList { u"b.c"_s, u"g.h"_s }));
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::subGroupNumber).toString(), u"6"_s);
}

void tst_deepdata::requestOfNoSymbolsHasAHeadOnly()
{
    handler().QueryStockDeepDataFromBackendServiceImpl({});
    const LxDouble::Sent sent = LxDouble::sent(requestType).value(0);
    QCOMPARE(sent.body.rows.size(), 1);
    QCOMPARE(sent.body.row(0).value(Orca_Fields::System::subGroupNumber), QVariant(u"0"_s));
}

void tst_deepdata::resultOfARequestIsIgnored()
{
    LxDouble::setAsyncResult(-1);
    LogCapture log;
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData(symbolsFrom(671000, 150), out, false);
    QCOMPARE(requestSizes(), (QVector<int> { 100, 50 }));
    QVERIFY(log.lines().isEmpty());
}

void tst_deepdata::withoutPresenterARequestIsDropped()
{
    LxPresenterClass *const object = presenter();
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    {
        LogCapture log;
        handler().QueryStockDeepDataFromBackendServiceImpl({ u"670002.SH"_s });
        QVERIFY(log.lines().isEmpty());
    }
    LxPresenterClassMgr::instance()->setPresenterClass(object);
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxDouble::liveMessages(), 1);
    LxDouble::deleteLiveMessages();
}

void tst_deepdata::cachedRecordsAreReturnedAndTheRestRequested()
{
    answerDeepData(
        { deepRow(u"670003"_s, u"SH"_s, u"TotalShare"_s, 3), deepRow(u"670004"_s, u"SH"_s, u"NetAssets"_s, 4) });
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData({ u"670004.SH"_s, u"670005.SH"_s, u"670003.SH"_s, u"670006.SH"_s, u"670004.SH"_s },
                                 out, false);
    QCOMPARE(out.size(), 3);
    QCOMPARE(out.at(0).Symbol, u"670004.SH"_s);
    QCOMPARE(out.at(0).NetAssets, 4.0);
    QCOMPARE(out.at(1).Symbol, u"670003.SH"_s);
    QCOMPARE(out.at(1).TotalShare, 30000.0);
    QCOMPARE(out.at(2).Symbol, u"670004.SH"_s);
    QCOMPARE(LxDouble::sent().size(), 1);
    QCOMPARE(symbolsOf(LxDouble::sent().at(0)), (QStringList { u"670005.SH"_s, u"670006.SH"_s }));
}

void tst_deepdata::cachedSymbolIsNeverRequested()
{
    answerDeepData({ deepRow(u"670007"_s, u"SH"_s, u"TotalShare"_s, 3) });
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData({ u"670007.SH"_s }, out, false);
    QCOMPARE(out.size(), 1);
    QVERIFY(LxDouble::sent().isEmpty());
    // Symbols are compared exactly.
    handler().QueryStockDeepData({ u"670007.sh"_s }, out, false);
    QCOMPARE(out.size(), 1);
    QCOMPARE(LxDouble::sent().size(), 1);
}

void tst_deepdata::resultIsAppended()
{
    answerDeepData({ deepRow(u"670008"_s, u"SH"_s, u"TotalShare"_s, 3) });
    LxStockDeepData before;
    before.Symbol = u"before"_s;
    QList<LxStockDeepData> out { before };
    handler().QueryStockDeepData({ u"670008.SH"_s }, out, false);
    QCOMPARE(out.size(), 2);
    QCOMPARE(out.at(0).Symbol, u"before"_s);
}

void tst_deepdata::returnedRecordsAreCopies()
{
    answerDeepData({ deepRow(u"670009"_s, u"SH"_s, u"TotalShare"_s, 3) });
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData({ u"670009.SH"_s }, out, false);
    out[0].TotalShare = 1.0;
    QCOMPARE(knownDeepData(u"670009.SH"_s).TotalShare, 30000.0);
}

void tst_deepdata::flagMakesNoDifference()
{
    for (const bool flag : { false, true }) {
        LxDouble::forgetSent();
        QList<LxStockDeepData> out;
        handler().QueryStockDeepData({ u"670010.SH"_s, u"670009.SH"_s }, out, flag);
        QCOMPARE(out.size(), 1);
        QCOMPARE(requestSizes(), QVector<int> { 1 });
    }
}

void tst_deepdata::queryOfNoSymbolsSendsNothing()
{
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData({}, out, false);
    QVERIFY(out.isEmpty());
    QVERIFY(LxDouble::sent().isEmpty());
}

void tst_deepdata::queryBatches_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("sizes");
    QTest::newRow("99") << 99 << QVector<int> { 99 };
    QTest::newRow("100") << 100 << QVector<int> { 100 };
    QTest::newRow("101") << 101 << QVector<int> { 100, 1 };
    QTest::newRow("200") << 200 << QVector<int> { 100, 100 };
    QTest::newRow("250") << 250 << QVector<int> { 100, 100, 50 };
}

void tst_deepdata::queryBatches()
{
    QFETCH(int, count);
    const QStringList symbols = symbolsFrom(672000, count);
    QList<LxStockDeepData> out;
    handler().QueryStockDeepData(symbols, out, false);
    QTEST(requestSizes(), "sizes");
    QStringList requested;
    for (const LxDouble::Sent &sent : LxDouble::sent()) {
        requested += symbolsOf(sent);
        QCOMPARE(sent.thread, u"main"_s);
    }
    QCOMPARE(requested, symbols);
}

void tst_deepdata::workerBatches_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("sizes");
    QTest::newRow("none") << 0 << QVector<int> { 0 };
    QTest::newRow("1") << 1 << QVector<int> { 1 };
    QTest::newRow("100") << 100 << QVector<int> { 100, 0 };
    QTest::newRow("200") << 200 << QVector<int> { 100, 100, 0 };
    QTest::newRow("250") << 250 << QVector<int> { 100, 100, 50 };
}

void tst_deepdata::workerBatches()
{
    QFETCH(int, count);
    QFETCH(QVector<int>, sizes);
    const QStringList symbols = symbolsFrom(673000, count);
    handler().QueryStockDeepDataFromBackendService(presenter(), symbols);
    QVERIFY(LxDouble::waitForSent(requestType, sizes.size()));
    settleThreads();
    QCOMPARE(requestSizes(), sizes);
    QStringList requested;
    for (const LxDouble::Sent &sent : LxDouble::sent())
        requested += symbolsOf(sent);
    QCOMPARE(requested, symbols);
    if (sizes.constLast() == 0) {
        const LxDouble::Sent last = LxDouble::sent().constLast();
        QCOMPARE(last.body.rows.size(), 1);
        QCOMPARE(last.body.row(0).value(Orca_Fields::System::subGroupNumber), QVariant(u"0"_s));
    }
}

void tst_deepdata::workerRequestsKnownSymbolsToo()
{
    answerDeepData({ deepRow(u"670011"_s, u"SH"_s, u"TotalShare"_s, 3) });
    handler().QueryStockDeepDataFromBackendService(presenter(), { u"670011.SH"_s });
    QVERIFY(LxDouble::waitForSent(requestType, 1));
    QCOMPARE(symbolsOf(LxDouble::sent().at(0)), QStringList { u"670011.SH"_s });
}

void tst_deepdata::workerPausesBetweenFullBatches()
{
    handler().QueryStockDeepDataFromBackendService(presenter(), symbolsFrom(674000, 250));
    QVERIFY(LxDouble::waitForSent(requestType, 3));
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QVERIFY(sent.at(1).nsecs - sent.at(0).nsecs >= 10 * 1000000LL);
    QVERIFY(sent.at(2).nsecs - sent.at(1).nsecs >= 10 * 1000000LL);
}

void tst_deepdata::workerSendsFromItsOwnThread()
{
    handler().QueryStockDeepDataFromBackendService(presenter(), { u"670012.SH"_s });
    QVERIFY(LxDouble::waitForSent(requestType, 1));
    QCOMPARE(LxDouble::sent().at(0).thread, u"LxQueryDeepHQ_Thread"_s);
}

void tst_deepdata::workersMayRunAtOnce()
{
    for (int i = 0; i < 8; ++i)
        handler().QueryStockDeepDataFromBackendService(presenter(), symbolsFrom(675000 + 1000 * i, 120));
    QVERIFY(LxDouble::waitForSent(requestType, 16));
    QMap<int, int> sizes;
    for (int size : requestSizes())
        ++sizes[size];
    QCOMPARE(sizes, (QMap<int, int> { { 100, 8 }, { 20, 8 } }));
}

void tst_deepdata::workerFinishesOnceAfterItsLastRequest()
{
    LxQueryDeepHQThread thread(presenter());
    thread.setSymbols(symbolsFrom(676000, 150));
    int finished = 0;
    int sentBefore = 0;
    QThread *signalled = nullptr;
    // Called on the thread itself.
    QObject::connect(
        &thread, &LxQueryDeepHQThread::sigThreadRunFinish, &thread,
        [&](QThread *which) {
            ++finished;
            signalled = which;
            sentBefore = LxDouble::sent(requestType).size();
        },
        Qt::DirectConnection);
    thread.start();
    QVERIFY(thread.wait(20000));
    QCOMPARE(finished, 1);
    QCOMPARE(signalled, static_cast<QThread *>(&thread));
    QCOMPARE(sentBefore, 2);
}

void tst_deepdata::workerIsDeletedByTheHandler()
{
    auto *const thread = new LxQueryDeepHQThread(presenter());
    thread->setSymbols({ u"670013.SH"_s });
    QSemaphore deleted;
    QThread *deletedOn = nullptr;
    QObject::connect(thread, &QObject::destroyed, [&] {
        deletedOn = QThread::currentThread();
        deleted.release();
    });
    QObject::connect(thread, &LxQueryDeepHQThread::sigThreadRunFinish, &handler(),
                     &LxQuotaHandler::slotDeepQuotaQueryThreadFinish);
    thread->start();
    QVERIFY(deleted.tryAcquire(1, 20000));
    QCOMPARE(deletedOn, handler().thread());
    QCOMPARE(LxDouble::sent(requestType).size(), 1);
}

void tst_deepdata::workerWithoutPresenterSendsAndTellsNothing()
{
    LxQueryDeepHQThread thread(nullptr);
    thread.setSymbols({ u"670014.SH"_s });
    int finished = 0;
    QObject::connect(
        &thread, &LxQueryDeepHQThread::sigThreadRunFinish, &thread, [&] { ++finished; }, Qt::DirectConnection);
    thread.start();
    QVERIFY(thread.wait(20000));
    QCOMPARE(finished, 0);
    QVERIFY(LxDouble::sent().isEmpty());
    // By the handler's own method: nothing is sent either, however many requests follow.
    handler().QueryStockDeepDataFromBackendService(nullptr, { u"670015.SH"_s });
    handler().QueryStockDeepDataFromBackendService(presenter(), { u"670016.SH"_s });
    QVERIFY(LxDouble::waitForSent(requestType, 1));
    settleThreads();
    QCOMPARE(LxDouble::sent().size(), 1);
    QCOMPARE(symbolsOf(LxDouble::sent().at(0)), QStringList { u"670016.SH"_s });
}

void tst_deepdata::finishSlotTakesNoThread()
{
    onWorker([] { handler().slotDeepQuotaQueryThreadFinish(nullptr); });
    QVERIFY(LxDouble::sent().isEmpty());
}

void tst_deepdata::finishSlotEndsAnyThread()
{
    auto *const thread = new QThread; // with an event loop, until quit() is called
    const QPointer<QThread> watched(thread);
    thread->start();
    QSemaphore running;
    QObject inThread;
    inThread.moveToThread(thread);
    QMetaObject::invokeMethod(&inThread, [&] { running.release(); });
    running.acquire();
    onWorker([&] {
        handler().slotDeepQuotaQueryThreadFinish(thread);
        QVERIFY(watched.isNull()); // at once, not later
    });
    QVERIFY(watched.isNull());
}

// The exit joins the listed threads. It must wait while a thread is listed but not started yet.
void tst_deepdata::threadIsListedAndStartedInOneStep()
{
    std::optional<BackgroundCall> list; // an access to the list from another thread
    bool waits = false;
    LxDouble::setThreadConnectHook([&] {
        list.emplace([] { handler().slotDeepQuotaQueryThreadFinish(new QThread); });
        waits = list->isBlocked();
    });
    handler().QueryStockDeepDataFromBackendService(presenter(), { u"670000.SH"_s });
    LxDouble::setThreadConnectHook(nullptr);
    QVERIFY(waits);
    QVERIFY(LxDouble::waitForSent(requestType, 1));
    settleThreads();
}

QTEST_GUILESS_MAIN(tst_deepdata)
#include "tst_deepdata.moc"
