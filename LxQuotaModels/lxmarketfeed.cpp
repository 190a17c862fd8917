#include "lxmarketfeed_p.h"

#include "lxtradingtime.h"

#include <lxquotahandler.h>

#include <QDeadlineTimer>
#include <QMutex>

#include <atomic>

namespace {

constexpr int RecentTrades = 20; // about 2 kB per symbol

void queryFigures(const QStringList &stocks)
{
    if (stocks.isEmpty())
        return;
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    QList<LxStockDeepData> known; // not used: the quotes contain these figures already
    quota.QueryStockDeepData(stocks, known, false);
    quota.queryPEData(stocks);
    quota.queryQRRData(stocks);
}

} // namespace

// What the feed of the moment knows. There is one for the life of the process, which stays connected to the library: Qt
// 5 must not end a direct connection while another thread emits the signal, as the library's threads do at any time.
struct LxMarketFeed::State
{
    struct Symbol
    {
        QVector<LxReceiver *> receivers;
        LxQuote latest;
        LxLiveBars bars;
        QVector<LxTrade> trades; // the most recent ones, derived from quotes
    };

    static State *instance();
    void connectToLibrary();
    template<typename Record>
    void take(const Record &record);
    void takeStock(const QString &symbol);
    void takeMessage(const QVariant &type, const QVariant &body);
    void takeBars(const QList<QVariantMap> &rows, int period);
    void deliver(Symbol *symbol, LxQuote quote);
    void queryMissingFigures();
    /// Receivers of kinds other than Quotes.
    QHash<QString, QVector<LxReceiver *>> &receivers(Kind kind) { return kind == Trades ? trades : bars; }

    mutable QMutex mutex; // guards everything but hasTradeReceivers
    QHash<QString, Symbol> quotes;
    QHash<QString, QVector<LxReceiver *>> trades;
    QHash<QString, QVector<LxReceiver *>> bars;
    std::atomic<bool> hasTradeReceivers { false };
    QStringList withoutFigures; // stocks whose figures have to be requested
    QObject *sender = nullptr; // of the feed; null while there is none

    QString marketDate;
    int marketTime = -1;
    QElapsedTimer sinceMarketTime;
};

LxMarketFeed::State *LxMarketFeed::State::instance()
{
    static State *const instance = [] {
        auto *state = new State;
        state->connectToLibrary();
        return state;
    }();
    return instance;
}

// On the library's threads, whatever thread that is.
void LxMarketFeed::State::connectToLibrary()
{
    const LxQuotaHandler *quota = &LxQuotaHandler::instance();
    const auto connect = [quota](auto signal, auto slot) { QObject::connect(quota, signal, slot); };
    connect(&LxQuotaHandler::signalStockQuotaUpdate,
            [this](const StockQuotaData &record) { takeStock(record.Symbol); });
    connect(&LxQuotaHandler::signalIndexQuotaUpdate, [this](const IndexQuotaData &record) { take(record); });
    connect(&LxQuotaHandler::signalFutureQuotaUpdate, [this](const FutureQuotaData &record) { take(record); });
    connect(&LxQuotaHandler::signalStockDeepDataUpdate, [this](const QStringList &symbols) {
        for (const QString &symbol : symbols)
            takeStock(symbol);
    });
    connect(&LxQuotaHandler::signalKLineResponse,
            [this](const QList<QVariantMap> &rows, EMD_KLINE_PERIOD period) { takeBars(rows, period); });
    connect(&LxQuotaHandler::sigRecvQuotaData,
            [this](const QVariant &type, const QVariant &body) { takeMessage(type, body); });
}

template<typename Record>
void LxMarketFeed::State::take(const Record &record)
{
    QMutexLocker locker(&mutex);
    const auto found = quotes.find(record.Symbol);
    if (found != quotes.end())
        deliver(&found.value(), LxQuote(record));
}

