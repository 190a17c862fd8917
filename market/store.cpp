#include "store.h"

#include "storestate.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

static std::optional<double> optionalNumber(const QSqlQuery &query, int column)
{
    return query.isNull(column) ? std::nullopt : std::optional<double>(query.value(column).toDouble());
}

// The columns of a bar, in the order in which visitBars() reads them.
static QString barColumns(Store::Period period)
{
    return QStringLiteral("MDDate, %1, OpenPx, HighPx, LowPx, ClosePx, TotalVolumeTrade, TotalValueTrade")
        .arg(period == Store::Minute ? QStringLiteral("MDTime") : QStringLiteral("0"));
}

static QString describe(const StoreConnection &connection, const QSqlQuery &query)
{
    return QStringLiteral("%1: %2").arg(connection.database().databaseName(), query.lastError().text());
}

bool Store::open(const QString &path, QString *error)
{
    return openStore(path, &m_connection, error) == StoreState::Current;
}

bool Store::run(QSqlQuery *query, QString *error)
{
    if (query->exec())
        return true;
    *error = describe(m_connection, *query);
    return false;
}

bool Store::next(QSqlQuery *query, QString *error)
{
    if (query->next())
        return true;
    if (query->lastError().isValid())
        *error = describe(m_connection, *query);
    return false;
}

std::optional<int> Store::symbolId(const QString &symbol, QString *error)
{
    QSqlQuery query(m_connection.database());
    query.prepare(QStringLiteral("SELECT SymbolId FROM securities WHERE Symbol = ?"));
    query.addBindValue(symbol);
    if (!run(&query, error) || !next(&query, error))
        return std::nullopt;
    return query.value(0).toInt();
}

bool Store::visitBars(QSqlQuery *query, const BarVisitor &visit, QString *error)
{
    StoreBar bar;
    do {
        if (!next(query, error))
            return error->isEmpty();
        bar.date = query->value(0).toInt();
        bar.time = query->value(1).toInt();
        bar.open = query->value(2).toDouble();
        bar.high = query->value(3).toDouble();
        bar.low = query->value(4).toDouble();
        bar.close = query->value(5).toDouble();
        bar.volume = optionalNumber(*query, 6);
        bar.value = optionalNumber(*query, 7);
    } while (visit(bar));
    return true;
}

bool Store::readBars(Period period, const QString &symbol, StoreMoment first, StoreMoment last, const BarVisitor &visit,
                     QString *error)
{
    const std::optional<int> id = symbolId(symbol, error);
    if (!id)
        return error->isEmpty();
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    if (period == Minute) {
        query.prepare(QStringLiteral("SELECT %1 FROM kline_1min WHERE SymbolId = ? AND (MDDate, MDTime) >= (?, ?) "
                                     "AND (MDDate, MDTime) <= (?, ?) ORDER BY MDDate, MDTime")
                          .arg(barColumns(Minute)));
        for (int value : { *id, first.date, first.time, last.date, last.time })
            query.addBindValue(value);
    } else {
        query.prepare(QStringLiteral("SELECT %1 FROM kline_daily WHERE SymbolId = ? AND MDDate BETWEEN ? AND ? "
                                     "ORDER BY MDDate")
                          .arg(barColumns(Daily)));
        // The time of a daily bar is midnight, so the bar of the first day is before any later start on that day.
        for (int value : { *id, first.time == 0 ? first.date : first.date + 1, last.date })
            query.addBindValue(value);
    }
    return run(&query, error) && visitBars(&query, visit, error);
}

bool Store::readDailyBarsBack(const QString &symbol, int date, const BarVisitor &visit, QString *error)
{
    const std::optional<int> id = symbolId(symbol, error);
    if (!id)
        return error->isEmpty();
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT %1 FROM kline_daily WHERE SymbolId = ? AND MDDate <= ? ORDER BY MDDate DESC")
                      .arg(barColumns(Daily)));
    query.addBindValue(*id);
    query.addBindValue(date);
    return run(&query, error) && visitBars(&query, visit, error);
}

QVector<StoreFundamentals> Store::fundamentals(const QString &symbol, QString *error)
{
    QVector<StoreFundamentals> records;
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    // Records whose share counts are zero are placeholders for companies about to be listed.
    query.prepare(QStringLiteral("SELECT AsOfDate, TotalShare, ListedShare, NetAssets, DividentRate, EPS, PE "
                                 "FROM fundamentals JOIN securities USING (SymbolId) "
                                 "WHERE Symbol = ? AND (TotalShare IS NOT 0 OR ListedShare IS NOT 0) "
                                 "ORDER BY AsOfDate"));
    query.addBindValue(symbol);
    if (!run(&query, error))
        return records;
    while (next(&query, error)) {
        records.append({ query.value(0).toInt(), optionalNumber(query, 1), optionalNumber(query, 2),
                         optionalNumber(query, 3), optionalNumber(query, 4), optionalNumber(query, 5),
                         optionalNumber(query, 6) });
    }
    return records;
}

QVector<StoreExDate> Store::exDates(const QString &symbol, QString *error)
{
    QVector<StoreExDate> events;
    const std::optional<int> id = symbolId(symbol, error);
    if (!id)
        return events;
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT ExDate, CashPerShare, BonusPerShare, ConversionPerShare, RightsPerShare, RightsPrice, StepFactor, "
        "(SELECT ClosePx FROM kline_daily WHERE SymbolId = :id AND MDDate < ExDate ORDER BY MDDate DESC LIMIT 1) AS "
        "Close "
        "FROM (SELECT SymbolId, ExDate FROM corporate_actions WHERE SymbolId = :id "
        "UNION SELECT SymbolId, ExDate FROM adjust_factors WHERE SymbolId = :id) "
        "LEFT JOIN corporate_actions USING (SymbolId, ExDate) LEFT JOIN adjust_factors USING (SymbolId, ExDate) "
        "WHERE Close IS NOT NULL "
        "AND EXISTS (SELECT 1 FROM kline_daily WHERE SymbolId = :id AND MDDate >= ExDate) ORDER BY ExDate"));
    query.bindValue(QStringLiteral(":id"), *id);
    if (!run(&query, error))
        return events;
    while (next(&query, error)) {
        events.append({ query.value(0).toInt(), optionalNumber(query, 1), optionalNumber(query, 2),
                        optionalNumber(query, 3), optionalNumber(query, 4), optionalNumber(query, 5),
                        optionalNumber(query, 6), query.value(7).toDouble() });
    }
    return events;
}

std::optional<int> Store::tradingDay(int start, qint64 days, QString *error)
{
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    QString condition = QStringLiteral("TradingDay = ?");
    if (days > 0)
        condition = QStringLiteral("TradingDay > ? ORDER BY TradingDay");
    else if (days < 0)
        condition = QStringLiteral("TradingDay < ? ORDER BY TradingDay DESC");
    // Beyond the ends of the calendar the number of trading days is unknown.
    query.prepare(QStringLiteral("SELECT TradingDay FROM trading_days "
                                 "WHERE ? BETWEEN (SELECT MIN(TradingDay) FROM trading_days) "
                                 "AND (SELECT MAX(TradingDay) FROM trading_days) AND ")
                  + condition + QStringLiteral(" LIMIT 1 OFFSET ?"));
    query.addBindValue(start);
    query.addBindValue(start);
    query.addBindValue(days == 0 ? 0 : qAbs(days) - 1);
    if (!run(&query, error) || !next(&query, error))
        return std::nullopt;
    return query.value(0).toInt();
}
