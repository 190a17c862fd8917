#pragma once

#include "theme.h"

#include <lxdepthmodel.h>
#include <lxquotetext.h>
#include <lxtradelistmodel.h>

#include <QVector>
#include <QWidget>

class QGridLayout;
class QLabel;
class QTableView;

/// Everything about one symbol but its charts: price, key figures, depth ladder, time and sales.
class SymbolPanel : public QWidget
{
    Q_OBJECT

public:
    explicit SymbolPanel(QWidget *parent = nullptr);

    void setSymbol(const QString &symbol);
    QString symbol() const { return m_depth.symbol(); }
    void setTheme(const Theme &theme);

private:
    struct Figure
    {
        QString title;
        QLabel *value;
        QString (*text)(const LxQuote &quote);
        double (*price)(const LxQuote &quote); // null unless coloured by its relation to the previous close
    };

    void addFigure(QGridLayout *grid, const QString &title, QString (*text)(const LxQuote &),
                   double (*price)(const LxQuote &) = nullptr);
    void showQuote();
    void showSource();

    LxDepthModel m_depth;
    LxTradeListModel m_trades;
    QLabel *const m_name;
    QLabel *const m_code;
    QLabel *const m_last;
    QLabel *const m_change;
    QLabel *const m_tradesTitle;
    QTableView *const m_depthView;
    QTableView *const m_tradesView;
    QVector<Figure> m_figures;
    QColor m_rising;
    QColor m_falling;
};
