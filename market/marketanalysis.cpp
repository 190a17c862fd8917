#include "marketanalysis.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <QTime>

#include <algorithm>

namespace {

constexpr int RankingRows = 100;
constexpr double PriceTick = 0.01; // the price step of stocks, Shanghai and Shenzhen

const QString rankingTopic = QStringLiteral("ADINDICATORSRANKINGRECORD");
const QString upsDownsTopic = QStringLiteral("ADUPSDOWNSANALYSISRECORD");

enum Ranking { ChangeRatio = 1, TurnoverValue = 2, Amplitude = 3 };

QString timeText(int time)
{
    return QTime::fromMSecsSinceStartOfDay(time).toString(QStringLiteral("HHmmsszzz"));
}

bool samePrice(double a, double b)
{
    return std::abs(a - b) < PriceTick / 2;
}

void addHead(CPackMessageCommon &pack, const QString &topic, const QString &date, int time)
{
    pack.AddVaule(Orca_Fields::System::msgType, topic);
    pack.AddVaule(QStringLiteral("MDDate"), date);
    pack.AddVaule(QStringLiteral("MDTime"), timeText(time));
}

} // namespace

void MarketAnalysis::observe(RecordingKind kind, const CsvRecording::Row &row, LxBusServicePort &port)
{
    if (kind != RecordingKind::StockQuote)
        return;
    if (row.day != m_day || row.time / 1000 != m_time / 1000)
        publish(port);
    if (row.day != m_day) {
        m_stocks.clear();
        m_markets.clear();
    }
    m_day = row.day;
    m_date = row.date;
    m_time = row.time;
    CUnPackMessageCommon quote;
    quote.SetUnPackMsg(row.body, false);
    const QVariant none;
    const auto number = [&](const QString &key) { return quote.GetValue(key, none).toDouble(); };
    Stock &stock = m_stocks[row.symbol];
    if (!stock.market)
        stock.market = &m_markets[row.symbol.section(QLatin1Char('.'), -1)];
    stock.market->add(stock, -1);
    stock = { stock.market,
              number(QStringLiteral("PreClosePx")),
              number(QStringLiteral("LastPx")),
              number(QStringLiteral("HighPx")),
              number(QStringLiteral("LowPx")),
              number(QStringLiteral("MaxPx")),
              number(QStringLiteral("MinPx")),
              number(QStringLiteral("TotalValueTrade")) };
    stock.market->add(stock, 1);
}

// Adds the stock, or with -1 takes it away.
void MarketAnalysis::Counts::add(const Stock &stock, int times)
{
    if (!stock.isTraded())
        return;
    traded += times;
    if (samePrice(stock.lastPx, stock.preClosePx))
        unchanged += times;
    else
        (stock.lastPx > stock.preClosePx ? rising : falling) += times;
    if (stock.maxPx > 0 && samePrice(stock.lastPx, stock.maxPx))
        limitUp += times;
    if (stock.minPx > 0 && samePrice(stock.lastPx, stock.minPx))
        limitDown += times;
}

void MarketAnalysis::publish(LxBusServicePort &port) const
{
    if (m_stocks.isEmpty())
        return;
    for (int ranking : { ChangeRatio, TurnoverValue, Amplitude }) {
        if (port.hasListeners(rankingTopic, QString::number(ranking)))
            publishRanking(ranking, port);
    }
    if (port.hasListeners(upsDownsTopic, QString()))
        publishUpsDowns(port);
}

void MarketAnalysis::publishRanking(int ranking, LxBusServicePort &port) const
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
        double value = stock->totalValueTrade;
        if (ranking == ChangeRatio)
            value = (stock->lastPx - stock->preClosePx) / stock->preClosePx * 100;
        else if (ranking == Amplitude)
            value = (stock->highPx - stock->lowPx) / stock->preClosePx * 100;
        entries.append({ stock.key(), stock->lastPx, value });
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
    port.publish(rankingTopic, QString::number(ranking), pack.GetPackedMsg(false));
}

void MarketAnalysis::publishUpsDowns(LxBusServicePort &port) const
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
    port.publish(upsDownsTopic, QString(), pack.GetPackedMsg(false));
}
