#pragma once

#include <lxbus/bus.h>
#include <lxmsg/packmessagecommon.h>

#include <QString>

#include <atomic>
#include <cstdlib>
#include <thread>

/// Publishes without end, on a thread of its own, so that the library is busy while it is being unloaded.
class Feed final
{
public:
    Feed() : m_publisher(LxBus::current()->openPublisher())
    {
        CPackMessageCommon quote;
        quote.AddVaule(QStringLiteral("Symbol"), symbol());
        quote.AddVaule(QStringLiteral("MDTime"), QStringLiteral("093000000"));
        quote.AddVaule(QStringLiteral("LastPx"), 10.5);
        quote.AddVaule(QStringLiteral("PreClosePx"), 10.0);
        m_quote = quote.GetPackedMsg(false);

        CPackMessageCommon days;
        days.AddVaule(QStringLiteral("requestExeStatus"), QStringLiteral("0"));
        days.AddRow();
        days.AddVaule(QStringLiteral("Symbol"), symbol());
        days.AddVaule(QStringLiteral("days"), 3);
        m_risingDays = days.GetPackedMsg(false);
        // What the bus itself constructs on first use has to outlive a static feed.
        publishOnce();
    }
    ~Feed() { stop(); }

    static QString symbol() { return QStringLiteral("600000.SH"); }

    /// Publishes one of each kind; the number of receivers.
    int publishOnce()
    {
        // Rising days go to everybody who listens, quotes to those who subscribed the symbol.
        return m_publisher->publish(QStringLiteral("MSG_QUERY_UP_N_DAY_RESPONSE"), QString(), m_risingDays)
                + m_publisher->publish(QStringLiteral("MDMARKETRECORD"), symbol(), m_quote);
    }
    /// Starts, and returns when the bus has delivered some.
    void start()
    {
        m_thread = std::thread([this] {
            while (!m_stop) {
                publishOnce();
                ++m_published;
            }
        });
        constexpr int Warm = 1000;
        while (m_published < Warm)
            std::this_thread::yield();
    }
    void stop()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    bool flush() { return m_publisher->flush(10000); }

private:
    const std::unique_ptr<LxBusPublisher> m_publisher;
    QVariant m_quote;
    QVariant m_risingDays;
    std::thread m_thread;
    std::atomic<bool> m_stop { false };
    std::atomic<int> m_published { 0 };
};

/// A feed that goes on while the process exits, until what was constructed later has been destroyed. Call it before
/// the library is loaded or used.
inline Feed &feedUntilExit()
{
    static Feed feed;
    return feed;
}
