#include "quoteboardview.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

#include <algorithm>

namespace {

constexpr int FlashMs = 350;
constexpr int FlashCheckMs = 50;

using Column = LxQuoteTableModel::Column;

// The order in which a trader looks at them, with the widest string that a column usually shows.
const QVector<QPair<Column, QString>> columns {
    { Column::Code, QStringLiteral("000000.SH") },
    { Column::Name, QStringLiteral("国国国国") },
    { Column::Last, QStringLiteral("10000.00") },
    { Column::ChangeRatio, QStringLiteral("-100.00%") },
    { Column::Change, QStringLiteral("-1000.00") },
    { Column::Volume, QStringLiteral("123.45M") },
    { Column::Amount, QStringLiteral("123.45M") },
    { Column::Bid, QStringLiteral("10000.00") },
    { Column::BidQuantity, QStringLiteral("100,000") },
    { Column::Ask, QStringLiteral("10000.00") },
    { Column::AskQuantity, QStringLiteral("100,000") },
    { Column::High, QStringLiteral("10000.00") },
    { Column::Low, QStringLiteral("10000.00") },
    { Column::Open, QStringLiteral("10000.00") },
    { Column::PreviousClose, QStringLiteral("10000.00") },
    { Column::Amplitude, QStringLiteral("100.00%") },
    { Column::TurnoverRate, QStringLiteral("100.00%") },
    { Column::PERatio, QStringLiteral("1000.00") },
    { Column::PBRatio, QStringLiteral("1000.00") },
    { Column::TotalMarketValue, QStringLiteral("123.45B") },
    { Column::CirculatingMarketValue, QStringLiteral("123.45B") },
    { Column::Time, QStringLiteral("00:00:00") },
};

bool flashes(int column)
{
    return column == Column::Last || column == Column::Bid || column == Column::Ask;
}

} // namespace

// Cells that flash have a background of their own.
class QuoteBoardDelegate : public QuoteDelegate
{
public:
    explicit QuoteBoardDelegate(QuoteBoardView *view) : QuoteDelegate(view), m_view(view) { }

protected:
    QColor background(const QModelIndex &index) const override
    {
        if (m_view->m_flashes.isEmpty() || !flashes(index.column()))
            return QColor();
        const auto found = m_view->m_flashes.constFind({ m_view->m_model->symbolAt(index.row()), index.column() });
        if (found == m_view->m_flashes.cend())
            return QColor();
        return found->rises ? m_view->m_risingFlash : m_view->m_fallingFlash;
    }

private:
    QuoteBoardView *const m_view;
};

QuoteBoardView::QuoteBoardView(QWidget *parent) : QTableView(parent)
{
    setItemDelegate(new QuoteBoardDelegate(this));
    setShowGrid(false);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setTabKeyNavigation(false);
    setHorizontalScrollMode(ScrollPerPixel);
    setVerticalScrollMode(ScrollPerItem); // whole rows: the strings of rows that stay need no new layout
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsClickable(true);
    connect(horizontalHeader(), &QHeaderView::sectionClicked, this, &QuoteBoardView::cycleSort);
    connect(this, &QAbstractItemView::doubleClicked, this, [this] { Q_EMIT symbolActivated(currentSymbol()); });
    m_flashTimer.setInterval(FlashCheckMs);
    connect(&m_flashTimer, &QTimer::timeout, this, &QuoteBoardView::endFlashes);
    m_clock.start();
}

void QuoteBoardView::setQuoteModel(LxQuoteTableModel *model)
{
    m_model = model;
    setModel(model);
    layOutColumns();
}

void QuoteBoardView::setTheme(const Theme &theme)
{
    m_risingFlash = theme.risingFlash;
    m_fallingFlash = theme.fallingFlash;
    viewport()->update();
}

QVector<LxQuoteTableModel::Column> QuoteBoardView::shownColumns()
{
    QVector<Column> result;
    for (const auto &column : columns)
        result.append(column.first);
    return result;
}

void QuoteBoardView::layOutColumns()
{
    const QFontMetrics metrics(font());
    const int rowHeight = metrics.height() + 5;
    verticalHeader()->setMinimumSectionSize(rowHeight);
    verticalHeader()->setDefaultSectionSize(rowHeight);
    QHeaderView *header = horizontalHeader();
    const int margin = metrics.averageCharWidth() * 2;
    for (int column = 0; column < LxQuoteTableModel::ColumnCount; ++column)
        setColumnHidden(column, true);
    for (int i = 0; i < columns.size(); ++i) {
        const Column column = columns.at(i).first;
        const int heading = header->fontMetrics().horizontalAdvance(LxQuoteTableModel::title(column));
        setColumnHidden(column, false);
        setColumnWidth(column, std::max(metrics.horizontalAdvance(columns.at(i).second), heading + 8) + margin);
        header->moveSection(header->visualIndex(column), i);
    }
}

QString QuoteBoardView::currentSymbol() const
{
    return m_model ? m_model->symbolAt(currentIndex().row()) : QString();
}

