#include "support.h"

#include "lxasyncindicatorqryobj_p.h"
#include "lxquotahandlerobject_p.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>

#include <QPointer>
#include <QProcess>
#include <QRegularExpression>

#include <cstring>

namespace {

const QString defaultInstanceId = u"LXApp.LxQuotaHandlerObject"_s;

const QStringList topics {
    u"MDMARKETRECORD"_s,
    u"MDFUTURERECORD"_s,
    u"MDINDEXRECORD"_s,
    u"MDOPTIONRECORD"_s,
    u"MDTRANSACTIONRECORD"_s,
    u"MDORDERRECORD"_s,
    u"TickResponse"_s,
    u"TickFutureResponse"_s,
    u"KLineResponse"_s,
    u"181028"_s,
    u"ADINDICATORSRANKINGRECORD"_s,
    u"ADUPSDOWNSANALYSISRECORD"_s,
    u"MSG_QUERY_P_E_RATIO_RESPONSE"_s,
    u"MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"_s,
    u"MSG_QUERY_UP_N_DAY_RESPONSE"_s,
};

LxDouble::Presenter libraryPresenter()
{
    return LxDouble::presenters().value(0);
}

// A plug-in object whose presenter replaces that of the library until the object is destroyed.
class OtherPlugin : public LxQuotaHandlerObject
{
public:
    ~OtherPlugin() override { LxPresenterClassMgr::instance()->setPresenterClass(libraryPresenter().object); }
};

} // namespace

// The library starts once per process: startUp() observes it, and the functions after it examine the results.
class tst_lifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QThread::currentThread()->setObjectName(u"main"_s); }
    void init() { LxDouble::forgetSent(); }

    void loadingTheLibraryInitialisesNothing();
    void startUp();
    void presenterIsTheLibrarysOwn();
    void emptyInstanceIdIsReplacedByTheWidgetSetter();
    void secondInitialisationOnlyLogs_data();
    void secondInitialisationOnlyLogs();
    void handlerLivesOnItsWorker();
    void indicatorWorkerLivesOnItsOwnThread();

    void givenInstanceIdIsKept();
    void slotInitRunsOnTheCallingThread_data();
    void slotInitRunsOnTheCallingThread();
    void destroyedPluginObjectLeavesNoPresenter_data();
    void destroyedPluginObjectLeavesNoPresenter();
    void anotherHandlerLeavesTheSharedPartsAlone();

    void initWithoutPresenterWarns();
    void withoutPresenterNothingIsSent();
    void noMessageIsSentAsNothing();
    void sourceIdIsThePresentersId();
    void resultsOfThePresenterAreReturned();
    void lockedManagerKeepsItsPresenter();
    void presenterStaysWhileItSends_data();
    void presenterStaysWhileItSends();
    void subscriptionCallbackLeavesTheBaseClassOut();
    void virtualsStandInOrder();

    void processEnds_data();
    void processEnds();
    void processEndWaitsForTheSlotUnderWay();
    void processEndSendsAShortList();
    void processEndCutsALongList();
    void startUpIsSilent_data();
    void startUpIsSilent();
};

void tst_lifecycle::loadingTheLibraryInitialisesNothing()
{
    QVERIFY(!LxQuotaHandlerObject::libraryObject().isInited());
    QVERIFY(LxDouble::presenters().isEmpty());
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxPresenterClassMgr::instance()->getPresenterClass(), static_cast<LxPresenterClass *>(nullptr));
}

