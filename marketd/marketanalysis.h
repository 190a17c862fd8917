#pragma once

#include "csvrecording.h"

#include <lxbus/bus.h>

#include <QHash>
#include <QMap>
#include <QString>

/// Derives rankings and counts of rising and falling stocks from the stock quotes that pass: the state at the end of
/// each second of market time that has quotes, published while somebody listens.
///
/// docs/messages.md describes the fields. Not thread-safe.
class MarketAnalysis
{
public:
    /// Takes a row in; publishes the second before it, if the row begins a new one.
    void observe(RecordingKind kind, const CsvRecording::Row &row, LxBusServicePort &port);
    /// Publishes the current state.
    void publish(LxBusServicePort &port) const;

private:
    struct Stock;

    // Of the stocks of a market that have been traded.
    struct Counts
    {
        int traded = 0;
        int rising = 0;
        int falling = 0;
        int unchanged = 0;
        int limitUp = 0;
        int limitDown = 0;

        void add(const Stock &stock, int times);
    };

    struct Stock
    {
        Counts *market = nullptr; // in m_markets
        double preClosePx = 0;
        double lastPx = 0;
        double highPx = 0;
        double lowPx = 0;
        double maxPx = 0;
        double minPx = 0;
        double totalValueTrade = 0;

        bool isTraded() const { return lastPx > 0 && preClosePx > 0; }
    };

    void publishRanking(int ranking, LxBusServicePort &port) const;
    void publishUpsDowns(LxBusServicePort &port) const;

    QMap<QString, Counts> m_markets; // by what stands behind the last point of a symbol
    QMap<QString, Stock> m_stocks; // by symbol
    int m_day = 0;
    QString m_date;
    int m_time = 0;
};
