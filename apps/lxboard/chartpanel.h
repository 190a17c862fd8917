#pragma once

#include "theme.h"

#include <lxbarseries.h>

#include <QWidget>

class CandleView;
class IntradayView;
class QComboBox;
class QLabel;
class QStackedWidget;
class QTabBar;

/// The charts of one symbol: the current day as an intraday line, or candles of a period and price adjustment.
class ChartPanel : public QWidget
{
    Q_OBJECT

public:
    explicit ChartPanel(QWidget *parent = nullptr);
    ~ChartPanel() override;

    void setSymbol(const QString &symbol);
    void setTheme(const Theme &theme);
    /// Requests the bars again, from a service that has just come up.
    void reload();

    /// Index of the chosen tab: 0 intraday, then the periods of candles from one minute to a month.
    int chartIndex() const;
    void setChartIndex(int index);
    int adjustmentIndex() const;
    void setAdjustmentIndex(int index);

    IntradayView *intradayView() const { return m_intraday; }
    CandleView *candleView() const { return m_candles; }
    const LxBarSeries &candleSeries() const { return m_candleSeries; }

private:
    void load();
    void loadCandles();
    void showReadOut();

    QString m_symbol;
    LxBarSeries m_daySeries;
    LxBarSeries m_candleSeries;
    QTabBar *const m_tabs;
    QComboBox *const m_adjustment;
    QLabel *const m_readOut;
    QStackedWidget *const m_stack;
    IntradayView *const m_intraday;
    CandleView *const m_candles;
};
