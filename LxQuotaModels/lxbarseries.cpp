#include "lxbarseries.h"

#include "lxframe_p.h"
#include "lxmarketfeed_p.h"
#include "lxquotetext.h"
#include "lxtradingtime.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxquotahandler.h>

#include <QDate>
#include <QMap>
#include <QMutex>
#include <QPair>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

const QString dateFormat = QStringLiteral("yyyyMMdd");

// The number of trading minutes in a bar; 0 for bars of a day or longer.
int minutesOf(LxBarSeries::Period period)
{
    switch (period) {
    case LxBarSeries::OneMinute:
        return 1;
    case LxBarSeries::FiveMinutes:
        return 5;
    case LxBarSeries::FifteenMinutes:
        return 15;
    case LxBarSeries::ThirtyMinutes:
        return 30;
    case LxBarSeries::SixtyMinutes:
        return 60;
    default:
        return 0;
    }
}

QDate firstDay(LxBarSeries::Period period, const QDate &last)
{
    switch (period) {
    case LxBarSeries::OneMinute:
        return last.addDays(-10);
    case LxBarSeries::FiveMinutes:
    case LxBarSeries::FifteenMinutes:
    case LxBarSeries::ThirtyMinutes:
    case LxBarSeries::SixtyMinutes:
        return last.addMonths(-3);
    case LxBarSeries::Day:
        return last.addYears(-4);
    default:
        return QDate(1990, 1, 1);
    }
}

LxBar barOf(const QVariantMap &row, LxBarSeries::Period period)
{
    const auto number = [&row](const char *key) {
        const auto value = row.constFind(QLatin1String(key));
        return value == row.cend() ? LxNoValue : value->toDouble();
    };
    LxBar bar;
    bar.date = row.value(QStringLiteral("MDDate")).toString();
    if (minutesOf(period) > 0)
        bar.minute = LxTradingTime::fromText(row.value(QStringLiteral("MDTime")).toString()) / 60000;
    bar.open = number("OpenPx");
    bar.high = number("HighPx");
    bar.low = number("LowPx");
    bar.close = number("ClosePx");
    bar.volume = number("TotalVolumeTrade");
    bar.amount = number("TotalValueTrade");
    return bar;
}

bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool isSame(const LxBar &a, const LxBar &b)
{
    return a.date == b.date && a.minute == b.minute && isSame(a.open, b.open) && isSame(a.high, b.high)
        && isSame(a.low, b.low) && isSame(a.close, b.close) && isSame(a.volume, b.volume) && isSame(a.amount, b.amount);
}

} // namespace

class LxBarSeries::Private final : public LxReceiver
{
public:
    using Time = QPair<QString, int>; // date and minute of a bar

    explicit Private(LxBarSeries *series) : q(series), frame([this] { flush(); }), feed(LxMarketFeed::shared()) { }

    void subscribe(const QString &next);
    void request();
    void quoteReceived(const LxQuote &quote) override;
    void barsReceived(const QList<QVariantMap> &rows, int answered) override;
    void flush();
    QVector<LxBar> liveBars() const;
    QVector<LxBar> compose() const;
    void show(const QVector<LxBar> &next);

    LxBarSeries *const q;
    LxFrame frame;
    const std::shared_ptr<LxMarketFeed> feed;
    QString symbol;
    Adjustment adjustment = Unadjusted;
    LxQuote quote;
    QMap<Time, LxBar> past; // received from the service
    QVector<LxBar> bars;

    QMutex mutex; // guards what follows
    Period period = Day;
    LxQuote receivedQuote;
    QVector<LxBar> receivedBars;
};

LxBarSeries::LxBarSeries(QObject *parent) : QAbstractTableModel(parent), d(new Private(this)) { }

LxBarSeries::~LxBarSeries()
{
    d->subscribe(QString());
}

