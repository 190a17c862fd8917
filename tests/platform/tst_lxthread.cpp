#include <lxutils/lxthread.h>

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QSemaphore>
#include <QSocketNotifier>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

// The platform's thread has an event loop of its own; whatever QThread offers works on it as on any other.
class tst_LxThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsOwnDispatcher();
    void hasItAgainWhenStartedAgain();
    void needNotBeStarted();
    void postedEventsComeInOrder();
    void eventsOfManyThreads();
    void wakesUpForEachEvent();
    void eventsPostedBeforeTheStart();
    void exitCode();
    void quitFromOutside();
    void finishedAndDeferredDeletion();
    void singleShotTimers();
    void repeatingTimer();
    void timerRunsBesideEvents();
    void zeroTimerLeavesRoomForEvents();
    void timerIsKilledByAnother();
    void timerOfADestroyedObject();
    void timerDoesNotFireWithinItself();
    void timersAreListed();
    void timersThatAreExcluded();
    void nestedLoop();
    void nestedLoopEndsWithTheThread();
    void processEventsWithoutALoop();
    void interruptEndsTheWait();
    void socketNotifier();
    void notifierThatIsDisabledByAnother();
    void socketsThatAreExcluded();
    void writeNotifier();
    void awakeAndAboutToBlock();
};

namespace {

// A started thread with an object that lives on it.
class Running
{
public:
    Running()
    {
        object->moveToThread(&thread);
        thread.start();
    }
    ~Running()
    {
        if (thread.isRunning()) // its timers and notifiers end where they live
            object.release()->deleteLater();
        thread.quit();
        thread.wait();
    }

    void run(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(object.get(), work, Qt::BlockingQueuedConnection);
    }
    void post(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(object.get(), work, Qt::QueuedConnection);
    }

    LxThread thread;
    std::unique_ptr<QObject> object = std::make_unique<QObject>();
};

struct SocketPair
{
    SocketPair() { opened = socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0; }
    ~SocketPair()
    {
        close(ends[0]);
        close(ends[1]);
    }
    void send() const { QCOMPARE(write(ends[1], "x", 1), ssize_t(1)); }
    void receive() const
    {
        char byte = 0;
        QCOMPARE(read(ends[0], &byte, 1), ssize_t(1));
    }

    bool opened = false;
    int ends[2] { -1, -1 };
};

constexpr int Patience = 10000;

} // namespace

void tst_LxThread::hasItsOwnDispatcher()
{
    Running running;
    QString name;
    running.run([&name] { name = QString::fromLatin1(QAbstractEventDispatcher::instance()->metaObject()->className()); });
#ifdef Q_OS_LINUX
    QCOMPARE(name, QStringLiteral("LxEventDispatcher"));
#else
    QVERIFY(!name.isEmpty());
#endif
}

void tst_LxThread::hasItAgainWhenStartedAgain()
{
    LxThread thread;
    for (int round = 0; round < 3; ++round) {
        QObject object;
        object.moveToThread(&thread);
        thread.start();
        bool ran = false;
        QMetaObject::invokeMethod(
            &object,
            [&] {
                ran = true;
                object.moveToThread(QCoreApplication::instance()->thread());
            },
            Qt::BlockingQueuedConnection);
        QVERIFY(ran);
#ifdef Q_OS_LINUX
        QCOMPARE(thread.eventDispatcher()->metaObject()->className(), "LxEventDispatcher");
#endif
        thread.quit();
        QVERIFY(thread.wait(Patience));
        QVERIFY(!thread.eventDispatcher());
    }
}

void tst_LxThread::needNotBeStarted()
{
    QObject object;
    {
        LxThread thread;
        object.moveToThread(&thread);
        QCoreApplication::postEvent(&object, new QEvent(QEvent::User));
    }
    // Its thread is gone; whoever posts to it finds nobody to wake.
    QVERIFY(!object.thread());
    QCoreApplication::postEvent(&object, new QEvent(QEvent::User));
}

void tst_LxThread::postedEventsComeInOrder()
{
    constexpr int Events = 20000;
    Running running;
    std::vector<int> seen;
    for (int i = 0; i < Events; ++i)
        running.post([&seen, i] { seen.push_back(i); });
    running.run([] {});
    QCOMPARE(seen.size(), size_t(Events));
    QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
}

