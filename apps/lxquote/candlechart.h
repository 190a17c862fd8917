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

/// Candles as text, red up and green down. More candles than `columns` has room for are joined, several into one.
QString drawCandles(const QVector<Candle> &candles, int columns, int rows);
