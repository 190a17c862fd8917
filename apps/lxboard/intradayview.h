#pragma once

#include "chartview.h"

#include <lxbarseries.h>

/// The line of the current day with its average price, in percent of the previous close on the right.
class IntradayView : public ChartView
{
    Q_OBJECT

public:
    explicit IntradayView(LxBarSeries *series, QWidget *parent = nullptr);

    void setTheme(const Theme &theme) override;
    /// What there is to say of the minute under the crosshair, or else of the last one, as rich text.
    QString readOut() const;

protected:
    int count() const override;
    double priceAt(int index) const override;
    QString timeLabel(int index) const override;
    void rangeChanged() override;
    bool canZoom() const override { return false; }

private:
    struct Minute
    {
        double price = LxNoValue;
        double average = LxNoValue;
        double volume = LxNoValue;
        bool rises = true;
    };

    void showBars();
    int lastMinute() const;

    LxBarSeries *const m_series;
    QwtPlotCurve *const m_line;
    QwtPlotCurve *const m_average;
    QwtPlotMarker *const m_previousClose;
    QVector<Minute> m_minutes; // of the whole day
};
