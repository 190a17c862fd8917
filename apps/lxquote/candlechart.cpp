#include "candlechart.h"

#include "colours.h"
#include "figures.h"

#include <terminal.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr int AxisColumns = 11;
constexpr int SmallestHeight = 4;

QVector<Candle> joined(const QVector<Candle> &candles, int columns)
{
    const int together = (candles.size() + columns - 1) / columns;
    QVector<Candle> result;
    for (int i = 0; i < candles.size(); ++i) {
        const Candle &candle = candles.at(i);
        if (i % together == 0) {
            result.append(candle);
            continue;
        }
        Candle &last = result.last();
        last.high = std::max(last.high, candle.high);
        last.low = std::min(last.low, candle.low);
        last.close = candle.close;
    }
    return result;
}

} // namespace

QString drawCandles(const QVector<Candle> &candles, int columns, int rows)
{
    if (candles.isEmpty())
        return QString();
    const QVector<Candle> shown = joined(candles, std::max(1, columns - AxisColumns));
    const int height = std::max(SmallestHeight, rows);
    double lowest = shown.constFirst().low;
    double highest = shown.constFirst().high;
    for (const Candle &candle : shown) {
        lowest = std::min(lowest, candle.low);
        highest = std::max(highest, candle.high);
    }
    const double step = highest > lowest ? (highest - lowest) / (height - 1) : 1.0;
    const auto rowOf = [&](double price) { return static_cast<int>(std::lround((price - lowest) / step)); };

    QString chart;
    for (int row = height - 1; row >= 0; --row) {
        const bool labelled = row == height - 1 || row == 0 || row == height / 2;
        chart += Terminal::fitted(labelled ? Figures::text(lowest + row * step, 2) : QString(), -(AxisColumns - 1));
        chart += QLatin1Char(' ');
        for (const Candle &candle : shown) {
            const int bodyTop = rowOf(std::max(candle.open, candle.close));
            const int bodyBottom = rowOf(std::min(candle.open, candle.close));
            QString glyph = QStringLiteral(" ");
            if (row >= bodyBottom && row <= bodyTop)
                glyph = QStringLiteral("\u2588"); // full block
            else if (row >= rowOf(candle.low) && row <= rowOf(candle.high))
                glyph = QStringLiteral("\u2502"); // vertical line
            chart += glyph == QLatin1String(" ") ? glyph
                                                 : Colours::apply(glyph, Colours::ofChange(candle.close - candle.open));
        }
        chart += QLatin1Char('\n');
    }
    const QString first = candles.constFirst().label;
    const QString last = candles.constLast().label;
    const int gap = shown.size() - first.size() - last.size();
    chart += QString(AxisColumns, QLatin1Char(' ')) + first;
    if (gap > 0)
        chart += QString(gap, QLatin1Char(' ')) + last;
    return chart + QLatin1Char('\n');
}
