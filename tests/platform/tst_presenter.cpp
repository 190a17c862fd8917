#include "bustesting.h"

#include <lxmsg/messagecommon.h>
#include <lxwidget/lxpresenterclass.h>

#include <QtTest>

using namespace BusTesting;

// An object whose destruction can be observed: in the body of a message it shows when the message is deleted.
using Token = std::shared_ptr<int>;
Q_DECLARE_METATYPE(Token)

class tst_Presenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pluginIds();
    void basePresenterIgnoresMessages();
    void publishedMessageReachesProcSubMsg();
    void asyncAnswerReachesProcAsyncCallBack();
    void syncRequest();
    void messagesBelongToTheBus_data();
    void messagesBelongToTheBus();
    void noMessage();
    void destructorWaitsForARunningCallback();
};

static const QString topic = QStringLiteral("KLineResponse");
static const QString question = QStringLiteral("181027");

namespace {

struct Call
{
    QString function;
    QString source;
    QVariant type;
    QVariant body;
    QThread *thread = nullptr;
};

// Records what a presenter receives. Not a member of it, since a callback may still be running when the subclass has
// been destroyed.
struct Recorder
{
    QMutex mutex;
    QVector<Call> calls;
    QSemaphore received;
    QSemaphore gate { 1000 };
    std::atomic<int> finished { 0 };

    void hear(const Call &call)
    {
        {
            QMutexLocker locker(&mutex);
            calls.append(call);
        }
        received.release();
        gate.acquire();
        ++finished;
    }
};

class Presenter : public LxPresenterClass
{
public:
    Presenter(const QString &name, Recorder *recorder)
        : LxPresenterClass(name, nullptr, static_cast<IMessageInterface::ThreadType>(15)), m_recorder(recorder)
    {
    }

    void ProcSubMsg(QString source, QVariant type, QVariant body) override
    {
        m_recorder->hear({ QStringLiteral("ProcSubMsg"), source, type, body, QThread::currentThread() });
    }
    void ProcAsyncCallBack(int, QString source, QVariant type, QVariant body) override
    {
        m_recorder->hear({ QStringLiteral("ProcAsyncCallBack"), source, type, body, QThread::currentThread() });
    }

private:
    Recorder *const m_recorder;
};

} // namespace

static CMessageCommon *newMessage(const QString &type, const QVariant &body)
{
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(body);
    return message;
}

void tst_Presenter::pluginIds()
{
    Bus bus;
    Recorder recorder;
    Presenter first(QStringLiteral("LXApp.LxQuotaHandlerObject"), &recorder);
    Presenter second(QStringLiteral("LXApp.LxQuotaHandlerObject"), &recorder);
    QCOMPARE(first.pluginPid(), QStringLiteral("LXApp.LxQuotaHandlerObject"));
    QVERIFY(second.pluginPid() != first.pluginPid());
    QObject parent;
    LxPresenterClass child(QStringLiteral("child"), &parent, IMessageInterface::BusThread);
    QCOMPARE(child.parent(), &parent);
    child.setParent(nullptr);
}

void tst_Presenter::basePresenterIgnoresMessages()
{
    Bus bus;
    Publisher publisher(bus);
    LxPresenterClass presenter(QStringLiteral("base"), nullptr, IMessageInterface::BusThread);
    presenter.Sub(presenter.pluginPid(), topic, 1);
    QCOMPARE(publisher.publish(topic, QString(), 1), 1);
    QVERIFY(publisher.flush());
    QCOMPARE(bus.totalDropped(), quint64(0));
}

void tst_Presenter::publishedMessageReachesProcSubMsg()
{
    Bus bus;
    Publisher publisher(bus);
    Recorder recorder;
    Presenter presenter(QStringLiteral("presenter"), &recorder);
    presenter.Sub(presenter.pluginPid(), QVariant(topic), 1);
    publisher.publish(topic, QString(), 1);
    publisher.publish(topic, QString(), 2);
    QVERIFY(recorder.received.tryAcquire(2, PatienceMs));
    QMutexLocker locker(&recorder.mutex);
    QCOMPARE(recorder.calls.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const Call &call = recorder.calls.at(i);
        QCOMPARE(call.function, QStringLiteral("ProcSubMsg"));
        QCOMPARE(call.type, QVariant(topic));
        QCOMPARE(numberOf(call.body), i + 1);
        QVERIFY(call.thread != QThread::currentThread());
    }
}

