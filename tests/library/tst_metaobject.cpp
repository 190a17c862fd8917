#include "support.h"

#include "lxasyncindicatorqryobj_p.h"
#include "lxquerydeephqthread_p.h"
#include "lxquotahandlerobject_p.h"

#include <QMetaMethod>

namespace {

struct Method
{
    const char *signature;
    const char *parameters;
};

const Method signalTable[] {
    { "signalStockQuotaUpdate(StockQuotaData)", "data" },
    { "signalFutureQuotaUpdate(FutureQuotaData)", "data" },
    { "signalIndexQuotaUpdate(IndexQuotaData)", "data" },
    { "signalStockOrderRecordUpdate(StockOrderRecordData)", "data" },
    { "signalStockTransactionRecordUpdate(StockTransactionRecordData)", "data" },
    { "signalKLineResponse(QList<QVariantMap>,EMD_KLINE_PERIOD)", "lstData type" },
    { "signalQuotaUpdate(BaseQuotaData&)", "record" },
    { "signalStockDeepDataUpdate(QStringList)", "strSymbol" },
    { "sigRecvQuotaData(QVariant,QVariant)", "type data" },
    { "sigOnRspQueryStockPeriod1DInfo(QString,QMap<QDate,StockPeriod1DInfo>)", "symbol data" },
    { "sigOnRspQueryStockPeriod1MInfo(QString,QMap<QDate,QMap<QTime,StockPeriod1DInfo> >)", "symbol data" },
    { "signalIndicatorRankingData(QVariant)", "data" },
    { "signalUpDownAnalyzeData(QVariant)", "data" },
    { "signalRiseDayData(QString,int)", "symbol day" },
    { "signalQuoteTickUpdate(QString)", "symbol" },
    { "signalRecordTransactionUpdate(QString)", "symbol" },
    { "sigQueryPEData(QStringList,QString)", "symbolList tradeDate" },
    { "sigQueryQRRData(QStringList,QString)", "symbolList tradeDate" },
    { "sigAsyncQryOver()", "" },
    { "sigInitQuotaHandlerObject()", "" },
};

const Method slotTable[] {
    { "slotDeepQuotaQueryThreadFinish(QThread*)", "thread" },
    { "slotProcessQuotaMsg(QVariant,QVariant)", "type data" },
    { "slotProcessPeriod1DKLineDate(QList<QVariantMap>,EMD_KLINE_PERIOD)", "lstData type" },
    { "slotInitQuotaHandlerObj()", "" },
};

QMetaMethod method(int index)
{
    const QMetaObject &meta = LxQuotaHandler::staticMetaObject;
    return meta.method(meta.methodOffset() + index);
}

QByteArrayList ownMethods(const QMetaObject &meta)
{
    QByteArrayList result;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        result.append(meta.method(i).methodSignature());
    return result;
}

// A plug-in's receiver on a thread of its own.
class Receiver : public QObject
{
public:
    Receiver()
    {
        moveToThread(&m_thread);
        m_thread.start();
    }
    ~Receiver() override
    {
        m_thread.quit();
        m_thread.wait();
    }

    QThread m_thread;
    QSemaphore received;
};

} // namespace

Q_DECLARE_METATYPE(BaseQuotaData)
Q_DECLARE_METATYPE(const QMetaObject *)

class tst_metaobject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void startUpRegistersTheQueuedTypes();
    void recordTypesGetTheirNames_data();
    void recordTypesGetTheirNames();
    void barListIsASequence();
    void otherTypesAreNotRegistered_data();
    void otherTypesAreNotRegistered();

    void methodsStandInOrder_data();
    void methodsStandInOrder();
    void handlerHasNothingElse();
    void castsAnswerForTheClassItself();
    void otherClassesOfTheLibrary_data();
    void otherClassesOfTheLibrary();
    void presenterHasNoMetaObjectOfItsOwn();

    void queuedQuoteIsACopyOnTheReceiversThread();
    void directReceiverRunsOnTheHandlersThread();
    void queuedCondensedQuoteNeedsItsTypeRegistered();
    void queuedPeriodInfoNeedsItsTypeRegistered();
    void oneArgumentKLineConnectionIsRefused();
    void kLineSlotIsInvokedByName();
};

void tst_metaobject::initTestCase()
{
    startHandler();
}

// First, since asking the meta-object for the type of a parameter registers it.
void tst_metaobject::startUpRegistersTheQueuedTypes()
{
    for (const char *name : { "StockQuotaData", "FutureQuotaData", "IndexQuotaData", "StockOrderRecordData",
                              "StockTransactionRecordData", "QList<QVariantMap>", "QThread*" })
        QVERIFY2(QMetaType::isRegistered(QMetaType::type(name)), name);
}