void tst_lifecycle::startUp()
{
    QSemaphore constructing;
    QSemaphore release;
    LxDouble::setPresenterGate([&] {
        constructing.release();
        release.acquire();
    });
    LogCapture log;
    LxQuotaHandler &instance = LxQuotaHandler::instance();
    // The constructor has returned; the worker is about to construct the presenter.
    QCOMPARE(&LxQuotaHandler::instance(), &instance);
    QVERIFY(constructing.tryAcquire(1, 20000));
    QVERIFY(LxDouble::presenters().isEmpty());
    QVERIFY(!LxQuotaHandlerObject::libraryObject().isInited());

    const QVector<LogLine> refused =
        log.lines(u"QObject::connect: No such signal LxQuotaHandler::signalKLineResponse(QList<QVariantMap>)"_s);
    QCOMPARE(refused.size(), 1);
    QCOMPARE(refused.at(0).type, QtWarningMsg);
    QCOMPARE(log.lines(u"QObject::connect"_s).size(), 1); // all other connections are made
    QCOMPARE(LxQuotaHandlerObject::libraryObject().thread(), QThread::currentThread());

    // Requests wait, each on its own thread, even one whose thread is interrupted.
    const auto request = [](bool interrupted) {
        QThread *thread = QThread::create([] {
            QStringList symbols { u"690000.SH"_s };
            handler().SubscribeRecordOrder(symbols, true);
        });
        thread->start();
        if (interrupted)
            thread->requestInterruption();
        return std::unique_ptr<QThread>(thread);
    };
    const auto first = request(false);
    const auto second = request(true);
    QVERIFY(log.waitFor(u"wait for presenter class init"_s, 20));
    QVERIFY(first->isRunning() && second->isRunning());
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxDouble::liveMessages(), 0);
    const LogLine waiting = log.lines(u"wait for presenter class init"_s).constFirst();
    QCOMPARE(waiting.type, QtDebugMsg);
    QCOMPARE(waiting.file, u"lxquotahandler"_s);
    QCOMPARE(waiting.line, 109);
    QCOMPARE(waiting.category, u"lx.quota"_s);
    QVERIFY(waiting.function.contains(u"LxQuotaHandler::waitForPresenterClassInit()"_s));

    LxDouble::setPresenterGate(nullptr);
    release.release();
    QVERIFY(first->wait(20000) && second->wait(20000));

    // First the topics, in order, then the requests.
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), topics.size() + 2);
    for (int i = 0; i < topics.size(); ++i) {
        QCOMPARE(sent.at(i).call, LxDouble::Sent::Sub);
        QCOMPARE(sent.at(i).type, topics.at(i));
        QCOMPARE(sent.at(i).flag, 1);
        QCOMPARE(sent.at(i).pid, libraryPresenter().pid);
        QCOMPARE(sent.at(i).thread, u"LxQuotaHandler_Thread"_s);
    }
    QCOMPARE(sent.at(topics.size()).type, u"SubscribeRequest"_s);
    QVERIFY(LxQuotaHandlerObject::libraryObject().isInited());

    // The presenter is constructed on the worker thread, but its parent lives on the thread that loaded the library.
    QCOMPARE(log.lines(u"QObject: Cannot create children for a parent that is in a different thread."_s).size(), 1);

    QVERIFY(log.waitFor(u"LxQuotaHandlerObject::initialize"_s, 1));
    const LogLine initialised = log.lines(u"LxQuotaHandlerObject::initialize"_s).constFirst();
    QCOMPARE(initialised.text, u"LxQuotaHandlerObject::initialize"_s);
    QCOMPARE(initialised.type, QtDebugMsg);
    QCOMPARE(initialised.file, u"lxquotahandlerobject"_s);
    QCOMPARE(initialised.line, 34);
    QCOMPARE(initialised.category, u"lx.quota"_s);
    QVERIFY(initialised.function.contains(u"LxQuotaHandlerObject::initialize()"_s));

    // From now on no request waits.
    const int waited = log.lines(u"wait for presenter class init"_s).size();
    startHandler();
    QCOMPARE(log.lines(u"wait for presenter class init"_s).size(), waited);
}

