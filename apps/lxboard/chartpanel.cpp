#include "chartpanel.h"

#include "candleview.h"
#include "intradayview.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>

namespace {

const LxBarSeries::Period periods[] { LxBarSeries::OneMinute,      LxBarSeries::FiveMinutes,
                                      LxBarSeries::FifteenMinutes, LxBarSeries::ThirtyMinutes,
                                      LxBarSeries::SixtyMinutes,   LxBarSeries::Day,
                                      LxBarSeries::Week,           LxBarSeries::Month };

} // namespace

ChartPanel::ChartPanel(QWidget *parent)
    : QWidget(parent), m_tabs(new QTabBar(this)), m_adjustment(new QComboBox(this)), m_readOut(new QLabel(this)),
      m_stack(new QStackedWidget(this)), m_intraday(new IntradayView(&m_daySeries)),
      m_candles(new CandleView(&m_candleSeries))
{
    setObjectName(QStringLiteral("chartPanel"));
    setAccessibleName(tr("Charts"));
    for (const QString &title : { tr("Intraday"), tr("1 min"), tr("5 min"), tr("15 min"), tr("30 min"), tr("60 min"),
                                  tr("Day"), tr("Week"), tr("Month") })
        m_tabs->addTab(title);
    m_tabs->setObjectName(QStringLiteral("chartTabs"));
    m_tabs->setAccessibleName(tr("Chart"));
    m_tabs->setDrawBase(false);
    m_tabs->setExpanding(false);
    m_tabs->setUsesScrollButtons(true);
    m_tabs->setElideMode(Qt::ElideNone);
    m_adjustment->addItem(tr("Unadjusted"), LxBarSeries::Unadjusted);
    m_adjustment->addItem(tr("Forward adjusted"), LxBarSeries::Forward);
    m_adjustment->addItem(tr("Backward adjusted"), LxBarSeries::Backward);
    m_adjustment->setObjectName(QStringLiteral("adjustment"));
    m_adjustment->setAccessibleName(tr("Price adjustment"));
    m_adjustment->setFocusPolicy(Qt::TabFocus);
    m_readOut->setObjectName(QStringLiteral("readOut"));
    m_readOut->setTextFormat(Qt::RichText);
    m_readOut->setMinimumWidth(1); // a long string must not widen the window
    m_stack->addWidget(m_intraday);
    m_stack->addWidget(m_candles);

    auto *head = new QHBoxLayout;
    head->setContentsMargins(0, 0, 0, 0);
    head->addWidget(m_tabs, 1);
    head->addWidget(m_adjustment);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 0);
    layout->setSpacing(2);
    layout->addLayout(head);
    layout->addWidget(m_readOut);
    layout->addWidget(m_stack, 1);

    connect(m_tabs, &QTabBar::currentChanged, this, &ChartPanel::load);
    connect(m_adjustment, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ChartPanel::loadCandles);
    connect(m_intraday, &ChartView::hoveredChanged, this, &ChartPanel::showReadOut);
    connect(m_candles, &ChartView::hoveredChanged, this, &ChartPanel::showReadOut);
    load();
}

ChartPanel::~ChartPanel()
{
    delete m_stack; // whose charts read the series to the last
}

void ChartPanel::setSymbol(const QString &symbol)
{
    if (symbol == m_symbol)
        return;
    m_symbol = symbol;
    load();
}

void ChartPanel::reload()
{
    m_daySeries.load(m_symbol, LxBarSeries::OneMinute);
    loadCandles();
}

void ChartPanel::setTheme(const Theme &theme)
{
    m_intraday->setTheme(theme);
    m_candles->setTheme(theme);
    showReadOut();
}

int ChartPanel::chartIndex() const
{
    return m_tabs->currentIndex();
}

void ChartPanel::setChartIndex(int index)
{
    m_tabs->setCurrentIndex(qBound(0, index, m_tabs->count() - 1));
}

int ChartPanel::adjustmentIndex() const
{
    return m_adjustment->currentIndex();
}

void ChartPanel::setAdjustmentIndex(int index)
{
    m_adjustment->setCurrentIndex(qBound(0, index, m_adjustment->count() - 1));
}

void ChartPanel::load()
{
    const bool isIntraday = m_tabs->currentIndex() == 0;
    m_adjustment->setEnabled(!isIntraday);
    m_stack->setCurrentIndex(isIntraday ? 0 : 1);
    if (!isIntraday)
        loadCandles();
    else if (m_daySeries.symbol() != m_symbol)
        m_daySeries.load(m_symbol, LxBarSeries::OneMinute);
    showReadOut();
}

void ChartPanel::loadCandles()
{
    if (m_tabs->currentIndex() <= 0 || m_symbol.isEmpty())
        return;
    m_candleSeries.load(m_symbol, periods[m_tabs->currentIndex() - 1],
                        static_cast<LxBarSeries::Adjustment>(m_adjustment->currentData().toInt()));
}

void ChartPanel::showReadOut()
{
    m_readOut->setText(m_tabs->currentIndex() == 0 ? m_intraday->readOut() : m_candles->readOut());
}
