#include "lxquotahandler.h"

#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxrequests_p.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>

namespace {

const QString requestTimeFormat(QLatin1String("yyyyMMddhhmmss"));

const QString barDateFormat(QLatin1String("yyyyMMdd"));

const QString startTimeKey(QLatin1String("StartTime"));
const QString stopTimeKey(QLatin1String("StopTime"));
const QString exrightsTypeKey(QLatin1String("ExrightsType"));
const QString closeKey(QLatin1String("ClosePx"));
const QString openKey(QLatin1String("OpenPx"));
const QString highKey(QLatin1String("HighPx"));
const QString lowKey(QLatin1String("LowPx"));
const QString volumeKey(QLatin1String("TotalVolumeTrade"));
const QString valueKey(QLatin1String("TotalValueTrade"));

QDateTime startOfDay(const QDate &day)
{
    return QDateTime(day, QTime(0, 0));
}

// Returns whether `row` is a bar of `period` that has a symbol; the first row that is not ends the answer. `symbol`
// receives the symbol of a row of the period. If that is empty, the answer is not announced.
bool readSymbol(const QVariantMap &row, EMD_KLINE_PERIOD period, QString &symbol)
{
    if (row.value(LxFieldKey::PeriodType).toInt() != period)
        return false;
    symbol = row.value(LxFieldKey::Symbol).toString();
    return !symbol.isEmpty();
}

StockPeriod1DInfo readBar(const QVariantMap &row, const QString &symbol)
{
    StockPeriod1DInfo bar;
    bar.closePx = row.value(closeKey).toDouble();
    bar.openPx = row.value(openKey).toDouble();
    bar.highPx = row.value(highKey).toDouble();
    bar.lowPx = row.value(lowKey).toDouble();
    bar.totalVolumeTrade = row.value(volumeKey).toDouble();
    bar.totalValueTrade = row.value(valueKey).toDouble();
    bar.symbol = symbol;
    return bar;
}

// The bars from `from` to `to`. Fixed behaviour: both days are looked up exactly. Without a bar of the first day the
// result is empty; without one of the last day it contains everything from the first day on.
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
    const QString startTime = start.toString(requestTimeFormat);
    const QString stopTime = stop.toString(requestTimeFormat);
    CPackMessageCommon pack;
    pack.AddVaule(LxFieldKey::Symbol, symbol);
    pack.AddVaule(startTimeKey, startTime);
    pack.AddVaule(stopTimeKey, stopTime);
    pack.AddVaule(exrightsTypeKey, static_cast<int>(exrights));
    pack.AddVaule(LxFieldKey::PeriodType, static_cast<int>(period));
    pack.AddVaule(Orca_Fields::System::msgType, LxMessageType::KLineRequest);
    LxPresenterClassMgr::instance()->Put(LxRequests::create(LxMessageType::KLineRequest, pack));
    QString id = pack.GetValue(Orca_Fields::System::clientMsgID).toString();
    LX_DEBUG("lxquotahandler", __LINE__) << "开始查询k线数据，证券代码：" << symbol << "时间范围：" << startTime << "至"
                                         << stopTime << id;
    return id;
}

void LxQuotaHandler::sendDailyKLineRequest(const QString &symbol, const QDate &from, const QDate &to)
{
    AsyncRequestKLineData(symbol, startOfDay(from), startOfDay(to), EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
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
            // Fixed behaviour: returns with the mutex locked.
            return;
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
    // Fixed behaviour: the cache is not used, but the call waits while an answer is being stored.
    m_period1MMutex.lock();
    m_period1MMutex.unlock();
    AsyncRequestKLineData(symbol, startOfDay(start), startOfDay(end), EMD_KLINE_PERIOD_1MIN, EMD_EXRIGHTS_TYPE_DEFAULT);
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
    QString symbol;
    for (const QVariantMap &row : rows) {
        if (!readSymbol(row, EMD_KLINE_PERIOD_1DAY, symbol))
            break;
        const QDate date = QDate::fromString(row.value(LxFieldKey::MDDate).toString(), barDateFormat);
        QMap<QDate, StockPeriod1DInfo> &cached = m_hashPeriod1DInfo[symbol];
        if (!cached.contains(date))
            cached.insert(date, readBar(row, symbol));
    }
    const auto known = m_hashPeriod1DInfo.constFind(symbol);
    if (known != m_hashPeriod1DInfo.constEnd() && !known->isEmpty())
        Q_EMIT sigOnRspQueryStockPeriod1DInfo(symbol, *known);
}

void LxQuotaHandler::processPeriod1M(const QList<QVariantMap> &rows)
{
    QMutexLocker locker(&m_period1MMutex);
    QString symbol;
    for (const QVariantMap &row : rows) {
        if (!readSymbol(row, EMD_KLINE_PERIOD_1MIN, symbol))
            break;
        const QString dateString = row.value(LxFieldKey::MDDate).toString();
        const QDate date = QDate::fromString(dateString, barDateFormat);
        // Fixed behaviour: the time is parsed from the date string, which contains none. All minutes of a day therefore
        // have the same key, and only the first one is stored.
        const QTime time = QTime::fromString(dateString, Qt::TextDate);
        QMap<QTime, Period1MInfo> &cached = m_hashPeriod1MInfo[symbol][date];
        if (cached.contains(time))
            continue;
        const StockPeriod1DInfo bar = readBar(row, symbol);
        LX_DEBUG("lxquotahandler", __LINE__) << "slotProcessPeriod1MKLineDate" << symbol << bar.closePx << bar.highPx
                                             << bar.lowPx << bar.openPx << bar.totalVolumeTrade << bar.totalValueTrade;
        cached.insert(time, { bar, time });
    }
}
