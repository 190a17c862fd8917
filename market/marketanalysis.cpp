#include "marketanalysis.h"

#include "dates.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>

#include <algorithm>

namespace {

constexpr int RankingRows = 100;
constexpr double PriceTick = 0.01; // of stocks in Shanghai and Shenzhen

const QString rankingTopic = QStringLiteral("ADINDICATORSRANKINGRECORD");
const QString upsDownsTopic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

enum Ranking { ChangeRatio = 1, TurnoverValue = 2, Amplitude = 3 };

bool samePrice(double a, double b)
{
    return std::abs(a - b) < PriceTick / 2;
}

void addHead(CPackMessageCommon &pack, const QString &topic, QDate date, QTime time)
{
    pack.AddVaule(Orca_Fields::System::msgType, topic);
    pack.AddVaule(QStringLiteral("MDDate"), Dates::toCompactString(date));
    pack.AddVaule(QStringLiteral("MDTime"), Dates::toCompactString(time));
}

} // namespace

void MarketAnalysis::observe(RecordingKind kind, const CsvRecording::Row &row, LxBusPublisher &publisher)
{
    if (kind != RecordingKind::StockQuote)
        return;
    const bool newDate = row.date != m_date;
    if (newDate || row.time.msecsSinceStartOfDay() / 1000 != m_time.msecsSinceStartOfDay() / 1000)
        publish(publisher);
    if (newDate) {
        m_stocks.clear();
        m_markets.clear();
    }
    m_date = row.date;
    m_time = row.time;
    Stock &stock = m_stocks[row.symbol];
    if (!stock.market)
        stock.market = &m_markets[row.symbol.section(QLatin1Char('.'), -1)];
    stock.market->remove(stock);
    stock.quote = row.quote;
    stock.market->add(stock);
}

void MarketAnalysis::Counts::count(const Stock &stock, int change)
{
    if (!stock.isTraded())
        return;
    const QuoteFigures &quote = stock.quote;
    traded += change;
    if (samePrice(quote.lastPx, quote.preClosePx))
        unchanged += change;
    else
        (quote.lastPx > quote.preClosePx ? rising : falling) += change;
    if (quote.maxPx > 0 && samePrice(quote.lastPx, quote.maxPx))
        limitUp += change;
    if (quote.minPx > 0 && samePrice(quote.lastPx, quote.minPx))
        limitDown += change;
}

void MarketAnalysis::publish(LxBusPublisher &publisher) const
{
    if (m_stocks.isEmpty())
        return;
    for (int ranking : { ChangeRatio, TurnoverValue, Amplitude }) {
        if (publisher.hasListeners(rankingTopic, QString::number(ranking)))
            publishRanking(ranking, publisher);
    }
    if (publisher.hasListeners(upsDownsTopic, QString()))
        publishUpsDowns(publisher);
}

void MarketAnalysis::publishRanking(int ranking, LxBusPublisher &publisher) const
{
    struct Entry
    {
        QString symbol;
        double lastPx;
        double value;
    };
    QVector<Entry> entries;
    for (auto stock = m_stocks.cbegin(); stock != m_stocks.cend(); ++stock) {
        if (!stock->isTraded())
            continue;
        const QuoteFigures &quote = stock->quote;
        double value = quote.totalValueTrade.value_or(0);
        if (ranking == ChangeRatio)
            value = (quote.lastPx - quote.preClosePx) / quote.preClosePx * 100;
        else if (ranking == Amplitude)
            value = (quote.highPx - quote.lowPx) / quote.preClosePx * 100;
        entries.append({ stock.key(), quote.lastPx, value });
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.value > b.value; });

    CPackMessageCommon pack;
    addHead(pack, rankingTopic, m_date, m_time);
    pack.AddVaule(QStringLiteral("RankingKind"), ranking);
    pack.AddVaule(QStringLiteral("SymbolCount"), entries.size());
    for (int i = 0; i < std::min(entries.size(), RankingRows); ++i) {
        pack.AddRow();
        pack.AddVaule(QStringLiteral("Rank"), i + 1);
        pack.AddVaule(QStringLiteral("Symbol"), entries.at(i).symbol);
        pack.AddVaule(QStringLiteral("LastPx"), entries.at(i).lastPx);
        pack.AddVaule(QStringLiteral("Value"), entries.at(i).value);
    }
    publisher.publish(rankingTopic, QString::number(ranking), pack.GetPackedMsg(false));
}

void MarketAnalysis::publishUpsDowns(LxBusPublisher &publisher) const
{
    CPackMessageCommon pack;
    addHead(pack, upsDownsTopic, m_date, m_time);
    for (auto market = m_markets.cbegin(); market != m_markets.cend(); ++market) {
        if (market->traded == 0)
            continue;
        pack.AddRow();
        pack.AddVaule(QStringLiteral("Market"), market.key());
        pack.AddVaule(QStringLiteral("Rising"), market->rising);
        pack.AddVaule(QStringLiteral("Falling"), market->falling);
        pack.AddVaule(QStringLiteral("Unchanged"), market->unchanged);
        pack.AddVaule(QStringLiteral("LimitUp"), market->limitUp);
        pack.AddVaule(QStringLiteral("LimitDown"), market->limitDown);
    }
    publisher.publish(upsDownsTopic, QString(), pack.GetPackedMsg(false));
}