void tst_lifecycle::presenterIsTheLibrarysOwn()
{
    QCOMPARE(LxDouble::presenters().size(), 1);
    const LxDouble::Presenter presenter = libraryPresenter();
    QCOMPARE(presenter.name, defaultInstanceId);
    QCOMPARE(presenter.threadType, 15);
    QCOMPARE(presenter.thread, u"LxQuotaHandler_Thread"_s);
    QCOMPARE(presenter.parent, static_cast<QObject *>(&LxQuotaHandlerObject::libraryObject()));
    QVERIFY(dynamic_cast<LxQuotaHandlerPresenterClass *>(presenter.object));
    QCOMPARE(LxPresenterClassMgr::instance()->getPresenterClass(), presenter.object);
}

void tst_lifecycle::emptyInstanceIdIsReplacedByTheWidgetSetter()
{
    const QVector<LxDouble::PropertyWrite> writes = LxDouble::propertyWrites();
    QCOMPARE(writes.size(), 1);
    QVERIFY(writes.at(0).byWidgetSetter);
    QCOMPARE(writes.at(0).key, PluginPropety::PLUGININSTANCE_ID);
    QCOMPARE(writes.at(0).value, QVariant(defaultInstanceId));
    QCOMPARE(LxQuotaHandlerObject::libraryObject().getPluginObjectPropety(PluginPropety::PLUGININSTANCE_ID).toString(),
             defaultInstanceId);
}

void tst_lifecycle::secondInitialisationOnlyLogs_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("initialize") << 0;
    QTest::newRow("initialize through the base class") << 1;
    QTest::newRow("slotInit") << 2;
    QTest::newRow("slotInit by name") << 3;
    QTest::newRow("the handler's slot") << 4;
}

void tst_lifecycle::secondInitialisationOnlyLogs()
{
    QFETCH(int, way);
    LxQuotaHandlerObject &plugin = LxQuotaHandlerObject::libraryObject();
    LxPluginBaseObject &base = plugin;
    LogCapture log;
    switch (way) {
    case 0:
        plugin.initialize();
        break;
    case 1:
        base.initialize();
        break;
    case 2:
        plugin.slotInit();
        break;
    case 3:
        QVERIFY(QMetaObject::invokeMethod(&plugin, "slotInit", Qt::DirectConnection));
        break;
    default:
        onWorker([] { handler().slotInitQuotaHandlerObj(); });
    }
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().at(0).text, u"LxQuotaHandlerObject::initialize already inited"_s);
    QCOMPARE(log.lines().at(0).type, QtDebugMsg);
    QCOMPARE(log.lines().at(0).file, u"lxquotahandlerobject"_s);
    QCOMPARE(log.lines().at(0).line, 22);
    QCOMPARE(log.lines().at(0).category, u"lx.quota"_s);
    QVERIFY(log.lines().at(0).function.contains(u"LxQuotaHandlerObject::initialize()"_s));
    QVERIFY(LxDouble::sent().isEmpty());
    QCOMPARE(LxDouble::presenters().size(), 1);
}

void tst_lifecycle::handlerLivesOnItsWorker()
{
    QVERIFY(handler().thread() != QThread::currentThread());
    QCOMPARE(handler().thread()->objectName(), u"LxQuotaHandler_Thread"_s);
    QVERIFY(qobject_cast<LxThread *>(handler().thread()));
    QCOMPARE(handler().thread()->priority(), QThread::InheritPriority);
    QCOMPARE(handler().thread()->parent(), static_cast<QObject *>(nullptr));
    QCOMPARE(handler().parent(), static_cast<QObject *>(nullptr));
}

void tst_lifecycle::indicatorWorkerLivesOnItsOwnThread()
{
    LxAsyncIndicatorQryObj *const worker = LxAsyncIndicatorQryObj::instance();
    QCOMPARE(LxAsyncIndicatorQryObj::instance(), worker);
    QCOMPARE(worker->thread()->objectName(), u"LxAsyncIndicatorQryObj_Thread"_s);
    QVERIFY(qobject_cast<LxThread *>(worker->thread()));
    QVERIFY(worker->thread()->isRunning());
    QCOMPARE(worker->thread()->priority(), QThread::InheritPriority);
}

