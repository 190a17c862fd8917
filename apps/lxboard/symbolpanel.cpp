#include "symbolpanel.h"

#include "quotedelegate.h"

#include <lxbusinessdata/businessdatabase.h>

#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QTableView>

#include <cmath>

namespace {

constexpr int FigureColumns = 2; // of titles and values, side by side

// A bar under the quantity shows how it compares with the largest of the book.
class DepthDelegate : public QuoteDelegate
{
public:
    using QuoteDelegate::QuoteDelegate;

    QColor askBar;
    QColor bidBar;
    QColor border;

protected:
    void paintBelow(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const bool isAsk = index.data(LxDepthModel::IsAskRole).toBool();
        if (index.column() == LxDepthModel::Quantity) {
            const double fraction = index.data(LxDepthModel::FractionRole).toDouble();
            QRect bar = option.rect.adjusted(0, 2, 0, -2);
            bar.setLeft(bar.right() + 1 - static_cast<int>(std::lround(fraction * bar.width())));
            painter->fillRect(bar, isAsk ? askBar : bidBar);
        }
        if (!isAsk && index.data(LxDepthModel::LevelRole).toInt() == 1) {
            painter->setPen(border);
            painter->drawLine(option.rect.topLeft(), option.rect.topRight());
        }
    }
};

QTableView *createTable(QWidget *parent, QAbstractItemModel *model, QuoteDelegate *delegate)
{
    auto *view = new QTableView(parent);
    view->setModel(model);
    view->setItemDelegate(delegate);
    view->setShowGrid(false);
    view->setWordWrap(false);
    view->setSelectionMode(QAbstractItemView::NoSelection);
    view->setFocusPolicy(Qt::NoFocus);
    view->setFrameShape(QFrame::NoFrame);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->horizontalHeader()->hide();
    view->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    view->verticalHeader()->hide();
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    const int rowHeight = view->fontMetrics().height() + 1;
    view->verticalHeader()->setMinimumSectionSize(rowHeight);
    view->verticalHeader()->setDefaultSectionSize(rowHeight);
    return view;
}

QString colorSheet(const QColor &color)
{
    return color.isValid() ? QStringLiteral("color: %1").arg(color.name()) : QString();
}

void setColor(QLabel *label, const QColor &color)
{
    // A palette would be replaced by that of the application when the theme changes.
    const QString sheet = colorSheet(color);
    if (label->styleSheet() != sheet)
        label->setStyleSheet(sheet);
}

QString amount(double value)
{
    return LxQuoteText::amount(value, LxQuoteText::localUnits());
}

} // namespace

SymbolPanel::SymbolPanel(QWidget *parent)
    : QWidget(parent), m_name(new QLabel(this)), m_code(new QLabel(this)), m_last(new QLabel(this)),
      m_change(new QLabel(this)), m_tradesTitle(new QLabel(this)),
      m_depthView(createTable(this, &m_depth, new DepthDelegate(this))),
      m_tradesView(createTable(this, &m_trades, new QuoteDelegate(this)))
{
    setObjectName(QStringLiteral("symbolPanel"));
    setAccessibleName(tr("Chosen symbol"));
    QFont large = font();
    large.setPointSizeF(font().pointSizeF() * 1.9);
    large.setBold(true);
    m_last->setFont(large);
    m_last->setObjectName(QStringLiteral("lastPrice"));
    QFont bold = font();
    bold.setBold(true);
    m_name->setFont(bold);
    m_depthView->setAccessibleName(tr("Depth ladder"));
    m_depthView->setObjectName(QStringLiteral("depthView"));
    m_depthView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tradesView->setAccessibleName(tr("Time and sales"));
    m_tradesView->setObjectName(QStringLiteral("tradesView"));
    m_tradesView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *head = new QGridLayout;
    head->addWidget(m_name, 0, 0);
    head->addWidget(m_code, 1, 0);
    head->addWidget(m_last, 0, 1, 2, 1, Qt::AlignRight | Qt::AlignVCenter);
    head->addWidget(m_change, 0, 2, 2, 1, Qt::AlignRight | Qt::AlignVCenter);
    head->setColumnStretch(0, 1);

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(0);
    addFigure(
        grid, tr("Open"), [](const LxQuote &q) { return LxQuoteText::price(q.open); },
        [](const LxQuote &q) { return q.open; });
    addFigure(grid, tr("Prev. close"), [](const LxQuote &q) { return LxQuoteText::price(q.previousClose); });
    addFigure(
        grid, tr("High"), [](const LxQuote &q) { return LxQuoteText::price(q.high); },
        [](const LxQuote &q) { return q.high; });
    addFigure(
        grid, tr("Low"), [](const LxQuote &q) { return LxQuoteText::price(q.low); },
        [](const LxQuote &q) { return q.low; });
    addFigure(grid, tr("Volume"), [](const LxQuote &q) { return amount(q.inLots(q.volume)); });
    addFigure(grid, tr("Amount"), [](const LxQuote &q) { return amount(q.amount); });
    addFigure(
        grid, tr("Average"), [](const LxQuote &q) { return LxQuoteText::price(q.average); },
        [](const LxQuote &q) { return q.average; });
    addFigure(grid, tr("Amplitude"), [](const LxQuote &q) { return LxQuoteText::percent(q.amplitude); });
    addFigure(grid, tr("P/E"), [](const LxQuote &q) { return LxQuoteText::price(q.peRatio); });
    addFigure(grid, tr("P/B"), [](const LxQuote &q) { return LxQuoteText::price(q.pbRatio); });
    addFigure(grid, tr("Market value"), [](const LxQuote &q) { return amount(q.totalMarketValue); });
    addFigure(grid, tr("Circulating"), [](const LxQuote &q) { return amount(q.circulatingMarketValue); });
    addFigure(grid, tr("Turnover"), [](const LxQuote &q) { return LxQuoteText::percent(q.turnoverRate); });
    addFigure(grid, tr("QRR"), [](const LxQuote &q) { return LxQuoteText::price(q.quantityRelativeRatio); });
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 2, 6, 2);
    layout->setSpacing(4);
    layout->addLayout(head);
    layout->addLayout(grid);
    layout->addWidget(m_depthView);
    layout->addWidget(m_tradesTitle);
    layout->addWidget(m_tradesView, 1);

    connect(&m_depth, &LxDepthModel::quoteChanged, this, &SymbolPanel::showQuote);
    connect(&m_depth, &QAbstractItemModel::modelReset, this, [this] {
        m_depthView->setFixedHeight(m_depth.rowCount() * m_depthView->verticalHeader()->defaultSectionSize());
    });
    connect(&m_trades, &LxTradeListModel::sourceChanged, this, &SymbolPanel::showSource);
    showQuote();
}