void tst_metaobject::recordTypesGetTheirNames_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("StockQuotaData") << 0 << QByteArray("StockQuotaData");
    QTest::newRow("FutureQuotaData") << 1 << QByteArray("FutureQuotaData");
    QTest::newRow("IndexQuotaData") << 2 << QByteArray("IndexQuotaData");
    QTest::newRow("StockOrderRecordData") << 3 << QByteArray("StockOrderRecordData");
    QTest::newRow("StockTransactionRecordData") << 4 << QByteArray("StockTransactionRecordData");
    QTest::newRow("QList<QVariantMap> of the signal") << 5 << QByteArray("QList<QVariantMap>");
    QTest::newRow("QThread*") << 20 << QByteArray("QThread*");
    QTest::newRow("QList<QVariantMap> of the slot") << 22 << QByteArray("QList<QVariantMap>");
}

void tst_metaobject::recordTypesGetTheirNames()
{
    QFETCH(int, index);
    QFETCH(QByteArray, name);
    // As a queued connection does: the type is asked of the meta-object, which registers it.
    void *result[2] { nullptr, nullptr };
    int type = -1;
    int argument = 0;
    result[0] = &type;
    result[1] = &argument;
    LxQuotaHandler::staticMetaObject.static_metacall(QMetaObject::RegisterMethodArgumentMetaType, index, result);
    QVERIFY(type != QMetaType::UnknownType && type != -1);
    QCOMPARE(QByteArray(QMetaType::typeName(type)), name);
    QCOMPARE(QMetaType::type(name), type);
    QCOMPARE(method(index).parameterType(0), type);
    if (!name.endsWith('*'))
        QVERIFY(QMetaType::typeFlags(type) & QMetaType::NeedsConstruction);
    if (!name.endsWith('*'))
        QVERIFY(QMetaType::typeFlags(type) & QMetaType::NeedsDestruction);
}

void tst_metaobject::barListIsASequence()
{
    const QVariant bars = QVariant::fromValue(QList<QVariantMap> { { { u"a"_s, 1 } }, { { u"b"_s, 2 } } });
    QVERIFY(bars.canConvert<QVariantList>());
    QCOMPARE(bars.value<QSequentialIterable>().size(), 2);
}

void tst_metaobject::otherTypesAreNotRegistered_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("parameter");
    QTest::newRow("EMD_KLINE_PERIOD of the signal") << 5 << 1;
    QTest::newRow("BaseQuotaData&") << 6 << 0;
    QTest::newRow("daily information") << 9 << 1;
    QTest::newRow("one-minute information") << 10 << 1;
    QTest::newRow("EMD_KLINE_PERIOD of the slot") << 22 << 1;
}

void tst_metaobject::otherTypesAreNotRegistered()
{
    QFETCH(int, index);
    QFETCH(int, parameter);
    int type = -1;
    int argument = parameter;
    void *result[2] { &type, &argument };
    LxQuotaHandler::staticMetaObject.static_metacall(QMetaObject::RegisterMethodArgumentMetaType, index, result);
    QCOMPARE(type, -1);
    QCOMPARE(method(index).parameterType(parameter), int(QMetaType::UnknownType));
}

void tst_metaobject::methodsStandInOrder_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<bool>("isSignal");
    int index = 0;
    for (const Method &one : signalTable)
        QTest::newRow(one.signature) << index++ << QByteArray(one.signature) << QByteArray(one.parameters) << true;
    for (const Method &one : slotTable)
        QTest::newRow(one.signature) << index++ << QByteArray(one.signature) << QByteArray(one.parameters) << false;
}

void tst_metaobject::methodsStandInOrder()
{
    QFETCH(int, index);
    QFETCH(bool, isSignal);
    const QMetaMethod one = method(index);
    QTEST(one.methodSignature(), "signature");
    QTEST(one.parameterNames().join(' '), "parameters");
    QCOMPARE(one.methodType(), isSignal ? QMetaMethod::Signal : QMetaMethod::Slot);
    QCOMPARE(one.access(), QMetaMethod::Public);
    QCOMPARE(QByteArray(one.typeName()), QByteArray("void"));
}

void tst_metaobject::handlerHasNothingElse()
{
    const QMetaObject &meta = LxQuotaHandler::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("LxQuotaHandler"));
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 24);
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), 0);
    QCOMPARE(meta.classInfoCount(), 0);
    QCOMPARE(meta.constructorCount(), 0);
}