void tst_lifecycle::givenInstanceIdIsKept()
{
    const int writesBefore = LxDouble::propertyWrites().size();
    LxDouble::setNewPluginProperty(PluginPropety::PLUGININSTANCE_ID, u"Client.Quota7"_s);
    OtherPlugin plugin;
    LxDouble::setNewPluginProperty(PluginPropety::PLUGININSTANCE_ID, QVariant());
    plugin.initialize();
    QCOMPARE(LxDouble::presenters().constLast().name, u"Client.Quota7"_s);
    QCOMPARE(LxDouble::propertyWrites().size(), writesBefore);
    QVERIFY(plugin.isInited());
}

void tst_lifecycle::slotInitRunsOnTheCallingThread_data()
{
    QTest::addColumn<bool>("byName");
    QTest::newRow("called") << false;
    QTest::newRow("invoked by name") << true;
}

// A host initialises its plug-ins on the thread that loaded them.
void tst_lifecycle::slotInitRunsOnTheCallingThread()
{
    QFETCH(bool, byName);
    OtherPlugin plugin;
    LogCapture log;
    if (byName)
        QVERIFY(QMetaObject::invokeMethod(&plugin, "slotInit"));
    else
        plugin.slotInit();
    QVERIFY(plugin.isInited());
    const LxDouble::Presenter presenter = LxDouble::presenters().constLast();
    QCOMPARE(presenter.parent, static_cast<QObject *>(&plugin));
    QCOMPARE(presenter.object->parent(), static_cast<QObject *>(&plugin));
    QCOMPARE(presenter.thread, u"main"_s);
    QCOMPARE(log.lines().size(), 1); // "initialize"; no warning
    // Registered, then subscribed.
    QCOMPARE(LxPresenterClassMgr::instance()->getPresenterClass(), presenter.object);
    QCOMPARE(LxDouble::sent().size(), topics.size());
    QCOMPARE(LxDouble::sent().at(0).presenter, presenter.object);
}

void tst_lifecycle::destroyedPluginObjectLeavesNoPresenter_data()
{
    QTest::addColumn<bool>("initialised");
    QTest::newRow("with its own presenter") << true;
    QTest::newRow("without one") << false;
}

void tst_lifecycle::destroyedPluginObjectLeavesNoPresenter()
{
    QFETCH(bool, initialised);
    auto plugin = std::make_unique<LxQuotaHandlerObject>();
    if (initialised)
        plugin->initialize();
    QPointer<LxPresenterClass> own(initialised ? LxDouble::presenters().constLast().object : nullptr);
    plugin.reset();
    QCOMPARE(LxPresenterClassMgr::instance()->getPresenterClass(), static_cast<LxPresenterClass *>(nullptr));
    QTRY_VERIFY(own.isNull());
    LxPresenterClassMgr::instance()->setPresenterClass(libraryPresenter().object);
    QCOMPARE(LxDouble::presenters().size(), 1);
}

void tst_lifecycle::anotherHandlerLeavesTheSharedPartsAlone()
{
    struct AnotherHandler : LxQuotaHandler
    {
    };

    QSemaphore sending;
    QSemaphore release;
    LxDouble::setRecordHook([&] {
        sending.release();
        release.acquire();
    });
    handler().QueryStockDeepDataFromBackendService(libraryPresenter().object, { u"690010.SH"_s });
    QVERIFY(sending.tryAcquire(1, 20000));
    {
        LogCapture quiet;
        AnotherHandler another;
    }
    LxDouble::setRecordHook(nullptr);
    release.release();
    QVERIFY(LxDouble::waitForSent(u"181027"_s, 1));

    QCOMPARE(LxPresenterClassMgr::instance()->getPresenterClass(), libraryPresenter().object);
    publish(u"MDMARKETRECORD"_s, QVariantMap { { u"Symbol"_s, u"690010.SH"_s } });
    QCOMPARE(handler().GetLastStockQuotaData(u"690010.SH"_s).Symbol, u"690010.SH"_s);
    QVERIFY(LxAsyncIndicatorQryObj::instance()->thread()->isRunning());
    Q_EMIT handler().sigQueryPEData({ u"690010.SH"_s }, u"20230131"_s);
    QVERIFY(LxDouble::waitForSent(u"MSG_QUERY_P_E_RATIO_REQUEST"_s, 1));
}

