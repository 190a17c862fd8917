// A client that is linked to the library and ends in the way that its argument specifies.

#include "feed.h"

#include <lxquotahandler.h>
#include <lxwidget/lxpresenterclass.h>

#include <QCoreApplication>
#include <QSemaphore>

#include <cstdio>
#include <cstring>

namespace {

LxQuotaHandler &use()
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QStringList symbols { Feed::symbol() };
    quota.SubscribeQuote(symbols, true);
    return quota;
}

// Holds the library's thread up with quotes waiting, until static objects are being destroyed: constructed between the
// handler and what the handler's thread constructs on first use, it is destroyed between them too.
class Backlog
{
public:
    explicit Backlog(LxQuotaHandler &quota)
    {
        QObject::connect(&quota, &LxQuotaHandler::signalQuoteTickUpdate, [this] {
            const int tick = ++m_ticks;
            if (tick == 1) {
                m_built.acquire();
            } else if (tick == 2) {
                m_held.release();
                m_ending.acquire();
            }
        });
    }
    ~Backlog() { m_ending.release(); }

    void build(Feed &feed)
    {
        use();
        for (int i = 0; i < 200; ++i)
            feed.publishOnce();
        feed.flush();
        m_built.release();
        m_held.acquire();
    }

private:
    int m_ticks = 0; // the library's thread
    QSemaphore m_built;
    QSemaphore m_held;
    QSemaphore m_ending;
};

QStringList manySymbols()
{
    QStringList symbols;
    for (int i = 0; i < 5000; ++i)
        symbols.append(QStringLiteral("%1.SH").arg(600000 + i));
    return symbols;
}

} // namespace

int main(int argc, char *argv[])
{
    const char *mode = argc > 1 ? argv[1] : "";
    const auto is = [mode](const char *name) { return std::strcmp(mode, name) == 0; };

    if (is("no-application")) {
        LxQuotaHandler::instance();
        return 0;
    }

    // Destroyed before the static objects of the library, but for the mode that calls exit().
    QCoreApplication application(argc, argv);
    if (is("unused"))
        return 0;
    if (is("instance-only")) {
        LxQuotaHandler::instance();
        return 0;
    }
    if (is("used")) {
        Feed feed;
        LxQuotaHandler &quota = use();
        feed.publishOnce();
        feed.flush();
        QMetaObject::invokeMethod(
            &quota, [] {}, Qt::BlockingQueuedConnection);
        return quota.GetLastStockQuotaData(Feed::symbol()).LastPx == 10.5 ? 0 : 1;
    }
    if (is("busy") || is("busy-exit-called")) {
        Feed &feed = feedUntilExit();
        LxQuotaHandler &quota = LxQuotaHandler::instance();
        static Backlog backlog(quota);
        backlog.build(feed);
        feed.start();
        // Without the application object nothing that waits is delivered any more; with it, everything is.
        if (is("busy-exit-called"))
            std::exit(0);
        return 0;
    }
    if (is("exit-called")) {
        use();
        std::exit(0);
    }
    if (is("indicator-requests")) {
        // Paced over ten seconds and more.
        Q_EMIT use().sigQueryPEData(manySymbols(), QStringLiteral("20230201"));
        return 0;
    }
    if (is("deep-requests")) {
        LxPresenterClass presenter(QStringLiteral("Client"), nullptr, IMessageInterface::BusThread);
        use().QueryStockDeepDataFromBackendService(&presenter, manySymbols());
        return 0;
    }
    std::fprintf(stderr, "no such mode: %s\n", mode);
    return 2;
}
