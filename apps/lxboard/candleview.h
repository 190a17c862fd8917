#pragma once

#include "chartview.h"

#include <lxbarseries.h>

/// Candles of a series with moving averages.
class CandleView : public ChartView
{
    Q_OBJECT

public:
    static constexpr int AverageLengths[3] { 5, 10, 20 };

    explicit CandleView(LxBarSeries *series, QWidget *parent = nullptr);

    void setTheme(const Theme &theme) override;
    /// What there is to say of the bar under the crosshair, or else of the last one, as rich text.
    QString readOut() const;

protected:
    int count() const override;
    double priceAt(int index) const override;
    QString timeLabel(int index) const override;
    void rangeChanged() override;

private:
    void showBars();

    LxBarSeries *const m_series;
    class Candles;
    Candles *const m_candles;
    QwtPlotCurve *m_averages[3];
    QVector<double> m_averageValues[3];
    int m_shown = 0; // bars at the last update
};
