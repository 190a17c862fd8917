#include "candleview.h"

#include <lxquotetext.h>

#include <qwt_plot.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_tradingcurve.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr int BarsAtFirst = 120;
constexpr double Headroom = 0.06; // of the range of prices, above and below

} // namespace

// Candles whose outlines have the colour of their bodies; Qwt's own have one pen for all.
class CandleView::Candles : public QwtPlotTradingCurve
{
public:
    QColor rising;
    QColor falling;

protected:
    void drawUserSymbol(QPainter *painter, SymbolStyle, const QwtOHLCSample &sample, Qt::Orientation, bool,
                        double width) const override
    {
        // The sample is in pixels, downwards.
        const QColor color = sample.close <= sample.open ? rising : falling;
        const double half = std::max(0.0, std::floor(width / 2));
        const double x = std::round(sample.time);
        painter->setPen(color);
        painter->drawLine(QPointF(x, sample.low), QPointF(x, sample.high));
        const double top = std::min(sample.open, sample.close);
        const double height = std::max(1.0, std::fabs(sample.open - sample.close));
        painter->fillRect(QRectF(x - half, top, 2 * half + 1, height), color);
    }
};

CandleView::CandleView(LxBarSeries *series, QWidget *parent)
    : ChartView(parent), m_series(series), m_candles(new Candles)
{
    setObjectName(QStringLiteral("candleView"));
    setAccessibleName(tr("Candle chart"));
    m_candles->setSymbolStyle(QwtPlotTradingCurve::UserSymbol);
    m_candles->setRenderHint(QwtPlotItem::RenderAntialiased, false);
    m_candles->setSymbolExtent(0.7);
    m_candles->setMinSymbolWidth(1);
    m_candles->setMaxSymbolWidth(24);
    m_candles->setOrientation(Qt::Vertical);
    m_candles->attach(pricePlot());
    for (QwtPlotCurve *&curve : m_averages) {
        curve = new QwtPlotCurve;
        curve->setRenderHint(QwtPlotItem::RenderAntialiased);
        curve->attach(pricePlot());
    }
    connect(m_series, &LxBarSeries::loaded, this, [this] {
        m_shown = 0;
        showBars();
    });
    connect(m_series, &LxBarSeries::changed, this, &CandleView::showBars);
}

void CandleView::setTheme(const Theme &theme)
{
    m_candles->rising = theme.rising;
    m_candles->falling = theme.falling;
    for (int i = 0; i < 3; ++i)
        m_averages[i]->setPen(theme.movingAverages[i], 1.2);
    ChartView::setTheme(theme);
    rangeChanged();
}

int CandleView::count() const
{
    return m_series->bars().size();
}

double CandleView::priceAt(int index) const
{
    return m_series->bars().at(index).close;
}

QString CandleView::timeLabel(int index) const
{
    if (index < 0 || index >= count())
        return QString();
    const LxBar &bar = m_series->bars().at(index);
    return bar.minute < 0 ? LxQuoteText::date(bar.date)
                          : bar.date.mid(4, 2) + QLatin1Char('-') + bar.date.mid(6, 2) + QLatin1Char(' ')
            + LxQuoteText::minute(bar.minute);
}

void CandleView::showBars()
{
    const QVector<LxBar> &bars = m_series->bars();
    QVector<QwtOHLCSample> samples;
    samples.reserve(bars.size());
    for (int i = 0; i < bars.size(); ++i) {
        const LxBar &bar = bars.at(i);
        samples.append(QwtOHLCSample(i, bar.open, bar.high, bar.low, bar.close));
    }
    m_candles->setSamples(samples);
    for (int i = 0; i < 3; ++i) {
        m_averageValues[i] = m_series->movingAverage(AverageLengths[i]);
        QVector<QPointF> points;
        for (int bar = 0; bar < bars.size(); ++bar) {
            if (!std::isnan(m_averageValues[i].at(bar)))
                points.append({ static_cast<double>(bar), m_averageValues[i].at(bar) });
        }
        m_averages[i]->setSamples(points);
    }
    // The end stays in view when bars are added; history that is inserted before it resets the view.
    const bool showsEnd = m_shown > 0 && last() >= m_shown - 1;
    const int added = bars.size() - m_shown;
    const double end = std::max<double>(bars.size(), BarsAtFirst / 4.0) - 0.5;
    if (m_shown == 0 || added > 1)
        setRange(std::max(-0.5, end - BarsAtFirst), end);
    else if (showsEnd)
        setRange(std::max(-0.5, first() + std::max(0.0, end - last())), std::max(end, last()));
    else
        setRange(first(), last());
    m_shown = bars.size();
    Q_EMIT hoveredChanged(hovered());
}

void CandleView::rangeChanged()
{
    const QVector<LxBar> &bars = m_series->bars();
    double low = LxNoValue;
    double high = LxNoValue;
    QVector<double> volumes(bars.size());
    QVector<bool> rises(bars.size());
    for (int i = 0; i < bars.size(); ++i) {
        volumes[i] = m_series->inLots(bars.at(i).volume);
        rises[i] = bars.at(i).close >= bars.at(i).open;
        if (i < first() || i > last())
            continue;
        low = std::fmin(low, bars.at(i).low);
        high = std::fmax(high, bars.at(i).high);
        for (const QVector<double> &average : m_averageValues) {
            if (i < average.size()) {
                low = std::fmin(low, average.at(i));
                high = std::fmax(high, average.at(i));
            }
        }
    }
    setHasPrices(low <= high);
    if (low <= high) {
        const double margin = std::max((high - low) * Headroom, 0.02);
        pricePlot()->setAxisScale(QwtPlot::yLeft, low - margin, high + margin);
    }
    setVolumes(volumes, rises);
}

QString CandleView::readOut() const
{
    const QVector<LxBar> &bars = m_series->bars();
    if (bars.isEmpty())
        return tr("No bars");
    const int index = hovered() >= 0 && hovered() < bars.size() ? hovered() : bars.size() - 1;
    const LxBar &bar = bars.at(index);
    const double before = index > 0 ? bars.at(index - 1).close : bar.open;
    QString text = tr("%1  O %2  H %3  L %4  C %5  %6  V %7")
                       .arg(timeLabel(index), LxQuoteText::price(bar.open), LxQuoteText::price(bar.high),
                            LxQuoteText::price(bar.low), LxQuoteText::price(bar.close),
                            LxQuoteText::changeRatio((bar.close / before - 1) * 100),
                            LxQuoteText::amount(m_series->inLots(bar.volume), LxQuoteText::localUnits()))
                       .toHtmlEscaped();
    for (int i = 0; i < 3; ++i) {
        text += QStringLiteral("&nbsp; <span style=\"color:%1\">MA%2 %3</span>")
                    .arg(m_theme.movingAverages[i].name())
                    .arg(AverageLengths[i])
                    .arg(LxQuoteText::price(m_averageValues[i].value(index, LxNoValue)));
    }
    return text;
}
