// A process that hosts the library and ends in the way that its argument specifies. The test examines its output.

#include "support.h"

#include "lxasyncindicatorqryobj_p.h"
#include "lxquotahandlerobject_p.h"

#include <QDir>
#include <QLoggingCategory>

#include <cstdio>
#include <cstdlib>

namespace {

void say(const char *text)
{
    std::puts(text);
    std::fflush(stdout);
}

QVariantMap dailyBar(const QString &date)
{
    return { { u"PeriodType"_s, 2 }, { u"Symbol"_s, u"600000.SH"_s }, { u"MDDate"_s, date } };
}

int dailyCacheStaysLocked()
{
    startHandler();
    onWorker([] {
        handler().slotProcessPeriod1DKLineDate(
            { dailyBar(u"20230313"_s), dailyBar(u"20230314"_s), dailyBar(u"20230315"_s) }, EMD_KLINE_PERIOD_1DAY);
    });
    QObject::connect(&handler(), &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo,
                     [](const QString &, const QMap<QDate, StockPeriod1DInfo> &days) {
                         std::printf("answer of %d days\n", days.size());
                     });
    const QDate first(2023, 3, 13);
    const QDate last(2023, 3, 15);
    handler().QueryStockPeriod1DInfo(u"600000.SH"_s, first, last, true);
    BackgroundCall query([=] { handler().QueryStockPeriod1DInfo(u"000001.SZ"_s, first, last, false); });
    say(query.isBlocked() ? "query blocked" : "query returned");
    BackgroundCall answer(
        [] { handler().slotProcessPeriod1DKLineDate({ dailyBar(u"20230316"_s) }, EMD_KLINE_PERIOD_1DAY); });
    say(answer.isBlocked() ? "answer blocked" : "answer returned");
    handler().QueryStockPeriod1MInfo(u"600000.SH"_s, first, last, true);
    say("one-minute query returned");
    std::_Exit(0); // the two calls never return
}

QSemaphore exiting;

// The worker thread is still executing a slot when the handler is destroyed.
int exitWaitsForTheSlot()
{
    std::atexit([] { say("handler destroyed"); }); // after the handler, which is constructed later
    startHandler();
    std::atexit([] { exiting.release(); }); // before it
    QSemaphore inSlot;
    QObject::connect(&handler(), &LxQuotaHandler::signalQuoteTickUpdate, [&inSlot, mainThread = threadId()] {
        inSlot.release();
        exiting.acquire();
        sleepsBefore(mainThread, [] { return false; }); // it waits for this thread, or the process ends here
        say("slot finished");
    });
    LxDouble::publish(u"MDMARKETRECORD"_s, LxDouble::packRows({ { { u"Symbol"_s, u"600000.SH"_s } } }));
    inSlot.acquire();
    std::exit(0);
}

// Makes the process fail if a thread of the library sends after the handler has been destroyed, and hang if one does
// not end.
void expectSilenceAfterTheHandler()
{
    std::atexit([] { // before the handler is constructed, so that it runs after its destruction
        const auto sent = [] { return LxDouble::sent().size() + LxDouble::liveMessages(); };
        const int before = sent();
        while (QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() > 1)
            QThread::yieldCurrentThread();
        if (sent() != before)
            std::_Exit(3);
    });
}

int exitWithDeepQueriesUnderWay()
{
    expectSilenceAfterTheHandler();
    startHandler();
    QStringList symbols;
    for (int i = 0; i < 5000; ++i)
        symbols.append(u"%1.SH"_s.arg(600000 + i));
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    for (int i = 0; i < 3; ++i)
        handler().QueryStockDeepDataFromBackendService(presenter, symbols);
    handler().QueryStockDeepDataFromBackendService(nullptr, symbols);
    handler().QueryStockDeepDataFromBackendService(presenter, {});
    return LxDouble::waitForSent(u"181027"_s, 1) ? 0 : 1;
}

// Prints the last log line of a list that was sent completely and, after the handler's destruction, the number of
// requests.
int exitWhileAListIsSent(int count)
{
    expectSilenceAfterTheHandler();
    std::atexit([] {
        std::printf("sent %d\n", LxDouble::sent(u"MSG_QUERY_P_E_RATIO_REQUEST"_s).size());
        std::fflush(stdout);
    });
    startHandler();
    serveTradeDate(u"20230131"_s);
    QLoggingCategory::setFilterRules(u"lx.quota.debug=true"_s);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &context, const QString &text) {
        if (qstrcmp(context.file, "lxasyncindicatorqryobj") == 0)
            say(qUtf8Printable(text));
    });
    QStringList symbols;
    for (int i = 0; i < count; ++i)
        symbols.append(u"%1.SH"_s.arg(600000 + i));
    handler().queryPEData(symbols);
    return LxDouble::waitForSent(u"MSG_QUERY_P_E_RATIO_REQUEST"_s, 1) ? 0 : 1;
}

// Starts the library and returns when each of its threads has entered its event loop.
int start(bool pluginFirst)
{
    if (pluginFirst)
        LxQuotaHandlerObject::libraryObject().slotInit();
    startHandler();
    onWorker([] {});
    onIndicatorWorker([] {});
    return 0;
}

int exitWithCallbacksUnderWay()
{
    startHandler();
    const QVariant quote = LxDouble::packRows({ { { u"Symbol"_s, u"600000.SH"_s } } });
    const QVariant answer = LxDouble::packRows({ {}, deepRow(u"600000"_s, u"SH"_s, u"TotalShare"_s, 1) });
    for (int i = 0; i < 2000; ++i) {
        LxDouble::publish(u"MDMARKETRECORD"_s, quote);
        LxDouble::answerAsync(i, QString(), u"181028"_s, answer);
    }
    return 0;
}

int exitWhileStarting()
{
    handler();
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QByteArray how = argc > 1 ? argv[1] : "";
    if (how == "without-instance")
        return 0;
    if (how == "without-application")
        return exitWhileStarting();
    QCoreApplication application(argc, argv);
    if (how == "daily-cache-stays-locked")
        return dailyCacheStaysLocked();
    if (how == "waits-for-the-slot")
        return exitWaitsForTheSlot();
    if (how == "deep-queries")
        return exitWithDeepQueriesUnderWay();
    if (how == "short-list")
        return exitWhileAListIsSent(60);
    if (how == "long-list")
        return exitWhileAListIsSent(5000);
    if (how == "plugin-first")
        return start(true);
    if (how == "handler-first")
        return start(false);
    if (how == "callbacks")
        return exitWithCallbacksUnderWay();
    if (how == "while-starting")
        return exitWhileStarting();
    return 2;
}