void LxBarSeries::Private::subscribe(const QString &next)
{
    const QString before = std::exchange(symbol, next);
    for (const LxMarketFeed::Kind kind : { LxMarketFeed::Quotes, LxMarketFeed::Bars }) {
        if (!next.isEmpty())
            feed->subscribe(kind, this, { next });
        if (!before.isEmpty())
            feed->unsubscribe(kind, this, { before });
    }
}

void LxBarSeries::load(const QString &symbol, Period period, Adjustment adjustment)
{
    beginResetModel();
    d->subscribe(QString()); // afterwards nothing of the previous symbol arrives
    d->bars.clear();
    d->past.clear();
    d->quote = LxQuote();
    d->adjustment = adjustment;
    {
        QMutexLocker locker(&d->mutex);
        d->period = period;
        d->receivedQuote = LxQuote();
        d->receivedBars.clear();
    }
    d->subscribe(symbol);
    endResetModel();
    Q_EMIT loaded();
    d->flush();
    if (!symbol.isEmpty())
        d->request();
}

void LxBarSeries::Private::request()
{
    // In a replay the current day is in the past, and later bars must not be shown.
    const QDate marketDay = QDate::fromString(feed->marketDate(), dateFormat);
    const QDate last = marketDay.isValid() ? marketDay : QDate::currentDate();
    const QDateTime start(firstDay(period, last), QTime(0, 0));
    const QDateTime stop(last, QTime(23, 59, 59));
    feed->send([symbol = symbol, start, stop, period = period, adjustment = adjustment] {
        LxQuotaHandler::instance().AsyncRequestKLineData(symbol, start, stop, static_cast<EMD_KLINE_PERIOD>(period),
                                                         static_cast<EMD_EXRIGHTS_TYPE>(adjustment));
    });
}

void LxBarSeries::Private::quoteReceived(const LxQuote &next)
{
    QMutexLocker locker(&mutex);
    receivedQuote = next;
    frame.request();
}

void LxBarSeries::Private::barsReceived(const QList<QVariantMap> &rows, int answered)
{
    QMutexLocker locker(&mutex);
    if (answered != period)
        return;
    for (const QVariantMap &row : rows)
        receivedBars.append(barOf(row, period));
    frame.request();
}

void LxBarSeries::Private::flush()
{
    QVector<LxBar> added;
    {
        QMutexLocker locker(&mutex);
        added.swap(receivedBars);
        if (receivedQuote.kind != LxQuote::Unknown)
            quote = receivedQuote;
    }
    for (const LxBar &bar : std::as_const(added))
        past.insert({ bar.date, bar.minute }, bar);
    show(compose());
}

// The bars of the current day, built from the quotes received so far.
QVector<LxBar> LxBarSeries::Private::liveBars() const
{
    if (quote.kind == LxQuote::Unknown)
        return {};
    if (const int minutes = minutesOf(period))
        return LxLiveBars::fold(feed->minuteBars(symbol), minutes);
    const LxBar day = LxLiveBars::day(quote);
    return day.open > 0 ? QVector<LxBar> { day } : QVector<LxBar>();
}

QVector<LxBar> LxBarSeries::Private::compose() const
{
    const QVector<LxBar> live = liveBars();
    QVector<LxBar> result;
    result.reserve(past.size() + live.size());
    const Time firstLive = live.isEmpty() ? Time() : Time(live.constFirst().date, live.constFirst().minute);
    const auto end = live.isEmpty() ? past.cend() : past.lowerBound(firstLive);
    for (auto bar = past.cbegin(); bar != end; ++bar)
        result.append(bar.value());
    if (!live.isEmpty() && !result.isEmpty() && (period == Week || period == Month)) {
        const QDate before = QDate::fromString(result.constLast().date, dateFormat);
        const QDate today = QDate::fromString(live.constLast().date, dateFormat);
        const bool isSamePeriod = period == Month
            ? before.year() == today.year() && before.month() == today.month()
            : before.addDays(1 - before.dayOfWeek()) == today.addDays(1 - today.dayOfWeek());
        if (isSamePeriod) {
            LxLiveBars::extend(&result.last(), live.constLast());
            result.last().date = live.constLast().date;
            return result;
        }
    }
    return result + live;
}

