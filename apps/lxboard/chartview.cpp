#include "chartview.h"

#include <lxquotetext.h>

#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_marker.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_widget.h>
#include <qwt_text.h>

#include <QMouseEvent>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {

constexpr double SmallestRange = 15; // bars
constexpr double WheelFactor = 1.2;
constexpr int PricesTimesVolumes = 3; // heights
constexpr double VolumeHeadroom = 1.25; // keeps the volumes' labels apart from those of the prices

class VolumeScale : public QwtScaleDraw
{
public:
    QwtText label(double value) const override
    {
        return value > 0 ? LxQuoteText::amount(value, LxQuoteText::localUnits()) : QString();
    }
};

class PriceScale : public QwtScaleDraw
{
public:
    QwtText label(double value) const override { return LxQuoteText::price(value); }
};

} // namespace

class ChartView::TimeScale : public QwtScaleDraw
{
public:
    explicit TimeScale(const ChartView *view) : m_view(view) { }

    QwtText label(double value) const override { return m_view->timeLabel(static_cast<int>(std::lround(value))); }

private:
    const ChartView *const m_view;
};

ChartView::ChartView(QWidget *parent)
    : QWidget(parent), m_theme(Theme::Light, true), m_price(new QwtPlot(this)), m_volume(new QwtPlot(this))
{
    setFocusPolicy(Qt::StrongFocus);
    m_price->setAccessibleName(tr("Prices"));
    m_volume->setAccessibleName(tr("Volumes"));
    int i = 0;
    for (QwtPlot *plot : { m_price, m_volume }) {
        auto *canvas = new QwtPlotCanvas(plot);
        canvas->setFrameStyle(QFrame::NoFrame);
        canvas->setFocusPolicy(Qt::NoFocus);
        canvas->setAccessibleName(plot->accessibleName());
        canvas->setMouseTracking(true);
        canvas->installEventFilter(this);
        canvas->setCursor(Qt::CrossCursor);
        plot->setCanvas(canvas);
        plot->setAxisAutoScale(QwtPlot::yLeft, false);
        plot->setAxisScaleDraw(QwtPlot::xBottom, new TimeScale(this));
        plot->plotLayout()->setAlignCanvasToScales(true);
        plot->setMinimumSize(1, 1); // the splitters decide
        m_grids[i] = new QwtPlotGrid;
        m_grids[i]->enableX(false);
        m_grids[i]->attach(plot);
        m_crosshairs[i] = new QwtPlotMarker;
        m_crosshairs[i]->setZ(100);
        m_crosshairs[i]->setVisible(false);
        m_crosshairs[i]->attach(plot);
        ++i;
    }
    m_crosshairs[0]->setLineStyle(QwtPlotMarker::Cross);
    m_crosshairs[1]->setLineStyle(QwtPlotMarker::VLine);
    m_price->enableAxis(QwtPlot::xBottom, false);
    m_price->setAxisScaleDraw(QwtPlot::yLeft, new PriceScale);
    m_volume->setAxisScaleDraw(QwtPlot::yLeft, new VolumeScale);
    m_volume->setAxisMaxMajor(QwtPlot::yLeft, 2);
    for (QwtPlotCurve **curve : { &m_risingVolumes, &m_fallingVolumes }) {
        *curve = new QwtPlotCurve;
        (*curve)->setStyle(QwtPlotCurve::Sticks);
        (*curve)->setRenderHint(QwtPlotItem::RenderAntialiased, false);
        (*curve)->attach(m_volume);
    }

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_price, PricesTimesVolumes);
    layout->addWidget(m_volume, 1);
    styleAxes(m_price);
    styleAxes(m_volume);
}

ChartView::~ChartView()
{
    for (QwtPlot *plot : { m_price, m_volume })
        plot->canvas()->removeEventFilter(this);
}

void ChartView::styleAxes(QwtPlot *plot)
{
    for (int axis = 0; axis < QwtPlot::axisCnt; ++axis) {
        QwtScaleDraw *draw = plot->axisScaleDraw(axis);
        draw->enableComponent(QwtAbstractScaleDraw::Backbone, false);
        draw->enableComponent(QwtAbstractScaleDraw::Ticks, false);
        plot->axisWidget(axis)->setMargin(0);
        plot->setAxisFont(axis, font());
    }
    // Of both plots, so that their canvases are aligned.
    const double extent = QFontMetrics(font()).horizontalAdvance(QStringLiteral("10000.00")) + 8;
    plot->axisScaleDraw(QwtPlot::yLeft)->setMinimumExtent(extent);
}

void ChartView::setTheme(const Theme &theme)
{
    m_theme = theme;
    for (QwtPlot *plot : { m_price, m_volume }) {
        plot->setCanvasBackground(theme.palette.color(QPalette::Base));
        QPalette palette = theme.palette;
        palette.setColor(QPalette::WindowText, theme.weakText);
        palette.setColor(QPalette::Text, theme.weakText);
        plot->setPalette(palette);
        plot->setAutoFillBackground(true);
        palette.setColor(QPalette::Window, theme.palette.color(QPalette::Base));
        plot->setPalette(palette);
    }
    for (QwtPlotGrid *grid : m_grids)
        grid->setMajorPen(theme.grid, 0, Qt::SolidLine);
    for (QwtPlotMarker *crosshair : m_crosshairs)
        crosshair->setLinePen(theme.crosshair, 0, Qt::DashLine);
    replot();
}

void ChartView::replot()
{
    m_price->replot();
    m_volume->replot();
}