void tst_Presenter::asyncAnswerReachesProcAsyncCallBack()
{
    Bus bus;
    Publisher publisher(bus);
    Service service(bus, { question }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, QStringLiteral("181028"), numberBody(numberOf(request.body) + 1));
    });
    Recorder recorder;
    Presenter presenter(QStringLiteral("presenter"), &recorder);
    QCOMPARE(presenter.sendRequest_Async(newMessage(question, numberBody(1))), 0);
    QVERIFY(recorder.received.tryAcquire(1, PatienceMs));
    QVERIFY(presenter.sendRequest_Async(newMessage(QStringLiteral("181029"), numberBody(1))) < 0);
    QVERIFY(publisher.flush());
    QMutexLocker locker(&recorder.mutex);
    QCOMPARE(recorder.calls.size(), 1);
    QCOMPARE(recorder.calls.constFirst().function, QStringLiteral("ProcAsyncCallBack"));
    QCOMPARE(recorder.calls.constFirst().type, QVariant(QStringLiteral("181028")));
    QCOMPARE(numberOf(recorder.calls.constFirst().body), 2);
    QVERIFY(recorder.calls.constFirst().thread != QThread::currentThread());
}

void tst_Presenter::syncRequest()
{
    LxBusOptions options;
    options.requestTimeoutMs = 20;
    Bus bus(options);
    Service service(bus, { question, QStringLiteral("silence") },
                    [](LxBusServicePort *port, const LxBusRequest &request) {
                        if (request.type == question)
                            port->answer(request, QStringLiteral("181028"), numberBody(7));
                    });
    Recorder recorder;
    Presenter presenter(QStringLiteral("presenter"), &recorder);
    QVariant result;
    QCOMPARE(presenter.sendRequest_Sync(newMessage(QStringLiteral("silence"), QVariant()), result), 1);
    QVERIFY(presenter.sendRequest_Sync(newMessage(QStringLiteral("181029"), QVariant()), result) < 0);
    QVERIFY(!result.isValid());
    // A busy machine may take longer than the time-out.
    QTRY_COMPARE_WITH_TIMEOUT(presenter.sendRequest_Sync(newMessage(question, QVariant()), result), 0, PatienceMs);
    QCOMPARE(numberOf(result), 7);
}

void tst_Presenter::messagesBelongToTheBus_data()
{
    QTest::addColumn<QString>("type");
    QTest::newRow("served") << question;
    QTest::newRow("without a service") << QStringLiteral("181029");
    QTest::newRow("handled by the bus") << QStringLiteral("SubscribeRequest");
}

void tst_Presenter::messagesBelongToTheBus()
{
    QFETCH(QString, type);
    Bus bus;
    Service service(bus, { question }, [](LxBusServicePort *port, const LxBusRequest &request) {
        port->answer(request, QStringLiteral("181028"), QVariant());
    });
    Recorder recorder;
    Presenter presenter(QStringLiteral("presenter"), &recorder);
    Token token = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = token;
    QVariant body = QVariant::fromValue(token);
    token.reset();
    QVariant result;
    presenter.Put(presenter.pluginPid(), newMessage(type, body));
    presenter.sendRequest_Async(newMessage(type, body));
    presenter.sendRequest_Sync(newMessage(type, body), result);
    body.clear();
    QTRY_VERIFY_WITH_TIMEOUT(watched.expired(), PatienceMs);
}

void tst_Presenter::noMessage()
{
    Bus bus;
    LxPresenterClass presenter(QStringLiteral("presenter"), nullptr, IMessageInterface::BusThread);
    QVariant result;
    presenter.Put(presenter.pluginPid(), nullptr);
    QVERIFY(presenter.sendRequest_Async(nullptr) < 0);
    QVERIFY(presenter.sendRequest_Sync(nullptr, result) < 0);
}

void tst_Presenter::destructorWaitsForARunningCallback()
{
    Bus bus;
    Publisher publisher(bus);
    Recorder recorder;
    recorder.gate.acquire(1000);
    auto presenter = std::make_unique<Presenter>(QStringLiteral("presenter"), &recorder);
    presenter->Sub(presenter->pluginPid(), topic, 1);
    publisher.publish(topic, QString(), 1);
    QVERIFY(recorder.received.tryAcquire(1, PatienceMs));

    std::atomic<int> finishedBefore { -1 };
    QSemaphore destroyed;
    Threads threads;
    threads.run([&] {
        presenter.reset();
        finishedBefore = recorder.finished.load();
        destroyed.release();
    });
    QTRY_VERIFY_WITH_TIMEOUT(!publisher.port->hasListeners(topic, QString()), PatienceMs);
    QVERIFY(!destroyed.tryAcquire(1, 50));
    QCOMPARE(publisher.publish(topic, QString(), 2), 0);
    recorder.gate.release(1000);
    threads.join();
    QCOMPARE(finishedBefore.load(), 1);
    QVERIFY(publisher.flush());
    QCOMPARE(recorder.calls.size(), 1);
}

QTEST_GUILESS_MAIN(tst_Presenter)
#include "tst_presenter.moc"
