#include <lxutils/lxthread.h>

#include <eventdispatcher.h>

#include <QAbstractEventDispatcher>
#include <QtTest>

#include <vector>

class tst_LxThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAThreadWithAParent();
    void deliversPostedEventsInOrder();
    void runsAgain();
    void usesTheUnixDispatcherWhenTheHostAsksForIt();
};

void tst_LxThread::isAThreadWithAParent()
{
    QObject parent;
    const QObject *const thread = new LxThread(&parent);
    QCOMPARE(thread->parent(), &parent);
    QCOMPARE(thread->metaObject()->className(), "LxThread");
    QVERIFY(qobject_cast<const QThread *>(thread));
}

void tst_LxThread::deliversPostedEventsInOrder()
{
    constexpr int Events = 20000;
    LxThread thread;
    QObject object;
    object.moveToThread(&thread);
    std::vector<int> delivered;
    for (int i = 0; i < Events; ++i) {
        if (i == Events / 2)
            thread.start();
        QMetaObject::invokeMethod(
            &object, [&delivered, i] { delivered.push_back(i); }, Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(
        &object, [&thread] { thread.quit(); }, Qt::QueuedConnection);
    QVERIFY(thread.wait());
    QCOMPARE(delivered.size(), size_t(Events));
    QVERIFY(std::is_sorted(delivered.cbegin(), delivered.cend()));
}

void tst_LxThread::runsAgain()
{
    LxThread thread;
    for (int round = 0; round < 3; ++round) {
        thread.start();
        thread.quit(); // before, while or after the event loop begins
        QVERIFY(thread.wait());
        QVERIFY(thread.isFinished());
    }
}

void tst_LxThread::usesTheUnixDispatcherWhenTheHostAsksForIt()
{
    qunsetenv("QT_NO_THREADED_GLIB");
    useUnixEventDispatcher();
    LxThread thread;
    QObject object;
    object.moveToThread(&thread);
    thread.start();
    QByteArray dispatcher;
    QMetaObject::invokeMethod(
        &object, [&dispatcher] { dispatcher = QAbstractEventDispatcher::instance()->metaObject()->className(); },
        Qt::BlockingQueuedConnection);
    thread.quit();
    QVERIFY(thread.wait());
    QCOMPARE(dispatcher, QByteArray("QEventDispatcherUNIX"));
}

QTEST_GUILESS_MAIN(tst_LxThread)
#include "tst_lxthread.moc"
