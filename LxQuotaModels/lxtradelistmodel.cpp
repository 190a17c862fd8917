#include "lxtradelistmodel.h"

#include "lxframe_p.h"
#include "lxmarketfeed_p.h"
#include "lxquotetext.h"

#include <QMutex>

#include <algorithm>
#include <utility>

namespace {

constexpr int DefaultCapacity = 200;

} // namespace

class LxTradeListModel::Private final : public LxReceiver
{
public:
    explicit Private(LxTradeListModel *model) : q(model), frame([this] { flush(); }), feed(LxMarketFeed::shared()) { }

    void subscribe(const QString &next);
    void quotedTradeReceived(const LxTrade &trade) override;
    void tradeReceived(const LxTrade &trade) override;
    void keep(QVector<LxTrade> *list, const LxTrade &trade);
    void flush();
    void prepend(const QVector<LxTrade> &added);
    void limit();

    LxTradeListModel *const q;
    LxFrame frame;
    const std::shared_ptr<LxMarketFeed> feed;
    QString symbol;
    Source source = Quotes;
    QVector<LxTrade> trades; // the latest last
    QColor buy = QColor(0xd0, 0x21, 0x2b);
    QColor sell = QColor(0x0a, 0x84, 0x3d);

    QMutex mutex; // guards what follows
    int capacity = DefaultCapacity;
    QString received; // the symbol whose records are kept
    QVector<LxTrade> fromQuotes;
    QVector<LxTrade> transactions;
};

LxTradeListModel::LxTradeListModel(QObject *parent) : QAbstractTableModel(parent), d(new Private(this)) { }

LxTradeListModel::~LxTradeListModel()
{
    d->subscribe(QString());
}

QString LxTradeListModel::symbol() const
{
    return d->symbol;
}

void LxTradeListModel::setSymbol(const QString &symbol)
{
    if (symbol == d->symbol)
        return;
    beginResetModel();
    d->subscribe(symbol);
    d->trades.clear();
    endResetModel();
    if (std::exchange(d->source, Quotes) != Quotes)
        Q_EMIT sourceChanged(Quotes);
    Q_EMIT symbolChanged();
}

void LxTradeListModel::Private::subscribe(const QString &next)
{
    const QString before = std::exchange(symbol, next);
    {
        QMutexLocker locker(&mutex);
        received = next;
        fromQuotes.clear();
        transactions.clear();
    }
    // Trades are also derived from quotes, so these are subscribed, too.
    for (const LxMarketFeed::Kind kind : { LxMarketFeed::Quotes, LxMarketFeed::Trades }) {
        if (!next.isEmpty())
            feed->subscribe(kind, this, { next });
        if (!before.isEmpty())
            feed->unsubscribe(kind, this, { before });
    }
}

void LxTradeListModel::Private::quotedTradeReceived(const LxTrade &trade)
{
    QMutexLocker locker(&mutex);
    if (trade.symbol == received)
        keep(&fromQuotes, trade);
}

void LxTradeListModel::Private::tradeReceived(const LxTrade &trade)
{
    QMutexLocker locker(&mutex);
    if (trade.symbol == received)
        keep(&transactions, trade);
}

void LxTradeListModel::Private::keep(QVector<LxTrade> *list, const LxTrade &trade)
{
    list->append(trade);
    // Removes old trades only when there are twice as many, so that not every trade of a burst moves the list.
    if (list->size() >= 2 * capacity)
        list->remove(0, list->size() - capacity);
    frame.request();
}

void LxTradeListModel::Private::flush()
{
    QVector<LxTrade> derived;
    QVector<LxTrade> added;
    {
        QMutexLocker locker(&mutex);
        derived.swap(fromQuotes);
        added.swap(transactions);
    }
    if (!added.isEmpty() && source == Quotes) {
        q->beginResetModel();
        trades.clear();
        source = Transactions;
        q->endResetModel();
        Q_EMIT q->sourceChanged(source);
    }
    prepend(source == Transactions ? added : derived);
}

void LxTradeListModel::Private::prepend(const QVector<LxTrade> &added)
{
    if (added.isEmpty())
        return;
    const QVector<LxTrade> last = added.mid(qMax(0, added.size() - capacity));
    q->beginInsertRows(QModelIndex(), 0, last.size() - 1);
    trades += last;
    q->endInsertRows();
    limit();
}

void LxTradeListModel::Private::limit()
{
    const int excess = trades.size() - capacity;
    if (excess <= 0)
        return;
    q->beginRemoveRows(QModelIndex(), capacity, trades.size() - 1);
    trades.remove(0, excess);
    q->endRemoveRows();
}

int LxTradeListModel::capacity() const
{
    return d->capacity;
}

void LxTradeListModel::setCapacity(int rows)
{
    {
        QMutexLocker locker(&d->mutex);
        d->capacity = qMax(1, rows);
    }
    d->limit();
}

LxTradeListModel::Source LxTradeListModel::source() const
{
    return d->source;
}

void LxTradeListModel::setColors(const QColor &buy, const QColor &sell)
{
    d->buy = buy;
    d->sell = sell;
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1), { Qt::ForegroundRole });
}

int LxTradeListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : d->trades.size();
}

int LxTradeListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LxTradeListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const LxTrade &trade = d->trades.at(d->trades.size() - 1 - index.row());
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case Time:
            return LxQuoteText::time(trade.time);
        case Price:
            return LxQuoteText::price(trade.price);
        case Lots:
            return LxQuoteText::count(trade.lots);
        default:
            return trade.side == LxTrade::Buy ? tr("Buy") : trade.side == LxTrade::Sell ? tr("Sell") : QString();
        }
    case RawRole: {
        const QVariant values[ColumnCount] { trade.time, trade.price, trade.lots, trade.side };
        return values[index.column()];
    }
    case TimeRole:
        return trade.time;
    case PriceRole:
        return trade.price;
    case LotsRole:
        return trade.lots;
    case SideRole:
        return trade.side;
    case Qt::TextAlignmentRole:
        return int((index.column() == Time ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        if (index.column() == Time || trade.side == LxTrade::UnknownSide)
            return QVariant();
        return trade.side == LxTrade::Buy ? d->buy : d->sell;
    default:
        return QVariant();
    }
}

QVariant LxTradeListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Time:
        return tr("Time");
    case Price:
        return tr("Price");
    case Lots:
        return tr("Lots");
    case Side:
        return tr("Side");
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> LxTradeListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    names.insert(Qt::ForegroundRole, QByteArrayLiteral("color"));
    names.insert(RawRole, QByteArrayLiteral("raw"));
    names.insert(TimeRole, QByteArrayLiteral("time"));
    names.insert(PriceRole, QByteArrayLiteral("price"));
    names.insert(LotsRole, QByteArrayLiteral("lots"));
    names.insert(SideRole, QByteArrayLiteral("side"));
    return names;
}