void tst_lifecycle::initWithoutPresenterWarns()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->setPresenterClass(nullptr);
    {
        LogCapture log;
        (handler().*(&Probe::Init))();
        QCOMPARE(log.lines().size(), 1);
        QCOMPARE(log.lines().at(0).text, u"LxQuotaHandler get presenter class null ptr"_s);
        QCOMPARE(log.lines().at(0).type, QtWarningMsg);
        QCOMPARE(log.lines().at(0).file, u"lxquotahandler"_s);
        QCOMPARE(log.lines().at(0).line, 60);
        QCOMPARE(log.lines().at(0).category, u"lx.quota"_s);
        QVERIFY(log.lines().at(0).function.contains(u"LxQuotaHandler::Init()"_s));
    }
    QVERIFY(LxDouble::sent().isEmpty());
    // The lock is free again.
    QVERIFY(returnsOnAnotherThread([=] { manager->setPresenterClass(libraryPresenter().object); }));
}

void tst_lifecycle::withoutPresenterNothingIsSent()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->setPresenterClass(nullptr);
    CMessageCommon message;
    message.SetSrcid(u"mine"_s);
    QVariant result(u"untouched"_s);
    LogCapture log;
    manager->Put(&message);
    QCOMPARE(manager->sendRequest_Async(&message), -3);
    QCOMPARE(manager->sendRequest_Sync(&message, result), -3);
    QCOMPARE(result, QVariant(u"untouched"_s));
    QCOMPARE(message.GetSrcid(), u"mine"_s);
    QVERIFY(LxDouble::sent().isEmpty());
    QVERIFY(log.lines().isEmpty());
    manager->setPresenterClass(libraryPresenter().object);
}

void tst_lifecycle::noMessageIsSentAsNothing()
{
    LxPresenterClassMgr::instance()->Put(nullptr);
    QVERIFY(LxDouble::sent().isEmpty());
}

void tst_lifecycle::sourceIdIsThePresentersId()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    QVariant result;
    manager->Put(new CMessageCommon);
    manager->sendRequest_Async(new CMessageCommon);
    manager->sendRequest_Sync(new CMessageCommon, result);
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), 3);
    QCOMPARE(sent.at(0).call, LxDouble::Sent::Put);
    QCOMPARE(sent.at(0).pid, libraryPresenter().pid);
    QCOMPARE(sent.at(1).call, LxDouble::Sent::AsyncRequest);
    QCOMPARE(sent.at(2).call, LxDouble::Sent::SyncRequest);
    for (const LxDouble::Sent &one : sent)
        QCOMPARE(one.sourceId, libraryPresenter().pid);
}

void tst_lifecycle::resultsOfThePresenterAreReturned()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    LxDouble::setAsyncResult(-17);
    QCOMPARE(manager->sendRequest_Async(new CMessageCommon), -17);
    LxDouble::setAsyncResult(0);
    QCOMPARE(manager->sendRequest_Async(new CMessageCommon), 0);
    LxDouble::setSyncAnswer(u"question"_s, 5, u"answer"_s);
    auto *message = new CMessageCommon;
    message->SetType(u"question"_s);
    QVariant result;
    QCOMPARE(manager->sendRequest_Sync(message, result), 5);
    QCOMPARE(result, QVariant(u"answer"_s));
}