// Reads the library's record while the mutex is held, so that if two threads deliver the same symbol, the later
// delivery has the more recent record.
void LxMarketFeed::State::takeStock(const QString &symbol)
{
    QMutexLocker locker(&mutex);
    const auto found = quotes.find(symbol);
    if (found == quotes.end())
        return;
    const StockQuotaData record = LxQuotaHandler::instance().GetLastStockQuotaDataTotal(symbol);
    if (!record.Symbol.isEmpty()) // empty: the library has no quote of the symbol yet
        deliver(&found.value(), LxQuote(record));
}

void LxMarketFeed::State::deliver(Symbol *symbol, LxQuote quote)
{
    if (quote.kind == LxQuote::Stock && symbol->latest.kind == LxQuote::Unknown) {
        withoutFigures.append(quote.symbol);
        if (withoutFigures.size() == 1 && sender) {
            QMetaObject::invokeMethod(
                sender, [this] { queryMissingFigures(); }, Qt::QueuedConnection);
        }
    }
    // Equal strings share their memory.
    if (quote.symbol == symbol->latest.symbol)
        quote.symbol = symbol->latest.symbol;
    if (quote.date == symbol->latest.date)
        quote.date = symbol->latest.date;
    const LxTrade trade(symbol->latest, quote);
    if (trade.lots > 0) {
        if (symbol->trades.size() == RecentTrades)
            symbol->trades.removeFirst();
        symbol->trades.append(trade);
        for (LxReceiver *receiver : trades.value(trade.symbol))
            receiver->quotedTradeReceived(trade);
    }
    symbol->latest = std::move(quote);
    symbol->latest.received = QDeadlineTimer::current().deadline();
    symbol->bars.add(symbol->latest);
    const int time = LxTradingTime::fromText(symbol->latest.time);
    if (time >= 0 && (symbol->latest.date > marketDate || (symbol->latest.date == marketDate && time >= marketTime))) {
        marketDate = symbol->latest.date;
        marketTime = time;
        sinceMarketTime.start();
    }
    for (LxReceiver *receiver : std::as_const(symbol->receivers))
        receiver->quoteReceived(symbol->latest);
}

void LxMarketFeed::State::queryMissingFigures()
{
    QStringList symbols;
    {
        QMutexLocker locker(&mutex);
        symbols.swap(withoutFigures);
    }
    queryFigures(symbols);
}

// The library announces only the symbol of a transaction; the other fields are read from the message that it receives.
void LxMarketFeed::State::takeMessage(const QVariant &type, const QVariant &body)
{
    if (!hasTradeReceivers || type.toString() != QLatin1String("MDTRANSACTIONRECORD"))
        return;
    const LxTrade trade(body);
    QMutexLocker locker(&mutex);
    const auto found = trades.constFind(trade.symbol);
    if (found == trades.cend())
        return;
    for (LxReceiver *receiver : found.value())
        receiver->tradeReceived(trade);
}

void LxMarketFeed::State::takeBars(const QList<QVariantMap> &rows, int period)
{
    const QString symbol = rows.constFirst().value(QStringLiteral("Symbol")).toString();
    QMutexLocker locker(&mutex);
    const auto found = bars.constFind(symbol);
    if (found == bars.cend())
        return;
    for (LxReceiver *receiver : found.value())
        receiver->barsReceived(rows, period);
}

std::shared_ptr<LxMarketFeed> LxMarketFeed::shared()
{
    static QMutex mutex;
    static std::weak_ptr<LxMarketFeed> current;
    QMutexLocker locker(&mutex);
    std::shared_ptr<LxMarketFeed> feed = current.lock();
    if (!feed) {
        feed.reset(new LxMarketFeed);
        current = feed;
    }
    return feed;
}

LxMarketFeed::LxMarketFeed() : m_state(State::instance())
{
    m_sender.moveToThread(&m_thread);
    m_thread.setObjectName(QStringLiteral("LxQuotaModels_Sender"));
    m_thread.start();
    QMutexLocker locker(&m_state->mutex);
    m_state->sender = &m_sender;
}