void tst_LxThread::eventsOfManyThreads()
{
    constexpr int Threads = 4;
    constexpr int Events = 5000;
    Running running;
    std::vector<std::vector<int>> seen(Threads);
    std::vector<std::unique_ptr<QThread>> threads;
    for (size_t number = 0; number < Threads; ++number) {
        threads.emplace_back(QThread::create([&, number] {
            for (int i = 0; i < Events; ++i) {
                running.post([&seen, number, i] { seen[number].push_back(i); });
                if (i % 64 == 0)
                    running.run([] {}); // lets it fall asleep at any moment
            }
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        QVERIFY(thread->wait(6 * Patience));
    running.run([] {});
    for (const std::vector<int> &events : seen) {
        QCOMPARE(events.size(), size_t(Events));
        QVERIFY(std::is_sorted(events.cbegin(), events.cend()));
    }
}

void tst_LxThread::wakesUpForEachEvent()
{
    // Each event meets a thread that is just falling asleep; one that is not woken is missed for ever.
    Running running;
    QSemaphore came;
    for (int i = 0; i < 20000; ++i) {
        running.post([&came] { came.release(); });
        QVERIFY(came.tryAcquire(1, Patience));
    }
}

void tst_LxThread::eventsPostedBeforeTheStart()
{
    LxThread thread;
    QObject object;
    object.moveToThread(&thread);
    QSemaphore came;
    QMetaObject::invokeMethod(&object, [&came] { came.release(); }, Qt::QueuedConnection);
    thread.start();
    QVERIFY(came.tryAcquire(1, Patience));
    thread.quit();
    QVERIFY(thread.wait(Patience));
}

void tst_LxThread::exitCode()
{
    class Thread : public LxThread
    {
    public:
        std::atomic<int> code { 0 };

    private:
        void run() override { code = exec(); }
    };
    Thread thread;
    thread.start();
    QTimer::singleShot(0, &thread, [&thread] { thread.exit(42); });
    QTRY_VERIFY(thread.isFinished());
    QCOMPARE(thread.code.load(), 42);
}

void tst_LxThread::quitFromOutside()
{
    for (int i = 0; i < 200; ++i) {
        LxThread thread;
        thread.start();
        thread.quit(); // before, while or after the loop begins to wait
        QVERIFY(thread.wait(Patience));
    }
}

void tst_LxThread::finishedAndDeferredDeletion()
{
    LxThread thread;
    QPointer<QObject> alive(new QObject);
    QPointer<QObject> atTheEnd(new QObject);
    alive->moveToThread(&thread);
    atTheEnd->moveToThread(&thread);
    std::atomic<int> finished { 0 };
    connect(&thread, &QThread::finished, &thread, [&finished] { ++finished; }, Qt::DirectConnection);
    connect(&thread, &QThread::finished, atTheEnd.data(), &QObject::deleteLater);
    thread.start();
    QSemaphore gone;
    connect(alive.data(), &QObject::destroyed, &thread, [&gone] { gone.release(); }, Qt::DirectConnection);
    alive->deleteLater();
    QVERIFY(gone.tryAcquire(1, Patience));
    QVERIFY(!alive);
    thread.quit();
    QVERIFY(thread.wait(Patience));
    QVERIFY(!atTheEnd);
    QCOMPARE(finished.load(), 1);
}

void tst_LxThread::singleShotTimers()
{
    Running running;
    std::vector<int> fired;
    QSemaphore all;
    QElapsedTimer clock;
    qint64 elapsed = 0;
    running.run([&] {
        clock.start();
        for (const int ms : { 60, 20, 40 }) {
            QTimer::singleShot(ms, Qt::PreciseTimer, running.object.get(), [&, ms] {
                fired.push_back(ms);
                elapsed = clock.elapsed();
                all.release();
            });
        }
    });
    QVERIFY(all.tryAcquire(3, Patience));
    QCOMPARE(fired, (std::vector<int> { 20, 40, 60 }));
    QVERIFY(elapsed >= 60);
}

void tst_LxThread::repeatingTimer()
{
    Running running;
    QSemaphore fired;
    QElapsedTimer clock;
    running.run([&] {
        auto *timer = new QTimer(running.object.get());
        connect(timer, &QTimer::timeout, running.object.get(), [&fired] { fired.release(); });
        clock.start();
        timer->start(10);
    });
    QVERIFY(fired.tryAcquire(5, Patience));
    QVERIFY(clock.elapsed() >= 50);
}

void tst_LxThread::timerRunsBesideEvents()
{
    // A queue that never empties does not keep timers from firing.
    Running running;
    std::atomic<bool> stop { false };
    QSemaphore fired;
    std::function<void()> again = [&] {
        if (!stop)
            running.post(again);
    };
    running.post(again);
    running.run([&] { QTimer::singleShot(5, running.object.get(), [&fired] { fired.release(); }); });
    const bool came = fired.tryAcquire(1, Patience);
    stop = true;
    running.run([] {});
    running.run([] {});
    QVERIFY(came);
}

void tst_LxThread::zeroTimerLeavesRoomForEvents()
{
    Running running;
    QSemaphore fired;
    running.run([&] {
        auto *timer = new QTimer(running.object.get());
        connect(timer, &QTimer::timeout, running.object.get(), [&fired] { fired.release(); });
        timer->start(0);
    });
    QVERIFY(fired.tryAcquire(100, Patience));
    bool ran = false;
    running.run([&ran] { ran = true; });
    QVERIFY(ran);
}

void tst_LxThread::timerIsKilledByAnother()
{
    Running running;
    std::atomic<int> killed { 0 };
    QSemaphore done;
    running.run([&] {
        auto *first = new QTimer(running.object.get());
        auto *second = new QTimer(running.object.get());
        connect(first, &QTimer::timeout, second, [=] { // both are due at the same look at the clock
            second->stop();
            first->stop();
        });
        connect(second, &QTimer::timeout, first, [&killed] { ++killed; });
        first->start(1);
        second->start(2);
        QThread::msleep(10);
        QTimer::singleShot(20, running.object.get(), [&done] { done.release(); });
    });
    QVERIFY(done.tryAcquire(1, Patience));
    QCOMPARE(killed.load(), 0);
}

void tst_LxThread::timerOfADestroyedObject()
{
    Running running;
    QSemaphore done;
    running.run([&] {
        class Ticker : public QObject
        {
            void timerEvent(QTimerEvent *) override { delete this; }
        };
        auto *ticker = new Ticker;
        ticker->startTimer(1);
        ticker->startTimer(1);
        QTimer::singleShot(20, running.object.get(), [&done] { done.release(); });
    });
    QVERIFY(done.tryAcquire(1, Patience));
}

void tst_LxThread::timerDoesNotFireWithinItself()
{
    Running running;
    std::atomic<int> depth { 0 };
    std::atomic<int> deepest { 0 };
    QSemaphore fired;
    running.run([&] {
        auto *timer = new QTimer(running.object.get());
        connect(timer, &QTimer::timeout, running.object.get(), [&] {
            deepest = std::max(deepest.load(), ++depth);
            QEventLoop loop;
            QTimer::singleShot(10, &loop, &QEventLoop::quit); // another one fires in the nested loop
            loop.exec();
            --depth;
            fired.release();
        });
        timer->start(1);
    });
    QVERIFY(fired.tryAcquire(3, Patience));
    QCOMPARE(deepest.load(), 1);
}

void tst_LxThread::timersAreListed()
{
    Running running;
    running.run([&running] {
        QObject *const object = running.object.get();
        QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
        const int slow = object->startTimer(100000, Qt::VeryCoarseTimer);
        const int fast = object->startTimer(50000, Qt::PreciseTimer);
        const auto timers = dispatcher->registeredTimers(object);
        QCOMPARE(timers.size(), 2);
        QCOMPARE(timers.at(0).timerId, slow);
        QCOMPARE(timers.at(0).interval, 100000);
        QCOMPARE(timers.at(0).timerType, Qt::VeryCoarseTimer);
        QCOMPARE(timers.at(1).timerId, fast);
        const int remaining = dispatcher->remainingTime(fast);
        QVERIFY(remaining > 0 && remaining <= 50000);
        object->killTimer(slow);
        QCOMPARE(dispatcher->registeredTimers(object).size(), 1);
        QCOMPARE(dispatcher->remainingTime(slow), -1);
        object->killTimer(fast);
        QVERIFY(dispatcher->registeredTimers(object).isEmpty());
    });
}

void tst_LxThread::timersThatAreExcluded()
{
    Running running;
    running.run([&running] {
        int fired = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, running.object.get(), [&fired] { ++fired; });
        timer.start(0);
        QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
        dispatcher->processEvents(QEventLoop::X11ExcludeTimers);
        QCOMPARE(fired, 0);
        QVERIFY(dispatcher->processEvents(QEventLoop::AllEvents));
        QCOMPARE(fired, 1);
    });
}

void tst_LxThread::nestedLoop()
{
    Running running;
    std::vector<int> order;
    running.run([&] {
        QEventLoop loop;
        running.post([&] { order.push_back(1); });
        running.post([&] { loop.exit(7); });
        order.push_back(0);
        order.push_back(loop.exec());
    });
    QCOMPARE(order, (std::vector<int> { 0, 1, 7 }));
}

void tst_LxThread::nestedLoopEndsWithTheThread()
{
    Running running;
    QSemaphore inside;
    running.post([&] {
        QEventLoop loop;
        inside.release();
        loop.exec();
    });
    QVERIFY(inside.tryAcquire(1, Patience));
    running.thread.quit();
    QVERIFY(running.thread.wait(Patience));
}

void tst_LxThread::processEventsWithoutALoop()
{
    class Thread : public LxThread
    {
    public:
        std::atomic<int> seen { 0 };
        QObject object;

    private:
        void run() override
        {
            while (seen < 3)
                eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
        }
    };
    Thread thread;
    thread.object.moveToThread(&thread);
    thread.start();
    for (int i = 0; i < 3; ++i)
        QMetaObject::invokeMethod(&thread.object, [&thread] { ++thread.seen; }, Qt::QueuedConnection);
    QVERIFY(thread.wait(Patience));
    QCOMPARE(thread.seen.load(), 3);
}

void tst_LxThread::interruptEndsTheWait()
{
    class Thread : public LxThread
    {
    public:
        QSemaphore turns;
        std::atomic<bool> stop { false };

    private:
        void run() override
        {
            while (!stop) {
                turns.release();
                eventDispatcher()->processEvents(QEventLoop::WaitForMoreEvents);
            }
        }
    };
    Thread thread;
    thread.start();
    for (int i = 0; i < 100; ++i) {
        QVERIFY(thread.turns.tryAcquire(1, Patience));
        thread.eventDispatcher()->interrupt();
    }
    thread.stop = true;
    thread.eventDispatcher()->wakeUp();
    QVERIFY(thread.wait(Patience));
}

void tst_LxThread::socketNotifier()
{
    const SocketPair sockets;
    QVERIFY(sockets.opened);
    Running running;
    QSemaphore came;
    QSocketNotifier *notifier = nullptr;
    running.run([&] {
        notifier = new QSocketNotifier(sockets.ends[0], QSocketNotifier::Read, running.object.get());
        connect(notifier, &QSocketNotifier::activated, running.object.get(), [&] {
            sockets.receive();
            came.release();
        });
    });
    for (int i = 0; i < 10; ++i) {
        sockets.send(); // to a thread that sleeps, or has events to see to
        running.post([] {});
        QVERIFY(came.tryAcquire(1, Patience));
    }
    running.run([&] { notifier->setEnabled(false); });
    sockets.send();
    running.run([] {});
    QCOMPARE(came.available(), 0);
    running.run([&] { notifier->setEnabled(true); });
    QVERIFY(came.tryAcquire(1, Patience));
}

void tst_LxThread::notifierThatIsDisabledByAnother()
{
    const SocketPair one;
    const SocketPair two;
    QVERIFY(one.opened && two.opened);
    one.send();
    two.send();
    Running running;
    int activated = 0;
    running.run([&] {
        QSocketNotifier first(one.ends[0], QSocketNotifier::Read);
        auto second = std::make_unique<QSocketNotifier>(two.ends[0], QSocketNotifier::Read);
        connect(&first, &QSocketNotifier::activated, running.object.get(), [&] {
            ++activated;
            second.reset();
            first.setEnabled(false);
        });
        connect(second.get(), &QSocketNotifier::activated, running.object.get(), [&] { activated += 100; });
        QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents);
    });
    QCOMPARE(activated, 1);
}

void tst_LxThread::socketsThatAreExcluded()
{
    const SocketPair sockets;
    QVERIFY(sockets.opened);
    sockets.send();
    Running running;
    running.run([&] {
        int activated = 0;
        QSocketNotifier notifier(sockets.ends[0], QSocketNotifier::Read);
        connect(&notifier, &QSocketNotifier::activated, running.object.get(), [&activated] { ++activated; });
        QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
        dispatcher->processEvents(QEventLoop::ExcludeSocketNotifiers);
        QCOMPARE(activated, 0);
        QVERIFY(dispatcher->processEvents(QEventLoop::AllEvents));
        QCOMPARE(activated, 1);
    });
}

void tst_LxThread::writeNotifier()
{
    const SocketPair sockets;
    QVERIFY(sockets.opened);
    Running running;
    QSemaphore came;
    running.run([&] {
        auto *notifier = new QSocketNotifier(sockets.ends[0], QSocketNotifier::Write, running.object.get());
        connect(notifier, &QSocketNotifier::activated, running.object.get(), [&came, notifier] {
            notifier->setEnabled(false);
            came.release();
        });
    });
    QVERIFY(came.tryAcquire(1, Patience));
}

void tst_LxThread::awakeAndAboutToBlock()
{
    Running running;
    std::atomic<int> awake { 0 };
    QSemaphore blocking;
    running.run([&] {
        QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
        connect(dispatcher, &QAbstractEventDispatcher::awake, dispatcher, [&awake] { ++awake; });
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, dispatcher, [&blocking] { blocking.release(); });
    });
    QVERIFY(blocking.tryAcquire(1, Patience));
    running.run([] {});
    QVERIFY(awake > 0);
    QVERIFY(blocking.tryAcquire(1, Patience));
}

QTEST_GUILESS_MAIN(tst_LxThread)
#include "tst_lxthread.moc"
