#pragma once

#include "csvrecording.h"

#include <lxbus/bus.h>

#include <QMap>
#include <QString>

/// Derives rankings and counts of rising and falling stocks from a stream of stock quotes. Publishes the state at the
/// end of each second of market time that has quotes, if a client has subscribed to it.
///
/// docs/messages.md describes the fields. Not thread-safe.
class MarketAnalysis
{
public:
    /// Adds a record; those that are not stock quotes are ignored. If it is the first of a new second, first publishes
    /// the state at the end of the previous second.
    void observe(RecordingKind kind, const CsvRecording::Row &row, LxBusPublisher &publisher);
    /// Publishes the current state.
    void publish(LxBusPublisher &publisher) const;

private:
    struct Stock;

    // Numbers of stocks of a market that have been traded.
    struct Counts
    {
        int traded = 0;
        int rising = 0;
        int falling = 0;
        int unchanged = 0;
        int limitUp = 0;
        int limitDown = 0;

        void add(const Stock &stock) { count(stock, 1); }
        void remove(const Stock &stock) { count(stock, -1); }
        void count(const Stock &stock, int change);
    };

    struct Stock
    {
        Counts *market = nullptr; // in m_markets
        QuoteFigures quote;

        bool isTraded() const { return quote.lastPx > 0 && quote.preClosePx > 0; }
    };

    void publishRanking(int ranking, LxBusPublisher &publisher) const;
    void publishUpsDowns(LxBusPublisher &publisher) const;

    QMap<QString, Counts> m_markets; // by the suffix of the symbols
    QMap<QString, Stock> m_stocks; // by symbol
    QDate m_date;
    QTime m_time;
};
