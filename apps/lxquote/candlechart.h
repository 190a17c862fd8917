#pragma once

#include <QString>
#include <QVector>

/// One bar as a candle shows it.
struct Candle
{
    QString label; ///< its date or time
    double open = 0;
    double high = 0;
    double low = 0;
    double close = 0;
};

/// Draws candles as text, rising ones red and falling ones green. If there are more candles than columns, adjacent ones
/// are combined.
QString drawCandles(const QVector<Candle> &candles, int columns, int rows);