void SymbolPanel::addFigure(QGridLayout *grid, const QString &title, QString (*text)(const LxQuote &),
                            double (*price)(const LxQuote &))
{
    const int row = m_figures.size() / FigureColumns;
    const int column = m_figures.size() % FigureColumns * 2;
    auto *label = new QLabel(title, this);
    label->setForegroundRole(QPalette::PlaceholderText);
    auto *value = new QLabel(this);
    grid->addWidget(label, row, column);
    grid->addWidget(value, row, column + 1, Qt::AlignRight);
    m_figures.append({ title, value, text, price });
}

void SymbolPanel::setSymbol(const QString &symbol)
{
    m_depth.setSymbol(symbol);
    m_trades.setSymbol(symbol);
    showQuote();
}

void SymbolPanel::setTheme(const Theme &theme)
{
    m_rising = theme.rising;
    m_falling = theme.falling;
    m_depth.setColors(theme.rising, theme.falling);
    m_trades.setColors(theme.rising, theme.falling);
    auto *delegate = static_cast<DepthDelegate *>(m_depthView->itemDelegate());
    // Asks wait for buyers, whose trades are painted as rises, and bids for sellers.
    delegate->askBar = theme.fallingFlash;
    delegate->bidBar = theme.risingFlash;
    delegate->border = theme.weakText;
    m_depthView->viewport()->update();
    showQuote();
}

void SymbolPanel::showQuote()
{
    const LxQuote &quote = m_depth.quote();
    const auto color = [&](double price) {
        if (price > quote.previousClose)
            return m_rising;
        return price < quote.previousClose ? m_falling : QColor();
    };
    const QString symbol = m_depth.symbol();
    const QString name = CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol, QString());
    m_name->setText(name.isEmpty() ? symbol : name);
    m_code->setText(name.isEmpty() ? QString() : symbol);
    m_last->setText(LxQuoteText::price(quote.last));
    setColor(m_last, color(quote.last));
    m_change->setText(LxQuoteText::change(quote.change) + QLatin1Char('\n')
                      + LxQuoteText::changeRatio(quote.changeRatio));
    m_change->setAlignment(Qt::AlignRight);
    setColor(m_change, color(quote.last));
    for (const Figure &figure : qAsConst(m_figures)) {
        figure.value->setText(figure.text(quote));
        figure.value->setAccessibleName(figure.title + QLatin1Char(' ') + figure.value->text());
        setColor(figure.value, figure.price ? color(figure.price(quote)) : QColor());
    }
    showSource();
}

void SymbolPanel::showSource()
{
    if (m_trades.source() == LxTradeListModel::Transactions)
        m_tradesTitle->setText(tr("Time and sales"));
    else if (m_depth.quote().kind == LxQuote::Unknown)
        m_tradesTitle->setText(tr("No quotes of this symbol yet"));
    else
        m_tradesTitle->setText(tr("Time and sales, from quotes"));
}
