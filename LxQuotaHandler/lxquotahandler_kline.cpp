#include "lxquotahandler.h"

#include "lxbardate.h"
#include "lxlog_p.h"
#include "lxquotahandlerobject.h"
#include "lxrowreader_p.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>

#include <algorithm>
#include <vector>

namespace {

const QString requestTimeFormat = QStringLiteral("yyyyMMddhhmmss");

// Midnight of a day, as the bars are asked for.
QDateTime midnight(const QDate &day)
{
    return QDateTime(day, QTime(0, 0));
}

// What a bar says, each absent key reading as 0 or "".
struct Bar
{
    int period = 0;
    QString date;
    StockPeriod1DInfo info;
};

// Reads the bars of one answer.
class BarReader
{
public:
    explicit BarReader(EMD_KLINE_PERIOD period) : m_period(period) { }

    // Whether the row is a bar of the period with a symbol; the first that is not ends an answer. A row of the period
    // without a symbol empties `symbol`, so that the answer announces nothing.
    bool read(const QVariantMap &row, Bar &bar, QString &symbol)
    {
        bar = {};
        size_t place = 0;
        for (auto cell = row.constBegin(); cell != row.constEnd(); ++cell) {
            if (const Field *field = fieldAt(place++, cell.key()))
                field->read(*cell, bar);
        }
        if (bar.period != m_period)
            return false;
        if (bar.info.symbol != symbol)
            symbol = bar.info.symbol;
        return !symbol.isEmpty();
    }

private:
    struct Field
    {
        QString key;
        void (*read)(const QVariant &value, Bar &bar);
    };

    // A cell of the row before, and what it is; null: nothing that is read.
    struct Cell
    {
        QString key;
        const Field *field;
    };

    // The rows of an answer have the same keys, by the same texts as a rule: there is nothing to compare then.
    const Field *fieldAt(size_t place, const QString &key)
    {
        if (place == m_cells.size())
            m_cells.push_back({ key, fieldOf(key) });
        else if (!m_cells[place].key.isSharedWith(key))
            m_cells[place] = { key, fieldOf(key) };
        return m_cells[place].field;
    }

    static const Field *fieldOf(const QString &key)
    {
        using LxFieldValue::toDouble;
        static const Field fields[] {
            { QStringLiteral("PeriodType"), [](const QVariant &value, Bar &bar) { bar.period = value.toInt(); } },
            { QStringLiteral("Symbol"), [](const QVariant &value, Bar &bar) { bar.info.symbol = value.toString(); } },
            { QStringLiteral("MDDate"), [](const QVariant &value, Bar &bar) { bar.date = value.toString(); } },
            { QStringLiteral("OpenPx"), [](const QVariant &value, Bar &bar) { bar.info.openPx = toDouble(value); } },
            { QStringLiteral("HighPx"), [](const QVariant &value, Bar &bar) { bar.info.highPx = toDouble(value); } },
            { QStringLiteral("LowPx"), [](const QVariant &value, Bar &bar) { bar.info.lowPx = toDouble(value); } },
            { QStringLiteral("ClosePx"), [](const QVariant &value, Bar &bar) { bar.info.closePx = toDouble(value); } },
            { QStringLiteral("TotalVolumeTrade"),
              [](const QVariant &value, Bar &bar) { bar.info.totalVolumeTrade = toDouble(value); } },
            { QStringLiteral("TotalValueTrade"),
              [](const QVariant &value, Bar &bar) { bar.info.totalValueTrade = toDouble(value); } },
        };
        const auto found =
            std::find_if(std::begin(fields), std::end(fields), [&key](const Field &field) { return field.key == key; });
        return found == std::end(fields) ? nullptr : found;
    }

    const EMD_KLINE_PERIOD m_period;
    std::vector<Cell> m_cells;
};

// The bars from `from` to `to`. Both are looked up by exact day, which is meant: a start without a bar gives nothing,
// an end without one gives everything from the start on.
QMap<QDate, StockPeriod1DInfo> barsBetween(const QMap<QDate, StockPeriod1DInfo> &bars, const QDate &from,
                                           const QDate &to)
{
    QMap<QDate, StockPeriod1DInfo> result;
    const auto last = bars.constFind(to);
    for (auto bar = bars.constFind(from); bar != bars.constEnd(); ++bar) {
        result.insert(bar.key(), bar.value());
        if (bar == last)
            break;
    }
    return result;
}

} // namespace

QString LxQuotaHandler::AsyncRequestKLineData(const QString &symbol, const QDateTime &start, const QDateTime &stop,
                                              EMD_KLINE_PERIOD period, EMD_EXRIGHTS_TYPE exrights)
{
    waitForPresenterClassInit();
    const QString type = QStringLiteral("KLineRequest");
    const QString startText = start.toString(requestTimeFormat);
    const QString stopText = stop.toString(requestTimeFormat);
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbol);
    pack.AddVaule(QStringLiteral("StartTime"), startText);
    pack.AddVaule(QStringLiteral("StopTime"), stopText);
    pack.AddVaule(QStringLiteral("ExrightsType"), static_cast<int>(exrights));
    pack.AddVaule(QStringLiteral("PeriodType"), static_cast<int>(period));
    pack.AddVaule(Orca_Fields::System::msgType, type);
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(pack.GetPackedMsg(false));
    LxPresenterClassMgr::instance()->Put(message);
    const QString id = pack.GetValue(Orca_Fields::System::clientMsgID).toString();
    LX_LOG("lxquotahandler", __LINE__).debug()
        << "开始查询k线数据，证券代码：" << symbol << "时间范围：" << startText << "至" << stopText << id;
    return id;
}

