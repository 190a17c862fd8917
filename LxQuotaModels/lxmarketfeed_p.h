#pragma once

#include "lxlivebars_p.h"
#include "lxquote.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVector>

#include <functional>
#include <memory>

class LxReceiver;

/// Connects all models to the library: shares one subscription per symbol among them, and passes what the library
/// announces to those that have subscribed to it.
///
/// Subscriptions are counted by symbol. Requests are sent from a thread of the feed, since a large subscription through
/// a broker blocks for up to a second. The feed exists as long as any model does. Any thread.
class LxMarketFeed
{
public:
    enum Kind {
        Quotes,
        Trades,
        Bars ///< all answers to requests for bars, whoever sent the request; needs no subscription with the library
    };

    /// The process's feed. Constructs the LxQuotaHandler if that has not been done yet.
    static std::shared_ptr<LxMarketFeed> shared();
    ~LxMarketFeed();

    /// `receiver` gets the records of `symbols` from now on, and immediately the latest quotes that are known. A
    /// receiver must not subscribe to the same symbol and kind twice.
    void subscribe(Kind kind, LxReceiver *receiver, const QStringList &symbols);
    /// After this has returned, `receiver` gets no further records of `symbols`.
    void unsubscribe(Kind kind, LxReceiver *receiver, const QStringList &symbols);

    /// Requests the figures from which the library derives ratios and market values, for those stocks that lack them.
    void requestFigures(const QStringList &stocks);
    /// Runs `request` on the thread from which the feed sends its requests.
    void send(std::function<void()> request);

    /// The latest quote of a subscribed symbol; its kind is Unknown if there is none.
    LxQuote latest(const QString &symbol) const;
    /// The one-minute bars of the day that the feed has built for a subscribed symbol.
    QVector<LxBar> minuteBars(const QString &symbol) const;

    /// The time of day at the exchange, in milliseconds since midnight: the time of the latest quote plus the time
    /// since its arrival. -1 before the first quote.
    int marketTime() const;
    /// The day of the latest quote, yyyyMMdd; empty before the first one.
    QString marketDate() const;

private:
    struct State;

    LxMarketFeed();
    Q_DISABLE_COPY(LxMarketFeed)
    void sendSubscription(Kind kind, const QStringList &symbols, bool subscribe);

    State *const m_state;
    QThread m_thread;
    QObject m_sender; // lives on m_thread
};

/// The callbacks of the feed. Called on threads of the library and, during LxMarketFeed::subscribe(), on the caller's
/// thread. They must return quickly and must not call the feed.
class LxReceiver
{
public:
    virtual void quoteReceived(const LxQuote &) { }
    virtual void tradeReceived(const LxTrade &) { }
    /// For a symbol whose trades are subscribed: what was traded between two quotes. On subscription it is first called
    /// for the most recent earlier quotes.
    virtual void quotedTradeReceived(const LxTrade &) { }
    /// One message of an answer: bars of one symbol, unchanged as the service sent them.
    virtual void barsReceived(const QList<QVariantMap> &, int /*period*/) { }

protected:
    ~LxReceiver() = default;
};
