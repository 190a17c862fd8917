#include "intradayview.h"

#include <lxquotetext.h>
#include <lxtradingtime.h>

#include <qwt_plot.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_marker.h>
#include <qwt_scale_div.h>
#include <qwt_scale_draw.h>

#include <algorithm>
#include <cmath>

using LxTradingTime::MinutesPerDay;

namespace {

constexpr double SmallestShare = 0.005; // of the previous close, above and below it
constexpr int Rows = 2; // of the grid, above and below the previous close

class PercentScale : public QwtScaleDraw
{
public:
    double previousClose = LxNoValue;

    QwtText label(double value) const override { return LxQuoteText::changeRatio((value / previousClose - 1) * 100); }
};

} // namespace

IntradayView::IntradayView(LxBarSeries *series, QWidget *parent)
    : ChartView(parent), m_series(series), m_line(new QwtPlotCurve), m_average(new QwtPlotCurve),
      m_previousClose(new QwtPlotMarker)
{
    setObjectName(QStringLiteral("intradayView"));
    setAccessibleName(tr("Intraday chart"));
    for (QwtPlotCurve *curve : { m_line, m_average }) {
        curve->setRenderHint(QwtPlotItem::RenderAntialiased);
        curve->attach(pricePlot());
    }
    m_previousClose->setLineStyle(QwtPlotMarker::HLine);
    m_previousClose->attach(pricePlot());
    for (QwtPlot *plot : { pricePlot(), volumePlot() })
        plot->enableAxis(QwtPlot::yRight);
    pricePlot()->setAxisScaleDraw(QwtPlot::yRight, new PercentScale);
    const double extent = QFontMetrics(font()).horizontalAdvance(QStringLiteral("-10.00%")) + 8;
    for (QwtPlot *plot : { pricePlot(), volumePlot() }) {
        QwtScaleDraw *draw = plot->axisScaleDraw(QwtPlot::yRight);
        draw->enableComponent(QwtAbstractScaleDraw::Backbone, false);
        draw->enableComponent(QwtAbstractScaleDraw::Ticks, false);
        draw->setMinimumExtent(extent);
    }
    volumePlot()->axisScaleDraw(QwtPlot::yRight)->enableComponent(QwtAbstractScaleDraw::Labels, false);
    connect(m_series, &LxBarSeries::loaded, this, &IntradayView::showBars);
    connect(m_series, &LxBarSeries::changed, this, &IntradayView::showBars);
    showBars();
}

void IntradayView::setTheme(const Theme &theme)
{
    m_line->setPen(theme.line, 1.4);
    m_average->setPen(theme.averageLine, 1.2);
    m_previousClose->setLinePen(theme.weakText, 0, Qt::DashLine);
    ChartView::setTheme(theme);
    rangeChanged();
}

int IntradayView::count() const
{
    return lastMinute() + 1;
}

int IntradayView::lastMinute() const
{
    for (int i = m_minutes.size() - 1; i >= 0; --i) {
        if (m_minutes.at(i).price > 0)
            return i;
    }
    return -1;
}

double IntradayView::priceAt(int index) const
{
    return m_minutes.at(index).price;
}

QString IntradayView::timeLabel(int index) const
{
    // The morning begins at the start of its first minute.
    if (index <= 0)
        return LxQuoteText::minute(LxTradingTime::minuteOfBar(0) - 1);
    if (index == MinutesPerDay / 2 - 1)
        return QStringLiteral("11:30/13:00");
    return LxQuoteText::minute(LxTradingTime::minuteOfBar(std::min(index, MinutesPerDay - 1)));
}