void LxQuotaHandler::sendDailyKLineRequest(const QString &symbol, const QDate &from, const QDate &to)
{
    AsyncRequestKLineData(symbol, midnight(from), midnight(to), EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
}

void LxQuotaHandler::QueryStockPeriod1DInfo(const QString &symbol, const QDate &start, const QDate &end,
                                            bool wholeRangeOnly)
{
    QDate from = start;
    QDate to = end;
    m_period1DMutex.lock();
    const QMap<QDate, StockPeriod1DInfo> bars = m_hashPeriod1DInfo.value(symbol);
    if (bars.isEmpty() || bars.firstKey() > to || bars.lastKey() < from) {
        m_period1DMutex.unlock();
        sendDailyKLineRequest(symbol, start, end);
        return;
    }
    if (wholeRangeOnly) {
        if (bars.firstKey() <= start && bars.lastKey() >= end) {
            Q_EMIT sigOnRspQueryStockPeriod1DInfo(symbol, barsBetween(bars, from, to));
            return; // with the mutex locked: a slip that is kept, since later calls are known to block
        }
        m_period1DMutex.unlock();
        sendDailyKLineRequest(symbol, start, end);
        return;
    }
    if (bars.firstKey() > from)
        from = bars.firstKey();
    if (bars.lastKey() < to)
        to = bars.lastKey();
    Q_EMIT sigOnRspQueryStockPeriod1DInfo(symbol, barsBetween(bars, from, to));
    m_period1DMutex.unlock();
    if (start != from)
        sendDailyKLineRequest(symbol, start, from.addDays(-1));
    if (end != to)
        sendDailyKLineRequest(symbol, to.addDays(1), end);
}

void LxQuotaHandler::QueryStockPeriod1MInfo(const QString &symbol, const QDate &start, const QDate &end, bool)
{
    // The cache is never asked, so there is nothing to look up; but the call waits for an answer being stored.
    m_period1MMutex.lock();
    m_period1MMutex.unlock();
    AsyncRequestKLineData(symbol, midnight(start), midnight(end), EMD_KLINE_PERIOD_1MIN, EMD_EXRIGHTS_TYPE_DEFAULT);
}

void LxQuotaHandler::slotProcessPeriod1DKLineDate(const QList<QVariantMap> &lstData, EMD_KLINE_PERIOD type)
{
    if (type == EMD_KLINE_PERIOD_1DAY)
        processPeriod1D(lstData);
    else if (type == EMD_KLINE_PERIOD_1MIN)
        processPeriod1M(lstData);
}

void LxQuotaHandler::processPeriod1D(const QList<QVariantMap> &rows)
{
    QMutexLocker locker(&m_period1DMutex);
    BarReader reader(EMD_KLINE_PERIOD_1DAY);
    QString symbol;
    Bar bar;
    QString cachedSymbol;
    QMap<QDate, StockPeriod1DInfo> *cached = nullptr; // of that symbol
    for (const QVariantMap &row : rows) {
        if (!reader.read(row, bar, symbol))
            break;
        if (!cached || symbol != cachedSymbol) {
            cachedSymbol = symbol;
            cached = &m_hashPeriod1DInfo[symbol];
        }
        const QDate date = LxBarDate::fromString(bar.date);
        const auto place = std::as_const(*cached).lowerBound(date);
        if (place == cached->constEnd() || place.key() != date)
            cached->insert(place, date, bar.info); // at once, when the days come in order
    }
    const auto known = m_hashPeriod1DInfo.constFind(symbol);
    if (known != m_hashPeriod1DInfo.constEnd() && !known->isEmpty())
        Q_EMIT sigOnRspQueryStockPeriod1DInfo(symbol, *known);
}

void LxQuotaHandler::processPeriod1M(const QList<QVariantMap> &rows)
{
    QMutexLocker locker(&m_period1MMutex);
    BarReader reader(EMD_KLINE_PERIOD_1MIN);
    QString symbol;
    Bar bar;
    for (const QVariantMap &row : rows) {
        if (!reader.read(row, bar, symbol))
            break;
        const StockPeriod1DInfo &info = bar.info;
        const QDate date = LxBarDate::fromString(bar.date);
        // The time is read from the date's text, not from a time's: meant.
        const QTime time = QTime::fromString(bar.date, Qt::TextDate);
        QMap<QTime, Period1MInfo> &cached = m_hashPeriod1MInfo[symbol][date];
        if (cached.contains(time))
            continue;
        LX_LOG("lxquotahandler", __LINE__).debug()
            << "slotProcessPeriod1MKLineDate" << symbol << info.closePx << info.highPx << info.lowPx << info.openPx
            << info.totalVolumeTrade << info.totalValueTrade;
        cached.insert(time, { info, time });
    }
}