void tst_lifecycle::lockedManagerKeepsItsPresenter()
{
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->lockForRead();
    // Other readers can lock it, a writer cannot.
    QVERIFY(returnsOnAnotherThread([=] {
        manager->lockForRead();
        manager->slotReadOver();
    }));
    BackgroundCall writer([=] { manager->setPresenterClass(libraryPresenter().object); });
    const bool blocked = writer.isBlocked();
    QVERIFY(QMetaObject::invokeMethod(manager, "slotReadOver", Qt::DirectConnection)); // or the call would never end
    QVERIFY(blocked);
}

void tst_lifecycle::presenterStaysWhileItSends_data()
{
    QTest::addColumn<int>("call");
    QTest::newRow("message") << int(LxDouble::Sent::Put);
    QTest::newRow("asynchronous request") << int(LxDouble::Sent::AsyncRequest);
    QTest::newRow("synchronous request") << int(LxDouble::Sent::SyncRequest);
    QTest::newRow("subscription of rankings") << int(LxDouble::Sent::RankingSubscribe);
}

void tst_lifecycle::presenterStaysWhileItSends()
{
    QFETCH(int, call);
    startHandler();
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    std::optional<BackgroundCall> writer;
    bool blocked = false;
    LxDouble::setRecordHook([&] {
        LxDouble::setRecordHook(nullptr);
        writer.emplace([=] { manager->setPresenterClass(libraryPresenter().object); });
        blocked = writer->isBlocked();
    });
    QVariant result;
    if (call == LxDouble::Sent::Put)
        manager->Put(new CMessageCommon);
    else if (call == LxDouble::Sent::AsyncRequest)
        manager->sendRequest_Async(new CMessageCommon);
    else if (call == LxDouble::Sent::SyncRequest)
        manager->sendRequest_Sync(new CMessageCommon, result);
    else
        handler().SubscribeRankingData({ u"600000.SH"_s }, 7, true);
    QVERIFY(writer);
    QVERIFY(blocked);
}

void tst_lifecycle::subscriptionCallbackLeavesTheBaseClassOut()
{
    publish(u"MDMARKETRECORD"_s, QVariantMap { { u"Symbol"_s, u"690001.SH"_s } });
    QCOMPARE(handler().GetLastStockQuotaData(u"690001.SH"_s).Symbol, u"690001.SH"_s);
    QCOMPARE(LxDouble::baseSubCalls(), 0);
}

void tst_lifecycle::virtualsStandInOrder()
{
#if defined(Q_OS_LINUX) && defined(Q_PROCESSOR_X86_64)
    // A pointer to a virtual member is its place in the table of virtuals, in bytes, plus one.
    const auto place = [](auto member) {
        qptrdiff bytes = 0;
        static_assert(sizeof member == 2 * sizeof bytes);
        std::memcpy(&bytes, &member, sizeof bytes);
        return bytes;
    };
    using H = LxQuotaHandler;
    const QVector<qptrdiff> places { place(&H::SubscribeQuote),       place(&H::SubscribeRecordTransaction),
                                     place(&H::SubscribeRecordOrder), place(&H::AsyncRequestKLineData),
                                     place(&H::ProcQuotationMsg),     place(&H::QueryStockDeepData) };
    // After the last virtual function of QObject, disconnectNotify(), which is protected.
    struct Names : QObject
    {
        using QObject::disconnectNotify;
    };
    qptrdiff expected = place(&Names::disconnectNotify);
    for (const qptrdiff one : places) {
        expected += qptrdiff(sizeof(void *));
        QCOMPARE(one, expected);
    }
    QCOMPARE(place(&LxPluginBaseObject::initialize), place(&Names::disconnectNotify) + qptrdiff(sizeof(void *)));
    QCOMPARE(place(&LxPresenterClass::ProcSubMsg), place(&Names::disconnectNotify) + 3 * qptrdiff(sizeof(void *)));
#else
    QSKIP("the layout of member pointers is not known here");
#endif
}