void tst_metaobject::castsAnswerForTheClassItself()
{
    LxQuotaHandlerObject &plugin = LxQuotaHandlerObject::libraryObject();
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    QCOMPARE(handler().qt_metacast("LxQuotaHandler"), static_cast<void *>(&handler()));
    QCOMPARE(plugin.qt_metacast("LxQuotaHandlerObject"), static_cast<void *>(&plugin));
    QCOMPARE(plugin.qt_metacast("LxPluginBaseObject"), static_cast<void *>(static_cast<LxPluginBaseObject *>(&plugin)));
    QCOMPARE(manager->qt_metacast("LxPresenterClassMgr"), static_cast<void *>(manager));
    for (QObject *object :
         { static_cast<QObject *>(&handler()), static_cast<QObject *>(&plugin), static_cast<QObject *>(manager) }) {
        QCOMPARE(object->qt_metacast("QObject"), static_cast<void *>(object));
        QCOMPARE(object->qt_metacast("QThread"), static_cast<void *>(nullptr));
        QCOMPARE(object->qt_metacast(nullptr), static_cast<void *>(nullptr));
    }
    QCOMPARE(handler().qt_metacast("LxQuotaHandlerObject"), static_cast<void *>(nullptr));
}

void tst_metaobject::otherClassesOfTheLibrary_data()
{
    QTest::addColumn<const QMetaObject *>("meta");
    QTest::addColumn<QByteArray>("super");
    QTest::addColumn<QByteArrayList>("methods");
    QTest::newRow("LxQuotaHandlerObject") << &LxQuotaHandlerObject::staticMetaObject << QByteArray("LxPluginBaseObject")
                                          << QByteArrayList { "slotInit()" };
    QTest::newRow("LxPresenterClassMgr") << &LxPresenterClassMgr::staticMetaObject << QByteArray("QObject")
                                         << QByteArrayList { "slotReadOver()" };
    QTest::newRow("LxAsyncIndicatorQryObj")
        << &LxAsyncIndicatorQryObj::staticMetaObject << QByteArray("QObject")
        << QByteArrayList { "slotQueryPEData(QStringList,QString)", "slotQueryQRRData(QStringList,QString)" };
    QTest::newRow("LxQueryDeepHQThread") << &LxQueryDeepHQThread::staticMetaObject << QByteArray("LxThread")
                                         << QByteArrayList { "sigThreadRunFinish(QThread*)" };
}

void tst_metaobject::presenterHasNoMetaObjectOfItsOwn()
{
    QCOMPARE(&LxQuotaHandlerPresenterClass::staticMetaObject, &LxPresenterClass::staticMetaObject);
    QCOMPARE(LxDouble::presenters().constFirst().object->metaObject(), &LxPresenterClass::staticMetaObject);
}

void tst_metaobject::otherClassesOfTheLibrary()
{
    QFETCH(const QMetaObject *, meta);
    QFETCH(QByteArray, super);
    QFETCH(QByteArrayList, methods);
    QCOMPARE(QByteArray(meta->className()), QByteArray(QTest::currentDataTag()));
    QCOMPARE(QByteArray(meta->superClass()->className()), super);
    QCOMPARE(ownMethods(*meta), methods);
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
        QCOMPARE(meta->method(i).access(), QMetaMethod::Public);
}

void tst_metaobject::queuedQuoteIsACopyOnTheReceiversThread()
{
    Receiver receiver;
    StockQuotaData received;
    QThread *thread = nullptr;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::signalStockQuotaUpdate, &receiver,
                                             [&](const StockQuotaData &quote) {
                                                 received = quote;
                                                 thread = QThread::currentThread();
                                                 receiver.received.release();
                                             });
    QVariantMap row { { u"Symbol"_s, u"680000.SH"_s }, { u"LastPx"_s, 12.5 }, { u"Sell10OrderQty"_s, 77 } };
    publish(u"MDMARKETRECORD"_s, row);
    QVERIFY(receiver.received.tryAcquire(1, 20000));
    QObject::disconnect(connection);
    QCOMPARE(thread, &receiver.m_thread);
    QCOMPARE(received.Symbol, u"680000.SH"_s);
    QCOMPARE(received.LastPx, 12.5);
    QCOMPARE(received.SellOrderQty[9], Q_INT64_C(77));
    QCOMPARE(received.PERatio, Invalid);
}