LxMarketFeed::~LxMarketFeed()
{
    {
        QMutexLocker locker(&m_state->mutex);
        m_state->sender = nullptr;
        m_state->withoutFigures.clear();
        m_state->marketDate.clear();
        m_state->marketTime = -1;
    }
    // Quits after everything that was queued to the thread before, so that every subscription is ended with the
    // library.
    send([this] { m_thread.quit(); });
    m_thread.wait();
}

void LxMarketFeed::subscribe(Kind kind, LxReceiver *receiver, const QStringList &symbols)
{
    QStringList added;
    QMutexLocker locker(&m_state->mutex);
    for (const QString &symbol : symbols) {
        if (kind != Quotes) {
            QVector<LxReceiver *> &receivers = m_state->receivers(kind)[symbol];
            if (receivers.isEmpty())
                added.append(symbol);
            receivers.append(receiver);
            if (kind == Trades) {
                for (const LxTrade &trade : m_state->quotes.value(symbol).trades)
                    receiver->quotedTradeReceived(trade);
            }
            continue;
        }
        State::Symbol &entry = m_state->quotes[symbol];
        if (entry.receivers.isEmpty())
            added.append(symbol);
        entry.receivers.append(receiver);
        if (entry.latest.kind != LxQuote::Unknown)
            receiver->quoteReceived(entry.latest);
    }
    m_state->hasTradeReceivers = !m_state->trades.isEmpty();
    sendSubscription(kind, added, true);
}

void LxMarketFeed::unsubscribe(Kind kind, LxReceiver *receiver, const QStringList &symbols)
{
    QStringList removed;
    QMutexLocker locker(&m_state->mutex);
    for (const QString &symbol : symbols) {
        if (kind != Quotes) {
            QVector<LxReceiver *> &receivers = m_state->receivers(kind)[symbol];
            receivers.removeOne(receiver);
            if (!receivers.isEmpty())
                continue;
            m_state->receivers(kind).remove(symbol);
        } else {
            State::Symbol &entry = m_state->quotes[symbol];
            entry.receivers.removeOne(receiver);
            if (!entry.receivers.isEmpty())
                continue;
            m_state->quotes.remove(symbol);
        }
        removed.append(symbol);
    }
    m_state->hasTradeReceivers = !m_state->trades.isEmpty();
    sendSubscription(kind, removed, false);
}

void LxMarketFeed::requestFigures(const QStringList &stocks)
{
    send([stocks] { queryFigures(stocks); });
}

void LxMarketFeed::send(std::function<void()> request)
{
    QMetaObject::invokeMethod(&m_sender, std::move(request), Qt::QueuedConnection);
}

// Called with the mutex held, so that requests go out in the order in which the counts changed.
void LxMarketFeed::sendSubscription(Kind kind, const QStringList &symbols, bool subscribe)
{
    if (symbols.isEmpty() || kind == Bars)
        return;
    send([kind, symbols = symbols, subscribe]() mutable {
        if (kind == Quotes)
            LxQuotaHandler::instance().SubscribeQuote(symbols, subscribe);
        else
            LxQuotaHandler::instance().SubscribeRecordTransaction(symbols, subscribe);
    });
}

LxQuote LxMarketFeed::latest(const QString &symbol) const
{
    QMutexLocker locker(&m_state->mutex);
    const auto found = m_state->quotes.constFind(symbol);
    return found != m_state->quotes.cend() ? found->latest : LxQuote();
}

QVector<LxBar> LxMarketFeed::minuteBars(const QString &symbol) const
{
    QMutexLocker locker(&m_state->mutex);
    const auto found = m_state->quotes.constFind(symbol);
    return found != m_state->quotes.cend() ? found->bars.minutes() : QVector<LxBar>();
}

int LxMarketFeed::marketTime() const
{
    QMutexLocker locker(&m_state->mutex);
    if (m_state->marketTime < 0)
        return -1;
    return m_state->marketTime + static_cast<int>(m_state->sinceMarketTime.elapsed());
}

QString LxMarketFeed::marketDate() const
{
    QMutexLocker locker(&m_state->mutex);
    return m_state->marketDate;
}