void tst_lifecycle::processEnds_data()
{
    QTest::addColumn<QString>("how");
    for (const char *how : { "without-instance", "without-application", "while-starting", "deep-queries", "callbacks" })
        QTest::newRow(how) << QString::fromLatin1(how);
}

void tst_lifecycle::processEnds()
{
    QFETCH(QString, how);
    for (int i = 0; i < 5; ++i) {
        QProcess host;
        host.start(QStringLiteral(LX_LIBRARY_HOST), { how });
        QVERIFY(host.waitForFinished(60000));
        QCOMPARE(host.exitStatus(), QProcess::NormalExit);
        QVERIFY2(host.exitCode() == 0, host.readAllStandardError().right(4000).constData());
    }
}

void tst_lifecycle::processEndWaitsForTheSlotUnderWay()
{
    QProcess host;
    host.start(QStringLiteral(LX_LIBRARY_HOST), { u"waits-for-the-slot"_s });
    QVERIFY(host.waitForFinished(60000));
    QCOMPARE(QString::fromUtf8(host.readAllStandardOutput()), u"slot finished\nhandler destroyed\n"_s);
    QCOMPARE(host.exitCode(), 0);
}

void tst_lifecycle::processEndSendsAShortList()
{
    QProcess host;
    host.start(QStringLiteral(LX_LIBRARY_HOST), { u"short-list"_s });
    QVERIFY(host.waitForFinished(60000));
    QCOMPARE(QString::fromUtf8(host.readAllStandardOutput()), u"查询市盈率结束 \"20230131\"\nsent 60\n"_s);
    QCOMPARE(host.exitCode(), 0);
}

void tst_lifecycle::processEndCutsALongList()
{
    QProcess host;
    host.start(QStringLiteral(LX_LIBRARY_HOST), { u"long-list"_s });
    QVERIFY(host.waitForFinished(60000));
    const QString output = QString::fromUtf8(host.readAllStandardOutput());
    QVERIFY2(QRegularExpression(u"^sent \\d+\n$"_s).match(output).hasMatch(), qPrintable(output)); // not finished
    QVERIFY(output != u"sent 5000\n"_s);
    QVERIFY2(host.exitCode() == 0, host.readAllStandardError().right(4000).constData());
}

void tst_lifecycle::startUpIsSilent_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QStringList>("warnings");
    const QString refused =
        u"QObject::connect: No such signal LxQuotaHandler::signalKLineResponse(QList<QVariantMap>)"_s;
    const QString otherThread = u"QObject: Cannot create children for a parent that is in a different thread."_s;
    QTest::newRow("plug-in first") << u"plugin-first"_s << QStringList { refused };
    QTest::newRow("handler first") << u"handler-first"_s << QStringList { refused, otherThread };
}

// With the default logging rules nothing is printed but the warnings of Qt that cannot be avoided.
void tst_lifecycle::startUpIsSilent()
{
    QFETCH(QString, how);
    QFETCH(QStringList, warnings);
    QProcess host;
    host.start(QStringLiteral(LX_LIBRARY_HOST), { how });
    QVERIFY(host.waitForFinished(60000));
    QCOMPARE(host.exitCode(), 0);
    QStringList lines = QString::fromUtf8(host.readAllStandardError()).split(u'\n', Qt::SkipEmptyParts);
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const QString &line) { return line.startsWith(u"(Parent is "_s); }),
                lines.end()); // the second line of a warning
    QCOMPARE(lines.size(), warnings.size());
    for (int i = 0; i < lines.size(); ++i)
        QVERIFY2(lines.at(i).startsWith(warnings.at(i)), qPrintable(lines.at(i)));
}

QTEST_GUILESS_MAIN(tst_lifecycle)
#include "tst_lifecycle.moc"
