#include "symbolfinder.h"

#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTableView>
#include <QVBoxLayout>

namespace {

constexpr int VisibleMatches = 10;
constexpr int Margin = 12;

} // namespace

SymbolFinder::SymbolFinder(LxSymbolModel *symbols, QWidget *parent)
    : QFrame(parent), m_edit(new QLineEdit(this)), m_matches(new QTableView(this))
{
    setObjectName(QStringLiteral("symbolFinder"));
    setAccessibleName(tr("Symbol finder"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    m_filter.setSourceModel(symbols);

    m_edit->setAccessibleName(tr("Code, name or pinyin initials"));
    m_edit->setPlaceholderText(tr("Code, name or pinyin initials"));
    m_edit->installEventFilter(this);
    m_matches->setAccessibleName(tr("Matching securities"));
    m_matches->setModel(&m_filter);
    m_matches->setShowGrid(false);
    m_matches->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_matches->setSelectionMode(QAbstractItemView::SingleSelection);
    m_matches->setFocusPolicy(Qt::NoFocus);
    m_matches->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_matches->horizontalHeader()->hide();
    m_matches->horizontalHeader()->setStretchLastSection(true);
    m_matches->verticalHeader()->hide();
    m_matches->setColumnHidden(LxSymbolModel::Type, true);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_edit);
    layout->addWidget(m_matches);

    connect(m_edit, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_filter.setPattern(text);
        m_matches->selectRow(0);
    });
    connect(m_edit, &QLineEdit::returnPressed, this, &SymbolFinder::choose);
    connect(m_matches, &QAbstractItemView::clicked, this, &SymbolFinder::choose);
    hide();
}

void SymbolFinder::open(const QString &typed)
{
    const QFontMetrics metrics(font());
    const int rowHeight = metrics.height() + 6;
    m_matches->verticalHeader()->setDefaultSectionSize(rowHeight);
    m_matches->setColumnWidth(LxSymbolModel::Code, metrics.horizontalAdvance(QStringLiteral("000000.SH  ")));
    m_matches->setColumnWidth(LxSymbolModel::Name, metrics.horizontalAdvance(QStringLiteral("国国国国国国 ")));
    m_matches->setFixedHeight(VisibleMatches * rowHeight + 2);
    setFixedWidth(metrics.horizontalAdvance(QStringLiteral("000000.SH  国国国国国国  WWWWWW    ")) + 4 * Margin);
    adjustSize();
    move(parentWidget()->width() - width() - Margin, parentWidget()->height() - height() - Margin);
    m_edit->setText(typed);
    show();
    raise();
    m_edit->setFocus();
    m_edit->deselect();
    m_edit->setCursorPosition(typed.size());
}

void SymbolFinder::choose()
{
    QModelIndex index = m_matches->currentIndex();
    if (!index.isValid())
        index = m_filter.index(0, 0);
    if (!index.isValid())
        return;
    const QString symbol = index.data(LxSymbolModel::SymbolRole).toString();
    hide();
    Q_EMIT chosen(symbol);
}

void SymbolFinder::moveCurrent(int rows)
{
    const int row = qBound(0, m_matches->currentIndex().row() + rows, m_filter.rowCount() - 1);
    if (row >= 0)
        m_matches->selectRow(row);
}

bool SymbolFinder::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::FocusOut) {
        hide();
        return false;
    }
    if (event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    switch (static_cast<QKeyEvent *>(event)->key()) {
    case Qt::Key_Escape:
        hide();
        parentWidget()->setFocus();
        return true;
    case Qt::Key_Up:
        moveCurrent(-1);
        return true;
    case Qt::Key_Down:
        moveCurrent(1);
        return true;
    case Qt::Key_PageUp:
        moveCurrent(-VisibleMatches);
        return true;
    case Qt::Key_PageDown:
        moveCurrent(VisibleMatches);
        return true;
    default:
        return QFrame::eventFilter(watched, event);
    }
}
