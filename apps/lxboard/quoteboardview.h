#pragma once

#include "quotedelegate.h"

#include <lxquotetablemodel.h>

#include <QElapsedTimer>
#include <QHash>
#include <QTableView>
#include <QTimer>

/// The table of quotes. Repaints only visible cells whose text has changed, and lets prices flash when they change.
///
/// Sorting is the model's; a click on a heading does what cycleSort() does.
class QuoteBoardView : public QTableView
{
    Q_OBJECT

public:
    explicit QuoteBoardView(QWidget *parent = nullptr);

    void setQuoteModel(LxQuoteTableModel *model);
    void setTheme(const Theme &theme);
    /// In the order in which they are laid out.
    static QVector<LxQuoteTableModel::Column> shownColumns();
    /// Chooses the columns, their order and widths that fit the font.
    void layOutColumns();
    /// Sorts by a column downwards, then upwards, then not at all.
    void cycleSort(int column);

    QString currentSymbol() const;
    /// Selects nothing if the symbol is not in the list.
    void selectSymbol(const QString &symbol);

    /// Cells repainted because their text had changed, since the start.
    quint64 updatedCells() const { return m_updatedCells; }

    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QVector<int> &roles = QVector<int>()) override;
    void reset() override;

Q_SIGNALS:
    void currentSymbolChanged(const QString &symbol);
    /// Enter or a double click.
    void symbolActivated(const QString &symbol);
    /// Shift and an arrow key: the current row is to move by `rows`.
    void moveRequested(int rows);

protected:
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void keyPressEvent(QKeyEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void resizeEvent(QResizeEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    friend class QuoteBoardDelegate;

    struct Cell
    {
        QString text;
        double number = 0;
    };
    struct Row
    {
        QString symbol;
        QVector<Cell> cells; // by column of the model
    };
    struct Flash
    {
        qint64 until = 0; // of m_clock
        bool rises = false;
    };
    using CellKey = QPair<QString, int>; // symbol and column

    QPair<int, int> visibleRows() const;
    void remember();
    Row readRow(int row) const;
    void updateCell(int row, int column);
    void flash(const QString &symbol, int column, bool rises);
    void endFlashes();

    LxQuoteTableModel *m_model = nullptr;
    QHash<int, Row> m_shown; // the visible rows as last painted
    QHash<CellKey, Flash> m_flashes;
    QTimer m_flashTimer;
    QElapsedTimer m_clock;
    QColor m_risingFlash;
    QColor m_fallingFlash;
    quint64 m_updatedCells = 0;
};