void ChartView::setHasPrices(bool hasPrices)
{
    for (int axis : { QwtPlot::yLeft, QwtPlot::yRight })
        m_price->axisScaleDraw(axis)->enableComponent(QwtAbstractScaleDraw::Labels, hasPrices);
}

void ChartView::setVolumes(const QVector<double> &volumes, const QVector<bool> &rises)
{
    QVector<QPointF> risingPoints;
    QVector<QPointF> fallingPoints;
    for (int i = 0; i < volumes.size(); ++i) {
        if (volumes.at(i) > 0)
            (rises.at(i) ? risingPoints : fallingPoints).append({ static_cast<double>(i), volumes.at(i) });
    }
    const double pixels = m_volume->canvas()->width() / std::max(m_last - m_first, 1.0);
    const double width = std::max(1.0, std::floor(pixels * 0.6));
    m_risingVolumes->setPen(m_theme.rising, width);
    m_fallingVolumes->setPen(m_theme.falling, width);
    for (QwtPlotCurve *curve : { m_risingVolumes, m_fallingVolumes }) {
        QPen pen = curve->pen();
        pen.setCapStyle(Qt::FlatCap);
        curve->setPen(pen);
    }
    m_risingVolumes->setSamples(risingPoints);
    m_fallingVolumes->setSamples(fallingPoints);
    double largest = 0;
    for (int i = std::max(0, static_cast<int>(m_first)); i < volumes.size() && i <= m_last; ++i)
        largest = std::fmax(largest, volumes.at(i));
    m_volume->axisScaleDraw(QwtPlot::yLeft)->enableComponent(QwtAbstractScaleDraw::Labels, largest > 0);
    m_volume->setAxisScale(QwtPlot::yLeft, 0, largest > 0 ? largest * VolumeHeadroom : 1);
}

// --- Range ---

void ChartView::setRange(double first, double last)
{
    m_first = first;
    m_last = last;
    for (QwtPlot *plot : { m_price, m_volume })
        plot->setAxisScale(QwtPlot::xBottom, first, last);
    rangeChanged();
    replot();
}

void ChartView::zoom(double factor, double center)
{
    if (!canZoom())
        return;
    const double most = std::max<double>(count(), SmallestRange);
    const double size = std::clamp((m_last - m_first) * factor, SmallestRange, most);
    const double share = (center - m_first) / (m_last - m_first);
    setRange(center - share * size, center + (1 - share) * size);
    move(0);
}

// Moves the range towards later bars, as far as there are any.
void ChartView::move(double bars)
{
    if (!canZoom())
        return;
    const double size = m_last - m_first;
    const double first = std::clamp(m_first + bars, -0.5, std::max(-0.5, count() - 0.5 - size));
    setRange(first, first + size);
}

// --- Mouse and keys ---

void ChartView::setCrosshair(int index, double price)
{
    const bool isVisible = index >= 0 && index < count();
    const double fixed = isVisible ? priceAt(index) : std::nan("");
    for (QwtPlotMarker *crosshair : m_crosshairs) {
        crosshair->setVisible(isVisible);
        crosshair->setValue(index, std::isnan(fixed) ? price : fixed);
    }
    replot();
    if (index == m_hovered)
        return;
    m_hovered = isVisible ? index : -1;
    Q_EMIT hoveredChanged(m_hovered);
}

bool ChartView::eventFilter(QObject *watched, QEvent *event)
{
    const bool isPrice = watched == m_price->canvas();
    const QwtPlot *plot = isPrice ? m_price : m_volume;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        setFocus();
        m_isDragging = static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton;
        m_dragFrom = static_cast<QMouseEvent *>(event)->pos();
        return true;
    case QEvent::MouseButtonRelease:
        m_isDragging = false;
        return true;
    case QEvent::MouseMove: {
        const QPoint position = static_cast<QMouseEvent *>(event)->pos();
        if (m_isDragging) {
            const double bars = plot->invTransform(QwtPlot::xBottom, m_dragFrom.x())
                - plot->invTransform(QwtPlot::xBottom, position.x());
            m_dragFrom = position;
            move(bars);
        }
        setCrosshair(static_cast<int>(std::lround(plot->invTransform(QwtPlot::xBottom, position.x()))),
                     isPrice ? plot->invTransform(QwtPlot::yLeft, position.y()) : std::nan(""));
        return true;
    }
    case QEvent::Leave:
        setCrosshair(-1, 0);
        return false;
    case QEvent::Wheel: {
        const auto *wheel = static_cast<QWheelEvent *>(event);
        zoom(wheel->angleDelta().y() > 0 ? 1 / WheelFactor : WheelFactor,
             plot->invTransform(QwtPlot::xBottom, wheel->position().x()));
        return true;
    }
    default:
        return QWidget::eventFilter(watched, event);
    }
}

void ChartView::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Up:
        zoom(1 / WheelFactor, m_last);
        return;
    case Qt::Key_Down:
        zoom(WheelFactor, m_last);
        return;
    case Qt::Key_Left:
    case Qt::Key_Right: {
        // Moves the crosshair from bar to bar, and the range with it.
        const int step = event->key() == Qt::Key_Left ? -1 : 1;
        const int from = m_hovered >= 0 ? m_hovered : std::min(count(), static_cast<int>(m_last)) - step;
        const int index = std::clamp(from + step, 0, std::max(count() - 1, 0));
        if (index < m_first)
            move(index - m_first - 1);
        else if (index > m_last)
            move(index - m_last + 1);
        setCrosshair(index, std::nan(""));
        return;
    }
    case Qt::Key_Escape:
        setCrosshair(-1, 0);
        event->ignore(); // the window may have a use for it
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}
