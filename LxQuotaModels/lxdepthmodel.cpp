#include "lxdepthmodel.h"

#include "lxquotemailbox_p.h"
#include "lxquotetext.h"

#include <lxbusinessdata/businessdatabase.h>

#include <cmath>

namespace {

// The quote that is shown before the first one arrives.
int expectedLevels(const QString &symbol)
{
    if (symbol.isEmpty())
        return 0;
    const QString type = CBusinessDataBase::GetInstance()->GetSecurityTypeBySymbol(symbol);
    if (type == QLatin1String("index"))
        return 0;
    return type == QLatin1String("future") ? FUTURE_BOOK_LEVELS : STOCK_BOOK_LEVELS;
}

} // namespace

class LxDepthModel::Private
{
public:
    explicit Private(LxDepthModel *model)
        : q(model), frame([this] { flush(); }), mailbox(&frame), feed(LxMarketFeed::shared())
    {
    }

    void flush();
    void show(const LxQuote &quote);

    bool isAsk(int row) const { return row < levels; }
    int level(int row) const { return isAsk(row) ? levels - row : row - levels + 1; }
    double price(int row) const { return (isAsk(row) ? quote.askPrice : quote.bidPrice)[level(row) - 1]; }
    double quantity(int row) const;
    int direction(int row) const;

    LxDepthModel *const q;
    LxFrame frame;
    LxQuoteMailbox mailbox;
    const std::shared_ptr<LxMarketFeed> feed;
    QString symbol;
    LxQuote quote;
    int levels = 0;
    double largest = 0;
    QColor rising = QColor(0xd0, 0x21, 0x2b);
    QColor falling = QColor(0x0a, 0x84, 0x3d);
};

LxDepthModel::LxDepthModel(QObject *parent) : QAbstractTableModel(parent), d(new Private(this)) { }

LxDepthModel::~LxDepthModel()
{
    if (!d->symbol.isEmpty())
        d->feed->unsubscribe(LxMarketFeed::Quotes, &d->mailbox, { d->symbol });
}

QString LxDepthModel::symbol() const
{
    return d->symbol;
}

void LxDepthModel::setSymbol(const QString &symbol)
{
    if (symbol == d->symbol)
        return;
    beginResetModel();
    if (!symbol.isEmpty())
        d->feed->subscribe(LxMarketFeed::Quotes, &d->mailbox, { symbol });
    if (!d->symbol.isEmpty())
        d->feed->unsubscribe(LxMarketFeed::Quotes, &d->mailbox, { d->symbol });
    d->symbol = symbol;
    d->quote = LxQuote();
    d->levels = expectedLevels(symbol);
    d->largest = 0;
    endResetModel();
    Q_EMIT symbolChanged();
    d->flush();
}

const LxQuote &LxDepthModel::quote() const
{
    return d->quote;
}

void LxDepthModel::setColors(const QColor &rising, const QColor &falling)
{
    d->rising = rising;
    d->falling = falling;
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1), { Qt::ForegroundRole });
}

void LxDepthModel::Private::flush()
{
    const QHash<QString, LxQuote> quotes = mailbox.take();
    const auto found = quotes.constFind(symbol);
    if (found != quotes.cend())
        show(found.value());
}

void LxDepthModel::Private::show(const LxQuote &next)
{
    const bool isReset = next.levels != levels;
    if (isReset) {
        q->beginResetModel();
        levels = next.levels;
    }
    quote = next;
    largest = 0;
    for (int row = 0; row < 2 * levels; ++row)
        largest = std::fmax(largest, quantity(row));
    if (isReset)
        q->endResetModel();
    else if (levels > 0)
        Q_EMIT q->dataChanged(q->index(0, Price), q->index(2 * levels - 1, Quantity));
    Q_EMIT q->quoteChanged();
}

double LxDepthModel::Private::quantity(int row) const
{
    return quote.inLots((isAsk(row) ? quote.askQuantity : quote.bidQuantity)[level(row) - 1]);
}

int LxDepthModel::Private::direction(int row) const
{
    if (price(row) > quote.previousClose)
        return 1;
    return price(row) < quote.previousClose ? -1 : 0;
}

int LxDepthModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 2 * d->levels;
}

int LxDepthModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LxDepthModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const int row = index.row();
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == Level)
            return (d->isAsk(row) ? tr("Ask %1") : tr("Bid %1")).arg(d->level(row));
        return index.column() == Price ? LxQuoteText::price(d->price(row)) : LxQuoteText::count(d->quantity(row));
    case RawRole:
        if (index.column() == Level)
            return d->level(row);
        return index.column() == Price ? d->price(row) : d->quantity(row);
    case IsAskRole:
        return d->isAsk(row);
    case LevelRole:
        return d->level(row);
    case PriceRole:
        return d->price(row);
    case QuantityRole:
        return d->quantity(row);
    case FractionRole:
        return d->largest > 0 && d->quantity(row) > 0 ? d->quantity(row) / d->largest : 0.0;
    case DirectionRole:
        return d->direction(row);
    case Qt::TextAlignmentRole:
        return int((index.column() == Level ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        if (index.column() != Price || d->direction(row) == 0)
            return QVariant();
        return d->direction(row) > 0 ? d->rising : d->falling;
    default:
        return QVariant();
    }
}

QVariant LxDepthModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Level:
        return tr("Level");
    case Price:
        return tr("Price");
    case Quantity:
        return tr("Quantity");
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> LxDepthModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    names.insert(Qt::ForegroundRole, QByteArrayLiteral("color"));
    names.insert(RawRole, QByteArrayLiteral("raw"));
    names.insert(IsAskRole, QByteArrayLiteral("isAsk"));
    names.insert(LevelRole, QByteArrayLiteral("level"));
    names.insert(FractionRole, QByteArrayLiteral("fraction"));
    names.insert(DirectionRole, QByteArrayLiteral("direction"));
    names.insert(PriceRole, QByteArrayLiteral("price"));
    names.insert(QuantityRole, QByteArrayLiteral("quantity"));
    return names;
}
