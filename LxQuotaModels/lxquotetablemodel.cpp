#include "lxquotetablemodel.h"

#include "lxquotemailbox_p.h"
#include "lxtradingtime.h"

#include <lxbusinessdata/businessdatabase.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

constexpr int MaximumRanges = 32;
constexpr int DefaultStaleAfterSeconds = 60;
constexpr int DefaultSortIntervalMs = 300;
constexpr int StatusIntervalMs = 1000;

using Model = LxQuoteTableModel;

enum class Form { Text, Price, Change, ChangeRatio, Percent, Amount, Count };

struct ColumnInfo
{
    const char *name; // of the role
    const char *title;
    Form form;
    double LxQuote::*number;
};

const ColumnInfo columnInfos[Model::ColumnCount] {
    { "code", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Code"), Form::Text, nullptr },
    { "name", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Name"), Form::Text, nullptr },
    { "last", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Last"), Form::Price, &LxQuote::last },
    { "change", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Change"), Form::Change, &LxQuote::change },
    { "changeRatio", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Change %"), Form::ChangeRatio, &LxQuote::changeRatio },
    { "volume", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Volume"), Form::Amount, &LxQuote::volume },
    { "amount", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Amount"), Form::Amount, &LxQuote::amount },
    { "bid", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Bid"), Form::Price, nullptr },
    { "bidQuantity", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Bid qty"), Form::Count, nullptr },
    { "ask", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Ask"), Form::Price, nullptr },
    { "askQuantity", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Ask qty"), Form::Count, nullptr },
    { "high", QT_TRANSLATE_NOOP("LxQuoteTableModel", "High"), Form::Price, &LxQuote::high },
    { "low", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Low"), Form::Price, &LxQuote::low },
    { "open", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Open"), Form::Price, &LxQuote::open },
    { "previousClose", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Prev. close"), Form::Price, &LxQuote::previousClose },
    { "average", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Average"), Form::Price, &LxQuote::average },
    { "amplitude", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Amplitude"), Form::Percent, &LxQuote::amplitude },
    { "turnoverRate", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Turnover"), Form::Percent, &LxQuote::turnoverRate },
    { "quantityRelativeRatio", QT_TRANSLATE_NOOP("LxQuoteTableModel", "QRR"), Form::Price,
      &LxQuote::quantityRelativeRatio },
    { "peRatio", QT_TRANSLATE_NOOP("LxQuoteTableModel", "P/E"), Form::Price, &LxQuote::peRatio },
    { "pbRatio", QT_TRANSLATE_NOOP("LxQuoteTableModel", "P/B"), Form::Price, &LxQuote::pbRatio },
    { "totalMarketValue", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Market value"), Form::Amount,
      &LxQuote::totalMarketValue },
    { "circulatingMarketValue", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Circulating"), Form::Amount,
      &LxQuote::circulatingMarketValue },
    { "time", QT_TRANSLATE_NOOP("LxQuoteTableModel", "Time"), Form::Text, nullptr },
};

double number(const LxQuote &quote, int column)
{
    switch (column) {
    case Model::Volume:
        return quote.inLots(quote.volume);
    case Model::Bid:
        return quote.bidPrice[0];
    case Model::BidQuantity:
        return quote.inLots(quote.bidQuantity[0]);
    case Model::Ask:
        return quote.askPrice[0];
    case Model::AskQuantity:
        return quote.inLots(quote.askQuantity[0]);
    default:
        return columnInfos[column].number ? quote.*columnInfos[column].number : LxNoValue;
    }
}

bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

int sign(double value)
{
    return value > 0 ? 1 : value < 0 ? -1 : 0;
}

// The direction that determines the colour of a cell.
int direction(const LxQuote &quote, int column)
{
    switch (column) {
    case Model::Last:
    case Model::Change:
    case Model::ChangeRatio:
        return quote.direction();
    case Model::Bid:
    case Model::Ask:
    case Model::High:
    case Model::Low:
    case Model::Open:
    case Model::Average:
        return sign(number(quote, column) - quote.previousClose);
    default:
        return 0;
    }
}

} // namespace

class LxQuoteTableModel::Private
{
public:
    struct Row
    {
        LxQuote quote; // whose symbol is always set
        int tradingTime = 0; // of the quote, since the opening
        Status status = NoService;
    };

    struct ColumnRange
    {
        int first = ColumnCount; // empty
        int last = -1;

        void add(int column)
        {
            first = std::min(first, column);
            last = std::max(last, column);
        }
    };

    struct ChangedRow
    {
        int row;
        ColumnRange columns;
    };

    explicit Private(LxQuoteTableModel *model)
        : q(model), frame([this] { flush(); }), mailbox(&frame), feed(LxMarketFeed::shared())
    {
    }

    QStringList listed() const;
    void flush();
    bool take(int index, const LxQuote &quote, ColumnRange *changed = nullptr);
    void announce(std::vector<ChangedRow> *changes);
    QString text(const Row &row, int column) const;
    Row newRow(const QString &symbol) const;
    QVariant raw(const Row &row, int column) const;
    void readMarketTime();
    Status statusOf(const Row &row) const;
    void updateStatus();
    void sortSoon();
    void sortNow();
    std::vector<int> sortedRows() const;
    void resetOrder();
    void indexRows();

    LxQuoteTableModel *const q;
    LxFrame frame;
    LxQuoteMailbox mailbox;
    const std::shared_ptr<LxMarketFeed> feed;

    std::vector<Row> list; // in the order of the list
    QHash<QString, int> indexOf; // in the list
    std::vector<int> order; // of a row of the model: its index in the list
    std::vector<int> rowOfIndex; // the reverse

    int sortColumn = -1;
    Qt::SortOrder sortOrder = Qt::AscendingOrder;
    bool isOrderOld = false;
    QElapsedTimer sinceSort;
    QTimer sortTimer;
    int sortIntervalMs = DefaultSortIntervalMs;

    Status status = NoService;
    bool isServiceAvailable = true;
    int staleAfterSeconds = DefaultStaleAfterSeconds;
    QTimer statusTimer;
    QString marketDate;
    int tradingTime = 0; // of the market, since the opening
    int delay = -1;
    int statusTradingTime = 0; // when the status of all rows was last updated

    Colors colors;
    LxQuoteText::Units units = LxQuoteText::localUnits();
};

LxQuoteTableModel::LxQuoteTableModel(QObject *parent) : QAbstractTableModel(parent), d(new Private(this))
{
    d->sortTimer.setSingleShot(true);
    connect(&d->sortTimer, &QTimer::timeout, this, [this] { d->sortNow(); });
    connect(&d->statusTimer, &QTimer::timeout, this, [this] { d->updateStatus(); });
    d->statusTimer.start(StatusIntervalMs);
}

LxQuoteTableModel::~LxQuoteTableModel()
{
    d->feed->unsubscribe(LxMarketFeed::Quotes, &d->mailbox, symbols());
}

// --- The list ---

QStringList LxQuoteTableModel::symbols() const
{
    return d->listed();
}

QStringList LxQuoteTableModel::Private::listed() const
{
    QStringList result;
    result.reserve(static_cast<int>(list.size()));
    for (const Row &row : list)
        result.append(row.quote.symbol);
    return result;
}

void LxQuoteTableModel::setSymbols(const QStringList &symbols)
{
    if (symbols == d->listed())
        return;
    beginResetModel();
    // New symbols are subscribed first, so that those that remain are not unsubscribed temporarily.
    const QStringList before = d->listed();
    d->mailbox.take();
    d->list.clear();
    d->indexOf.clear();
    QStringList added;
    for (const QString &symbol : symbols) {
        if (symbol.isEmpty() || d->indexOf.contains(symbol))
            continue;
        d->indexOf.insert(symbol, static_cast<int>(d->list.size()));
        d->list.push_back(d->newRow(symbol));
        added.append(symbol);
    }
    d->feed->subscribe(LxMarketFeed::Quotes, &d->mailbox, added);
    d->feed->unsubscribe(LxMarketFeed::Quotes, &d->mailbox, before);
    d->readMarketTime();
    for (const LxQuote &quote : d->mailbox.take())
        d->take(d->indexOf.value(quote.symbol, -1), quote);
    d->resetOrder();
    endResetModel();
    Q_EMIT symbolsChanged();
    d->updateStatus();
}

LxQuoteTableModel::Private::Row LxQuoteTableModel::Private::newRow(const QString &symbol) const
{
    Row row;
    row.quote.symbol = symbol;
    row.quote.name = CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol, QString());
    return row;
}

void LxQuoteTableModel::insertSymbols(int index, const QStringList &symbols)
{
    QStringList added;
    std::vector<Private::Row> rows;
    for (const QString &symbol : symbols) {
        if (symbol.isEmpty() || d->indexOf.contains(symbol) || added.contains(symbol))
            continue;
        rows.push_back(d->newRow(symbol));
        added.append(symbol);
    }
    if (added.isEmpty())
        return;
    const int count = added.size();
    const int size = rowCount();
    index = qBound(0, index, size);
    // If the rows are sorted, new ones are appended and then sorted.
    const int row = d->sortColumn < 0 ? index : size;
    beginInsertRows(QModelIndex(), row, row + count - 1);
    d->list.insert(d->list.begin() + index, std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    for (int &entry : d->order) {
        if (entry >= index)
            entry += count;
    }
    d->order.insert(d->order.begin() + row, static_cast<size_t>(count), 0);
    std::iota(d->order.begin() + row, d->order.begin() + row + count, index);
    d->indexRows();
    endInsertRows();
    d->feed->subscribe(LxMarketFeed::Quotes, &d->mailbox, added);
    Q_EMIT symbolsChanged();
    d->flush();
    d->sortNow();
}

void LxQuoteTableModel::removeSymbols(const QStringList &symbols)
{
    QStringList removed;
    for (const QString &symbol : symbols) {
        const int index = d->indexOf.value(symbol, -1);
        if (index < 0)
            continue;
        const int row = d->rowOfIndex[static_cast<size_t>(index)];
        beginRemoveRows(QModelIndex(), row, row);
        d->list.erase(d->list.begin() + index);
        d->order.erase(d->order.begin() + row);
        for (int &entry : d->order) {
            if (entry > index)
                --entry;
        }
        d->indexRows();
        endRemoveRows();
        removed.append(symbol);
    }
    if (removed.isEmpty())
        return;
    d->feed->unsubscribe(LxMarketFeed::Quotes, &d->mailbox, removed);
    Q_EMIT symbolsChanged();
    d->updateStatus();
}

void LxQuoteTableModel::moveSymbol(int from, int to)
{
    if (from == to || from < 0 || to < 0 || from >= rowCount() || to >= rowCount())
        return;
    const bool isSorted = d->sortColumn >= 0;
    if (!isSorted)
        beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    const auto list = d->list.begin();
    if (from < to)
        std::rotate(list + from, list + from + 1, list + to + 1);
    else
        std::rotate(list + to, list + from, list + from + 1);
    if (isSorted) {
        for (int &entry : d->order) {
            if (entry == from)
                entry = to;
            else if (from < entry && entry <= to)
                --entry;
            else if (to <= entry && entry < from)
                ++entry;
        }
    }
    d->indexRows();
    if (!isSorted)
        endMoveRows();
    Q_EMIT symbolsChanged();
}

void LxQuoteTableModel::Private::resetOrder()
{
    order.resize(list.size());
    std::iota(order.begin(), order.end(), 0);
    if (sortColumn >= 0)
        order = sortedRows();
    indexRows();
}

void LxQuoteTableModel::Private::indexRows()
{
    rowOfIndex.resize(order.size());
    for (size_t row = 0; row < order.size(); ++row)
        rowOfIndex[static_cast<size_t>(order[row])] = static_cast<int>(row);
    indexOf.clear();
    indexOf.reserve(static_cast<int>(list.size()));
    for (size_t i = 0; i < list.size(); ++i)
        indexOf.insert(list[i].quote.symbol, static_cast<int>(i));
}

QString LxQuoteTableModel::symbolAt(int row) const
{
    return row >= 0 && row < rowCount() ? quoteAt(row).symbol : QString();
}

int LxQuoteTableModel::rowOf(const QString &symbol) const
{
    const int index = d->indexOf.value(symbol, -1);
    return index < 0 ? -1 : d->rowOfIndex[static_cast<size_t>(index)];
}

LxQuote LxQuoteTableModel::quoteAt(int row) const
{
    if (row < 0 || row >= rowCount())
        return LxQuote();
    return d->list[static_cast<size_t>(d->order[static_cast<size_t>(row)])].quote;
}

// --- Quotes ---

void LxQuoteTableModel::Private::flush()
{
    const QHash<QString, LxQuote> quotes = mailbox.take();
    readMarketTime();
    std::vector<ChangedRow> changes;
    changes.reserve(static_cast<size_t>(quotes.size()));
    for (const LxQuote &quote : quotes) {
        const int index = indexOf.value(quote.symbol, -1);
        ColumnRange columns;
        if (take(index, quote, &columns))
            changes.push_back({ rowOfIndex[static_cast<size_t>(index)], columns });
    }
    announce(&changes);
    if (isOrderOld)
        sortSoon();
    // In a replay the market's clock may run faster than the status timer.
    if (status != Live || tradingTime >= statusTradingTime + StatusIntervalMs)
        updateStatus();
    if (quotes.isEmpty())
        return;
    const qint64 oldest = std::min_element(quotes.cbegin(), quotes.cend(), [](const LxQuote &a, const LxQuote &b) {
                              return a.received < b.received;
                          })->received;
    delay = static_cast<int>(QDeadlineTimer::current().deadline() - oldest);
    Q_EMIT q->flushed(quotes.size());
}

// Returns whether anything that is shown has changed.
bool LxQuoteTableModel::Private::take(int index, const LxQuote &quote, ColumnRange *changed)
{
    if (index < 0) // the symbol has left the list
        return false;
    Row &row = list[static_cast<size_t>(index)];
    LxQuote &shown = row.quote;
    ColumnRange columns;
    for (int column = Last; column < ColumnCount; ++column) {
        if (!isSame(number(shown, column), number(quote, column)))
            columns.add(column);
    }
    if (!isSame(shown.previousClose, quote.previousClose)) {
        // The colours of all prices depend on the previous close.
        columns.add(Last);
        columns.add(Average);
    }
    if (shown.name != quote.name && !quote.name.isEmpty())
        columns.add(Name);
    if (shown.time != quote.time)
        columns.add(Time);
    if (sortColumn >= 0 && columns.first <= sortColumn && sortColumn <= columns.last)
        isOrderOld = true;
    const QString name = quote.name.isEmpty() ? shown.name : quote.name;
    shown = quote;
    shown.name = name;
    row.tradingTime = LxTradingTime::elapsed(LxTradingTime::fromText(shown.time));
    const Status now = statusOf(row);
    if (now != row.status) {
        row.status = now;
        columns = { 0, ColumnCount - 1 };
    }
    if (changed)
        *changed = columns;
    return columns.last >= 0;
}

void LxQuoteTableModel::Private::announce(std::vector<ChangedRow> *changes)
{
    if (changes->empty())
        return;
    std::sort(changes->begin(), changes->end(), [](const ChangedRow &a, const ChangedRow &b) { return a.row < b.row; });
    struct Range
    {
        int first;
        int last;
        ColumnRange columns;
    };
    std::vector<Range> ranges;
    const auto join = [](Range *range, const ChangedRow &change) {
        range->last = change.row;
        range->columns.add(change.columns.first);
        range->columns.add(change.columns.last);
    };
    for (const ChangedRow &change : *changes) {
        if (!ranges.empty() && ranges.back().last + 1 == change.row)
            join(&ranges.back(), change);
        else
            ranges.push_back({ change.row, change.row, change.columns });
    }
    if (ranges.size() > MaximumRanges) {
        Range whole = ranges.front();
        for (const ChangedRow &change : *changes)
            join(&whole, change);
        ranges.assign(1, whole);
    }
    for (const Range &range : ranges)
        Q_EMIT q->dataChanged(q->index(range.first, range.columns.first), q->index(range.last, range.columns.last));
}

// --- Order ---

int LxQuoteTableModel::sortColumn() const
{
    return d->sortColumn;
}

Qt::SortOrder LxQuoteTableModel::sortOrder() const
{
    return d->sortOrder;
}

void LxQuoteTableModel::sort(int column, Qt::SortOrder order)
{
    d->sortColumn = column >= 0 && column < ColumnCount ? column : -1;
    d->sortOrder = order;
    d->isOrderOld = true;
    d->sortNow();
}

void LxQuoteTableModel::Private::sortSoon()
{
    if (sortTimer.isActive())
        return;
    const qint64 left = sinceSort.isValid() ? sortIntervalMs - sinceSort.elapsed() : 0;
    if (left > 0)
        sortTimer.start(static_cast<int>(left));
    else
        sortNow();
}

void LxQuoteTableModel::Private::sortNow()
{
    sortTimer.stop();
    isOrderOld = false;
    std::vector<int> sorted = sortedRows();
    if (sorted != order) {
        Q_EMIT q->layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = q->persistentIndexList();
        std::vector<int> lists; // where the persistent indexes point, in the list
        for (const QModelIndex &index : before)
            lists.push_back(order[static_cast<size_t>(index.row())]);
        order = std::move(sorted);
        for (size_t row = 0; row < order.size(); ++row)
            rowOfIndex[static_cast<size_t>(order[row])] = static_cast<int>(row);
        QModelIndexList after;
        for (int i = 0; i < before.size(); ++i)
            after.append(
                q->index(rowOfIndex[static_cast<size_t>(lists[static_cast<size_t>(i)])], before.at(i).column()));
        q->changePersistentIndexList(before, after);
        Q_EMIT q->layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    }
    sinceSort.start();
}

// Equal rows keep the order of the list.
std::vector<int> LxQuoteTableModel::Private::sortedRows() const
{
    std::vector<int> rows(list.size());
    std::iota(rows.begin(), rows.end(), 0);
    if (sortColumn < 0)
        return rows;
    const bool descending = sortOrder == Qt::DescendingOrder;
    const auto sortBy = [&](const auto &keys, const auto &isMissing) {
        std::stable_sort(rows.begin(), rows.end(), [&](int left, int right) {
            const auto &a = keys[static_cast<size_t>(left)];
            const auto &b = keys[static_cast<size_t>(right)];
            if (isMissing(a) || isMissing(b))
                return !isMissing(a) && isMissing(b);
            return descending ? b < a : a < b;
        });
    };
    if (columnInfos[sortColumn].form == Form::Text) {
        std::vector<QString> keys;
        keys.reserve(list.size());
        for (const Row &row : list)
            keys.push_back(raw(row, sortColumn).toString());
        sortBy(keys, [](const QString &key) { return key.isEmpty(); });
    } else {
        std::vector<double> keys;
        keys.reserve(list.size());
        for (const Row &row : list)
            keys.push_back(number(row.quote, sortColumn));
        sortBy(keys, [](double key) { return std::isnan(key); });
    }
    return rows;
}

int LxQuoteTableModel::sortInterval() const
{
    return d->sortIntervalMs;
}

void LxQuoteTableModel::setSortInterval(int milliseconds)
{
    d->sortIntervalMs = milliseconds;
}

int LxQuoteTableModel::flushInterval() const
{
    return d->frame.interval();
}

void LxQuoteTableModel::setFlushInterval(int milliseconds)
{
    d->frame.setInterval(milliseconds);
}

// --- Status ---

LxQuoteTableModel::Status LxQuoteTableModel::status() const
{
    return d->status;
}

void LxQuoteTableModel::setServiceAvailable(bool available)
{
    d->isServiceAvailable = available;
    d->updateStatus();
}

void LxQuoteTableModel::requestFigures()
{
    QStringList stocks;
    for (const Private::Row &row : d->list) {
        if (row.quote.kind == LxQuote::Stock)
            stocks.append(row.quote.symbol);
    }
    d->feed->requestFigures(stocks);
}

int LxQuoteTableModel::delay() const
{
    return d->delay;
}

int LxQuoteTableModel::staleAfter() const
{
    return d->staleAfterSeconds;
}

void LxQuoteTableModel::setStaleAfter(int seconds)
{
    d->staleAfterSeconds = seconds;
    d->updateStatus();
}

void LxQuoteTableModel::Private::readMarketTime()
{
    marketDate = feed->marketDate();
    tradingTime = LxTradingTime::elapsed(feed->marketTime());
}

LxQuoteTableModel::Status LxQuoteTableModel::Private::statusOf(const Row &row) const
{
    if (row.quote.kind == LxQuote::Unknown || !isServiceAvailable)
        return NoService;
    const int silence = tradingTime - row.tradingTime;
    return row.quote.date < marketDate || silence > staleAfterSeconds * 1000 ? Stale : Live;
}

void LxQuoteTableModel::Private::updateStatus()
{
    readMarketTime();
    statusTradingTime = tradingTime;
    Status best = NoService;
    int first = -1;
    int last = -1;
    for (size_t row = 0; row < order.size(); ++row) {
        Row &entry = list[static_cast<size_t>(order[row])];
        const Status now = statusOf(entry);
        best = std::max(best, now);
        if (now == entry.status)
            continue;
        entry.status = now;
        last = static_cast<int>(row);
        first = first < 0 ? last : first;
    }
    if (first >= 0)
        Q_EMIT q->dataChanged(q->index(first, 0), q->index(last, ColumnCount - 1), { StatusRole, Qt::ForegroundRole });
    if (best != status) {
        status = best;
        Q_EMIT q->statusChanged(status);
    }
}

// --- The model ---

LxQuoteTableModel::Colors LxQuoteTableModel::colors() const
{
    return d->colors;
}

void LxQuoteTableModel::setColors(const Colors &colors)
{
    d->colors = colors;
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1), { Qt::ForegroundRole });
}

void LxQuoteTableModel::setUnits(LxQuoteText::Units units)
{
    d->units = units;
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

int LxQuoteTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(d->order.size());
}

int LxQuoteTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString LxQuoteTableModel::Private::text(const Row &row, int column) const
{
    const double value = number(row.quote, column);
    switch (columnInfos[column].form) {
    case Form::Text:
        break;
    case Form::Price:
        return LxQuoteText::price(value);
    case Form::Change:
        return LxQuoteText::change(value);
    case Form::ChangeRatio:
        return LxQuoteText::changeRatio(value);
    case Form::Percent:
        return LxQuoteText::percent(value);
    case Form::Amount:
        return LxQuoteText::amount(value, units);
    case Form::Count:
        return LxQuoteText::count(value);
    }
    return column == Time ? LxQuoteText::time(row.quote.time) : raw(row, column).toString();
}

QVariant LxQuoteTableModel::Private::raw(const Row &row, int column) const
{
    switch (column) {
    case Code:
        return row.quote.symbol;
    case Name:
        return row.quote.name;
    case Time:
        return row.quote.time;
    default:
        return number(row.quote, column);
    }
}

QVariant LxQuoteTableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const Private::Row &row = d->list[static_cast<size_t>(d->order[static_cast<size_t>(index.row())])];
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
        return d->text(row, column);
    case RawRole:
        return d->raw(row, column);
    case SymbolRole:
        return row.quote.symbol;
    case DirectionRole:
        return column == Code || column == Name ? row.quote.direction() : direction(row.quote, column);
    case StatusRole:
        return row.status;
    case Qt::TextAlignmentRole: {
        const bool isText = column == Code || column == Name;
        return int((isText ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    }
    case Qt::ForegroundRole: {
        const int towards = direction(row.quote, column);
        const QColor color = towards > 0 ? d->colors.rising : towards < 0 ? d->colors.falling : d->colors.neutral;
        return color.isValid() ? QVariant(color) : QVariant();
    }
    default:
        if (role >= FirstColumnRole && role < FirstColumnRole + ColumnCount)
            return d->text(row, role - FirstColumnRole);
        return QVariant();
    }
}

QVariant LxQuoteTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (role == Qt::DisplayRole)
        return title(static_cast<Column>(section));
    if (role == Qt::TextAlignmentRole)
        return int((section == Code || section == Name ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    return QVariant();
}

QHash<int, QByteArray> LxQuoteTableModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    names.insert(Qt::ForegroundRole, QByteArrayLiteral("color"));
    names.insert(RawRole, QByteArrayLiteral("raw"));
    names.insert(SymbolRole, QByteArrayLiteral("symbol"));
    names.insert(DirectionRole, QByteArrayLiteral("direction"));
    names.insert(StatusRole, QByteArrayLiteral("status"));
    for (int column = 0; column < ColumnCount; ++column)
        names.insert(FirstColumnRole + column, columnInfos[column].name);
    return names;
}

QString LxQuoteTableModel::title(Column column)
{
    return tr(columnInfos[column].title);
}