void LxBarSeries::Private::show(const QVector<LxBar> &next)
{
    int same = 0;
    while (same < bars.size() && same < next.size() && isSame(bars.at(same), next.at(same)))
        ++same;
    if (same == bars.size() && same == next.size())
        return;
    // Usually only the last bar changes, and occasionally one is added.
    if (!bars.isEmpty() && same >= bars.size() - 1 && next.size() >= bars.size()) {
        const int before = bars.size();
        if (same < before) {
            bars[same] = next.at(same);
            Q_EMIT q->dataChanged(q->index(same, 0), q->index(same, ColumnCount - 1));
        }
        if (next.size() > before) {
            q->beginInsertRows(QModelIndex(), before, next.size() - 1);
            bars = next;
            q->endInsertRows();
        }
    } else {
        q->beginResetModel();
        bars = next;
        q->endResetModel();
    }
    Q_EMIT q->changed();
}

QString LxBarSeries::symbol() const
{
    return d->symbol;
}

LxBarSeries::Period LxBarSeries::period() const
{
    return d->period;
}

LxBarSeries::Adjustment LxBarSeries::adjustment() const
{
    return d->adjustment;
}

const QVector<LxBar> &LxBarSeries::bars() const
{
    return d->bars;
}

const LxQuote &LxBarSeries::quote() const
{
    return d->quote;
}

double LxBarSeries::inLots(double volume) const
{
    LxQuote quote = d->quote;
    // A symbol without quotes may have past bars.
    if (quote.kind == LxQuote::Unknown
        && CBusinessDataBase::GetInstance()->GetSecurityTypeBySymbol(d->symbol) == QLatin1String("stock"))
        quote.kind = LxQuote::Stock;
    return quote.inLots(volume);
}

QVector<double> LxBarSeries::movingAverage(int length) const
{
    QVector<double> averages(d->bars.size(), LxNoValue);
    double sum = 0;
    for (int i = 0; i < d->bars.size(); ++i) {
        sum += d->bars.at(i).close;
        if (i >= length)
            sum -= d->bars.at(i - length).close;
        if (i >= length - 1)
            averages[i] = sum / length;
    }
    return averages;
}

int LxBarSeries::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : d->bars.size();
}

int LxBarSeries::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LxBarSeries::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const LxBar &bar = d->bars.at(index.row());
    const double numbers[ColumnCount] { LxNoValue, bar.open, bar.high, bar.low, bar.close, bar.volume, bar.amount };
    const auto time = [&bar] {
        const QString date = LxQuoteText::date(bar.date);
        return bar.minute < 0 ? date : date + QLatin1Char(' ') + LxQuoteText::minute(bar.minute);
    };
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == Time)
            return time();
        return index.column() < Volume ? LxQuoteText::price(numbers[index.column()])
                                       : LxQuoteText::amount(numbers[index.column()], LxQuoteText::localUnits());
    case RawRole:
        return index.column() == Time ? QVariant(time()) : QVariant(numbers[index.column()]);
    case TimeRole:
        return time();
    case Qt::TextAlignmentRole:
        return int((index.column() == Time ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    default:
        if (role >= OpenRole && role <= AmountRole)
            return numbers[Open + role - OpenRole];
        return QVariant();
    }
}

QVariant LxBarSeries::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QString titles[ColumnCount] { tr("Time"),  tr("Open"),   tr("High"),  tr("Low"),
                                        tr("Close"), tr("Volume"), tr("Amount") };
    return titles[section];
}

QHash<int, QByteArray> LxBarSeries::roleNames() const
{
    static const char *const names[] { "time", "open", "high", "low", "close", "volume", "amount" };
    QHash<int, QByteArray> result = QAbstractTableModel::roleNames();
    result.insert(RawRole, QByteArrayLiteral("raw"));
    for (int role = TimeRole; role <= AmountRole; ++role)
        result.insert(role, names[role - TimeRole]);
    return result;
}
