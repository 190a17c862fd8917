// A process that hosts the library and ends in the way its argument tells; what it prints is the test's evidence.

#include "support.h"

#include <cstdio>
#include <cstdlib>

namespace {

void say(const char *text)
{
    std::puts(text);
    std::fflush(stdout);
}

bool blocks(std::future<void> &call)
{
    return call.wait_for(std::chrono::milliseconds(500)) == std::future_status::timeout;
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
    std::future<void> query =
        std::async(std::launch::async, [=] { handler().QueryStockPeriod1DInfo(u"000001.SZ"_s, first, last, false); });
    say(blocks(query) ? "query blocked" : "query returned");
    std::future<void> answer = std::async(std::launch::async, [] {
        handler().slotProcessPeriod1DKLineDate({ dailyBar(u"20230316"_s) }, EMD_KLINE_PERIOD_1DAY);
    });
    say(blocks(answer) ? "answer blocked" : "answer returned");
    handler().QueryStockPeriod1MInfo(u"600000.SH"_s, first, last, true);
    say("one-minute query returned");
    std::_Exit(0); // the two calls never return
}

QSemaphore exiting;

// The slot is in the middle of its work when the process comes to destroy the handler.
int exitWaitsForTheSlot()
{
    std::atexit([] { say("handler destroyed"); }); // after the handler, which is constructed later
    startHandler();
    std::atexit([] { exiting.release(); }); // before it
    QSemaphore inSlot;
    QObject::connect(&handler(), &LxQuotaHandler::signalQuoteTickUpdate, [&inSlot] {
        inSlot.release();
        exiting.acquire();
        QThread::msleep(100);
        say("slot finished");
    });
    LxDouble::publish(u"MDMARKETRECORD"_s, LxDouble::packRows({ { { u"Symbol"_s, u"600000.SH"_s } } }));
    inSlot.acquire();
    std::exit(0);
}

// Fails the process if a thread of the library still sends, or tries to, when the handler has been destroyed.
void expectSilenceAfterTheHandler()
{
    std::atexit([] { // before the handler is constructed, so that it runs after its destruction
        const int before = LxDouble::sent().size() + LxDouble::liveMessages();
        QThread::msleep(100); // several pauses of a worker thread
        if (LxDouble::sent().size() + LxDouble::liveMessages() != before)
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

int exitAmidABurst()
{
    expectSilenceAfterTheHandler();
    startHandler();
    serveTradeDate(u"20230131"_s);
    QStringList symbols;
    for (int i = 0; i < 5000; ++i)
        symbols.append(u"%1.SH"_s.arg(600000 + i));
    handler().queryPEData(symbols);
    handler().queryQRRData(symbols);
    return LxDouble::waitForSent(u"MSG_QUERY_P_E_RATIO_REQUEST"_s, 1) ? 0 : 1;
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
    if (how == "burst")
        return exitAmidABurst();
    if (how == "callbacks")
        return exitWithCallbacksUnderWay();
    if (how == "while-starting")
        return exitWhileStarting();
    return 2;
}