void IntradayView::showBars()
{
    m_minutes.fill(Minute(), MinutesPerDay);
    const QVector<LxBar> &bars = m_series->bars();
    const QString today = bars.isEmpty() ? QString() : bars.constLast().date;
    double volume = 0;
    double amount = 0;
    double before = m_series->quote().previousClose;
    for (const LxBar &bar : bars) {
        if (bar.date != today)
            continue;
        Minute &minute = m_minutes[LxTradingTime::barIndex(bar.minute)];
        minute.price = bar.close;
        minute.volume = m_series->inLots(bar.volume);
        minute.rises = !(bar.close < before);
        before = bar.close;
        if (bar.volume > 0 && bar.amount > 0) {
            volume += bar.volume;
            amount += bar.amount;
        }
        minute.average = volume > 0 ? amount / volume : LxNoValue;
    }
    QVector<QPointF> prices;
    QVector<QPointF> averages;
    for (int i = 0; i < MinutesPerDay; ++i) {
        if (m_minutes.at(i).price > 0)
            prices.append({ static_cast<double>(i), m_minutes.at(i).price });
        // Futures have a multiplier, which makes their average an amount of another kind.
        if (m_minutes.at(i).average > 0 && m_series->quote().kind == LxQuote::Stock)
            averages.append({ static_cast<double>(i), m_minutes.at(i).average });
    }
    m_line->setSamples(prices);
    m_average->setSamples(averages);
    constexpr int Hour = MinutesPerDay / 4;
    const QList<double> ticks { 0, Hour - 1, 2 * Hour - 1, 3 * Hour - 1, 4 * Hour - 1 };
    setRange(-0.5, MinutesPerDay - 0.5);
    QwtScaleDiv times(-0.5, MinutesPerDay - 0.5);
    times.setTicks(QwtScaleDiv::MajorTick, ticks);
    for (QwtPlot *plot : { pricePlot(), volumePlot() })
        plot->setAxisScaleDiv(QwtPlot::xBottom, times);
    replot();
    Q_EMIT hoveredChanged(hovered());
}

// The previous close stays in the middle.
void IntradayView::rangeChanged()
{
    const double middle = m_series->quote().previousClose;
    m_previousClose->setVisible(middle > 0);
    QVector<double> volumes;
    QVector<bool> rises;
    double reach = middle * SmallestShare;
    for (const Minute &minute : qAsConst(m_minutes)) {
        volumes.append(minute.volume);
        rises.append(minute.rises);
        reach = std::fmax(reach, std::fabs(minute.price - middle) * 1.05);
    }
    setVolumes(volumes, rises);
    setHasPrices(middle > 0);
    if (!(middle > 0))
        return;
    m_previousClose->setYValue(middle);
    static_cast<PercentScale *>(pricePlot()->axisScaleDraw(QwtPlot::yRight))->previousClose = middle;
    QList<double> ticks;
    for (int i = -Rows; i <= Rows; ++i)
        ticks.append(middle + i * reach / Rows);
    QwtScaleDiv prices(middle - reach, middle + reach);
    prices.setTicks(QwtScaleDiv::MajorTick, ticks);
    pricePlot()->setAxisScaleDiv(QwtPlot::yLeft, prices);
    pricePlot()->setAxisScaleDiv(QwtPlot::yRight, prices);
}

QString IntradayView::readOut() const
{
    const int index = hovered() >= 0 ? hovered() : lastMinute();
    if (index < 0 || index >= m_minutes.size())
        return tr("No trades yet");
    const Minute &minute = m_minutes.at(index);
    const double previousClose = m_series->quote().previousClose;
    QString text = QStringLiteral("%1  %2  %3  V %4")
                       .arg(LxQuoteText::minute(LxTradingTime::minuteOfBar(index)), LxQuoteText::price(minute.price),
                            LxQuoteText::changeRatio((minute.price / previousClose - 1) * 100),
                            LxQuoteText::amount(minute.volume, LxQuoteText::localUnits()))
                       .toHtmlEscaped();
    if (minute.average > 0 && m_series->quote().kind == LxQuote::Stock) {
        text += QStringLiteral("&nbsp; <span style=\"color:%1\">%2 %3</span>")
                    .arg(m_theme.averageLine.name(), tr("Avg"), LxQuoteText::price(minute.average));
    }
    return text;
}