void QuoteBoardView::selectSymbol(const QString &symbol)
{
    const int row = m_model->rowOf(symbol);
    setCurrentIndex(row < 0 ? QModelIndex() : m_model->index(row, Column::Code));
}

// --- Painting ---

QPair<int, int> QuoteBoardView::visibleRows() const
{
    const int first = rowAt(0);
    if (first < 0)
        return { 0, -1 };
    const int last = rowAt(viewport()->height() - 1);
    return { first, last < 0 ? m_model->rowCount() - 1 : last };
}

QuoteBoardView::Row QuoteBoardView::readRow(int row) const
{
    Row result;
    result.symbol = m_model->symbolAt(row);
    result.cells.resize(LxQuoteTableModel::ColumnCount);
    for (int column = 0; column < LxQuoteTableModel::ColumnCount; ++column) {
        if (isColumnHidden(column))
            continue;
        const QModelIndex index = m_model->index(row, column);
        result.cells[column].text = index.data().toString();
        if (flashes(column))
            result.cells[column].number = index.data(LxQuoteTableModel::RawRole).toDouble();
    }
    return result;
}

void QuoteBoardView::paintEvent(QPaintEvent *event)
{
    remember();
    QTableView::paintEvent(event);
}

// What a later dataChanged() compares with.
void QuoteBoardView::remember()
{
    if (!m_model)
        return;
    const auto [first, last] = visibleRows();
    for (int row = first; row <= last; ++row) {
        const auto shown = m_shown.constFind(row);
        if (shown == m_shown.cend() || shown->symbol != m_model->symbolAt(row))
            m_shown.insert(row, readRow(row));
    }
}

void QuoteBoardView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QVector<int> &roles)
{
    if (!roles.isEmpty() && !roles.contains(Qt::DisplayRole)) {
        viewport()->update();
        return;
    }
    const auto [firstVisible, lastVisible] = visibleRows();
    const int last = std::min(bottomRight.row(), lastVisible);
    for (int row = std::max(topLeft.row(), firstVisible); row <= last; ++row) {
        const auto shown = m_shown.find(row);
        if (shown == m_shown.end() || shown->symbol != m_model->symbolAt(row))
            continue; // not painted yet, or about to be painted whole
        Row now = readRow(row);
        for (int column = topLeft.column(); column <= bottomRight.column(); ++column) {
            const Cell &before = shown->cells.at(column);
            const Cell &after = now.cells.at(column);
            if (before.text == after.text)
                continue;
            updateCell(row, column);
            if (flashes(column) && before.number > 0 && after.number > 0)
                flash(now.symbol, column, after.number > before.number);
        }
        shown.value() = std::move(now);
    }
}

void QuoteBoardView::updateCell(int row, int column)
{
    ++m_updatedCells;
    viewport()->update(columnViewportPosition(column), rowViewportPosition(row), columnWidth(column), rowHeight(row));
}

void QuoteBoardView::flash(const QString &symbol, int column, bool rises)
{
    m_flashes.insert({ symbol, column }, { m_clock.elapsed() + FlashMs, rises });
    if (!m_flashTimer.isActive())
        m_flashTimer.start();
}

void QuoteBoardView::endFlashes()
{
    const qint64 now = m_clock.elapsed();
    for (auto flash = m_flashes.begin(); flash != m_flashes.end();) {
        if (flash->until > now) {
            ++flash;
            continue;
        }
        const int row = m_model->rowOf(flash.key().first);
        if (row >= 0)
            updateCell(row, flash.key().second);
        flash = m_flashes.erase(flash);
    }
    if (m_flashes.isEmpty())
        m_flashTimer.stop();
}

void QuoteBoardView::reset()
{
    m_shown.clear();
    m_flashes.clear();
    QTableView::reset();
}

void QuoteBoardView::scrollContentsBy(int dx, int dy)
{
    if (dy != 0)
        m_shown.clear();
    QTableView::scrollContentsBy(dx, dy);
}

void QuoteBoardView::resizeEvent(QResizeEvent *event)
{
    m_shown.clear();
    QTableView::resizeEvent(event);
}

// --- Keys and selection ---

void QuoteBoardView::cycleSort(int column)
{
    const bool isSorted = m_model->sortColumn() == column;
    if (isSorted && m_model->sortOrder() == Qt::AscendingOrder)
        column = -1;
    const Qt::SortOrder order = isSorted ? Qt::AscendingOrder : Qt::DescendingOrder;
    m_model->sort(column, order);
    horizontalHeader()->setSortIndicatorShown(column >= 0);
    horizontalHeader()->setSortIndicator(column, order);
    scrollToTop(); // the first ones are what was asked for
}

void QuoteBoardView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTableView::currentChanged(current, previous);
    if (current.row() != previous.row() && current.isValid())
        Q_EMIT currentSymbolChanged(currentSymbol());
}

void QuoteBoardView::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::ShiftModifier && (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)) {
        Q_EMIT moveRequested(event->key() == Qt::Key_Up ? -1 : 1);
        return;
    }
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        Q_EMIT symbolActivated(currentSymbol());
        return;
    }
    QTableView::keyPressEvent(event);
}
