#pragma once

#include "lxframe_p.h"
#include "lxmarketfeed_p.h"

#include <QMutex>

#include <utility>

/// Collects the latest quote of each symbol between two frames. Any thread.
class LxQuoteMailbox final : public LxReceiver
{
public:
    explicit LxQuoteMailbox(LxFrame *frame) : m_frame(frame) { }

    QHash<QString, LxQuote> take()
    {
        QMutexLocker locker(&m_mutex);
        return std::exchange(m_quotes, {});
    }

    void quoteReceived(const LxQuote &quote) override
    {
        QMutexLocker locker(&m_mutex);
        m_quotes.insert(quote.symbol, quote);
        m_frame->request();
    }

private:
    LxFrame *const m_frame;
    QMutex m_mutex;
    QHash<QString, LxQuote> m_quotes;
};