void tst_metaobject::directReceiverRunsOnTheHandlersThread()
{
    SignalLog log;
    publish(u"MDMARKETRECORD"_s, QVariantMap { { u"Symbol"_s, u"680001.SH"_s } });
    QCOMPARE(log.threads(),
             (QStringList { u"LxQuotaHandler_Thread"_s, u"LxQuotaHandler_Thread"_s, u"LxQuotaHandler_Thread"_s }));
}

void tst_metaobject::queuedCondensedQuoteNeedsItsTypeRegistered()
{
    Receiver receiver;
    {
        LogCapture log;
        const auto refused = QObject::connect(&handler(), SIGNAL(signalQuotaUpdate(BaseQuotaData &)), &receiver,
                                              SLOT(deleteLater()), Qt::QueuedConnection);
        QVERIFY(!refused);
        const QVector<LogLine> lines =
            log.lines(u"QObject::connect: Cannot queue arguments of type 'BaseQuotaData&'"_s);
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines.at(0).type, QtWarningMsg);
    }
    qRegisterMetaType<BaseQuotaData>("BaseQuotaData&");
    QVERIFY(QObject::connect(&handler(), SIGNAL(signalQuotaUpdate(BaseQuotaData &)), &receiver, SLOT(deleteLater()),
                             Qt::QueuedConnection));
    QVERIFY(QObject::disconnect(&handler(), nullptr, &receiver, nullptr));
}

void tst_metaobject::queuedPeriodInfoNeedsItsTypeRegistered()
{
    using Days = QMap<QDate, StockPeriod1DInfo>;
    Receiver receiver;
    const char *const signal = SIGNAL(sigOnRspQueryStockPeriod1DInfo(QString, QMap<QDate, StockPeriod1DInfo>));
    {
        LogCapture log;
        QVERIFY(!QObject::connect(&handler(), signal, &receiver, SLOT(deleteLater()), Qt::QueuedConnection));
        QCOMPARE(log.lines(u"QObject::connect: Cannot queue arguments of type"_s).size(), 1);
    }
    qRegisterMetaType<Days>("QMap<QDate,StockPeriod1DInfo>");
    Days received;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo, &receiver,
                                             [&](const QString &, const Days &days) {
                                                 received = days;
                                                 receiver.received.release();
                                             });
    onWorker([] {
        handler().slotProcessPeriod1DKLineDate({ { { u"PeriodType"_s, 2 },
                                                   { u"Symbol"_s, u"680002.SH"_s },
                                                   { u"MDDate"_s, u"20230310"_s },
                                                   { u"ClosePx"_s, 3.5 } } },
                                               EMD_KLINE_PERIOD_1DAY);
    });
    QVERIFY(receiver.received.tryAcquire(1, 20000));
    QObject::disconnect(connection);
    QCOMPARE(received.value(QDate(2023, 3, 10)).closePx, 3.5);
}

void tst_metaobject::oneArgumentKLineConnectionIsRefused()
{
    LogCapture log;
    QVERIFY(!QObject::connect(&handler(), SIGNAL(signalKLineResponse(QList<QVariantMap>)), &handler(),
                              SLOT(slotProcessPeriod1DKLineDate(QList<QVariantMap>))));
    QCOMPARE(
        log.lines(u"QObject::connect: No such signal LxQuotaHandler::signalKLineResponse(QList<QVariantMap>)"_s).size(),
        1);
    QVERIFY(!QMetaObject::invokeMethod(&handler(), "slotProcessPeriod1DKLineDate", Qt::DirectConnection,
                                       Q_ARG(QList<QVariantMap>, {})));
}

void tst_metaobject::kLineSlotIsInvokedByName()
{
    Emissions<QString, QMap<QDate, StockPeriod1DInfo>> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    // Queued, as for a plug-in on another thread, which requires the enumeration to be registered.
    qRegisterMetaType<EMD_KLINE_PERIOD>("EMD_KLINE_PERIOD");
    const QList<QVariantMap> bars {
        { { u"PeriodType"_s, 2 }, { u"Symbol"_s, u"680003.SH"_s }, { u"MDDate"_s, u"20230310"_s } }
    };
    QVERIFY(QMetaObject::invokeMethod(&handler(), "slotProcessPeriod1DKLineDate", Qt::QueuedConnection,
                                      Q_ARG(QList<QVariantMap>, bars), Q_ARG(EMD_KLINE_PERIOD, EMD_KLINE_PERIOD_1DAY)));
    QVERIFY(answers.waitFor(1));
    QCOMPARE(answers.last<0>(), u"680003.SH"_s);
}

QTEST_GUILESS_MAIN(tst_metaobject)
#include "tst_metaobject.moc"
