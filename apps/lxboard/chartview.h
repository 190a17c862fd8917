#pragma once

#include "theme.h"

#include <QWidget>

class QwtPlot;
class QwtPlotCurve;
class QwtPlotGrid;
class QwtPlotMarker;

/// Two plots, one above the other, that share their time axis: prices and volumes, with a crosshair through both.
///
/// The horizontal axis counts bars from 0, so that nights and week-ends leave no gaps. Shows indexes first() to last();
/// the wheel zooms at the pointer, dragging moves the range; arrow keys do both. Subclasses fill the plots.
class ChartView : public QWidget
{
    Q_OBJECT

public:
    explicit ChartView(QWidget *parent = nullptr);
    ~ChartView() override;

    virtual void setTheme(const Theme &theme);

    QwtPlot *pricePlot() const { return m_price; }
    QwtPlot *volumePlot() const { return m_volume; }

    double first() const { return m_first; }
    double last() const { return m_last; }
    /// Index under the crosshair; -1 if there is none.
    int hovered() const { return m_hovered; }

Q_SIGNALS:
    void hoveredChanged(int index);

protected:
    // The plots may lay themselves out while the window is taken down, when there is no subclass any more: what they
    // need then is not pure.

    /// Bars that there are to be shown.
    virtual int count() const { return 0; }
    /// The price that the horizontal line of the crosshair stands at; NaN: the pointer's.
    virtual double priceAt(int index) const = 0;
    /// Label of an index on the time axis.
    virtual QString timeLabel(int /*index*/) const { return QString(); }
    /// Called when the visible range has changed: adapt the vertical axes.
    virtual void rangeChanged() = 0;
    virtual bool canZoom() const { return true; }

    void setRange(double first, double last);
    void replot();
    /// Whether there are prices for the vertical axis; without any it has no labels.
    void setHasPrices(bool hasPrices);
    /// Volumes as sticks, in the colour of their bars.
    void setVolumes(const QVector<double> &volumes, const QVector<bool> &rises);
    void setCrosshair(int index, double price);

    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

    Theme m_theme;

private:
    class TimeScale;

    void styleAxes(QwtPlot *plot);
    void zoom(double factor, double center);
    void move(double bars);

    QwtPlot *const m_price;
    QwtPlot *const m_volume;
    QwtPlotGrid *m_grids[2];
    QwtPlotMarker *m_crosshairs[2];
    QwtPlotCurve *m_risingVolumes;
    QwtPlotCurve *m_fallingVolumes;
    double m_first = 0;
    double m_last = 1;
    int m_hovered = -1;
    QPoint m_dragFrom;
    bool m_isDragging = false;
};
